#include "service/RcsServiceHost.h"

#include <chrono>
#include <memory>
#include <utils/Mutex.h>
#include <utility>

#include "DebuggableImsFactory.h"
#include "service/HostLoop.h"
#include "ServiceDump.h"
#include "imsservice/ImsCom.h"
#include "imsservice/ImsLog.h"
#include "rcsconfig/ImsMcxApplication.h"
#include "rcsconfig/ImsMcxSettings.h"
#include "rcsconfig/RcsConfig.h"
#include "rcsconfig/RcsConfigManager.h"

#include <hidl/HidlTransportSupport.h>

using android::sp;

namespace rcsservice {

namespace {

constexpr std::chrono::seconds kIdleTimeout(10);

// True when `factory` is what clients now get for "default" (not a service
// another process registered under the same name).
template <typename Interface>
bool isServing(const sp<Interface>& factory) {
    sp<Interface> registered = Interface::tryGetService("default");
    return registered != nullptr && android::hardware::interfacesEqual(registered, factory);
}

// What a factory's debug() reaches. Factories stay registered with the
// service manager after a stop, so they reach the host only through this
// link, which the stop cuts (waiting for a dump in progress).
struct DumpLink {
    android::Mutex lock;
    const RcsServiceHost* host GUARDED_BY(lock) = nullptr;
};

}  // namespace

struct RcsServiceHost::State {
    explicit State(RcsServiceHostOptions o) : options(std::move(o)) {}

    RcsServiceHostOptions options;
    bool started = false;  // owner's thread
    ImsCom* com = nullptr;
    std::unique_ptr<HostLoop> loop;
    std::unique_ptr<ImsMcxSettings> settings;
    std::unique_ptr<ImsMcxApplication> application;
    // The factory registry owns the manager; this keeps it alive until the
    // clients it serves are gone.
    std::shared_ptr<ImsCreatable> managerOwner;
    RcsConfigManager* manager = nullptr;
    sp<DebuggableImsFactory_1_0> factory_1_0;
    sp<DebuggableImsFactory_1_1> factory_1_1;
    std::shared_ptr<DumpLink> dumpLink = std::make_shared<DumpLink>();

