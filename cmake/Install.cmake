# Library, headers, CMake package ZefConfig and pkg-config file zef_config. All of it is one component, so that the
# library can be installed without the client: cmake --install BUILD --component zef_config.
include(CMakePackageConfigHelpers)

install(TARGETS zef_config EXPORT ZefConfigTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zef_config NAMELINK_COMPONENT zef_config)
install(FILES ${ZEF_CONFIG_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zef_config COMPONENT zef_config)
install(FILES ${ZEF_CONFIG_PLATFORM_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zef_config/platform
  COMPONENT zef_config)

# The hosting side of the task pool, for hosts that compile it as it is: the target ZefConfig::host_pool.
set(ZEF_CONFIG_HOST_POOL_DIR ${CMAKE_INSTALL_DATADIR}/zef_config/threadpool)
install(FILES threadpool/TaskBatch.cpp threadpool/TaskBatch.h threadpool/TaskGate.cpp threadpool/TaskGate.h
    threadpool/TaskPause.cpp threadpool/TaskPause.h threadpool/ThreadPool.cpp
  DESTINATION ${ZEF_CONFIG_HOST_POOL_DIR} COMPONENT zef_config)
install(FILES client/common/Mutex.h client/common/NeverDestroyed.h client/common/ThreadSafety.h
  DESTINATION ${ZEF_CONFIG_HOST_POOL_DIR}/common COMPONENT zef_config)

set(ZEF_CONFIG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZefConfig)
install(EXPORT ZefConfigTargets NAMESPACE ZefConfig:: DESTINATION ${ZEF_CONFIG_CMAKE_DIR} COMPONENT zef_config)
configure_package_config_file(cmake/ZefConfigConfig.cmake.in ${PROJECT_BINARY_DIR}/ZefConfigConfig.cmake
  INSTALL_DESTINATION ${ZEF_CONFIG_CMAKE_DIR}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR ZEF_CONFIG_HOST_POOL_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZefConfigConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZefConfigConfig.cmake ${PROJECT_BINARY_DIR}/ZefConfigConfigVersion.cmake
  DESTINATION ${ZEF_CONFIG_CMAKE_DIR} COMPONENT zef_config)

# The pkg-config file finds its prefix from where it lies, so that an installed tree can be moved and `cmake --install`
# can be given another prefix. With a library folder outside of the prefix it names the one that was configured.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(ZEF_CONFIG_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH up "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" /prefix)
  string(REGEX REPLACE "/$" "" ZEF_CONFIG_PC_PREFIX "\${pcfiledir}/${up}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(ZEF_CONFIG_PC_${folder} "${CMAKE_INSTALL_${folder}}")
  if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    set(ZEF_CONFIG_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
  endif()
endforeach()
foreach(variable PREFIX LIBDIR INCLUDEDIR)
  string(REPLACE " " "\\ " ZEF_CONFIG_PC_${variable} "${ZEF_CONFIG_PC_${variable}}")
endforeach()
configure_file(cmake/zef_config.pc.in ${PROJECT_BINARY_DIR}/zef_config.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zef_config.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT zef_config)
