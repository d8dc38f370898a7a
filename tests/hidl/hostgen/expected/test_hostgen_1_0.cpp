// Generated from the test.hostgen@1.0 headers by hidl_host_gen.py. Do not edit.
#include <hidl/HidlHostGlue.h>
#include <hidl/HidlHostRpc.h>
#include <test/hostgen/1.0/IListener.h>
#include <test/hostgen/1.0/IStore.h>
#include <test/hostgen/1.0/hostwire.h>

namespace test::hostgen::V1_0 {

// ---- test.hostgen@1.0::IListener

const char* IListener::descriptor("test.hostgen@1.0::IListener");

namespace {
const bool kIListenerHashRegistered =
        ::android::hardware::details::registerInterfaceHash("test.hostgen@1.0::IListener", "b9458c244412c8d21cea95fd16d7f937d43736622ccc115a56d186f841fbc40c");

// How another process reaches a IListener: every call fails with DEAD_OBJECT once it died.
class HostProxy_IListener final : public ::android::hardware::details::HostProxy<IListener> {
public:
    using ::android::hardware::details::HostProxy<IListener>::HostProxy;
    ::android::hardware::Return<void> onRecord(const ::test::hostgen::V1_0::Record& record) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->onRecord(record);
    }
    ::android::hardware::Return<void> onModes(const ::android::hardware::hidl_vec<::test::hostgen::V1_0::Mode>& modes, const ::android::hardware::hidl_string& reason) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->onModes(modes, reason);
    }
};

// How another process reaches a IListener over a socket.
class RpcProxy_IListener final : public ::android::hardware::details::RpcProxy<IListener> {
public:
    using ::android::hardware::details::RpcProxy<IListener>::RpcProxy;
    ::android::hardware::Return<void> onRecord(const ::test::hostgen::V1_0::Record& record) override {
        return ::android::hardware::details::rpcTransact<void>(*mNode, 1, true, record);
    }
    ::android::hardware::Return<void> onModes(const ::android::hardware::hidl_vec<::test::hostgen::V1_0::Mode>& modes, const ::android::hardware::hidl_string& reason) override {
        return ::android::hardware::details::rpcTransact<void>(*mNode, 2, true, modes, reason);
    }
};

// Serves calls from another process on a local IListener.
::android::hardware::details::RpcServeResult rpcStub_IListener(::android::hardware::details::IBase* object, uint32_t code,
        ::android::hardware::details::WireParcel& in, ::android::hardware::details::WireParcel& out) {
    auto* self = dynamic_cast<IListener*>(object);
    if (self == nullptr) return ::android::hardware::details::RpcServeResult::kUnknownMethod;
    switch (code) {
        case 1: return ::android::hardware::details::rpcServe(self, &IListener::onRecord, in, out);
        case 2: return ::android::hardware::details::rpcServe(self, &IListener::onModes, in, out);
        default: return ::android::hardware::details::rpcServeBase(object, code, in, out);
    }
}

const bool kIListenerRpcRegistered = ::android::hardware::details::registerRpcInterface(
        "test.hostgen@1.0::IListener", &rpcStub_IListener,
        [](const ::android::sp<::android::hardware::details::RpcNode>& node) -> ::android::sp<::android::hardware::details::IBase> {
            return new RpcProxy_IListener(node);
        });
}  // namespace