    void tearDown();
    ServiceSnapshot snapshot() const;
};

void RcsServiceHost::State::tearDown() {
    {
        android::Mutex::Autolock guard(dumpLink->lock);
        dumpLink->host = nullptr;
    }
    // The start sequence in reverse. The loop stops first, so nothing runs on
    // it while the objects it serves go away.
    if (loop) loop->stop();
    // The factories stay registered with the service manager (it holds them);
    // emptying their registries is what their destructors do, and it is what
    // lets the manager go.
    if (factory_1_1 != nullptr || factory_1_0 != nullptr || managerOwner != nullptr) {
        ImsFactory_1_1::deregister();
        ImsFactory_1_0::deregister();
    }
    factory_1_1 = nullptr;
    factory_1_0 = nullptr;
    manager = nullptr;
    managerOwner.reset();
    application.reset();
    settings.reset();
    loop.reset();
    started = false;
}

ServiceSnapshot RcsServiceHost::State::snapshot() const {
    ServiceSnapshot s;
    s.started = started && manager != nullptr;
    if (!s.started) return s;
    s.modemTransport = options.modemName;
    // The flags belong to the loop thread.
    loop->runOnLoop([&] {
        s.modemUp = manager->isModemUp();
        s.serviceAvailable = manager->isServiceAvailable();
        for (int slot = 1; slot <= 2; ++slot) {
            s.imssSubscribed[slot - 1] = manager->isImssSubscribed(slot);
            s.imsaSubscribed[slot - 1] = manager->isImsaSubscribed(slot);
        }
    });
    // The queue's lock is held while its events run, and a creation holds the
    // listener lock while it waits for the queue's lock to post. On the loop
    // thread this dump may be running inside a batch (a client's callback),
    // so the queue and the listener lists are only read from other threads.
    s.offLoop = !loop->isLoopThread();
    if (s.offLoop) {
        s.queuedEvents = manager->queuedEvents();
        for (const auto& l : manager->listeners()) {
            const int pid = options.clientPid && l.object != nullptr ? options.clientPid(l.object) : 0;
            s.listeners.push_back(ServiceSnapshot::Listener{l.key, l.slotId, l.version, pid});
        }
        s.listenerDeathRecipients = manager->deathRecipientCount();
        for (const auto& config : manager->rcsConfigs()) {
            RcsConfig::Filed f = config->filed();
            s.serviceObjects.push_back(ServiceSnapshot::ServiceObject{
                    reinterpret_cast<uintptr_t>(config.get()), config->slotId(), f.setConfigWrappers,
                    f.getSettingsWrappers, f.settingsChangeWrappers, f.setConfigRecipients,
                    f.getSettingsRecipients, f.settingsChangeRecipients, f.uceStatusRecipients});
        }
    }
    ImsMcxSettings::PendingRequests pending = settings->pendingRequests();
    s.configUploads = pending.configUploads;
    s.settingsWrites = pending.settingsWrites;
    s.settingsReads = pending.settingsReads;
    s.appTokens = pending.appTokens;
    s.changeListenerGroups = pending.changeListenerGroups;
    s.loopFailures = loop->caughtFailures();
    return s;
}

RcsServiceHost::RcsServiceHost(RcsServiceHostOptions options)
    : mState(std::make_unique<State>(std::move(options))) {}

RcsServiceHost::~RcsServiceHost() {
    stop();
}

bool RcsServiceHost::start() {
    State& s = *mState;
    if (s.started) return true;
    if (s.options.connectModem && !s.options.connectModem()) {
        IMS_LOG("RcsServiceHost: cannot reach the modem (%s)", s.options.modemName.c_str());
        return false;
    }

    // 1. The loop before any other thread uses it, and the one timer queue.
    s.com = ImsCom::getInstance();
    s.loop = std::make_unique<HostLoop>(*s.com);
    ImsTimer& timer = s.loop->timer();

    // 2. The modem clients; each starts waiting for its service.
    s.settings = std::make_unique<ImsMcxSettings>(*s.com, timer);
    s.application = std::make_unique<ImsMcxApplication>(*s.com, timer);

    // 3. The manager, which registers itself with the 1.1 factory's registry.
    // A manager whose names were taken is not registered and will be deleted
    // by the registry; only the pointer value is compared here.
    RcsConfigManager* created = new RcsConfigManager(*s.com, timer, *s.settings, *s.application);
    s.managerOwner = ImsFactory_1_1::getCreatable("createRcsConfig");
    if (s.managerOwner.get() == static_cast<ImsCreatable*>(created)) s.manager = created;
    if (s.manager == nullptr) {
        IMS_LOG("RcsServiceHost: the RCS configuration manager could not register with the factory");
        s.tearDown();
        return false;
    }
    s.loop->setRecoveryHook([manager = s.manager] { manager->resumePendingEvents(); });

    // 4. The factories.
    {
        android::Mutex::Autolock guard(s.dumpLink->lock);
        s.dumpLink->host = this;
    }
    DumpFunction dump = [link = s.dumpLink, commands = s.options.debugCommands,
                         extra = s.options.extraDump](const std::vector<std::string>& options) {
        android::Mutex::Autolock guard(link->lock);
        if (link->host == nullptr) return formatServiceDump(ServiceSnapshot{});
        std::string text;
        if (!options.empty() && commands && commands(options, &text)) return text;
        text = link->host->dump();
        if (extra) text += extra();
        return text;
    };
    DeferFunction defer = [link = s.dumpLink, deferred = s.options.deferredCommands](
                                  const std::vector<std::string>& options, int fd) {
        android::Mutex::Autolock guard(link->lock);
        return link->host != nullptr && !options.empty() && deferred && deferred(options, fd);
    };
    bool registered = true;
    if (s.options.startFactory_1_0) {
        s.factory_1_0 = new DebuggableImsFactory_1_0(dump, defer);
        s.factory_1_0->start();
        registered = registered && isServing<vendor::kel::ims::factory::V1_0::IImsFactory>(
                                           s.factory_1_0);
    }
    if (s.options.startFactory_1_1) {
        s.factory_1_1 = new DebuggableImsFactory_1_1(dump, defer);
        s.factory_1_1->start();
        registered = registered && isServing<vendor::kel::ims::factory::V1_1::IImsFactory>(
                                           s.factory_1_1);
    }
    if (!registered) {
        IMS_LOG("RcsServiceHost: a factory could not be registered as \"default\"");
        s.tearDown();
        return false;
    }

    // 5. The loop thread.
    s.loop->start();
    s.started = true;
    IMS_LOG("RcsServiceHost: started on the %s", s.options.modemName.c_str());
    return true;
}

void RcsServiceHost::stop() {
    State& s = *mState;
    if (!s.started) return;
    s.tearDown();
    IMS_LOG("RcsServiceHost: stopped");
}

bool RcsServiceHost::waitUntilIdle(std::chrono::milliseconds timeout) const {
    return mState->loop != nullptr && mState->loop->waitUntilIdle(timeout);
}

std::string RcsServiceHost::dump() const {
    return formatServiceDump(mState->snapshot());
}

std::string RcsServiceHost::dumpJson() const {
    return formatServiceDumpJson(mState->snapshot());
}

void RcsServiceHost::waitUntilIdle() const {
    if (mState->loop != nullptr && !mState->loop->waitUntilIdle(kIdleTimeout)) {
        IMS_LOG("RcsServiceHost: the loop did not become idle within %d s",
                static_cast<int>(kIdleTimeout.count()));
    }
}

}  // namespace rcsservice
