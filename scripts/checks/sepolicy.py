#!/usr/bin/env python3
"""Compiles the device's SELinux policy with sepolicy/ and checks it against the tree.

The platform's policy (public/, private/ and vendor/ of system/sepolicy) and
this repository's sepolicy/ folder are assembled and compiled as a device
build does for a user build of a full-treble device: m4, then checkpolicy,
which fails on any neverallow the policy breaks. Then:

  - file_contexts and hwservice_contexts, the platform's with sepolicy/'s,
    hold valid contexts and no name twice (setfiles -c);
  - every hwservice_contexts type is a hwservice_manager_type;
  - file_contexts labels the path where service/Android.bp installs the
    service binary, and init starts that binary in the service's domain;
  - the init script starts that binary, and every interface its "interface"
    lines and the VINTF fragment name has a hwservice_contexts entry the
    service's domain may add;
  - the init script and the policy agree on the wake-lock route;
  - sepolicy/ makes nothing permissive and hides no denial.

The platform policy comes from $ANDROID_BUILD_TOP/system/sepolicy when set,
else from ../shared/device-sepolicy beside the repository; without either the
check says why and skips. The compiled policy stays in build-sepolicy/.

    scripts/checks/sepolicy.py [--build-dir DIR]
"""

import argparse
import concurrent.futures
import hashlib
import os
import re
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import blueprint  # noqa: E402
from device_build import BUILD_TREES  # noqa: E402

TOP = os.path.abspath(os.path.join(os.path.dirname(__file__), '..', '..'))
POLICY_DIR = os.path.join(TOP, 'sepolicy')
SERVICE_DIR = os.path.join(TOP, 'service')
SERVICE_MODULE = 'vendor.kel.ims.rcsconfig-service'
TOOLS = ('m4', 'checkpolicy', 'setfiles', 'seinfo', 'sesearch')

# The platform build's order of the policy's file kinds; within a kind, the
# folders in order (platform public, private, vendor, then the board's) and
# each folder's files sorted.
POLICY_KINDS = ['security_classes', 'initial_sids', 'access_vectors', 'global_macros', 'neverallow_macros',
                'mls_macros', 'mls_decl', 'mls', 'policy_capabilities', 'te_macros', 'attributes',
                'ioctl_defines', 'ioctl_macros', '*.te', 'roles_decl', 'roles', 'users', 'initial_sid_contexts',
                'fs_use', 'genfs_contexts', 'port_contexts']

# transform-policy-to-conf's switches for a user build of a full-treble
# device, build tests included (their neverallows hold too).
M4_DEFINES = {
    'mls_num_sens': '1', 'mls_num_cats': '1024', 'target_build_variant': 'user',
    'target_with_dexpreopt': 'true', 'target_arch': 'arm64', 'target_with_asan': 'false',
    'target_with_native_coverage': 'false', 'target_full_treble': 'true',
    'target_compatible_property': 'true', 'target_treble_sysprop_neverallow': 'true',
    'target_exclude_build_test': 'false', 'target_requires_insecure_execmem_for_swiftshader': 'false',
}
POLICY_VERSION = '30'


def log(text, err=False):
    print(f'sepolicy: {text}', file=sys.stderr if err else sys.stdout, flush=True)


def platform_policy():
    """(folder holding public/ private/ vendor/, None) or (None, why)."""
    tree = os.environ.get('ANDROID_BUILD_TOP')
    if tree:
        folder = os.path.join(tree, 'system', 'sepolicy')
        source = f'$ANDROID_BUILD_TOP ({folder})'
    else:
        folder = os.path.normpath(os.path.join(TOP, '..', 'shared', 'device-sepolicy'))
        source = folder
    absent = [d for d in ('public', 'private', 'vendor') if not os.path.isdir(os.path.join(folder, d))]
    if absent:
        how = '' if tree else ': set ANDROID_BUILD_TOP or provide it'
        return None, f'no platform policy in {source} (no {absent[0]}/){how}'
    return folder, None


class Checks:
    """Counts what was checked and what failed; prints each failure."""

    def __init__(self):
        self.rules = 0
        self.contexts = 0
        self.failed = 0

    def rule(self, ok, problem):
        self.rules += 1
        self._outcome(ok, problem)

    def context(self, ok, problem):
        self.contexts += 1
        self._outcome(ok, problem)

    def _outcome(self, ok, problem):
        if not ok:
            self.failed += 1
            log(f'FAILED: {problem}', err=True)


def run(args, **kwargs):
    return subprocess.run(args, capture_output=True, text=True, **kwargs)


def policy_sources(platform):
    folders = [os.path.join(platform, d) for d in ('public', 'private', 'vendor')] + [POLICY_DIR]
    files = []
    for kind in POLICY_KINDS:
        for folder in folders:
            if kind == '*.te':
                files += sorted(os.path.join(folder, f) for f in os.listdir(folder) if f.endswith('.te'))
            elif os.path.isfile(os.path.join(folder, kind)):
                files.append(os.path.join(folder, kind))
    return files


