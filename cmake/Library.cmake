# libzef_config.so: one set of objects feeds the shared library and the tests.
set(ZEF_CONFIG_PUBLIC_HEADERS
  src/mgmt/config/ConfigMgr.h
  src/mgmt/config/ConfigNode.h
  src/mgmt/config/ZefConfig.h
  src/mgmt/config/ZefConfigApi.h
  src/mgmt/config/deduplication/DeduplicationConfig.h
  src/mgmt/config/storage/ZefStorage.h
  src/mgmt/config/storage/ZefStorageController.h
  src/mgmt/config/storage/ZefStorageManager.h
  src/mgmt/config/uuid/UuidConfig.h
  threadpool/ThreadPool.h)
set(ZEF_CONFIG_PLATFORM_HEADERS
  platform/BoundsChecked.h
  platform/ClientComponents.h
  platform/Gateway.h
  platform/IpUtil.h
  platform/KeyManagement.h
  platform/Log.h
  platform/Memory.h
  platform/PlatformApi.h
  platform/SharedBaseConfig.h)

# In the build tree the headers stand as they will once installed: <zef_config/ZefConfig.h>,
# <zef_config/platform/Log.h>.
set(ZEF_CONFIG_INCLUDE_DIR ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${ZEF_CONFIG_INCLUDE_DIR}/zef_config/platform)
foreach(header IN LISTS ZEF_CONFIG_PUBLIC_HEADERS)
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${ZEF_CONFIG_INCLUDE_DIR}/zef_config/${name} SYMBOLIC)
endforeach()
foreach(header IN LISTS ZEF_CONFIG_PLATFORM_HEADERS)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${ZEF_CONFIG_INCLUDE_DIR}/zef_config/${header} SYMBOLIC)
endforeach()

add_library(zef_config_objects OBJECT
  src/mgmt/config/ConfigMgr.cpp
  src/mgmt/config/ConfigNode.cpp
  src/mgmt/config/ProcessObjects.cpp
  src/mgmt/config/ProtocolLog.cpp
  src/mgmt/config/SafeSave.cpp
  src/mgmt/config/SaveLayout.cpp
  src/mgmt/config/TextList.cpp
  src/mgmt/config/WholeMatch.cpp
  src/mgmt/config/ZefConfig.cpp
  src/mgmt/config/deduplication/DeduplicationConfig.cpp
  src/mgmt/config/storage/CredentialCallbacks.cpp
  src/mgmt/config/storage/FibreChannel.cpp
  src/mgmt/config/storage/LinkTasks.cpp
  src/mgmt/config/storage/TaskCommits.cpp
  src/mgmt/config/storage/ZefStorage.cpp
  src/mgmt/config/storage/ZefStorageController.cpp
  src/mgmt/config/storage/ZefStorageManager.cpp
  src/mgmt/config/uuid/UuidConfig.cpp)
set_target_properties(zef_config_objects PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_include_directories(zef_config_objects
  PUBLIC
    ${ZEF_CONFIG_INCLUDE_DIR}
  PRIVATE
    ${PROJECT_SOURCE_DIR}
    ${PROJECT_SOURCE_DIR}/threadpool
    ${PROJECT_SOURCE_DIR}/src/mgmt/config
    ${PROJECT_SOURCE_DIR}/src/mgmt/config/deduplication
    ${PROJECT_SOURCE_DIR}/src/mgmt/config/storage
    ${PROJECT_SOURCE_DIR}/src/mgmt/config/uuid)
target_link_libraries(zef_config_objects PUBLIC PkgConfig::MXML PRIVATE zef_build_options)
# What the library calls of itself is its own, whatever a program defines: nothing to look up while it is loaded. The
# hooks of trace points are the exception.
target_compile_options(zef_config_objects PRIVATE -fno-semantic-interposition -ffunction-sections -fdata-sections)

set(ZEF_CONFIG_EXPORT_MAP ${PROJECT_SOURCE_DIR}/src/mgmt/config/zef_config.map)
set(ZEF_CONFIG_REPLACEABLE ${PROJECT_SOURCE_DIR}/src/mgmt/config/replaceable.txt)
add_library(zef_config SHARED $<TARGET_OBJECTS:zef_config_objects>)
add_library(ZefConfig::zef_config ALIAS zef_config)
set_target_properties(zef_config PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINKER_LANGUAGE CXX
  LINK_DEPENDS "${ZEF_CONFIG_EXPORT_MAP};${ZEF_CONFIG_REPLACEABLE}")
target_include_directories(zef_config INTERFACE
  $<BUILD_INTERFACE:${ZEF_CONFIG_INCLUDE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(zef_config INTERFACE cxx_std_17)
# In one piece with the data that is only read, code takes two mappings less to load; that saves the time in which forty
# functions are bound. What can be written is not executable all the same.
target_link_options(zef_config PRIVATE
  -Wl,--version-script=${ZEF_CONFIG_EXPORT_MAP} -Wl,-Bsymbolic-functions -Wl,--dynamic-list=${ZEF_CONFIG_REPLACEABLE}
  -Wl,--gc-sections -Wl,-z,noseparate-code)
target_link_libraries(zef_config PRIVATE $<BUILD_INTERFACE:zef_build_options> PUBLIC PkgConfig::MXML)

include(cmake/Install.cmake)
