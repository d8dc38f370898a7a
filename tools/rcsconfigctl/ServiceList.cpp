#include "ServiceList.h"

#include <hidl/HidlHostTransport.h>

namespace rcsctl {

std::string registryFolder(const std::string& dir) {
    return dir.empty() ? android::hardware::host::defaultRegistryDir() : dir;
}

void printServiceList(const std::string& dir, Output& out) {
    const std::string folder = registryFolder(dir);
    const auto services = android::hardware::host::listServices(folder);
    std::string text = "registry " + folder + ": " + std::to_string(services.size()) + " service(s)";
    std::string json = "[";
    for (const auto& s : services) {
        text += "\n  " + s.descriptor + "/" + s.instance + "  pid " + std::to_string(s.pid);
        json += std::string(json.size() > 1 ? "," : "") +
                Json().str("descriptor", s.descriptor).str("instance", s.instance).num("pid", s.pid).text();
    }
    json += "]";
    out.report(text, Json().str("cmd", "list-services").str("registry", folder).raw("services", json)
                             .str("status", "OK"));
}

}  // namespace rcsctl
