#include "VintfFragment.h"

#include <fstream>
#include <regex>
#include <sstream>

namespace imsrcs_vts {

namespace {

// "@1.1::IImsFactory/default" or "vendor.kel.ims.factory@1.0::IImsFactory"
// (the package given apart, or in front).
bool parseFqName(const std::string& text, DeclaredHal* hal, bool withInstance) {
    static const std::regex pattern(R"(([A-Za-z0-9_.]*)@([0-9]+)\.([0-9]+)::([A-Za-z0-9_]+)(/(\S+))?)");
    std::smatch m;
    if (!std::regex_match(text, m, pattern) || m[5].matched != withInstance) return false;
    if (m[1].length() > 0) hal->package = m[1];
    hal->major = static_cast<unsigned>(std::stoul(m[2]));
    hal->minor = static_cast<unsigned>(std::stoul(m[3]));
    hal->interface = m[4];
    hal->instance = m[6];
    return true;
}

}  // namespace

bool DeclaredHal::serves(const std::string& descriptor) const {
    DeclaredHal asked;
    if (!parseFqName(descriptor, &asked, false)) return false;
    return asked.package == package && asked.interface == interface && asked.major == major &&
           asked.minor <= minor;
}

std::vector<DeclaredHal> readVintfFragment(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    const std::string xml = text.str();

    std::vector<DeclaredHal> hals;
    static const std::regex hal(R"(<hal[^>]*>[\s\S]*?<name>\s*([^<\s]+)\s*</name>[\s\S]*?</hal>)");
    static const std::regex fqname(R"(<fqname>\s*([^<\s]+)\s*</fqname>)");
    for (std::sregex_iterator h(xml.begin(), xml.end(), hal), end; h != end; ++h) {
        const std::string body = (*h)[0];
        for (std::sregex_iterator f(body.begin(), body.end(), fqname); f != end; ++f) {
            DeclaredHal entry;
            entry.package = (*h)[1];
            if (parseFqName((*f)[1], &entry, true)) hals.push_back(entry);
        }
    }
    return hals;
}

}  // namespace imsrcs_vts