::android::hardware::Return<void> IListener::interfaceChain(interfaceChain_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::descriptorChain({::test::hostgen::V1_0::IListener::descriptor, ::android::hidl::base::V1_0::IBase::descriptor}));
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IListener::debug(const ::android::hardware::hidl_handle& /*fd*/,
        const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& /*options*/) {
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IListener::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IListener::getHashChain(getHashChain_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::hashChain({::test::hostgen::V1_0::IListener::descriptor, ::android::hidl::base::V1_0::IBase::descriptor}));
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IListener::setHALInstrumentation() {
    return ::android::hardware::Void();
}

::android::hardware::Return<bool> IListener::linkToDeath(
        const ::android::sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t cookie) {
    return ::android::hardware::details::localLinkToDeath(recipient, cookie);
}

::android::hardware::Return<void> IListener::ping() {
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IListener::getDebugInfo(getDebugInfo_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::localDebugInfo(this));
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IListener::notifySyspropsChanged() {
    return ::android::hardware::Void();
}

::android::hardware::Return<bool> IListener::unlinkToDeath(
        const ::android::sp<::android::hardware::hidl_death_recipient>& recipient) {
    return ::android::hardware::details::localUnlinkToDeath(recipient);
}

::android::hardware::Return<::android::sp<IListener>> IListener::castFrom(
        const ::android::sp<::test::hostgen::V1_0::IListener>& parent, bool emitError) {
    return ::android::hardware::details::castInterface<IListener, HostProxy_IListener>(parent, emitError);
}

::android::hardware::Return<::android::sp<IListener>> IListener::castFrom(
        const ::android::sp<::android::hidl::base::V1_0::IBase>& parent, bool emitError) {
    return ::android::hardware::details::castInterface<IListener, HostProxy_IListener>(parent, emitError);
}

::android::sp<IListener> IListener::tryGetService(const std::string& serviceName, bool /*getStub*/) {
    return ::android::hardware::details::getServiceAs<IListener>(serviceName);
}

::android::sp<IListener> IListener::getService(const std::string& serviceName, bool getStub) {
    return tryGetService(serviceName, getStub);
}

::android::status_t IListener::registerAsService(const std::string& serviceName) {
    return ::android::hardware::details::registerAsService(this, serviceName);
}

bool IListener::registerForNotifications(const std::string& serviceName,
        const ::android::sp<::android::hidl::manager::V1_0::IServiceNotification>& notification) {
    return ::android::hardware::details::registerForNotifications(descriptor, serviceName, notification);
}

// ---- test.hostgen@1.0::IStore

const char* IStore::descriptor("test.hostgen@1.0::IStore");

namespace {
const bool kIStoreHashRegistered =
        ::android::hardware::details::registerInterfaceHash("test.hostgen@1.0::IStore", "026c7687950f1052ec7f6624a2d31c03dfab3b0d968714cfee2e78af97350a7f");

// How another process reaches a IStore: every call fails with DEAD_OBJECT once it died.
class HostProxy_IStore final : public ::android::hardware::details::HostProxy<IStore> {
public:
    using ::android::hardware::details::HostProxy<IStore>::HostProxy;
    ::android::hardware::Return<bool> put(const ::test::hostgen::V1_0::Record& record, const ::android::sp<::test::hostgen::V1_0::IListener>& listener) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->put(record, listener);
    }
    ::android::hardware::Return<void> get(const ::android::hardware::hidl_string& name, get_cb _hidl_cb) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->get(name, _hidl_cb);
    }
    ::android::hardware::Return<void> notify(const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& names) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->notify(names);
    }
    ::android::hardware::Return<void> sizes(sizes_cb _hidl_cb) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->sizes(_hidl_cb);
    }
    ::android::hardware::Return<void> reset() override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->reset();
    }
};

// How another process reaches a IStore over a socket.
class RpcProxy_IStore final : public ::android::hardware::details::RpcProxy<IStore> {
public:
    using ::android::hardware::details::RpcProxy<IStore>::RpcProxy;
    ::android::hardware::Return<bool> put(const ::test::hostgen::V1_0::Record& record, const ::android::sp<::test::hostgen::V1_0::IListener>& listener) override {
        return ::android::hardware::details::rpcTransact<bool>(*mNode, 1, false, record, listener);
    }
    ::android::hardware::Return<void> get(const ::android::hardware::hidl_string& name, get_cb _hidl_cb) override {
        return ::android::hardware::details::rpcTransactCb(*mNode, 2, _hidl_cb, name);
    }
    ::android::hardware::Return<void> notify(const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& names) override {
        return ::android::hardware::details::rpcTransact<void>(*mNode, 3, true, names);
    }
    ::android::hardware::Return<void> sizes(sizes_cb _hidl_cb) override {
        return ::android::hardware::details::rpcTransactCb(*mNode, 4, _hidl_cb);
    }
    ::android::hardware::Return<void> reset() override {
        return ::android::hardware::details::rpcTransact<void>(*mNode, 5, false);
    }
};

