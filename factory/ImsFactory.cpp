#include "ImsFactory.h"

#include <android/log.h>
#include <hidl/HidlTransportSupport.h>

using android::sp;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;
using vendor::kel::ims::callcapability::V1_0::ICallCapabilityService;
using StatusCode = vendor::kel::ims::factory::V1_0::IImsFactory::StatusCode;
namespace V2_0 = vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = vendor::kel::ims::rcsconfig::V2_1;

#define FACTORY_LOGI(...) __android_log_print(ANDROID_LOG_INFO, nullptr, __VA_ARGS__)
#define FACTORY_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, nullptr, __VA_ARGS__)

std::map<std::string, std::shared_ptr<ImsCreatable>> ImsFactory_1_0::mCreators;
android::Mutex ImsFactory_1_0::creatorsMutex;
std::map<std::string, std::shared_ptr<ImsCreatable>> ImsFactory_1_1::mCreators;
android::Mutex ImsFactory_1_1::creatorsMutex;

namespace {

// The registry logic, shared by both factory classes (each has its own map
// and mutex); the callers hold the class's creatorsMutex.
bool registerIn(std::map<std::string, std::shared_ptr<ImsCreatable>>& creators, const std::string& name,
                std::shared_ptr<ImsCreatable> creatable) {
    if (creators.find(name) == creators.end()) {
        FACTORY_LOGI("ImsFactory registration for api:%s", name.c_str());
        creators[name] = std::move(creatable);
        return true;
    }
    FACTORY_LOGI("ImsFactory deregistration for api:%s", name.c_str());
    return false;
}

std::shared_ptr<ImsCreatable> lookupIn(std::map<std::string, std::shared_ptr<ImsCreatable>>& creators,
                                       const std::string& name) {
    auto it = creators.find(name);
    if (it != creators.end()) {
        FACTORY_LOGI("ImsFactory lookup success for %s", name.c_str());
        return it->second;
    }
    FACTORY_LOGI("ImsFactory lookup failed for %s", name.c_str());
    return nullptr;
}

void deregisterIn(std::map<std::string, std::shared_ptr<ImsCreatable>>& creators) {
    FACTORY_LOGI("ImsFactory inside deregister");
    for (auto& entry : creators) entry.second.reset();
    creators.clear();
    ImsCreatable::reclaimRefused();
}

// Slots are 1 and 2; computed unsigned so that 0 wraps and is refused too.
bool isValidSlot(uint32_t slotId) {
    return slotId - 1u <= 1u;
}

template <typename Service>
sp<Service> asService(const sp<IBase>& object) {
    if (object == nullptr) return nullptr;
    return Service::castFrom(object).withDefault(nullptr);
}

// createCallCapabilityService, the same in both classes but for the registry.
template <typename Lookup, typename Callback>
void createCallCapability(uint32_t slotId, Lookup lookup, Callback cb) {
    FACTORY_LOGI("Factory createCallCapabilityService slotid %d", static_cast<int>(slotId));
    if (!isValidSlot(slotId)) {
        FACTORY_LOGE("Factory createCallCapabilityService: Invalid slot id");
        cb(StatusCode::INVALID_ARGUMENTS, nullptr);
        return;
    }
    std::shared_ptr<ImsCreatable> creatable = lookup("createCallCapabilityService");
    if (creatable != nullptr) {
        Params params{nullptr, static_cast<int32_t>(slotId), 0};
        sp<IBase> created = creatable->createInstance(params);
        cb(StatusCode::SUCCESS, asService<ICallCapabilityService>(created));
        FACTORY_LOGI("Factory createCallCapabilityService createInstance Success");
    } else {
        cb(StatusCode::NOT_SUPPORTED, nullptr);
        FACTORY_LOGE("Factory createCallCapabilityService createInstance Not Supported");
    }
}

// createRcsConfig after the listener check (which only the 1.1 class makes).
template <typename Lookup, typename Callback>
void createRcsConfigFor(uint32_t slotId, const sp<V2_0::IRcsConfigListener>& listener, Lookup lookup,
                        Callback cb) {
    FACTORY_LOGI("Factory createRcsConfig slotid %d", static_cast<int>(slotId));
    if (!isValidSlot(slotId)) {
        FACTORY_LOGE("Factory createRcsConfig: Invalid slot id");
        cb(StatusCode::INVALID_ARGUMENTS, nullptr);
        return;
    }
    std::shared_ptr<ImsCreatable> creatable = lookup("createRcsConfig");
    if (creatable != nullptr) {
        Params params{listener, static_cast<int32_t>(slotId), 0};
        sp<IBase> created = creatable->createInstance(params);
        cb(StatusCode::SUCCESS, asService<V2_0::IRcsConfig>(created));
        FACTORY_LOGI("Factory createRcsConfig createInstance Sucess");
    } else {
        cb(StatusCode::NOT_SUPPORTED, nullptr);
        FACTORY_LOGE("Factory createRcsConfig createInstance Not Supported");
    }
}

}  // namespace

