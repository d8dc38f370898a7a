// Generated from the test.hostgen@1.1 headers by hidl_host_gen.py. Do not edit.
#include <hidl/HidlHostGlue.h>
#include <hidl/HidlHostRpc.h>
#include <test/hostgen/1.1/IStore.h>
#include <test/hostgen/1.1/hostwire.h>

namespace test::hostgen::V1_1 {

// ---- test.hostgen@1.1::IStore

const char* IStore::descriptor("test.hostgen@1.1::IStore");

namespace {
const bool kIStoreHashRegistered =
        ::android::hardware::details::registerInterfaceHash("test.hostgen@1.1::IStore", "653cb8c7cc2930dcdab24287c6e43eafa41e39497f4e757b6fa24a4d4db699d0");

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
    ::android::hardware::Return<void> flush(int32_t reason) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->flush(reason);
    }
    ::android::hardware::Return<int32_t> find(const ::android::hardware::hidl_string& name) override {
        if (isDead()) return ::android::hardware::details::deadObjectStatus();
        return mImpl->find(name);
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
    ::android::hardware::Return<void> flush(int32_t reason) override {
        return ::android::hardware::details::rpcTransact<void>(*mNode, 6, true, reason);
    }
    ::android::hardware::Return<int32_t> find(const ::android::hardware::hidl_string& name) override {
        return ::android::hardware::details::rpcTransact<int32_t>(*mNode, 7, false, name);
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
        case 6: return ::android::hardware::details::rpcServe(self, &IStore::flush, in, out);
        case 7: return ::android::hardware::details::rpcServe(self, &IStore::find, in, out);
        default: return ::android::hardware::details::rpcServeBase(object, code, in, out);
    }
}

const bool kIStoreRpcRegistered = ::android::hardware::details::registerRpcInterface(
        "test.hostgen@1.1::IStore", &rpcStub_IStore,
        [](const ::android::sp<::android::hardware::details::RpcNode>& node) -> ::android::sp<::android::hardware::details::IBase> {
            return new RpcProxy_IStore(node);
        });
}  // namespace

::android::hardware::Return<void> IStore::interfaceChain(interfaceChain_cb _hidl_cb) {
    _hidl_cb(::android::hardware::details::descriptorChain({::test::hostgen::V1_1::IStore::descriptor, ::test::hostgen::V1_0::IStore::descriptor, ::android::hidl::base::V1_0::IBase::descriptor}));
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
    _hidl_cb(::android::hardware::details::hashChain({::test::hostgen::V1_1::IStore::descriptor, ::test::hostgen::V1_0::IStore::descriptor, ::android::hidl::base::V1_0::IBase::descriptor}));
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
        const ::android::sp<::test::hostgen::V1_1::IStore>& parent, bool emitError) {
    return ::android::hardware::details::castInterface<IStore, HostProxy_IStore>(parent, emitError);
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

}  // namespace test::hostgen::V1_1
