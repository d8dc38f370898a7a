#include "HalTransport.h"

#include <algorithm>
#include <memory>  // hwbinder/Parcel.h names std::unique_ptr without including it

#include <android/hidl/manager/1.2/IServiceManager.h>
#include <hidl/HidlTransportSupport.h>
#include <hidl/ServiceManagement.h>
#include <hwbinder/ProcessState.h>

namespace imsrcs_vts {

void joinHalTransport() {
    // The callbacks the HAL makes arrive as binder calls: one thread of our
    // own serves them while the test thread waits.
    android::hardware::configureRpcThreadpool(1, false);
    android::hardware::ProcessState::self()->startThreadPool();
}

std::vector<std::string> declaredInstances(const std::string& descriptor) {
    std::vector<std::string> names;
    auto manager = android::hardware::defaultServiceManager1_2();
    if (manager == nullptr) return names;
    // The device manifest, as hwservicemanager reads it (later releases wrap
    // this call as getAllHalInstanceNames()).
    manager->listManifestByInterface(descriptor, [&](const auto& instances) {
        for (const auto& instance : instances) names.push_back(instance);
    });
    std::sort(names.begin(), names.end());
    return names;
}

bool unmetPreconditionFails() {
    return false;
}

}  // namespace imsrcs_vts
