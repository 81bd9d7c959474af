"""qkmt catalogue --lint: every silent surprise of a catalogue, found without running into it."""
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from clisupport import QKMT, failure_text

DATA = os.path.join(os.environ["QK_TEST_DATA"], "catalogues")

# Every finding of tests/data/catalogues/mistakes.lua, a catalogue with every kind of mistake.
MISTAKES = [
    ("rock.decal", "unknown-field"), ("rock.opacity", "unknown-field"), ("rock.textrues", "unknown-field"),
    ("rock.shader_name", "wrong-type"),
    ("rock.uniforms.long", "line-cut"), ("rock.uniforms[1]", "key-not-text"), ("rock.uniforms[1]", "line-cut"),
    ('rock.uniforms["a.b"]', "dotted-key"), ('rock.uniforms["a.b"]', "line-cut"),
    ("rock.uniforms.wet", "value-not-text"), ("rock.uniforms.wet", "line-cut"),
    ("rock.textures.glow.channel", "channel-cut"), ("rock.textures.glow.uniforms", "wrong-type"),
    ("rock.textures.glow.texx", "unknown-field"), ("rock.textures.bump", "texture-dropped"),
    ("rock.textures.broken", "lua-panic"), ("rock.textures.fn", "lua-panic"),
    ("rock.textures.text", "texture-dropped"), ("rock.textures.detail", "texture-dropped"),
    ("rock.misc.shader_name", "unknown-field"), ("rock.misc.opactiy", "unknown-field"),
    ("rock.misc.depthBias", "wrong-type"), ("rock.misc.opacity", "unknown-word"),
    ("rock.allowed_nodes.x", "list-cut"), ("rock.allowed_nodes[2]", "list-cut"),
    ("rock.allowed_objects[1]", "unknown-word"), ("rock.allowed_objects[2]", "unknown-word"),
    ('rock.default_user_defines["C.d"]', "dotted-key"), ("rock.default_user_defines.B", "value-not-text"),
    ("stop", "not-a-table"), ("metal", "retired-name"),
    ('["\U0001F600smile"]', "beyond-bmp"), ('["B\ufffdton"]', "not-utf8"),
    ("zero.shader_name", "text-cut"), ("zero.uniforms[false]", "key-not-text"),
    ('panicky.uniforms["a.b"]', "lua-panic"), ('panicky.textures.t.uniforms["u.v"]', "lua-panic"),
    ("panicky.default_user_defines.q", "value-not-text"), ('panicky.default_user_defines["q.r"]', "lua-panic"),
]


def lint(*args, cwd=DATA):
    return subprocess.run([QKMT, "catalogue", "--lint", *args], cwd=cwd, capture_output=True)


def lint_json(*args, cwd=DATA):
    result = lint("--json", *args, cwd=cwd)
    return result, json.loads(result.stdout.decode("utf-8"))


class Lint(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-lint-")
        self.addCleanup(shutil.rmtree, self.dir)

    def lint_text(self, script):
        path = os.path.join(self.dir, "materials.lua")
        with open(path, "w") as f:
            f.write(script)
        return lint_json(path, cwd=self.dir)

    def test_every_kind_of_mistake_is_found_without_dying(self):
        result, doc = lint_json("mistakes.lua")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertEqual(doc["file"], "mistakes.lua")
        found = [(w["path"], w["code"]) for w in doc["warnings"]]
        self.assertEqual(sorted(found), sorted(MISTAKES))
        fatal = {w["path"] for w in doc["warnings"] if w["fatal"]}
        self.assertEqual(fatal, {p for p, c in MISTAKES if c in ("lua-panic", "not-a-table")})
        by_path = {w["path"]: w for w in doc["warnings"]}
        self.assertEqual(by_path["rock.textrues"]["suggestion"], "textures")
        self.assertEqual(by_path["rock.misc.opactiy"]["suggestion"], "opacity")
        self.assertEqual(by_path["rock.allowed_objects[1]"]["suggestion"], "Mesh")
        self.assertEqual(by_path["rock.opacity"]["suggestion"], "misc.opacity")
        self.assertNotIn("suggestion", by_path["rock.allowed_objects[2]"])
        self.assertIn("attempt to index a number value", by_path["rock.textures.broken"]["message"])
        self.assertIn("attempt to index a function value", by_path["rock.textures.fn"]["message"])
        self.assertIn('"Can\'t parse material: stop"', by_path["stop"]["message"])

    def test_text_lines_name_the_path_and_count_the_findings(self):
        result = lint("mistakes.lua")
        lines = result.stdout.decode().splitlines()
        self.assertIn('rock.textrues: unknown field: ignored; did you mean "textures"?', lines)
        self.assertTrue(any(l.startswith("rock.textures.broken: error: ") for l in lines))
        self.assertEqual(lines[-1], "%d findings, 6 of them stop the load or the host." % len(MISTAKES))
        self.assertEqual(result.stderr.decode(), "qkmt: catalogue mistakes.lua\n")

    def test_a_clean_catalogue_exits_0_and_the_panic_catalogue_1(self):
        _, doc = self.lint_text('materials = { default = { shader_name = "lit", misc = { opacity = "blend" } } }')
        self.assertEqual(doc["warnings"], [])
        result = lint(os.path.join(self.dir, "materials.lua"), cwd=self.dir)
        self.assertEqual((result.returncode, result.stdout), (0, b"No findings.\n"))
        result, doc = lint_json("panic.lua")
        self.assertEqual(result.returncode, 1)
        self.assertEqual([(w["path"], w["code"]) for w in doc["warnings"]],
                         [("m.textures.a", "lua-panic"), ("materials", "no-default")])

    def test_catalogue_wide_mistakes(self):
        cases = {
            "materials = { { shader_name = 'x' } }": "array-catalogue",
            "materials = {}": "empty-catalogue",
            "materials = { rock = {} }": "no-default",
            "x = 1": "load-failed",
            "materials = {": "load-failed",
            "error('no')": "load-failed",
            "setmetatable(_G, { __index = function() error('strict') end })": "lua-panic",
        }
        for script, code in cases.items():
            result, doc = self.lint_text(script)
            self.assertEqual(result.returncode, 1, script)
            self.assertEqual([w["code"] for w in doc["warnings"]], [code], script)
        _, doc = self.lint_text("error('no')")
        self.assertIn("Can't parse file: ", doc["warnings"][0]["message"])
        _, doc = lint_json("absent.lua")
        self.assertIn("the file can't be opened: " + failure_text("missing"), doc["warnings"][0]["message"])

    def test_the_checkers_account_matches_what_the_loader_makes(self):
        """For entries the loader reads in a way of its own, the line or define the checker says the
        host gets is the one the loader gives."""
        _, doc = lint_json("quirks.lua")
        loaded = json.loads(subprocess.run([QKMT, "catalogue", "--json", "quirks.lua"], cwd=DATA,
                                           capture_output=True).stdout)["materials"][0]
        blocks = loaded["default_uniforms"] + loaded["textures"][0]["uniforms"]
        lines = [m.group(1) for w in doc["warnings"] for m in [re.search(r'the line reads "(.*)"$', w["message"])] if m]
        self.assertEqual(len(lines), 5)
        for line in lines:
            self.assertIn(line + "\r\n", blocks)
        self.assertEqual(loaded["default_user_defines"], 'A = "1";')
        self.assertEqual(sorted(w["path"] for w in doc["warnings"] if "define is left out" in w["message"]),
                         ["default.default_user_defines.B", "default.default_user_defines[2]"])
        self.assertEqual(loaded["textures"][0]["channel"], 2)


if __name__ == "__main__":
    unittest.main()
