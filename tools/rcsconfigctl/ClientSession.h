/*
 * ClientSession: the client's side of the HAL, and nothing else: it reaches
 * the service only through HIDL and the factory's debug(). By default the
 * service runs inside this process (a WorkstationService on the embedded
 * modem emulator or on an mcx-modemd daemon); attached, it is a service
 * process found through the host service registry. Either way the session
 * finds the factory as any client does and creates one RCS configuration
 * object per slot on first use, each with a listener of its own whose
 * notices go to the NoticeQueue.
 *
 * Attached, it links a death recipient on the factory and on each object:
 * when the service process dies one ServiceDied notice is queued, every
 * answer still awaited is abandoned, and reconnect() waits for the service
 * to be registered again and makes new objects for the slots it had.
 *
 * What a client cannot see of the service (its loop, its log, the modem
 * behind it, the platform stand-in) is asked for through debug() with the
 * workstation's host commands, the same words wherever the service runs.
 *
 * All methods are for the main thread unless stated otherwise; the HIDL
 * callbacks run on runtime threads and only fill Awaited results or the
 * NoticeQueue.
 */
#ifndef RCSCONFIGCTL_CLIENT_SESSION_H
#define RCSCONFIGCTL_CLIENT_SESSION_H

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <hostsync/Mutex.h>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/Status.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfig.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "NoticeQueue.h"

namespace rcsservice {
class ServiceLog;
class WorkstationService;
}  // namespace rcsservice

namespace rcsctl {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;

struct SessionOptions {
    std::string modemSocket;  // empty: the embedded emulator
    bool factory_1_0 = false; // ask the 1.0 factory (createRcsConfig) instead of 1.1
    bool attach = false;      // use a running service process instead of starting one here
    std::string serviceName = "default";
    std::string registryDir;  // attached: the registry folder; empty: the runtime's default
    std::chrono::milliseconds timeout{10000};  // attached: how long to wait for the service, and for each call
};

class ClientSession {
public:
    ClientSession(SessionOptions options, NoticeQueue& notices, rcsservice::ServiceLog& log);
    // Stops the service if it is still running.
    ~ClientSession();
    ClientSession(const ClientSession&) = delete;
    ClientSession& operator=(const ClientSession&) = delete;

    // Starts the service here (or finds the running one) and looks the
    // factory up; false with a one-line reason when either fails.
    bool start(std::string* error);
    // Releases the objects and stops the service started here; idempotent.
    void stop();

    // Creates the object of `slot` and waits until the modem behind the
    // service is up and takes requests; false with the reason on timeout.
    // The reconfiguration notices of the start are dropped: they only say
    // that the modem came up.
    bool waitUntilReady(int slot, std::chrono::milliseconds timeout, std::string* error);

    // Waits until the modem behind the service is up, and creates nothing;
    // false with the reason on timeout.
    bool waitForModem(std::chrono::milliseconds timeout, std::string* error);

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
    bool attached() const { return mOptions.attach; }
    const std::string& serviceName() const { return mOptions.serviceName; }

    // True once the listener of `slot` heard "reconfiguration needed" (the
    // modem came back) after its object was made: the modem no longer knows
    // the object, so requests that need the modem are never answered until
    // recreate(). Any thread.
    bool stale(int slot) const;
    // Ends `wait` early when the object of `slot` becomes stale (at once if
    // it is). Call before making the call whose answer is awaited.
    void abandonOnReconfig(int slot, const std::shared_ptr<AbandonableWait>& wait);

    // Ends `wait` early if the service dies before it is answered (attached).
    // Call before making the call whose answer is awaited.
    void abandonOnDeath(const std::shared_ptr<AbandonableWait>& wait);
    // True once the service we use has died and reconnect() has not yet
    // succeeded; any thread.
    bool serviceDead() const { return mDead.load(); }
    // A call to the service failed with `failed`. A call that found the
    // service's process gone (DEAD_OBJECT) is its death, taken at once: the
    // runtime's notice of it comes on another thread, possibly only after
    // more calls. Returns serviceDead(). Main thread.
    bool takeDeathOf(const android::hardware::Status& failed);
    // After the service died: waits for it to be registered again, then
    // creates new objects for the slots we had. False with the reason.
    bool reconnect(std::string* error);

    // Blocks until the service has handled everything posted so far.
    void waitUntilIdle();
    // The service's state dump, as `lshal debug` prints it.
    bool dump(std::string* text, std::string* error);
    // The same as one JSON object, from the service's own figures.
    bool dumpJson(std::string* json, std::string* error);
    // The service's kept log lines after line number `after` (0: all), in
    // logcat's threadtime layout; *next is where the next call goes on.
    bool logLines(uint64_t after, uint64_t* next, std::vector<std::string>* lines, std::string* error);
    // Heap bytes in use in the service's process (this one when the service
    // runs here); 0 under a sanitizer, whose allocator does not count them.
    bool heapInUse(unsigned long long* bytes, std::string* error);
    // Change registrations the service has sent to the modem so far, and a
    // wait for that count to reach `target`.
    unsigned long registrationsSent();
    bool waitForRegistrations(unsigned long target, std::chrono::milliseconds timeout);
    // The platform's RCS service mask as the service sees it.
    bool setPlatformMask(uint32_t mask, std::string* error);
    uint32_t platformMask();
    // A modem control command run where the modem is reached; false with the
    // reply (or the error) in *error when the modem refuses it.
    bool modemControl(const std::string& text, std::string* reply, std::string* error);

private:
    class DeathRecipient;
    android::sp<V2_0::IRcsConfig> create(int slot, std::string* error);
    bool connect(std::string* error);
    android::sp<::android::hidl::base::V1_0::IBase> lookUpFactory() const;
    // Attached: the factory once registered, null after the time-out or a stop.
    android::sp<::android::hidl::base::V1_0::IBase> waitForFactory();
    // The process the registry names for the factory, 0 when none. Main thread.
    int servingPid() const;
    // The service of connection `generation` died; any thread.
    void onServiceDied(uint64_t generation);
    // The listener of `slot` heard that the modem came back; runtime thread.
    void markStale(int slot);
    // Runs one of the service process's host commands through debug().
    bool hostCommand(const std::vector<std::string>& words, std::string* text, std::string* error);
    bool debugCall(const std::vector<std::string>& options, std::string* text, std::string* error);

    SessionOptions mOptions;
    NoticeQueue& mNotices;
    rcsservice::ServiceLog& mLog;
    std::unique_ptr<rcsservice::WorkstationService> mLocal;  // not attached: the service run here
    bool mStarted = false;
    std::string mRegistryDir;  // attached
    android::sp<::android::hidl::base::V1_0::IBase> mFactory;  // the factory we use
    android::sp<DeathRecipient> mRecipient;
    std::map<int, android::sp<V2_0::IRcsConfig>> mConfigs;
    std::map<int, android::sp<V2_1::IRcsConfigListener>> mListeners;
    std::map<int, android::sp<V2_0::ISettingsChangeCb>> mChangeCallbacks;

    std::atomic<bool> mDead{false};
    std::atomic<uint64_t> mGeneration{0};  // of the current connection; each connect() makes a new one
    mutable hostsync::Mutex mWaitsLock;
    std::vector<std::weak_ptr<AbandonableWait>> mWaits GUARDED_BY(mWaitsLock);
    std::set<int> mStale GUARDED_BY(mWaitsLock);  // slots whose object predates the modem's restart
    std::map<int, std::vector<std::weak_ptr<AbandonableWait>>> mSlotWaits GUARDED_BY(mWaitsLock);
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_CLIENT_SESSION_H
