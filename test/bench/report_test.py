#!/usr/bin/env python3
"""What the benchmarks' report says of figures that are there, that are not, and that cannot be read."""

import contextlib
import importlib.util
import io
import json
import pathlib
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
REPORT = pathlib.Path(__file__).resolve().parents[2] / "bench" / "report"
sys.path.insert(0, str(REPORT))

import documents  # noqa: E402
import plots  # noqa: E402
import tables  # noqa: E402
from measurements import MalformedFile, Measurements  # noqa: E402

_SPEC = importlib.util.spec_from_file_location("report_main", REPORT / "__main__.py")
report = importlib.util.module_from_spec(_SPEC)
_SPEC.loader.exec_module(report)


def repetitions(name, *times, unit="ns", **more):
    """What the benchmark library writes of one row: each repetition, and aggregates that the report must not count."""
    runs = [{"run_name": name, "run_type": "iteration", "real_time": time, "time_unit": unit, **more} for time in times]
    return runs + [{"run_name": name, "run_type": "aggregate", "aggregate_name": "mean", "real_time": 1e9, "time_unit": unit}]


def delay_row(row, pinning, histogram):
    return {"row": row, "pinning": pinning, "median_ns": 5000, "p99_ns": 45000, "worst_ns": 1234567, "histogram": histogram}


def peer_row(row, peer, pinning, median):
    return {"row": row, "peer": peer, "pinning": pinning, "median_ns": median, "p99_ns": None, "rounds_ns": []}


READS = (repetitions("read/memory_u32", 90, 130, 100) + repetitions("floor/read/memory_u32", 100, 80, 70) +
         repetitions("read/memory_text64/manual_time", 0.13, 0.13, unit="us") +
         repetitions("floor/read/memory_text64/iterations:1/manual_time", 100) +
         repetitions("read/memory_into_buffer", 62))


class WithFolder(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.root)
        self.build = self.root / "build" / "64-release"
        self.build.mkdir(parents=True)

    def keep(self, name, content, build=None):
        text = content if isinstance(content, str) else json.dumps(content)
        ((build or self.build) / name).write_text(text, encoding="utf-8")

    def keep_times(self, runs, name="bench-read.json"):
        self.keep(name, {"context": {}, "benchmarks": runs})

    def row(self, title):
        """The cells of a row of the ratios' table."""
        lines = [line for line in tables.ratios(Measurements(self.build)).splitlines() if line.startswith(f"| {title} |")]
        self.assertEqual(len(lines), 1, title)
        return [cell.strip() for cell in lines[0].strip("|").split("|")][1:]


class RatioTable(WithFolder):
    def test_has_the_median_of_the_repetitions_beside_the_floor(self):
        self.keep_times(READS)
        self.assertEqual(self.row("read a stored number by handle"), ["100 ns", "80.0 ns", "1.25", "1.25", "yes"])

    def test_finds_rows_under_the_names_that_the_library_extends_and_in_other_units(self):
        self.keep_times(READS)
        self.assertEqual(self.row("read a stored 64-byte text by handle"), ["130 ns", "100 ns", "1.30", "1.25", "no"])

    def test_says_that_a_row_or_its_floor_was_not_measured(self):
        self.keep_times(READS)
        self.assertEqual(self.row("write, no listener"), ["not measured in this run", "", "", "1.25", ""])
        self.assertEqual(self.row("read a stored number into a buffer"),
                         ["62.0 ns", "not measured in this run", "", "1.25", ""])

    def test_says_that_nothing_was_measured_when_there_is_no_file(self):
        self.assertEqual(tables.ratios(Measurements(self.build)), "64-bit: not measured in this run.")

    def test_takes_a_row_that_failed_as_not_measured(self):
        self.keep_times(repetitions("write/no_listener", 10, error_occurred=True, error_message="the write failed"))
        self.keep_times(READS, "bench-other.json")
        self.assertEqual(self.row("write, no listener")[0], "not measured in this run")

    def test_holds_a_row_against_another_where_it_says_so(self):
        self.keep_times(repetitions("multiget/10_together", 900) + repetitions("multiget/10_singly", 2000) +
                        repetitions("floor/multiget/10_together", 600))
        self.assertEqual(self.row("read of 10 together, beside 10 single reads"), ["900 ns", "2.00 us", "0.45", "0.5", "yes"])
        self.assertEqual(self.row("read of 10 stored numbers together"), ["900 ns", "600 ns", "1.50", "", ""])

    def test_takes_rows_from_several_files(self):
        self.keep_times(repetitions("lookup/by_name/10", 20), "bench-lookup-10.json")
        self.keep_times(repetitions("lookup/by_name/100000", 31), "bench-lookup-100000.json")
        self.assertEqual(self.row("lookup by name among 100,000, beside 10"), ["31.0 ns", "20.0 ns", "1.55", "1.5", "no"])

    def test_lists_rows_that_it_has_no_title_for(self):
        self.keep_times(READS + repetitions("read/new_row", 2500) + repetitions("floor/read/new_row", 1000))
        self.assertEqual(self.row("read/new_row"), ["2.50 us", "1.00 us", "2.50"])

    def test_shows_on_which_side_of_the_limit_a_close_ratio_is(self):
        self.assertEqual(tables.ratio_text(1.2504, 1.25), "1.2504")
        self.assertEqual(tables.ratio_text(1.249, 1.25), "1.25")
        self.assertEqual(tables.ratio_text(1.2504, 1.3), "1.25")


