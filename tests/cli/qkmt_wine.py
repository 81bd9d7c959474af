#!/usr/bin/env python3
"""qkmt.exe under Wine, called the way the black-box tests call qkmt:

    qkmt_wine.py WINE_RUN WINE_PREFIX QKMT_EXE [ARGUMENTS...]

The tests name real files by their absolute host paths. On Windows "/..." is the virtual file
system and a real path has a drive, so each argument that is a host path (its first folder exists
here), alone, behind "NAME=" or before a mount point (":/..."), is handed over in its drive
form: Wine's drive Z: is the host's root. The C runtime of Windows writes standard output and
error in text mode, each line feed as CR LF: the wrapper turns every CR LF back into a line feed,
the exact inverse, so the tests see the bytes the tool meant to write. Standard input and the exit
status pass through unchanged; the two output streams are handed on one after the other, once the
program has ended."""
import os
import re
import subprocess
import sys


def drive_form(path):
    parts = path.split("/")
    if len(parts) > 1 and parts[1] and os.path.isdir("/" + parts[1]):
        return "Z:" + path.replace("/", "\\")
    return None


def translate(argument):
    mount = re.match(r"^(/[^:]*)(:/.*)$", argument)  # --mount SOURCE:/MOUNTPOINT...: the source only
    if mount:
        converted = drive_form(mount.group(1))
        if converted:
            return converted + mount.group(2)
    if argument.startswith("/"):
        return drive_form(argument) or argument
    named = re.match(r"^([^=/]+=)(/.*)$", argument)
    if named:
        converted = drive_form(named.group(2))
        if converted:
            return named.group(1) + converted
    return argument


def main():
    wine_run, prefix, program = sys.argv[1:4]
    arguments = [translate(a) for a in sys.argv[4:]]
    child = subprocess.Popen([wine_run, prefix, program] + arguments,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    out, err = child.communicate()
    sys.stdout.buffer.write(out.replace(b"\r\n", b"\n"))
    sys.stdout.buffer.flush()
    sys.stderr.buffer.write(err.replace(b"\r\n", b"\n"))
    sys.stderr.buffer.flush()
    sys.exit(child.returncode)


if __name__ == "__main__":
    main()
