"""The tables of the report, as Markdown."""

from measurements import FLOOR
from rows import ALSO_TITLES, DELAY_TITLES, OURS, PEER_NAMES, PEER_TITLES, PINNING_TITLES, POOL_LIMIT, POOL_TITLES, \
    ROWS, SHARES_MEMORY, untitled

NOT_MEASURED = "not measured in this run"


def table(head, rows):
    lines = [head, *rows]
    lines = ["| " + " | ".join(line) + " |" for line in lines]
    return "\n".join([lines[0], "|---" * len(head) + "|", *lines[1:]])


def nanoseconds(value):
    """A time in ns, readable: 8.7 ns, 130 ns, 3.21 us, 45.6 us, 117 us."""
    if value < 1000:
        return f"{value:.{1 if value < 99.95 else 0}f} ns"
    micro = value / 1000
    if micro < 1000:
        return f"{micro:.{2 if micro < 10 else 1 if micro < 100 else 0}f} us"
    return f"{micro / 1000:.1f} ms"


def ratio_text(ratio, limit):
    """Two digits, or as many more as it takes to be on the same side of the limit as the ratio itself."""
    digits = 2
    while limit is not None and (float(f"{ratio:.{digits}f}") <= limit) != (ratio <= limit):
        digits += 1
    return f"{ratio:.{digits}f}"


def _verdict(ratio, limit):
    return "" if limit is None else "yes" if ratio <= limit else "no"


def _limit(limit):
    return "" if limit is None else f"{limit:g}"


def ratios(run):
    """Each row beside what it is held against, and whether that many times are kept."""
    if not run.times:
        return f"{run.bits}-bit: {NOT_MEASURED}."
    lines = []
    for row in ROWS:
        own = run.times.get(row.name)
        if own is None:
            lines.append([row.title, NOT_MEASURED, "", "", _limit(row.limit), ""])
            continue
        ratio = row.ratio(run.times)
        if ratio is None:
            lines.append([row.title, nanoseconds(own), NOT_MEASURED, "", _limit(row.limit), ""])
            continue
        other = run.times[row.beside or FLOOR + row.name]
        lines.append([row.title, nanoseconds(own), nanoseconds(other), ratio_text(ratio, row.limit), _limit(row.limit),
                      _verdict(ratio, row.limit)])
    head = ["operation", "median", "sum of its primitives, or the row named", "ratio", "at most", "met"]
    text = table(head, lines)
    others = untitled(run.times)
    if others:
        text += "\n\n" + table(["where it goes, and what else was measured", "median", "beside it", "ratio"], [
            _also(name, run.times[name], run.floor_of(name)) for name in others])
    return text


def _also(name, own, floor):
    beside = [nanoseconds(floor), ratio_text(own / floor, None)] if floor else ["", ""]
    return [ALSO_TITLES.get(name, name), nanoseconds(own), *beside]


def pool(run):
    if not run.pool:
        return f"Pool bytes on {run.bits} bits: {NOT_MEASURED}."
    lines = []
    for name, (taken, records) in run.pool.items():
        ratio = taken / records if records else float("inf")
        lines.append([POOL_TITLES.get(name, name), f"{taken:.1f}", f"{records:.1f}", ratio_text(ratio, POOL_LIMIT),
                      _limit(POOL_LIMIT), _verdict(ratio, POOL_LIMIT)])
    return table(["pool bytes", "taken", "its records alone", "ratio", "at most", "met"], lines)


def _delay_order(row):
    """By row and pinning, each with its primitives behind it."""
    name = row["row"].removeprefix(FLOOR)
    known = list(DELAY_TITLES)
    return known.index(name) if name in known else len(known), name, row["pinning"], row["row"] != name


def delays(runs):
    lines = []
    for run in runs:
        for row in sorted(run.delays, key=_delay_order):
            own_name = row["row"].removeprefix(FLOOR)
            title = DELAY_TITLES.get(own_name, own_name)
            if own_name != row["row"]:
                title += ", its primitives alone"
            lines.append([f"{run.bits}-bit", title, PINNING_TITLES.get(row["pinning"], row["pinning"]),
                          *(nanoseconds(row[key]) for key in ("median_ns", "p99_ns", "worst_ns"))])
    if not lines:
        return f"Delays: {NOT_MEASURED}."
    return table(["", "change to arrival", "on", "median", "99th of 100", "worst"], lines)


class Peers:
    """The rows of bench-peers.json by name, ours as the last peer."""

    def __init__(self, rows):
        self.cell = {(row["row"], row["peer"], row["pinning"]): row for row in rows}
        names = dict.fromkeys(row["peer"] for row in rows)
        self.names = [name for name in names if name != OURS] + [name for name in names if name == OURS]
        self.rows = list(dict.fromkeys(row["row"] for row in rows))

    def median(self, row, peer, pinning):
        found = self.cell.get((row, peer, pinning))
        return found["median_ns"] if found else None

    def text(self, row, peer):
        medians = [self.median(row, peer, pinning) for pinning in PINNING_TITLES]
        if medians == [None] * len(medians):
            return "-"
        return " / ".join("-" if median is None else nanoseconds(median) for median in medians)


def peers(rows, titles=None):
    """Rows by peers, ours last. titles narrows it to those rows."""
    if not rows:
        return f"The same work done by peers: {NOT_MEASURED}; make bench-peers does it."
    known = Peers(rows)
    wanted = [row for row in known.rows if titles is None or row in titles]
    head = [" / ".join(PINNING_TITLES.values()), *(PEER_NAMES.get(peer, peer) for peer in known.names)]
    return table(head, [[PEER_TITLES.get(row, row), *(known.text(row, peer) for peer in known.names)] for row in wanted])


def peer_claims(rows):
    """How many times as fast as the fastest bus, and the events a second, each beside what it has to be at least."""
    if not rows:
        return f"Beside the fastest bus: {NOT_MEASURED}."
    known = Peers(rows)
    lines = []
    for row, at_least in (("read", 50), ("event_1", 2), ("event_10", 1.4)):
        for pinning, on in PINNING_TITLES.items():
            own = known.median(row, OURS, pinning)
            others = [(median, peer) for peer in known.names if peer not in SHARES_MEMORY
                      and (median := known.median(row, peer, pinning)) is not None]
            if own is None or not own or not others:
                lines.append([PEER_TITLES[row], on, NOT_MEASURED, f"{at_least:g} times", ""])
                continue
            median, peer = min(others)
            times = median / own
            lines.append([PEER_TITLES[row], on, f"{times:.{0 if times >= 10 else 2}f} times as fast as {PEER_NAMES.get(peer, peer)}",
                          f"{at_least:g} times", "yes" if times >= at_least else "no"])
    per_event = known.median("stream", OURS, "2")
    lines.append(["stream of events to 1 listener, sustained", PINNING_TITLES["2"],
                  f"{1e9 / per_event:,.0f} a second" if per_event else NOT_MEASURED, "250,000 a second",
                  "" if not per_event else "yes" if 1e9 / per_event >= 250000 else "no"])
    return table(["beside the fastest bus", "on", "measured", "at least", "met"], lines)


def texts(runs, peer_rows):
    """Every text that a page may want, by the name of its markers."""
    named = {"delays": delays(runs), "peers": peers(peer_rows), "peers-claims": peer_claims(peer_rows),
             "peers-short": peers(peer_rows, ("read", "event_1", "event_10"))}
    for run in runs:
        named[f"ratios-{run.bits}"] = ratios(run)
        named[f"pool-{run.bits}"] = pool(run)
    return named
