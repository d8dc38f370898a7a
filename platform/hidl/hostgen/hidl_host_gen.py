#!/usr/bin/env python3
"""Build-time step of hidl_host_generate() (platform/hidl/cmake/HidlHost.cmake)
for one HIDL package.

1. The package's .hal files are read first, so a declaration this generator
   cannot handle is reported at its file and line before anything is written.
2. hidl-gen -L c++-headers writes the package's headers; the binder and
   passthrough headers (Bn*, Bp*, Bs*, IHw*, hwtypes.h) are removed because the
   host has no binder transport, and each enum's hidl_enum_values
   specialisation is made inline (clang gives a constexpr variable template
   specialisation external linkage: a duplicate symbol per including unit).
3. hidl-gen -L hash gives each interface's hash for getHashChain().
4. The headers are read back (package.build) and writer.py writes hostwire.h
   beside them and the glue .cpp.

Errors go to stderr as `file:line: message` and the exit status is 1.
"""

import argparse
import glob
import os
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import package as package_builder  # noqa: E402
import writer  # noqa: E402
from model import GenError  # noqa: E402

_TRANSPORT_HEADERS = ("Bn*.h", "Bp*.h", "Bs*.h", "IHw*.h", "hwtypes.h")


def _root(text):
    prefix, sep, folder = text.partition(":")
    if not sep or not prefix or not folder:
        raise argparse.ArgumentTypeError("a root is <prefix>:<folder>, not %r" % text)
    return prefix, folder


def _hidl_gen(hidl_gen, language, roots, package, output_dir=None):
    cmd = [hidl_gen, "-L", language]
    if output_dir:
        cmd += ["-o", output_dir]
    cmd.append("-R")
    for prefix, folder in roots:
        cmd += ["-r", "%s:%s" % (prefix, folder)]
    cmd.append(package)
    run = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        raise GenError("hidl-gen", 0, "%s %s failed:\n%s%s"
                       % (language, package, run.stdout, run.stderr))
    return run.stdout


def _read_hashes(text):
    """Descriptor -> hash from `hidl-gen -L hash` lines `<hash> <pkg@x.y::IFoo>`."""
    hashes = {}
    for line in text.splitlines():
        parts = line.split()
        if len(parts) == 2:
            hashes[parts[1]] = parts[0]
    return hashes


def _tidy_headers(folder):
    for pattern in _TRANSPORT_HEADERS:
        for path in glob.glob(os.path.join(folder, pattern)):
            os.remove(path)
    for path in glob.glob(os.path.join(folder, "*.h")):
        with open(path, encoding="utf-8") as f:
            text = f.read()
        inline = text.replace("template<> constexpr std::array<",
                              "template<> inline constexpr std::array<")
        if inline != text:
            with open(path, "w", encoding="utf-8") as f:
                f.write(inline)


def _write(path, text, only_if_changed):
    if only_if_changed and os.path.exists(path):
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def generate(hidl_gen, roots, package, output_dir, glue_path):
    index = package_builder.HalIndex(roots)
    index.load(package)  # step 1: fails on what the .hal reader cannot handle
    _hidl_gen(hidl_gen, "c++-headers", roots, package, output_dir)
    folder = os.path.join(output_dir, package_builder.package_directory(package))
    _tidy_headers(folder)
    hashes = _read_hashes(_hidl_gen(hidl_gen, "hash", roots, package))
    pkg = package_builder.build(package, index, output_dir, hashes)
    # hostwire.h is rewritten only when it changes, so the glue that includes
    # it is not rebuilt for nothing.
    _write(os.path.join(folder, "hostwire.h"), writer.hostwire(pkg), only_if_changed=True)
    _write(glue_path, writer.glue(pkg), only_if_changed=False)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--hidl-gen", default="hidl-gen", help="the hidl-gen program")
    parser.add_argument("--root", type=_root, action="append", required=True,
                        help="<prefix>:<folder> of a package root, e.g. "
                             "vendor.kel.ims:/src/interfaces/vendor/kel/ims (repeatable)")
    parser.add_argument("--package", required=True, help="pkg@x.y")
    parser.add_argument("--output-dir", required=True, help="where the headers go")
    parser.add_argument("--glue", required=True, help="the glue .cpp to write")
    args = parser.parse_args(argv)
    try:
        generate(args.hidl_gen, args.root, args.package, args.output_dir, args.glue)
    except GenError as e:
        print(e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
