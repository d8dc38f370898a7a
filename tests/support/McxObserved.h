/*
 * The modem messaging library's callbacks, recording what they are told and
 * on which thread, and the client calls its tests share.
 */
#ifndef TESTS_SUPPORT_MCX_OBSERVED_H
#define TESTS_SUPPORT_MCX_OBSERVED_H

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <utility>
#include <vector>

#include <hostsync/Mutex.h>

#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"

namespace imstest {

inline int currentTid() { return static_cast<int>(syscall(SYS_gettid)); }
inline mcx_idl_service_object_type imssObject() { return imss_get_service_object_internal_v01(1, 0x67, 6); }
inline mcx_idl_service_object_type imsaObject() { return imsa_get_service_object_internal_v01(1, 0x2C, 6); }

// What the callbacks given this object saw; any thread.
class McxObserved {
public:
    struct Seen {
        std::vector<int> notifyEvents;
        std::vector<int> errors;
        std::vector<std::pair<uint32_t, std::vector<uint8_t>>> indications;
        std::vector<int> threads;  // the calling thread of each callback
    };
    // Waits until `pred` holds for what arrived.
    template <typename Pred>
    bool waitUntil(Pred pred, std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        hostsync::MutexLock l(mLock);
        return mChanged.waitFor(mLock, timeout, [&]() REQUIRES(mLock) { return pred(mSeen); });
    }
    // A copy of what arrived so far.
    Seen snapshot() {
        hostsync::MutexLock l(mLock);
        return mSeen;
    }
    // Applies `f` to what arrived, notes the calling thread and wakes the waiters.
    template <typename F>
    void record(F&& f) {
        hostsync::MutexLock l(mLock);
        f(mSeen);
        mSeen.threads.push_back(currentTid());
        mChanged.notifyAll();
    }

    static void notifyCb(mcx_client_type, mcx_idl_service_object_type, mcx_client_notify_event_type ev, void* o) {
        static_cast<McxObserved*>(o)->record([&](Seen& s) { s.notifyEvents.push_back(ev); });
    }
    static void errorCb(mcx_client_type, int err, void* o) {
        static_cast<McxObserved*>(o)->record([&](Seen& s) { s.errors.push_back(err); });
    }
    static void indicationCb(mcx_client_type, unsigned int msgId, void* buf, unsigned int len, void* o) {
        auto* p = static_cast<uint8_t*>(buf);
        static_cast<McxObserved*>(o)->record(
                [&](Seen& s) { s.indications.emplace_back(msgId, std::vector<uint8_t>(p, p + len)); });
    }

private:
    hostsync::Mutex mLock;
    hostsync::CondVar mChanged;
    Seen mSeen GUARDED_BY(mLock);
};

// A client of `svc`; its indications go to `o` when given.
inline mcx_client_type openMcxClient(mcx_idl_service_object_type svc, McxObserved* o = nullptr) {
    mcx_service_info info;
    EXPECT_EQ(mcx_client_get_any_service(svc, &info), MCX_NO_ERR);
    mcx_client_os_params os{};
    mcx_client_type h = nullptr;
    EXPECT_EQ(mcx_client_init(&info, svc, o ? McxObserved::indicationCb : nullptr, o, &os, &h), MCX_NO_ERR);
    return h;
}

// Binds IMS Settings client `h` to subscription `sub`; the library's status.
inline int bindSettings(mcx_client_type h, int32_t sub, unsigned timeout = 1000) {
    ims_settings_bind_subscription_req_msg_v01 req{sub};
    ims_settings_bind_subscription_resp_msg_v01 resp{};
    return mcx_client_send_msg_sync(h, IMSS_BIND_SUBSCRIPTION_V01, &req, sizeof(req), &resp, sizeof(resp),
                                    timeout);
}

}  // namespace imstest

#endif  // TESTS_SUPPORT_MCX_OBSERVED_H
