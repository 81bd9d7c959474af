"""What the black-box tests of qkmt share: the tool's path, and the ways to meet a permission or a
file-size limit from inside a test."""
import errno
import os
import re
import resource
import signal
import subprocess

QKMT = os.environ["QKMT"]
# qkmt.exe under Wine: file modes and the limits of POSIX processes don't reach it.
WINDOWS = os.environ.get("QKMT_WINDOWS") == "1"
NOBODY = 65534

# The failures the tests meet, with the error Linux gives (its words are the C library's) and the
# words of the Win32 error that Windows gives for the same failure (ERROR_FILE_NOT_FOUND,
# ERROR_PATH_NOT_FOUND where a folder of the path is missing, ERROR_ACCESS_DENIED for a folder
# opened as a file, ERROR_DISK_FULL), as the system's message table under Wine words them.
_FAILURES = {
    "missing": (errno.ENOENT, "File not found."),
    "missing folder": (errno.ENOENT, "Path not found."),
    "directory": (errno.EISDIR, "Access denied."),
    "full": (errno.ENOSPC, "Disk full."),
}


def as_given(path, separator="\\"):
    """An absolute host path as the tool receives it: unchanged on Linux; on Windows in the drive
    form that the wrapper hands over (Wine's drive Z: is the host's root)."""
    return "Z:" + path.replace("/", separator) if WINDOWS else path


def real_spelling(path, cwd, separator="\\"):
    """How the tool names a real file or folder that the test gives by its absolute host path. On
    Linux a path that begins with "/" is virtual, so the tool spells it relative to the working
    directory; on Windows a drive path is a real path and stays as the tool was given it, in the
    drive form that the wrapper hands over (Wine's drive Z: is the host's root)."""
    return as_given(path, separator) if WINDOWS else os.path.relpath(path, cwd)


def failure_text(failure):
    """The system's words for a failure ("missing", "missing folder", "directory", "full") in the
    tool's messages."""
    code, windows = _FAILURES[failure]
    return windows if WINDOWS else os.strerror(code)


def _become_nobody():
    os.setgroups([])
    os.setgid(NOBODY)
    os.setuid(NOBODY)


def as_nobody_or_skip(test):
    """Keyword arguments for subprocess.run under which a file of mode 0 can't be read. As root,
    whom no permission stops, the child runs as the user nobody; where that can't be done, the
    test is skipped with the reason. On Windows, where file modes don't stop a reader, it is
    skipped."""
    if WINDOWS:
        test.skipTest("Windows: a file mode of 0 doesn't stop a reader")
    if os.geteuid() != 0:
        return {}
    try:
        subprocess.run(["true"], preexec_fn=_become_nobody, check=True)
    except (OSError, subprocess.SubprocessError) as error:
        test.skipTest("running as root, and the user nobody can't be taken on: %s" % error)
    return {"preexec_fn": _become_nobody}


def skip_without_file_size_limit(test):
    """Skips a test of a write cut by file_size_limit on Windows, where no such limit exists."""
    if WINDOWS:
        test.skipTest("Windows: no limit of the size of the files a process writes (RLIMIT_FSIZE)")


def file_size_limit(limit):
    """A preexec_fn that limits the files the child writes to `limit` bytes. SIGXFSZ is ignored,
    so that a write past the limit fails with EFBIG ("File too large") instead of killing it."""
    def limit_files():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
    return limit_files


LOG_HEADER = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} (\w+) +(.*?) \([^)]*\): ", re.M)


def printed(stderr, state="qkmt run"):
    """What a script's `print` wrote: the texts of the log lines of level DEBUG under the state's
    name on standard error, each ended by a line feed. A text with line feeds of its own spans
    several lines, of which only the first is taken: tests that print such texts read the stream
    themselves."""
    text = stderr.decode() if isinstance(stderr, bytes) else stderr
    out = []
    for line in text.split("\n"):
        header = LOG_HEADER.match(line)
        if header and header.group(1) == "DEBUG" and header.group(2) == state:
            out.append(line[header.end():] + "\n")
    return "".join(out)
