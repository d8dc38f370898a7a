/*
 * Test suites run once per registered instance of an interface, named after
 * the instance, as the platform's HAL tests are.
 */
#ifndef VTS_HAL_INSTANCES_H
#define VTS_HAL_INSTANCES_H

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

// Instantiates `suite` for every instance registered for `descriptor`. A
// device without the HAL runs none, which is not a failure.
#define IMSRCS_PER_INSTANCE(suite, descriptor)                                                  \
    GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(suite);                                        \
    INSTANTIATE_TEST_SUITE_P(PerInstance, suite,                                                 \
                             ::testing::ValuesIn(::imsrcs_vts::registeredInstances(descriptor)), \
                             ::imsrcs_vts::instanceTestName)

#endif  // VTS_HAL_INSTANCES_H
