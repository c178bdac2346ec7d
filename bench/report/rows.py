"""The rows of the report: how each is called for a reader, what it is held against and how many times that it may take."""

from dataclasses import dataclass
from typing import Optional

from measurements import FLOOR


@dataclass(frozen=True)
class Row:
    title: str
    name: str
    limit: Optional[float] = None
    beside: Optional[str] = None  # the row that it is held against; its own floor when there is none

    def ratio(self, times):
        """How many times as long as what it is held against; None when either was not measured."""
        own, other = times.get(self.name), times.get(self.beside or FLOOR + self.name)
        return own / other if own is not None and other else None


def _growth(title, family, limit, few, many):
    return Row(title, f"{family}/{many}", limit, f"{family}/{few}")


ROWS = (
    Row("read a stored number by handle", "read/memory_u32", 1.25),
    Row("read a stored 64-byte text by handle", "read/memory_text64", 1.25),
    Row("read a stored number into a buffer", "read/memory_into_buffer", 1.25),
    Row("live read of a 4-byte file, finds the stored value", "read/live_accessor", 1.3),
    Row("live read of a formula, inputs unchanged", "formula/unchanged", 1.3),
    Row("live read of a formula, an input changed", "formula/changed"),
    Row("write of an unchanged number", "write/unchanged", 1.25),
    Row("write, no listener", "write/no_listener", 1.25),
    Row("write, 1 listening queue", "write/1_listener", 1.25),
    Row("write, 10 listening queues", "write/10_listeners", 1.25),
    Row("override, no listener", "write/override"),
    Row("event to 1 listener, all on 1 core", "event/1_listener", 1.25),
    Row("event to 10 listeners, all on 1 core", "event/10_listeners", 1.25),
    Row("event to 1 listener, a core each", "event/1_listener_2_cores", 1.25),
    Row("event to 10 listeners on the other core", "event/10_listeners_2_cores", 1.25),
    Row("stream of events to 1 listener, a core each, per event", "event/stream"),
    Row("lookup by name among 10 objects", "lookup/by_name/10", 1.25),
    Row("lookup by name among 1,000", "lookup/by_name/1000", 1.25),
    Row("lookup by name among 100,000", "lookup/by_name/100000", 1.25),
    _growth("lookup by name among 100,000, beside 10", "lookup/by_name", 1.5, 10, 100000),
    Row("lookup by handle among 10 objects", "lookup/by_handle/10", 1.25),
    Row("lookup by handle among 1,000", "lookup/by_handle/1000", 1.25),
    Row("lookup by handle among 100,000", "lookup/by_handle/100000", 1.25),
    _growth("lookup by handle among 100,000, beside 10", "lookup/by_handle", 1.5, 10, 100000),
    Row("2 processes read one object at once, beside 1 alone", "contention/two_processes", 1.5),
    Row("2 threads read different objects, beside 1 thread", "contention/two_threads", 1.6),
    Row("read of 10 stored numbers together", "multiget/10_together"),
    Row("read of 10 together, beside 10 single reads", "multiget/10_together", 0.5, "multiget/10_singly"),
    _growth("building 10,000 objects, per object, beside 100", "build", 1.25, 100, 10000),
    _growth("attaching and copying 10,000, per object, beside 100", "attach", 1.25, 100, 10000),
    Row("permanent save of a changed number, beside the upsert", "save/changed", 1.2),
    Row("permanent save of an unchanged number, writes nothing", "save/unchanged"),
)

# Rows that say where a time goes; they have no limit.
ALSO_TITLES = {
    "read/live_accessor_family": "live read: handing the accessor's family to the driver library",
    "read/live_accessor_library": "live read: the driver library's own read",
    "event/stream_bare_queue": "stream: the bare queue, per message",
    "contention/two_processes_lock_alone": "2 processes: the object's lock alone",
    "contention/two_threads_primitives": "2 threads: all primitives of the read",
    "contention/two_threads_mutex_alone": "2 threads: one recursive mutex alone",
    "contention/two_threads_locks_alone": "2 threads: a lock each",
    "contention/two_threads_values_alone": "2 threads: values made and released",
    "build/1000": "building 1,000 objects, per object",
    "attach/1000": "attaching and copying 1,000, per object",
}

POOL_TITLES = {"pool/object": "an object without properties", "pool/property": "a property of a fixed-size type",
               "pool/object_with_10": "an object with ten of them"}
POOL_LIMIT = 1.15

PEER_TITLES = {
    "read": "read an int32 from another process",
    "event_1": "change announced to 1 listener",
    "event_10": "change announced to 10 listeners, until the last has it",
    "stream": "stream of events to 1 listener, per event",
}
PEER_NAMES = {
    "sdbus-direct": "sd-bus, direct",
    "sdbus-daemon": "sd-bus, dbus-daemon",
    "gdbus-direct": "GDBus, direct",
    "redis": "Redis",
    "boost-interprocess": "Boost.Interprocess",
    "moxbase": "libmoxbase",
}
OURS = "moxbase"
SHARES_MEMORY = ("boost-interprocess", OURS)  # the other peers are buses: each read and event goes through a socket

DELAY_TITLES = {"event/1_listener": "1 listener", "event/10_listeners": "10 listeners, the last of them"}
PINNING_TITLES = {"1": "1 core", "2": "2 cores"}


def untitled(times):
    """Measured rows that no row of the report names, neither itself nor as what it is held against, in order of name."""
    named = {row.name for row in ROWS} | {row.beside for row in ROWS}
    return sorted(name for name in times if not name.startswith(FLOOR) and name not in named)
