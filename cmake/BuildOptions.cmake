# One place for the flags that every target of this repository is built with.
include_guard()
include(CheckCXXCompilerFlag)

set(ZEF_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
option(ZEF_COVERAGE "Count lines and branches that run" OFF)
option(ZEF_WERROR "Treat warnings as errors" ON)

# Pins template statics in memory unless told otherwise, which would keep the library from being unloaded.
check_cxx_compiler_flag(-fno-gnu-unique ZEF_HAVE_NO_GNU_UNIQUE)

add_library(zef_build_options INTERFACE)
target_compile_features(zef_build_options INTERFACE cxx_std_17)
target_compile_options(zef_build_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${ZEF_WERROR}>:-Werror>
  -fvisibility=hidden -fvisibility-inlines-hidden
  -fstack-protector-strong
  $<$<BOOL:${ZEF_HAVE_NO_GNU_UNIQUE}>:-fno-gnu-unique>
  # File names in binaries are relative to the repository, so that two builds in two places are alike.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
  -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
target_link_options(zef_build_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)

if(ZEF_SANITIZE)
  target_compile_options(zef_build_options INTERFACE
    -fsanitize=${ZEF_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zef_build_options INTERFACE -fsanitize=${ZEF_SANITIZE})
elseif(ZEF_COVERAGE)
  target_compile_options(zef_build_options INTERFACE --coverage)
  target_link_options(zef_build_options INTERFACE --coverage)
else()
  # Needs optimisation, and would hide errors from a sanitizer.
  target_compile_options(zef_build_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
