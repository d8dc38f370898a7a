/*
 * AnswerCallbacks: the client's side of the service's asynchronous answers.
 * Each callback fills one Awaited result that the command waits on; they run
 * on the runtime's threads and touch nothing else.
 */
#ifndef RCSCONFIGCTL_ANSWER_CALLBACKS_H
#define RCSCONFIGCTL_ANSWER_CALLBACKS_H

#include <memory>

#include <vendor/kel/ims/rcsconfig/2.0/IGetSettingsCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/IRcsServiceStatusListener.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>

#include "ClientSession.h"

namespace rcsctl {

// What getSettingsValue answers.
struct GetResult {
    V2_0::RequestStatus status = V2_0::RequestStatus::FAIL;
    V2_0::SettingsData data{};
};

// Answers setConfig, setSettingsValue and setAppToken.
class SetConfigCb : public V2_0::ISetConfigCb {
public:
    explicit SetConfigCb(std::shared_ptr<Awaited<V2_0::RequestStatus>> result) : mResult(std::move(result)) {}
    android::hardware::Return<void> setConfigResponse(V2_0::RequestStatus status) override {
        mResult->set(status);
        return android::hardware::Void();
    }

private:
    std::shared_ptr<Awaited<V2_0::RequestStatus>> mResult;
};

class GetSettingsCb : public V2_0::IGetSettingsCb {
public:
    explicit GetSettingsCb(std::shared_ptr<Awaited<GetResult>> result) : mResult(std::move(result)) {}
    android::hardware::Return<void> getSettingsResponse(V2_0::RequestStatus status,
                                                        const V2_0::SettingsData& data) override {
        mResult->set(GetResult{status, data});
        return android::hardware::Void();
    }

private:
    std::shared_ptr<Awaited<GetResult>> mResult;
};

class UceListener : public V2_0::IRcsServiceStatusListener {
public:
    explicit UceListener(std::shared_ptr<Awaited<V2_0::UceStatus>> result) : mResult(std::move(result)) {}
    android::hardware::Return<void> onUceStatus(const V2_0::UceStatus& status) override {
        mResult->set(status);
        return android::hardware::Void();
    }

private:
    std::shared_ptr<Awaited<V2_0::UceStatus>> mResult;
};

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_ANSWER_CALLBACKS_H
