/*
 * Support for the glue that platform/hidl/hostgen writes per interface: what the
 * generated sources and libhidltransport do on a device, within one process.
 * (Calls between processes are in hidl/HidlHostRpc.h.) Product code does not
 * include this header; the generated glue and the test hooks
 * (hidl/HidlTesting.h) do.
 *
 * Objects and proxies. An implementation object is "local". Another process
 * reaches it through a HostProxy, which forwards every call while the
 * object's process lives and fails every call with DEAD_OBJECT after the
 * process died (testing::killProcessOf). All proxies of one object share a
 * HostNode, which holds the death state and the links of linkToDeath.
 */
#ifndef HIDL_HIDLHOSTGLUE_H
#define HIDL_HIDLHOSTGLUE_H

#include <cstdint>
#include <initializer_list>
#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

namespace android {
namespace hidl {
namespace manager {
namespace V1_0 {
struct IServiceNotification;
}  // namespace V1_0
}  // namespace manager
}  // namespace hidl

namespace hardware {
namespace details {

using ::android::hidl::base::V1_0::IBase;

// Transport status of a call on an object whose process died.
Status deadObjectStatus();

// Interface chain and hash chain from descriptors, most derived first.
hidl_vec<hidl_string> descriptorChain(std::initializer_list<const char*> descriptors);
hidl_vec<hidl_array<uint8_t, 32>> hashChain(std::initializer_list<const char*> descriptors);
// Records the hash that hidl-gen computed for an interface; returns true.
bool registerInterfaceHash(const char* descriptor, const char* hexHash);

// IBase methods of a local object: it cannot die apart from its own process,
// so a link is accepted and never fires, as on a device.
Return<bool> localLinkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie);
Return<bool> localUnlinkToDeath(const sp<hidl_death_recipient>& recipient);
::android::hidl::base::V1_0::DebugInfo localDebugInfo(const IBase* object);

// Shared state of every proxy of one object: whether its process died, and
// the links made through linkToDeath. Thread-safe.
class HostNode : public virtual RefBase {
public:
    // The node of `impl`, created on first use; one per live object.
    static sp<HostNode> forObject(const sp<IBase>& impl);
    // A node of its own, for an object of another process reached over a socket.
    static sp<HostNode> detached();

    bool isDead() const;
    // Links `recipient` through proxy `who`; false once the process died.
    bool link(const sp<hidl_death_recipient>& recipient, uint64_t cookie, IBase* who);
    // Removes the links of `recipient` made through `who`; false if there was none.
    bool unlink(const sp<hidl_death_recipient>& recipient, IBase* who);
    // Drops every link made through `who` (the proxy is going away).
    void unlinkAll(IBase* who);
    // Marks the process dead and tells every linked recipient, on another thread.
    void kill();

    ~HostNode() override;

private:
    explicit HostNode(IBase* impl);
    struct State;
    IBase* const mImpl;  // identity only, never dereferenced
    State* const mState;
};

// Lets the runtime find the node and the object behind any proxy.
class HostRemote {
public:
    virtual ~HostRemote() = default;
    virtual sp<HostNode> hostNode() const = 0;
    virtual sp<IBase> hostImpl() const = 0;
};

// Base of the generated proxy classes: the IBase methods; the generated
// class adds the interface's own methods with the same dead check.
template <typename I>
class HostProxy : public I, public HostRemote {
public:
    HostProxy(const sp<HostNode>& node, const sp<I>& impl) : mNode(node), mImpl(impl) {}
    ~HostProxy() override { mNode->unlinkAll(this); }

    bool isRemote() const override { return true; }
    sp<HostNode> hostNode() const override { return mNode; }
    sp<IBase> hostImpl() const override { return mImpl; }

