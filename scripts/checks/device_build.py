#!/usr/bin/env python3
"""Compiles the device build the way a device would, without a device tree.

For every device module of the Android.bp files (the library, the service
binary, the tests) it compiles each source the module lists with clang,
-D__ANDROID__, the module's cflags and only the include folders a device
build of that module sees: its own and exported folders, the folders its
libraries export on a device, and the platform's headers. The vendor platform
libraries export only their device headers (libmcx_cci: mcx_client.h and
mcx_idl_lib.h; libmcxservices: modem/include; libxvdpl: xvDpl.h); the host
stand-ins under platform/ are never on the path. It also compiles the
hidl-gen device glue (headers and sources, proxies, stubs and passthrough
included) of every HIDL package, and checks that the Android.bp files and
the tree agree.

Platform headers come from $ANDROID_BUILD_TOP (a device tree) when set, else
from ../shared/device-headers beside the repository with Debian's
/usr/include/android; without either the check says why and skips.

The objects, the generated glue and a ninja file stay in build-device/ (or
--build-dir), so a later run compiles only the sources whose text, headers or
flags changed; the objects themselves are never used.

    scripts/checks/device_build.py [--jobs N] [--build-dir DIR] [--verbose]
"""

import argparse
import os
import shutil
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import blueprint  # noqa: E402
import ninja_compile  # noqa: E402

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..'))
BUILD_TREES = {'build', 'build-asan', 'build-tsan', 'build-fuzz', 'build-clang', 'build-vts', 'build-device'}
DEVICE_MODULE_TYPES = {'cc_library', 'cc_library_shared', 'cc_library_static', 'cc_binary', 'cc_test'}
SOURCE_SUFFIXES = ('.cpp', '.cc', '.c')

# What the vendor's platform libraries export on a device: files of this tree
# (the host build's stand-ins sit beside them and must stay invisible).
VENDOR_EXPORTS = {
    'libmcx_cci': ['platform/mcx/include/mcx_client.h', 'platform/mcx/include/mcx_idl_lib.h'],
    'libmcxservices': ['modem/include'],
    'libxvdpl': ['platform/dpl/include/xvDpl.h'],
}

# glibc/libstdc++ against headers written for bionic/libc++: hwbinder/Parcel.h
# leaves <memory> to libc++'s transitive includes, and the generated glue
# names bionic's SCHED_NORMAL. Only the generated glue needs these; the
# tree's own sources are compiled without them.
GLUE_HOST_LIBC_DIFFERENCES = ['-include', 'memory', '-DSCHED_NORMAL=SCHED_OTHER']


def log(text):
    print(f'device-build: {text}', flush=True)


class PlatformHeaders:
    """The platform's include folders and the android.hidl package root."""

    def __init__(self, source, include_dirs, hidl_root):
        self.source = source
        self.include_dirs = include_dirs
        self.hidl_root = hidl_root

    @staticmethod
    def find():
        tree = os.environ.get('ANDROID_BUILD_TOP')
        if tree:
            dirs = [os.path.join(tree, d) for d in (
                'system/libhidl/base/include', 'system/libhidl/transport/include',
                'system/libhwbinder/include', 'hardware/libhardware_legacy/include',
                'system/core/include', 'system/core/liblog/include', 'system/core/libutils/include',
                'system/core/libcutils/include', 'system/core/libsystem/include',
                'system/core/base/include')]
            absent = [d for d in dirs[:4] if not os.path.isdir(d)]
            if absent:
                return None, f'ANDROID_BUILD_TOP={tree} has no {absent[0]}'
            return PlatformHeaders(f'the device tree at {tree}', [d for d in dirs if os.path.isdir(d)],
                                   os.path.join(tree, 'system/libhidl/transport')), None
        shared = os.path.normpath(os.path.join(TOP, '..', 'shared', 'device-headers'))
        if not os.path.isdir(shared):
            return None, f'no platform headers: set ANDROID_BUILD_TOP or provide {shared}'
        if not os.path.isdir('/usr/include/android/utils'):
            return None, 'no /usr/include/android (Debian android-libutils-dev and friends)'
        dirs = [os.path.join(shared, d) for d in (
            'libhidl/base/include', 'libhidl/transport/include', 'libhwbinder/include',
            'libhardware_legacy/include', 'bionic-shims')]
        dirs += ['/usr/include/android']
        return PlatformHeaders(shared, dirs, os.path.join(shared, 'libhidl/transport')), None


class Result:
    def __init__(self):
        self.compiled = {'device': 0, 'generated': 0}
        self.failed = {'device': 0, 'generated': 0}
        self.problems = []


# Platform packages the device's HAL test uses (android.hidl.manager@1.2 for
# the device manifest) beyond those the interfaces import: their headers only,
# as a device's libhidl has their code.
PLATFORM_HEADER_PACKAGES = ['android.hidl.manager@1.1', 'android.hidl.manager@1.2']


