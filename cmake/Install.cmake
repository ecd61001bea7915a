# Library, headers, CMake package ZefConfig and pkg-config file zef_config.
include(CMakePackageConfigHelpers)

install(TARGETS zef_config EXPORT ZefConfigTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${ZEF_CONFIG_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zef_config)
install(FILES ${ZEF_CONFIG_PLATFORM_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zef_config/platform)

set(ZEF_CONFIG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZefConfig)
install(EXPORT ZefConfigTargets NAMESPACE ZefConfig:: DESTINATION ${ZEF_CONFIG_CMAKE_DIR})
configure_package_config_file(cmake/ZefConfigConfig.cmake.in ${PROJECT_BINARY_DIR}/ZefConfigConfig.cmake
  INSTALL_DESTINATION ${ZEF_CONFIG_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZefConfigConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZefConfigConfig.cmake ${PROJECT_BINARY_DIR}/ZefConfigConfigVersion.cmake
  DESTINATION ${ZEF_CONFIG_CMAKE_DIR})

configure_file(cmake/zef_config.pc.in ${PROJECT_BINARY_DIR}/zef_config.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zef_config.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
