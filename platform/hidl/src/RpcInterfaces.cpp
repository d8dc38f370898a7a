/*
 * The table of generated interfaces (their stubs and proxy makers, filled at
 * start-up by the glue) and the serving of the IBase methods every object has.
 */
#include <hidl/HidlHostRpc.h>

#include <map>

#include <hostsync/Mutex.h>

namespace android {
namespace hardware {
namespace details {

namespace {

struct InterfaceTable {
    hostsync::Mutex lock;
    std::map<std::string, std::pair<RpcStubFn, RpcProxyMaker>> entries GUARDED_BY(lock);
};
InterfaceTable& interfaceTable() {
    static InterfaceTable* table = new InterfaceTable();
    return *table;
}

}  // namespace

bool registerRpcInterface(const char* descriptor, RpcStubFn stub, RpcProxyMaker maker) {
    InterfaceTable& t = interfaceTable();
    hostsync::MutexLock guard(t.lock);
    t.entries[descriptor] = {stub, maker};
    return true;
}

RpcStubFn rpcStubFor(const std::string& descriptor) {
    InterfaceTable& t = interfaceTable();
    hostsync::MutexLock guard(t.lock);
    auto it = t.entries.find(descriptor);
    return it == t.entries.end() ? nullptr : it->second.first;
}

sp<IBase> makeRpcProxy(const char* descriptor, const sp<RpcNode>& node) {
    RpcProxyMaker maker = nullptr;
    {
        InterfaceTable& t = interfaceTable();
        hostsync::MutexLock guard(t.lock);
        auto it = t.entries.find(descriptor);
        if (it != t.entries.end()) maker = it->second.second;
    }
    return maker != nullptr ? maker(node) : nullptr;
}

RpcServeResult rpcServeBase(IBase* object, uint32_t code, WireParcel& in, WireParcel& out) {
    switch (code) {
        case kCodeInterfaceChain: return rpcServe(object, &IBase::interfaceChain, in, out);
        case kCodeDebug: return rpcServe(object, &IBase::debug, in, out);
        case kCodeInterfaceDescriptor: return rpcServe(object, &IBase::interfaceDescriptor, in, out);
        case kCodeGetHashChain: return rpcServe(object, &IBase::getHashChain, in, out);
        case kCodeSetHALInstrumentation: return rpcServe(object, &IBase::setHALInstrumentation, in, out);
        case kCodePing: return rpcServe(object, &IBase::ping, in, out);
        case kCodeGetDebugInfo: return rpcServe(object, &IBase::getDebugInfo, in, out);
        case kCodeNotifySyspropsChanged: return rpcServe(object, &IBase::notifySyspropsChanged, in, out);
        default: return RpcServeResult::kUnknownMethod;
    }
}

sp<IBase> rpcRecast(const sp<IBase>& parent, const char* descriptor) {
    auto* remote = dynamic_cast<RpcRemote*>(parent.get());
    if (remote == nullptr) return nullptr;
    return makeRpcProxy(descriptor, remote->rpcNode());
}

}  // namespace details
}  // namespace hardware
}  // namespace android
