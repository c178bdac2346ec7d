"""What a run of the benchmarks left in one build folder: bench-*.json, read and checked.

A file that is not there leaves its part empty; one that is there and is not what it should be raises MalformedFile,
which names it.
"""

import json
import pathlib
import re
import statistics

FLOOR = "floor/"
_OTHER_FILES = ("bench-delays.json", "bench-pool.json", "bench-peers.json")
_NS_PER = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
# What the benchmark library appends to a row's own name.
_APPENDED = re.compile(r"/(manual_time|real_time|process_time|(repeats|iterations|min_time|min_warmup_time|threads):[^/]*)")


class MalformedFile(Exception):
    def __init__(self, path, why):
        super().__init__(f"{path}: {why}")


class Measurements:
    """times: row -> median in ns; delays, peers: the rows of those files; pool: row -> (taken, records), in bytes."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.bits = self.folder.name.split("-")[0]
        self.times = {}
        for path in sorted(self.folder.glob("bench-*.json")):
            if path.name not in _OTHER_FILES:
                self._add_times(path)
        self.delays = _checked_rows(self.folder / "bench-delays.json", _DELAY_FIELDS)
        self.pool = {row["row"]: (row["taken_bytes"], row["record_bytes"])
                     for row in _checked_rows(self.folder / "bench-pool.json", _POOL_FIELDS)}
        self.peers = _checked_rows(self.folder / "bench-peers.json", _PEER_FIELDS)

    def _add_times(self, path):
        runs = _load(path).get("benchmarks")
        if not isinstance(runs, list):
            raise MalformedFile(path, 'has no list "benchmarks"; is it the benchmark library\'s output?')
        repeated = {}
        for run in runs:
            try:
                # The aggregates are made of the repetitions, which are in the file, too.
                if run["run_type"] != "iteration" or run.get("error_occurred"):
                    continue
                name = _APPENDED.sub("", run["run_name"])
                repeated.setdefault(name, []).append(float(run["real_time"]) * _NS_PER[run["time_unit"]])
            except (AttributeError, KeyError, TypeError, ValueError) as problem:
                raise MalformedFile(path, f"a run lacks {problem} or has a value that is none") from problem
        self.times.update({name: statistics.median(times) for name, times in repeated.items()})

    def floor_of(self, row):
        return self.times.get(FLOOR + row)


_DELAY_FIELDS = {"row": str, "pinning": str, "median_ns": (int, float), "p99_ns": (int, float),
                 "worst_ns": (int, float), "histogram": list}
_POOL_FIELDS = {"row": str, "taken_bytes": (int, float), "record_bytes": (int, float)}
_PEER_FIELDS = {"row": str, "peer": str, "pinning": str, "median_ns": (int, float)}


def _load(path):
    try:
        content = json.loads(path.read_text(encoding="utf-8"))
    except (ValueError, OSError) as problem:
        raise MalformedFile(path, f"cannot be read as JSON: {problem}; run the benchmarks again") from problem
    if not isinstance(content, dict):
        raise MalformedFile(path, "is not a JSON object; run the benchmarks again")
    return content


def _checked_rows(path, fields):
    """The list "rows" of the file, each row with all the fields; empty when there is no such file."""
    if not path.exists():
        return []
    rows = _load(path).get("rows")
    if not isinstance(rows, list):
        raise MalformedFile(path, 'has no list "rows"; run the benchmarks again')
    for number, row in enumerate(rows):
        for field, kind in fields.items():
            if not isinstance(row, dict) or not isinstance(row.get(field), kind) or isinstance(row.get(field), bool):
                raise MalformedFile(path, f'row {number} has no "{field}" of the right kind; run the benchmarks again')
        for bucket in row.get("histogram", []) if "histogram" in fields else []:
            if not (isinstance(bucket, list) and len(bucket) == 2 and all(isinstance(x, (int, float)) for x in bucket)):
                raise MalformedFile(path, f"row {number} has a histogram bucket that is not [upper_ns, count]")
    return rows
