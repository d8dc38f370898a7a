/*
 * Fixture for the IMS Settings client tests: the embedded modem emulator, a
 * real loop thread, and the client under test, with recorders for what its
 * callbacks report. Requests are issued on the loop thread, as the manager
 * issues them.
 */
#ifndef TESTS_SETTINGS_SETTINGS_TEST_FIXTURE_H
#define TESTS_SETTINGS_SETTINGS_TEST_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "emulator/ModemEmulator.h"
#include "ims_settings_service_v01.h"
#include "rcsconfig/ImsMcxSettings.h"
#include "support/LogCapture.h"
#include "support/ModemTestUtil.h"
#include "service/HostLoop.h"

namespace settingstest {

constexpr std::chrono::milliseconds kWait{10000};
using K = mcxemu::MessageFault::Kind;

// Values reported by a callback, from any thread, with a wait on their number.
template <typename T>
class Recorder {
public:
    void add(T value) {
        std::lock_guard<std::mutex> lock(mLock);
        mValues.push_back(std::move(value));
        mChanged.notify_all();
    }
    bool waitForCount(size_t n, std::chrono::milliseconds timeout = kWait) const {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, timeout, [&] { return mValues.size() >= n; });
    }
    std::vector<T> values() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mValues;
    }
    size_t size() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mValues.size();
    }

private:
    mutable std::mutex mLock;
    mutable std::condition_variable mChanged;
    std::vector<T> mValues;
};

// One read result: the message id and, when it succeeded, a copy of the response.
struct ReadResult {
    int msgId = 0;
    bool hasData = false;
    std::vector<uint8_t> data;
};

class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    static mcxemu::ModemEmulator& modem();
    // The modem answers the next request of the settings service with this id so.
    static void fail(uint32_t msgId, const mcxemu::MessageFault& fault) {
        modem().failMessage(IMSS_SERVICE_ID_V01, msgId, fault);
    }

    // Constructs the client and starts the loop; the service comes up at once.
    void startClient();
    // startClient, waits for the second status report and binds subscription 0.
    void startAndSubscribe();
    bool waitForStatuses(size_t n) { return mStatus->waitForCount(n); }
    std::vector<ServiceStatus> statuses() const { return mStatus->values(); }

    void onLoop(const std::function<void()>& fn) { mLoop->runOnLoop(fn); }
    bool subscribe(int sub);

    // Issues an upload; its callback lands in the returned recorder.
    std::shared_ptr<Recorder<bool>> upload(const std::vector<uint8_t>& doc, bool gzipped,
                                           int sub = 0);
    // Writes a group's request message (copied into a malloc'ed buffer).
    std::shared_ptr<Recorder<bool>> write(uint32_t msgId, const std::vector<uint8_t>& msg,
                                          int sub = 0);
    // Reads a group into a buffer of the group's read length.
    std::shared_ptr<Recorder<ReadResult>> read(uint32_t msgId, int sub = 0);
    // Registers for a group's changes; indications land in the recorder.
    std::shared_ptr<Recorder<ReadResult>> registerFor(int group, int sub = 0);
    std::shared_ptr<Recorder<bool>> sendToken(const std::string& token, int sub = 0);
    // Returns once every request whose callback has run is finished: one more
    // request (a token-fetch status) has gone through the request mutex.
    void drainRequests();

    // Requests of the IMS Settings service with this id, in arrival order.
    static std::vector<mcxemu::RequestRecord> requestsOf(uint32_t msgId);
    static std::vector<ims_settings_set_new_carrier_config_req_msg_v01> segments();

    uint8_t tokenSeed() const;
    uint64_t requestSeed() const;

    imstest::LogCapture mLog;
    std::unique_ptr<rcsservice::HostLoop> mLoop;
    std::unique_ptr<ImsMcxSettings> mSettings;
    std::shared_ptr<Recorder<ServiceStatus>> mStatus = std::make_shared<Recorder<ServiceStatus>>();
};

using imstest::gzipBytes;
using imstest::noiseBytes;

}  // namespace settingstest

#endif  // TESTS_SETTINGS_SETTINGS_TEST_FIXTURE_H
