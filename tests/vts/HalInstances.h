/*
 * Test suites run once per declared instance of an interface, named after
 * the instance, as the platform's HAL tests are. Written for the GoogleTest
 * of Android 10 as well as later ones: that level has
 * INSTANTIATE_TEST_SUITE_P but not GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST
 * (and runs an empty instantiation silently); later levels deprecate the
 * _CASE_ spelling and fail a suite left without instances unless allowed.
 */
#ifndef VTS_HAL_INSTANCES_H
#define VTS_HAL_INSTANCES_H

#include <ctype.h>

#include <string>

#include <gtest/gtest.h>

#include "HalTransport.h"

namespace imsrcs_vts {

// "default" -> "default"; any character gtest does not allow in a name -> '_'.
inline std::string instanceTestName(const ::testing::TestParamInfo<std::string>& info) {
    std::string name = info.param;
    for (char& c : name) {
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    }
    return name;
}

}  // namespace imsrcs_vts

#ifdef INSTANTIATE_TEST_SUITE_P
#define IMSRCS_INSTANTIATE INSTANTIATE_TEST_SUITE_P
#else
#define IMSRCS_INSTANTIATE INSTANTIATE_TEST_CASE_P
#endif

// A device that declares no instance of the HAL runs none of its cases,
// which is not a failure: the HAL is not there to test.
#ifdef GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST
#define IMSRCS_ALLOW_NO_INSTANCE(suite) GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(suite)
#else
#define IMSRCS_ALLOW_NO_INSTANCE(suite) static_assert(true, "")
#endif

// Instantiates `suite` for every instance declared for `descriptor`, the
// cases named `prefix`/<suite>.<case>/<instance>.
#define IMSRCS_INSTANTIATE_PER_INSTANCE(prefix, suite, descriptor)                                \
    IMSRCS_ALLOW_NO_INSTANCE(suite);                                                               \
    IMSRCS_INSTANTIATE(prefix, suite, ::testing::ValuesIn(::imsrcs_vts::declaredInstances(descriptor)), \
                       ::imsrcs_vts::instanceTestName)
#define IMSRCS_PER_INSTANCE(suite, descriptor) IMSRCS_INSTANTIATE_PER_INSTANCE(PerInstance, suite, descriptor)

// The same for a suite that changes the modem's configuration: its cases
// are disabled unless the run asks for them with
// --gtest_also_run_disabled_tests (--gtest_filter='DISABLED_Writes/*' runs
// them alone).
#define IMSRCS_PER_INSTANCE_OPT_IN(suite, descriptor) IMSRCS_INSTANTIATE_PER_INSTANCE(DISABLED_Writes, suite, descriptor)

#endif  // VTS_HAL_INSTANCES_H