def hidl_packages():
    """(package, root) of every package under interfaces/, e.g.
    ('vendor.kel.ims.factory@1.1', 'vendor.kel')."""
    packages = []
    for folder, _, files in os.walk(os.path.join(TOP, 'interfaces')):
        if not any(f.endswith('.hal') for f in files):
            continue
        rel = os.path.relpath(folder, os.path.join(TOP, 'interfaces'))
        parts = rel.split(os.sep)
        packages.append(('.'.join(parts[:-1]) + '@' + parts[-1], '.'.join(parts[:2])))
    return sorted(packages)


def android_hidl_root(headers, work, result):
    """The android.hidl package root for hidl-gen. hidl-gen refuses a
    released vendor interface (in the vendor root's current.txt) that depends
    on an unreleased one, so it needs the platform's record of
    android.hidl.base@1.0. A device tree has it (current.txt beside the
    definitions); the shared headers leave the file out, so a copy of their
    root gets one with the hashes of those unchanged platform files."""
    if os.path.isfile(os.path.join(headers.hidl_root, 'current.txt')):
        return headers.hidl_root
    root = os.path.join(work, 'android.hidl')
    shutil.rmtree(root, ignore_errors=True)
    os.makedirs(root)
    for entry in os.listdir(headers.hidl_root):
        os.symlink(os.path.join(headers.hidl_root, entry), os.path.join(root, entry))
    run = subprocess.run(['hidl-gen', '-L', 'hash', '-R', '-r', f'android.hidl:{root}', 'android.hidl.base@1.0'],
                         capture_output=True, text=True)
    if run.returncode != 0:
        result.problems.append(f'hidl-gen -L hash android.hidl.base@1.0 failed:\n{run.stderr.strip()}')
    with open(os.path.join(root, 'current.txt'), 'w') as current:
        current.write(run.stdout)
    return root


def generate_glue(headers, out, result):
    """hidl-gen's C++ headers and sources of every package into `out`; the
    generated sources. Files whose content is unchanged keep their time."""
    hidl_root = android_hidl_root(headers, os.path.dirname(out), result)
    roots = ['-r', f'vendor.kel.ims:{TOP}/interfaces/vendor/kel/ims', '-r', f'android.hidl:{hidl_root}']
    fresh = out + '.new'
    shutil.rmtree(fresh, ignore_errors=True)
    requests = [(p, ('c++-headers', 'c++-sources')) for p, _ in hidl_packages()]
    requests += [(p, ('c++-headers',)) for p in PLATFORM_HEADER_PACKAGES]
    for package, languages in requests:
        for language in languages:
            cmd = ['hidl-gen', '-p', TOP, '-o', fresh, '-L', language, '-R'] + roots + [package]
            run = subprocess.run(cmd, capture_output=True, text=True)
            if run.returncode != 0:
                result.problems.append(f'hidl-gen -L {language} {package} failed:\n{run.stderr.strip()}')
    os.makedirs(fresh, exist_ok=True)
    ninja_compile.sync_tree(fresh, out)
    sources = []
    for folder, _, files in os.walk(out):
        sources += [os.path.join(folder, f) for f in files if f.endswith('.cpp')]
    return sorted(sources)


def stage_vendor_exports(stage, result):
    """A folder per vendor library holding exactly what it exports."""
    shutil.rmtree(stage, ignore_errors=True)
    dirs = {}
    for library, exports in VENDOR_EXPORTS.items():
        paths = []
        for export in exports:
            path = os.path.join(TOP, export)
            if os.path.isdir(path):
                paths.append(path)
            elif os.path.isfile(path):
                folder = os.path.join(stage, library)
                os.makedirs(folder, exist_ok=True)
                os.symlink(path, os.path.join(folder, os.path.basename(path)))
                if folder not in paths:
                    paths.append(folder)
            else:
                result.problems.append(f'{library} exports {export}, which does not exist')
        dirs[library] = paths
    return dirs


def check_in_step(modules, result):
    """Android.bp and the tree agree: every named file exists, and every
    source beside a listed source of a library or binary is listed (a new
    file in the service's device folder cannot be forgotten)."""
    for m in modules:
        where = os.path.relpath(os.path.join(m.folder, 'Android.bp'), TOP)
        listed, missing = blueprint.expand_sources(m.folder, m.list('srcs'))
        for pattern in missing:
            result.problems.append(f'{where}: {m.name} lists {pattern}, which names no file')
        for key in ('local_include_dirs', 'export_include_dirs'):
            for d in m.list(key):
                if not os.path.isdir(os.path.join(m.folder, d)):
                    result.problems.append(f'{where}: {m.name} {key} names {d}, which is no folder')
        for key in ('init_rc', 'vintf_fragments'):
            for f in m.list(key):
                if not os.path.isfile(os.path.join(m.folder, f)):
                    result.problems.append(f'{where}: {m.name} {key} names {f}, which does not exist')
        if m.type == 'hidl_interface':
            on_disk = {f for f in os.listdir(m.folder) if f.endswith('.hal')}
            for f in sorted(on_disk - set(m.list('srcs'))):
                result.problems.append(f'{where}: {m.name} does not list {f}')
        if m.type in DEVICE_MODULE_TYPES and m.type != 'cc_test':
            listed = {os.path.abspath(f) for f in listed}
            for folder in sorted({os.path.dirname(f) for f in listed}):
                for f in sorted(os.listdir(folder)):
                    path = os.path.join(folder, f)
                    if f.endswith(SOURCE_SUFFIXES) and path not in listed:
                        result.problems.append(
                            f'{where}: {m.name} does not list {os.path.relpath(path, TOP)}')


