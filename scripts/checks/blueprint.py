"""Reads Android.bp files: the subset of the Blueprint language the tree uses.

A file is a list of modules (`type { name: value, ... }`) and variable
assignments (`name = value`); values are strings, booleans, integers, lists,
maps and `+` concatenations of them. Comments are `//` and `/* */`. bpfmt
checks the syntax in full; this reader only needs the values.
"""

import glob
import os
import re


class BlueprintError(Exception):
    pass


_TOKEN = re.compile(
    r'\s+|//[^\n]*|/\*.*?\*/'          # blanks and comments
    r'|("(?:[^"\\]|\\.)*")'             # string
    r'|(-?\d+)'                          # integer
    r'|([A-Za-z_][A-Za-z0-9_.]*)'       # identifier
    r'|([{}\[\]:,=+()])',                # punctuation
    re.S)


def _tokens(text, path):
    pos = 0
    out = []
    while pos < len(text):
        m = _TOKEN.match(text, pos)
        if m is None:
            line = text.count('\n', 0, pos) + 1
            raise BlueprintError(f'{path}:{line}: cannot read {text[pos:pos + 20]!r}')
        if m.group(1) is not None:
            out.append(('str', bytes(m.group(1)[1:-1], 'utf-8').decode('unicode_escape')))
        elif m.group(2) is not None:
            out.append(('int', int(m.group(2))))
        elif m.group(3) is not None:
            out.append(('id', m.group(3)))
        elif m.group(4) is not None:
            out.append(('punct', m.group(4)))
        pos = m.end()
    return out


class _Parser:
    def __init__(self, tokens, path):
        self.t = tokens
        self.i = 0
        self.path = path
        self.variables = {}

    def peek(self):
        return self.t[self.i] if self.i < len(self.t) else ('end', None)

    def take(self, kind=None, value=None):
        tok = self.peek()
        if (kind and tok[0] != kind) or (value is not None and tok[1] != value):
            raise BlueprintError(f'{self.path}: expected {value or kind}, found {tok[1]!r}')
        self.i += 1
        return tok

    def value(self):
        v = self.single()
        while self.peek() == ('punct', '+'):
            self.take()
            v = v + self.single()
        return v

    def single(self):
        kind, v = self.peek()
        if kind in ('str', 'int'):
            self.take()
            return v
        if kind == 'id':
            self.take()
            if v in ('true', 'false'):
                return v == 'true'
            if v not in self.variables:
                raise BlueprintError(f'{self.path}: unknown variable {v}')
            return self.variables[v]
        if (kind, v) == ('punct', '['):
            self.take()
            items = []
            while self.peek() != ('punct', ']'):
                items.append(self.value())
                if self.peek() == ('punct', ','):
                    self.take()
            self.take('punct', ']')
            return items
        if (kind, v) == ('punct', '{'):
            return self.map()
        raise BlueprintError(f'{self.path}: unexpected {v!r}')

    def map(self):
        self.take('punct', '{')
        out = {}
        while self.peek() != ('punct', '}'):
            key = self.take('id')[1]
            self.take('punct', ':')
            out[key] = self.value()
            if self.peek() == ('punct', ','):
                self.take()
        self.take('punct', '}')
        return out

    def file(self):
        modules = []
        while self.peek()[0] != 'end':
            name = self.take('id')[1]
            if self.peek() == ('punct', '='):
                self.take()
                self.variables[name] = self.value()
            else:
                props = self.map()
                modules.append(Module(name, props, os.path.dirname(self.path)))
        return modules


class Module:
    """One module of an Android.bp file; `folder` is the file's folder."""

    def __init__(self, type_, props, folder):
        self.type = type_
        self.props = props
        self.folder = folder

    @property
    def name(self):
        return self.props.get('name', '')

    def list(self, key):
        return list(self.props.get(key, []))


def read_file(path):
    with open(path, encoding='utf-8') as f:
        return _Parser(_tokens(f.read(), path), path).file()


def read_tree(top, skip=()):
    """Every module of every Android.bp under `top`, except in folders named
    in `skip` (build trees)."""
    modules = []
    for folder, dirs, files in os.walk(top):
        dirs[:] = sorted(d for d in dirs if not d.startswith('.') and d not in skip)
        if 'Android.bp' in files:
            modules.extend(read_file(os.path.join(folder, 'Android.bp')))
    return modules


def with_defaults(module, by_name):
    """The module's properties merged with those of its `defaults` (lists are
    appended, as Soong does; the module's own scalars win)."""
    merged = {}
    for name in module.list('defaults'):
        if name not in by_name:
            raise BlueprintError(f'{module.folder}/Android.bp: {module.name} names unknown defaults {name}')
        for key, value in with_defaults(by_name[name], by_name).items():
            merged[key] = merged.get(key, []) + value if isinstance(value, list) else value
    for key, value in module.props.items():
        if key == 'defaults':
            continue
        merged[key] = merged.get(key, []) + value if isinstance(value, list) else value
    return merged


def expand_sources(folder, patterns):
    """The files the `srcs` patterns name, relative to `folder`, and the
    patterns that name nothing."""
    files, missing = [], []
    for pattern in patterns:
        if any(c in pattern for c in '*?['):
            found = sorted(glob.glob(os.path.join(folder, pattern), recursive='**' in pattern))
        else:
            path = os.path.join(folder, pattern)
            found = [path] if os.path.isfile(path) else []
        if not found:
            missing.append(pattern)
        files.extend(found)
    return files, missing
