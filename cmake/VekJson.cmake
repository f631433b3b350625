# Which JSON library serves json/json.h: an installed parson (CMake package, pkg-config file, or a
# bare header and library) or, where there is none, the same calls from json/ itself.
set(VEK_JSON_TARGET "")
set(VEK_HAVE_PARSON OFF)

if(NOT VEK_JSON STREQUAL "builtin")
  find_package(parson CONFIG QUIET)
  if(TARGET parson::parson)
    set(VEK_JSON_TARGET parson::parson)
  elseif(TARGET parson)
    set(VEK_JSON_TARGET parson)
  else()
    pkg_check_modules(PARSON QUIET IMPORTED_TARGET parson)
    if(PARSON_FOUND)
      set(VEK_JSON_TARGET PkgConfig::PARSON)
    else()
      find_path(PARSON_INCLUDE_DIR parson.h)
      find_library(PARSON_LIBRARY parson)
      if(PARSON_INCLUDE_DIR AND PARSON_LIBRARY)
        add_library(vek_found_parson INTERFACE)
        target_include_directories(vek_found_parson SYSTEM INTERFACE "${PARSON_INCLUDE_DIR}")
        target_link_libraries(vek_found_parson INTERFACE "${PARSON_LIBRARY}")
        set(VEK_JSON_TARGET vek_found_parson)
      endif()
    endif()
  endif()
  if(VEK_JSON_TARGET)
    set(VEK_HAVE_PARSON ON)
  elseif(VEK_JSON STREQUAL "parson")
    message(FATAL_ERROR "VEK_JSON=parson, but no parson was found (CMake package, pkg-config, "
                        "parson.h and libparson). Use VEK_JSON=builtin, or install it.")
  endif()
endif()

if(VEK_HAVE_PARSON)
  target_compile_definitions(vek_options INTERFACE VEK_HAVE_PARSON=1)
  # Each folder sees the header; only the json folder links the library.
  target_include_directories(vek_options SYSTEM INTERFACE
    $<TARGET_PROPERTY:${VEK_JSON_TARGET},INTERFACE_INCLUDE_DIRECTORIES>)
  # A shared one in a prefix of its own is found there by what is installed, too.
  set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
  message(STATUS "JSON library: installed parson (${VEK_JSON_TARGET})")
else()
  message(STATUS "JSON library: built in (json/)")
endif()

# Keeps the JSON calls inside a library; only json_free_serialized_string leaves it.
function(vek_keep_json_inside target)
  if(VEK_HAVE_PARSON)
    set(map "${PROJECT_SOURCE_DIR}/cmake/json_exports.map")
    target_link_options(${target} PRIVATE "-Wl,--version-script=${map}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${map}")
  endif()
endfunction()
