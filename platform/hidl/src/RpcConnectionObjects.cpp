// The objects of one connection: local objects handed to the peer (exported,
// with an id and a count of references the peer holds) and the peer's
// objects this process holds proxies of (one RpcNode each).
#include "RpcConnection.h"

#include <android/log.h>

#include <hidl/HidlHostTransport.h>

namespace android {
namespace hardware {
namespace details {

namespace {

const char* kTag = "HidlTransport";

// Tags of an interface reference on the wire.
enum : uint8_t { kRefNull = 0, kRefSenderObject = 1, kRefReceiverObject = 2 };

}  // namespace

bool RpcConnection::writeObject(WireParcel& parcel, const sp<IBase>& object) {
    uint8_t tag = kRefNull;
    if (object == nullptr) {
        parcel.writeBytes(&tag, 1);
        return true;
    }
    if (auto* remote = dynamic_cast<RpcRemote*>(object.get())) {
        sp<RpcNode> node = remote->rpcNode();
        if (node->connection() != this) {
            __android_log_print(ANDROID_LOG_ERROR, kTag,
                                "an object of pid %d cannot be passed on to pid %d",
                                static_cast<int>(node->connection()->peerPid()), static_cast<int>(mPeerPid));
            return false;
        }
        tag = kRefReceiverObject;
        uint32_t id = node->id();
        parcel.writeBytes(&tag, 1);
        parcel.writeBytes(&id, sizeof(id));
        return true;
    }
    sp<IBase> local = object;
    if (auto* inProcess = dynamic_cast<HostRemote*>(object.get())) local = inProcess->hostImpl();
    std::string descriptor;
    Return<void> ret = local->interfaceDescriptor([&](const hidl_string& d) { descriptor = d; });
    RpcStubFn stub = ret.isOk() ? rpcStubFor(descriptor) : nullptr;
    if (stub == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "no stub for %s", descriptor.c_str());
        return false;
    }
    uint32_t id = 0;
    {
        hostsync::MutexLock guard(mLock);
        // A frame for a dead peer is never sent (its call fails with
        // DEAD_OBJECT), so nothing is exported for it.
        if (!mDead) {
            auto it = mExportIds.find(local.get());
            if (it != mExportIds.end()) {
                id = it->second;
            } else {
                do {
                    id = mNextExportId++;
                } while (id == 0 || mExports.count(id) != 0);
                mExportIds[local.get()] = id;
                mExports[id] = Export{local, stub, descriptor, 0};
            }
            ++mExports[id].count;
        }
    }
    tag = kRefSenderObject;
    parcel.writeBytes(&tag, 1);
    parcel.writeBytes(&id, sizeof(id));
    return true;
}

bool RpcConnection::readObject(WireParcel& parcel, const char* descriptor, sp<IBase>* out) {
    uint8_t tag = 0;
    if (!parcel.readBytes(&tag, 1)) return false;
    if (tag == kRefNull) {
        *out = nullptr;
        return true;
    }
    uint32_t id = 0;
    if (!parcel.readBytes(&id, sizeof(id))) return false;
    if (tag == kRefReceiverObject) {
        hostsync::MutexLock guard(mLock);
        auto it = mExports.find(id);
        if (it == mExports.end()) return false;
        *out = it->second.object;
        return true;
    }
    if (tag != kRefSenderObject) return false;
    sp<RpcNode> node;
    {
        hostsync::MutexLock guard(mLock);
        if (mDead) return false;
        auto it = mImports.find(id);
        if (it != mImports.end()) node = it->second.promote();
        if (node == nullptr) {
            node = new RpcNode(this, id);
            mImports[id] = node;
        }
        node->addReceived();
    }
    *out = makeRpcProxy(descriptor, node);
    return *out != nullptr;
}

void RpcConnection::releaseNode(uint32_t id, RpcNode* node, uint32_t received) {
    {
        hostsync::MutexLock guard(mLock);
        auto it = mImports.find(id);
        if (it != mImports.end() && it->second.unsafe_get() == node) mImports.erase(it);
        if (mDead || received == 0) return;
    }
    send(FrameKind::kRelease, id, received, 0, 0, {}, {});
}

RpcNode::RpcNode(const sp<RpcConnection>& connection, uint32_t id)
    : mConnection(connection), mId(id), mDeath(HostNode::detached()) {}

RpcNode::~RpcNode() {
    mConnection->releaseNode(mId, this, mReceived.load());
}

status_t RpcNode::transact(uint32_t code, bool oneway, WireParcel& request, WireParcel* reply) {
    if (mDeath->isDead()) return DEAD_OBJECT;
    return mConnection->transact(mId, code, oneway, request, reply);
}

void RpcNode::prepare(WireParcel& parcel) {
    parcel.setObjectContext(mConnection.get());
}

void RpcNode::badReply(const char* what) {
    mConnection->protocolError(what);
}

}  // namespace details

namespace host {

int clientPidOf(const sp<::android::hidl::base::V1_0::IBase>& object) {
    auto* remote = dynamic_cast<details::RpcRemote*>(object.get());
    if (remote == nullptr) return 0;
    sp<details::RpcNode> node = remote->rpcNode();
    return node != nullptr && node->connection() != nullptr ? static_cast<int>(node->connection()->peerPid()) : 0;
}

}  // namespace host
}  // namespace hardware
}  // namespace android
