# Stands in for the NDK's toolchain file where there is none: the same compiler and linker for the
# same target, the same variables taken and set, flags of the same kind. What it links against is
# made by link_check.sh, and lies two folders above as the NDK's does.
if(NOT ANDROID_ABI STREQUAL arm64-v8a OR NOT ANDROID_PLATFORM MATCHES "^android-([0-9]+)$")
  message(FATAL_ERROR "ANDROID_ABI is not arm64-v8a, or ANDROID_PLATFORM is no android-LEVEL")
endif()
set(api ${CMAKE_MATCH_1})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ANDROID_ABI ANDROID_PLATFORM ANDROID_STL)

set(CMAKE_SYSTEM_NAME Android)
set(CMAKE_SYSTEM_VERSION 1)  # to CMake: this file sees to everything
set(CMAKE_SYSTEM_PROCESSOR aarch64)
get_filename_component(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../sysroot ABSOLUTE)
foreach(language C CXX)
  set(CMAKE_${language}_COMPILER_TARGET aarch64-linux-android${api})
  set(CMAKE_${language}_FLAGS_INIT
    "-g -DANDROID -fdata-sections -ffunction-sections -funwind-tables -fstack-protector-strong -D_FORTIFY_SOURCE=2")
  set(CMAKE_${language}_STANDARD_LIBRARIES_INIT "-latomic -lm")
endforeach()
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
if(ANDROID_STL STREQUAL none)
  string(APPEND CMAKE_CXX_FLAGS_INIT " -nostdinc++")
endif()
set(CMAKE_SHARED_LINKER_FLAGS_INIT
  "-fuse-ld=lld -Wl,--build-id=sha1 -Wl,--no-undefined -Wl,--fatal-warnings")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
