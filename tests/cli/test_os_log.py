"""The script's `os` and `log` through `qkmt run`, as a pipeline script meets them: os at each
sandbox level, log lines and log files set from the script, and `--log FILE[:RULES]`."""
import os
import re
import shutil
import subprocess
import tempfile
import textwrap
import unittest

from clisupport import QKMT, failure_text, printed

V = "%s: sandbox violation"
# What each operation gives at levels 0 to 4 with the current directory c/, the write directory w/
# and the temporary directory t/. Files are made afresh for each level.
OS_TABLE = {
    "remove w/a": ["true", "true", "true", V % "os.remove(w/a)", V % "os.remove(w/a)"],
    "remove c/b": ["true", V % "os.remove(c/b)", V % "os.remove(c/b)", V % "os.remove(c/b)", V % "os.remove(c/b)"],
    "rename w/a t/a": ["true", "true", "true", V % "lfs.rename(w/a)", V % "lfs.rename(w/a)"],
    "rename w/a c/a": ["true", V % "lfs.remove(w/a)", V % "lfs.remove(w/a)", V % "lfs.rename(w/a)",
                       V % "lfs.rename(w/a)"],
    "getenv": ["here", "here", "here", "here", V % "os.getenv(QK_TEST_VALUE)"],
    "execute": ["0"] + [V % "execute(exit 0)"] * 4,
    "open_uri": ["2"] + [V % "os.open_uri(missing.txt)"] * 4,
}

OS_SCRIPT = r"""
local function show(name, a, b)
  if a == nil and b then print(name, b) else print(name, tostring(a)) end
end
show("remove w/a", os.remove("w/a"))
show("remove c/b", os.remove("c/b"))
local function make(path) local f = io.open(path, "w") if f then f:close() end end
make("w/a")
show("rename w/a t/a", os.rename("w/a", "t/a"))
make("w/a")
show("rename w/a c/a", os.rename("w/a", "c/a"))
show("getenv", os.getenv("QK_TEST_VALUE"))
show("execute", os.execute("exit 0"))
show("open_uri", os.open_uri("missing.txt"))
-- No log function is ever refused, whatever the level: here one writes outside the write directory.
log.set_output("o/script.log", "qkmt run", log.INFO, log.MESSAGE + log.NO_HEADER_FOOTER)
log.info("written")
"""


