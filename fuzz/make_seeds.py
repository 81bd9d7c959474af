#!/usr/bin/env python3
"""Writes the seed inputs of the fuzz targets from real files and real tools: scenes saved by
`qkmt run` (examples/tour.lua and a scene of every kind of attribute), the attribute chunks cut out
of them, zstd frames made by the zstd command, deflate streams made by Python's zlib, and text in
many scripts, and the archive tests' zip files and .qkpk archives with one made by `qkmt pack`.
Seeds go to fuzz/corpus/TARGET/seed-*; a fuzzing run adds its finds beside them, and
`-merge=1` keeps the corpus small.

    fuzz/make_seeds.py BUILD_DIR        (BUILD_DIR holds Tools/qkmt/qkmt)
"""
import pathlib
import random
import subprocess
import sys
import tempfile
import zlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
CORPUS = ROOT / "fuzz" / "corpus"
DATA = ROOT / "tests" / "data"

# A scene with attributes of every kind: catalogue entries, retired and legacy names, a name the
# catalogue lacks, text beyond ASCII, every opacity and decal.
SCENE_SCRIPT = r"""
local host = require "host"
host.set_plugcfg(arg[2])
local list = {}
local names = { "default", "metal", "building", "only_shadow", "default_no_shadow", "nope", "caf\195\169" }
for i, name in ipairs(names) do
  local m = host.material("m" .. i)
  host.CreateMaterialAttrib(m)
  host.SetMaterial(m, name)
  host.SetOpacity(m, i % 7)
  host.SetUserUniforms(m, string.rep("u" .. i .. "=1\r\n", i) .. "\226\130\172")
  list[#list + 1] = m
end
host.scene(list)
host.save(arg[1])
"""


def write(target, name, data):
    folder = CORPUS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / ("seed-" + name)).write_bytes(data)


def chunks(data, offset=0, end=None):
    """(id, container, body offset, body end) of each chunk between offset and end."""
    end = len(data) if end is None else end
    while offset + 6 <= end:
        ident = int.from_bytes(data[offset:offset + 2], "little")
        length = int.from_bytes(data[offset + 2:offset + 6], "little")
        size = length & 0x7FFFFFFF
        yield ident, bool(length & 0x80000000), offset + 6, offset + size
        offset += size


def attribute_bodies(scene, offset=0, end=None):
    for ident, container, body, body_end in chunks(scene, offset, end):
        if ident == 0x2022:
            yield scene[body:body_end]
        elif container:
            yield from attribute_bodies(scene, body, body_end)


def scenes(qkmt):
    with tempfile.TemporaryDirectory() as work:
        work = pathlib.Path(work)
        subprocess.run([qkmt, "run", str(ROOT / "examples" / "tour.lua"), str(work / "tour.qks")],
                       check=True, stdout=subprocess.DEVNULL, cwd=work)
        (work / "every.lua").write_text(SCENE_SCRIPT)
        subprocess.run([qkmt, "run", str(work / "every.lua"), str(work / "every.qks"),
                        str(ROOT / "examples")], check=True, stdout=subprocess.DEVNULL, cwd=work)
        return {name: (work / (name + ".qks")).read_bytes() for name in ("tour", "every")}


def seed_scenes(qkmt):
    for name, scene in scenes(qkmt).items():
        write("scene_file", name + ".qks", scene)
        for i, body in enumerate(attribute_bodies(scene)):
            write("attrib_chunks", "%s-%d" % (name, i), body)
    # A version-3 attribute: the two chunks that only version 3 reads, between the others.
    def chunk(ident, body):
        return ident.to_bytes(2, "little") + (len(body) + 6).to_bytes(4, "little") + body
    utf16 = lambda text: text.encode("utf-16-le") + b"\0\0"
    write("attrib_chunks", "version3", chunk(0x1000, (3).to_bytes(4, "little")) +
          chunk(0x1010, utf16("glass")) + chunk(0x1030, utf16("old")) + chunk(0x1040, bytes(27)) +
          chunk(0x1050, b"\x06") + chunk(0x1070, b"\x01\x00\x01") + chunk(0x1080, b"\x05"))


def text(size, seed):
    rng = random.Random(seed)
    words = ("material shader uniform Textur Ähnlich straße ΣΊΣΥΦΟΣ Кириллица İstanbul KELVIN "
             "ꭰꭱꭲ Ꮳ 漢字 かな 😀 €").split()
    out = ""
    while len(out.encode()) < size:
        out += rng.choice(words) + rng.choice(" \n\t=")
    return out.encode()


def zstd(data, *options):
    return subprocess.run(["zstd", "-q", "-c", *options], input=data, stdout=subprocess.PIPE,
                          check=True).stdout


# Control blocks of the reader targets: the source's piece size (bits 5..7 of byte 0) and eight
# steps of the consumer (kind in bits 0..1, size index in bits 2..7).
CONTROLS = {
    "read1k": bytes([0x00]) + bytes([20 << 2] * 8),
    "trickle": bytes([0x20]) + bytes([(13 << 2), (1 << 2) | 1, (22 << 2) | 2, (30 << 2) | 3] * 2),
    "chunks": bytes([0x80]) + bytes([(22 << 2) | 2, (5 << 2) | 3] * 4),
    "large": bytes([0xC0]) + bytes([(63 << 2), (40 << 2) | 1] * 4),
}


