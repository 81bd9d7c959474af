"""qkmt scene: what a scene file holds, read without the catalogue, and a clear refusal of a broken one."""
import json
import os
import shutil
import struct
import subprocess
import tempfile
import unittest

from clisupport import QKMT, failure_text


def chunk(cid, body=b"", container=False):
    return struct.pack("<HI", cid, (len(body) + 6) | (0x80000000 if container else 0)) + body


def wstr(text):
    return text.encode("utf-16-le") + b"\0\0"


def attribute(*data):
    return chunk(0x2020, chunk(0x2021, struct.pack("<III", 0x07CB6596, 0x7E112E78, 0x1160)) +
                 chunk(0x2022, b"".join(data), True), True)


def scene(*objects, listed=(0,), name_chunk=None):
    body = chunk(0x2001, struct.pack("<I", 1))
    for kind, name, extra in objects:
        body += chunk(0x2010, chunk(0x2011, struct.pack("<I", kind)) + (name_chunk or chunk(0x2012, wstr(name))) + extra,
                      True)
    body += chunk(0x2030, b"".join(struct.pack("<I", i) for i in listed))
    return chunk(0x2000, body, True)


# The attribute's chunks as the plug-in saves them: version 5, "glass", uniforms, opacity 6,
# depth bias, shadow caster only, decal 5.
SAVED = (chunk(0x1000, struct.pack("<i", 5)) + chunk(0x1010, wstr("glass")) + chunk(0x1020, wstr("u=1\r\n")) +
         chunk(0x1050, b"\x06") + chunk(0x1060, b"\x01") + chunk(0x1070, b"\x00\x00\x01") + chunk(0x1080, b"\x05"))


