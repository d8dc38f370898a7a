# Dependencies of the Linux host build. On a device these come from the platform
# (Android.bp); on a workstation Debian packages the same Android libraries.

set(ANDROID_HOST_INCLUDE_DIR /usr/include/android CACHE PATH "Android platform headers (Debian android-*-dev)")
set(ANDROID_HOST_LIB_DIR /usr/lib/x86_64-linux-gnu/android CACHE PATH "Android platform libraries (Debian android-*-dev)")

function(imsrcs_import_android_lib target libname)
  find_library(_lib_${libname} NAMES ${libname} PATHS ${ANDROID_HOST_LIB_DIR} NO_DEFAULT_PATH)
  if(NOT _lib_${libname})
    message(FATAL_ERROR "lib${libname} not found in ${ANDROID_HOST_LIB_DIR}; run scripts/setup.sh")
  endif()
  add_library(${target} SHARED IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES
      IMPORTED_LOCATION ${_lib_${libname}}
      INTERFACE_INCLUDE_DIRECTORIES ${ANDROID_HOST_INCLUDE_DIR})
endfunction()

imsrcs_import_android_lib(android::log log)
imsrcs_import_android_lib(android::cutils cutils)
imsrcs_import_android_lib(android::utils utils)
set_property(TARGET android::utils APPEND PROPERTY INTERFACE_LINK_LIBRARIES android::log android::cutils)

# The Android libraries live outside the loader's default path.
set(CMAKE_BUILD_RPATH ${ANDROID_HOST_LIB_DIR})
set(CMAKE_INSTALL_RPATH ${ANDROID_HOST_LIB_DIR})

find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
if(IMSRCS_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(IMSRCS_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