class OtherTables(WithFolder):
    def test_pool_bytes_stand_beside_their_records(self):
        self.keep("bench-pool.json", {"rows": [{"row": "pool/object", "taken_bytes": 160, "record_bytes": 62}]})
        self.assertIn("| an object without properties | 160.0 | 62.0 | 2.58 | 1.15 | no |",
                      tables.pool(Measurements(self.build)))

    def test_delays_have_median_99th_and_worst_of_each_pinning(self):
        rows = [("event/10_listeners", "1"), ("event/1_listener", "2"), ("floor/event/1_listener", "1"),
                ("event/1_listener", "1")]
        self.keep("bench-delays.json", {"rows": [delay_row(*row, [[5000, 1]]) for row in rows]})
        self.assertEqual(tables.delays([Measurements(self.build)]).splitlines()[2:],
                         ["| 64-bit | 1 listener | 1 core | 5.00 us | 45.0 us | 1.2 ms |",
                          "| 64-bit | 1 listener, its primitives alone | 1 core | 5.00 us | 45.0 us | 1.2 ms |",
                          "| 64-bit | 1 listener | 2 cores | 5.00 us | 45.0 us | 1.2 ms |",
                          "| 64-bit | 10 listeners, the last of them | 1 core | 5.00 us | 45.0 us | 1.2 ms |"])

    def test_what_was_not_measured_is_said_in_words(self):
        run = Measurements(self.build)
        for text in (tables.pool(run), tables.delays([run]), tables.peers([]), tables.peer_claims([])):
            self.assertIn("not measured in this run", text)


class PeersTable(unittest.TestCase):
    ROWS = [peer_row("read", "moxbase", "1", 100), peer_row("read", "moxbase", "2", 110),
            peer_row("read", "sdbus-direct", "1", 13000), peer_row("read", "sdbus-direct", "2", 62000),
            peer_row("read", "redis", "1", 4900), peer_row("read", "boost-interprocess", "1", 89),
            peer_row("stream", "moxbase", "2", 3000)]

    def test_has_ours_last_and_both_pinnings_in_a_cell(self):
        self.assertEqual(tables.peers(self.ROWS).splitlines(), [
            "| 1 core / 2 cores | sd-bus, direct | Redis | Boost.Interprocess | libmoxbase |",
            "|---|---|---|---|---|",
            "| read an int32 from another process | 13.0 us / 62.0 us | 4.90 us / - | 89.0 ns / - | 100 ns / 110 ns |",
            "| stream of events to 1 listener, per event | - | - | - | - / 3.00 us |"])

    def test_is_shorter_where_the_short_one_is_asked_for(self):
        text = tables.texts([], self.ROWS)["peers-short"]
        self.assertIn("read an int32", text)
        self.assertNotIn("stream", text)

    def test_compares_ours_with_the_fastest_bus_and_not_with_shared_memory(self):
        lines = tables.peer_claims(self.ROWS).splitlines()
        self.assertIn("| read an int32 from another process | 1 core | 49 times as fast as Redis | 50 times | no |", lines)
        self.assertIn("| read an int32 from another process | 2 cores | 564 times as fast as sd-bus, direct | 50 times | yes |",
                      lines)
        self.assertIn("| change announced to 1 listener | 1 core | not measured in this run | 2 times |  |", lines)
        self.assertIn("| stream of events to 1 listener, sustained | 2 cores | 333,333 a second | 250,000 a second | yes |",
                      lines)


