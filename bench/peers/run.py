#!/usr/bin/env python3
"""Runs the same work in every peer and prints the table of it; ours is the last column.

usage: python3 -B bench/peers/run.py BUILD_DIR     the folder with the peers' programs (make bench-peers builds them)

Five rounds; each runs every row in both pinnings with every peer once, one peer after the other, so that what disturbs
the machine disturbs all alike. What is kept is BUILD_DIR/bench-peers.json: for each row, peer and pinning the rounds'
medians, the median of these and of the rounds' 99th percentiles, and the worst time of all. In a stream the first is
the time of the whole by the events, and the other two are of blocks of 200 events.

The servers run on core 0 with a folder of their own, on Unix sockets. No server, program, folder or shared memory is
left when this ends, however it ends. A program that fails or hangs costs its row: the row is missing in the file, the
reason is printed and the status is 1.
"""

import contextlib
import json
import os
import pathlib
import platform
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "report"))
import tables  # noqa: E402  the pages' own tables, so that what is printed here is what they show

ROUNDS = 5
ROWS = ("read", "event_1", "event_10", "stream")
PINNINGS = ("1", "2")
PROGRAM_SECONDS = 60
SERVER_SECONDS = 10
PACKAGES = ("libsystemd0", "dbus-daemon", "libglib2.0-0", "redis-tools", "libhiredis0.14", "libboost1.74-dev")

BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class Failure(Exception):
    """Why a server or a program could not do its part, in one line."""


def end_group(process):
    """Ends a process and all that it started."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    process.wait()


def start(command, log, errors=subprocess.STDOUT):
    """Starts a program in a group of its own, which does not outlive this process."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], stdin=subprocess.DEVNULL, stdout=log,
                            stderr=errors, start_new_session=True)


@contextlib.contextmanager
def server(name, command, folder, socket):
    """A server on core 0 whose socket is there."""
    log_path = folder / f"{name}.log"
    with log_path.open("w") as log:
        process = start(["taskset", "--cpu-list", "0", *command], log)
        try:
            give_up_at = time.monotonic() + SERVER_SECONDS
            while not socket.is_socket():
                if process.poll() is not None or time.monotonic() > give_up_at:
                    said = log_path.read_text(errors="replace").strip().splitlines() or ["nothing"]
                    raise Failure(f"{name} does not listen on {socket}; it said: {said[-1]}")
                time.sleep(0.02)
            yield
        finally:
            end_group(process)


def bus_command(folder, socket):
    configuration = folder / "bus.conf"
    configuration.write_text(BUS_CONFIGURATION.format(socket=socket))
    return ["dbus-daemon", f"--config-file={configuration}", "--nofork"]


def redis_command(folder, socket):
    # The package redis-server would also start a service of its own; its program is the one of redis-tools under
    # another name.
    program = folder / "redis-server"
    program.symlink_to(shutil.which("redis-check-rdb") or "redis-check-rdb")
    return [str(program), "--port", "0", "--unixsocket", str(socket), "--save", "", "--appendonly", "no",
            "--dir", str(folder), "--client-output-buffer-limit", "pubsub 0 0 0"]


def peers(bus, redis, memory):
    """Name, program and place of each peer, in the order of the columns."""
    return (("sdbus-direct", "peer_sdbus", ""), ("sdbus-daemon", "peer_sdbus", f"unix:path={bus}"),
            ("gdbus-direct", "peer_gdbus", ""), ("redis", "peer_redis", str(redis)),
            ("boost-interprocess", "peer_boost", memory), ("moxbase", "peer_moxbase", ""))


