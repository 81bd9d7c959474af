#!/usr/bin/env python3
"""Makes the archive tests' inputs: zip files from real tools (Python's zipfile and Info-ZIP `zip`),
zip files crafted byte by byte for the subset's refusals, and .qkpk archives written byte by byte
by the small writer below, with zstd frames from the `zstd` command. Writes
tests/data/good/archives and tests/data/bad/archives; run it from anywhere and check the result
in. Every input is fixed (times included), so the files only change when this script does."""
import hashlib
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import zipfile
import zlib

DATA = pathlib.Path(__file__).resolve().parent.parent / "data"
GOOD = DATA / "good" / "archives"
BAD = DATA / "bad" / "archives"

STAMP = (2021, 6, 15, 12, 30, 44)
TEXT = b"".join(b"%05d material shader uniform texture opacity decal\n" % i for i in range(2000))


def put(folder, name, data):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(data)


def zstd(data, *options, known_size=True):
    """A zstd frame of `data` from the zstd command. Compressing a file lets the frame state its
    content size; compressing a pipe doesn't."""
    if not known_size:
        return subprocess.run(["zstd", "-q", "-c", *options], input=data, stdout=subprocess.PIPE,
                              check=True).stdout
    with tempfile.NamedTemporaryFile() as source:
        source.write(data)
        source.flush()
        return subprocess.run(["zstd", "-q", "-c", *options, source.name], stdout=subprocess.PIPE,
                              check=True).stdout


def raw_deflate(data):
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    return packer.compress(data) + packer.flush()


# ---- Zip files from real tools ---------------------------------------------------------------

def python_zip(path, method, comment=b"", entries=None):
    if entries is None:
        entries = [("dir/", b""), ("dir/a.txt", b"alpha\n"), ("Top.TXT", TEXT), ("empty.bin", b"")]
    with zipfile.ZipFile(path, "w", method) as archive:
        archive.comment = comment
        for name, data in entries:
            info = zipfile.ZipInfo(name, STAMP)
            info.compress_type = method
            if name.endswith("/"):
                info.external_attr = 0o40755 << 16 | 0x10
            archive.writestr(info, data)


def info_zip(path, *options, comment=None):
    with tempfile.TemporaryDirectory() as work:
        tree = pathlib.Path(work) / "tree"
        (tree / "Sub").mkdir(parents=True)
        (tree / "Sub" / "b.txt").write_bytes(b"beta\n")
        (tree / "Text.txt").write_bytes(TEXT)
        stamp = 1623760244  # 2021-06-15 12:30:44 UTC
        for item in (tree / "Sub" / "b.txt", tree / "Text.txt", tree / "Sub", tree):
            os.utime(item, (stamp, stamp))
        target = pathlib.Path(work) / "out.zip"
        env = dict(os.environ, TZ="UTC")
        subprocess.run(["zip", "-q", "-X", "-r", *options, str(target), "."], cwd=tree, check=True, env=env,
                       input=comment)
        shutil.copyfile(target, path)


# ---- Zip files crafted byte by byte ----------------------------------------------------------

DOS_TIME, DOS_DATE = 0x63D6, 0x52CF  # 12:30:44 on 2021-06-15


