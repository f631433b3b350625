# Compile and link flags that every target of the project shares.
add_library(vek_options INTERFACE)
target_include_directories(vek_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(vek_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  -fstack-protector-strong -fno-omit-frame-pointer
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
if(NOT VEK_SANITIZE)
  target_compile_definitions(vek_options INTERFACE $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
endif()
target_link_options(vek_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

if(VEK_SANITIZE)
  # Line numbers are what reports show; more would double what is compiled and linked.
  target_compile_options(vek_options INTERFACE
    -fsanitize=${VEK_SANITIZE} -fno-sanitize-recover=all -g1)
  target_link_options(vek_options INTERFACE -fsanitize=${VEK_SANITIZE})
endif()
if(VEK_FUZZ_ENGINE)
  # The engine is led by what is reached in the product, not only in the targets.
  target_compile_options(vek_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VEK_TESTS_AS_SHIPPED)
  target_compile_options(vek_options INTERFACE -g1)  # of the same code, less about it
endif()
if(VEK_COVERAGE)
  target_compile_options(vek_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(vek_options INTERFACE --coverage)
endif()

# Interposition of functions would let a host's other copies of these names take over the
# plug-in's own calls; data stays interposable so that executables may link vek_log_level.
# Sanitizer runtimes live in the executable, so libraries may leave their symbols open then.
function(vek_module_link_options target)
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  if(NOT VEK_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()