// Serves calls from another process on a local IStore.
::android::hardware::details::RpcServeResult rpcStub_IStore(::android::hardware::details::IBase* object, uint32_t code,
        ::android::hardware::details::WireParcel& in, ::android::hardware::details::WireParcel& out) {
    auto* self = dynamic_cast<IStore*>(object);
    if (self == nullptr) return ::android::hardware::details::RpcServeResult::kUnknownMethod;
    switch (code) {
        case 1: return ::android::hardware::details::rpcServe(self, &IStore::put, in, out);
        case 2: return ::android::hardware::details::rpcServe(self, &IStore::get, in, out);
        case 3: return ::android::hardware::details::rpcServe(self, &IStore::notify, in, out);
        case 4: return ::android::hardware::details::rpcServe(self, &IStore::sizes, in, out);
        case 5: return ::android::hardware::details::rpcServe(self, &IStore::reset, in, out);
        default: return ::android::hardware::details::rpcServeBase(object, code, in, out);
    }
}

const bool kIStoreRpcRegistered = ::android::hardware::details::registerRpcInterface(
        "test.hostgen@1.0::IStore", &rpcStub_IStore,
        [](const ::android::sp<::android::hardware::details::RpcNode>& node) -> ::android::sp<::android::hardware::details::IBase> {
            return new RpcProxy_IStore(node);
        });
}  // namespace

::android::hardware::Return<void> IStore::interfaceChain(interfaceChain_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::descriptorChain({::test::hostgen::V1_0::IStore::descriptor, ::android::hidl::base::V1_0::IBase::descriptor}));
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IStore::debug(const ::android::hardware::hidl_handle& /*fd*/,
        const ::android::hardware::hidl_vec<::android::hardware::hidl_string>& /*options*/) {
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IStore::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IStore::getHashChain(getHashChain_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::hashChain({::test::hostgen::V1_0::IStore::descriptor, ::android::hidl::base::V1_0::IBase::descriptor}));
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IStore::setHALInstrumentation() {
    return ::android::hardware::Void();
}

::android::hardware::Return<bool> IStore::linkToDeath(
        const ::android::sp<::android::hardware::hidl_death_recipient>& recipient, uint64_t cookie) {
    return ::android::hardware::details::localLinkToDeath(recipient, cookie);
}

::android::hardware::Return<void> IStore::ping() {
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IStore::getDebugInfo(getDebugInfo_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::localDebugInfo(this));
    return ::android::hardware::Void();
}

::android::hardware::Return<void> IStore::notifySyspropsChanged() {
    return ::android::hardware::Void();
}

::android::hardware::Return<bool> IStore::unlinkToDeath(
        const ::android::sp<::android::hardware::hidl_death_recipient>& recipient) {
    return ::android::hardware::details::localUnlinkToDeath(recipient);
}

::android::hardware::Return<::android::sp<IStore>> IStore::castFrom(
        const ::android::sp<::test::hostgen::V1_0::IStore>& parent, bool emitError) {
    return ::android::hardware::details::castInterface<IStore, HostProxy_IStore>(parent, emitError);
}

::android::hardware::Return<::android::sp<IStore>> IStore::castFrom(
        const ::android::sp<::android::hidl::base::V1_0::IBase>& parent, bool emitError) {
    return ::android::hardware::details::castInterface<IStore, HostProxy_IStore>(parent, emitError);
}

::android::sp<IStore> IStore::tryGetService(const std::string& serviceName, bool /*getStub*/) {
    return ::android::hardware::details::getServiceAs<IStore>(serviceName);
}

::android::sp<IStore> IStore::getService(const std::string& serviceName, bool getStub) {
    return tryGetService(serviceName, getStub);
}

::android::status_t IStore::registerAsService(const std::string& serviceName) {
    return ::android::hardware::details::registerAsService(this, serviceName);
}

bool IStore::registerForNotifications(const std::string& serviceName,
        const ::android::sp<::android::hidl::manager::V1_0::IServiceNotification>& notification) {
    return ::android::hardware::details::registerForNotifications(descriptor, serviceName, notification);
}

}  // namespace test::hostgen::V1_0
