#include "HalTransport.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>

#include <hidl/HidlHostTransport.h>

namespace imsrcs_vts {

namespace host = android::hardware::host;

void joinHalTransport() {
    // The registry folder of the service under test: $IMSRCS_HIDL_REGISTRY,
    // which the runner script sets, else the user's default one.
    host::useServiceRegistry(host::defaultRegistryDir());
}

std::vector<std::string> declaredInstances(const std::string& descriptor) {
    // What a device with the service's VINTF fragment in its manifest
    // declares: each <fqname> ("@1.1::IImsFactory/default") of a <hal> of the
    // descriptor's package serves the same interface and major version, up to
    // its minor version, as the device's service manager matches.
    static const std::regex asked(R"(([A-Za-z0-9_.]+)@([0-9]+)\.([0-9]+)::([A-Za-z0-9_]+))");
    static const std::regex hal(R"(<hal[^>]*>[\s\S]*?<name>\s*([^<\s]+)\s*</name>[\s\S]*?</hal>)");
    static const std::regex fqname(R"(<fqname>\s*@([0-9]+)\.([0-9]+)::([A-Za-z0-9_]+)/([^<\s]+)\s*</fqname>)");
    std::vector<std::string> names;
    std::smatch want;
    if (!std::regex_match(descriptor, want, asked)) return names;
    std::stringstream text;
    text << std::ifstream(SERVICE_DIR "/vendor.kel.ims.rcsconfig-service.xml").rdbuf();
    const std::string xml = text.str();
    for (std::sregex_iterator h(xml.begin(), xml.end(), hal), end; h != end; ++h) {
        if ((*h)[1] != want[1]) continue;
        const std::string body = (*h)[0];
        for (std::sregex_iterator f(body.begin(), body.end(), fqname); f != end; ++f) {
            if ((*f)[1] == want[2] && (*f)[3] == want[4] && std::stoul((*f)[2]) >= std::stoul(want[3])) {
                names.push_back((*f)[4]);
            }
        }
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

bool unmetPreconditionFails() {
    // run_with_service.sh starts the modem with the service and provisions
    // settings values before the tests.
    return true;
}

}  // namespace imsrcs_vts
