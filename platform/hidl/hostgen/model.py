"""What the writer needs to know of one HIDL package.

The readers fill these records: hal_reader from the .hal files (methods,
oneway, argument and result names), header_reader from hidl-gen's C++ headers
(descriptors, interface chains, C++ signatures, struct fields in order).
package.build() joins the two.
"""

from dataclasses import dataclass, field
from typing import List, Optional


class GenError(Exception):
    """Something the generator cannot handle, at path:line (line 0: the whole file)."""

    def __init__(self, path, line, message):
        super().__init__("%s:%d: %s" % (path, line, message) if line else
                         "%s: %s" % (path, message))
        self.path = path
        self.line = line


@dataclass
class HalArg:
    name: str
    hal_type: str


@dataclass
class HalMethod:
    name: str
    oneway: bool
    args: List[HalArg]
    results: List[HalArg]
    line: int


@dataclass
class HalInterface:
    name: str
    package: str          # pkg@x.y
    extends: Optional[str]
    methods: List[HalMethod]
    path: str
    line: int


@dataclass
class CppMethod:
    """A pure virtual method of hidl-gen's interface header."""
    name: str
    cpp_return: str       # T of Return<T>
    cpp_params: str       # the parameter list as written
    param_names: List[str]
    line: int


@dataclass
class Method:
    code: int             # parents' methods first, numbered from 1
    hal: HalMethod
    cpp: CppMethod

    @property
    def name(self):
        return self.hal.name

    @property
    def callback(self):
        # hidl-gen hands results to a _hidl_cb unless one scalar can be returned.
        return bool(self.cpp.param_names) and self.cpp.param_names[-1] == "_hidl_cb"


@dataclass
class Interface:
    name: str
    descriptor: str       # pkg@x.y::IFoo
    hash: str
    chain: List[str]      # C++ names, this interface first, IBase last
    has_service: bool
    methods: List[Method] = field(default_factory=list)


@dataclass
class Struct:
    cpp_name: str
    fields: List[str] = field(default_factory=list)


@dataclass
class Package:
    name: str             # pkg@x.y
    directory: str        # pkg/x.y, as the headers are included
    namespace: str        # pkg::Vx_y
    headers: List[str]    # types.h and I*.h file names, sorted
    imports: List[str]    # other packages' directories the headers include
    structs: List[Struct]
    interfaces: List[Interface]
