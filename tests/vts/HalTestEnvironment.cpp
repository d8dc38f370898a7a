// Joins the HIDL transport once, before any test asks for a service.
#include <gtest/gtest.h>

#include "HalTransport.h"

namespace imsrcs_vts {
namespace {

class HalTransportEnvironment : public ::testing::Environment {
public:
    void SetUp() override { joinHalTransport(); }
};

::testing::Environment* const kEnvironment = ::testing::AddGlobalTestEnvironment(new HalTransportEnvironment);

}  // namespace
}  // namespace imsrcs_vts