class Zip:
    """A zip file written record by record, with every field in reach."""

    def __init__(self):
        self.body = bytearray(b"")
        self.central = bytearray()
        self.count = 0

    def entry(self, name, data, *, method=0, packed=None, crc=None, attributes=0, central_sizes=None,
              central_offset=None, extra=b"", disk=0, local_signature=0x04034b50):
        packed = data if packed is None else packed
        crc = zlib.crc32(data) if crc is None else crc
        offset = len(self.body)
        self.body += struct.pack("<IHHHHHIIIHH", local_signature, 20, 0, method, DOS_TIME, DOS_DATE, crc,
                                 len(packed), len(data), len(name), 0) + name + packed
        sizes = central_sizes or (len(packed), len(data))
        self.central += struct.pack("<IHHHHHHIIIHHHHHII", 0x02014b50, 20, 20, 0, method, DOS_TIME, DOS_DATE, crc,
                                    sizes[0], sizes[1], len(name), len(extra), 0, disk, 0, attributes,
                                    offset if central_offset is None else central_offset) + name + extra
        self.count += 1
        return offset

    def bytes(self, *, zip64=False, end_counts=None, record64=True, locator=True):
        directory = len(self.body)
        out = bytearray(self.body) + self.central
        if zip64:
            record_at = len(out)
            if record64:
                out += struct.pack("<IQHHIIQQQQ", 0x06064b50, 44, 45, 45, 0, 0, self.count, self.count,
                                   len(self.central), directory)
            if locator:
                out += struct.pack("<IIQI", 0x07064b50, 0, record_at, 1)
            out += struct.pack("<IHHHHIIH", 0x06054b50, 0, 0, 0xFFFF, 0xFFFF, len(self.central), 0xFFFFFFFF, 0)
        else:
            counts = end_counts or (self.count, self.count)
            out += struct.pack("<IHHHHIIH", 0x06054b50, 0, 0, counts[0], counts[1], len(self.central), directory, 0)
        return bytes(out)


def zip64_extra(*values, disk=None):
    body = b"".join(struct.pack("<Q", v) for v in values) + (struct.pack("<I", disk) if disk is not None else b"")
    return struct.pack("<HH", 1, len(body)) + body


