# Installs headers, libraries and a CMake package so that another project can
#   find_package(navreq CONFIG REQUIRED)
#   target_link_libraries(app PRIVATE navreq::navreq)
include(CMakePackageConfigHelpers)

install(TARGETS navreq_wire navreq_read navreq navreq_services EXPORT navreqTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/navreq DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT navreqTargets NAMESPACE navreq::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/navreq)

configure_package_config_file(cmake/navreqConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/navreqConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/navreq)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/navreqConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/navreqConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/navreqConfigVersion.cmake
              ${CMAKE_CURRENT_LIST_DIR}/Findlibdeflate.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/navreq)