class Scene(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-scene-")
        self.addCleanup(shutil.rmtree, self.dir)

    def write(self, data):
        path = os.path.join(self.dir, "s.qks")
        with open(path, "wb") as f:
            f.write(data)
        return "s.qks"

    def qkmt(self, *args):
        return subprocess.run([QKMT, "scene", *args], cwd=self.dir, capture_output=True)

    def refusal(self, data, *args):
        result = self.qkmt(self.write(data), *args)
        self.assertEqual(result.returncode, 1, result.stdout)
        return result.stderr.decode()

    def test_saved_values_are_shown_without_the_catalogue(self):
        name = self.write(scene((2, "map", b""), (0, "Wall", chunk(0x2014, chunk(0x2015, wstr("Bump")) +
                                                                   chunk(0x2016, b"\x01") +
                                                                   chunk(0x2017, struct.pack("<I", 0)), True) +
                                 attribute(SAVED)), listed=(1, 0xFFFFFFFF)))
        text = self.qkmt(name)
        self.assertEqual(text.returncode, 0, text.stderr)
        self.assertEqual(text.stdout.decode(), (
            's.qks: 2 objects, 2 in the scene\'s list\n'
            'object 0  map "map"\n'
            '  sub-maps: none\n'
            'object 1  material "Wall"\n'
            '  slot "Bump" on: object 0\n'
            '  attribute MaterialAttrib\n'
            '    version             5\n'
            '    name                "glass"\n'
            '    user uniforms       "u=1\\r\\n"\n'
            '    opacity             6\n'
            '    depth bias          yes\n'
            '    shadow caster       no\n'
            '    shadow caster only  yes\n'
            '    decal               5\n'
            'scene: object 1, none\n'))
        doc = json.loads(self.qkmt(name, "--json").stdout)
        self.assertEqual(doc["scene"], [1, None])
        self.assertEqual(doc["objects"][1]["attributes"][0]["material"]["user_uniforms"], "u=1\r\n")

    def test_the_chunk_tree_shows_ids_lengths_and_bodies(self):
        result = self.qkmt(self.write(scene((0, "m", attribute(chunk(0x1050, b"\x06"))))), "--chunks")
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.decode().splitlines()
        self.assertEqual(lines[:3], ["0x2000 at 0, length 89: chunks", "  0x2001 at 6, length 10: 4 bytes",
                                     "      01 00 00 00"])
        self.assertEqual(lines[lines.index("      0x2022 at 66, length 13: chunks") + 1:][:2],
                         ["        0x1050 at 72, length 7: 1 bytes", "            06"])

    def test_broken_files_are_refused_with_where_and_why(self):
        good = scene((0, "m", attribute(SAVED)))
        self.assertEqual(self.refusal(good[:-3]),
                         "qkmt scene: s.qks: chunk 0x2000 at offset 0: length %d runs past the end of the file "
                         "(%d bytes left)\n" % (len(good), len(good) - 3))
        self.assertIn("length 2 is shorter than its 6-byte header",
                      self.refusal(chunk(0x2000, struct.pack("<HI", 0x2001, 2), True)))
        self.assertIn("chunk 0x2012 at offset 32: a string of odd length 3",
                      self.refusal(scene((0, "m", b""), name_chunk=chunk(0x2012, b"a\0\0"))))
        self.assertIn("a read of 1 bytes where 0 are left",
                      self.refusal(scene((0, "m", attribute(chunk(0x1050, b""))))))
        self.assertIn("the scene's list names object 3 of 1", self.refusal(scene((0, "m", b""), listed=(3,))))
        self.assertEqual(self.qkmt("missing.qks").returncode, 1)

    def test_the_chunk_tree_of_a_broken_file_stops_at_the_break(self):
        data = bytearray(scene((0, "m", b"")))
        data[34] = 60  # the name chunk's length, now past its object
        result = self.qkmt(self.write(bytes(data)), "--chunks")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout.decode().splitlines()[-2:], ["    0x2011 at 22, length 10: 4 bytes",
                                                                    "        00 00 00 00"])
        self.assertEqual(result.stderr.decode(), "qkmt scene: s.qks: chunk 0x2012 at offset 32: length 60 runs past "
                                                 "the end of chunk 0x2010 at offset 16 (10 bytes left)\n")

    def test_the_chunk_tree_of_a_cut_file_shows_every_intact_chunk_then_the_break(self):
        good = scene((0, "m", attribute(SAVED)))
        whole = self.qkmt(self.write(good), "--chunks").stdout.decode().splitlines()
        plain = self.qkmt(self.write(good[:-3]))
        result = self.qkmt("s.qks", "--chunks")
        self.assertEqual(result.returncode, 1)
        lines = result.stdout.decode().splitlines()
        self.assertEqual(lines[0], "0x2000 at 0, length %d: chunks, cut to the %d bytes there" % (len(good), len(good) - 3))
        self.assertEqual(lines[1:], whole[1:-2])  # all but the cut list of the scene, 0x2030
        self.assertEqual(whole[-2], "  0x2030 at %d, length 10: 4 bytes" % (len(good) - 10))
        self.assertEqual(result.stderr, plain.stderr)
        doc = json.loads(self.qkmt("s.qks", "--json").stdout)
        self.assertEqual(doc, {"file": "s.qks", "error": plain.stderr.decode()[len("qkmt scene: s.qks: "):-1]})

    def test_chunks_and_plain_share_the_exit_rule(self):
        for data in (b"", scene((0, "m", b""), listed=(3,))):
            self.write(data)
            plain, chunks = self.qkmt("s.qks"), self.qkmt("s.qks", "--chunks")
            self.assertEqual((plain.returncode, chunks.returncode), (1, 1), data)
            self.assertEqual(chunks.stderr, plain.stderr)
        self.assertEqual(chunks.stdout.decode().count("\n"), 10)  # the whole tree, then the error
        os.mkdir(os.path.join(self.dir, "folder"))
        self.assertEqual(self.qkmt("folder").stderr, ("qkmt scene: folder: %s\n" % failure_text("directory")).encode())

    def test_json_and_chunks_are_exclusive(self):
        self.assertEqual(self.qkmt(self.write(b""), "--json", "--chunks").returncode, 2)


if __name__ == "__main__":
    unittest.main()
