"""qkmt pack and verify, and archives on --mount: what a studio does to ship its data."""
import hashlib
import json
import os
import pty
import shutil
import struct
import subprocess
import tempfile
import unittest
import zipfile

from clisupport import (QKMT, WINDOWS, as_given, as_nobody_or_skip, failure_text, file_size_limit,
                        skip_without_file_size_limit)

MIB = 1 << 20


def read_qkpk(path):
    """The archive's tables, read with the format's own rules (independent of the tool's reader)."""
    with open(path, "rb") as f:
        data = f.read()
    index_size, _, _, cipher, version = struct.unpack_from("<QQQQI", data, len(data) - 40)
    assert data[-4:] == b"QKPK" and version == 3 and cipher == 0
    at = len(data) - 40 - index_size
    assert struct.unpack_from("<I", data, at) == (0,)
    at += 4

    def u64():
        nonlocal at
        at += 8
        return struct.unpack_from("<Q", data, at - 8)[0]

    def take(n):
        nonlocal at
        at += n
        return data[at - n:at]

    aux = take(u64())
    pool = take(u64())
    tables = [[take(16) for _ in range(u64())] for _ in range(3)]
    dirs = [struct.unpack("<QQ", take(16)) for _ in range(u64())]
    times = [u64() for _ in dirs]
    count = u64()
    records = [struct.unpack("<QQQQ8s8s", take(48)) for _ in range(count)]
    counts = [struct.unpack("<QQQ", take(24)) for _ in range(count)]
    names = [struct.unpack("<QQ", take(16)) for _ in range(count)]
    digests = [take(32) for _ in range(count)]
    assert at == len(data) - 40 and aux == b""
    text = lambda r: pool[r[0]:r[0] + r[1]].decode()
    files = {}
    for (offset, packed, size, time, flags, _), name, digest in zip(records, names, digests):
        stored = data[offset:offset + (packed if flags[0] & 1 else size)]
        content = stored
        if flags[0] & 1:
            content = subprocess.run(["zstd", "-d", "-q", "-c"], input=stored, stdout=subprocess.PIPE,
                                     check=True).stdout
        assert hashlib.blake2b(content, digest_size=32).digest() == digest, text(name)
        files[text(name)] = {"content": content, "compressed": bool(flags[0] & 1), "time": time}
    return {"dirs": {text(r): t for r, t in zip(dirs, times)}, "files": files, "counts": counts,
            "tables": tables}


