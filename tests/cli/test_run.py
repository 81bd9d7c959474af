"""qkmt run: a Lua script drives the whole plug-in through the module "host", as the host would."""
import json
import os
import shutil
import subprocess
import tempfile
import textwrap
import unittest

from clisupport import QKMT, WINDOWS, as_nobody_or_skip, printed, failure_text

CATALOGUE = """
materials = {
  default = { shader_name = "lit", uniforms = { tint = "1" },
              textures = { diffuse = { tex = "Diffuse Color", channel = 0, uniforms = { d = 1 } } } },
  building = { shader_name = "facade", misc = { opacity = "blend", depthBias = true } },
  glass = { misc = { opacity = "sum_blend" }, allowed_nodes = { "Window" }, allowed_objects = { "Mesh" } },
}
"""


class HostScripts(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-run-")
        self.addCleanup(shutil.rmtree, self.dir)
        os.makedirs(os.path.join(self.dir, "cfg"))
        with open(os.path.join(self.dir, "cfg", "materials.lua"), "w") as f:
            f.write(CATALOGUE)

    def qkmt(self, *args, **kwargs):
        env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
        return subprocess.run([QKMT, *args], cwd=self.dir, env=env, capture_output=True, **kwargs)

    def run_script(self, body, *args, options=()):
        script = os.path.join(self.dir, "script.lua")
        with open(script, "w") as f:
            f.write('local host = require "host"\nhost.set_plugcfg("cfg")\n' + textwrap.dedent(body))
        return self.qkmt("run", *options, "script.lua", *args)

    def expect_output(self, body, expected, *args):
        result = self.run_script(body, *args)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(printed(result.stderr), textwrap.dedent(expected))
        return result

    # ---- the command ---------------------------------------------------------------------------

    def test_every_word_after_the_script_is_the_scripts(self):
        self.expect_output('print(arg[0], arg[1], arg[2], arg[3], arg[-1], select("#", ...), ...)',
                           "script.lua\ta\t--b\t--help\trun\t3\ta\t--b\t--help\n", "a", "--b", "--help")
        with open(os.path.join(self.dir, "-odd.lua"), "w") as f:
            f.write("print(arg[-1], arg[0], ...)")
        self.assertEqual(printed(self.qkmt("run", "--", "-odd.lua", "-e").stderr), "--\t-odd.lua\t-e\n")

    def test_code_and_standard_input_run_as_the_stock_interpreter_runs_them(self):
        result = self.qkmt("run", "-e", "x = 1", "-e", "print(x + 1, arg[-2])", "-", "a",
                           input=b"#!/usr/bin/env qkmt\nprint('stdin', x, ...)\nerror('late')\n")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(printed(result.stderr), "2\t-e\nstdin\t1\ta\n")
        self.assertIn(b"qkmt: stdin:3: late\nstack traceback:\n", result.stderr)
        self.assertIn(b"(command line):1:", self.qkmt("run", "-e", "error('x')").stderr)
        for args in ([], ["--strict"], ["-e"], ["--bogus", "script.lua"]):
            self.assertEqual(self.qkmt("run", *args).returncode, 2, args)

    def test_an_uncaught_error_ends_with_a_traceback_and_status_1(self):
        result = self.run_script('local function inner() error("boom") end\ninner()')
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr.decode().splitlines(), [
            'qkmt: [string "script.lua"]:3: boom', "stack traceback:", "\t[C]: in function 'error'",
            '\t[string "script.lua"]:3: in function \'inner\'', '\t[string "script.lua"]:4: in main chunk'])

    def test_missing_directory_and_unreadable_scripts_are_told_apart(self):
        os.mkdir(os.path.join(self.dir, "folder"))
        for name, reason in (("nothing.lua", failure_text("missing")), ("folder", failure_text("directory"))):
            result = self.qkmt("run", name)
            self.assertEqual((result.returncode, result.stderr.decode()), (1, "qkmt: %s: %s\n" % (name, reason)))
        os.chmod(self.dir, 0o755)
        with open(os.path.join(self.dir, "secret.lua"), "w") as f:
            f.write("print(1)")
        os.chmod(os.path.join(self.dir, "secret.lua"), 0)
        result = self.qkmt("run", "secret.lua", **as_nobody_or_skip(self))
        self.assertEqual(result.stderr, b"qkmt: secret.lua: Permission denied\n")

    def test_errors_of_host_functions_carry_the_line_and_the_name(self):
        result = self.run_script("""
            local m = host.material("m")
            for _, call in ipairs({ function() host.SetMaterial(m) end, function() host.scene(5) end,
                                    function() host.panel(m) end, function() host.load("none.qks") end }) do
              print(select(2, pcall(call)))
            end
            """)
        self.assertEqual(printed(result.stderr).splitlines(), [
            '[string "script.lua"]:5: SetMaterial wanted 2, got 1',
            '[string "script.lua"]:5: bad argument #1 to \'scene\' (table expected, got number)',
            '[string "script.lua"]:6: host.panel: m has no material attribute',
            '[string "script.lua"]:6: host.load: none.qks: ' + failure_text("missing")])

    # ---- the script functions ------------------------------------------------------------------

    def test_script_functions_with_their_side_effects_and_count_errors(self):
        self.expect_output("""
            local m = host.material("m")
            print(host.HasMaterialAttrib(m), host.attribs(m))
            print(host.GetOpacity(m), host.attribs(m))          -- reading adds the attribute
            print(host.IsMaterial(m, "glass"), host.describe(m).name)
            print(host.IsMaterial(m, "only_shadow"), host.describe(m).only_shadow_caster)
            print(host.SetOpacity(m, -6) == m, host.GetOpacity(m))
            print(host.SetMaterial(m, "nope") == m, host.describe(m).name)
            print(host.SetUserUniforms(m, "u=1") == m, host.describe(m).user_uniforms)
            print(host.CreateMaterialAttrib(nil), host.GetOpacity(nil), host.RemoveMaterialAttrib(m) == m, host.attribs(m))
            print(pcall(host.IsMaterial, m, "a", "b"))
            print(pcall(host.SetOpacity, m))
            print(select(2, pcall(host.CreateMaterialAttrib, host.texmap("t"))))
            """, """\
            0\t0
            0\t1
            1\tglass
            0\ttrue
            true\t6
            true\tdefault
            true\tu=1
            nil\t0\ttrue\t0
            false\tSetMaterial wanted 2, got 3
            false\tSetOpacity wanted 2, got 1
            can't convert map to material
            """)

    def test_describe_reads_what_an_exporter_reads(self):
        result = self.run_script("""
            local m = host.material("m")
            print(host.describe(m), host.is_node_allowed(m, "Window"))
            host.SetMaterial(m, "glass")
            local d = host.describe(m)
            print(d.name, d.opacity, d.allowed_nodes[1], d.allowed_objects[1], #d.textures, d.shadow_caster)
            print(host.is_node_allowed(m, "Window"), host.is_node_allowed(m, "window"),
                  host.is_object_allowed(m, 0), host.is_object_allowed(m, 1))
            host.SetMaterial(m, "default")
            d = host.describe(m)
            print(d.textures[1].tex, d.textures[1].channel, d.textures[1].uniforms == "d=1\\r\\n", d.default_uniforms == "tint=1\\r\\n")
            """)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(printed(result.stderr).splitlines(), [
            "nil\tnil", "glass\t3\tWindow\t0\t0\ttrue", "true\tfalse\ttrue\tfalse", "Diffuse Color\t0\ttrue\ttrue"])

    # ---- the tool ------------------------------------------------------------------------------

    def test_the_tool_walks_the_scene_one_level_into_multi_materials(self):
        self.expect_output("""
            local a, b, deep = host.material("a"), host.material("b"), host.material("deep")
            local inner = host.multi("inner", { deep })
            local multi = host.multi("multi", { b, false, inner })
            host.scene({ a, false, multi })
            host.tool(1000)
            host.tool(1000)
            print(host.attribs(a), host.attribs(b), host.attribs(inner), host.attribs(deep), host.attribs(multi))
            host.tool(1001)
            print(host.attribs(a), host.attribs(b), host.attribs(inner))
            host.tool_close()
            host.tool_close()
            print(#host.scene(), host.scene()[2])
            """, """\
            1\t1\t1\t0\t0
            0\t0\t0
            3\tfalse
            """)

    # ---- the panel -----------------------------------------------------------------------------

    def test_the_panel_fills_applies_and_refreshes(self):
        self.expect_output("""
            local m = host.material("m")
            host.CreateMaterialAttrib(m)
            local p = host.panel(m)
            local names = p:items(1075)
            local function index(name) for i, n in ipairs(names) do if n == name then return i - 1 end end end
            print(#names, p:selection(1075) == index("default"), p:items(1027)[5], p:text(1073) == "tint=1\\r\\n")
            p:set_text(1010, "typed")
            p:check(1078, true)                           -- takes the typed text too
            print(host.describe(m).user_uniforms, host.describe(m).depth_bias)
            p:select(1027, 4)
            print(host.describe(m).opacity, p:selection(1027))
            p:refresh()
            print(p:selection(1027))
            host.SetOpacity(m, 4)
            p:refresh()
            print(p:selection(1027))                      -- 4 has no entry: unchanged
            p:select(1075, index("building"))
            print(host.describe(m).name, host.describe(m).user_uniforms == "", p:text(1010) == "", p:checked(1078))
            p:set_text(1010, "entered")
            p:enter(1010)
            print(host.describe(m).user_uniforms)
            p:close()
            print(pcall(p.refresh, p))
            """, """\
            3\ttrue\tZ written blending\ttrue
            typed\ttrue
            3\t4
            3
            3
            building\ttrue\ttrue\ttrue
            entered
            false\tpanel:refresh: the panel is closed
            """)

    def test_the_panel_widens_its_wide_controls_to_the_rollup(self):
        self.expect_output("""
            local m = host.material("m")
            host.CreateMaterialAttrib(m)
            local x, y, w, h = host.panel(m):rect(1051)
            local x2, y2, w2, h2 = host.panel(m, 864):rect(1051)
            print(x == x2, y == y2, w2 == 2 * w, h == h2, select(3, host.panel(m, 864):rect(1052)) == select(3, host.panel(m):rect(1052)))
            """, "true\ttrue\ttrue\ttrue\ttrue\n")

    def test_copy_to_picked_materials_and_the_texture_report(self):
        result = self.run_script("""
            local on = host.texmap("bitmap")
            local m = host.material("m", { { name = "diffuse color", map = on } })
            local other, map = host.material("other"), host.texmap("map")
            host.SetMaterial(m, "default")
            local p = host.panel(m)
            p:press(1076)                                  -- not in the scene's list
            host.scene({ m })
            p:press(1076)
            host.pick({ other, map })
            p:press(1000)
            p:press(1000)                                  -- the answer was used: cancelled now
            for _, box in ipairs(host.boxes()) do print(box.title, box.flags, (box.text:gsub("\\r\\n", "|"))) end
            print(#host.boxes(), host.attribs(other), host.attribs(map))
            """)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(printed(result.stderr).splitlines(), [
            "Error!\t16\tInvalid rollaut. Reassign material to geometry!",
            "Texture uniforms\t64\t------ uniforms of 'diffuse' ------|d=1|||=========== UNUSED UNIFORMS ===========|",
            "0\t1\t0"])
        self.assertIn(b"[Error!] Invalid rollaut. Reassign material to geometry!\n", result.stderr)

    # ---- the library and the scene file --------------------------------------------------------

    def test_the_library_answers_its_exports(self):
        self.expect_output("""
            local p = host.plugin()
            print(p.description, p.class_count, string.format("0x%X", p.version), #p.classes)
            for _, c in ipairs(p.classes) do
              print(c.name, c.internal_name, c.category, string.format("0x%X 0x%08X 0x%08X", c.super_class, c.class_id[1], c.class_id[2]), c.public)
            end
            """, """\
            MaterialTool\t2\t0x6D604400\t2
            QKModelTool\tMaterialTool\tQuenka Plugins\t0x1020 0x7408371E 0x63865983\ttrue
            MaterialAttrib\tMaterialAttrib\tQuenka Plugins\t0x1160 0x07CB6596 0x7E112E78\ttrue
            """)

    def test_a_saved_scene_loads_with_its_values_over_the_catalogues(self):
        self.expect_output("""
            local map = host.texmap("bricks")
            local wall = host.material("Wall", { { name = "Diffuse Color", on = false, map = map } })
            local multi = host.multi("Multi", { wall, false })
            host.SetMaterial(wall, "building")
            local p = host.panel(wall)
            p:select(1028, 5)
            p:check(1078, false)
            host.SetOpacity(wall, 262)                     -- after the panel, which reads every control
            host.SetUserUniforms(wall, "k=v")
            host.scene({ multi, false, wall })
            host.save("scene.qks")
            """, "")
        self.expect_output("""
            local list = host.load("scene.qks")
            print(#list, list[1], list[2], list[3], list[1] == host.scene()[1])
            local d = host.describe(list[3])
            print(d.name, d.shader_name, d.opacity, d.decal, d.depth_bias, d.user_uniforms)
            print(host.attribs(list[1]))
            """, """\
            3\tmulti-material: Multi\tfalse\tmaterial: Wall\ttrue
            building\tfacade\t6\t5\tfalse\tk=v
            0
            """)
        shown = subprocess.run([QKMT, "scene", "scene.qks", "--json"], cwd=self.dir, capture_output=True)
        self.assertEqual(shown.returncode, 0, shown.stderr)
        doc = json.loads(shown.stdout)
        wall = [o for o in doc["objects"] if o["name"] == "Wall"][0]
        self.assertEqual(wall["map_slots"], [{"name": "Diffuse Color", "on": False, "map": 0}])
        self.assertEqual(wall["attributes"][0]["material"], {
            "version": 5, "name": "building", "user_uniforms": "k=v", "opacity": 6, "depth_bias": False,
            "shadow_caster": True, "only_shadow_caster": False, "decal": 5})

    def test_host_objects_show_what_a_walk_of_the_scene_needs(self):
        self.expect_output("""
            local inner = host.texmap("inner")
            local bricks = host.texmap("bricks", { inner, false })
            local wall = host.material("Wall", { { name = "Diffuse Color", map = bricks }, { name = "Bump", on = false } })
            local multi = host.multi("Multi", { wall, false })
            local function show(o)
              local slots = {}
              for _, s in ipairs(o.map_slots) do slots[#slots + 1] = s.name .. (s.on and "+" or "-") .. tostring(s.map) end
              local subs = o.sub_materials and #o.sub_materials or "none"
              print(o.kind, o.name, subs, table.concat(slots, " "))
            end
            show(multi) show(wall) show(bricks)
            print(multi.sub_materials[1] == wall, multi.sub_materials[2], wall.map_slots[1].map == bricks)
            """, """\
            multi-material\tMulti\t2\t
            material\tWall\t0\tDiffuse Color+map: bricks Bump-false
            map\tbricks\tnone\tMap 1+map: inner Map 2+false
            true\tfalse\ttrue
            """)

    def test_strict_fails_on_error_boxes_and_cleared_names(self):
        os.makedirs(os.path.join(self.dir, "poorer"))
        with open(os.path.join(self.dir, "poorer", "materials.lua"), "w") as f:
            f.write("materials = { default = {} }")
        self.expect_output("""
            local wall = host.material("Wall")
            host.SetMaterial(wall, "glass")
            host.scene({ wall })
            host.save("scene.qks")
            """, "")
        load = 'host.set_plugcfg("poorer") host.load("scene.qks") print(host.describe(host.scene()[1]).name == "")'
        warning = ('qkmt: warning: scene.qks: material "Wall": "glass" isn\'t in the catalogue, so its material '
                   'name was cleared on load\n')
        plain = self.run_script(load)
        self.assertEqual((plain.returncode, printed(plain.stderr)), (0, "true\n"))
        self.assertIn(warning, plain.stderr.decode())
        strict = self.run_script(load, options=["--strict"])
        self.assertEqual(strict.returncode, 1)
        self.assertIn(warning, strict.stderr.decode())
        self.assertTrue(strict.stderr.decode().endswith(
            "\nqkmt: --strict: the run showed 0 error boxes and 1 warning\n"), strict.stderr)
        boxed = self.run_script('host.set_plugcfg("nowhere") host.CreateMaterialAttrib(host.material("m"))',
                                options=["--strict"])
        self.assertEqual(boxed.returncode, 1)
        self.assertEqual(boxed.stderr.decode().splitlines()[1:], [
            "qkmt: nowhere/materials.lua: " + failure_text("missing folder"),
            "qkmt: --strict: the run showed 1 error box and 0 warnings"])
        self.assertEqual(self.run_script("host.tool(1000)", options=["--strict"]).returncode, 0)

    def test_the_bundled_tour_runs_against_the_bundled_catalogue(self):
        tour = os.path.join(os.environ["QK_EXAMPLES"], "tour.lua")
        env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
        result = subprocess.run([QKMT, "run", tour, "tour.qks"], cwd=self.dir, env=env, capture_output=True)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        # The uniforms end in a line feed, and a log line ends in one line feed.
        self.assertIn("DEBUG   qkmt run (", result.stderr.decode())
        # Under Wine the wrapper turns every CR LF into a line feed, this one too.
        ending = "\n" if WINDOWS else "\r\n"
        self.assertTrue(result.stderr.decode().endswith("): building\tstandard_lit\t3\twetness=0.5" + ending))
        shown = json.loads(subprocess.run([QKMT, "scene", "tour.qks", "--json"], cwd=self.dir, capture_output=True).stdout)
        self.assertEqual([o["name"] for o in shown["objects"]], ["bricks", "Wall", "Floor", "Building"])

    def test_a_broken_scene_is_a_clear_error(self):
        with open(os.path.join(self.dir, "bad.qks"), "wb") as f:
            f.write(b"\x00\x20\x40\x00\x00\x80\x01\x20")
        result = self.run_script('print(pcall(host.load, "bad.qks"))')
        self.assertEqual(printed(result.stderr),
                         "false\thost.load: bad.qks: chunk 0x2000 at offset 0: length 64 runs past the end of the file "
                         "(8 bytes left)\n")


if __name__ == "__main__":
    unittest.main()