class Scripts(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-oslog-")
        self.addCleanup(shutil.rmtree, self.dir)

    def put(self, name, data):
        path = os.path.join(self.dir, name)
        os.makedirs(os.path.dirname(path) or self.dir, exist_ok=True)
        with open(path, "w") as f:
            f.write(data)
        return path

    def read(self, name):
        with open(os.path.join(self.dir, name)) as f:
            return f.read()

    def qkmt(self, body, *options, env=None):
        self.put("script.lua", textwrap.dedent(body))
        return subprocess.run([QKMT, "run", *options, "script.lua"], cwd=self.dir, capture_output=True,
                              env=env, stdin=subprocess.DEVNULL, timeout=60)

    # ---- os ------------------------------------------------------------------------------------

    def test_os_at_each_level_refuses_what_its_table_says(self):
        env = dict(os.environ, QK_TEST_VALUE="here")
        dirs = ("--currentdir", "c/", "--writedir", "w/", "--tempdir", "t/")
        for level in range(5):
            for folder in ("c", "w", "t", "o"):
                shutil.rmtree(os.path.join(self.dir, folder), ignore_errors=True)
                os.mkdir(os.path.join(self.dir, folder))
            self.put("w/a", "a")
            self.put("c/b", "b")
            result = self.qkmt(OS_SCRIPT, "--sandbox", str(level), *dirs, env=env)
            self.assertEqual(result.returncode, 0, result.stderr.decode())
            seen = dict(line.split("\t", 1) for line in printed(result.stderr).splitlines())
            for name, expected in OS_TABLE.items():
                self.assertEqual(seen.get(name), expected[level], "%s at level %d" % (name, level))
            # Every refusal is an ERROR line of its own under LUA, named after the state.
            refusals = [e[level] for e in OS_TABLE.values() if "violation" in e[level]]
            for refusal in refusals:
                self.assertIn(" ERROR   LUA (", result.stderr.decode())
                self.assertIn("): qkmt run -> %s\n" % refusal, result.stderr.decode())
            self.assertEqual(self.read("o/script.log"), "written\n", "level %d" % level)

    # ---- log -----------------------------------------------------------------------------------

    def test_a_script_sets_an_output_with_a_backup_of_the_last_run(self):
        script = """
            log.max_age_days = 30
            log.set_output("build.log", "qkmt run", log.ALL, log.FULL + log.BACKUP)
            log.info("run %s", arg[1])
        """
        for run in ("one", "two"):
            self.put("script.lua", textwrap.dedent(script))
            result = subprocess.run([QKMT, "run", "script.lua", run], cwd=self.dir, capture_output=True,
                                    timeout=60)
            self.assertEqual(result.returncode, 0, result.stderr.decode())
        backups = [n for n in os.listdir(self.dir) if re.fullmatch(r"build\.\d{4}-\d\d-\d\d_\d\d-\d\d-\d\d\.log", n)]
        self.assertEqual(len(backups), 1, os.listdir(self.dir))
        self.assertIn("INFO    qkmt run", self.read(backups[0]))
        self.assertIn("): run one\n", self.read(backups[0]))
        current = self.read("build.log")
        self.assertRegex(current, r"^---- log opened \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC ----\n")
        self.assertIn("): run two\n", current)
        self.assertNotIn("run one", current)

    # ---- --log ---------------------------------------------------------------------------------

    def test_log_option_without_rules_takes_every_module_and_level_but_trace(self):
        result = self.qkmt("print('printed') log.write('Other', log.DEBUG, 'debug') log.error('bad')",
                           "--log", "run")
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        text = self.read("run.log")
        stamp = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"
        self.assertRegex(text, r"^---- log opened %s UTC ----\n" % stamp)
        self.assertRegex(text, r"\n---- log closed %s UTC ----\n$" % stamp)
        body = re.findall(r"(?m)^%s\.\d{3} (\w+) +(.+?) \(\d+\): (.*)$" % stamp, text)
        self.assertEqual(body, [("DEBUG", "qkmt run", "printed"), ("DEBUG", "Other", "debug"),
                                ("ERROR", "qkmt run", "bad")])
        self.assertNotIn("Created state", text)  # a TRACE line
        # The console keeps what it shows (DEBUG lines without RELIABLE are hidden without -v).
        self.assertNotIn(b"Other", result.stderr)
        self.assertNotRegex(result.stderr.decode(), r"(?m)^1970-")  # the run's log has the real time

    def test_log_option_rules_choose_modules_levels_and_files(self):
        result = self.qkmt("""
            log.write("Lua::Config", log.ERROR, "config")
            log.write("Lua", log.INFO, "lua info")
            log.write("Lua", log.WARNING, "lua warning")
            log.write("Other", log.ERROR, "other error")
        """, "--log", "lua.txt:!Lua::Config,Lua*=warning+error",
             "--log", "errors:=ERROR",
             "--log", "twice:Other", "--log", "twice:Lua")
        self.assertEqual(result.returncode, 0, result.stderr.decode())

        def texts(name):
            return re.findall(r"(?m)\): (.*)$", self.read(name))
        self.assertEqual(texts("lua.txt"), ["lua warning"])
        self.assertEqual(texts("errors.log"), ["config", "other error"])
        self.assertEqual(texts("twice.log"), ["lua info", "lua warning"])  # the last rules given

    def test_a_log_option_that_cant_be_read_is_a_usage_error_before_anything_runs(self):
        cases = {
            "x:=eror": 'unknown level "eror" (the levels: alert, error, warning, error_once, info, debug, '
                       'trace, all, reliable)',
            "x:LUA=": 'a level is missing after "=" or "+"',
            ":LUA": "a log file name is wanted before the rules",
            "x:a,,b": 'a rule is empty (rules are separated by ",")',
            "x:LUA@": 'a thread pattern is missing after "@"',
            "x:" + "m" * 128: 'the pattern "mmmmmmmmmmmmmmmm"... is longer than 127 bytes',
        }
        for text, reason in cases.items():
            result = self.qkmt("io.open('ran', 'w'):close()", "--log", text)
            self.assertEqual(result.returncode, 2, text)
            self.assertEqual(result.stderr.decode(), "qkmt: --log %s: %s\n" % (text, reason))
            self.assertFalse(os.path.exists(os.path.join(self.dir, "ran")), text)
        # 127 bytes fit (though a module's name is cut to 64 bytes in a line).
        result = self.qkmt("log.info('x')", "--log", "x:" + "m" * 127)
        self.assertEqual(result.returncode, 0, result.stderr.decode())

    def test_a_log_file_that_cant_be_made_is_reported_once_and_the_run_goes_on(self):
        result = self.qkmt("log.info('one') log.info('two') print('done')", "--log", "missing/run.log")
        self.assertEqual(result.returncode, 0)
        stderr = result.stderr.decode()
        # The log line holds the system's words as the system gives them (on Windows with their
        # own line end).
        self.assertEqual(stderr.count("Failed to open log output ./missing/run.log: " + failure_text("missing folder")),
                         1, stderr)
        self.assertEqual(printed(stderr), "done\n")


if __name__ == "__main__":
    unittest.main()
