// The other process of the cross-process HIDL tests.
//   hidl_xproc_peer serve <registry>    registers a FakeImsFactory as "default" and serves
//   hidl_xproc_peer client <registry>   creates an IRcsConfig with a listener and a watch,
//                                       prints "ready" and waits to be killed
//   hidl_xproc_peer stuck-in-nested <registry>    creates an IRcsConfig with a listener that prints
//                                       "nested" and never answers the service's nested call
//   hidl_xproc_peer stuck-after-nested <registry> the same, but its listener answers the nested call
//                                       and stops at the one-way notice that follows, printing "answered"
#include <hidl/HidlHostTransport.h>
#include <hidl/HidlTransportSupport.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "Callbacks.h"

using namespace xproc;

namespace {

// Nobody waits for what the callbacks of this process hear.
Events& ignored() {
    static Events events;
    return events;
}

// Stops where the service calls it while creating the object; the test kills it there.
struct StuckListener : Listener {
    explicit StuckListener(bool inNested) : Listener(std::make_shared<Events>()), inNested(inNested) {}
    Return<void> interfaceChain(interfaceChain_cb cb) override {
        if (inNested) stop("nested");
        return Listener::interfaceChain(cb);
    }
    Return<void> onReconfigNeeded() override {
        stop("answered");
        return Void();
    }
    static void stop(const char* line) {
        printf("%s\n", line);
        fflush(stdout);
        for (;;) pause();
    }
    const bool inNested;
};

int serve() {
    ::android::hardware::configureRpcThreadpool(1, true);
    sp<FakeImsFactory> factory = new FakeImsFactory();
    if (factory->registerAsService("default") != ::android::OK) return 2;
    ::android::hardware::joinRpcThreadpool();
    return 0;
}

int client(const sp<R21::IRcsConfigListener>& listener) {
    sp<F11::IImsFactory> factory = F11::IImsFactory::getService("default");
    if (factory == nullptr) return 3;
    sp<R21::IRcsConfig> config = createConfig(factory, listener);
    if (config == nullptr) return 4;
    if (config->registerForSettingsChange(R20::SettingsId::PRESENCE_CONFIG, new ChangeCb(ignored())).withDefault(
                R20::RequestStatus::FAIL) != R20::RequestStatus::OK) {
        return 5;
    }
    printf("ready\n");
    fflush(stdout);
    for (;;) pause();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 1;
    if (!::android::hardware::host::useServiceRegistry(argv[2])) return 1;
    if (strcmp(argv[1], "serve") == 0) return serve();
    if (strcmp(argv[1], "client") == 0) return client(newListener());
    if (strcmp(argv[1], "stuck-in-nested") == 0) return client(new StuckListener(true));
    if (strcmp(argv[1], "stuck-after-nested") == 0) return client(new StuckListener(false));
    return 1;
}
