#include "HalTransport.h"

#include <hidl/HidlHostTransport.h>

namespace imsrcs_vts {

namespace host = android::hardware::host;

void joinHalTransport() {
    // The registry folder of the service under test: $IMSRCS_HIDL_REGISTRY,
    // which the runner script sets, else the user's default one.
    host::useServiceRegistry(host::defaultRegistryDir());
}

std::vector<std::string> registeredInstances(const std::string& descriptor) {
    std::vector<std::string> names;
    for (const auto& entry : host::listServices(host::defaultRegistryDir())) {
        if (entry.descriptor == descriptor) names.push_back(entry.instance);
    }
    return names;
}

}  // namespace imsrcs_vts
