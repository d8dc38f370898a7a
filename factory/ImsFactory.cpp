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

namespace {

// Slots are 1 and 2; computed unsigned so that 0 wraps and is refused too.
bool isValidSlot(uint32_t slotId) {
    return slotId - 1u <= 1u;
}

template <typename Service>
sp<Service> asService(const sp<IBase>& object) {
    if (object == nullptr) return nullptr;
    return Service::castFrom(object).withDefault(nullptr);
}

// What a create method logs after its "slotid" line.
struct CreateLines {
    const char* invalidSlot;   // ERROR
    const char* created;       // INFO
    const char* notSupported;  // ERROR
};

constexpr CreateLines kRcsConfigLines{"Factory createRcsConfig: Invalid slot id",
                                      "Factory createRcsConfig createInstance Sucess",
                                      "Factory createRcsConfig createInstance Not Supported"};
constexpr CreateLines kRcsConfig11Lines{"Factory createRcsConfig_1_1: Invalid slot id",
                                        kRcsConfigLines.created, kRcsConfigLines.notSupported};
constexpr CreateLines kCallCapabilityLines{
        "Factory createCallCapabilityService: Invalid slot id",
        "Factory createCallCapabilityService createInstance Success",
        "Factory createCallCapabilityService createInstance Not Supported"};

// Every create method after its own checks: refuses a slot other than 1 and
// 2, looks `name` up in Factory's registry and has the creatable build the
// object, answering cb with the status and the object as a Service.
template <typename Factory, typename Service, typename Callback>
void create(uint32_t slotId, const char* name, const sp<IBase>& listener, uint8_t version,
            const CreateLines& lines, Callback cb) {
    if (!isValidSlot(slotId)) {
        FACTORY_LOGE("%s", lines.invalidSlot);
        cb(StatusCode::INVALID_ARGUMENTS, nullptr);
        return;
    }
    std::shared_ptr<ImsCreatable> creatable = Factory::getCreatable(name);
    if (creatable == nullptr) {
        cb(StatusCode::NOT_SUPPORTED, nullptr);
        FACTORY_LOGE("%s", lines.notSupported);
        return;
    }
    Params params{listener, static_cast<int32_t>(slotId), version};
    // The result is passed on as returned, even if empty.
    cb(StatusCode::SUCCESS, asService<Service>(creatable->createInstance(params)));
    FACTORY_LOGI("%s", lines.created);
}

// createRcsConfig after the empty-listener check, which only the 1.1 class makes.
template <typename Factory, typename Callback>
Return<void> createRcsConfigIn(uint32_t slotId, const sp<V2_0::IRcsConfigListener>& listener, Callback cb) {
    FACTORY_LOGI("Factory createRcsConfig slotid %d", static_cast<int>(slotId));
    create<Factory, V2_0::IRcsConfig>(slotId, "createRcsConfig", listener, 0, kRcsConfigLines, cb);
    return Void();
}

template <typename Factory, typename Callback>
Return<void> createCallCapabilityIn(uint32_t slotId, Callback cb) {
    FACTORY_LOGI("Factory createCallCapabilityService slotid %d", static_cast<int>(slotId));
    create<Factory, ICallCapabilityService>(slotId, "createCallCapabilityService", nullptr, 0,
                                            kCallCapabilityLines, cb);
    return Void();
}

}  // namespace

// ---- the registry of each factory class

template <typename Factory>
std::map<std::string, std::shared_ptr<ImsCreatable>> ImsFactoryBase<Factory>::mCreators;
template <typename Factory>
android::Mutex ImsFactoryBase<Factory>::creatorsMutex;

template <typename Factory>
void ImsFactoryBase<Factory>::start() {
    android::hardware::configureRpcThreadpool(1, false);
    android::status_t status = static_cast<Factory*>(this)->registerAsService("default");
    if (status != 0) {
        FACTORY_LOGE(Factory::kRegistrationFailed, status);
    }
}

template <typename Factory>
bool ImsFactoryBase<Factory>::registerApi(const std::string& name, std::shared_ptr<ImsCreatable> creatable) {
    // Creatables refused earlier are fully built by now and can go.
    ImsCreatable::reclaimRefused();
    android::Mutex::Autolock guard(creatorsMutex);
    if (mCreators.find(name) == mCreators.end()) {
        FACTORY_LOGI("ImsFactory registration for api:%s", name.c_str());
        mCreators[name] = std::move(creatable);
        return true;
    }
    FACTORY_LOGI("ImsFactory deregistration for api:%s", name.c_str());
    return false;
}

template <typename Factory>
std::shared_ptr<ImsCreatable> ImsFactoryBase<Factory>::getCreatable(const std::string& name) {
    android::Mutex::Autolock guard(creatorsMutex);
    auto it = mCreators.find(name);
    if (it != mCreators.end()) {
        FACTORY_LOGI("ImsFactory lookup success for %s", name.c_str());
        return it->second;
    }
    FACTORY_LOGI("ImsFactory lookup failed for %s", name.c_str());
    return nullptr;
}

template <typename Factory>
void ImsFactoryBase<Factory>::deregister() {
    FACTORY_LOGI("ImsFactory inside deregister");
    for (auto& entry : mCreators) entry.second.reset();
    mCreators.clear();
    ImsCreatable::reclaimRefused();
}

template class ImsFactoryBase<ImsFactory_1_0>;
template class ImsFactoryBase<ImsFactory_1_1>;

// ---- ImsFactory_1_0

Return<void> ImsFactory_1_0::createRcsConfig(uint32_t slotId, const sp<V2_0::IRcsConfigListener>& listener,
                                             createRcsConfig_cb cb) {
    return createRcsConfigIn<ImsFactory_1_0>(slotId, listener, cb);
}

Return<void> ImsFactory_1_0::createCallCapabilityService(uint32_t slotId, createCallCapabilityService_cb cb) {
    return createCallCapabilityIn<ImsFactory_1_0>(slotId, cb);
}

// ---- ImsFactory_1_1

Return<void> ImsFactory_1_1::createRcsConfig(uint32_t slotId, const sp<V2_0::IRcsConfigListener>& listener,
                                             createRcsConfig_cb cb) {
    if (listener == nullptr) {
        FACTORY_LOGE("Factory createRcsConfig: invalid input params");
        cb(StatusCode::INVALID_ARGUMENTS, nullptr);
        return Void();
    }
    return createRcsConfigIn<ImsFactory_1_1>(slotId, listener, cb);
}

Return<void> ImsFactory_1_1::createRcsConfig_1_1(uint32_t slotId, const sp<V2_1::IRcsConfigListener>& listener,
                                                 createRcsConfig_1_1_cb cb) {
    FACTORY_LOGI("Factory createRcsConfig_1_1 slotid %d", static_cast<int>(slotId));
    create<ImsFactory_1_1, V2_1::IRcsConfig>(slotId, "createRcsConfig_1_1", listener, 1, kRcsConfig11Lines,
                                             cb);
    return Void();
}

Return<void> ImsFactory_1_1::createCallCapabilityService(uint32_t slotId, createCallCapabilityService_cb cb) {
    return createCallCapabilityIn<ImsFactory_1_1>(slotId, cb);
}
