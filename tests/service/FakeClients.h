/*
 * Client-side objects of the RCS configuration interfaces, as a telephony
 * client implements them, recording every call they receive so tests can
 * wait for them. Hand them to the service through
 * android::hardware::testing::remoteOf() so that the service sees another
 * process's object, which can die.
 */
#ifndef TESTS_SERVICE_FAKE_CLIENTS_H
#define TESTS_SERVICE_FAKE_CLIENTS_H

#include <chrono>
#include <vector>

#include <hostsync/Mutex.h>

#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "testkit/CallCounts.h"

namespace servicetest {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::hardware::Return;
using ::android::hardware::Void;

// Calls received, in order; thread-safe.
template <typename T>
class Calls {
public:
    void add(T value) {
        hostsync::MutexLock guard(mLock);
        mItems.push_back(std::move(value));
        mChanged.notifyAll();
    }
    // Waits until at least `count` calls arrived.
    bool waitFor(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        hostsync::MutexLock lock(mLock);
        return mChanged.waitFor(mLock, timeout, [&]() REQUIRES(mLock) { return mItems.size() >= count; });
    }
    size_t size() const {
        hostsync::MutexLock guard(mLock);
        return mItems.size();
    }
    T at(size_t i) const {
        hostsync::MutexLock guard(mLock);
        return mItems.at(i);
    }

private:
    mutable hostsync::Mutex mLock;
    mutable hostsync::CondVar mChanged;
    std::vector<T> mItems GUARDED_BY(mLock);
};

// A client object with one method, which records the argument it gets.
#define SERVICETEST_RECORDER(Name, Interface, method, Param, Value, member) \
    class Name : public Interface {                                        \
    public:                                                                \
        Return<void> method(Param value) override {                        \
            member.add(value);                                             \
            return Void();                                                 \
        }                                                                  \
        Calls<Value> member;                                               \
    }

SERVICETEST_RECORDER(SetConfigCb, V2_0::ISetConfigCb, setConfigResponse, V2_0::RequestStatus, V2_0::RequestStatus,
                     responses);
SERVICETEST_RECORDER(SettingsChangeCb, V2_0::ISettingsChangeCb, onSettingsChanged, const V2_0::SettingsData&,
                     V2_0::SettingsData, changes);
SERVICETEST_RECORDER(UceListener, V2_0::IRcsServiceStatusListener, onUceStatus, const V2_0::UceStatus&,
                     V2_0::UceStatus, statuses);

struct GetSettingsResponse {
    V2_0::RequestStatus status;
    V2_0::SettingsData data;
};

class GetSettingsCb : public V2_0::IGetSettingsCb {
public:
    Return<void> getSettingsResponse(V2_0::RequestStatus status,
                                     const V2_0::SettingsData& data) override {
        responses.add(GetSettingsResponse{status, data});
        return Void();
    }
    Calls<GetSettingsResponse> responses;
};

class Listener_2_0 : public V2_0::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override {
        reconfigs.add();
        return Void();
    }
    testkit::CallCounts reconfigs;
};

struct TokenRequest {
    int32_t requestId;
    V2_1::TokenType type;
    V2_1::TokenRequestReason reason;
};

class Listener_2_1 : public V2_1::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override {
        reconfigs.add();
        return Void();
    }
    Return<void> onTokenFetchRequest(int32_t requestId, V2_1::TokenType type,
                                     V2_1::TokenRequestReason reason) override {
        tokenRequests.add(TokenRequest{requestId, type, reason});
        return Void();
    }
    testkit::CallCounts reconfigs;
    Calls<TokenRequest> tokenRequests;
};

}  // namespace servicetest

#endif  // TESTS_SERVICE_FAKE_CLIENTS_H
