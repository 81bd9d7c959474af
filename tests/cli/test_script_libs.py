"""The script host's own libraries as a script meets them through `qkmt run`: print, the sandbox
levels, io's reading rules, lfs with its directory object and lock files, require and its loaders.
Each script prints what it saw; the test compares."""
import errno
import hashlib
import os
import re
import shutil
import subprocess
import tempfile
import textwrap
import unittest

from clisupport import QKMT, WINDOWS, printed, real_spelling

# What each operation gives at levels 0 to 5 with the current directory c/, the write directory w/
# and the temporary directory t/ ("ok" for a file, a chunk or a handle; o/ lies under none of them).
V = "%s: sandbox violation"
SANDBOX_TABLE = {
    "io.open r c/f.txt": ["ok", "ok", "ok", "ok", V % "io.open(c/f.txt)", "ok"],
    "io.open r o/f.txt": ["ok", "ok", V % "io.open(r)(o/f.txt)", V % "io.open(r)(o/f.txt)",
                          V % "io.open(o/f.txt)", V % "io.open(r)(o/f.txt)"],
    "io.open w w/new.txt": ["ok", "ok", "ok", "ok", V % "io.open(w/new.txt)", "ok"],
    "io.open w c/new.txt": ["ok"] + [V % "io.open(w)(c/new.txt)"] * 3 + [V % "io.open(c/new.txt)",
                                                                        V % "io.open(w)(c/new.txt)"],
    "io.open a o/new.txt": ["ok"] + [V % "io.open(w)(o/new.txt)"] * 3 + [V % "io.open(o/new.txt)",
                                                                        V % "io.open(w)(o/new.txt)"],
    "loadfile c/m.lua": ["ok"] * 6,
    "loadfile w/m.lua": ["ok", "ok", V % "can't open 'w/m.lua'", "ok", "ok", "ok"],
    "loadfile o/m.lua": ["ok", V % "can't open 'o/m.lua'", V % "can't open 'o/m.lua'", "ok", "ok", "ok"],
    "dofile o/m.lua": ["m", V % "can't open 'o/m.lua'", V % "can't open 'o/m.lua'", "m", "m", "m"],
    "lfs.attributes c/f.txt": ["file", "file", "file", "file", V % "lfs.attributes(c/f.txt)", "file"],
    "lfs.attributes o/f.txt": ["file", "file"] + [V % "lfs.attributes(o/f.txt)"] * 4,
    "lfs.mkdir w/d": ["true", "true", "true", "true", V % "lfs.mkdir(w/d)", "true"],
    "lfs.rmdir w/d": ["true", "true", "true", "true", V % "lfs.rmdir(w/d)", "true"],
    "lfs.mkdir c/d": ["true"] + [V % "lfs.mkdir(c/d)"] * 5,
    "lfs.rmdir c/d": ["true"] + [V % "lfs.rmdir(c/d)"] * 5,
    "lfs.dir c": ["3", "3", "3", "3", "0", "3"],
    "lfs.dir o": ["3", "3", "0", "0", "0", "0"],
    "lfs.currentdir": ["c/", "c/", "c/", "c/", V % "lfs.currentdir()", "c/"],
    "lfs.writedir": ["w/", "w/", "w/", "w/", V % "lfs.writedir()", "w/"],
    "lfs.tempdir": ["t/", "t/", "t/", "t/", V % "lfs.tempdir()", "t/"],
    "lfs.locations": ["ok", "ok", "ok", "ok", V % "lfs.locations()", "ok"],
    "lfs.add_location": ["true"] + [V % "lfs.add_location(x)"] * 5,
    "lfs.del_location": ["true"] + [V % "lfs.del_location(y)"] * 5,
    "lfs.create_lockfile lock": ["ok", "ok", "ok", "ok", V % "lfs.create_lockfile(lock)", "ok"],
    "lfs.create_lockfile ../o/lock": ["ok"] + [V % "lfs.create_lockfile(../o/lock)"] * 5,
    "require o.m": ["m"] * 6,
    "lfs.md5sum o/f.txt": [hashlib.md5(b"outside\n").hexdigest()] * 6,
    "lfs.normpath": ["/b"] * 6,
    "lfs.chdir": ["can't chdir on VFS"] * 6,
}

