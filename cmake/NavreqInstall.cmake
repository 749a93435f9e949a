# Installs the libraries, their headers, the navreq tool (bin/) and a CMake
# package with one component per library:
#   find_package(navreq CONFIG REQUIRED COMPONENTS read)   # wire, read, navreq
#   target_link_libraries(app PRIVATE navreq::read)
# Each library has an export file of its own, so that the package config
# loads, and finds the dependencies of, only the components asked for and the
# ones they link (navreqConfig.cmake.in).
include(CMakePackageConfigHelpers)

set(navreq_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/navreq)
function(navreq_install_component component)
  install(TARGETS ${ARGN} EXPORT navreq_${component}
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT navreq_${component} NAMESPACE navreq:: FILE navreq-${component}-targets.cmake
          DESTINATION ${navreq_package_dir})
endfunction()
navreq_install_component(wire navreq_wire)
navreq_install_component(read navreq_read)
navreq_install_component(navreq navreq navreq_services)
install(DIRECTORY include/navreq DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET navreq_cli)
  install(TARGETS navreq_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# navreq::read is a static library: whatever it links privately, its users
# link too, so the package must find it for them. Read from the target itself,
# so that the package follows the build.
get_target_property(navreq_read_links navreq_read LINK_LIBRARIES)
if(navreq_read_links MATCHES "nanopb")
  set(NAVREQ_READ_LINKS_NANOPB TRUE)
else()
  set(NAVREQ_READ_LINKS_NANOPB FALSE)
endif()

configure_package_config_file(cmake/navreqConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/navreqConfig.cmake
  INSTALL_DESTINATION ${navreq_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/navreqConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/navreqConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/navreqConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/Findlibdeflate.cmake
        DESTINATION ${navreq_package_dir})
