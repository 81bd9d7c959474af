"""qkmt ls, stat, cat and --mount: the virtual file system as a pipeline user meets it."""
import json
import os
import shutil
import subprocess
import tempfile
import unittest

from clisupport import QKMT, WINDOWS, failure_text, printed


class Vfs(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-vfs-")
        self.addCleanup(shutil.rmtree, self.dir)
        self.put("Data/Textures/Rock.dds", b"rock")
        self.put("Data/Textures/grass.dds", b"grass")
        self.put("Data/.metadata.json", json.dumps({"Data/Textures/Rock.dds": {
            "lod": {"type": "int", "value": 2}, "gloss": {"type": "float", "value": 0.5},
            "kind": {"type": "string", "value": "stone"}}}).encode())
        self.put("patches/p1/textures/rock.dds", b"patched")

    def put(self, name, data):
        path = os.path.join(self.dir, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)

    def qkmt(self, *args):
        return subprocess.run([QKMT, *args], cwd=self.dir, capture_output=True)

    def test_ls_lists_directories_then_files_with_their_types(self):
        r = self.qkmt("ls", "--mount", "Data:/", "/")
        self.assertEqual((r.returncode, r.stdout), (0, b"dir   Textures\n"))
        r = self.qkmt("ls", "--mount", "Data:/", "--json", "/TEXTURES")
        self.assertEqual(json.loads(r.stdout), {"path": "/TEXTURES", "entries": [
            {"name": "grass.dds", "type": "file"}, {"name": "rock.dds", "type": "file"}]})

    def test_later_mounts_win_unless_appended(self):
        r = self.qkmt("cat", "--mount", "Data:/", "--mount", "patches/p1:/", "/textures/rock.dds")
        self.assertEqual((r.returncode, r.stdout), (0, b"patched"))
        r = self.qkmt("cat", "--mount", "Data:/", "--mount", "patches/p1:/:append", "/textures/rock.dds")
        self.assertEqual(r.stdout, b"rock")

    def test_stat_tells_size_sources_copies_and_metadata(self):
        r = self.qkmt("stat", "--mount", "patches/p1:/", "--mount", "Data:/", "--json", "/textures/rock.dds")
        self.assertEqual(r.returncode, 0, r.stderr)
        report = json.loads(r.stdout)
        self.assertEqual(report["type"], "file")
        self.assertEqual(report["size"], 4)
        self.assertEqual(report["source"], "Data")
        self.assertEqual(report["copies"], ["Data", "patches/p1"])
        self.assertEqual(report["metadata"], {"gloss": {"type": "float", "value": 0.5},
                                              "kind": {"type": "string", "value": "stone"},
                                              "lod": {"type": "int", "value": 2}})
        text = self.qkmt("stat", "--mount", "Data:/", "/textures/rock.dds").stdout.decode()
        self.assertIn("copies: 1\n  Data\n", text)
        self.assertIn("metadata:\n  gloss = 0.5 (float)\n  kind = \"stone\" (string)\n  lod = 2 (int)\n", text)
        r = self.qkmt("stat", "--mount", "Data:/", "--json", "/textures")
        self.assertEqual(json.loads(r.stdout), {"path": "/textures", "type": "dir"})

    def test_the_folder_is_opened_by_the_users_spelling(self):
        r = self.qkmt("cat", "--mount", "Data/Textures:/t", "/T/ROCK.DDS")
        self.assertEqual((r.returncode, r.stdout), (0, b"rock"))

    def test_an_absolute_source_keeps_its_drive(self):
        # On Windows the wrapper hands the host path over as "Z:\\...": the drive's colon is the
        # source's, and the mount point begins at the colon a "/" follows.
        data = os.path.join(self.dir, "Data")
        r = self.qkmt("cat", "--mount", data + ":/d", "/d/textures/rock.dds")
        self.assertEqual((r.returncode, r.stdout), (0, b"rock"))
        r = self.qkmt("ls", "--mount", data, "/")
        self.assertEqual(r.returncode, 2)
        self.assertIn(b": expected SOURCE:MOUNTPOINT\n", r.stderr)
        # "Z:/..." is a drive on Windows only; on Linux the first ":/" begins the mount point.
        r = self.qkmt("cat", "--mount", "Z:" + data + ":/d", "/d/textures/rock.dds")
        if WINDOWS:
            self.assertEqual((r.returncode, r.stdout), (0, b"rock"))
        else:
            self.assertEqual(r.returncode, 2)
            self.assertIn(b'unknown option "/d"', r.stderr)

    def test_mount_messages_are_the_managers_and_debug_needs_verbose(self):
        r = self.qkmt("ls", "--mount", "Data:/", "/")
        self.assertNotIn(b"Mounted:", r.stderr)
        for args in (("-v", "ls", "--mount", "Data:/", "/"), ("ls", "--mount", "Data:/", "--verbose", "/")):
            r = self.qkmt(*args)
            self.assertRegex(r.stderr, rb"DEBUG   QKCORESTATIC \(\d+\): Mounted: Data into: / with tag: \n")
        r = self.qkmt("ls", "--mount", "missing:/", "/")
        self.assertEqual(r.returncode, 1)
        self.assertRegex(r.stderr, rb"ERROR   QKCORESTATIC \(\d+\): No suitable driver found to mount missing\n")
        self.assertTrue(r.stderr.endswith(("qkmt: --mount missing:/: can't be mounted: %s\n"
                                           % failure_text("missing")).encode()), r.stderr)
        r = self.qkmt("ls", "--mount", "Data:textures", "/")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"Invalid mount point textures.", r.stderr)

    def test_bad_paths_and_options_are_refused_clearly(self):
        cases = [
            (("ls", "--mount", "Data", "/"), 2, b"qkmt: --mount Data: expected SOURCE:MOUNTPOINT\n"),
            (("ls", "--mount", "Data:/:sometimes", "/"), 2, b"unknown option \"sometimes\""),
            (("stat", "--mount", "Data:/", "textures"), 2, b"not a virtual path"),
            (("stat", "--mount", "Data:/", "/nothing"), 1, b"qkmt: /nothing: no such file or directory\n"),
            (("ls", "--mount", "Data:/", "/textures/rock.dds"), 1, b"not a directory"),
            (("cat", "--mount", "Data:/", "/textures"), 1, b"qkmt: /textures: is a directory\n"),
            (("cat", "--mount", "Data:/", "/none.dds"), 1, b"Can't open file: /none.dds\n"),
        ]
        for args, status, message in cases:
            r = self.qkmt(*args)
            self.assertEqual(r.returncode, status, args)
            self.assertIn(message, r.stderr, args)
            self.assertEqual(r.stdout, b"", args)

    def test_cat_into_a_full_device_fails(self):
        if WINDOWS or not os.path.exists("/dev/full"):
            self.skipTest("no /dev/full here (under Wine the wrapper holds the program's output)")
        with open("/dev/full", "wb") as full:
            r = subprocess.run([QKMT, "cat", "--mount", "Data:/", "/textures/rock.dds"], cwd=self.dir, stdout=full,
                               stderr=subprocess.PIPE)
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"qkmt: standard output can't be written: No space left on device", r.stderr)

    def test_run_reads_virtual_paths_through_the_mounts(self):
        self.put("scripts/lib/util.lua", b"return { twice = function(x) return 2 * x end }")
        self.put("main.lua", b"package.path = '/s/?.lua'\n"
                             b"local util = require 'lib.util'\n"
                             b"print(util.twice(21), dofile('/s/lib/util.lua').twice(1))\n")
        r = self.qkmt("run", "--mount", "scripts:/s", "main.lua")
        self.assertEqual((r.returncode, printed(r.stderr)), (0, "42\t2\n"), r.stderr)


if __name__ == "__main__":
    unittest.main()