SANDBOX_SCRIPT = r"""
local function show(name, ok, a, b)
  if not ok then print(name, a)
  elseif a == nil and type(b) == "string" then print(name, b)
  elseif type(a) == "string" or type(a) == "boolean" then print(name, tostring(a))
  else print(name, "ok") end
end
local function try(name, f, ...) show(name, pcall(f, ...)) end
local function count(it) local n = 0 for _ in it do n = n + 1 end return tostring(n) end
package.path = "./?.lua"
try("io.open r c/f.txt", io.open, "c/f.txt")
try("io.open r o/f.txt", io.open, "o/f.txt", "rb")
try("io.open w w/new.txt", io.open, "w/new.txt", "w")
try("io.open w c/new.txt", io.open, "c/new.txt", "wb")
try("io.open a o/new.txt", io.open, "o/new.txt", "a")
try("loadfile c/m.lua", loadfile, "c/m.lua")
try("loadfile w/m.lua", loadfile, "w/m.lua")
try("loadfile o/m.lua", loadfile, "o/m.lua")
try("dofile o/m.lua", dofile, "o/m.lua")
try("lfs.attributes c/f.txt", lfs.attributes, "c/f.txt", "mode")
try("lfs.attributes o/f.txt", lfs.attributes, "o/f.txt", "mode")
try("lfs.mkdir w/d", lfs.mkdir, "w/d")
try("lfs.rmdir w/d", lfs.rmdir, "w/d")
try("lfs.mkdir c/d", lfs.mkdir, "c/d")
try("lfs.rmdir c/d", lfs.rmdir, "c/d")
print("lfs.dir c", count(lfs.dir("c/")))
print("lfs.dir o", count(lfs.dir("o")))
try("lfs.currentdir", lfs.currentdir)
try("lfs.writedir", lfs.writedir)
try("lfs.tempdir", lfs.tempdir)
try("lfs.locations", lfs.locations)
try("lfs.add_location", lfs.add_location, "x", "y")
try("lfs.del_location", lfs.del_location, "y")
try("lfs.create_lockfile lock", lfs.create_lockfile, "lock")
try("lfs.create_lockfile ../o/lock", lfs.create_lockfile, "../o/lock")
try("require o.m", require, "o.m")
try("lfs.md5sum o/f.txt", lfs.md5sum, "o/f.txt")
try("lfs.normpath", lfs.normpath, "a/../b")
try("lfs.chdir", lfs.chdir, "c")
"""


# The file system's roots, which lfs.locations lists after the named locations: "/" on Linux; on
# Windows each drive (under Wine, the drive letters of the prefix's dosdevices folder).
def _roots():
    if not WINDOWS:
        return ["/"]
    devices = os.path.join(os.environ.get("WINEPREFIX", os.path.expanduser("~/.wine")), "dosdevices")
    return sorted(d.upper() + "\\" for d in os.listdir(devices) if re.fullmatch(r"[a-z]:", d))


ROOTS = _roots()


