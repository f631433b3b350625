# Debian packages: one a component. Nothing in them runs or is switched on when they are installed.
set(VEK_COMPONENTS runtime tools development documentation)
set(VEK_PACKAGE_runtime "${VEK_PACKAGE_NAME}")
set(VEK_PACKAGE_tools "${VEK_PACKAGE_NAME}-tools")
set(VEK_PACKAGE_development "${VEK_PACKAGE_NAME}-dev")
set(VEK_PACKAGE_documentation "${VEK_PACKAGE_NAME}-doc")

foreach(component IN LISTS VEK_COMPONENTS)
  set(folder "${CMAKE_INSTALL_DATADIR}/doc/${VEK_PACKAGE_${component}}")
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/copyright" DESTINATION "${folder}"
          COMPONENT ${component})
  vek_install_compressed("${PROJECT_SOURCE_DIR}/packaging/debian/changelog" "${folder}" changelog
                         ${component})
  file(GLOB overrides CONFIGURE_DEPENDS
       "${PROJECT_SOURCE_DIR}/packaging/debian/${component}.lintian-overrides")
  if(overrides)
    install(FILES "${overrides}" RENAME "${VEK_PACKAGE_${component}}" COMPONENT ${component}
            DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides")
  endif()
endforeach()

# The package manager asks before it replaces what an operator has changed.
set(conffiles "")
foreach(file IN LISTS VEK_CONFIG_FILES)
  get_filename_component(name "${file}" NAME)
  string(APPEND conffiles "/etc/vekora/exporters/${name}\n")
endforeach()
file(WRITE "${PROJECT_BINARY_DIR}/packaging/conffiles" "${conffiles}")

# Packaging takes what is built; it builds nothing itself, least of all tests.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY TRUE)

set(CPACK_PACKAGE_NAME "${VEK_PACKAGE_NAME}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each component has its own
set(CPACK_PACKAGE_CONTACT "Vekora exporter maintainers <maintainers@vekora.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
set(CPACK_COMPONENTS_ALL ${VEK_COMPONENTS})
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR "DEB")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME "DEB-DEFAULT")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${VEK_PACKAGE_runtime}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION "net")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "${VEK_PACKAGE_tools}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "fluent-bit, ${VEK_PACKAGE_documentation}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/packaging/conffiles")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"telemetry data pages to Fluent Bit: the plug-in and its engine
A telemetry collector loads the plug-in, which turns data pages of counters
and events into msgpack records. The engine beside it delivers them to files,
to any receiver of the Fluent Forward protocol, or to an installed Fluent Bit.

The destinations in /etc/vekora/exporters are switched off until an operator
switches them on.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME "${VEK_PACKAGE_tools}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION "net")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS
    "${VEK_PACKAGE_runtime} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "${VEK_PACKAGE_documentation}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"telemetry data pages to Fluent Bit: the operator's tool
vektool checks, previews and tests the configuration of the exporter plug-in,
makes and inspects recordings of data pages, replays them through the plug-in
as a collector does, and examines an installation.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME "${VEK_PACKAGE_development}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${VEK_PACKAGE_runtime} (= ${PROJECT_VERSION}), libmsgpack-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "${VEK_PACKAGE_documentation}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"telemetry data pages to Fluent Bit: what hosts build against
Headers, a pkg-config file and a CMake package for programs that load the
exporter plug-in and hand it data pages, or that write such pages.")

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME "${VEK_PACKAGE_documentation}")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION "doc")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE "all")
set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION
"telemetry data pages to Fluent Bit: documentation and examples
A tutorial, the formats byte by byte, sizing, what delivery promises, example
hosts in C and C++, and a systemd drop-in that checks a configuration before
a service starts.")
include(CPack)
