# What a machine gets: both libraries as modules side by side, the tool, and what integrators build
# against. Headers keep their folders under include/vekora.
set(VEK_MODULE_DIR "${CMAKE_INSTALL_LIBDIR}/vekora")

install(TARGETS fluentbit_exporter raw_msgpack_api LIBRARY DESTINATION "${VEK_MODULE_DIR}"
        NAMELINK_SKIP COMPONENT runtime)
install(TARGETS vektool RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/public_headers.txt" VEK_PUBLIC_HEADERS)
set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             "${PROJECT_SOURCE_DIR}/cmake/public_headers.txt")
foreach(header IN LISTS VEK_PUBLIC_HEADERS)
  get_filename_component(folder "${header}" DIRECTORY)
  install(FILES "${PROJECT_SOURCE_DIR}/${header}"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/vekora/${folder}" COMPONENT development)
endforeach()

configure_file("${PROJECT_SOURCE_DIR}/cmake/vekora-fluentbit-exporter.pc.in"
               "${PROJECT_BINARY_DIR}/vekora-fluentbit-exporter.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vekora-fluentbit-exporter.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/README.md" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation)

set(CPACK_PACKAGE_NAME "vekora-fluentbit-exporter")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_CONTACT "Vekora exporter maintainers <maintainers@vekora.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_GENERATOR "DEB")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION "net")
set(CPACK_DEBIAN_FILE_NAME "DEB-DEFAULT")
include(CPack)
