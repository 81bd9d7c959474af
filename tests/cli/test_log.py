"""qkmt's log lines: the FULL format on standard error, colours on a terminal, and the
debugger channel's stand-in (the file named by QK_DEBUG_OUTPUT)."""
import os
import pty
import re
import shutil
import subprocess
import tempfile
import unittest

from clisupport import QKMT, WINDOWS
DATA = os.path.join(os.environ["QK_TEST_DATA"], "catalogues")

# A texture entry that Lua can't index ends the load in a Lua panic, logged at ALERT.
PANIC_LINE = (r"1970-01-01 \d\d:\d\d:\d\d\.\d{3} ALERT   LUA \([^)]+\): "
              r"Lua panic: attempt to index a number value\n")


class LogLines(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-log-")
        self.addCleanup(shutil.rmtree, self.dir)

    def test_the_line_reaches_stderr_and_the_debugger_channel_alike(self):
        if WINDOWS:
            self.skipTest("Windows: the debugger channel is OutputDebugStringW, which only a debugger "
                          "reads; QK_DEBUG_OUTPUT is POSIX's stand-in for it")
        debug = os.path.join(self.dir, "debug.txt")
        env = dict(os.environ, QK_DEBUG_OUTPUT=debug)
        # No terminal: the fatal-level question answers at once, and nothing waits.
        result = subprocess.run([QKMT, "catalogue", "panic.lua"], cwd=DATA, env=env,
                                stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
        stderr = result.stderr.decode()
        self.assertRegex(stderr, "(?m)^" + PANIC_LINE)
        self.assertNotIn("\x1b[", stderr)
        with open(debug, encoding="utf-8") as f:
            debugged = f.read()
        self.assertRegex(debugged, "^" + PANIC_LINE + "$")
        self.assertIn(debugged, stderr)

    def test_a_terminal_gets_the_level_colour(self):
        if WINDOWS:
            self.skipTest("Windows: colours are attributes of a console, which a pseudo-terminal "
                          "under Wine is not")
        try:
            leader, follower = pty.openpty()
        except OSError as error:  # a container without /dev/pts
            self.skipTest("no pseudo-terminal can be opened here: %s" % error)
        try:
            result = subprocess.run([QKMT, "catalogue", "panic.lua"], cwd=DATA,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                    stderr=follower, timeout=60)
            os.close(follower)
            follower = None
            output = b""
            while True:
                try:
                    chunk = os.read(leader, 65536)
                except OSError:
                    break
                if not chunk:
                    break
                output += chunk
        finally:
            if follower is not None:
                os.close(follower)
            os.close(leader)
        self.assertNotEqual(result.returncode, 0)
        text = output.decode().replace("\r\n", "\n")
        self.assertRegex(text, re.escape("\x1b[35m") + PANIC_LINE + re.escape("\x1b[0m"))


if __name__ == "__main__":
    unittest.main()