def compile_policy(platform, work, checks):
    """The compiled policy's path, or None when it does not compile. Counts
    the neverallow rules checkpolicy enforced and those that failed."""
    m4 = ['m4', '--fatal-warnings'] + [f'-D{k}={v}' for k, v in M4_DEFINES.items()] + ['-s']
    expanded = run(m4 + policy_sources(platform))
    if expanded.returncode != 0:
        checks.rule(False, f'm4 cannot expand the policy:\n{expanded.stderr.strip()}')
        return None
    conf = expanded.stdout
    neverallows = len(re.findall(r'^\s*neverallow\s', conf, re.M))
    policy = os.path.join(work, 'policy')
    stamp = os.path.join(work, 'policy.sha256')
    digest = hashlib.sha256((conf + POLICY_VERSION).encode()).hexdigest()
    if os.path.isfile(policy) and os.path.isfile(stamp) and open(stamp).read() == digest:
        checks.rules += neverallows
        log(f'{neverallows} neverallow rules: the policy is unchanged since it compiled')
        return policy
    with open(os.path.join(work, 'policy.conf'), 'w') as f:
        f.write(conf)
    if os.path.exists(stamp):
        os.remove(stamp)
    compiled = run(['checkpolicy', '-M', '-c', POLICY_VERSION, '-o', policy, os.path.join(work, 'policy.conf')])
    output = (compiled.stdout + compiled.stderr).strip()
    broken = re.search(r'(\d+) neverallow failures occurred', output)
    failures = int(broken.group(1)) if broken else 0
    checks.rules += neverallows - failures
    checks.failed += failures
    if compiled.returncode != 0:
        # m4 -s keeps the sources' file and line in checkpolicy's messages.
        log(f'FAILED: checkpolicy: {failures} of {neverallows} neverallow rules failed'
            f' (policy.conf in {work}):\n{output}', err=True)
        if not failures:
            checks.failed += 1
        return None
    with open(stamp, 'w') as f:
        f.write(digest)
    log(f'{neverallows} neverallow rules: the platform policy plus sepolicy/ compiles, none fails')
    return policy


def context_lines(path):
    """(line number, fields) of the non-blank, non-comment lines."""
    out = []
    with open(path) as f:
        for number, line in enumerate(f, 1):
            line = line.split('#', 1)[0].strip()
            if line:
                out.append((number, line.split()))
    return out


def with_platform(platform, name):
    """The platform's context files called `name`, then sepolicy/'s."""
    files = [os.path.join(platform, d, name) for d in ('private', 'vendor')]
    return [f for f in files if os.path.isfile(f)] + [os.path.join(POLICY_DIR, name)]


def validate_contexts(policy, work, files, name, checks, as_path=None):
    """setfiles -c on the entries of `files` assembled as the device does
    (one count per entry): every context valid, no two contexts for one name.
    `as_path` turns a name that is no path into one setfiles accepts."""
    entries = []
    for path in files:
        for _, fields in context_lines(path):
            entries.append((as_path(fields[0]) if as_path else fields[0], fields[-1]))
    assembled = os.path.join(work, name)
    with open(assembled, 'w') as f:
        f.writelines(f'{key} {context}\n' for key, context in entries)
    result = run(['setfiles', '-c', policy, assembled])
    checks.contexts += len(entries) - 1
    checks.context(result.returncode == 0, f'{name} of the platform and sepolicy/ ({assembled}) does not'
                                           f' validate:\n' + (result.stdout + result.stderr).strip())


def attributes_of(policy, type_name):
    """The attributes of `type_name`, or None when the policy has no such type."""
    result = run(['seinfo', '-x', '-t', type_name, policy])
    found = re.search(r'^\s*type\s+' + re.escape(type_name) + r'\b([^;]*);', result.stdout, re.M)
    if result.returncode != 0 or found is None:
        return None
    return {a.strip() for a in found.group(1).split(',') if a.strip()}


class Access:
    """Whether the policy allows a permission, from sesearch. Each sesearch
    loads the whole policy, so the questions known in advance are asked in
    parallel."""

    def __init__(self, policy):
        self.policy = policy
        self.answers = {}

    def prefetch(self, questions):
        todo = sorted(set(questions) - set(self.answers))
        with concurrent.futures.ThreadPoolExecutor(max_workers=os.cpu_count() or 1) as pool:
            self.answers.update(zip(todo, pool.map(self._ask, todo)))

    def allowed(self, source, target, cls, perm):
        question = (source, target, cls, perm)
        if question not in self.answers:
            self.answers[question] = self._ask(question)
        return self.answers[question]

    def _ask(self, question):
        source, target, cls, perm = question
        result = run(['sesearch', '-A', '-s', source, '-t', target, '-c', cls, '-p', perm, self.policy])
        return result.returncode == 0 and bool(result.stdout.strip())


