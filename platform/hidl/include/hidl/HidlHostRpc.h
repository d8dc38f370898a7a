/*
 * Calls between processes, the part the generated glue sees: a proxy of an
 * object of another process (RpcProxy<I>, one generated subclass per
 * interface), the generic templates that marshal a call from a method's own
 * signature (rpcTransact, rpcTransactCb, rpcServe), and the table through which
 * each generated interface registers its proxy maker and its stub.
 *
 * Method codes: the interface's methods, parents' first, are numbered from 1
 * in the order hidl-gen declares them, so a proxy typed as a parent interface
 * reaches a child's object with the same codes; the IBase methods use the
 * fixed codes below.
 *
 * Host-only. Every function here may be called from any thread.
 */
#ifndef HIDL_HIDLHOSTRPC_H
#define HIDL_HIDLHOSTRPC_H

#include <cstdint>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

#include <hidl/HidlHostGlue.h>
#include <hidl/HidlHostWire.h>
#include <android/hidl/base/1.0/hostwire.h>

namespace android {
namespace hardware {
namespace details {

enum : uint32_t {
    kCodeInterfaceChain = 0x0f000001,
    kCodeDebug,
    kCodeInterfaceDescriptor,
    kCodeGetHashChain,
    kCodeSetHALInstrumentation,
    kCodePing,
    kCodeGetDebugInfo,
    kCodeNotifySyspropsChanged,
};

class RpcConnection;

// One object of the peer process, as this process reaches it over one
// connection; shared by every proxy of that object (whatever interface they
// are typed as). Dropping the last proxy tells the peer to let go of it.
class RpcNode : public virtual RefBase {
public:
    RpcNode(const sp<RpcConnection>& connection, uint32_t id);
    ~RpcNode() override;

    // Sends a call of method `code` on the object and, unless `oneway`, waits
    // for the reply into `reply`. Returns OK or the transport error
    // (DEAD_OBJECT once the peer is gone). The request's object context must be
    // set with prepare().
    status_t transact(uint32_t code, bool oneway, WireParcel& request, WireParcel* reply);
    // Points `parcel`'s interface references at this node's connection.
    void prepare(WireParcel& parcel);
    // Closes the connection after a reply that does not decode.
    void badReply(const char* what);

    HostNode& death() const { return *mDeath; }
    uint32_t id() const { return mId; }
    RpcConnection* connection() const { return mConnection.get(); }

    // One more reference received from the peer (told back on release).
    void addReceived() { ++mReceived; }

private:
    const sp<RpcConnection> mConnection;
    const uint32_t mId;
    const sp<HostNode> mDeath;
    std::atomic<uint32_t> mReceived{0};
};

// Implemented by every proxy of another process's object.
class RpcRemote {
public:
    virtual ~RpcRemote() = default;
    virtual sp<RpcNode> rpcNode() const = 0;
};

template <typename R, typename... A>
Return<R> rpcTransact(RpcNode& node, uint32_t code, bool oneway, const A&... args);
template <typename... R, typename... A>
Return<void> rpcTransactCb(RpcNode& node, uint32_t code, const std::function<void(R...)>& cb, const A&... args);

// Base of the generated proxies: the IBase methods.
template <typename I>
class RpcProxy : public I, public RpcRemote {
public:
    explicit RpcProxy(const sp<RpcNode>& node) : mNode(node) {}
    ~RpcProxy() override { mNode->death().unlinkAll(this); }

    bool isRemote() const override { return true; }
    sp<RpcNode> rpcNode() const override { return mNode; }