    Return<void> interfaceChain(typename I::interfaceChain_cb cb) override {
        if (isDead()) return deadObjectStatus();
        return mImpl->interfaceChain(cb);
    }
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        if (isDead()) return deadObjectStatus();
        return mImpl->debug(fd, options);
    }
    Return<void> interfaceDescriptor(typename I::interfaceDescriptor_cb cb) override {
        if (isDead()) return deadObjectStatus();
        return mImpl->interfaceDescriptor(cb);
    }
    Return<void> getHashChain(typename I::getHashChain_cb cb) override {
        if (isDead()) return deadObjectStatus();
        return mImpl->getHashChain(cb);
    }
    Return<void> setHALInstrumentation() override {
        if (isDead()) return deadObjectStatus();
        return mImpl->setHALInstrumentation();
    }
    Return<bool> linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) override {
        return mNode->link(recipient, cookie, this);
    }
    Return<void> ping() override {
        if (isDead()) return deadObjectStatus();
        return mImpl->ping();
    }
    Return<void> getDebugInfo(typename I::getDebugInfo_cb cb) override {
        if (isDead()) return deadObjectStatus();
        return mImpl->getDebugInfo(cb);
    }
    Return<void> notifySyspropsChanged() override {
        if (isDead()) return deadObjectStatus();
        return mImpl->notifySyspropsChanged();
    }
    Return<bool> unlinkToDeath(const sp<hidl_death_recipient>& recipient) override {
        return mNode->unlink(recipient, this);
    }

protected:
    bool isDead() const { return mNode->isDead(); }

    const sp<HostNode> mNode;
    const sp<I> mImpl;
};

// A new proxy typed as `descriptor` of the same object of another process
// as `parent`, or null when `parent` is not such a proxy (HidlHostRpc.h).
sp<IBase> rpcRecast(const sp<IBase>& parent, const char* descriptor);

// castFrom: succeeds when the object's interface chain names IChild. A proxy
// gives a new proxy of the same object; a local object is returned as is. A
// failed transport gives null, or the failure itself when emitError is set.
template <typename IChild, typename ProxyChild>
Return<sp<IChild>> castInterface(const sp<IBase>& parent, bool emitError) {
    if (parent == nullptr) return sp<IChild>();
    bool canCast = false;
    Return<void> chain = parent->interfaceChain([&](const hidl_vec<hidl_string>& descriptors) {
        for (const auto& d : descriptors) {
            if (d == IChild::descriptor) canCast = true;
        }
    });
    if (!chain.isOk()) {
        if (emitError) return chain.getStatus();
        return sp<IChild>();
    }
    if (!canCast) return sp<IChild>();
    if (parent->isRemote()) {
        sp<IBase> rpc = rpcRecast(parent, IChild::descriptor);
        if (rpc != nullptr) return sp<IChild>(dynamic_cast<IChild*>(rpc.get()));
        auto* remote = dynamic_cast<HostRemote*>(parent.get());
        if (remote == nullptr) return sp<IChild>();
        sp<IBase> impl = remote->hostImpl();
        return sp<IChild>(new ProxyChild(remote->hostNode(), static_cast<IChild*>(impl.get())));
    }
    return sp<IChild>(static_cast<IChild*>(parent.get()));
}

// In-process service registry. A service is registered under every
// descriptor of its interface chain; a later registration of the same
// descriptor and name replaces the earlier one.
status_t registerAsService(const sp<IBase>& service, const std::string& name);
sp<IBase> getRegisteredService(const char* descriptor, const std::string& name);
bool registerForNotifications(const char* descriptor, const std::string& name,
                              const sp<::android::hidl::manager::V1_0::IServiceNotification>& notification);

// The service `descriptor`/`name` of another process, through the host
// service registry (hidl/HidlHostTransport.h), waiting for it up to the
// registry's time-out; null when the registry is off or nothing appeared.
sp<IBase> getRemoteService(const char* descriptor, const std::string& name);

// A service registered in this process wins; otherwise another process's.
template <typename I>
sp<I> getServiceAs(const std::string& name) {
    sp<IBase> service = getRegisteredService(I::descriptor, name);
    if (service == nullptr) {
        service = getRemoteService(I::descriptor, name);
        return sp<I>(dynamic_cast<I*>(service.get()));
    }
    return I::castFrom(service).withDefault(nullptr);
}

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLHOSTGLUE_H
