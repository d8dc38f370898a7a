# hidl_host_generate(): C++ headers of HIDL packages, generated at build time
# with hidl-gen from the .hal files, plus the host glue that a device gets from
# the generated sources (descriptors, interface chains, castFrom, service
# registration, in-process proxies). One definition serves host and device.
#
#   hidl_host_generate(<target>
#       ROOTS <prefix>:<dir> ...     package roots, e.g. vendor.kel.ims:/src/interfaces/vendor/kel/ims
#       PACKAGES <pkg@x.y> ...
#       OUTPUT_DIR <dir>)
#
# Creates the custom target <target> and sets <target>_SOURCES (glue .cpp
# files) and <target>_INCLUDE_DIR in the caller's scope.

find_program(HIDL_GEN_EXECUTABLE hidl-gen REQUIRED)
# The generator (platform/hidl/hostgen) and every module it imports: a change to
# any of them regenerates the glue.
get_filename_component(_hostgen_dir ${CMAKE_CURRENT_LIST_DIR}/../hostgen ABSOLUTE)
file(GLOB HIDL_HOST_GEN_FILES CONFIGURE_DEPENDS ${_hostgen_dir}/*.py)
set(HIDL_HOST_GEN_FILES ${HIDL_HOST_GEN_FILES} CACHE INTERNAL "")
set(HIDL_HOST_GEN_SCRIPT ${_hostgen_dir}/hidl_host_gen.py CACHE INTERNAL "")

function(hidl_host_package_dir out package roots)
  string(REGEX MATCH "^([a-zA-Z0-9_.]+)@([0-9]+)\\.([0-9]+)$" _ok "${package}")
  if(NOT _ok)
    message(FATAL_ERROR "bad HIDL package name: ${package}")
  endif()
  set(_name ${CMAKE_MATCH_1})
  set(_version ${CMAKE_MATCH_2}.${CMAKE_MATCH_3})
  foreach(_root IN LISTS roots)
    string(REGEX MATCH "^([^:]+):(.+)$" _m "${_root}")
    set(_prefix ${CMAKE_MATCH_1})
    set(_path ${CMAKE_MATCH_2})
    string(LENGTH "${_prefix}" _plen)
    string(SUBSTRING "${_name}" 0 ${_plen} _head)
    if(_head STREQUAL _prefix)
      string(SUBSTRING "${_name}" ${_plen} -1 _rest)
      string(REPLACE "." "/" _rest "${_rest}")
      string(REPLACE "." "/" _prefix_path "${_prefix}")
      set(${out} "${_path}${_rest}/${_version}" PARENT_SCOPE)
      set(${out}_RELATIVE "${_prefix_path}${_rest}/${_version}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
  message(FATAL_ERROR "no package root for ${package}")
endfunction()

function(hidl_host_generate target)
  cmake_parse_arguments(ARG "" "OUTPUT_DIR" "ROOTS;PACKAGES" ${ARGN})
  # Here rather than at include time: Python3_EXECUTABLE is a directory-scoped
  # variable, and callers live in other directories (interfaces/, tests/).
  find_package(Python3 COMPONENTS Interpreter REQUIRED)
  set(_all_hal)
  foreach(_root IN LISTS ARG_ROOTS)
    string(REGEX MATCH "^([^:]+):(.+)$" _m "${_root}")
    file(GLOB_RECURSE _hal CONFIGURE_DEPENDS ${CMAKE_MATCH_2}/*.hal)
    list(APPEND _all_hal ${_hal})
    # hidl-gen refuses a released interface (listed in the root's current.txt)
    # whose hash changed, as a device build does: a new record is a new input.
    if(EXISTS ${CMAKE_MATCH_2}/current.txt)
      list(APPEND _all_hal ${CMAKE_MATCH_2}/current.txt)
    endif()
  endforeach()

  set(_root_args)
  foreach(_root IN LISTS ARG_ROOTS)
    list(APPEND _root_args --root ${_root})
  endforeach()
  set(_sources)
  set(_headers)
  foreach(_package IN LISTS ARG_PACKAGES)
    hidl_host_package_dir(_dir ${_package} "${ARG_ROOTS}")
    file(GLOB _pkg_hal CONFIGURE_DEPENDS ${_dir}/*.hal)
    if(NOT _pkg_hal)
      message(FATAL_ERROR "package ${_package}: no .hal files in ${_dir}")
    endif()
    set(_outputs)
    foreach(_hal IN LISTS _pkg_hal)
      get_filename_component(_base ${_hal} NAME_WE)
      list(APPEND _outputs ${ARG_OUTPUT_DIR}/${_dir_RELATIVE}/${_base}.h)
    endforeach()
    list(APPEND _outputs ${ARG_OUTPUT_DIR}/${_dir_RELATIVE}/hostwire.h)
    string(REGEX REPLACE "[.@]" "_" _stem "${_package}")
    set(_glue ${ARG_OUTPUT_DIR}/glue/${_stem}.cpp)
    add_custom_command(
        OUTPUT ${_outputs} ${_glue}
        COMMAND ${Python3_EXECUTABLE} ${HIDL_HOST_GEN_SCRIPT}
            --hidl-gen ${HIDL_GEN_EXECUTABLE}
            ${_root_args}
            --package ${_package}
            --output-dir ${ARG_OUTPUT_DIR}
            --glue ${_glue}
        DEPENDS ${_all_hal} ${HIDL_HOST_GEN_FILES}
        COMMENT "hidl-gen ${_package}"
        VERBATIM)
    list(APPEND _headers ${_outputs})
    list(APPEND _sources ${_glue})
  endforeach()
  add_custom_target(${target} DEPENDS ${_headers} ${_sources})
  set(${target}_SOURCES ${_sources} PARENT_SCOPE)
  set(${target}_INCLUDE_DIR ${ARG_OUTPUT_DIR} PARENT_SCOPE)
endfunction()