    Return<void> interfaceChain(typename I::interfaceChain_cb cb) override {
        return rpcTransactCb(*mNode, kCodeInterfaceChain, cb);
    }
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        return rpcTransact<void>(*mNode, kCodeDebug, false, fd, options);
    }
    Return<void> interfaceDescriptor(typename I::interfaceDescriptor_cb cb) override {
        return rpcTransactCb(*mNode, kCodeInterfaceDescriptor, cb);
    }
    Return<void> getHashChain(typename I::getHashChain_cb cb) override {
        return rpcTransactCb(*mNode, kCodeGetHashChain, cb);
    }
    Return<void> setHALInstrumentation() override {
        return rpcTransact<void>(*mNode, kCodeSetHALInstrumentation, false);
    }
    Return<bool> linkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t cookie) override {
        return mNode->death().link(recipient, cookie, this);
    }
    Return<void> ping() override { return rpcTransact<void>(*mNode, kCodePing, false); }
    Return<void> getDebugInfo(typename I::getDebugInfo_cb cb) override {
        return rpcTransactCb(*mNode, kCodeGetDebugInfo, cb);
    }
    Return<void> notifySyspropsChanged() override {
        return rpcTransact<void>(*mNode, kCodeNotifySyspropsChanged, true);
    }
    Return<bool> unlinkToDeath(const sp<hidl_death_recipient>& recipient) override {
        return mNode->death().unlink(recipient, this);
    }

protected:
    const sp<RpcNode> mNode;
};

// How a served call went: the connection is closed on anything but kServed.
enum class RpcServeResult { kServed, kUnknownMethod, kBadPayload };

using RpcStubFn = RpcServeResult (*)(IBase* object, uint32_t code, WireParcel& in, WireParcel& out);
using RpcProxyMaker = sp<IBase> (*)(const sp<RpcNode>& node);

// Called once per generated interface at start-up; returns true.
bool registerRpcInterface(const char* descriptor, RpcStubFn stub, RpcProxyMaker maker);
// The stub serving objects whose most derived interface is `descriptor`, or null.
RpcStubFn rpcStubFor(const std::string& descriptor);
// A new proxy of `node` typed as `descriptor`, or null when the interface is unknown.
sp<IBase> makeRpcProxy(const char* descriptor, const sp<RpcNode>& node);
// Serves the IBase methods of any object.
RpcServeResult rpcServeBase(IBase* object, uint32_t code, WireParcel& in, WireParcel& out);

template <typename R, typename... A>
Return<R> rpcTransact(RpcNode& node, uint32_t code, bool oneway, const A&... args) {
    WireParcel request;
    node.prepare(request);
    (request.write(args), ...);
    if (!request.ok()) return Status::fromStatusT(BAD_VALUE);
    WireParcel reply;
    status_t status = node.transact(code, oneway, request, &reply);
    if (status != OK) return Status::fromStatusT(status);
    if constexpr (std::is_void<R>::value) {
        return Return<void>();
    } else {
        R value{};
        if (!reply.read(&value) || reply.remaining() != 0) {
            node.badReply("result does not decode");
            return Status::fromStatusT(BAD_VALUE);
        }
        return value;
    }
}

// Two-way call whose results arrive through `cb`, called on this thread
// before the call returns.
template <typename... R, typename... A>
Return<void> rpcTransactCb(RpcNode& node, uint32_t code, const std::function<void(R...)>& cb,
                           const A&... args) {
    WireParcel request;
    node.prepare(request);
    (request.write(args), ...);
    if (!request.ok()) return Status::fromStatusT(BAD_VALUE);
    WireParcel reply;
    status_t status = node.transact(code, false, request, &reply);
    if (status != OK) return Status::fromStatusT(status);
    std::tuple<std::decay_t<R>...> results;
    bool ok = std::apply([&](auto&... r) { return (reply.read(&r) && ... && true); }, results);
    if (!ok || reply.remaining() != 0) {
        node.badReply("results do not decode");
        return Status::fromStatusT(BAD_VALUE);
    }
    if (cb) std::apply(cb, results);
    return Return<void>();
}

template <typename T>
struct RpcResultWriter;
template <typename... R>
struct RpcResultWriter<std::function<void(R...)>> {
    static std::function<void(R...)> make(WireParcel& out, bool* called) {
        return [&out, called](R... results) {
            if (*called) return;  // results are delivered once
            *called = true;
            (out.write(results), ...);
        };
    }
};

// Serves one call of `method` on `self`: arguments from `in`, results (the
// returned value, or what the method hands its callback) into `out`.
template <typename R, typename C, typename... P>
RpcServeResult rpcServe(C* self, Return<R> (C::*method)(P...), WireParcel& in, WireParcel& out) {
    std::tuple<std::decay_t<P>...> args;
    bool hasCallback = false;
    bool called = false;
    std::apply(
            [&](auto&... a) {
                auto readOne = [&](auto& arg) {
                    using T = std::decay_t<decltype(arg)>;
                    if constexpr (IsHidlCallback<T>::value) {
                        hasCallback = true;
                        arg = RpcResultWriter<T>::make(out, &called);
                    } else {
                        in.read(&arg);
                    }
                };
                (readOne(a), ...);
                (void)readOne;  // methods without arguments
            },
            args);
    if (!in.ok() || in.remaining() != 0) return RpcServeResult::kBadPayload;
    Return<R> ret = std::apply([&](auto&... a) { return (self->*method)(a...); }, args);
    if (!ret.isOk()) {
        status_t error = ret.getStatus().transactionError();
        out.setReplyStatus(error != OK ? error : UNKNOWN_ERROR);
        return RpcServeResult::kServed;
    }
    if constexpr (!std::is_void<R>::value) out.write(static_cast<const R&>(ret.value()));
    if (hasCallback && !called) out.setReplyStatus(UNKNOWN_ERROR);
    return RpcServeResult::kServed;
}

}  // namespace details
}  // namespace hardware
}  // namespace android

#endif  // HIDL_HIDLHOSTRPC_H
