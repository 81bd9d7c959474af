"""qkmt run: a Lua script drives the whole plug-in through the module "host", as the host would."""
import json
import os
import shutil
import subprocess
import tempfile
import textwrap
import unittest

QKMT = os.environ["QKMT"]

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

    def run_script(self, body, *args):
        script = os.path.join(self.dir, "script.lua")
        with open(script, "w") as f:
            f.write('local host = require "host"\nhost.set_plugcfg("cfg")\n' + textwrap.dedent(body))
        env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
        return subprocess.run([QKMT, "run", "script.lua", *args], cwd=self.dir, env=env, capture_output=True)

    def expect_output(self, body, expected, *args):
        result = self.run_script(body, *args)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(result.stdout.decode(), textwrap.dedent(expected))
        return result

    # ---- the command ---------------------------------------------------------------------------

    def test_arguments_reach_arg_and_the_chunk(self):
        self.expect_output('print(arg[0], arg[1], arg[2], arg[-1], select("#", ...), ...)',
                           "script.lua\ta\t--b\trun\t2\ta\t--b\n", "a", "--b")

    def test_an_error_ends_with_its_message_and_status_1(self):
        result = self.run_script('error("boom")')
        self.assertEqual(result.returncode, 1)
        self.assertIn(b'script.lua"]:3: boom\n', result.stderr)
        missing = subprocess.run([QKMT, "run", "nothing.lua"], cwd=self.dir, capture_output=True)
        self.assertEqual(missing.returncode, 1)
        self.assertIn(b"no file 'nothing.lua'", missing.stderr)

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
        self.assertEqual(result.stdout.decode().splitlines(), [
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
            false\tthe panel is closed
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
        self.assertEqual(result.stdout.decode().splitlines(), [
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

    def test_the_bundled_tour_runs_against_the_bundled_catalogue(self):
        tour = os.path.join(os.environ["QK_EXAMPLES"], "tour.lua")
        env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
        result = subprocess.run([QKMT, "run", tour, "tour.qks"], cwd=self.dir, env=env, capture_output=True)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        self.assertEqual(result.stdout.decode(), "building\tstandard_lit\t3\twetness=0.5\r\n\n")
        shown = json.loads(subprocess.run([QKMT, "scene", "tour.qks", "--json"], cwd=self.dir, capture_output=True).stdout)
        self.assertEqual([o["name"] for o in shown["objects"]], ["bricks", "Wall", "Floor", "Building"])

    def test_a_broken_scene_is_a_clear_error(self):
        with open(os.path.join(self.dir, "bad.qks"), "wb") as f:
            f.write(b"\x00\x20\x40\x00\x00\x80\x01\x20")
        result = self.run_script('print(pcall(host.load, "bad.qks"))')
        self.assertEqual(result.stdout.decode(),
                         "false\tbad.qks: chunk 0x2000 at offset 0: length 64 runs past the end of the file (8 bytes left)\n")


if __name__ == "__main__":
    unittest.main()
