/*
 * Death of a remote object's process on the host: the shared state behind
 * all proxies of one object, and the thread that delivers death notices.
 */
#include <hidl/HidlHostGlue.h>

#include <android/log.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include <hostsync/Mutex.h>

#include "DetachedThread.h"

#include <hidl/HidlTesting.h>

namespace android {
namespace hardware {
namespace details {

namespace {

// Nodes by object identity; weak so a node lives only while proxies hold it.
struct NodeTable {
    hostsync::Mutex lock;
    std::map<IBase*, wp<HostNode>> nodes GUARDED_BY(lock);
};
NodeTable& nodeTable() {
    static NodeTable* table = new NodeTable();  // outlives every node, even at exit
    return *table;
}

// Death notifications run on threads of their own, detached from the start
// (a process may end while one runs, as a device's does); these count them so
// that a normal exit, or a test, can wait until none runs. Never destroyed: a
// connection's reader thread may still start one while the process runs its
// exit handlers.
struct Notifiers {
    hostsync::Mutex lock;
    hostsync::CondVar idle;
    size_t running GUARDED_BY(lock) = 0;
    void joinAll() {
        hostsync::MutexLock guard(lock);
        idle.wait(lock, [this]() REQUIRES(lock) { return running == 0; });
    }
    void finished() {
        hostsync::MutexLock guard(lock);
        if (--running == 0) idle.notifyAll();
    }
};
Notifiers& notifiers() {
    static Notifiers* instance = new Notifiers();
    return *instance;
}
struct JoinNotifiersAtExit {
    ~JoinNotifiersAtExit() { notifiers().joinAll(); }
} joinNotifiersAtExit;

struct HashTable {
    hostsync::Mutex lock;
    std::map<std::string, hidl_array<uint8_t, 32>> hashes GUARDED_BY(lock);
};
HashTable& hashTable() {
    static HashTable* table = new HashTable();
    return *table;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

struct HostNode::State {
    struct Link {
        wp<hidl_death_recipient> recipient;
        uint64_t cookie;
        IBase* who;
        wp<IBase> whoRef;
    };
    mutable hostsync::Mutex lock;
    std::atomic<bool> dead{false};
    std::vector<Link> links GUARDED_BY(lock);
};

Status deadObjectStatus() {
    return Status::fromStatusT(DEAD_OBJECT);
}

hidl_vec<hidl_string> descriptorChain(std::initializer_list<const char*> descriptors) {
    hidl_vec<hidl_string> chain(descriptors.size());
    size_t i = 0;
    for (const char* d : descriptors) chain[i++] = d;
    return chain;
}

bool registerInterfaceHash(const char* descriptor, const char* hexHash) {
    hidl_array<uint8_t, 32> hash;
    if (strlen(hexHash) != 64) logAlwaysFatal("interface hash must have 64 hex digits");
    for (size_t i = 0; i < 32; ++i) {
        int hi = hexValue(hexHash[2 * i]);
        int lo = hexValue(hexHash[2 * i + 1]);
        if (hi < 0 || lo < 0) logAlwaysFatal("interface hash is not hexadecimal");
        hash[i] = static_cast<uint8_t>(hi << 4 | lo);
    }
    HashTable& table = hashTable();
    hostsync::MutexLock guard(table.lock);
    table.hashes[descriptor] = hash;
    return true;
}

hidl_vec<hidl_array<uint8_t, 32>> hashChain(std::initializer_list<const char*> descriptors) {
    HashTable& table = hashTable();
    hostsync::MutexLock guard(table.lock);
    hidl_vec<hidl_array<uint8_t, 32>> chain(descriptors.size());
    size_t i = 0;
    for (const char* d : descriptors) {
        auto it = table.hashes.find(d);
        if (it != table.hashes.end()) chain[i] = it->second;
        ++i;
    }
    return chain;
}

Return<bool> localLinkToDeath(const sp<hidl_death_recipient>& recipient, uint64_t /*cookie*/) {
    return recipient != nullptr;
}

Return<bool> localUnlinkToDeath(const sp<hidl_death_recipient>& recipient) {
    return recipient != nullptr;
}

::android::hidl::base::V1_0::DebugInfo localDebugInfo(const IBase* object) {
    ::android::hidl::base::V1_0::DebugInfo info;
    info.pid = static_cast<int32_t>(getpid());
    info.ptr = reinterpret_cast<uint64_t>(object);
    info.arch = sizeof(void*) == 8 ? ::android::hidl::base::V1_0::DebugArchitecture::IS_64BIT
                                   : ::android::hidl::base::V1_0::DebugArchitecture::IS_32BIT;
    return info;
}

HostNode::HostNode(IBase* impl) : mImpl(impl), mState(new State()) {}

HostNode::~HostNode() {
    NodeTable& table = nodeTable();
    {
        hostsync::MutexLock guard(table.lock);
        auto it = table.nodes.find(mImpl);
        // A newer node may already have taken the slot after this one's last
        // strong reference went; only this node's own entry is removed.
        if (it != table.nodes.end() && it->second.unsafe_get() == this) table.nodes.erase(it);
    }
    delete mState;
}

sp<HostNode> HostNode::forObject(const sp<IBase>& impl) {
    NodeTable& table = nodeTable();
    hostsync::MutexLock guard(table.lock);
    auto it = table.nodes.find(impl.get());
    if (it != table.nodes.end()) {
        sp<HostNode> node = it->second.promote();
        if (node != nullptr) return node;
    }
    sp<HostNode> node = new HostNode(impl.get());
    table.nodes[impl.get()] = node;
    return node;
}

sp<HostNode> HostNode::detached() {
    return new HostNode(nullptr);
}

bool HostNode::isDead() const {
    return mState->dead.load();
}

bool HostNode::link(const sp<hidl_death_recipient>& recipient, uint64_t cookie, IBase* who) {
    if (recipient == nullptr) return false;
    hostsync::MutexLock guard(mState->lock);
    if (mState->dead.load()) return false;
    mState->links.push_back(State::Link{recipient, cookie, who, wp<IBase>(who)});
    return true;
}

bool HostNode::unlink(const sp<hidl_death_recipient>& recipient, IBase* who) {
    hostsync::MutexLock guard(mState->lock);
    auto& links = mState->links;
    auto end = std::remove_if(links.begin(), links.end(), [&](const State::Link& l) {
        return l.who == who && l.recipient == recipient;
    });
    bool found = end != links.end();
    links.erase(end, links.end());
    return found;
}

void HostNode::unlinkAll(IBase* who) {
    hostsync::MutexLock guard(mState->lock);
    auto& links = mState->links;
    links.erase(std::remove_if(links.begin(), links.end(),
                               [&](const State::Link& l) { return l.who == who; }),
                links.end());
}

void HostNode::kill() {
    std::vector<State::Link> links;
    {
        hostsync::MutexLock guard(mState->lock);
        if (mState->dead.exchange(true)) return;
        links.swap(mState->links);
    }
    if (links.empty()) return;
    // A device reports the death on a binder thread, never on the caller's.
    Notifiers& n = notifiers();
    {
        hostsync::MutexLock guard(n.lock);
        ++n.running;
    }
    auto notify = [links = std::move(links)]() mutable {
        for (const auto& l : links) {
            sp<hidl_death_recipient> recipient = l.recipient.promote();
            if (recipient != nullptr) recipient->serviceDied(l.cookie, l.whoRef);
        }
        links.clear();  // the last references to recipients go before the count does
        notifiers().finished();
    };
    if (!startDetachedThread(notify)) {
        __android_log_print(ANDROID_LOG_ERROR, "HidlTransport", "no thread for a death notification; telling it here");
        notify();
    }
}

}  // namespace details

std::string toString(const sp<::android::hidl::base::V1_0::IBase>& o) {
    if (o == nullptr) return "(null)";
    std::string os = "[class or subclass of ";
    os += ::android::hidl::base::V1_0::IBase::descriptor;
    os += "]";
    os += o->isRemote() ? "@remote" : "@local";
    return os;
}

namespace testing {

sp<IBase> remoteBaseOf(const sp<IBase>& object) {
    if (object == nullptr) return nullptr;
    sp<details::HostNode> node;
    sp<IBase> impl = object;
    if (auto* remote = dynamic_cast<details::HostRemote*>(object.get())) {
        node = remote->hostNode();
        impl = remote->hostImpl();
    } else {
        node = details::HostNode::forObject(object);
    }
    return new details::HostProxy<IBase>(node, impl);
}

void killProcessOf(const sp<IBase>& object) {
    if (object == nullptr) return;
    if (auto* remote = dynamic_cast<details::HostRemote*>(object.get())) {
        remote->hostNode()->kill();
    } else {
        details::HostNode::forObject(object)->kill();
    }
}

void waitForDeathNotifications() {
    details::notifiers().joinAll();
}

}  // namespace testing
}  // namespace hardware
}  // namespace android
