"""Golden-file tests of platform/hidl/hostgen/hidl_host_gen.py.

The generator runs on the small packages test.hostgen@1.0 and @1.1 under
interfaces/ (an enum, a struct, a struct nested in an interface, a callback
interface of oneway methods, vec and string arguments, several results, an
interface extending another package's) and its hostwire.h and glue .cpp are
compared with the files in expected/ (stored as NAME.golden: they are expected
text, never compiled).

After a deliberate change of the generated code, rewrite expected/ with
    HIDL_HOST_GEN_UPDATE=1 python3 tests/hidl/hostgen/test_hidl_host_gen.py
and review the diff before committing it. hidl-gen is taken from $HIDL_GEN
(CTest sets it), else from PATH.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE_ROOT = os.path.normpath(os.path.join(HERE, "..", "..", ".."))
GENERATOR = os.path.join(SOURCE_ROOT, "platform", "hidl", "hostgen", "hidl_host_gen.py")
ANDROID_HIDL = os.path.join(SOURCE_ROOT, "interfaces", "android", "hidl")
EXPECTED = os.path.join(HERE, "expected")
UPDATE = os.environ.get("HIDL_HOST_GEN_UPDATE") == "1"

sys.path.insert(0, os.path.dirname(GENERATOR))
import hal_reader  # noqa: E402


def run_generator(interfaces, package, output_dir):
    glue = os.path.join(output_dir, "glue", package.replace(".", "_").replace("@", "_") + ".cpp")
    run = subprocess.run(
        [sys.executable, GENERATOR, "--hidl-gen", os.environ.get("HIDL_GEN", "hidl-gen"),
         "--root", "android.hidl:" + ANDROID_HIDL, "--root", "test.hostgen:" + interfaces,
         "--package", package, "--output-dir", output_dir, "--glue", glue],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    return run, glue


class GoldenTest(unittest.TestCase):
    def test_generated_files_match_expected(self):
        with tempfile.TemporaryDirectory() as out:
            for version in ("1.0", "1.1"):
                package = "test.hostgen@" + version
                run, glue = run_generator(os.path.join(HERE, "interfaces"), package, out)
                self.assertEqual(run.returncode, 0, run.stderr)
                hostwire = os.path.join(out, "test", "hostgen", version, "hostwire.h")
                stem = "test_hostgen_" + version.replace(".", "_")
                for produced, name in ((hostwire, stem + "_hostwire.h"), (glue, stem + ".cpp")):
                    with self.subTest(file=name):
                        self.compare(produced, os.path.join(EXPECTED, name + ".golden"))

    def compare(self, produced, expected):
        with open(produced, encoding="utf-8") as f:
            text = f.read()
        if UPDATE:
            with open(expected, "w", encoding="utf-8") as f:
                f.write(text)
            return
        with open(expected, encoding="utf-8") as f:
            self.maxDiff = None
            self.assertEqual(text, f.read(), "regenerate with HIDL_HOST_GEN_UPDATE=1 if intended")


# (text of 1.0/IStore.hal, what replaces it, the error after "IStore.hal:").
BROKEN_STORE = [
    # An argument without a name.
    ("put(Record record, IListener listener)", "put(Record, IListener listener)",
     "12: cannot read method declaration"),
    # The bad result is on the method's second line: that line is named.
    ("generates (Record record, Mode mode);", "generates (Record record, Mode);",
     "15: cannot read method declaration"),
    ("reset();", "reset(", "18: cannot read method declaration"),
    ("    reset();\n};", "    reset();\n", "5: interface IStore is not closed"),
    ("oneway notify(vec<string> names);", "oneway notify() generates (bool ok);",
     "16: a oneway method cannot have results"),
]


class ErrorTest(unittest.TestCase):
    def setUp(self):
        self.work = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.work)
        self.interfaces = os.path.join(self.work, "interfaces")
        shutil.copytree(os.path.join(HERE, "interfaces"), self.interfaces)
        self.store = os.path.join(self.interfaces, "1.0", "IStore.hal")
        with open(self.store, encoding="utf-8") as f:
            self.original = f.read()

    def generate_with(self, old, new):
        self.assertIn(old, self.original)
        with open(self.store, "w", encoding="utf-8") as f:
            f.write(self.original.replace(old, new, 1))
        return run_generator(self.interfaces, "test.hostgen@1.0", os.path.join(self.work, "out"))

    def test_unreadable_declarations_name_file_and_line(self):
        for old, new, message in BROKEN_STORE:
            with self.subTest(message=message):
                run, glue = self.generate_with(old, new)
                self.assertEqual(run.returncode, 1)
                self.assertEqual(run.stderr.strip(), self.store + ":" + message)
                self.assertFalse(os.path.exists(glue), "nothing is written on an error")

    def test_hidl_gen_failure_fails_the_step(self):
        # Readable to the generator, refused by hidl-gen: an unknown type.
        run, glue = self.generate_with("reset();", "reset(Unknown u);")
        self.assertEqual(run.returncode, 1)
        self.assertIn("hidl-gen: c++-headers test.hostgen@1.0 failed", run.stderr)
        self.assertIn("Unknown", run.stderr)
        self.assertFalse(os.path.exists(glue))


# What hidl-gen accepts but the golden packages do not show: comments holding
# braces and semicolons, annotations with arguments, types declared inside the
# interface, nested templates closing with '>>', arrays, a qualified parent.
TRICKY_HAL = """\
package a.b@2.1; // import x;
import @2.0::IFoo;
@callflow(next={"*"})
interface IFoo extends a.b@2.0::IFoo {
    enum E : int8_t { A = -1, B = 1 << 3, };  /* }; oneway bogus(); */
    typedef vec<vec<int32_t>> Grid;
    @entry @callflow(next={"b"})
    a(vec<vec<uint8_t>> blobs, uint8_t[4] addr,
      IFoo.E e) generates (int32_t n, Grid g);
    oneway b(memory m);
};
"""


class HalReaderTest(unittest.TestCase):
    def test_reads_methods_around_other_declarations(self):
        with tempfile.NamedTemporaryFile("w", suffix=".hal", delete=False) as f:
            f.write(TRICKY_HAL)
        self.addCleanup(os.remove, f.name)
        package, iface = hal_reader.read_hal(f.name)
        self.assertEqual((package, iface.name, iface.extends), ("a.b@2.1", "IFoo", "a.b@2.0::IFoo"))
        a, b = iface.methods
        self.assertEqual([(x.name, x.hal_type) for x in a.args],
                         [("blobs", "vec<vec<uint8_t>>"), ("addr", "uint8_t[4]"), ("e", "IFoo.E")])
        self.assertEqual([x.name for x in a.results], ["n", "g"])
        self.assertEqual((a.oneway, a.line, b.name, b.oneway, b.line), (False, 8, "b", True, 10))


if __name__ == "__main__":
    unittest.main()