def init_domain_of(policy, exec_type):
    """The domain init gives a process that executes a file of `exec_type`."""
    result = run(['sesearch', '-T', '-s', 'init', '-t', exec_type, '-c', 'process', policy])
    found = re.search(r'type_transition\s+init\s+' + re.escape(exec_type) + r':process\s+(\S+);', result.stdout)
    return found.group(1) if found else None


def install_path():
    """Where the device build installs the service binary, from service/Android.bp."""
    modules = blueprint.read_file(os.path.join(SERVICE_DIR, 'Android.bp'))
    by_name = {m.name: m for m in blueprint.read_tree(TOP, BUILD_TREES | {'build-sepolicy'})}
    module = next((m for m in modules if m.name == SERVICE_MODULE and m.type == 'cc_binary'), None)
    if module is None:
        return None
    props = blueprint.with_defaults(module, by_name)
    partition = '/vendor' if props.get('vendor') or props.get('proprietary') else '/system'
    folder = os.path.join(partition, 'bin', props.get('relative_install_path', ''))
    return os.path.normpath(os.path.join(folder, props.get('stem', module.name)))


def init_script():
    """(service path, interface descriptors, groups, capabilities) of the .rc."""
    path = os.path.join(SERVICE_DIR, SERVICE_MODULE + '.rc')
    binary, interfaces, groups, capabilities = None, [], [], []
    for _, words in context_lines(path):
        if words[0] == 'service' and len(words) >= 3:
            binary = words[2]
        elif words[0] == 'interface' and len(words) >= 3:
            interfaces.append(words[1])
        elif words[0] == 'group':
            groups += words[1:]
        elif words[0] == 'capabilities':
            capabilities += words[1:]
    return binary, interfaces, groups, capabilities


def vintf_interfaces():
    """package@version::Interface of each interface the VINTF fragment declares
    (an <fqname>, or a <version> with its <interface>s)."""
    with open(os.path.join(SERVICE_DIR, SERVICE_MODULE + '.xml')) as f:
        xml = re.sub(r'<!--.*?-->', '', f.read(), flags=re.S)
    out = []
    for hal in re.findall(r'<hal\b[^>]*>(.*?)</hal>', xml, re.S):
        name = re.search(r'<name>\s*([^<\s]+)\s*</name>', hal)
        for fq in re.findall(r'<fqname>\s*(@[^<\s/]+)/[^<\s]+\s*</fqname>', hal):
            if name:
                out.append(name.group(1) + fq)
        for version in re.findall(r'<version>\s*([^<\s]+)\s*</version>', hal):
            for iface in re.findall(r'<interface>\s*<name>\s*([^<\s]+)\s*</name>', hal):
                out.append(f'{name.group(1)}@{version}::{iface}')
    return out


def without_version(descriptor):
    """vendor.x.y@1.0::IFoo -> vendor.x.y::IFoo, the name hwservice_contexts uses."""
    return re.sub(r'@[0-9.]+::', '::', descriptor)