def run_program(command, folder):
    """The figures that a peer's program printed for one row."""
    output, errors = folder / "output", folder / "errors"
    with output.open("w") as out, errors.open("w") as err:
        process = start(command, out, err)
        try:
            status = process.wait(timeout=PROGRAM_SECONDS)
        except subprocess.TimeoutExpired:
            raise Failure(f"hung for {PROGRAM_SECONDS} seconds and was ended") from None
        finally:
            end_group(process)
    if status != 0:
        said = errors.read_text(errors="replace").strip().splitlines() or ["nothing"]
        raise Failure(f"ended with status {status}; it said: " + "; ".join(said[-3:]))
    return json.loads(output.read_text())


class Results:
    """The figures of every round, and what failed. What has failed once is not run again."""

    def __init__(self, names):
        self.runs = {(row, name, pinning): [] for row in ROWS for name in names for pinning in PINNINGS}
        self.failed = set()

    def add(self, key, command, folder):
        if key in self.failed:
            return
        try:
            self.runs[key].append(run_program(command, folder))
        except (Failure, ValueError) as reason:
            self.failed.add(key)
            print(f"bench-peers: {' '.join(key)} failed: {reason}", file=sys.stderr)

    def rows(self):
        return [row_of(key, runs) for key, runs in self.runs.items() if key not in self.failed]


def row_of(key, runs):
    rounds = [run["median_ns"] for run in runs]
    row = {"row": key[0], "peer": key[1], "pinning": key[2], "samples_per_round": runs[0]["samples"],
           "rounds_ns": rounds, "median_ns": statistics.median(rounds),
           "p99_ns": statistics.median(run["p99_ns"] for run in runs),
           "worst_ns": max(run["worst_ns"] for run in runs)}
    if key[0] == "stream":
        row["events_per_second"] = round(1e9 / row["median_ns"])
    return row


def measure(build, folder, memory):
    bus, redis = folder / "bus", folder / "redis"
    with server("dbus-daemon", bus_command(folder, bus), folder, bus), \
            server("redis-server", redis_command(folder, redis), folder, redis):
        all_peers = peers(bus, redis, memory)
        results = Results([name for name, _, _ in all_peers])
        for number in range(ROUNDS):
            print(f"bench-peers: round {number + 1} of {ROUNDS}", file=sys.stderr)
            for row in ROWS:
                for pinning in PINNINGS:
                    for name, program, place in all_peers:
                        command = [str(build / program), row, pinning, *([place] if place else [])]
                        results.add((row, name, pinning), command, folder)
    return results


def machine():
    model = ""
    with contextlib.suppress(OSError):
        for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
            if line.startswith("model name"):
                model = line.partition(":")[2].strip()
                break
    asked = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *PACKAGES], capture_output=True,
                           text=True, check=False).stdout
    return {"cpu": model, "cores": os.cpu_count(), "kernel": platform.release(), "architecture": platform.machine(),
            "packages": dict(line.split(" ", 1) for line in asked.splitlines() if " " in line)}


def stop(number, _frame):
    # The servers and the folder are cleaned up on the way out.
    raise SystemExit(128 + number)


def main(arguments):
    if len(arguments) != 1 or not (pathlib.Path(arguments[0]) / "peer_moxbase").is_file():
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    build = pathlib.Path(arguments[0]).resolve()
    if not {0, 1} <= os.sched_getaffinity(0):
        print("bench-peers: a core each needs cores 0 and 1, which this process may not use", file=sys.stderr)
        return 1
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop)
    memory = f"bench-peers-{os.getpid()}"
    try:
        with tempfile.TemporaryDirectory(prefix="bench-peers-") as folder:
            results = measure(build, pathlib.Path(folder), memory)
    except (Failure, OSError) as reason:
        print(f"bench-peers: {reason}", file=sys.stderr)
        return 1
    finally:
        for left in pathlib.Path("/dev/shm").glob(f"{memory}*"):
            left.unlink(missing_ok=True)
    rows = results.rows()
    text = json.dumps({"rows": rows, "machine": machine()}, indent=1)
    (build / "bench-peers.json").write_text(text + "\n")
    print(tables.peers(rows), tables.peer_claims(rows), sep="\n\n")
    return 1 if results.failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
