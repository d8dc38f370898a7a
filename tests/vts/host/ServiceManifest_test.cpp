// The running service registers exactly what its init script declares (init
// starts a service for the interfaces its "interface" lines name, and
// hwservicemanager refuses the others), and serves every HAL its VINTF
// fragment promises. Host only: it reads the two files from the source tree.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <hidl/HidlHostTransport.h>

namespace imsrcs_vts {
namespace {

namespace host = android::hardware::host;

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// "interface <descriptor> <instance>" lines -> "<descriptor>/<instance>".
std::set<std::string> initInterfaces(const std::string& rc) {
    std::set<std::string> names;
    std::istringstream lines(rc);
    std::string word, descriptor, instance;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        if (words >> word && word == "interface" && words >> descriptor >> instance) {
            names.insert(descriptor + "/" + instance);
        }
    }
    return names;
}

// <hal> entries with <name> and <fqname>@V::I/instance -> "name@V::I/instance".
std::set<std::string> vintfInstances(const std::string& xml) {
    std::set<std::string> names;
    std::regex hal(R"(<hal[^>]*>[\s\S]*?<name>\s*([^<\s]+)\s*</name>[\s\S]*?</hal>)");
    std::regex fqname(R"(<fqname>\s*([^<\s]+)\s*</fqname>)");
    for (std::sregex_iterator h(xml.begin(), xml.end(), hal), end; h != end; ++h) {
        std::string body = (*h)[0];
        for (std::sregex_iterator f(body.begin(), body.end(), fqname); f != end; ++f) {
            names.insert((*h)[1].str() + (*f)[1].str());
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
    std::set<std::string> declared = initInterfaces(readFile(SERVICE_DIR "/vendor.kel.ims.rcsconfig-service.rc"));
    ASSERT_FALSE(declared.empty());
    EXPECT_EQ(registeredVendorInterfaces(), declared);
}

TEST(ServiceManifestTest, VintfFragment_EveryHalIsRegistered) {
    std::set<std::string> promised = vintfInstances(readFile(SERVICE_DIR "/vendor.kel.ims.rcsconfig-service.xml"));
    ASSERT_FALSE(promised.empty());
    std::set<std::string> registered = registeredVendorInterfaces();
    for (const std::string& name : promised) EXPECT_EQ(registered.count(name), 1u) << name << " is not registered";
}

}  // namespace
}  // namespace imsrcs_vts