class UnreadableFile(WithFolder):
    def assert_named(self, name, content):
        self.keep(name, content)
        with self.assertRaises(MalformedFile) as caught:
            Measurements(self.build)
        self.assertIn(str(self.build / name), str(caught.exception))

    def test_is_named_when_it_is_cut_off(self):
        self.assert_named("bench-read.json", json.dumps({"benchmarks": READS})[:-20])

    def test_is_named_when_it_is_empty(self):
        self.assert_named("bench-read.json", "")

    def test_is_named_when_it_is_other_json(self):
        for content in ([], {"benchmarks": {}}, {"benchmarks": ["row"]}, {"benchmarks": [{"run_type": "iteration"}]},
                        {"benchmarks": repetitions("x", "soon")}, {"benchmarks": repetitions("x", 1, unit="weeks")}):
            with self.subTest(content=content):
                self.assert_named("bench-read.json", content)

    def test_is_named_when_a_row_of_the_others_lacks_something(self):
        for name, rows in (("bench-delays.json", [{"row": "event/1_listener"}]), ("bench-pool.json", [{"row": "pool/object"}]),
                           ("bench-delays.json", [delay_row("event/1_listener", "1", [[1]])]),
                           ("bench-peers.json", [{**peer_row("read", "redis", "1", 1), "median_ns": "fast"}]),
                           ("bench-peers.json", "none"), ("bench-pool.json", ["row"])):
            with self.subTest(name=name, rows=rows):
                self.assert_named(name, {"rows": rows})
                (self.build / name).unlink()


class Page(unittest.TestCase):
    def test_keeps_everything_outside_of_the_markers(self):
        page = "# A\n\n<!-- bench:begin x -->\nold\nolder\n<!-- bench:end x -->\nafter\n"
        filled = documents.filled(page, {"x": "new", "y": "unused"}, "page")
        self.assertEqual(filled, "# A\n\n<!-- bench:begin x -->\nnew\n<!-- bench:end x -->\nafter\n")
        self.assertEqual(documents.filled(filled, {"x": "new"}, "page"), filled)

    def test_keeps_what_is_there_where_there_is_nothing_to_say(self):
        page = "<!-- bench:begin x -->\nold\n<!-- bench:end x -->\n"
        self.assertEqual(documents.filled(page, {"x": None}, "page"), page)

    def test_without_markers_is_left_alone(self):
        self.assertEqual(documents.filled("# A\n", {"x": "new"}, "page"), "# A\n")

    def test_with_markers_that_do_not_match_is_refused_by_name_and_line(self):
        begin, end = "<!-- bench:begin x -->", "<!-- bench:end x -->"
        for page, said in ((f"{begin}\n", "page: x has no end"), (f"a\n{end}\n", "page:2: x ends"),
                           (f"{begin}\n{begin}\n{end}\n", "page:2: x begins"),
                           ("<!-- bench:begin z -->\n<!-- bench:end z -->\n", "page:1: the report has no text named z"),
                           (f"{begin}\n<!-- bench:end y -->\n{end}\n", "page:2: y ends")):
            with self.subTest(page=page):
                with self.assertRaises(documents.BadMarkers) as caught:
                    documents.filled(page, {"x": "new", "y": ""}, "page")
                self.assertIn(said, str(caught.exception))


