/*
 * The in-process stand-in for the device's service manager and binder
 * thread pool. Services live in a process-wide table keyed by interface
 * descriptor and instance name; every function is thread-safe.
 */
#include <hidl/HidlHostGlue.h>
#include <hidl/HidlHostRpc.h>
#include <hidl/HidlTesting.h>
#include <hidl/HidlTransportSupport.h>

#include <android/hidl/manager/1.0/IServiceNotification.h>
#include <android/log.h>
#include <unistd.h>

#include "RpcThreadPool.h"
#include "RpcTransport.h"

#include <map>
#include <utility>
#include <vector>

#include <hostsync/Mutex.h>

namespace android {
namespace hardware {

namespace {

using ::android::hidl::base::V1_0::IBase;
using ::android::hidl::manager::V1_0::IServiceNotification;
using Key = std::pair<std::string, std::string>;  // descriptor, instance name

struct Registry {
    hostsync::Mutex lock;
    std::map<Key, sp<IBase>> services GUARDED_BY(lock);
    std::multimap<Key, sp<IServiceNotification>> notifications GUARDED_BY(lock);
    status_t forcedFailure GUARDED_BY(lock) = OK;
    size_t maxThreads GUARDED_BY(lock) = 0;
    bool callerWillJoin GUARDED_BY(lock) = false;
};
Registry& registry() {
    static Registry* instance = new Registry();  // services may be looked up during exit
    return *instance;
}

struct Notice {
    sp<IServiceNotification> target;
    std::string descriptor;
};

}  // namespace

status_t configureRpcThreadpool(size_t maxThreads, bool callerWillJoin) {
    Registry& r = registry();
    hostsync::MutexLock guard(r.lock);
    r.maxThreads = maxThreads;
    r.callerWillJoin = callerWillJoin;
    details::RpcThreadPool::instance().configure(maxThreads, callerWillJoin);
    return OK;
}

bool interfacesEqual(const sp<IBase>& left, const sp<IBase>& right) {
    if (left == nullptr || right == nullptr) return left == right;
    if (left.get() == right.get()) return true;
    // Two proxies of one object of another process share its node.
    const auto* l = dynamic_cast<const details::RpcRemote*>(left.get());
    const auto* r = dynamic_cast<const details::RpcRemote*>(right.get());
    return l != nullptr && r != nullptr && l->rpcNode() == r->rpcNode();
}

void joinRpcThreadpool() {
    // Serves calls from other processes; inside one process calls are direct
    // function calls and the thread just stays.
    details::RpcThreadPool::instance().join();
}

namespace details {

status_t registerAsService(const sp<IBase>& service, const std::string& name) {
    if (service == nullptr) return BAD_VALUE;
    std::vector<std::string> chain;
    Return<void> ret = service->interfaceChain([&](const hidl_vec<hidl_string>& descriptors) {
        for (const auto& d : descriptors) chain.emplace_back(d);
    });
    if (!ret.isOk()) return DEAD_OBJECT;

    std::vector<Notice> notices;
    {
        Registry& r = registry();
        hostsync::MutexLock guard(r.lock);
        if (r.forcedFailure != OK) return r.forcedFailure;
        for (const auto& descriptor : chain) {
            Key key(descriptor, name);
            r.services[key] = service;
            auto range = r.notifications.equal_range(key);
            for (auto it = range.first; it != range.second; ++it) {
                notices.push_back(Notice{it->second, descriptor});
            }
        }
    }
    status_t published = rpcPublishService(chain, name);
    if (published != OK) {
        __android_log_print(ANDROID_LOG_ERROR, "HidlServiceManagement",
                            "%s/%s not published for other processes", chain.front().c_str(), name.c_str());
        if (published == ALREADY_EXISTS) {
            // Another process keeps the name: this one does not serve it either.
            Registry& r = registry();
            hostsync::MutexLock guard(r.lock);
            for (const auto& descriptor : chain) {
                auto it = r.services.find(Key(descriptor, name));
                if (it != r.services.end() && it->second == service) r.services.erase(it);
            }
        }
        return published;
    }
    // Outside the lock: a notified client may look the service up at once.
    for (const auto& n : notices) {
        Return<void> told = n.target->onRegistration(n.descriptor, name, false);
        if (!told.isOk()) {
            __android_log_print(ANDROID_LOG_WARN, "HidlServiceManagement",
                                "registration notice for %s/%s not delivered",
                                n.descriptor.c_str(), name.c_str());
        }
    }
    return OK;
}

sp<IBase> getRegisteredService(const char* descriptor, const std::string& name) {
    Registry& r = registry();
    hostsync::MutexLock guard(r.lock);
    auto it = r.services.find(Key(descriptor, name));
    return it == r.services.end() ? nullptr : it->second;
}

bool registerForNotifications(const char* descriptor, const std::string& name,
                              const sp<IServiceNotification>& notification) {
    if (notification == nullptr) return false;
    bool present = false;
    {
        Registry& r = registry();
        hostsync::MutexLock guard(r.lock);
        Key key(descriptor, name);
        r.notifications.emplace(key, notification);
        present = r.services.count(key) != 0;
    }
    if (present) {
        Return<void> told = notification->onRegistration(descriptor, name, true);
        if (!told.isOk()) return false;
    }
    return true;
}

}  // namespace details

namespace testing {

size_t threadpoolMaxThreads() {
    Registry& r = registry();
    hostsync::MutexLock guard(r.lock);
    return r.maxThreads;
}

bool threadpoolCallerWillJoin() {
    Registry& r = registry();
    hostsync::MutexLock guard(r.lock);
    return r.callerWillJoin;
}

void failServiceRegistrations(status_t status) {
    Registry& r = registry();
    hostsync::MutexLock guard(r.lock);
    r.forcedFailure = status;
}

void resetServiceRegistry() {
    std::map<Key, sp<IBase>> services;
    std::multimap<Key, sp<IServiceNotification>> notifications;
    Registry& r = registry();
    {
        hostsync::MutexLock guard(r.lock);
        services.swap(r.services);
        notifications.swap(r.notifications);
        r.forcedFailure = OK;
    }
    // The references are dropped here, outside the lock, in case a
    // destructor looks at the registry.
}

}  // namespace testing
}  // namespace hardware
}  // namespace android