class ScriptLibraries(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-libs-")
        self.addCleanup(shutil.rmtree, self.dir)

    def put(self, name, data):
        path = os.path.join(self.dir, name)
        os.makedirs(os.path.dirname(path) or self.dir, exist_ok=True)
        with open(path, "wb") as f:
            f.write(data.encode() if isinstance(data, str) else data)

    def run_lua(self, body, *options, env=None):
        self.put("script.lua", textwrap.dedent(body))
        return subprocess.run([QKMT, "run", *options, "script.lua"], cwd=self.dir, capture_output=True,
                              env=env)

    def lines(self, body, *options, env=None):
        result = self.run_lua(body, *options, env=env)
        self.assertEqual(result.returncode, 0, result.stderr.decode())
        return printed(result.stderr).splitlines()

    # ---- print ---------------------------------------------------------------------------------

    def test_print_is_a_log_line_shown_without_v_while_other_debug_lines_are_not(self):
        self.put("data/x.txt", "x")
        result = self.run_lua('print(1, nil, true) print("two\\nlines") print() print(string.rep("a", 9000), "b")',
                              "--mount", "data:/d")
        self.assertEqual(result.stdout, b"")
        self.assertEqual(printed(result.stderr), "1\tnil\ttrue\ntwo\n\n" + "a" * 9000 + "\tb\n")
        self.assertIn(b"): two\nlines\n", result.stderr)
        self.assertRegex(result.stderr.decode(), r"^\d{4}-\d\d-\d\d [\d:.]+ DEBUG   qkmt run \(\d+\): 1\tnil\ttrue\n")
        self.assertNotIn(b"Mounted", result.stderr)
        self.assertEqual(self.lines("local ts = tostring tostring = function() return 1 end "
                                    "local ok, message = pcall(print, 'x') tostring = ts print(ok, message)"),
                         ["false\t'tostring' must return a string to 'print'"])

    # ---- the sandbox ---------------------------------------------------------------------------

    def test_each_level_refuses_what_its_table_says(self):
        for name, data in (("c/f.txt", "inside\n"), ("o/f.txt", "outside\n"), ("w/f.txt", ""),
                           ("c/m.lua", "return 'm'"), ("w/m.lua", "return 'm'"), ("o/m.lua", "return 'm'")):
            self.put(name, data)
        os.mkdir(os.path.join(self.dir, "t"))
        dirs = ("--currentdir", "c/", "--writedir", "w/", "--tempdir", "t/")
        for level in range(6):
            seen = dict(line.split("\t", 1) for line in self.lines(SANDBOX_SCRIPT, "--sandbox", str(level), *dirs))
            expected = {name: results[level] for name, results in SANDBOX_TABLE.items()}
            self.assertEqual(seen, expected, "level %d" % level)
        result = self.run_lua('io.open("o/f.txt")', "--sandbox", "2", *dirs)
        self.assertRegex(result.stderr.decode(),
                         r"ERROR   LUA \(\d+\): qkmt run -> io.open\(r\)\(o/f.txt\): sandbox violation\n")
        result = self.run_lua('lfs.dir("o") lfs.dir("c")', "--sandbox", "4", *dirs)
        self.assertRegex(result.stderr.decode(), r"ERROR   LUA \(\d+\): lfs.dir\(o\): sandbox violation!\n")
        result = self.run_lua('lfs.dir("o")', "--sandbox", "3", *dirs)
        self.assertRegex(result.stderr.decode(), r"ERROR   LUA \(\d+\): lfs.dir\(o\): sandbox read violation!\n")

    def test_the_named_script_loads_at_any_level_and_its_loads_are_checked(self):
        self.put("o/m.lua", "return 'm'")
        lines = self.lines('print(loadfile("o/m.lua"))', "--sandbox", "2", "--currentdir", "c/")
        self.assertEqual(lines, ["nil\tcan't open 'o/m.lua': sandbox violation"])

    # ---- io ------------------------------------------------------------------------------------

    def test_io_reads_lines_bytes_and_the_rest_by_its_rules(self):
        self.put("f.txt", b"a\rb\r\n\nthird\nlast")
        self.put("nl.txt", b"\n")
        self.assertEqual(self.lines(r"""
            local function esc(text) return text and (text:gsub("[\r\n]", { ["\r"] = "<CR>", ["\n"] = "<LF>" })) end
            local f = io.open("f.txt", "rb")
            print(f:read(), f:read("*l"), f:read(2), f:read("*line"), f:read(0))
            print(f:read(), f:read(), f:read(0), f:read(3))
            f = io.open("f.txt")
            print(f:read(1), esc(f:read("*all")), f:read("*a"), f:read("*x"))
            f = io.open("f.txt", "r+")
            print(f:read("*l"), esc(f:read(3)), f:read())
            print(pcall(f.read, f, "*n"))
            print(pcall(f.read, f, "x"))
            local n = io.open("nl.txt")
            print(n:read(), n:read())
            local seen = {}
            for l in io.lines(io.open("f.txt")) do seen[#seen + 1] = l end
            print(table.concat(seen, "|"))
            local g = io.open("f.txt")
            local it = g:lines()
            print(it()) g:close() print(select("#", it()), select("#", g:read()), g:close())
            print(select("#", io.write("x")), select("#", io.read()), select("#", io.lines("f.txt")))
            print(#io.open("f.txt"):read(1e300), select("#", io.open("f.txt"):read(0/0)), select("#", f:read(-1)))
            """), ["ab\t\tth\tird\t", "last\tnil\t\t", "a\t<CR>b<CR><LF><LF>third<LF>last\t",
                   "ab\t<LF>th\tird", "false\tio.read('*n') is not supported",
                   "false\tbad argument #2 to '?' (invalid option)", "\tnil", "ab||third|last",
                   "ab", "0\t0", "0\t0\t0", "16\t0\t0"])

    def test_io_lines_across_the_read_ahead_and_in_a_large_file(self):
        self.put("long.txt", "x" * 16383 + "\r" + "y" * 20000 + "\r\n" + "z\n")
        # Above 1 MiB a file is read from the disk as it goes, not from memory.
        text = "".join("line %d%s\n" % (i, "\r" if i % 3 == 0 else "") for i in range(150000))
        self.put("large.txt", text)
        lines = self.lines(r"""
            local f = io.open("long.txt")
            local long = f:read()
            print(#long, long:find("\r"), long:sub(16383, 16384), f:read(), f:read())
            local count, bytes, last = 0, 0
            for l in io.open("large.txt"):lines() do count, bytes, last = count + 1, bytes + #l, l end
            print(count, bytes, last)
            local g = io.open("large.txt")
            g:read() g:read()
            print(#g:read("*a"))
            """)
        plain = text.replace("\r", "")
        self.assertEqual(lines, ["36383\tnil\txy\tz\tnil",
                                 "150000\t%d\tline 149999" % (len(plain) - 150000),
                                 str(len(text) - len("line 0\r\nline 1\n"))])

    def test_io_writes_rewrites_appends_and_refuses_other_modes(self):
        self.put("keep.txt", "old")
        self.assertEqual(self.lines(r"""
            local f = io.open("out.txt", "w")
            print(select("#", f:write(1.5, nil, "x", {}, 2)), f:flush())
            f:close()
            f = io.open("out.txt", "a") f:write("+") f:close()
            print(io.open("out.txt"):read("*a"))
            io.open("keep.txt", "wb"):close()
            print(#io.open("keep.txt"):read("*a"))
            print(io.open("out.txt", "x"))
            print(io.open("missing.txt"))
            print(io.open(".", "r"))
            print(io.open("/etc/hostname"))
            print(io.open("no/dir/file", "w"))
            print(pcall(io.open))
            print(io.open == io.open("out.txt").open, type(io.__gc), getmetatable(io.open("out.txt")).__index.read == io.read)
            """), ["0", "1.5x2+", "0", "nil\tio.open(out.txt): only 'r' and 'w' are supported on VFS",
                   "nil\tcan't open \"missing.txt\" for 'r'", "nil\tcan't open \".\" for 'r'",
                   "nil\tcan't open \"/etc/hostname\" for 'r'", "nil\tcan't open \"no/dir/file\" for 'w'",
                   "false\tbad argument #1 to '?' (requires a filename)", "true\tfunction\ttrue"])

    # ---- lfs -----------------------------------------------------------------------------------

    def test_the_directory_object_is_a_snapshot_with_next_and_close(self):
        for name in ("d/a.txt", "d/b.txt", "d/.git/config", "d/.hidden", "d/sub/c.txt"):
            self.put(name, "x")
        lines = self.lines(r"""
            local it, d = lfs.dir("d")
            print(d.n, d.i, type(d.next), type(d.close))
            local names = {}
            for i = 1, d.n do names[#names + 1] = d[i] end
            table.sort(names) print(table.concat(names, " "))
            local first, second = d:next(), it()
            print(first == d[1], second == d[2], d.i)
            io.open("d/new.txt", "w"):close()
            print(it() == d[3], it(d), d.i)
            d:close()
            print(it(), d.n, d.i, d.next, d[1])
            print(pcall(d.next, d))
            print(pcall(it, 5))
            local n = 0 for f in lfs.dir("missing") do n = n + 1 end print(n)
            print(pcall(lfs.dir))
            """)
        self.assertEqual(lines, ["3\tnil\tfunction\tfunction", "a.txt b.txt sub", "true\ttrue\t2",
                                 "true\tnil\t4", "nil\tnil\t1\tnil\tnil",
                                 "false\tattempt to call a nil value",
                                 "false\tbad argument #1 to '?' (qk_lua_vfs:lfs_dir_walk)", "0",
                                 "false\tbad argument #1 to '?' (path is required)"])

    def test_lfs_files_folders_paths_and_locations(self):
        self.put("f.txt", "12345")
        self.put("empty", "")
        os.mkdir(os.path.join(self.dir, "full"))
        self.put("full/x", "x")
        lines = self.lines(r"""
            local a = lfs.attributes("f.txt")
            print(a.mode, a.size, a.modification > 0, lfs.attributes("f.txt", "size"), lfs.attributes("full", "size"),
                  lfs.attributes("full", "mode"), select("#", lfs.attributes("f.txt", "bogus")),
                  select("#", lfs.attributes("missing")))
            print(lfs.mkdir("f.txt"), lfs.mkdir("new"), lfs.mkdir("new"), lfs.rmdir("new"), lfs.rmdir("missing"))
            print(lfs.rmdir("full"))
            print(lfs.mkdir("no/parent"))
            print(lfs.md5sum("empty"), lfs.md5sum("f.txt"), select("#", lfs.md5sum("missing")))
            print(lfs.normpath("a\\b/../c/./d"), lfs.normpath(12), lfs.realpath("x/../y") == lfs.realpath("y"))
            print(lfs.add_location("a", "b"), lfs.add_location("a", "c"), lfs.del_location("a"), lfs.del_location("b"),
                  lfs.del_location("b"))
            lfs.add_location("name", "path")
            local l = lfs.locations()
            print(l.n, l[1].name, l[1].path, l[l.n].path)
            print(pcall(lfs.add_location, "a"))
            print(pcall(lfs.normpath))
            print(pcall(lfs.chdir, "x"))
            """)
        self.assertEqual(lines, [
            "file\t5\ttrue\t5\t0\tdirectory\t0\t0", "true\ttrue\ttrue\ttrue\ttrue",
            "nil\tcan't delete directory \"full\"", "nil\tcan't create directory \"no/parent\"",
            "d41d8cd98f00b204e9800998ecf8427e\t827ccb0eea8a706c4c34a16891f84e7b\t0",
            "a/c/d\t12\ttrue", "true\tfalse\tfalse\ttrue\tfalse",
            "%d\tname\tpath\t%s" % (len(ROOTS) + 1, ROOTS[-1]),
            "false\tlfs.add_location(name, path)", "false\tbad argument #1 to '?' (lfs.normpath(path))",
            "false\tcan't chdir on VFS"])

    def test_md5sum_reads_virtual_paths_through_the_mounts(self):
        data = bytes(range(256)) * 40  # 10,240 bytes: two whole blocks and a short one
        self.put("data/blob.bin", data)
        lines = self.lines('print(lfs.md5sum("/v/BLOB.bin"), lfs.md5sum("/v/none"))', "--mount", "data:/v")
        self.assertEqual(lines, [hashlib.md5(data).hexdigest()])

    def test_a_lock_file_is_held_until_the_process_ends(self):
        os.mkdir(os.path.join(self.dir, "t"))
        lines = self.lines(r"""
            print(type(lfs.create_lockfile("job")), lfs.attributes("t/job", "mode"))
            print(lfs.create_lockfile("job"))
            print(lfs.create_lockfile("no/such/dir/job"))
            """, "--tempdir", "t")
        # The system's error numbers: a lock held elsewhere, a folder that isn't there (Windows:
        # ERROR_SHARING_VIOLATION and ERROR_PATH_NOT_FOUND), and a leftover taken over
        # (ERROR_ALREADY_EXISTS).
        held, missing, leftover = (32, 3, 183) if WINDOWS else (errno.EAGAIN, errno.ENOENT, errno.EEXIST)
        self.assertEqual(lines, ["userdata\tfile", "nil\t%d" % held, "nil\t%d" % missing])
        # A directory given by its absolute path is handed over relative to the working directory
        # (on Windows, where a drive path is real, as it was given).
        absolute = os.path.join(os.path.realpath(self.dir), "t")
        self.assertEqual(self.lines('print(lfs.tempdir(), type(lfs.create_lockfile("job")))', "--tempdir", absolute),
                         ["%s\tuserdata" % real_spelling(absolute, os.path.realpath(self.dir))])
        self.assertEqual(os.listdir(os.path.join(self.dir, "t")), [])
        self.put("t/left", "")  # a leftover no one holds: taken over, and reported all the same
        self.assertEqual(self.lines('print(lfs.create_lockfile("left"))', "--tempdir", "t"),
                         ["nil\t%d" % leftover])
        self.assertEqual(os.listdir(os.path.join(self.dir, "t")), [])

    # ---- require, packages, versions -----------------------------------------------------------

    def test_require_searches_five_loaders_with_the_builtin_table_third(self):
        self.put("mods/good.lua", "return 'good'")
        self.put("mods/bad.lua", "return {")
        self.put("mods/raises.lua", "error('no')")
        lines = self.lines(r"""
            package.path = "mods/?.lua"
            print(#package.loaders, package.loaders[3]("host") ~= nil, package.loaders[3]("nope"))
            print(require("good"), safe_require("good"), safe_require("bad"), safe_require("raises"))
            print(select(2, pcall(require, "raises")))
            print(pcall(safe_require))
            print(type(require("host")), package.loaded.host == require("host"))
            local ok, message = pcall(require, "nope")
            print((message:gsub("\n", "|")))
            """)
        self.assertEqual(lines[0], "5\ttrue\tnope")
        self.assertEqual(lines[1], "good\tgood\tnil\tnil")
        self.assertEqual(lines[2], "loop or previous error loading module 'raises'")
        self.assertEqual(lines[3], "false\tbad argument #1 to '?' (string expected, got no value)")
        self.assertEqual(lines[4], "table\ttrue")
        self.assertRegex(lines[5], r"^module 'nope' not found:\|\tno field package.preload\['nope'\]"
                                   r"\|\tno file 'mods/nope.lua'nope\|\tno file '[^']*nope.so'")

    def test_package_paths_come_from_the_environment_or_beside_the_executable(self):
        env = {k: v for k, v in os.environ.items() if k not in ("LUA_PATH", "LUA_CPATH")}
        # The tool's folder relative to the working directory, in the system's separators.
        program = os.environ.get("QKMT_PROGRAM", QKMT)
        folder = os.path.relpath(os.path.dirname(os.path.realpath(program)), self.dir)
        if WINDOWS:
            folder = folder.replace("/", "\\")
        self.assertEqual(self.lines("print(package.path) print(package.cpath)", env=env), [
            "./?.lua;{0}/lua/?.lua;{0}/lua/?/init.lua;{0}/?.lua;{0}/?/init.lua".format(folder),
            "./lua-?.so;./?.so;{0}/lua-?.so;{0}/?.so;".format(folder)])
        env.update(LUA_PATH="/v/?.lua;;x/?.lua", LUA_CPATH="!/c/?.so")
        lines = self.lines("print(package.path) print(package.cpath)", env=env)
        self.assertEqual(lines[0], "/v/?.lua;./?.lua;{0}/lua/?.lua;{0}/lua/?/init.lua;{0}/?.lua;{0}/?/init.lua;x/?.lua"
                         .format(folder))
        self.assertEqual(lines[1], folder + "/c/?.so")

    def test_the_version_globals(self):
        self.assertEqual(self.lines("print(_APP_VERSION, _ARCHITECTURE, QK_FINAL_VERSION, QK_PUBLIC_AVAILABLE)"),
                         ["0.1.0.0\tx86_64\tfalse\tfalse"])


if __name__ == "__main__":
    unittest.main()
