#!/usr/bin/env bash
# What is installed is enough: hosts in C and in C++ are built against it and hand it pages, and the
# tool works, with nothing in the environment that says where anything is.
# Usage: install_test.sh <build directory> <source directory> <cmake> <C compiler> <C++ compiler>
set -eu
build=${1:?} source=${2:?} cmake=${3:?} cc=${4:?} cxx=${5:?}
dir=$(mktemp -d -p /tmp)  # paths of .exp files must be short
trap 'rm -rf "$dir"' EXIT
unset FLUENT_BIT_EXPORT_API_SO VEK_ROOT LD_LIBRARY_PATH VEK_API_LOG_LEVEL API_LOG_LEVEL
export LC_ALL=C.UTF-8

fail() {
  echo "FAILED: $1"
  exit 1
}
expect_equal() { # <what> <expected> <got>
  [ "$2" = "$3" ] || fail "$1: expected '$2', got '$3'"
}

root=$dir/root
"$cmake" --install "$build" --prefix "$root/usr" >"$dir/install.log"
tool=$root/usr/bin/vektool
PKG_CONFIG_PATH=$(dirname "$(find "$root/usr" -name vekora-fluentbit-exporter.pc)")
export PKG_CONFIG_PATH
plugin=$(realpath "$(pkg-config --variable=plugin vekora-fluentbit-exporter)")
[ -f "$plugin" ] || fail "pkg-config names a plug-in that is not there: $plugin"
expect_equal "version" "vektool $(pkg-config --modversion vekora-fluentbit-exporter)" \
  "$("$tool" --version)"

# As installed, nothing leaves: the destination is switched off, and in order.
"$tool" generate --output "$dir/data" --pages 60 >/dev/null
"$tool" check --strict "$root/etc/vekora/exporters" >"$dir/check.txt" ||
  fail "the installed configuration is not clean: $(cat "$dir/check.txt")"
# shellcheck disable=SC2046
"$cc" -std=gnu11 -Wall -Wextra -Wpedantic -Werror \
  $(pkg-config --cflags vekora-fluentbit-exporter) "$source/examples/host_c/host.c" -ldl \
  -o "$dir/host_c"
"$dir/host_c" "$plugin" "$root/etc/vekora/exporters" "$dir/data/schemas" "$dir/data/pages.bin" \
  >"$dir/quiet.txt" 2>&1 || fail "the host in C: $(cat "$dir/quiet.txt")"
expect_equal "what a fresh installation says and sends" "60 pages taken" "$(cat "$dir/quiet.txt")"

# A host in C sends what the tool sends.
host_in_c=$("$dir/host_c" "$plugin" "$dir/data/config" "$dir/data/schemas" "$dir/data/pages.bin")
expect_equal "the host in C" "60 pages taken" "$host_in_c"
cp -r "$dir/data/records" "$dir/by_host"
rm "$dir"/data/records/*
"$tool" replay --plugin "$plugin" --config "$dir/data/config" --schema-dir "$dir/data/schemas" \
  "$dir/data/pages.bin" 2>"$dir/replay.txt" || fail "replay: $(cat "$dir/replay.txt")"
diff -r "$dir/by_host" "$dir/data/records" >/dev/null || fail "host and tool sent other records"
[ -s "$dir/by_host/events.json" ] || fail "the host in C sent no events"

# A host in C++ links the plug-in through the CMake package.
"$cmake" -S "$source/examples/host_cpp" -B "$dir/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$root/usr" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror" >"$dir/cmake.log" 2>&1 &&
  "$cmake" --build "$dir/build" >"$dir/cmake.log" 2>&1 || fail "$(cat "$dir/cmake.log")"
mkdir "$dir/config"
printf '%s\n' 'name = screen' 'plugin_name = stdout_raw' >"$dir/config/screen.exp"
expect_equal "the host in C++" '[1767225600.5,{"timestamp":1767225600500000,"type":"counters","source":"leaf01","rx_bytes":1000000,"temperature":51.5}]
page taken' "$("$dir/build/host" "$dir/config")"

# pkg-config can be linked by, too.
# shellcheck disable=SC2046
"$cxx" -std=c++20 "$source/examples/host_cpp/host.cpp" -o "$dir/host_pc" \
  $(pkg-config --cflags --libs vekora-fluentbit-exporter)
expect_equal "the host by pkg-config" "page taken" "$("$dir/host_pc" "$dir/config" | tail -n 1)"

# The drop-in lets a service start with the configuration as installed, and not with a mistake in it.
drop_in=$(find "$root/usr/share/doc" -name 50-vektool-check.conf)
check=$(sed -n 's/^ExecStartPre=//p' "$drop_in" | sed "s, /etc/, $root/etc/,; s,^/usr/,$root/usr/,")
$check >"$dir/check.txt" || fail "the drop-in: $(cat "$dir/check.txt")"
echo 'counterst = x' >>"$root/etc/vekora/exporters/forward.exp"
$check >"$dir/check.txt" && fail "the drop-in lets a service start with a misspelt key"
grep -q "forward.exp:[0-9]*:1: error" "$dir/check.txt" || fail "the drop-in does not say what is wrong"

"$tool" doctor --plugin "$plugin" --color never >"$dir/doctor.txt" ||
  fail "doctor: $(cat "$dir/doctor.txt")"
grep -q "^good  engine .*$(dirname "$plugin")/libraw_msgpack_api.so" "$dir/doctor.txt" ||
  fail "the plug-in did not find the engine beside it: $(cat "$dir/doctor.txt")"
echo "hosts in C and C++ built and ran against what is installed"
