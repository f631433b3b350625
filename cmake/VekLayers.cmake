# vek_layer(<folder> [USES folders...] [LINK targets...])
#
# One folder of the house: an object library vek_<folder> of every source in it. Objects, not an
# archive, because the plug-in exports functions that nothing inside it calls.
# Source files named *_main.cpp or lying in sub-folders are left to the folder's own CMakeLists.txt.
function(vek_layer folder)
  cmake_parse_arguments(ARG "" "" "USES;LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.cpp")
  list(FILTER sources EXCLUDE REGEX "_main\\.cpp$")
  if(NOT sources)
    # A folder without sources of its own yet still takes part in the dependency graph.
    add_library(vek_${folder} INTERFACE)
    target_link_libraries(vek_${folder} INTERFACE vek_options ${ARG_LINK})
    return()
  endif()
  add_library(vek_${folder} OBJECT ${sources})
  set_target_properties(vek_${folder} PROPERTIES
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(vek_${folder} PUBLIC vek_options ${ARG_LINK})
  vek_precompile_product(vek_${folder} layers)
  set_property(GLOBAL APPEND PROPERTY VEK_LAYERS vek_${folder})
endfunction()

# Adds the objects of the named layers to a target, with what they link. Objects follow only a
# direct link, so each layer that a target needs is named.
function(vek_use_layers target)
  list(TRANSFORM ARGN PREPEND vek_ OUTPUT_VARIABLE layers)
  target_link_libraries(${target} PRIVATE ${layers})
endfunction()

# Every layer of the plug-in, for targets that need the whole core.
set(VEK_CORE_LAYERS utils json data counters schema_manager field_set dict_reader exporter)
