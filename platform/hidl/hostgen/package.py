"""Builds a Package record from the .hal files and hidl-gen's headers.

The .hal files say which methods are oneway and which interface declares each;
the headers say how hidl-gen declared them in C++. Both must list the same
methods in the same order (parents first), otherwise the method codes of the
proxy and the stub would not be the ones the headers imply: a mismatch is an
error rather than a guess.
"""

import glob
import os
import re

import hal_reader
from header_reader import InterfaceHeader, read_wire_info
from model import GenError, Interface, Method, Package, Struct

_PACKAGE = re.compile(r"^([A-Za-z0-9_.]+)@([0-9]+)\.([0-9]+)$")
_CPP_INTERFACE = re.compile(r"^::([:A-Za-z0-9_]+)::V([0-9]+)_([0-9]+)::([A-Za-z0-9_]+)$")
# Its methods are the glue's own (interfaceChain, ping, ...), never numbered.
IBASE = "::android::hidl::base::V1_0::IBase"


def split_package(package):
    m = _PACKAGE.match(package)
    if not m:
        raise GenError("<command line>", 0, "bad HIDL package name: %s" % package)
    return m.group(1), "%s.%s" % (m.group(2), m.group(3))


def package_directory(package):
    """pkg/x.y: where hidl-gen puts the headers, relative to the output folder."""
    name, version = split_package(package)
    return "%s/%s" % (name.replace(".", "/"), version)


def hal_directory(package, roots):
    """The folder of the package's .hal files; roots are (prefix, folder) pairs."""
    name, version = split_package(package)
    for prefix, folder in roots:
        if name == prefix or name.startswith(prefix + "."):
            rest = name[len(prefix):].replace(".", "/")
            return os.path.join(folder + rest, version)
    raise GenError("<command line>", 0, "no package root for %s" % package)


class HalIndex:
    """The interfaces of the packages read so far, by pkg@x.y::IFoo."""

    def __init__(self, roots):
        self.roots = roots
        self.interfaces = {}
        self.loaded = set()

    def load(self, package):
        if package in self.loaded:
            return
        self.loaded.add(package)
        folder = hal_directory(package, self.roots)
        paths = sorted(glob.glob(os.path.join(folder, "*.hal")))
        if not paths:
            raise GenError(folder, 0, "no .hal files for %s" % package)
        for path in paths:
            declared, interface = hal_reader.read_hal(path)
            if declared != package:
                raise GenError(path, 1, "declares package %s, expected %s" % (declared, package))
            if interface is not None:
                self.interfaces["%s::%s" % (package, interface.name)] = interface

    def interface(self, cpp_name, where):
        m = _CPP_INTERFACE.match(cpp_name)
        if not m:
            raise GenError(where, 0, "cannot read interface name %s" % cpp_name)
        package = "%s@%s.%s" % (m.group(1).replace("::", "."), m.group(2), m.group(3))
        self.load(package)
        fq = "%s::%s" % (package, m.group(4))
        if fq not in self.interfaces:
            raise GenError(where, 0, "no .hal file declares %s" % fq)
        return self.interfaces[fq]


def _methods(header, index):
    """The header's methods joined with their .hal declarations."""
    declared = []
    for cpp_name in reversed(header.chain):
        if cpp_name != IBASE:
            declared.extend(index.interface(cpp_name, header.path).methods)
    own = index.interface(header.chain[0], header.path)
    names = [m.name for m in declared]
    if names != [m.name for m in header.methods]:
        raise GenError(own.path, own.line,
                       "the methods of %s (%s) are not the ones hidl-gen declared (%s)"
                       % (own.name, ", ".join(names),
                          ", ".join(m.name for m in header.methods)))
    methods = []
    for code, (hal, cpp) in enumerate(zip(declared, header.methods), 1):
        expected = [a.name for a in hal.args]
        got = cpp.param_names
        if got and got[-1] == "_hidl_cb":
            got = got[:-1]
        if expected != got:
            raise GenError(header.path, cpp.line,
                           "parameters of %s are (%s), the .hal has (%s)"
                           % (hal.name, ", ".join(got), ", ".join(expected)))
        methods.append(Method(code, hal, cpp))
    return methods


def build(package, index, output_dir, hashes):
    """The Package record; hashes maps descriptors to hidl-gen's hashes."""
    name, version = split_package(package)
    directory = package_directory(package)
    index.load(package)
    out = os.path.join(output_dir, directory)
    headers = sorted(os.path.basename(p) for p in
                     glob.glob(os.path.join(out, "I*.h")) + glob.glob(os.path.join(out, "types.h")))
    interfaces = []
    for header_name in headers:
        if header_name == "types.h":
            continue
        header = InterfaceHeader(os.path.join(out, header_name), header_name[:-2])
        if header.descriptor not in hashes:
            raise GenError(header.path, 0, "no hash for %s" % header.descriptor)
        interfaces.append(Interface(header.name, header.descriptor, hashes[header.descriptor],
                                    header.chain, header.has_service, _methods(header, index)))
    fields, imports = read_wire_info([os.path.join(out, h) for h in headers], directory)
    return Package(
        name=package, directory=directory,
        namespace="%s::V%s" % (name.replace(".", "::"), version.replace(".", "_")),
        headers=headers, imports=imports,
        structs=[Struct(t, f) for t, f in fields.items()],
        interfaces=interfaces)
