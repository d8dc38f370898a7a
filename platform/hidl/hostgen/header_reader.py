"""Reads back the C++ headers hidl-gen wrote for a package.

The glue must match hidl-gen's declarations exactly (parameter types, Return
types, which methods take a _hidl_cb), so those are taken from its headers
rather than derived again from the .hal types. The lines read are the ones
hidl-gen writes in a fixed form; a method line that does not have that form is
an error naming the header and line.
"""

import re

from model import CppMethod, GenError

_DESCRIPTOR = re.compile(r'Fully qualified interface name: "([^"]+)"')
_CAST_FROM = re.compile(r"castFrom\(const ::android::sp<([:A-Za-z0-9_]+)>& parent")
_PURE_METHOD = re.compile(
    r"^    virtual ::android::hardware::Return<(.*)> ([A-Za-z0-9_]+)\((.*)\) = 0;$")
_INCLUDE = re.compile(r"^#include <([a-z0-9_/]+/[0-9]+\.[0-9]+)/[A-Za-z0-9_]+\.h>")
_OFFSETOF = re.compile(r"^ *static_assert\(offsetof\(([:A-Za-z0-9_]+), ([A-Za-z0-9_]+)\) ==")
_PARAM_NAME = re.compile(r"[ &*]([A-Za-z_][A-Za-z0-9_]*)$")


def _read_lines(path):
    try:
        with open(path, encoding="utf-8") as f:
            return f.read().split("\n")
    except OSError as e:
        raise GenError(path, 0, "cannot open: %s" % e.strerror)


def _param_names(path, line, params):
    """Each parameter's name: the identifier that ends it."""
    names = []
    depth = 0
    start = 0
    for i, c in enumerate(params + ","):
        if c in "<([":
            depth += 1
        elif c in ">)]":
            depth -= 1
        elif c == "," and depth == 0:
            param = params[start:i].strip()
            start = i + 1
            if not param and not names and i == len(params):
                break  # no parameters
            m = _PARAM_NAME.search(param)
            if not m:
                raise GenError(path, line, "cannot read parameter %r" % param)
            names.append(m.group(1))
    return names


class InterfaceHeader:
    """What one I*.h declares: descriptor, chain, service methods, own methods."""

    def __init__(self, path, name):
        self.path = path
        self.name = name
        self.descriptor = None
        self.chain = []
        self.has_service = False
        self.methods = []
        service = "static ::android::sp<%s> getService(const std::string &serviceName" % name
        for number, text in enumerate(_read_lines(path), 1):
            m = _PURE_METHOD.match(text)
            if m:
                self.methods.append(CppMethod(
                    m.group(2), m.group(1), m.group(3),
                    _param_names(path, number, m.group(3)), number))
                continue
            if text.startswith("    virtual ") and text.endswith(" = 0;"):
                raise GenError(path, number, "cannot read method declaration")
            m = _DESCRIPTOR.search(text)
            if m and self.descriptor is None:
                self.descriptor = m.group(1)
                continue
            m = _CAST_FROM.search(text)
            if m:
                self.chain.append(m.group(1))
            elif service in text:
                self.has_service = True
        if not self.descriptor or not self.chain:
            raise GenError(path, 0, "not an interface header hidl-gen wrote")


def read_wire_info(paths, own_dir):
    """Struct fields in declaration order (from hidl-gen's offsetof asserts) and
    the other packages the headers include, both in order of first appearance."""
    structs = {}
    imports = []
    for path in paths:
        for text in _read_lines(path):
            m = _INCLUDE.match(text)
            if m:
                if m.group(1) != own_dir and m.group(1) not in imports:
                    imports.append(m.group(1))
                continue
            m = _OFFSETOF.match(text)
            if m:
                structs.setdefault(m.group(1), []).append(m.group(2))
    return structs, imports
