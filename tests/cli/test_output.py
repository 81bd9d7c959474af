"""What qkmt writes is never lost silently: a scene is replaced whole or not at all, and a write error
on standard output ends every command with a message and a failure status."""
import os
import shutil
import stat
import subprocess
import tempfile
import unittest

from clisupport import (LOG_HEADER, QKMT, WINDOWS, as_given, as_nobody_or_skip, file_size_limit,
                        failure_text, skip_without_file_size_limit)

# A scene of about 100 KB: 400 materials with a map and an attribute each.
BIG_SCENE = """
local host = require "host"
local list = {}
for i = 1, 400 do
  list[i] = host.material("material " .. i, { { name = "Diffuse Color", map = host.texmap("map " .. i) } })
end
host.scene(list)
host.tool(1000)
host.save(arg[1])
"""


class Output(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-out-")
        self.addCleanup(shutil.rmtree, self.dir)
        with open(os.path.join(self.dir, "big.lua"), "w") as f:
            f.write(BIG_SCENE)

    def qkmt(self, *args, **kwargs):
        env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
        return subprocess.run([QKMT, *args], cwd=self.dir, env=env, capture_output=True, **kwargs)

    def save(self, target, **kwargs):
        return self.qkmt("run", "big.lua", target, **kwargs)

    def expect_refusal(self, result, target, reason):
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("host.save: %s: can't be written: %s\n" % (target, reason), result.stderr.decode())

    def folder_listing(self, folder="."):
        return sorted(os.listdir(os.path.join(self.dir, folder)))

    # ---- saving a scene ------------------------------------------------------------------------

    def test_a_save_cut_by_a_file_size_limit_leaves_the_old_scene_whole(self):
        skip_without_file_size_limit(self)
        self.assertEqual(self.save("victim.qks").returncode, 0)
        with open(os.path.join(self.dir, "victim.qks"), "rb") as f:
            before = f.read()
        self.assertGreater(len(before), 40960)
        listing = self.folder_listing()
        self.expect_refusal(self.save("victim.qks", preexec_fn=file_size_limit(40960)), "victim.qks", "File too large")
        with open(os.path.join(self.dir, "victim.qks"), "rb") as f:
            self.assertEqual(f.read(), before)
        self.assertEqual(self.folder_listing(), listing)  # no temporary file left behind
        self.assertEqual(self.qkmt("scene", "victim.qks").returncode, 0)

    def test_a_save_that_cannot_start_names_the_reason(self):
        os.mkdir(os.path.join(self.dir, "folder"))
        self.expect_refusal(self.save("missing/s.qks"), "missing/s.qks", failure_text("missing folder"))
        self.expect_refusal(self.save("folder"), "folder", failure_text("directory"))
        self.assertEqual(self.folder_listing("folder"), [])
        if os.path.exists("/dev/full"):
            self.expect_refusal(self.save("/dev/full"), as_given("/dev/full"), failure_text("full"))
        self.assertEqual(self.save("/dev/null").returncode, 0)  # a device is written in place
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))

    def test_a_replaced_scene_keeps_its_mode_and_its_link(self):
        if WINDOWS:
            self.skipTest("Windows: no Unix file modes, and a host's symbolic link is no link "
                          "the system's replace call follows")
        self.assertEqual(self.save("real.qks").returncode, 0)
        os.chmod(os.path.join(self.dir, "real.qks"), 0o640)
        os.symlink("real.qks", os.path.join(self.dir, "link.qks"))
        self.assertEqual(self.save("link.qks").returncode, 0)
        self.assertTrue(os.path.islink(os.path.join(self.dir, "link.qks")))
        self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.dir, "real.qks")).st_mode), 0o640)

    def test_a_folder_without_write_permission_refuses_and_keeps_the_old_file(self):
        os.mkdir(os.path.join(self.dir, "locked"))
        self.assertEqual(self.save("locked/s.qks").returncode, 0)
        os.chmod(self.dir, 0o755)
        os.chmod(os.path.join(self.dir, "locked"), 0o755)
        os.chmod(os.path.join(self.dir, "big.lua"), 0o644)
        self.expect_refusal(self.save("locked/s.qks", **as_nobody_or_skip(self)), "locked/s.qks", "Permission denied")
        self.assertEqual(self.folder_listing("locked"), ["s.qks"])

    # ---- standard output -----------------------------------------------------------------------

    def test_a_write_error_on_standard_output_fails_every_command(self):
        if WINDOWS or not os.path.exists("/dev/full"):
            self.skipTest("no /dev/full here (under Wine the wrapper holds the program's output)")
        self.assertEqual(self.save("s.qks").returncode, 0)
        for args in (["catalogue"], ["catalogue", "--json"], ["catalogue", "--lint"], ["scene", "s.qks"],
                     ["scene", "s.qks", "--json"], ["scene", "s.qks", "--chunks"],
                     ["help"], ["--version"]):
            with open("/dev/full", "wb") as full:
                result = subprocess.run([QKMT, *args], cwd=self.dir, stdout=full, stderr=subprocess.PIPE)
            self.assertNotEqual(result.returncode, 0, args)
            self.assertIn(b"qkmt: standard output can't be written: No space left on device\n", result.stderr, args)

    def test_a_joined_stream_keeps_the_order_of_output_and_boxes(self):
        script = ('print("before") local host = require "host" host.set_plugcfg("nowhere") '
                  'host.CreateMaterialAttrib(host.material("m")) print("after")')
        result = subprocess.run([QKMT, "run", "-e", script], cwd=self.dir, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)
        self.assertEqual(LOG_HEADER.sub("", result.stdout.decode()).splitlines(), [
            "before", "[Error] Can't load file: nowhere/materials.lua. Reason: no file 'nowhere/materials.lua'",
            "qkmt: nowhere/materials.lua: " + failure_text("missing folder"), "after"])


if __name__ == "__main__":
    unittest.main()
