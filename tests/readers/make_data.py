#!/usr/bin/env python3
"""Makes the reader tests' inputs with real tools: deflate data with Python's zlib, zstd frames with
the zstd command. Writes tests/data/good/readers and tests/data/bad/readers; run it from anywhere
and check the result in. The text is the same on every run, so the files only change when this
script does."""
import pathlib
import random
import subprocess
import zlib

DATA = pathlib.Path(__file__).resolve().parent.parent / "data"
GOOD = DATA / "good" / "readers"
BAD = DATA / "bad" / "readers"

WORDS = ("material shader uniform texture channel opacity decal blend shadow caster depth bias "
         "normal terrain grass mesh spline line default metal concrete").split()


def text(size):
    rng = random.Random(20240611)
    lines, length = [], 0
    while length < size:
        line = "%06d %s\n" % (len(lines), " ".join(rng.choice(WORDS) for _ in range(rng.randint(3, 12))))
        lines.append(line)
        length += len(line)
    return "".join(lines).encode()[:size]


def raw_deflate(data):
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    return packer.compress(data) + packer.flush()


def zstd(data, *options):
    # Small windows give blocks of at most 16 KiB, so the text spans several blocks.
    return subprocess.run(["zstd", "-q", "-c", "-19", "--zstd=wlog=14", *options], input=data,
                          stdout=subprocess.PIPE, check=True).stdout


def zstd_file(path, *options):
    # From a file the zstd command records the content size in the frame header.
    return subprocess.run(["zstd", "-q", "-c", "-19", "--zstd=wlog=14", *options, str(path)],
                          stdout=subprocess.PIPE, check=True).stdout


def first_block_header(frame):
    """Offset of the first block header: behind magic, descriptor, window, dictionary id, size."""
    descriptor = frame[4]
    single_segment = (descriptor >> 5) & 1
    size_bytes = [1 if single_segment else 0, 2, 4, 8][descriptor >> 6]
    return 4 + 1 + (0 if single_segment else 1) + [0, 1, 2, 4][descriptor & 3] + size_bytes


def main():
    GOOD.mkdir(parents=True, exist_ok=True)
    BAD.mkdir(parents=True, exist_ok=True)
    plain = text(65000)
    (GOOD / "text.txt").write_bytes(plain)
    deflated = raw_deflate(plain)
    (GOOD / "text.deflate").write_bytes(deflated)
    (GOOD / "text.zlib").write_bytes(zlib.compress(plain, 9))
    framed = zstd_file(GOOD / "text.txt")
    (GOOD / "text.zst").write_bytes(framed)
    (GOOD / "text-nosize.zst").write_bytes(zstd(plain))
    (GOOD / "text-nocheck.zst").write_bytes(zstd_file(GOOD / "text.txt", "--no-check"))
    (GOOD / "text.zst.deflate").write_bytes(raw_deflate(framed))
    (GOOD / "two-frames.zst").write_bytes(zstd(b"first frame\n") + zstd(b"second frame\n"))
    (GOOD / "ten.deflate").write_bytes(raw_deflate(b"0123456789"))
    (GOOD / "ten.zst").write_bytes(zstd(b"0123456789"))

    (BAD / "truncated.deflate").write_bytes(deflated[: len(deflated) // 2])
    (BAD / "truncated.zst").write_bytes(framed[: len(framed) // 2])
    # Block type 3 is reserved in both formats.
    (BAD / "corrupt.deflate").write_bytes(bytes([deflated[0] | 0x06]) + deflated[1:])
    at = first_block_header(framed)
    (BAD / "corrupt.zst").write_bytes(framed[:at] + bytes([framed[at] | 0x06]) + framed[at + 1:])


if __name__ == "__main__":
    main()
