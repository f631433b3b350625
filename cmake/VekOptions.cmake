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
  # Line numbers are what reports show; more would double what is compiled and linked. Targets with
  # VEK_NO_UBSAN have the other sanitizers only: their checks make a third of what is compiled.
  string(REPLACE "," ";" sanitizers "${VEK_SANITIZE}")
  list(REMOVE_ITEM sanitizers undefined)
  string(REPLACE ";" "," sanitizers "${sanitizers}")
  set(in_all "$<$<BOOL:${sanitizers}>:-fsanitize=${sanitizers}>")
  set(in_most "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:VEK_NO_UBSAN>>>:-fsanitize=${VEK_SANITIZE}>")
  target_compile_options(vek_options INTERFACE
    "${in_all}" "${in_most}" -fno-sanitize-recover=all -g1)
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

# Precompiles headers for a target. Those with the same key have the same headers and flags, and
# share what the first of them made. With precompiled headers g++ 12 sees overruns in concatenations
# of std::string that are not there, as their headers no longer count as the system's.
function(vek_precompile target key)
  get_property(maker GLOBAL PROPERTY VEK_PRECOMPILED_${key})
  if(maker)
    target_precompile_headers(${target} REUSE_FROM ${maker})
  else()
    target_precompile_headers(${target} PRIVATE ${ARGN})
    set_property(GLOBAL PROPERTY VEK_PRECOMPILED_${key} ${target})
  endif()
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow;-Wno-stringop-overread>)
endfunction()

# The product's own headers of the kind, where it is built to be tested. As shipped, every file
# includes what it uses.
function(vek_precompile_product target key)
  if(VEK_SANITIZE OR VEK_TESTS_AS_SHIPPED)
    vek_precompile(${target} ${key} <algorithm> <functional> <map> <memory> <string> <vector>)
  endif()
endfunction()

# Interposition of functions would let a host's other copies of these names take over the
# plug-in's own calls; data stays interposable so that executables may link vek_log_level.
# Sanitizer runtimes live in the executable, so libraries may leave their symbols open then.
function(vek_module_link_options target)
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  if(NOT VEK_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
endfunction()
