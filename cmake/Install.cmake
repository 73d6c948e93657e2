# Headers, libraries, a CMake package and a pkg-config file. A consumer writes find_package(vf) and links vf::vf.
include(CMakePackageConfigHelpers)

get_property(_targets GLOBAL PROPERTY VF_INSTALLED_TARGETS)
install(TARGETS ${_targets} EXPORT vfTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY Inc/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vf FILES_MATCHING PATTERN "*.h")
file(GLOB _platform_headers CONFIGURE_DEPENDS platform/*.h)
install(FILES ${_platform_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vf/platform)
install(EXPORT vfTargets NAMESPACE vf:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vf)
configure_package_config_file(cmake/vfConfig.cmake.in ${CMAKE_BINARY_DIR}/vfConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vf)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vfConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vfConfig.cmake ${CMAKE_BINARY_DIR}/vfConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vf)
file(RELATIVE_PATH VF_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH VF_PC_INCLUDEDIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/vf.pc.in ${CMAKE_BINARY_DIR}/vf.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vf.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
