/*
 * The HALs a VINTF manifest fragment declares, read from the file: on a
 * workstation the service's fragment in the source tree stands for the
 * device manifest. Host only.
 */
#ifndef VTS_HOST_VINTF_FRAGMENT_H
#define VTS_HOST_VINTF_FRAGMENT_H

#include <string>
#include <vector>

namespace imsrcs_vts {

// One <fqname> of a <hal>: vendor.kel.ims.factory@1.1::IImsFactory/default.
struct DeclaredHal {
    std::string package;    // vendor.kel.ims.factory
    unsigned major = 0;
    unsigned minor = 0;
    std::string interface;  // IImsFactory
    std::string instance;   // default

    // Whether this declaration serves `descriptor` ("package@M.m::I"): the
    // same package, interface and major version, and a minor version at
    // least the one asked for, as the device's service manager matches.
    bool serves(const std::string& descriptor) const;
};

// The <fqname> entries of every <hal> in the fragment at `path`, in file
// order; empty when the file cannot be read or declares none. Any thread.
std::vector<DeclaredHal> readVintfFragment(const std::string& path);

}  // namespace imsrcs_vts

#endif  // VTS_HOST_VINTF_FRAGMENT_H
