"""qkmt catalogue, driven as a pipeline engineer drives it."""
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

QKMT = os.environ["QKMT"]
DATA = os.path.join(os.environ["QK_TEST_DATA"], "catalogues")
EXAMPLES = os.environ["QK_EXAMPLES"]


def qkmt(*args, cwd=None, env_extra=None):
    env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
    env.update(env_extra or {})
    return subprocess.run([QKMT, *args], cwd=cwd, env=env, capture_output=True)


class Catalogue(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-")
        self.addCleanup(shutil.rmtree, self.dir)

    def write(self, name, text):
        path = os.path.join(self.dir, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as f:
            f.write(text)
        return path

    def expect_box(self, result, text):
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertEqual(result.stderr.decode().splitlines().count("[Error] " + text), 1, result.stderr)

    # ---- the bundled example -------------------------------------------------------------------

    def test_default_is_the_bundled_example(self):
        result = qkmt("catalogue", "--json", cwd=self.dir)
        self.assertEqual(result.returncode, 0, result.stderr)
        with open(os.path.join(DATA, "example.json"), "rb") as f:
            self.assertEqual(result.stdout, f.read())
        self.assertEqual(result.stderr, b"")

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

    def test_plugcfg_option_and_environment_name_the_directory(self):
        self.write("cfg/materials.lua", "materials = { from_option = {} }")
        self.write("env/materials.lua", "materials = { from_env = {} }")
        for args, env in ((["--plugcfg", "cfg"], None),
                          (["--plugcfg", os.path.join(self.dir, "cfg")], None),
                          ([], {"QKMT_PLUGCFG": "cfg"})):
            result = qkmt("catalogue", "--json", *args, cwd=self.dir, env_extra=env)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(json.loads(result.stdout)["materials"][0]["name"], "from_option")
            self.write("cfg/materials.lua", "materials = { from_option = {} }")
        result = qkmt("catalogue", "--json", cwd=self.dir, env_extra={"QKMT_PLUGCFG": "env"})
        self.assertEqual(json.loads(result.stdout)["materials"][0]["name"], "from_env")
        result = qkmt("catalogue", "--json", "--plugcfg", "cfg", cwd=self.dir,
                      env_extra={"QKMT_PLUGCFG": "env"})
        self.assertEqual(json.loads(result.stdout)["materials"][0]["name"], "from_option")

    def test_a_file_argument_is_loaded_directly(self):
        for path in ("single.lua", os.path.join(DATA, "single.lua")):
            result = qkmt("catalogue", "--json", path, cwd=DATA)
            self.assertEqual(result.returncode, 0, result.stderr)
            with open(os.path.join(DATA, "single.json"), "rb") as f:
                self.assertEqual(result.stdout, f.read())

    def test_an_empty_catalogue_succeeds(self):
        self.write("materials.lua", "materials = {}")
        result = qkmt("catalogue", "materials.lua", cwd=self.dir)
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stdout, b"The catalogue has no materials.\n")
        result = qkmt("catalogue", "--json", "materials.lua", cwd=self.dir)
        self.assertEqual(result.stdout, b'{"load_failed":false,"materials":[]}\n')

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
        self.expect_box(qkmt("catalogue", "absent.lua", cwd=self.dir),
                        "Can't load file: absent.lua. Reason: no file 'absent.lua'")

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
        for args in ([], ["frobnicate"], ["catalogue", "--bogus"], ["catalogue", ""],
                     ["catalogue", "--plugcfg", "x", "file.lua"], ["catalogue", "a.lua", "b.lua"]):
            result = qkmt(*args, cwd=self.dir)
            self.assertEqual(result.returncode, 2, (args, result.stderr))
            self.assertNotEqual(result.stderr, b"")

    def test_help_and_version(self):
        for args in (["--help"], ["catalogue", "--help"]):
            result = qkmt(*args)
            self.assertEqual(result.returncode, 0)
            self.assertIn(b"Usage:", result.stdout)
        self.assertIn(b"--plugcfg", qkmt("catalogue", "--help").stdout)
        result = qkmt("--version")
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stdout.decode(), r"^qkmt \d+\.\d+\.\d+\n$")


if __name__ == "__main__":
    unittest.main()
