// The running service registers exactly what its init script declares (init
// starts a service for the interfaces its "interface" lines name, and
// hwservicemanager refuses the others), and the HAL suites find the
// instances its VINTF fragment declares. Host only: it reads the two files
// from the source tree.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <hidl/HidlHostTransport.h>

#include "HalTransport.h"

namespace imsrcs_vts {
namespace {

namespace host = android::hardware::host;

// The init script's "interface <descriptor> <instance>" lines ->
// "<descriptor>/<instance>".
std::set<std::string> initInterfaces(const std::string& path) {
    std::set<std::string> names;
    std::ifstream lines(path);
    std::string word, descriptor, instance;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        if (words >> word && word == "interface" && words >> descriptor >> instance) {
            names.insert(descriptor + "/" + instance);
        }
    }
    return names;
}

std::set<std::string> registeredVendorInterfaces() {
    std::set<std::string> names;
    for (const auto& entry : host::listServices(host::defaultRegistryDir())) {
        // The chain down to android.hidl.base is registered with every object.
        if (entry.descriptor.rfind("android.hidl.", 0) == 0) continue;
        names.insert(entry.descriptor + "/" + entry.instance);
    }
    return names;
}

TEST(ServiceManifestTest, RegisteredInterfaces_AreThoseOfTheInitScript) {
    std::set<std::string> declared = initInterfaces(SERVICE_DIR "/vendor.kel.ims.rcsconfig-service.rc");
    ASSERT_FALSE(declared.empty());
    EXPECT_EQ(registeredVendorInterfaces(), declared);
}

// The per-instance suites run once per declared instance: a fragment the
// helper cannot read would leave them with no case at all.
TEST(ServiceManifestTest, VintfFragment_DeclaresEachFactoryVersionTheSuitesAsk) {
    for (const char* descriptor : {"vendor.kel.ims.factory@1.0::IImsFactory", "vendor.kel.ims.factory@1.1::IImsFactory"}) {
        EXPECT_EQ(declaredInstances(descriptor), std::vector<std::string>{"default"}) << descriptor;
    }
    EXPECT_TRUE(declaredInstances("vendor.kel.ims.factory@1.2::IImsFactory").empty()) << "above the declared minor";
}

}  // namespace
}  // namespace imsrcs_vts
