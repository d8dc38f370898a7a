"""Compiles a list of sources through a ninja file of its own, so that a run
compiles again only what changed since the last one: a source whose text,
headers (from the dependency files clang writes) and flags are as they were
keeps its object file. Each object is written only when its compile printed
no warning at all, so a source that failed or warned is compiled again on the
next run and reported again.
"""

import os
import shlex
import shutil
import subprocess


class Job:
    """One source to compile with `flags`; `group` keeps the objects of
    modules that compile the same source with other flags apart."""

    def __init__(self, kind, group, source, flags):
        self.kind = kind
        self.group = group
        self.source = source
        self.flags = flags


class Outcome:
    def __init__(self, job, ok, output, compiled):
        self.job = job
        self.ok = ok
        self.output = output
        self.compiled = compiled  # False: its object was up to date


def _escape_path(path):
    return path.replace('$', '$$').replace(' ', '$ ').replace(':', '$:')


def _object_of(build_dir, job):
    name = job.source.lstrip(os.sep).replace(os.sep, '_') + '.o'
    return os.path.join(build_dir, 'obj', job.group, name)


def sync_tree(fresh, kept):
    """Makes folder `kept` hold what `fresh` holds, writing only the files
    whose content changed (an unchanged generated file keeps its time, so
    what includes it is not compiled again). Removes `fresh`."""
    wanted = set()
    for folder, _, files in os.walk(fresh):
        for f in files:
            rel = os.path.relpath(os.path.join(folder, f), fresh)
            wanted.add(rel)
            src, dst = os.path.join(fresh, rel), os.path.join(kept, rel)
            with open(src, 'rb') as a:
                data = a.read()
            if os.path.isfile(dst):
                with open(dst, 'rb') as b:
                    if b.read() == data:
                        continue
            os.makedirs(os.path.dirname(dst), exist_ok=True)
            with open(dst, 'wb') as b:
                b.write(data)
    for folder, _, files in os.walk(kept):
        for f in files:
            path = os.path.join(folder, f)
            if os.path.relpath(path, kept) not in wanted:
                os.remove(path)
    shutil.rmtree(fresh)


def compile_all(build_dir, jobs, parallel, compiler='clang++'):
    """Runs every job that is out of date, `parallel` at a time; an Outcome
    per job, in order."""
    lines = [
        'ninja_required_version = 1.8',
        f'builddir = {_escape_path(build_dir)}',
        'rule cxx',
        f'  command = rm -f $out && {compiler} -c -x c++ $flags -MD -MF $out.d -MT $out -o $out.tmp $in'
        " 2> $out.log && ! grep -q 'warning:' $out.log && mv $out.tmp $out",
        '  depfile = $out.d',
        '  deps = gcc',
        '  description = $in',
    ]
    objects = []
    for job in jobs:
        obj = _object_of(build_dir, job)
        objects.append(obj)
        os.makedirs(os.path.dirname(obj), exist_ok=True)
        flags = ' '.join(shlex.quote(f) for f in job.flags).replace('$', '$$')
        lines += [f'build {_escape_path(obj)}: cxx {_escape_path(job.source)}', f'  flags = {flags}']
    ninja_file = os.path.join(build_dir, 'build.ninja')
    with open(ninja_file, 'w') as f:
        f.write('\n'.join(lines) + '\n')

    def mtime(path):
        return os.path.getmtime(path) if os.path.isfile(path) else None

    before = [mtime(obj) for obj in objects]
    run = subprocess.run(['ninja', '-f', ninja_file, '-k', '0', '-j', str(max(1, parallel))],
                         capture_output=True, text=True)
    outcomes = []
    for job, obj, was in zip(jobs, objects, before):
        ok = os.path.isfile(obj)
        output = ''
        if os.path.isfile(obj + '.log'):
            with open(obj + '.log', errors='replace') as f:
                output = f.read()
        compiled = not ok or mtime(obj) != was
        outcomes.append(Outcome(job, ok, output, compiled))
    if run.returncode != 0 and all(o.ok for o in outcomes):
        # ninja itself failed (not a compile): say so rather than pass.
        raise RuntimeError(f'ninja failed:\n{run.stdout}{run.stderr}')
    return outcomes