def seed_readers():
    plain = (ROOT / "examples" / "materials.lua").read_bytes()
    streams = {name: (DATA / folder / "readers" / name).read_bytes() for folder, name in (
        ("good", "text.zst"), ("good", "text-nosize.zst"), ("good", "text-nocheck.zst"),
        ("good", "two-frames.zst"), ("good", "ten.zst"), ("bad", "corrupt.zst"), ("bad", "truncated.zst"))}
    streams["level1.zst"] = zstd(plain, "-1")
    streams["rle.zst"] = zstd(bytes(200000), "-3")
    streams["random.zst"] = zstd(random.Random(7).randbytes(3000), "-3")
    streams["empty.zst"] = zstd(b"", "-3")
    for i, (name, stream) in enumerate(sorted(streams.items())):
        control = list(CONTROLS.values())[i % len(CONTROLS)]
        write("zstd_reader", name, control + stream)

    deflates = {name: (DATA / folder / "readers" / name).read_bytes() for folder, name in (
        ("good", "text.deflate"), ("good", "text.zlib"), ("good", "ten.deflate"),
        ("bad", "corrupt.deflate"), ("bad", "truncated.deflate"))}
    for level in (0, 1, 9):
        packer = zlib.compressobj(level, zlib.DEFLATED, -15)
        deflates["raw%d.deflate" % level] = packer.compress(plain) + packer.flush()
    packer = zlib.compressobj(6, zlib.DEFLATED, -15, 9, zlib.Z_FIXED)
    deflates["fixed.deflate"] = packer.compress(plain[:4000]) + packer.flush()
    packer = zlib.compressobj(6, zlib.DEFLATED, -15)
    deflates["flushed.deflate"] = (packer.compress(plain[:2000]) + packer.flush(zlib.Z_FULL_FLUSH) +
                                   packer.compress(plain[2000:4000]) + packer.flush())
    deflates["dictionary.zlib"] = zlib.compressobj(6, zlib.DEFLATED, 15, zdict=b"material").compress(
        plain[:500])
    deflates["empty.zlib"] = zlib.compress(b"")
    for i, (name, stream) in enumerate(sorted(deflates.items())):
        control = bytearray(list(CONTROLS.values())[i % len(CONTROLS)])
        control[0] |= 1 if name.endswith(".zlib") else 0  # bit 0: zlib-wrapped
        write("inflate_reader", name, bytes(control) + stream)


def seed_text():
    samples = {
        "materials.lua": (ROOT / "examples" / "materials.lua").read_bytes()[:3000],
        "words": text(600, 1),
        "casefold": (ROOT / "Core" / "data" / "casefold-bmp-16.0.txt").read_bytes()[:2000],
        "broken": b"a\x80b\xc3\xe2\x82x\xf0\x9f\x98\xc0\x80\xed\xa0\x80\xf8\xfe\xff\xe2\x82",
        "grows": "ȺȺ".encode() + b"a" * 30 + b"KK",
        "astral": "😀𝔸𐐀".encode() * 5,
    }
    for name, sample in samples.items():
        write("utf8_convert", name, sample)
        for room in (0x20, 0xFF):
            write("transform_utf8", "%s-%02x" % (name, room), bytes([room]) + sample)


def seed_archives(qkmt):
    """The archive tests' zip files and .qkpk archives (but the 1 MiB one, whose size would set the
    fuzzer's input length), and an archive of a small folder made by `qkmt pack`."""
    for kind in ("good", "bad"):
        for path in sorted((DATA / kind / "archives").iterdir()):
            if path.stat().st_size > 65536:
                continue
            target = "zip_archive" if path.suffix == ".zip" else "qkpk_archive"
            write(target, kind + "-" + path.name, path.read_bytes())
    with tempfile.TemporaryDirectory() as work:
        folder = pathlib.Path(work) / "tree"
        (folder / "Sub").mkdir(parents=True)
        (folder / "Sub" / "text.txt").write_bytes(text(3000, 3))
        (folder / "small.bin").write_bytes(b"abc")
        (folder / ".metadata.json").write_text('{ "%s/small.bin": { "lod": { "type": "int", "value": 1 } } }' % folder)
        archive = pathlib.Path(work) / "packed.qkpk"
        subprocess.run([qkmt, "pack", str(folder), str(archive), "--time-from", "zero"], check=True,
                       stdout=subprocess.DEVNULL)
        write("qkpk_archive", "packed", archive.read_bytes())


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    qkmt = str(pathlib.Path(sys.argv[1]).resolve() / "Tools" / "qkmt" / "qkmt")
    seed_scenes(qkmt)
    seed_readers()
    seed_text()
    seed_archives(qkmt)


if __name__ == "__main__":
    main()
