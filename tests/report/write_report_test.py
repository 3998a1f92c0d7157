#!/usr/bin/env python3
"""The report writer on small made results: tables, flags, plots.

usage: write_report_test.py WRITER
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

WRITER = Path(sys.argv.pop())

CASES = (
    "kernel,size,rows,bytes,rounds,median_ns,best_ns,spread,cycles_per_row,scalar_cycles_per_row,"
    "limit_cycles_per_row,ratio_to_scalar,ratio_to_scalar_spread,ratio_to_limit,"
    "ratio_to_limit_spread,peer,cost_to_peer,cost_to_peer_spread\n"
)
TARGETS = "target,size,figure,asked,bound,worst,met,cases,worst_kernel\n"

# 4000 rows and 8000 bytes in 1000 ns: 4 rows and 8 bytes a nanosecond.
SCANS = CASES + (
    '"colx_eq_dict_4bit","L2",4000,8000,7,1000,990,0.01,0.1,0.8,0.05,8,0.01,0.5,0.01,"",,\n'
    '"colx_eq_dict_8bit","L2",4000,8000,7,1000,990,0.01,0.1,0.2,0.05,2,0.01,0.5,0.01,"",,\n'
    '"colx_eq_dict_8bit","memory",4000,8000,7,2000,990,0.01,0.2,0.2,0.1,1,0.01,0.5,0.01,"",,\n'
)
SCAN_TARGETS = TARGETS + (
    '"eq at 4 bits, times scalar","L2","times scalar",">=",7,8.0000,1,1,"colx_eq_dict_4bit"\n'
    '"eq at 8 bits, times scalar","L2","times scalar",">=",15,2.0000,0,1,"colx_eq_dict_8bit"\n'
    '"range, cost of eq","L2","cost of peer","<=",1.3,1.4000,2,3,"colx_ge_lt_dict_5bit"\n'
    '"no such case","L1","times scalar",">=",2,,0,0,""\n'
)
SELECTIVE = CASES + (
    '"colx_eq_dict_8bit 1 in 64","L2",4000,8000,7,1000,9,0.1,0.2,,,,,,,"full scan",2,0.01\n'
    '"colx_eq_dict_8bit 1 in 256","L2",4000,8000,7,1000,9,0.1,0.05,,,,,,,"full scan",0.5,0.01\n'
)
EXPLANATIONS = (
    "# comments do not count\n"
    "dict_scan_bench/eq at 8*: bound: two loads a cycle; tried: four\n"
    "dict_scan_bench/eq at 4*/L2: bound: nothing; tried: nothing\n"
    "wpak_bench/*: bound: stores; tried: programs that have not run are never stale\n"
)


class ReportTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = Path(self.folder.name)
        (self.root / "results").mkdir()
        self.put("dict_scan_bench.csv", SCANS)
        self.put("dict_scan_bench.targets.csv", SCAN_TARGETS)
        (self.root / "explanations.txt").write_text(EXPLANATIONS)

    def put(self, name: str, text: str):
        file = self.root / "results" / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)

    def write(self, *options: str) -> subprocess.CompletedProcess:
        return subprocess.run(
            [sys.executable, "-B", str(WRITER), str(self.root / "results"),
             str(self.root / "out" / "performance.md"),
             "--explanations", str(self.root / "explanations.txt"), *options],
            capture_output=True, text=True, check=False)

    def report(self, *options: str) -> str:
        done = self.write(*options)
        self.assertEqual(done.returncode, 0, done.stderr)
        return (self.root / "out" / "performance.md").read_text()

    def test_summary_has_speed_and_geometric_mean(self):
        self.assertIn(
            "| Predicates on codes of 2 to 8 bits | 4 G | 8 GB | **4.0** | 2.0 to 8.0 | 4 GB |"
            " 0.50 |",
            self.report())

    def test_target_that_is_met(self):
        self.assertIn(
            "| eq at 4 bits, times scalar | L2 | at least 7 | 8.00 | met | 1 of 1 |"
            " colx_eq_dict_4bit |", self.report())

    def test_missed_target_has_its_explanation(self):
        text = self.report()
        self.assertIn("| at least 15 | 2.00 | **not met** | 0 of 1 |", text)
        self.assertIn("- eq at 8 bits, times scalar, L2 (2.00 for 15): bound: two loads a cycle;"
                      " tried: four", text)

    def test_target_that_one_case_misses_is_not_met_nor_explained(self):
        done = self.write()
        text = (self.root / "out" / "performance.md").read_text()
        self.assertIn("| at most 1.3 | 1.40 | **not met** | 2 of 3 | colx_ge_lt_dict_5bit |", text)
        self.assertIn("### Not yet explained\n\n- dict_scan_bench/range, cost of eq, L2\n", text)
        self.assertIn("not yet explained: dict_scan_bench/range, cost of eq, L2", done.stderr)

    def test_target_without_cases_is_not_measured(self):
        self.assertIn("| no such case | L1 | at least 2 |  | not measured |  |  |", self.report())

    def test_counts_leave_out_what_was_not_measured(self):
        self.assertIn("1 of 3 targets are met, each by the worst of its cases; 3 of 5 cases.",
                      self.report())

    def test_stale_explanations_are_listed(self):
        text = self.report()
        self.assertIn("### Explanations of targets that are met\n\n- dict_scan_bench/eq at 4*/L2\n",
                      text)
        self.assertNotIn("wpak", text)

    def test_explanation_without_what_was_tried_is_refused(self):
        (self.root / "explanations.txt").write_text("dict_scan_bench/*: bound: loads\n")
        self.assertNotEqual(self.write().returncode, 0)

    def test_plots_are_drawn_and_linked(self):
        self.assertIn("![Scans by width](plots/scan-widths.svg)", self.report())
        picture = (self.root / "out" / "plots" / "scan-widths.svg").read_text()
        for label in ("bits of a code", "billion rows a second", "Scans in L2 (1 MB)",
                      "plain loop, equality"):
            self.assertIn(label, picture)
        self.assertFalse((self.root / "out" / "plots" / "thread-counts.svg").exists())

    def test_crossing_point_lies_between_the_measured_selections(self):
        self.put("dict_selective_bench.csv", SELECTIVE)
        self.assertIn("| Bits | 8 |\n|---|--:|\n| One row in | 128 |", self.report())

    def test_note_marks_a_run_that_is_not_whole(self):
        self.assertIn("**fewer rounds**", self.report("--note", "fewer rounds"))

    def test_facts_are_those_of_the_run(self):
        self.put("facts.json", '{"Processor": "made", "Commit": "1234567 (Made)"}')
        self.put("dict_scan_bench.log", "core at 3.65 GHz, counter at 2.60 GHz\n")
        text = self.report()
        for fact in ("| Processor | made |", "| Commit | 1234567 (Made) |",
                     "| Clock while measuring | 3.65 GHz |"):
            self.assertIn(fact, text)

    def test_compiler_that_is_slower_is_marked(self):
        clang = SCANS.replace(",0.01,0.1,", ",0.01,0.12,")
        for turn in range(3):
            self.put(f"compilers/gcc-{turn}/dict_scan_bench.csv", SCANS)
            self.put(f"compilers/clang-{turn}/dict_scan_bench.csv", clang)
        self.assertIn(
            "| dict scan | 3 | 1.129 **more than 10 percent** | 1.20 (colx_eq_dict_4bit) |"
            " none slower |", self.report())

    def test_memory_of_a_scan(self):
        self.put("column_memory.csv",
                 "name,value\nkernel,colx_lt_dict_16bit\ncolumn_bytes,1073741824\nrows,536870912\n"
                 "hits,1\nseconds,0.1\npeak_kib_before,1058128\npeak_kib,1058828\n"
                 "allocator_calls,8192\nhost_blocks,0\n")
        text = self.report()
        self.assertIn("it grows by 700 KiB", text)
        self.assertIn("took from their host: 0.", text)
        self.assertIn("8,192, 1.00 a chunk", text)

    def test_queries_and_their_ratios_to_duckdb(self):
        self.put("queries_bench.csv", CASES +
                 '"Q1.1","SF 1",6000000,96000000,3,4000000,9,0.1,0.5,,,,,,,"",,\n'
                 '"13 queries","SF 1",78000000,9,3,80000000,9,0.1,0.5,9,,60,0.1,,,"",,\n'
                 '"13 queries on twice the rows","SF 2",7,9,3,80000000,9,0.1,0.5,,,,,,,"",,\n')
        self.put("duckdb.csv", "query,colx_ms,duckdb_ms,ratio,same_rows\n1.1,1,4,4.000,true\n"
                 "1.2,1,9,9.000,true\n2.1,1,6,6.000,true\ngeometric mean,,,6.000,true\n")
        text = self.report()
        self.assertIn("| Q1.1 | 1 | 4.00 | 1,500 |  |", text)
        self.assertIn("| 13 queries | 1 | 80.00 | 975 | 60.00 |", text)
        self.assertNotIn("twice", text)
        self.assertIn("| 1.1 | 1.2 | 2.1 |\n|--:|--:|--:|\n| 4.0 | 9.0 | 6.0 |", text)
        self.assertIn("one thread | SF 1 | at least 5 | 4.00 | **not met** | 0 of 1 | 1.1 |", text)
        self.assertIn("one thread | SF 1 | at least 3 | 6.00 | met | 1 of 1 | 3 queries |", text)

    def test_missing_duckdb_is_said(self):
        self.put("duckdb.txt", "Not compared: made.\n")
        self.assertIn("## DuckDB\n\nNot compared: made.\n", self.report())

    def test_kernels_that_ran_alone_have_speeds_and_no_ratios(self):
        alone = ",4000,8000,7,1000,9,0.1,0.2,,,,,,,\"\",,\n"
        for program, kernel, size in (
                ("dict_scan", "colx_eq_dict_8bit", "L2"),
                ("decode", "colx_decode_unpack_dict_5bit to 1", "L2"),
                ("join", "probe 100% hit, 64 KB table", "table"),
                ("partition", "colx_partition_rid_hash_values_payload into 256", "memory"),
                ("threads", "join of 64 partitions by 2 threads", "memory")):
            self.put(f"{program}_bench.csv", CASES + f'"{kernel}","{size}"' + alone)
        text = self.report()
        self.assertIn("| Predicates on codes of 2 to 8 bits | 4 G | 8 GB |  |  |  |  |", text)
        self.assertIn("![Threads](plots/thread-counts.svg)", text)

    def test_library_above_its_limit_fails(self):
        build = self.root / "build"
        build.mkdir()
        (build / "code.s").write_text(".text\n.fill 5 << 20\n")
        (build / "CMakeCache.txt").write_text("")
        subprocess.run(["gcc", "-shared", "-nostdlib", "-o", str(build / "libcolx_x86.so"),
                        str(build / "code.s")], check=True)
        done = self.write("--build", str(build))
        self.assertEqual(done.returncode, 1)
        self.assertIn("the library has 5.00 MiB of code", done.stderr)
        self.assertIn("| code of the library, MiB |  | at most 4 | 5.00 | **not met** |",
                      (self.root / "out" / "performance.md").read_text())


if __name__ == "__main__":
    unittest.main()
