# One place for the flags that every target of this repository is built with.
include_guard()
include(CheckCXXCompilerFlag)

set(ZEF_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
option(ZEF_COVERAGE "Count lines and branches that run" OFF)
option(ZEF_WERROR "Treat warnings as errors" ON)

# Without optimisation FORTIFY, which every build but Debug asks for, only gives a warning.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
endif()

# Pins template statics in memory unless told otherwise, which would keep the library from being unloaded.
check_cxx_compiler_flag(-fno-gnu-unique ZEF_HAVE_NO_GNU_UNIQUE)

# zef_build_options is for what users run. Tests take zef_test_options: they run once, so compiling them fast counts
# more.
add_library(zef_common_options INTERFACE)
add_library(zef_build_options INTERFACE)
target_link_libraries(zef_build_options INTERFACE zef_common_options)
add_library(zef_test_options INTERFACE)
add_library(zef_fewer_checks INTERFACE)
target_link_libraries(zef_test_options INTERFACE zef_common_options zef_fewer_checks)
target_compile_options(zef_test_options INTERFACE -O0 $<$<NOT:$<CONFIG:Debug>>:-g1>)

target_compile_features(zef_common_options INTERFACE cxx_std_17)
target_compile_options(zef_common_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety> $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety-beta>
  $<$<BOOL:${ZEF_WERROR}>:-Werror>
  -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
  -fstack-protector-strong
  $<$<AND:$<BOOL:${ZEF_HAVE_NO_GNU_UNIQUE}>,$<COMPILE_LANGUAGE:CXX>>:-fno-gnu-unique>)

# File names in binaries are relative to the repository, so that two builds in two places are alike. Where lines are
# counted that goes for messages alone: the counts need to find the sources.
if(ZEF_COVERAGE)
  set(prefix_map -fmacro-prefix-map)
else()
  set(prefix_map -ffile-prefix-map)
endif()
target_compile_options(zef_common_options INTERFACE
  ${prefix_map}=${PROJECT_SOURCE_DIR}/=
  ${prefix_map}=${PROJECT_BINARY_DIR}=build)
target_link_options(zef_common_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)

if(ZEF_SANITIZE)
  target_compile_options(zef_common_options INTERFACE
    -fsanitize=${ZEF_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # Tests are without what takes them longest: a system call for the dynamic type of each test that is registered, and two
  # checks of each pointer that they go through.
  target_compile_options(zef_fewer_checks INTERFACE -fno-sanitize=vptr,null,alignment)
  target_link_options(zef_common_options INTERFACE -fsanitize=${ZEF_SANITIZE})
elseif(ZEF_COVERAGE)
  target_compile_options(zef_common_options INTERFACE --coverage)
  target_link_options(zef_common_options INTERFACE --coverage)
else()
  # Needs optimisation, and would hide errors from a sanitizer.
  target_compile_options(zef_build_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()

# zef_precompiled_headers(name HEADERS headers... LINK libraries...): headers that targets with the same options take with
# target_precompile_headers(TARGET REUSE_FROM name).
function(zef_precompiled_headers name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LINK")
  file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/headers.cpp CONTENT "// The headers alone.\n")
  add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/headers.cpp)
  target_link_libraries(${name} PRIVATE ${arg_LINK})
  target_precompile_headers(${name} PRIVATE ${arg_HEADERS})
endfunction()
