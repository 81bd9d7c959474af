"""qkmt catalogue, driven as a pipeline engineer drives it."""
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from clisupport import QKMT, as_nobody_or_skip, failure_text, printed, real_spelling

DATA = os.path.join(os.environ["QK_TEST_DATA"], "catalogues")
EXAMPLES = os.environ["QK_EXAMPLES"]


def qkmt(*args, cwd=None, env_extra=None, **kwargs):
    env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
    env.update(env_extra or {})
    return subprocess.run([QKMT, *args], cwd=cwd, env=env, capture_output=True, **kwargs)


def with_file(document, file):
    """A catalogue document of tests/data with its "file" member put in front, as qkmt writes it."""
    return b'{"file":' + json.dumps(file).encode() + b"," + document[1:]


class Catalogue(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-")
        self.addCleanup(shutil.rmtree, self.dir)

    def write(self, name, text, mode="w"):
        path = os.path.join(self.dir, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, mode) as f:
            f.write(text)
        return path

    def expect_box(self, result, text):
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertEqual(result.stderr.decode().splitlines().count("[Error] " + text), 1, result.stderr)

    # ---- the bundled example -------------------------------------------------------------------

    def test_default_is_the_bundled_example_and_its_file_is_named(self):
        result = qkmt("catalogue", "--json", cwd=self.dir)
        self.assertEqual(result.returncode, 0, result.stderr)
        # The bundled folder is built into the tool with "/" between its names.
        file = real_spelling(EXAMPLES, self.dir, "/") + "/materials.lua"
        with open(os.path.join(DATA, "example.json"), "rb") as f:
            self.assertEqual(result.stdout, with_file(f.read(), file))
        self.assertEqual(result.stderr.decode(), "qkmt: catalogue %s\n" % file)

    def test_text_output_has_one_block_per_material_in_list_order(self):
        names = [m["name"] for m in json.loads(qkmt("catalogue", "--json").stdout)["materials"]]
        text = qkmt("catalogue", cwd=self.dir).stdout.decode()
        headers = re.findall(r"^(\S+)  \((\d+) of (\d+)\)$", text, re.M)
        self.assertEqual([h[0] for h in headers], names)
        self.assertIn("  opacity          Sum. blending\n", text)
        self.assertIn('  allowed nodes    "Terrain", "Terrain_LOD1", "Terrain_LOD2"\n', text)
        self.assertIn("  allowed objects  Spline, Line\n", text)
        self.assertTrue(text.endswith("\n%d materials.\n" % len(names)))

    # ---- finding the catalogue -----------------------------------------------------------------

    def test_option_then_environment_then_working_directory_then_bundled(self):
        for folder, name in (("cfg", "cfg"), ("env", "env"), (".", "here")):
            self.write(folder + "/materials.lua", "materials = { %s = {} }" % name)

        def found(*args, env=None):
            result = qkmt("catalogue", "--json", *args, cwd=self.dir, env_extra=env)
            self.assertEqual(result.returncode, 0, result.stderr)
            doc = json.loads(result.stdout)
            return doc["materials"][0]["name"], doc["file"]

        self.assertEqual(found("--plugcfg", "cfg", env={"QKMT_PLUGCFG": "env"}), ("cfg", "cfg/materials.lua"))
        cfg = real_spelling(os.path.join(self.dir, "cfg"), self.dir)
        self.assertEqual(found("--plugcfg", os.path.join(self.dir, "cfg")), ("cfg", cfg + "/materials.lua"))
        self.assertEqual(found(env={"QKMT_PLUGCFG": "env"}), ("env", "env/materials.lua"))
        self.assertEqual(found(), ("here", "./materials.lua"))
        os.remove(os.path.join(self.dir, "materials.lua"))
        self.assertEqual(found()[0], "glass")

    def test_a_file_argument_is_loaded_directly(self):
        for path in ("single.lua", os.path.join(DATA, "single.lua")):
            result = qkmt("catalogue", "--json", path, cwd=DATA)
            self.assertEqual(result.returncode, 0, result.stderr)
            with open(os.path.join(DATA, "single.json"), "rb") as f:
                spelling = real_spelling(path, DATA) if path.startswith("/") else path
                self.assertEqual(result.stdout, with_file(f.read(), spelling))

    def test_an_empty_catalogue_succeeds(self):
        self.write("materials.lua", "materials = {}")
        result = qkmt("catalogue", "materials.lua", cwd=self.dir)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout, b"The catalogue has no materials.\n")
        result = qkmt("catalogue", "--json", "materials.lua", cwd=self.dir)
        self.assertEqual(result.stdout, b'{"file":"materials.lua","load_failed":false,"materials":[]}\n')

    # ---- one valid JSON document ---------------------------------------------------------------

    def test_the_scripts_own_output_goes_to_standard_error(self):
        # print is a log line on standard error; io.write without a file writes nothing at all.
        self.write("materials.lua", 'print("printed") io.write("written\\n") materials = { a = {} }')
        for args in (["--json"], [], ["--lint", "--json"]):
            result = qkmt("catalogue", "materials.lua", *args, cwd=self.dir)
            self.assertNotIn(b"printed", result.stdout)
            self.assertEqual(printed(result.stderr, "MaterialsList::loadMaterialsList"), "printed\n")
            self.assertNotIn(b"written", result.stdout + result.stderr)
        json.loads(qkmt("catalogue", "materials.lua", "--json", cwd=self.dir).stdout)

    def test_texts_that_are_not_utf8_stay_valid_json_and_lossless(self):
        self.write("materials.lua", b'materials = { ["B\xe9ton"] = { allowed_nodes = { "ok", "n\xff" } } }', "wb")
        result = qkmt("catalogue", "--json", "materials.lua", cwd=self.dir)
        self.assertEqual(result.returncode, 0, result.stderr)
        material = json.loads(result.stdout.decode("utf-8"))["materials"][0]
        self.assertEqual(material["name"], "B\ufffdton")
        self.assertEqual(bytes.fromhex(material["name_bytes"]), b"B\xe9ton")
        self.assertEqual(material["allowed_nodes"], ["n\ufffd", "ok"])
        self.assertEqual(material["allowed_nodes_bytes"], ["6eff", None])
        self.assertNotIn("shader_name_bytes", material)
        self.assertIn(b"B\\xE9ton  (1 of 1)\n", qkmt("catalogue", "materials.lua", cwd=self.dir).stdout)

    def test_a_failure_carries_the_box_and_the_file(self):
        self.write("run.lua", "error('no')")
        result = qkmt("catalogue", "--json", "run.lua", cwd=self.dir)
        self.assertEqual(json.loads(result.stdout), {
            "file": "run.lua", "load_failed": True, "materials": [],
            "error": "Can't parse file: run.lua. Reason: [string \"run.lua\"]:1: no"})

    # ---- failures ------------------------------------------------------------------------------

    def test_each_failure_shows_its_box_once(self):
        cases = {
            "syntax.lua": ("materials = {", "Can't load file: syntax.lua. Reason: "
                           "[string \"syntax.lua\"]:1: unexpected symbol near '<eof>'"),
            "run.lua": ("error('no')", "Can't parse file: run.lua. Reason: [string \"run.lua\"]:1: no"),
            "none.lua": ("x = 1", "Parsing error in file:none.lua"),
            "entry.lua": ("materials = { a = 1 }", "Can't parse material: a"),
        }
        for name, (script, message) in cases.items():
            self.write(name, script)
            self.expect_box(qkmt("catalogue", name, cwd=self.dir), message)

    def test_missing_directory_and_unreadable_are_told_apart_after_the_box(self):
        os.mkdir(os.path.join(self.dir, "folder"))
        for name, reason in (("absent.lua", failure_text("missing")), ("folder", failure_text("directory"))):
            result = qkmt("catalogue", name, cwd=self.dir)
            self.expect_box(result, "Can't load file: %s. Reason: no file '%s'" % (name, name))
            self.assertIn("\nqkmt: %s: %s\n" % (name, reason), result.stderr.decode())
            doc = json.loads(qkmt("catalogue", name, "--json", cwd=self.dir).stdout)
            self.assertEqual(doc["reason"], reason)
        os.chmod(self.dir, 0o755)
        os.chmod(self.write("secret.lua", "materials = {}"), 0)
        result = qkmt("catalogue", "secret.lua", cwd=self.dir, **as_nobody_or_skip(self))
        self.assertIn("\nqkmt: secret.lua: Permission denied\n", result.stderr.decode())

    def test_the_default_path_failure_names_the_looked_up_file(self):
        os.mkdir(os.path.join(self.dir, "empty"))
        result = qkmt("catalogue", "--plugcfg", "empty", cwd=self.dir)
        self.expect_box(result, "Can't load file: empty/materials.lua. Reason: no file 'empty/materials.lua'")
        self.assertEqual(result.stdout, b"Load failed; 0 materials were read before the failure.\n")

    def test_a_failed_load_still_prints_what_it_read(self):
        result = qkmt("catalogue", "--json", "partial.lua", cwd=DATA)
        self.expect_box(result, "Can't parse material: broken")
        doc = json.loads(result.stdout)
        self.assertTrue(doc["load_failed"])
        names = [m["name"] for m in doc["materials"]]
        self.assertNotIn("broken", names)
        self.assertTrue(set(names) <= {"alpha", "beta", "gamma", "delta", "epsilon"})

    def test_a_texture_lua_cannot_index_ends_in_a_panic(self):
        result = qkmt("catalogue", "panic.lua", cwd=DATA)
        self.assertNotIn(result.returncode, (0, 1, 2))
        self.assertRegex(result.stderr.decode(),
                         r"(?m)^1970-01-01 \d\d:\d\d:\d\d\.\d{3} ALERT   LUA \([^)]+\): "
                         r"Lua panic: attempt to index a number value$")

    # ---- the command line ----------------------------------------------------------------------

    def test_usage_errors_exit_with_2(self):
        for args in ([], ["frobnicate"], ["catalogue", "--bogus"], ["catalogue", ""], ["help", "frobnicate"],
                     ["catalogue", "--plugcfg", "x", "file.lua"], ["catalogue", "a.lua", "b.lua"]):
            result = qkmt(*args, cwd=self.dir)
            self.assertEqual(result.returncode, 2, (args, result.stderr))
            self.assertNotEqual(result.stderr, b"")
        self.assertIn(b"'frobnicate' is not a qkmt command", qkmt("frobnicate").stderr)

    def test_help_and_version_on_every_command(self):
        for args in (["--help"], ["help"], ["catalogue", "--help"], ["help", "catalogue"]):
            result = qkmt(*args)
            self.assertEqual(result.returncode, 0)
            self.assertIn(b"Usage: qkmt", result.stdout)
        self.assertIn(b"--plugcfg", qkmt("help", "catalogue").stdout)
        for args in (["--version"], ["catalogue", "--version"], ["run", "--version"], ["scene", "--version"]):
            result = qkmt(*args)
            self.assertEqual(result.returncode, 0, args)
            self.assertRegex(result.stdout.decode(), r"^qkmt \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    unittest.main()