class Plots(WithFolder):
    def runs(self):
        self.keep_times(READS + repetitions("write/no_listener", 200) + repetitions("write/1_listener", 900) +
                        repetitions("lookup/by_name/10", 20) + repetitions("lookup/by_name/100000", 31))
        self.keep("bench-delays.json", {"rows": [delay_row("event/1_listener", "1", [[1000, 50], [2000, 49], [9000, 1]])]})
        return [Measurements(self.build)]

    def test_are_the_same_bytes_for_the_same_measurements(self):
        runs = self.runs()
        first, second = self.root / "first", self.root / "second"
        self.assertEqual(plots.draw(runs, first), [])
        self.assertEqual(plots.draw(runs, second), [])
        self.assertEqual(sorted(path.name for path in first.iterdir()),
                         ["delays.svg", "growth-listeners.svg", "growth-objects.svg", "ratios.svg"])
        for path in first.iterdir():
            self.assertEqual(path.read_bytes(), (second / path.name).read_bytes())
            self.assertIn(b"</svg>", path.read_bytes())

    def test_show_a_bar_for_each_ratio_and_its_limit(self):
        script = plots.ratios(self.runs())
        self.assertIn('"read a stored number by handle" 0, "read a stored 64-byte text by handle" -1', script)
        self.assertIn("$bars64 << EOD\n1.2500 -0.3500 0.3500\n1.3000 -1.3500 -0.6500\n1.5500 -2.3500 -1.6500\nEOD\n", script)
        self.assertIn("$limits << EOD\n1.2500 -0.4200\n1.2500 -1.4200\n1.5000 -2.4200\nEOD\n", script)
        self.assertNotIn("into a buffer", script)

    def test_show_which_share_of_delays_is_longer(self):
        self.assertIn("<< EOD\n1 0.5\n2 0.01\nEOD\n", plots.delays(self.runs()))

    def test_without_measurements_are_named_and_left_as_they_were(self):
        folder = self.root / "plots"
        folder.mkdir()
        (folder / "ratios.svg").write_text("as it was")
        self.assertEqual(plots.draw([Measurements(self.build)], folder), list(plots.PLOTS))
        self.assertEqual([(path.name, path.read_text()) for path in folder.iterdir()], [("ratios.svg", "as it was")])


class Report(WithFolder):
    def setUp(self):
        super().setUp()
        (self.root / "docs").mkdir()
        self.page = self.root / "docs" / "PERFORMANCE.md"
        markers = "".join(f"<!-- bench:begin {name} -->\n<!-- bench:end {name} -->\n" for name in ("ratios-64", "peers"))
        self.page.write_text("prose\n" + markers)
        self.readme = self.root / "README.md"
        self.readme.write_text("<!-- bench:begin peers-short -->\n<!-- bench:end peers-short -->\n")

    def make(self, *folders):
        with contextlib.redirect_stderr(io.StringIO()) as errors, contextlib.redirect_stdout(io.StringIO()):
            status = report.main(list(folders), self.root)
        return status, errors.getvalue()

    def test_fills_both_pages_and_draws(self):
        self.keep_times(READS)
        self.keep("bench-peers.json", {"rows": PeersTable.ROWS, "machine": {}})
        self.assertEqual(self.make(str(self.build)), (0, ""))
        self.assertIn("| read a stored number by handle | 100 ns |", self.page.read_text())
        self.assertIn("sd-bus, direct", self.page.read_text())
        self.assertIn("sd-bus, direct", self.readme.read_text())
        self.assertTrue((self.root / "docs" / "performance" / "ratios.svg").exists())

    def test_fills_only_the_peers_tables_where_only_they_are_asked_for(self):
        self.keep_times(READS)
        self.keep("bench-peers.json", {"rows": PeersTable.ROWS})
        self.assertEqual(self.make("--peers", str(self.build)), (0, ""))
        self.assertIn("sd-bus, direct", self.page.read_text())
        self.assertNotIn("read a stored number by handle", self.page.read_text())
        self.assertFalse((self.root / "docs" / "performance").exists())

    def test_changes_no_page_when_a_file_cannot_be_read(self):
        self.keep_times(READS)
        self.keep("bench-peers.json", "{")
        before = self.page.read_text()
        status, errors = self.make(str(self.build))
        self.assertEqual(status, 1)
        self.assertIn("bench-peers.json", errors)
        self.assertEqual(self.page.read_text(), before)

    def test_changes_no_page_when_the_markers_of_one_do_not_match(self):
        self.keep_times(READS)
        self.readme.write_text("<!-- bench:begin peers-short -->\n")
        before = self.page.read_text()
        status, errors = self.make(str(self.build))
        self.assertEqual(status, 1)
        self.assertIn("README.md: peers-short has no end marker", errors)
        self.assertEqual(self.page.read_text(), before)

    def test_asks_for_a_folder(self):
        status, errors = self.make()
        self.assertEqual(status, 2)
        self.assertIn("usage:", errors)


if __name__ == "__main__":
    unittest.main()
