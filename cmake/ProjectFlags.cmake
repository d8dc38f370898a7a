# Warnings apply to the project's own targets only (imported libraries keep theirs).
set(IMSRCS_WARNING_FLAGS -Wall -Wextra -Werror)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Lock rules are written as annotations (GUARDED_BY, REQUIRES, ...): clang
  # checks them on every build it makes, the device build included.
  list(APPEND IMSRCS_WARNING_FLAGS -Wthread-safety)
endif()

if(IMSRCS_SANITIZE AND IMSRCS_TSAN)
  message(FATAL_ERROR "IMSRCS_SANITIZE and IMSRCS_TSAN cannot be combined; build them in separate trees")
endif()

if(IMSRCS_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

if(IMSRCS_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()

# Applies the project's warning flags to a target of our own.
function(imsrcs_target_flags target)
  target_compile_options(${target} PRIVATE ${IMSRCS_WARNING_FLAGS})
endfunction()

if(IMSRCS_BUILD_FUZZ)
  # A fuzz build instruments every library for coverage and runs it under
  # ASan + UBSan; only the fuzz targets link libFuzzer's main (fuzz/).
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# A sanitizer build's tests need the sanitizer options (the suppressions of
# the leaks the system keeps on purpose, and no report of them on stderr,
# which some tests compare). ctest reads this file before running any test
# and passes the environment on, so a plain `ctest` in build-asan/ behaves
# like scripts/test.sh. Options already set by the caller win.
if(IMSRCS_SANITIZE)
  set(_env_file ${CMAKE_BINARY_DIR}/SanitizerTestEnv.cmake)
  file(WRITE ${_env_file}
    "if(NOT DEFINED ENV{ASAN_OPTIONS})\n"
    "  set(ENV{ASAN_OPTIONS} \"detect_leaks=1:abort_on_error=0:strict_string_checks=1\")\n"
    "endif()\n"
    "if(NOT DEFINED ENV{LSAN_OPTIONS})\n"
    "  set(ENV{LSAN_OPTIONS} \"suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0\")\n"
    "endif()\n"
    "if(NOT DEFINED ENV{UBSAN_OPTIONS})\n"
    "  set(ENV{UBSAN_OPTIONS} \"print_stacktrace=1:halt_on_error=1\")\n"
    "endif()\n")
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY TEST_INCLUDE_FILES ${_env_file})
endif()

# The thread-sanitizer tree gets the same treatment: ctest in build-tsan/
# reads the suppressions of tests/tsan.supp (the accesses the design leaves
# unlocked on purpose, each with its reason) and fails a test on any other
# report (exitcode 66 from the sanitizer's runtime). The runtime's default
# second of sleep before each process exits (to catch races with threads
# still running at exit) is left out: every test is a process of its own,
# and the tests join or stop their threads before they end.
if(IMSRCS_TSAN)
  set(_env_file ${CMAKE_BINARY_DIR}/SanitizerTestEnv.cmake)
  file(WRITE ${_env_file}
    "if(NOT DEFINED ENV{TSAN_OPTIONS})\n"
    "  set(ENV{TSAN_OPTIONS} \"suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp:halt_on_error=0:exitcode=66:second_deadlock_stack=1:history_size=4:atexit_sleep_ms=0\")\n"
    "endif()\n")
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY TEST_INCLUDE_FILES ${_env_file})
endif()