// ---- ImsFactory_1_0

ImsFactory_1_0::~ImsFactory_1_0() {
    deregister();
}

void ImsFactory_1_0::start() {
    android::hardware::configureRpcThreadpool(1, false);
    android::status_t status = registerAsService("default");
    if (status != 0) {
        FACTORY_LOGE("ImsFactory_1_0 HAL registration failed with %d", status);
    }
}

bool ImsFactory_1_0::registerApi(const std::string& name, std::shared_ptr<ImsCreatable> creatable) {
    // Creatables refused earlier are fully built by now and can go.
    ImsCreatable::reclaimRefused();
    android::Mutex::Autolock guard(creatorsMutex);
    return registerIn(mCreators, name, std::move(creatable));
}

std::shared_ptr<ImsCreatable> ImsFactory_1_0::getCreatable(const std::string& name) {
    android::Mutex::Autolock guard(creatorsMutex);
    return lookupIn(mCreators, name);
}

// Without creatorsMutex by design: it runs at factory destruction, when no
// binder call or registration can reach the registry any more.
void ImsFactory_1_0::deregister() NO_THREAD_SAFETY_ANALYSIS {
    deregisterIn(mCreators);
}

Return<void> ImsFactory_1_0::createRcsConfig(uint32_t slotId, const sp<V2_0::IRcsConfigListener>& listener,
                                             createRcsConfig_cb cb) {
    createRcsConfigFor(slotId, listener, &ImsFactory_1_0::getCreatable, cb);
    return Void();
}

Return<void> ImsFactory_1_0::createCallCapabilityService(uint32_t slotId, createCallCapabilityService_cb cb) {
    createCallCapability(slotId, &ImsFactory_1_0::getCreatable, cb);
    return Void();
}

// ---- ImsFactory_1_1

ImsFactory_1_1::~ImsFactory_1_1() {
    deregister();
}

void ImsFactory_1_1::start() {
    android::hardware::configureRpcThreadpool(1, false);
    android::status_t status = registerAsService("default");
    if (status != 0) {
        FACTORY_LOGE("ImsFactory_1_1 HAL registration failed with %d", status);
    }
}

bool ImsFactory_1_1::registerApi(const std::string& name, std::shared_ptr<ImsCreatable> creatable) {
    // Creatables refused earlier are fully built by now and can go.
    ImsCreatable::reclaimRefused();
    android::Mutex::Autolock guard(creatorsMutex);
    return registerIn(mCreators, name, std::move(creatable));
}

std::shared_ptr<ImsCreatable> ImsFactory_1_1::getCreatable(const std::string& name) {
    android::Mutex::Autolock guard(creatorsMutex);
    return lookupIn(mCreators, name);
}

// Without creatorsMutex by design: it runs at factory destruction, when no
// binder call or registration can reach the registry any more.
void ImsFactory_1_1::deregister() NO_THREAD_SAFETY_ANALYSIS {
    deregisterIn(mCreators);
}

Return<void> ImsFactory_1_1::createRcsConfig(uint32_t slotId, const sp<V2_0::IRcsConfigListener>& listener,
                                             createRcsConfig_cb cb) {
    if (listener == nullptr) {
        FACTORY_LOGE("Factory createRcsConfig: invalid input params");
        cb(StatusCode::INVALID_ARGUMENTS, nullptr);
        return Void();
    }
    createRcsConfigFor(slotId, listener, &ImsFactory_1_1::getCreatable, cb);
    return Void();
}

Return<void> ImsFactory_1_1::createCallCapabilityService(uint32_t slotId, createCallCapabilityService_cb cb) {
    createCallCapability(slotId, &ImsFactory_1_1::getCreatable, cb);
    return Void();
}

Return<void> ImsFactory_1_1::createRcsConfig_1_1(uint32_t slotId, const sp<V2_1::IRcsConfigListener>& listener,
                                                 createRcsConfig_1_1_cb cb) {
    FACTORY_LOGI("Factory createRcsConfig_1_1 slotid %d", static_cast<int>(slotId));
    if (!isValidSlot(slotId)) {
        FACTORY_LOGE("Factory createRcsConfig_1_1: Invalid slot id");
        cb(StatusCode::INVALID_ARGUMENTS, nullptr);
        return Void();
    }
    std::shared_ptr<ImsCreatable> creatable = getCreatable("createRcsConfig_1_1");
    if (creatable != nullptr) {
        Params params{listener, static_cast<int32_t>(slotId), 1};
        sp<IBase> created = creatable->createInstance(params);
        cb(StatusCode::SUCCESS, asService<V2_1::IRcsConfig>(created));
        FACTORY_LOGI("Factory createRcsConfig createInstance Sucess");
    } else {
        cb(StatusCode::NOT_SUPPORTED, nullptr);
        FACTORY_LOGE("Factory createRcsConfig createInstance Not Supported");
    }
    return Void();
}
