# What a machine gets: both libraries as modules side by side in a folder of their own, the tool with
# its manual and completion, and what integrators build against. Headers keep their folders under
# include/vekora. packaging/ has what only packages hold.
# Debian's folder of libraries under any prefix: what is packaged does not depend on the prefix that a
# tree was configured with.
set(VEK_LIB_DIR "${CMAKE_INSTALL_LIBDIR}")
if(VEK_LIB_DIR STREQUAL "lib" AND CMAKE_LIBRARY_ARCHITECTURE AND EXISTS "/etc/debian_version")
  set(VEK_LIB_DIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(VEK_MODULE_DIR "${VEK_LIB_DIR}/vekora")
set(VEK_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/vekora")
set(VEK_PACKAGE_NAME "vekora-fluentbit-exporter")

install(TARGETS fluentbit_exporter raw_msgpack_api LIBRARY DESTINATION "${VEK_MODULE_DIR}"
        NAMELINK_SKIP COMPONENT runtime)
install(TARGETS vektool RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)

# Configuration lies beside the prefix /usr, in /etc, and inside any other prefix.
file(GLOB VEK_CONFIG_FILES CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/packaging/config/*")
install(CODE "
  set(root \"\${CMAKE_INSTALL_PREFIX}\")
  if(root MATCHES \"/usr/?$\")
    string(REGEX REPLACE \"/usr/?$\" \"\" root \"\${root}\")
  endif()
  file(INSTALL DESTINATION \"\${root}/etc/vekora/exporters\" TYPE FILE
       FILES ${VEK_CONFIG_FILES})" COMPONENT runtime)

# Headers, and two ways to be found: pkg-config and CMake. Both say where they are by where they lie,
# so that an installed tree can be moved.
file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/public_headers.txt" VEK_PUBLIC_HEADERS)
set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             "${PROJECT_SOURCE_DIR}/cmake/public_headers.txt")
foreach(header IN LISTS VEK_PUBLIC_HEADERS)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}"
          DESTINATION "${VEK_INCLUDE_DIR}/${folder}" COMPONENT development)
endforeach()

set(VEK_PC_DIR "${VEK_LIB_DIR}/pkgconfig")
file(RELATIVE_PATH VEK_PC_PREFIX "/${VEK_PC_DIR}" "/")
string(REGEX REPLACE "/$" "" VEK_PC_PREFIX "${VEK_PC_PREFIX}")
configure_file("${PROJECT_SOURCE_DIR}/cmake/${VEK_PACKAGE_NAME}.pc.in"
               "${PROJECT_BINARY_DIR}/${VEK_PACKAGE_NAME}.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/${VEK_PACKAGE_NAME}.pc" DESTINATION "${VEK_PC_DIR}"
        COMPONENT development)

include(CMakePackageConfigHelpers)
set(VEK_CMAKE_DIR "${VEK_LIB_DIR}/cmake/${VEK_PACKAGE_NAME}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/${VEK_PACKAGE_NAME}-config.cmake.in"
  "${PROJECT_BINARY_DIR}/${VEK_PACKAGE_NAME}-config.cmake"
  INSTALL_DESTINATION "${VEK_CMAKE_DIR}" PATH_VARS VEK_MODULE_DIR VEK_INCLUDE_DIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/${VEK_PACKAGE_NAME}-config-version.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/${VEK_PACKAGE_NAME}-config.cmake"
              "${PROJECT_BINARY_DIR}/${VEK_PACKAGE_NAME}-config-version.cmake"
        DESTINATION "${VEK_CMAKE_DIR}" COMPONENT development)

# vek_install_compressed(<file> <folder> <name> <component>): as packages want manuals and changelogs,
# the version put in.
find_program(VEK_GZIP gzip REQUIRED)
function(vek_install_compressed file folder name component)
  set(plain "${PROJECT_BINARY_DIR}/installed/${component}/${name}")
  configure_file("${file}" "${plain}" @ONLY)
  execute_process(COMMAND "${VEK_GZIP}" -9nc "${plain}" OUTPUT_FILE "${plain}.gz"
                  COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${plain}.gz" DESTINATION "${folder}" COMPONENT ${component})
endfunction()

# A page of the manual goes with what it is about: the tool's with the tool, formats with the plug-in.
file(GLOB VEK_MANUAL CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/docs/man/*.[157]")
foreach(page IN LISTS VEK_MANUAL)
  get_filename_component(name "${page}" NAME)
  string(REGEX MATCH "[157]$" section "${name}")
  set(component runtime)
  if(section EQUAL 1)
    set(component tools)
  endif()
  vek_install_compressed("${page}" "${CMAKE_INSTALL_MANDIR}/man${section}" "${name}" ${component})
endforeach()

install(FILES "${PROJECT_SOURCE_DIR}/completion/vektool.bash" RENAME vektool
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
install(FILES "${PROJECT_SOURCE_DIR}/completion/_vektool"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions" COMPONENT tools)
install(FILES "${PROJECT_SOURCE_DIR}/completion/vektool.fish"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT tools)

set(VEK_DOC_DIR "${CMAKE_INSTALL_DATADIR}/doc/${VEK_PACKAGE_NAME}-doc")
install(FILES README.md ARCHITECTURE.md CONTRIBUTING.md CHANGELOG.md
        DESTINATION "${VEK_DOC_DIR}" COMPONENT documentation)
install(DIRECTORY docs DESTINATION "${VEK_DOC_DIR}" COMPONENT documentation
        PATTERN man EXCLUDE)
install(DIRECTORY examples DESTINATION "${VEK_DOC_DIR}" COMPONENT documentation)
install(DIRECTORY packaging/systemd DESTINATION "${VEK_DOC_DIR}/examples" COMPONENT documentation)

include(VekPackages)
