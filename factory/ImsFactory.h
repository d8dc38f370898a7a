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

class ImsFactory_1_0 : public vendor::kel::ims::factory::V1_0::IImsFactory {
public:
    ImsFactory_1_0() = default;
    // Empties the 1.0 registry, deleting the creatables it alone held.
    ~ImsFactory_1_0() override;

    // One binder thread, not joined by the caller; registers as "default".
    // Host start-up thread.
    void start();

    // Binder thread. An empty listener is passed on to the creatable.
    android::hardware::Return<void> createRcsConfig(
            uint32_t slotId,
            const android::sp<vendor::kel::ims::rcsconfig::V2_0::IRcsConfigListener>& listener,
            createRcsConfig_cb cb) override;
    // Binder thread.
    android::hardware::Return<void> createCallCapabilityService(
            uint32_t slotId, createCallCapabilityService_cb cb) override;

    // Registers `creatable` under `name` unless the name is taken (the first
    // one stays). Any thread.
    static bool registerApi(const std::string& name, std::shared_ptr<ImsCreatable> creatable);
    // The creatable registered under `name`, or empty. Any thread.
    static std::shared_ptr<ImsCreatable> getCreatable(const std::string& name);
    // Empties the registry. Not locked: call when no other thread uses it.
    static void deregister();

private:
    static std::map<std::string, std::shared_ptr<ImsCreatable>> mCreators GUARDED_BY(creatorsMutex);
    static android::Mutex creatorsMutex;
};

class ImsFactory_1_1 : public vendor::kel::ims::factory::V1_1::IImsFactory {
public:
    ImsFactory_1_1() = default;
    // Empties the 1.1 registry, deleting the creatables it alone held.
    ~ImsFactory_1_1() override;

    // One binder thread, not joined by the caller; registers as "default".
    // Host start-up thread.
    void start();

    // Binder thread. Refuses an empty listener.
    android::hardware::Return<void> createRcsConfig(
            uint32_t slotId,
            const android::sp<vendor::kel::ims::rcsconfig::V2_0::IRcsConfigListener>& listener,
            createRcsConfig_cb cb) override;
    // Binder thread.
    android::hardware::Return<void> createCallCapabilityService(
            uint32_t slotId, createCallCapabilityService_cb cb) override;
    // Binder thread. The creatable gets the listener as a 2.1 one (version 1).
    android::hardware::Return<void> createRcsConfig_1_1(
            uint32_t slotId,
            const android::sp<vendor::kel::ims::rcsconfig::V2_1::IRcsConfigListener>& listener,
            createRcsConfig_1_1_cb cb) override;

    // As in ImsFactory_1_0, on the 1.1 registry.
    static bool registerApi(const std::string& name, std::shared_ptr<ImsCreatable> creatable);
    static std::shared_ptr<ImsCreatable> getCreatable(const std::string& name);
    static void deregister();

private:
    static std::map<std::string, std::shared_ptr<ImsCreatable>> mCreators GUARDED_BY(creatorsMutex);
    static android::Mutex creatorsMutex;
};

#endif  // IMS_FACTORY_H
