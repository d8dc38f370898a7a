/*
 * The IMS factory services, IImsFactory 1.0 and 1.1, instance "default".
 *
 * A factory checks the client's slot, looks up the creatable registered
 * under the method's name and asks it to build the object. Each class keeps
 * its own static registry (name -> creatable), filled by ImsCreatable's
 * constructors; the two registries are independent. Messages go straight to
 * the Android log with no tag: INFO for registrations and lookups, ERROR for
 * refusals.
 */
#ifndef IMS_FACTORY_H
#define IMS_FACTORY_H

#include <map>
#include <memory>
#include <utils/Mutex.h>
#include <string>

#include <vendor/kel/ims/factory/1.0/IImsFactory.h>
#include <vendor/kel/ims/factory/1.1/IImsFactory.h>

#include "ImsCreatable.h"

// What both factory classes share: start() and the static registry of
// creatables by name. Each class instantiates it for itself, so each keeps
// its own registry and mutex (ImsFactory_1_0::mCreators, ImsFactory_1_1::creatorsMutex, ...).
template <typename Factory>
class ImsFactoryBase {
public:
    // One binder thread, not joined by the caller; registers as "default".
    // Host start-up thread.
    void start();

    // Registers `creatable` under `name` unless the name is taken (the first
    // one stays). Any thread.
    static bool registerApi(const std::string& name, std::shared_ptr<ImsCreatable> creatable);
    // The creatable registered under `name`, or empty. Any thread.
    static std::shared_ptr<ImsCreatable> getCreatable(const std::string& name);
    // Empties the registry, deleting the creatables it alone held. Not
    // locked: it runs at factory destruction, when no binder call or
    // registration can reach the registry any more.
    static void deregister() NO_THREAD_SAFETY_ANALYSIS;

protected:
    // The factory's destruction empties its class's registry.
    ~ImsFactoryBase() { deregister(); }

    static std::map<std::string, std::shared_ptr<ImsCreatable>> mCreators GUARDED_BY(creatorsMutex);
    static android::Mutex creatorsMutex;
};

class ImsFactory_1_0 : public vendor::kel::ims::factory::V1_0::IImsFactory,
                       public ImsFactoryBase<ImsFactory_1_0> {
public:
    // What start() logs when the registration fails, with the status.
    static constexpr const char* kRegistrationFailed = "ImsFactory_1_0 HAL registration failed with %d";

    // Binder thread. An empty listener is passed on to the creatable.
    android::hardware::Return<void> createRcsConfig(
            uint32_t slotId,
            const android::sp<vendor::kel::ims::rcsconfig::V2_0::IRcsConfigListener>& listener,
            createRcsConfig_cb cb) override;
    // Binder thread.
    android::hardware::Return<void> createCallCapabilityService(
            uint32_t slotId, createCallCapabilityService_cb cb) override;
};

class ImsFactory_1_1 : public vendor::kel::ims::factory::V1_1::IImsFactory,
                       public ImsFactoryBase<ImsFactory_1_1> {
public:
    // What start() logs when the registration fails, with the status.
    static constexpr const char* kRegistrationFailed = "ImsFactory_1_1 HAL registration failed with %d";

    // Binder thread. Refuses an empty listener.
    android::hardware::Return<void> createRcsConfig(
            uint32_t slotId,
            const android::sp<vendor::kel::ims::rcsconfig::V2_0::IRcsConfigListener>& listener,
            createRcsConfig_cb cb) override;
    // Binder thread. The creatable gets the listener as a 2.1 one (version 1).
    android::hardware::Return<void> createRcsConfig_1_1(
            uint32_t slotId,
            const android::sp<vendor::kel::ims::rcsconfig::V2_1::IRcsConfigListener>& listener,
            createRcsConfig_1_1_cb cb) override;
    // Binder thread.
    android::hardware::Return<void> createCallCapabilityService(
            uint32_t slotId, createCallCapabilityService_cb cb) override;
};

// Defined and instantiated in ImsFactory.cpp.
extern template class ImsFactoryBase<ImsFactory_1_0>;
extern template class ImsFactoryBase<ImsFactory_1_1>;

#endif  // IMS_FACTORY_H