class Archives(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-archives-")
        self.addCleanup(shutil.rmtree, self.dir)
        self.put("Data/Textures/Rock.dds", b"rock " * 200)
        self.put("Data/Textures/noise.bin", os.urandom(3000))
        self.put("Data/Big.bin", b"0123456789abcdef" * (MIB // 16 + 1))
        self.put("Data/empty.txt", b"")
        self.put("Data/.hidden", b"never packed")
        os.makedirs(os.path.join(self.dir, "Data/Empty"))
        self.put("Data/.metadata.json", json.dumps({"Data/Textures/Rock.dds": {
            "lod": {"type": "int", "value": 2}, "kind": {"type": "string", "value": "stone"}}}).encode())

    def put(self, name, data):
        path = os.path.join(self.dir, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)

    def path(self, name):
        return os.path.join(self.dir, name)

    def read(self, name):
        with open(self.path(name), "rb") as f:
            return f.read()

    def qkmt(self, *args, **options):
        return subprocess.run([QKMT, *args], cwd=self.dir, capture_output=True, **options)

    def pack(self, *args):
        r = self.qkmt("pack", *args)
        self.assertEqual(r.returncode, 0, r.stderr)
        return r

    def test_pack_writes_the_format_with_digests_metadata_and_the_compression_rules(self):
        r = self.pack("Data", "data.qkpk")
        self.assertEqual(r.stdout.decode().split(":")[0], "data.qkpk")
        self.assertIn("4 files (2 compressed), 2 directories", r.stdout.decode())
        self.assertEqual(r.stderr, b"")  # no progress on a pipe
        archive = read_qkpk(self.path("data.qkpk"))
        self.assertEqual(sorted(archive["dirs"]), ["Empty", "Textures"])
        self.assertEqual(sorted(archive["files"]), ["Big.bin", "Textures/Rock.dds", "Textures/noise.bin", "empty.txt"])
        files = archive["files"]
        self.assertTrue(files["Big.bin"]["compressed"])  # above 1 MiB: always
        self.assertTrue(files["Textures/Rock.dds"]["compressed"])
        self.assertFalse(files["Textures/noise.bin"]["compressed"])  # doesn't pay off
        self.assertEqual(files["Textures/Rock.dds"]["content"], b"rock " * 200)
        self.assertEqual(files["empty.txt"]["time"], int(os.stat(self.path("Data/empty.txt")).st_mtime))

        self.pack("Data", "stored.qkpk", "--store-below", "5000", "--level", "1")
        files = read_qkpk(self.path("stored.qkpk"))["files"]
        self.assertFalse(files["Textures/Rock.dds"]["compressed"])
        self.assertTrue(files["Big.bin"]["compressed"])

        self.put("One/Sub/only.txt", b"x")
        r = self.pack("One", "one.qkpk")
        self.assertIn("one.qkpk: 1 file (0 compressed), 1 directory, ", r.stdout.decode())

    def test_the_archive_mounts_as_the_folder_does(self):
        self.pack("Data", "data.qkpk")
        r = self.qkmt("ls", "--mount", "data.qkpk:/", "/textures")
        self.assertEqual(r.stdout, b"file  noise.bin\nfile  rock.dds\n")
        r = self.qkmt("ls", "--mount", "data.qkpk:/", "/")
        self.assertEqual(r.stdout, b"dir   empty\ndir   textures\nfile  big.bin\nfile  empty.txt\n")
        # The zip factory runs first, finds the file and refuses it; the archive mounts all the same.
        self.assertIn(b"Drivers errors while mounting data.qkpk:", r.stderr)
        self.assertIn(b"ZipDriver: Failed to open zip archive data.qkpk. Reason: Invalid zip signature.", r.stderr)
        r = self.qkmt("stat", "--mount", "data:/", "--json", "/Textures/Rock.dds")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertNotIn(b"ZipDriver", r.stderr)  # "data" finds data.qkpk; data.zip isn't there
        report = json.loads(r.stdout)
        self.assertEqual((report["size"], report["source"]), (1000, "data.qkpk"))
        self.assertEqual(report["metadata"], {"kind": {"type": "string", "value": "stone"},
                                              "lod": {"type": "int", "value": 2}})
        r = self.qkmt("cat", "--mount", "data:/", "/big.bin")
        self.assertEqual(r.stdout, self.read("Data/Big.bin"))

    def test_a_zip_mounts_by_its_name_without_extension(self):
        with zipfile.ZipFile(self.path("pack.zip"), "w", zipfile.ZIP_DEFLATED) as z:
            z.writestr("Sub/file.txt", b"zipped")
        r = self.qkmt("cat", "--mount", "pack:/", "/sub/FILE.txt")
        self.assertEqual((r.returncode, r.stdout, r.stderr), (0, b"zipped", b""))

    def test_pack_is_deterministic_whatever_order_the_folder_lists(self):
        names = ["b.txt", "a/c.txt", "a/A.txt", "z.bin", "m/n/o.txt"]
        for folder, order in (("one", names), ("two", list(reversed(names)))):
            for name in order:
                self.put(folder + "/" + name, name.encode() * 50)
        self.pack("one", "one.qkpk", "--time-from", "zero")
        self.pack("two", "two.qkpk", "--time-from", "zero")
        one = self.read("one.qkpk")
        self.assertEqual(one, self.read("two.qkpk"))
        self.assertEqual(set(read_qkpk(self.path("one.qkpk"))["dirs"].values()), {0})
        # An archive written inside the folder it packs leaves itself out.
        self.pack("one", "one/self.qkpk", "--time-from", "zero")
        self.pack("one", "one/self.qkpk", "--time-from", "zero")
        self.assertEqual(self.read("one/self.qkpk"), one)

    def test_metadata_from_a_file_and_warnings_for_keys_without_files(self):
        self.put("meta.json", json.dumps({"Textures/noise.bin": {"seed": {"type": "int", "value": 9}},
                                          "gone.txt": {"x": {"type": "int", "value": 1}}}).encode())
        r = self.pack("Data", "data.qkpk", "--metadata", "meta.json")
        self.assertIn(b"qkmt: warning: metadata for gone.txt matches no file", r.stderr)
        stat = json.loads(self.qkmt("stat", "--mount", "data:/", "--json", "/textures/noise.bin").stdout)
        self.assertEqual(stat["metadata"], {"seed": {"type": "int", "value": 9}})
        self.put("bad.json", b"{ not json")
        r = self.qkmt("pack", "Data", "data.qkpk", "--metadata", "bad.json")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"qkmt: bad.json: JSON error: ", r.stderr)

    def test_verify_reports_damage_in_plain_words(self):
        self.pack("Data", "data.qkpk")
        r = self.qkmt("verify", "data.qkpk")
        self.assertEqual((r.returncode, r.stdout), (0, b"data.qkpk: 4 files and 2 directories checked: all good\n"))
        data = bytearray(self.read("data.qkpk"))
        stored = data.find(self.read("Data/Textures/noise.bin"))
        data[stored + 10] ^= 1
        data[20] ^= 0xFF  # inside Big.bin's frame, the first entry in name order
        self.put("damaged.qkpk", bytes(data))
        r = self.qkmt("verify", "damaged")
        self.assertEqual(r.returncode, 1)
        lines = r.stdout.decode().splitlines()
        self.assertIn("damaged.qkpk: Textures/noise.bin: its content doesn't match its digest", lines)
        self.assertTrue(any(line.startswith("damaged.qkpk: Big.bin: ") for line in lines), lines)
        self.assertEqual(lines[-1], "damaged.qkpk: 4 files and 2 directories checked: 2 damaged")

        # The index loses its last 60 bytes (digests): a short read from section 7 on.
        index_size = struct.unpack_from("<Q", data, len(data) - 40)[0]
        tail = struct.pack("<Q", index_size - 60) + bytes(data[-32:])
        self.put("cut.qkpk", bytes(data[:-100]) + tail)
        r = self.qkmt("verify", "cut.qkpk")
        self.assertEqual(r.returncode, 1)
        self.assertEqual(r.stderr, b"qkmt: cut.qkpk: its index is damaged: Not enough input data\n")
        # What the tail's checks found, told: each case a user meets.
        with zipfile.ZipFile(self.path("data.zip"), "w") as z:
            z.writestr("a.txt", b"zipped")
        self.put("empty.qkpk", b"")
        self.put("v4.qkpk", bytes(data[:-8]) + struct.pack("<I", 4) + b"QKPK")
        broken = {
            "Data/Big.bin": "it doesn't end with \"QKPK\": it was cut short, or isn't a .qkpk archive",
            "empty.qkpk": "the file is empty (a pipe reads as empty: verify needs the archive as a file)",
            "data.zip": "it is a zip file, which mounts as it is but has no digests to verify",
            "v4.qkpk": "its format version is 4, where version 3 is read",
        }
        for name, reason in broken.items():
            r = self.qkmt("verify", name)
            self.assertEqual((r.returncode, r.stdout, r.stderr.decode()),
                             (1, b"", "qkmt: %s: archive is broken: %s\n" % (name, reason)))
        r = self.qkmt("verify", "Data")
        self.assertEqual((r.returncode, r.stderr), (1, ("qkmt: Data: %s\n" % failure_text("directory")).encode()))
        r = self.qkmt("ls", "--mount", "cut.qkpk:/", "/")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"qkmt: --mount cut.qkpk:/: Not enough input data\n", r.stderr)
        # A source that no driver opens: the drivers' reasons in the log, then the tool's own line.
        r = self.qkmt("ls", "--mount", "empty.qkpk:/", "/")
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"Failed to open qkpk archive empty.qkpk. Reason: archive is broken.", r.stderr)
        self.assertTrue(r.stderr.endswith(b"qkmt: --mount empty.qkpk:/: can't be mounted: the lines above say why\n"),
                        r.stderr)
        # Named without its ending, the archive is what the drivers found and refused.
        r = self.qkmt("ls", "--mount", "empty:/", "/")
        self.assertEqual(r.returncode, 1)
        self.assertTrue(r.stderr.endswith(b"qkmt: --mount empty:/: can't be mounted: the lines above say why\n"),
                        r.stderr)

    def test_an_archive_through_a_pipe_is_told_apart_from_an_empty_file(self):
        if WINDOWS:
            self.skipTest("Windows: no /dev/stdin")
        self.pack("Data", "data.qkpk")
        r = self.qkmt("verify", "/dev/stdin", input=self.read("data.qkpk"))
        self.assertEqual((r.returncode, r.stdout), (1, b""))
        self.assertEqual(r.stderr, b"qkmt: /dev/stdin: archive is broken: the file is empty "
                                   b"(a pipe reads as empty: verify needs the archive as a file)\n")

    def test_a_failed_pack_keeps_the_old_archive(self):
        skip_without_file_size_limit(self)
        self.pack("Data", "data.qkpk")
        before = self.read("data.qkpk")
        r = self.qkmt("pack", "Data", "data.qkpk", preexec_fn=file_size_limit(len(before) // 2))
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"data.qkpk: can't be written: File too large", r.stderr)
        self.assertEqual(self.read("data.qkpk"), before)
        self.assertEqual(sorted(n for n in os.listdir(self.dir) if n.endswith(".tmp")), [])

        os.chmod(self.dir, 0o777)  # the user nobody may write the new archive beside the old one
        os.chmod(self.path("Data/Textures/noise.bin"), 0)
        r = self.qkmt("pack", "Data", "data.qkpk", **as_nobody_or_skip(self))
        self.assertEqual(r.returncode, 1)
        self.assertIn(b"Data/Textures/noise.bin: can't be read: Permission denied", r.stderr)
        self.assertEqual(self.read("data.qkpk"), before)
        # A folder that can't be listed would be packed empty: the pack fails instead.
        os.chmod(self.path("Data/Textures/noise.bin"), 0o644)
        os.chmod(self.path("Data/Textures"), 0)
        r = self.qkmt("pack", "Data", "data.qkpk", **as_nobody_or_skip(self))
        os.chmod(self.path("Data/Textures"), 0o755)
        self.assertEqual((r.returncode, r.stderr), (1, b"qkmt: Data/Textures: can't be listed: Permission denied\n"))
        self.assertEqual(self.read("data.qkpk"), before)

    def test_a_pack_into_a_pipe_keeps_its_result_line_out_of_the_archive(self):
        if WINDOWS:
            self.skipTest("Windows: no file name stands for standard output (/dev/stdout is Linux's)")
        direct = self.pack("Data", "data.qkpk").stdout
        r = self.qkmt("pack", "Data", "/dev/stdout")
        self.assertEqual(r.returncode, 0, r.stderr)
        self.assertEqual(r.stdout, self.read("data.qkpk"))
        self.assertEqual(r.stderr, direct.replace(b"data.qkpk:", b"/dev/stdout:"))

    def test_progress_shows_on_a_terminal_only(self):
        if WINDOWS:
            self.skipTest("Windows: the progress line is for a console, which a pseudo-terminal under "
                          "Wine is not")
        leader, follower = pty.openpty()
        try:
            r = subprocess.run([QKMT, "pack", "Data", "data.qkpk"], cwd=self.dir, stdout=subprocess.PIPE,
                               stderr=follower)
            os.close(follower)
            shown = b""
            while True:
                try:
                    chunk = os.read(leader, 4096)
                except OSError:  # the terminal's other end is gone: all was read
                    break
                if not chunk:
                    break
                shown += chunk
        finally:
            os.close(leader)
        self.assertEqual(r.returncode, 0)
        self.assertIn(b"packing 4/4", shown)

    def test_usage_errors_and_refusals(self):
        for args in (("--level", "0"), ("--level", "20"), ("--time-from", "ctime"), ("--store-below", "-1")):
            r = self.qkmt("pack", "Data", "x.qkpk", *args)
            self.assertEqual(r.returncode, 2, args)
        os.makedirs(self.path("Nothing"))
        self.put("Nothing/.hidden", b"left out")
        os.makedirs(self.path("Folder"))
        for folder, archive, message in (
                ("Data/empty.txt", "x.qkpk", "Data/empty.txt: not a folder"),
                ("Missing", "x.qkpk", "Missing: " + failure_text("missing")),
                ("Nothing", "x.qkpk",
                 "Nothing: nothing to pack: the folder holds no files or folders (names that begin with \".\" are left out)"),
                ("Data", "Folder", "Folder: can't be written: " + failure_text("directory")),
                ("Data", "Missing/x.qkpk", "Missing/x.qkpk: can't be written: " + failure_text("missing folder")),
                ("Data", "/dev/full", as_given("/dev/full") + ": can't be written: " + failure_text("full"))):
            r = self.qkmt("pack", folder, archive)
            self.assertEqual((r.returncode, r.stdout, r.stderr.decode()), (1, b"", "qkmt: %s\n" % message))
        self.assertEqual(sorted(os.listdir(self.dir)), ["Data", "Folder", "Nothing"])
        self.assertEqual(os.listdir(self.path("Folder")), [])


if __name__ == "__main__":
    unittest.main()