def crafted_zips():
    alpha = b"alpha alpha alpha alpha\n"
    z = Zip()
    z.entry(b"deflate64.txt", alpha, method=9, packed=raw_deflate(alpha))
    z.entry(b"shrunk.bin", b"0123456789", method=12, packed=b"\x01\x02\x03")
    put(GOOD, "methods.zip", z.bytes())

    z = Zip()
    z.entry(b"one.txt", b"same", crc=1)
    z.entry(b"two.txt", b"same", crc=2)
    put(GOOD, "crc-stamps.zip", z.bytes())

    # ZIP64: an extra record of another id whose data is a multiple of 4 bytes comes first, so the
    # walk in steps of 4 meets the id 1 record; the directory entry has nothing to hold.
    z = Zip()
    other = struct.pack("<HH", 0x7075, 4) + b"\x01\x02\x03\x04"
    z.entry(b"big.txt", alpha, central_sizes=(len(alpha), 0xFFFFFFFF), extra=other + zip64_extra(len(alpha)))
    z.entry(b"folder/", b"", attributes=0x10, extra=zip64_extra())
    put(GOOD, "zip64-walk.zip", z.bytes(zip64=True))

    z = Zip()
    z.entry(b"a.txt", alpha)
    good = z.bytes()
    put(BAD, "comment-crafted.zip", good[:-2] + struct.pack("<H", 3) + b"abc")
    put(BAD, "not-pk.zip", b"XK" + good[2:])
    put(BAD, "short.zip", b"PK\x03\x04")
    put(BAD, "all-ones-32bit.zip", z.bytes(end_counts=(0xFFFF, 0xFFFF)))
    put(BAD, "zip64-no-record.zip", z.bytes(zip64=True, record64=False))

    z = Zip()
    z.entry(b"a.txt", alpha, central_sizes=(len(alpha), 0xFFFFFFFF), extra=struct.pack("<HH", 0x5455, 1) + b"\x00")
    put(BAD, "zip64-no-extra.zip", z.bytes(zip64=True))

    z = Zip()
    z.entry(b"a.txt", alpha)
    bad = bytearray(z.bytes())
    bad[len(z.body)] ^= 0xFF  # the central header's signature
    put(BAD, "bad-central.zip", bytes(bad))

    z = Zip()
    z.entry(b"a.txt", alpha, local_signature=0x05034b50)
    put(BAD, "bad-local.zip", z.bytes())

    z = Zip()
    packed = raw_deflate(TEXT)
    z.entry(b"cut.txt", TEXT, method=8, packed=packed[: len(packed) // 2])
    put(BAD, "cut-deflate.zip", z.bytes())


def real_zips():
    python_zip(GOOD / "python-stored.zip", zipfile.ZIP_STORED)
    python_zip(GOOD / "python-deflated.zip", zipfile.ZIP_DEFLATED)
    metadata = (b'{ "dir/a.txt": { "lod": { "type": "int", "value": 3 },\n'
                b'                 "kind": { "type": "string", "value": "stone" } } }')
    python_zip(GOOD / "python-metadata.zip", zipfile.ZIP_DEFLATED,
               entries=[("dir/a.txt", b"alpha\n"), (".metadata.json", metadata)])
    python_zip(BAD / "python-comment.zip", zipfile.ZIP_DEFLATED, comment=b"made by a test")
    python_zip(BAD / "python-empty.zip", zipfile.ZIP_STORED, entries=[])
    info_zip(GOOD / "infozip-stored.zip", "-0")
    info_zip(GOOD / "infozip-deflated.zip", "-9")
    info_zip(GOOD / "infozip-zip64.zip", "-fz")
    info_zip(BAD / "infozip-comment.zip", "-z", comment=b"made by a test\n")


# ---- .qkpk archives written byte by byte -----------------------------------------------------

class Qkpk:
    """A .qkpk archive in the format's own terms, with every field in reach."""

    def __init__(self):
        self.payload = bytearray()
        self.pool = bytearray()
        self.aux = b""
        self.dirs, self.files = [], []
        self.strings, self.floats, self.ints = [], [], []

    def text(self, value):
        offset = len(self.pool)
        self.pool += value
        return offset, len(value)

    def dir(self, name, time, name_range=None):
        self.dirs.append((name_range or self.text(name), time))

    def file(self, name, data, *, frame=None, time=0, flags=None, reserved=b"\0" * 8, size=None, offset=None,
             strings=(), floats=(), ints=(), name_range=None):
        """A stored file, or a compressed one when `frame` is given."""
        stored = data if frame is None else frame
        at = len(self.payload) if offset is None else offset
        self.payload += stored
        if flags is None:
            flags = b"\x01" + b"\0" * 7 if frame is not None else b"\0" * 8
        counts = []
        for table, items in ((self.strings, strings), (self.floats, floats), (self.ints, ints)):
            for key, value in items:
                table.append((self.text(key), value if table is not self.strings else self.text(value)))
            counts.append(len(items))
        record = struct.pack("<QQQQ", at, len(stored), len(data) if size is None else size, time) + flags + reserved
        self.files.append((record, counts, name_range or self.text(name), hashlib.blake2b(data, digest_size=32).digest()))

    def index(self):
        out = bytearray(struct.pack("<I", 0))
        out += struct.pack("<Q", len(self.aux)) + self.aux
        out += struct.pack("<Q", len(self.pool)) + self.pool
        out += struct.pack("<Q", len(self.strings))
        out += b"".join(struct.pack("<IIII", k[0], k[1], v[0], v[1]) for k, v in self.strings)
        out += struct.pack("<Q", len(self.floats))
        out += b"".join(struct.pack("<IId", k[0], k[1], v) for k, v in self.floats)
        out += struct.pack("<Q", len(self.ints))
        out += b"".join(struct.pack("<IIQ", k[0], k[1], v) for k, v in self.ints)
        out += struct.pack("<Q", len(self.dirs)) + b"".join(struct.pack("<QQ", *r) for r, _ in self.dirs)
        out += b"".join(struct.pack("<Q", t) for _, t in self.dirs)
        out += struct.pack("<Q", len(self.files))
        out += b"".join(f[0] for f in self.files)
        out += b"".join(struct.pack("<QQQ", *f[1]) for f in self.files)
        out += b"".join(struct.pack("<QQ", *f[2]) for f in self.files)
        out += b"".join(f[3] for f in self.files)
        return bytes(out)

    def bytes(self, *, version=3, magic=b"QKPK", cipher=0, index_cipher=0, reserved=(0, 0), index=None,
              index_size=None):
        index = bytearray(self.index() if index is None else index)
        index[0:4] = struct.pack("<I", index_cipher)
        size = len(index) if index_size is None else index_size
        tail = struct.pack("<QQQQI", size, reserved[0], reserved[1], cipher, version) + magic
        return bytes(self.payload) + bytes(index) + tail


def sample_qkpk():
    q = Qkpk()
    q.dir(b"Textures", 1111)
    q.dir(b"Textures/Stone", 2222)
    text_frame = zstd(TEXT, "-19")
    q.file(b"Textures/Stone/Rock.DDS", TEXT, frame=text_frame, time=1623760244,
           strings=[(b"kind", b"stone"), (b"same", b"text")], floats=[(b"gloss", 0.5), (b"same", 1.5)],
           ints=[(b"lod", 2), (b"same", 7)], reserved=b"reserved")
    q.file(b"readme.txt", b"plain bytes\n", time=5, flags=b"\x00\xff\xff\xff\xff\xff\xff\xff")
    q.file(b"empty.bin", b"", time=6)
    q.file(b"..\\Up\\.\\Back\\slash.txt", b"normalised\n")
    q.text(b"tail-name")
    # Ranges at the pool's end, one byte beyond it, and running past it (no text added after).
    q.file(b"", b"pool end", name_range=(len(q.pool), 4))
    q.file(b"", b"beyond", name_range=(len(q.pool) + 1, 4))
    q.file(b"", b"cut", name_range=(len(q.pool) - 4, 100))
    put(GOOD, "sample.qkpk", q.bytes(reserved=(0x1234, 0xFFFFFFFFFFFFFFFF)))

    q = Qkpk()
    put(GOOD, "empty.qkpk", q.bytes())

    # The edges of the 1 MiB rule: compressed entries of exactly 1 MiB and one byte more, and a
    # stored entry above 1 MiB, which a stream can't read.
    mib = bytes(range(256)) * 4096
    q = Qkpk()
    q.file(b"exact.bin", mib, frame=zstd(mib))
    q.file(b"over.bin", mib + b"!", frame=zstd(mib + b"!"))
    q.file(b"stored-over.bin", mib + b"!")
    put(GOOD, "mebibyte.qkpk", q.bytes())


def broken_qkpks():
    q = Qkpk()
    q.file(b"a.txt", b"alpha\n")
    good = q.bytes()
    put(BAD, "seven-bytes.qkpk", good[-7:])
    put(BAD, "no-magic.qkpk", good[:-4] + b"QKPX")
    put(BAD, "version-2.qkpk", q.bytes(version=2))
    put(BAD, "version-4.qkpk", q.bytes(version=4))
    put(BAD, "cipher-tail.qkpk", q.bytes(cipher=1, index_size=0xFFFFFFFFFFFFFFF0))
    put(BAD, "cipher-index.qkpk", q.bytes(index_cipher=1))
    put(BAD, "index-before-start.qkpk", q.bytes(index_size=len(good)))
    index = q.index()
    # Cut inside section 9: the file record comes short.
    cut = index.find(struct.pack("<Q", 1) + q.files[0][0]) + 8 + 20
    put(BAD, "cut-records.qkpk", q.bytes(index=index[:cut], index_size=cut))
    # Section 2 claims more than the rest of the file holds.
    pool_claim = bytearray(index)
    pool_claim[12:20] = struct.pack("<Q", 1 << 40)
    put(BAD, "pool-claim.qkpk", q.bytes(index=pool_claim))

    q = Qkpk()
    q.file(b"a.txt", b"alpha\n", strings=[(b"k", b"v")])
    q.strings.pop()  # the file still asks for one string record
    put(BAD, "meta-short.qkpk", q.bytes())

    frame = zstd(TEXT)
    q = Qkpk()
    q.file(b"no-size.txt", TEXT, frame=zstd(TEXT, known_size=False))
    q.file(b"wrong-size.txt", TEXT, frame=frame, size=len(TEXT) - 1)
    corrupt = bytearray(frame)
    corrupt[len(corrupt) // 2] ^= 0x55
    q.file(b"corrupt.txt", TEXT, frame=bytes(corrupt))
    q.file(b"beyond.txt", b"x" * 100, offset=1 << 20)
    q.file(b"huge.bin", b"x", size=1 << 40)  # a claim nothing is allocated for
    put(BAD, "entries.qkpk", q.bytes())


def main():
    for folder in (GOOD, BAD):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
    real_zips()
    crafted_zips()
    sample_qkpk()
    broken_qkpks()


if __name__ == "__main__":
    main()
