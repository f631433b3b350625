#!/usr/bin/env bash
# The Debian packages hold what they should, and start nothing.
# Usage: deb_test.sh <build directory> <cpack>
set -eu
build=${1:?} cpack=${2:?}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
export LC_ALL=C.UTF-8
bad=0

complain() {
  echo "$1"
  bad=$((bad + 1))
}

(cd "$dir" && "$cpack" --config "$build/CPackConfig.cmake" -G DEB -B "$dir" -D CPACK_THREADS=2) \
  >"$dir/log" 2>&1 || {
  cat "$dir/log"
  exit 1
}

deb_of() { find "$dir" -maxdepth 1 -name "$1_*.deb"; }
field() { dpkg-deb -f "$(deb_of "$1")" "$2"; }
has_file() { # <package> <path pattern>
  dpkg-deb -c "$(deb_of "$1")" | awk '{print $6}' | grep -qE "^\./$2\$" ||
    complain "$1: holds no $2"
}
expect() { # <what> <expected> <got>
  [ "$2" = "$3" ] || complain "$1: expected '$2', got '$3'"
}

name=vekora-fluentbit-exporter
expect "packages" 4 "$(find "$dir" -maxdepth 1 -name '*.deb' | wc -l)"
for package in $name $name-tools $name-dev $name-doc; do
  [ -n "$(deb_of $package)" ] || {
    complain "there is no package $package"
    continue
  }
  has_file $package "usr/share/doc/$package/copyright"
  has_file $package "usr/share/doc/$package/changelog.gz"
  # Only files of root, in the places that they may have; no script, no unit, no job.
  dpkg-deb -c "$(deb_of $package)" >"$dir/list"
  awk '$2 != "root/root"' "$dir/list" | grep . && complain "$package: files of others"
  awk '{print $6}' "$dir/list" |
    grep -vE '^\./(usr/(bin|include|lib|share)/.*|usr/|usr/[a-z]+/|etc/|etc/vekora/.*)?$' &&
    complain "$package: files in other places"
  grep -E 'lib/systemd|init\.d|cron' "$dir/list" | grep -v '/examples/' &&
    complain "$package: something that may run by itself"
  mkdir -p "$dir/control/$package"
  dpkg-deb -e "$(deb_of $package)" "$dir/control/$package"
  for file in "$dir/control/$package"/*; do
    case ${file##*/} in control | md5sums | conffiles) ;; *) complain "$package: has ${file##*/}" ;; esac
  done
done

libdir='usr/lib(/[a-z0-9_-]+)?'
for library in libfluentbit_exporter.so libraw_msgpack_api.so; do
  has_file $name "$libdir/vekora/$library"
done
for page in man5/vekora-exp.5.gz man5/vekora-counterset.5.gz man5/vekora-fieldset.5.gz \
  man7/vekora-exporter.7.gz; do
  has_file $name "usr/share/man/$page"
done
has_file $name-tools 'usr/bin/vektool'
has_file $name-tools 'usr/share/man/man1/vektool.1.gz'
has_file $name-tools 'usr/share/bash-completion/completions/vektool'
has_file $name-tools 'usr/share/zsh/vendor-completions/_vektool'
has_file $name-tools 'usr/share/fish/vendor_completions.d/vektool.fish'
has_file $name-dev "$libdir/pkgconfig/$name.pc"
has_file $name-dev "$libdir/cmake/$name/$name-config.cmake"
has_file $name-dev 'usr/include/vekora/exporter/exporter_api.h'
has_file $name-doc "usr/share/doc/$name-doc/docs/tutorial.md"
has_file $name-doc "usr/share/doc/$name-doc/examples/host_c/host.c"
has_file $name-doc "usr/share/doc/$name-doc/examples/systemd/50-vektool-check.conf"

# The operator's changes to every configuration file survive an upgrade.
expect "configuration files" \
  "$(dpkg-deb -c "$(deb_of $name)" | awk '$6 ~ /^\.\/etc\/.*[^\/]$/ {print substr($6, 2)}' | sort)" \
  "$(sort "$dir/control/$name/conffiles")"
expect "architecture of the documentation" all "$(field $name-doc Architecture)"
field $name Depends | grep -q 'libssl3' || complain "$name: does not depend on what it links"
field $name-dev Depends | grep -q "^$name (= " || complain "$name-dev: goes with any $name"
exit $((bad > 0))
