"""Reads .hal files: the package, its interfaces and their methods.

Only what the host glue needs is understood: interface and method declarations
(with oneway, arguments and results). Type declarations (struct, union, enum,
typedef) are skipped as balanced token runs, since hidl-gen's headers already
give their C++ form. Anything else is an error naming the file and line, so a
construct this reader does not know stops the build instead of producing glue
that silently disagrees with hidl-gen.
"""

import re

from model import GenError, HalArg, HalInterface, HalMethod

_TOKEN = re.compile(r"""
    (?P<space>[ \t\r]+)
  | (?P<newline>\n)
  | (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<word>[A-Za-z_][A-Za-z0-9_]*|[0-9][A-Za-z0-9_.]*)
  | (?P<punct>::|<<|>>|[@.:;,(){}<>\[\]=+\-*/%|&^~!?])
""", re.VERBOSE | re.DOTALL)

_TYPE_KEYWORDS = ("struct", "union", "safe_union", "enum", "typedef")
_IDENT = re.compile(r"^[A-Za-z_][A-Za-z0-9_]*$")
_PACKAGE = re.compile(r"^[A-Za-z_][A-Za-z0-9_.]*@[0-9]+\.[0-9]+$")


def tokenize(path, text):
    """(text, line) pairs; comments and blanks dropped."""
    tokens = []
    line = 1
    pos = 0
    while pos < len(text):
        m = _TOKEN.match(text, pos)
        if not m:
            raise GenError(path, line, "cannot read %r" % text[pos])
        kind = m.lastgroup
        if kind not in ("space", "newline", "comment"):
            tokens.append((m.group(), line))
        line += m.group().count("\n")
        pos = m.end()
    return tokens


class _Cursor:
    def __init__(self, path, tokens):
        self.path = path
        self.tokens = tokens
        self.pos = 0

    def peek(self, ahead=0):
        i = self.pos + ahead
        return self.tokens[i][0] if i < len(self.tokens) else None

    def line(self):
        if self.pos < len(self.tokens):
            return self.tokens[self.pos][1]
        return self.tokens[-1][1] if self.tokens else 1

    def take(self):
        tok = self.peek()
        self.pos += 1
        return tok

    def fail(self, what, line=None):
        raise GenError(self.path, line or self.line(), what)

    def expect(self, text, what, line=None):
        if self.peek() != text:
            self.fail(what, line)
        self.take()

    def skip_annotations(self):
        # @entry, @callflow(next={"a"}): annotations carry nothing the glue uses.
        while self.peek() == "@" and self.peek(1) and _IDENT.match(self.peek(1)):
            self.pos += 2
            if self.peek() == "(":
                self.balanced("(", ")", "cannot read annotation")

    def balanced(self, open_, close, what):
        """Takes tokens from `open_` to its matching `close`; returns the inside."""
        start = self.line()
        self.expect(open_, what)
        depth = 1
        inside = []
        while depth:
            tok = self.take()
            if tok is None:
                self.fail(what, start)
            if tok == open_:
                depth += 1
            elif tok == close:
                depth -= 1
            if depth:
                inside.append((tok, self.tokens[self.pos - 1][1]))
        return inside

    def skip_type_declaration(self):
        start = self.line()
        what = "cannot read type declaration"
        keyword = self.take()
        while self.peek() not in (None, "{", ";"):
            self.take()
        if keyword != "typedef":
            if self.peek() != "{":
                self.fail(what, start)
            self.balanced("{", "}", what)
        self.expect(";", what, start)

    def qualified_name(self, what):
        """pkg@1.0::IFoo, @1.0::IFoo or IFoo, as written."""
        parts = []
        while self.peek() is not None and (
                _IDENT.match(self.peek()) or self.peek() in ("@", ".", "::")
                or (parts and parts[-1] in ("@", ".") and self.peek()[0].isdigit())):
            parts.append(self.take())
        if not parts:
            self.fail(what)
        return "".join(parts)


def _split_params(path, tokens, line, what):
    """`type name, type name` (a token list) into HalArgs."""
    args = []
    if not tokens:
        return args
    current = []
    depth = 0
    for tok, tline in tokens + [(",", line)]:
        if tok in ("<", "[", "("):
            depth += 1
        elif tok in (">", "]", ")"):
            depth -= 1
        elif tok == ">>":
            depth -= 2
        if tok == "," and depth == 0:
            if len(current) < 2 or not _IDENT.match(current[-1][0]):
                raise GenError(path, current[0][1] if current else tline, what)
            args.append(HalArg(current[-1][0], "".join(t for t, _ in current[:-1])))
            current = []
        else:
            current.append((tok, tline))
    return args


def _read_method(cur):
    what = "cannot read method declaration"
    line = cur.line()
    oneway = cur.peek() == "oneway"
    if oneway:
        cur.take()
    name = cur.take()
    if name is None or not _IDENT.match(name) or cur.peek() != "(":
        cur.fail(what, line)
    args = _split_params(cur.path, cur.balanced("(", ")", what), line, what)
    results = []
    if cur.peek() == "generates":
        cur.take()
        if cur.peek() != "(":
            cur.fail(what, line)
        results = _split_params(cur.path, cur.balanced("(", ")", what), line, what)
        if oneway:
            cur.fail("a oneway method cannot have results", line)
    if cur.peek() != ";":
        cur.fail(what, line)
    cur.take()
    return HalMethod(name, oneway, args, results, line)


def _read_interface(cur, package):
    line = cur.line()
    what = "cannot read interface declaration"
    cur.take()  # interface
    name = cur.take()
    if name is None or not _IDENT.match(name):
        cur.fail(what, line)
    extends = None
    if cur.peek() == "extends":
        cur.take()
        extends = cur.qualified_name(what)
    if cur.peek() != "{":
        cur.fail(what, line)
    cur.take()
    methods = []
    while cur.peek() != "}":
        if cur.peek() is None:
            cur.fail("interface %s is not closed" % name, line)
        cur.skip_annotations()
        if cur.peek() in _TYPE_KEYWORDS:
            cur.skip_type_declaration()
        else:
            methods.append(_read_method(cur))
    cur.take()
    cur.expect(";", what)
    return HalInterface(name, package, extends, methods, cur.path, line)


def read_hal(path):
    """The package and the interface (or None for types.hal) of one file."""
    try:
        with open(path, encoding="utf-8") as f:
            text = f.read()
    except OSError as e:
        raise GenError(path, 0, "cannot open: %s" % e.strerror)
    cur = _Cursor(path, tokenize(path, text))
    package = None
    interface = None
    while cur.peek() is not None:
        cur.skip_annotations()
        tok = cur.peek()
        line = cur.line()
        if tok == "package" and package is None:
            cur.take()
            package = cur.qualified_name("cannot read package declaration")
            if not _PACKAGE.match(package):
                cur.fail("cannot read package declaration", line)
            cur.expect(";", "cannot read package declaration", line)
        elif tok == "import":
            while cur.peek() not in (None, ";"):
                cur.take()
            cur.expect(";", "cannot read import", line)
        elif tok in _TYPE_KEYWORDS:
            cur.skip_type_declaration()
        elif tok == "interface" and package is not None and interface is None:
            interface = _read_interface(cur, package)
        else:
            cur.fail("cannot read declaration")
    if package is None:
        raise GenError(path, 1, "no package declaration")
    return package, interface
