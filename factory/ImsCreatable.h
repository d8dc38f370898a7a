/*
 * ImsCreatable: an object that can build the services the IMS factories hand
 * out, registered with the factories' registries under one or two names.
 *
 * The registry owns a creatable: its constructor hands a shared pointer that
 * owns `this` to the registries, and factory destruction (deregister())
 * deletes it. Allocate creatables with new and never delete them yourself.
 * A creatable none of whose names is accepted (the name is taken) is not
 * owned by anyone and is deleted: not inside its own constructor, where a
 * derived class is still being built, but at the next registration or
 * deregister() on this thread's registries, or at process exit. The pointer
 * returned by its new-expression must not be used.
 */
#ifndef IMS_CREATABLE_H
#define IMS_CREATABLE_H

#include <cstdint>
#include <string>

#include <android/hidl/base/1.0/IBase.h>

// Creation parameters that a factory passes to ImsCreatable::createInstance.
struct Params {
    // The client's listener as given to the factory; empty for call capability.
    android::sp<android::hidl::base::V1_0::IBase> listener;
    // 1-based slot, already checked to be 1 or 2.
    int32_t slotId;
    // 0: 2.0 listener (createRcsConfig) or none; 1: 2.1 listener (createRcsConfig_1_1).
    uint8_t listenerVersion;
};

class ImsCreatable {
public:
    // Registers under `name` with ImsFactory_1_0 and ImsFactory_1_1. Start-up thread.
    explicit ImsCreatable(const std::string& name);
    // Registers `name` and `secondName` with ImsFactory_1_1 only. Start-up thread.
    ImsCreatable(const std::string& name, const std::string& secondName);
    ImsCreatable(const ImsCreatable&) = delete;
    ImsCreatable& operator=(const ImsCreatable&) = delete;
    virtual ~ImsCreatable();

    // Builds a new service object for `params`. Called by a factory on the binder thread.
    virtual android::sp<android::hidl::base::V1_0::IBase> createInstance(const Params& params) = 0;

    // Deletes the creatables that were refused by every registry. Called by
    // the registries; safe once their constructors have returned.
    static void reclaimRefused();

protected:
    const std::string& name() const { return mName; }
    const std::string& secondName() const { return mSecondName; }
    // Result of registering the first name (for the one-name constructor, with ImsFactory_1_1).
    bool firstRegistered() const { return mRegistered; }
    bool secondRegistered() const { return mSecondRegistered; }

private:
    // Deleter of the registries' shared pointers.
    static void release(ImsCreatable* creatable);
    // Hands `this` to the refused list if no registry took it.
    void keepIfRefused(bool accepted);

    std::string mName;
    std::string mSecondName;
    bool mRegistered = false;
    bool mSecondRegistered = false;
    bool mOwnedByRegistry = true;  // false once on the refused list
};

#endif  // IMS_CREATABLE_H
