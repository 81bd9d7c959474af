"""qkmt run --stats: each Lua state's cost, printed on standard error at the end of the run."""
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from clisupport import QKMT, printed

ROW = re.compile(r"^(.*?)\s+(\d+)\s+(\d+)\s+(\d+\.\d{3})\s+(\d+\.\d{3})  (closed|live)$")
TOTALS = re.compile(r"^totals: (\d+) closed, (\d+) bytes left, (\d+) peak bytes, (\d+\.\d{3}) ms allocating, "
                    r"(\d+\.\d{3}) s spare; (\d+) live$")


class RunStats(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="qkmt-stats-")
        self.addCleanup(shutil.rmtree, self.dir)
        os.makedirs(os.path.join(self.dir, "cfg"))
        with open(os.path.join(self.dir, "cfg", "materials.lua"), "w") as f:
            f.write('materials = { default = { shader_name = "lit" } }\n')

    def run_qkmt(self, *words, body):
        with open(os.path.join(self.dir, "script.lua"), "w") as f:
            f.write(body)
        env = {k: v for k, v in os.environ.items() if k != "QKMT_PLUGCFG"}
        return subprocess.run([QKMT, "run", *words], cwd=self.dir, env=env, capture_output=True, text=True)

    def table(self, stderr):
        lines = stderr.splitlines()
        start = lines.index("Lua states:")
        self.assertEqual(lines[start + 1].split(), ["state", "in", "use", "peak", "alloc", "ms", "load"])
        rows = [ROW.match(line) for line in lines[start + 2:-1]]
        self.assertTrue(all(rows), lines)
        totals = TOTALS.match(lines[-1])
        self.assertTrue(totals, lines[-1])
        return [r.groups() for r in rows], totals.groups()

    def test_every_state_of_the_run_and_the_totals(self):
        result = self.run_qkmt("--stats", "script.lua", body="""
            local host = require "host"
            host.set_plugcfg("cfg")
            host.SetMaterial(host.material("Wall"), "default")   -- loads the catalogue in a state of its own
            local t = {} for i = 1, 20000 do t[i] = tostring(i) end
            print(#t)
        """)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(printed(result.stderr), "20000\n")
        rows, totals = self.table(result.stderr)
        self.assertEqual([(r[0], r[5]) for r in rows],
                         [("MaterialsList::loadMaterialsList", "closed"), ("qkmt run", "closed")])
        for name, in_use, peak, alloc_ms, load, _ in rows:
            self.assertEqual(in_use, "0", name + " gives back every byte at its close")
            self.assertGreater(int(peak), 0)
        run = rows[1]
        self.assertGreater(int(run[2]), 20000 * 20, "the run's peak holds its 20000 strings")
        self.assertGreater(float(run[4]), 0.0, "the run's state spent its time in its call")
        closed, left, peak, _, spare, live = totals
        self.assertEqual((closed, left, spare, live), ("2", "0", "0.000", "0"))
        self.assertEqual(int(peak), int(rows[0][2]) + int(run[2]))

    def test_a_failing_script_still_prints_and_fails_and_no_flag_prints_nothing(self):
        result = self.run_qkmt("--stats", "script.lua", body='error("boom")')
        self.assertEqual(result.returncode, 1)
        self.assertIn("boom", result.stderr)
        rows, _ = self.table(result.stderr)
        self.assertEqual([r[0] for r in rows], ["qkmt run"])
        self.assertNotIn("Lua states:", self.run_qkmt("script.lua", body="print(1)").stderr)


if __name__ == "__main__":
    unittest.main()
