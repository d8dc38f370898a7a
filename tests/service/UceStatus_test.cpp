// getUceStatus reports the platform's RCS service mask as two flags, each of
// which needs the common RCS bit as well.
#include <gtest/gtest.h>

#include "ServiceFixture.h"
#include "xvDplHost.h"

namespace servicetest {
namespace {

class UceStatusTest : public ServiceFixture {};

TEST_F(UceStatusTest, GetUceStatus_FlagsFollowThePlatformMask) {
    ASSERT_NO_FATAL_FAILURE(startService());
    sp<Listener_2_1> listener = new Listener_2_1();
    sp<V2_1::IRcsConfig> config = create(2, remote<V2_1::IRcsConfigListener>(listener));
    ASSERT_NE(config, nullptr);

    struct Case {
        uint32_t mask;
        bool presence;
        bool options;
    };
    const Case cases[] = {{0x5, true, false}, {0xD, true, true},  {0x9, false, true},
                          {0x4, false, false}, {0x8, false, false}, {0x1, false, false},
                          {0xC, false, false}, {0x0, false, false}, {0xFFFFFFFF, true, true}};
    for (const Case& c : cases) {
        xvDplHostSetSupportedRcsServiceMask(c.mask);
        sp<UceListener> uce = new UceListener();
        config->getUceStatus(remote<V2_0::IRcsServiceStatusListener>(uce));
        // Answered on the calling thread, before the call returns.
        ASSERT_EQ(uce->statuses.size(), 1u) << std::hex << c.mask;
        V2_0::UceStatus status = uce->statuses.at(0);
        EXPECT_EQ(status.isPresenceSupported, c.presence) << std::hex << c.mask;
        EXPECT_EQ(status.isOptionsSupported, c.options) << std::hex << c.mask;
    }
    EXPECT_EQ(log.count("RcsConfig got getUceStatus request"), std::size(cases));
}

}  // namespace
}  // namespace servicetest