def module_flags(m, props, by_name, headers, generated, vendor_dirs):
    """clang's flags for the sources of module `m` on a device."""
    flags = ['-std=' + props.get('cpp_std', 'c++17'), '-D__ANDROID__']
    if props.get('vendor'):
        flags.append('-D__ANDROID_VNDK__')
    flags += props.get('cflags', []) + props.get('cppflags', [])
    own = props.get('local_include_dirs', []) + props.get('export_include_dirs', [])
    flags += ['-I' + os.path.join(m.folder, d) for d in own]
    for lib in props.get('shared_libs', []) + props.get('static_libs', []) + props.get('header_libs', []):
        if lib in by_name:
            dep = by_name[lib]
            flags += ['-I' + os.path.join(dep.folder, d) for d in dep.list('export_include_dirs')]
        for d in vendor_dirs.get(lib, []):
            flags += ['-isystem', d]
    for d in [generated] + headers.include_dirs:
        flags += ['-isystem', d]
    return flags


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    parser.add_argument('--jobs', type=int, default=os.cpu_count() or 1)
    parser.add_argument('--build-dir', default=os.path.join(TOP, 'build-device'),
                        help='where the objects and the generated glue stay between runs')
    parser.add_argument('--verbose', action='store_true', help='print every compiled source')
    args = parser.parse_args()
    started = time.monotonic()

    headers, why = PlatformHeaders.find()
    if headers is None:
        log(f'skipped: {why}')
        return 0
    for tool in ('clang++', 'hidl-gen', 'bpfmt'):
        if shutil.which(tool) is None:
            log(f'failed: {tool} is not installed (scripts/setup.sh installs it)')
            return 1

    result = Result()
    bp_files = []
    for folder, dirs, files in os.walk(TOP):
        dirs[:] = sorted(d for d in dirs if not d.startswith('.') and d not in BUILD_TREES)
        if 'Android.bp' in files:
            bp_files.append(os.path.join(folder, 'Android.bp'))
    for path in bp_files:
        run = subprocess.run(['bpfmt', '-l', path], capture_output=True, text=True)
        if run.returncode != 0 or run.stdout.strip():
            result.problems.append(f'{os.path.relpath(path, TOP)}: bpfmt does not accept it as formatted'
                                   f' (bpfmt -d shows how): {run.stderr.strip()}')
    try:
        modules = blueprint.read_tree(TOP, BUILD_TREES)
    except blueprint.BlueprintError as e:
        log(f'failed: {e}')
        return 1
    by_name = {m.name: m for m in modules}
    check_in_step(modules, result)

    work = os.path.abspath(args.build_dir)
    generated = os.path.join(work, 'generated')
    os.makedirs(generated, exist_ok=True)
    glue_flags = (['-std=c++17', '-D__ANDROID__', '-Wall', '-Wextra', '-Werror', '-isystem', generated] +
                  [f for d in headers.include_dirs for f in ('-isystem', d)] + GLUE_HOST_LIBC_DIFFERENCES)
    jobs = [ninja_compile.Job('generated', 'glue', s, glue_flags)
            for s in generate_glue(headers, generated, result)]
    vendor_dirs = stage_vendor_exports(os.path.join(work, 'vendor'), result)
    for m in modules:
        if m.type not in DEVICE_MODULE_TYPES:
            continue
        props = blueprint.with_defaults(m, by_name)
        flags = module_flags(m, props, by_name, headers, generated, vendor_dirs)
        sources, _ = blueprint.expand_sources(m.folder, props.get('srcs', []))
        jobs += [ninja_compile.Job('device', m.name, s, flags) for s in sources]

    try:
        outcomes = ninja_compile.compile_all(work, jobs, args.jobs)
    except RuntimeError as e:
        log(f'failed: {e}')
        return 1
    recompiled = 0
    for o in outcomes:
        kind, source = o.job.kind, o.job.source
        result.compiled[kind] += 1
        recompiled += o.compiled
        name = os.path.relpath(source, TOP) if source.startswith(TOP) else os.path.relpath(source, work)
        if not o.ok:
            result.failed[kind] += 1
            result.problems.append(f'{name} does not compile for the device:\n{o.output.strip()}')
        elif args.verbose:
            log(f'ok {name}' + ('' if o.compiled else ' (unchanged)'))

    for problem in result.problems:
        print(f'device-build: {problem}', file=sys.stderr)
    failed = result.failed['device'] + result.failed['generated']
    other = len(result.problems) - failed
    log(f'headers from {headers.source}; {recompiled} compiled afresh, the others unchanged;'
        f' {time.monotonic() - started:.0f} s')
    log(f"compiled {result.compiled['device']} device sources and {result.compiled['generated']} generated"
        f" sources: {failed} failed" + (f', {other} other problems' if other else ''))
    return 1 if result.problems else 0


if __name__ == '__main__':
    sys.exit(main())