def check_tree(platform, policy, work, checks):
    # Contexts: the platform's and ours, as the device assembles them.
    validate_contexts(policy, work, with_platform(platform, 'file_contexts'), 'file_contexts', checks)
    validate_contexts(policy, work, with_platform(platform, 'hwservice_contexts'), 'hwservice_contexts', checks,
                      as_path=lambda name: '/hwservice/' + re.escape(name))
    labels = context_lines(os.path.join(POLICY_DIR, 'file_contexts'))
    hwservices = {f[0]: (n, f[-1]) for n, f in context_lines(os.path.join(POLICY_DIR, 'hwservice_contexts'))}
    for name, (n, ctx) in hwservices.items():
        type_name = ctx.split(':')[2]
        attrs = attributes_of(policy, type_name)
        checks.rule(attrs is not None and 'hwservice_manager_type' in attrs,
                    f'sepolicy/hwservice_contexts:{n}: {type_name} is '
                    + ('no type of the policy' if attrs is None else 'not a hwservice_manager_type'))

    # The binary: Android.bp installs it where file_contexts labels it, and
    # init starts it in a domain.
    installed = install_path()
    checks.rule(installed is not None, f'service/Android.bp has no cc_binary {SERVICE_MODULE}')
    if installed is None:
        return
    exec_types = [f[-1].split(':')[2] for _, f in labels if re.fullmatch(f[0], installed)]
    checks.rule(bool(exec_types), f'sepolicy/file_contexts labels no path matching {installed},'
                                  f' where service/Android.bp installs {SERVICE_MODULE}')
    binary, interfaces, groups, capabilities = init_script()
    checks.rule(binary == installed, f'the init script starts {binary}, but the binary is installed as {installed}')
    if not exec_types:
        return
    domain = init_domain_of(policy, exec_types[0])
    checks.rule(domain is not None, f'init does not start {installed} ({exec_types[0]}) in a domain of its own')
    if domain is None:
        return
    permissive = run(['seinfo', '--permissive', policy]).stdout
    checks.rule(re.search(r'\b' + re.escape(domain) + r'\b', permissive) is None, f'{domain} is permissive')

    # Every interface the init script and the VINTF fragment name: a
    # hwservice_contexts entry, which the domain may add and find.
    declared = [('the init script', d) for d in interfaces] + [('the VINTF fragment', d) for d in vintf_interfaces()]
    access = Access(policy)
    access.prefetch([(domain, hwservices[without_version(d)][1].split(':')[2], 'hwservice_manager', perm)
                     for _, d in declared if without_version(d) in hwservices for perm in ('add', 'find')]
                    + [(domain, 'hidl_base_hwservice', 'hwservice_manager', 'add'),
                       (domain, 'system_suspend_hwservice', 'hwservice_manager', 'find'),
                       (domain, 'system_suspend_server', 'binder', 'call'),
                       (domain, 'sysfs_wake_lock', 'file', 'write'),
                       (domain, domain, 'capability2', 'block_suspend'),
                       (domain, 'logdw_socket', 'sock_file', 'write')])
    checks.rule(bool(interfaces), 'the init script has no "interface" line')
    for where, descriptor in declared:
        entry = hwservices.get(without_version(descriptor))
        checks.rule(entry is not None, f'{descriptor} of {where} has no entry in sepolicy/hwservice_contexts')
        if entry is None:
            continue
        type_name = entry[1].split(':')[2]
        for perm in ('add', 'find'):
            checks.rule(access.allowed(domain, type_name, 'hwservice_manager', perm),
                        f'{domain} may not {perm} {type_name} ({descriptor} of {where})')
    # Every registration also carries android.hidl.base::IBase.
    checks.rule(access.allowed(domain, 'hidl_base_hwservice', 'hwservice_manager', 'add'),
                f'{domain} may not add hidl_base_hwservice, which every registration carries')

    # Wake locks through the suspend HAL; the sysfs route exactly when the
    # init script gives its group and capability.
    checks.rule(access.allowed(domain, 'system_suspend_hwservice', 'hwservice_manager', 'find')
                and access.allowed(domain, 'system_suspend_server', 'binder', 'call'),
                f'{domain} may not take a wake lock from the system suspend HAL')
    sysfs = access.allowed(domain, 'sysfs_wake_lock', 'file', 'write')
    checks.rule(sysfs == ('wakelock' in groups),
                f'the init script {"gives" if "wakelock" in groups else "does not give"} the wakelock group,'
                f' but the policy {"lets" if sysfs else "does not let"} {domain} write /sys/power/wake_lock')
    block = access.allowed(domain, domain, 'capability2', 'block_suspend')
    checks.rule(block == ('BLOCK_SUSPEND' in capabilities),
                f'the init script {"gives" if "BLOCK_SUSPEND" in capabilities else "does not give"} BLOCK_SUSPEND,'
                f' but the policy {"allows" if block else "does not allow"} block_suspend')
    checks.rule(access.allowed(domain, 'logdw_socket', 'sock_file', 'write'), f'{domain} may not log')

    # Least privilege in sepolicy/ itself.
    for name in sorted(os.listdir(POLICY_DIR)):
        with open(os.path.join(POLICY_DIR, name)) as f:
            for number, line in enumerate(f, 1):
                statement = line.split('#', 1)[0]
                for word in ('permissive', 'dontaudit', 'dontauditxperm'):
                    if re.match(r'\s*' + word + r'\b', statement):
                        checks.rule(False, f'sepolicy/{name}:{number}: a {word} statement')


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    parser.add_argument('--build-dir', default=os.path.join(TOP, 'build-sepolicy'),
                        help='where the compiled policy stays between runs')
    args = parser.parse_args()

    platform, why = platform_policy()
    if platform is None:
        log(f'skipped: {why}')
        return 0
    missing = [t for t in TOOLS if shutil.which(t) is None]
    if missing:
        log(f'failed: {missing[0]} is not installed (scripts/setup.sh installs it)', err=True)
        return 1
    work = os.path.abspath(args.build_dir)
    os.makedirs(work, exist_ok=True)
    checks = Checks()
    log(f'platform policy from {platform}')
    policy = compile_policy(platform, work, checks)
    if policy is not None:
        check_tree(platform, policy, work, checks)
    log(f'checked {checks.rules} rules and {checks.contexts} contexts: {checks.failed} failed')
    return 1 if checks.failed else 0


if __name__ == '__main__':
    sys.exit(main())
