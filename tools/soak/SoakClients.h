/*
 * The client side of a soak run: callback objects and listeners as a
 * telephony client implements them, counting what they receive so that the
 * driver can tell answered requests from requests still waiting.
 */
#ifndef SOAK_SOAK_CLIENTS_H
#define SOAK_SOAK_CLIENTS_H

#include <cstdint>
#include <vector>

#include <hostsync/Mutex.h>

#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "testkit/CallCounts.h"

namespace soak {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::hardware::Return;
using ::android::hardware::Void;

class SetCb : public V2_0::ISetConfigCb {
public:
    Return<void> setConfigResponse(V2_0::RequestStatus status) override {
        answers.add(status == V2_0::RequestStatus::OK);
        return Void();
    }
    testkit::CallCounts answers;
};

class GetCb : public V2_0::IGetSettingsCb {
public:
    Return<void> getSettingsResponse(V2_0::RequestStatus status, const V2_0::SettingsData&) override {
        answers.add(status == V2_0::RequestStatus::OK);
        return Void();
    }
    testkit::CallCounts answers;
};

class ChangeCb : public V2_0::ISettingsChangeCb {
public:
    Return<void> onSettingsChanged(const V2_0::SettingsData&) override {
        changes.add(true);
        return Void();
    }
    testkit::CallCounts changes;
};

// A slot's listener: counts reconfiguration notices and keeps the token
// requests for the driver to answer.
class Listener : public V2_1::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override {
        reconfigs.add(true);
        return Void();
    }
    Return<void> onTokenFetchRequest(int32_t requestId, V2_1::TokenType type,
                                     V2_1::TokenRequestReason) override {
        {
            hostsync::MutexLock guard(mLock);
            mTokenRequests.push_back({requestId, type});
        }
        tokenRequests.add(true);
        return Void();
    }
    struct TokenRequest {
        int32_t requestId;
        V2_1::TokenType type;
    };
    // Takes the token requests received so far.
    std::vector<TokenRequest> takeTokenRequests() {
        hostsync::MutexLock guard(mLock);
        std::vector<TokenRequest> out;
        out.swap(mTokenRequests);
        return out;
    }
    testkit::CallCounts reconfigs;
    testkit::CallCounts tokenRequests;

private:
    hostsync::Mutex mLock;
    std::vector<TokenRequest> mTokenRequests GUARDED_BY(mLock);
};

}  // namespace soak

#endif  // SOAK_SOAK_CLIENTS_H
