"""What the black-box tests of qkmt share: the tool's path, and the ways to meet a permission or a
file-size limit from inside a test."""
import os
import resource
import signal
import subprocess

QKMT = os.environ["QKMT"]
NOBODY = 65534


def _become_nobody():
    os.setgroups([])
    os.setgid(NOBODY)
    os.setuid(NOBODY)


def as_nobody_or_skip(test):
    """Keyword arguments for subprocess.run under which a file of mode 0 can't be read. As root,
    whom no permission stops, the child runs as the user nobody; where that can't be done, the
    test is skipped with the reason."""
    if os.geteuid() != 0:
        return {}
    try:
        subprocess.run(["true"], preexec_fn=_become_nobody, check=True)
    except (OSError, subprocess.SubprocessError) as error:
        test.skipTest("running as root, and the user nobody can't be taken on: %s" % error)
    return {"preexec_fn": _become_nobody}


def file_size_limit(limit):
    """A preexec_fn that limits the files the child writes to `limit` bytes. SIGXFSZ is ignored,
    so that a write past the limit fails with EFBIG ("File too large") instead of killing it."""
    def limit_files():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
    return limit_files
