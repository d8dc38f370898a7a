#include "SettingsTestFixture.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "emulator/EmbeddedModem.h"
#include "mcx_host.h"

namespace settingstest {

namespace {

// What a read or change callback handed over: `len` bytes of it, if any.
ReadResult resultOf(int id, const void* data, size_t len) {
    ReadResult r;
    r.msgId = id;
    r.hasData = data != nullptr;
    if (data != nullptr) r.data.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + len);
    return r;
}

}  // namespace

mcxemu::ModemEmulator& SettingsTest::modem() { return mcxemu::embeddedModem(); }

void SettingsTest::SetUp() {
    modem().reset();
    mLoop = std::make_unique<rcsservice::HostLoop>();
}

void SettingsTest::TearDown() {
    if (mSettings) {
        if (mLoop->running()) {
            onLoop([this] { mSettings.reset(); });
        } else {
            mSettings.reset();
        }
    }
    mLoop->stop();
}

void SettingsTest::startClient() {
    mSettings = std::make_unique<ImsMcxSettings>(mLoop->com(), mLoop->timer());
    auto status = mStatus;
    mSettings->registerServiceStatusListener([status](ServiceStatus s) { status->add(s); });
    mLoop->start();
}

void SettingsTest::startAndSubscribe() {
    startClient();
    ASSERT_TRUE(waitForStatuses(2));
    ASSERT_TRUE(subscribe(0));
}

bool SettingsTest::subscribe(int sub) {
    bool result = false;
    onLoop([&] { result = mSettings->subscribeToSub(sub); });
    return result;
}

std::shared_ptr<Recorder<bool>> SettingsTest::upload(const std::vector<uint8_t>& doc,
                                                     bool gzipped, int sub) {
    auto rec = std::make_shared<Recorder<bool>>();
    onLoop([&] {
        EXPECT_TRUE(mSettings->sendRcsConfig([rec](bool ok) { rec->add(ok); }, sub, doc, gzipped));
    });
    return rec;
}

void SettingsTest::drainRequests() {
    const char* kEntered = "ImsMcxSettings::sendAppTokenStatusOnThread reqid";
    size_t before = mLog.count(kEntered);
    onLoop([this] { mSettings->sendTokenFetchStatus(0, 0, 0, 0); });
    ASSERT_TRUE(mLog.waitFor(kEntered, kWait, before + 1));
}

std::shared_ptr<Recorder<bool>> SettingsTest::write(uint32_t msgId, const std::vector<uint8_t>& msg,
                                                    int sub) {
    auto rec = std::make_shared<Recorder<bool>>();
    void* buf = malloc(msg.size());
    memcpy(buf, msg.data(), msg.size());
    onLoop([&] {
        EXPECT_TRUE(mSettings->sendRcsSettings([rec](bool ok) { rec->add(ok); }, sub,
                                               static_cast<int>(msgId), buf));
    });
    return rec;
}

std::shared_ptr<Recorder<ReadResult>> SettingsTest::read(uint32_t msgId, int sub) {
    auto rec = std::make_shared<Recorder<ReadResult>>();
    const imss_settings_group_v01* group = imss_settings_group_by_msg_id(msgId);
    void* buf = calloc(1, group != nullptr ? group->get_resp_len : 16);
    auto cb = [rec, group](int id, void* data) {
        rec->add(resultOf(id, data, group != nullptr ? group->get_resp_len : 0));
    };
    onLoop([&] {
        EXPECT_TRUE(mSettings->receiveRcsSettings(cb, sub, static_cast<int>(msgId), buf));
    });
    return rec;
}

std::shared_ptr<Recorder<ReadResult>> SettingsTest::registerFor(int group, int sub) {
    auto rec = std::make_shared<Recorder<ReadResult>>();
    auto cb = [rec](int id, void* data) {
        const imss_settings_group_v01* g = imss_settings_group_by_id(id);
        rec->add(resultOf(id, data, g != nullptr ? g->set_len : 0));
    };
    onLoop([&] { EXPECT_TRUE(mSettings->registerForRcsSettingsUpdate(cb, sub, group)); });
    return rec;
}

std::shared_ptr<Recorder<bool>> SettingsTest::sendToken(const std::string& token, int sub) {
    auto rec = std::make_shared<Recorder<bool>>();
    onLoop([&] {
        EXPECT_TRUE(mSettings->sendAppToken([rec](bool ok) { rec->add(ok); }, sub, token));
    });
    return rec;
}

std::vector<mcxemu::RequestRecord> SettingsTest::requestsOf(uint32_t msgId) {
    std::vector<mcxemu::RequestRecord> out;
    for (auto& r : modem().requests()) {
        if (r.serviceId == IMSS_SERVICE_ID_V01 && r.msgId == msgId) out.push_back(std::move(r));
    }
    return out;
}

std::vector<ims_settings_set_new_carrier_config_req_msg_v01> SettingsTest::segments() {
    std::vector<ims_settings_set_new_carrier_config_req_msg_v01> out;
    for (const auto& r : requestsOf(IMSS_SET_NEW_CARRIER_CONFIG_V01)) {
        ims_settings_set_new_carrier_config_req_msg_v01 seg;
        EXPECT_EQ(r.data.size(), sizeof(seg));
        memset(&seg, 0, sizeof(seg));
        memcpy(&seg, r.data.data(), std::min(r.data.size(), sizeof(seg)));
        out.push_back(seg);
    }
    return out;
}

uint8_t SettingsTest::tokenSeed() const {
    return static_cast<uint8_t>(reinterpret_cast<uintptr_t>(mSettings.get()));
}

uint64_t SettingsTest::requestSeed() const {
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(mSettings.get()));
}

}  // namespace settingstest
