/*
 * ClientSession: the client's side of the HAL. It runs the service inside
 * this process (RcsServiceHost) on the embedded modem emulator or on an
 * mcx-modemd daemon, finds the factory through the service registry as any
 * client does, and creates one RCS configuration object per slot on first
 * use, each with a listener of its own whose notices go to the NoticeQueue.
 *
 * All methods are for the main thread; the HIDL callbacks run on the
 * service's threads and only fill Awaited results or the NoticeQueue.
 */
#ifndef RCSCONFIGCTL_CLIENT_SESSION_H
#define RCSCONFIGCTL_CLIENT_SESSION_H

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "NoticeQueue.h"
#include "ServiceLog.h"

namespace rcsservice {
class RcsServiceHost;
}

namespace rcsctl {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;

struct SessionOptions {
    std::string modemSocket;  // empty: the embedded emulator
    bool factory_1_0 = false; // ask the 1.0 factory (createRcsConfig) instead of 1.1
};

class ClientSession {
public:
    ClientSession(SessionOptions options, NoticeQueue& notices);
    // Stops the service if it is still running.
    ~ClientSession();
    ClientSession(const ClientSession&) = delete;
    ClientSession& operator=(const ClientSession&) = delete;

    // Starts the service and looks the factory up; false with a one-line
    // reason when either fails.
    bool start(std::string* error);
    // Releases the objects and stops the service; idempotent.
    void stop();

    // Creates the object of `slot` and waits until the modem behind the
    // service is up and takes requests; false with the reason on timeout.
    // The reconfiguration notices of the start are dropped: they only say
    // that the modem came up.
    bool waitUntilReady(int slot, ServiceLog& log, std::chrono::milliseconds timeout, std::string* error);

    // The object for `slot`, created with our listener on first use. Null
    // with the reason in *error when the factory refuses.
    android::sp<V2_0::IRcsConfig> config(int slot, std::string* error);
    // A new object for `slot` with the slot's listener, replacing ours: what
    // a client does after a modem restart, since only a creation subscribes
    // the slot at the modem again.
    android::sp<V2_0::IRcsConfig> recreate(int slot, std::string* error);
    // The same object seen through its 2.1 interface; null when it has none.
    android::sp<V2_1::IRcsConfig> config_2_1(int slot, std::string* error);
    // The change callback of `slot`, shared by all its watched groups.
    android::sp<V2_0::ISettingsChangeCb> changeCallback(int slot);

    bool hasConfig(int slot) const { return mConfigs.count(slot) != 0; }
    std::vector<int> slots() const;
    // Which factory version created the objects, for output.
    const char* factoryVersion() const { return mOptions.factory_1_0 ? "1.0" : "1.1"; }

    rcsservice::RcsServiceHost& host() { return *mHost; }

private:
    android::sp<V2_0::IRcsConfig> create(int slot, std::string* error);

    SessionOptions mOptions;
    NoticeQueue& mNotices;
    std::unique_ptr<rcsservice::RcsServiceHost> mHost;
    bool mStarted = false;
    std::map<int, android::sp<V2_0::IRcsConfig>> mConfigs;
    std::map<int, android::sp<V2_1::IRcsConfigListener>> mListeners;
    std::map<int, android::sp<V2_0::ISettingsChangeCb>> mChangeCallbacks;
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_CLIENT_SESSION_H
