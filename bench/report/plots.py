"""The plots of the report: gnuplot writes them as SVG. The same measurements give the same bytes."""

import shutil
import subprocess

from measurements import FLOOR
from rows import DELAY_TITLES, PINNING_TITLES, ROWS


class CannotPlot(Exception):
    pass


_COLOURS = {"32": "#d9822b", "64": "#2b6cb0"}
_HEAD = """set terminal svg size {width},{height} dynamic font "sans-serif,12" background "#ffffff"
set termoption noenhanced
set encoding utf8
set grid lw 0.5 lc rgb "#cccccc"
set border 3 lc rgb "#444444"
set tics nomirror
"""


def _quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def _block(name, lines):
    return f"${name} << EOD\n" + "\n".join(lines) + "\nEOD\n"


def _points(pairs):
    return [f"{x:.6g} {y:.6g}" for x, y in pairs]


def ratios(runs):
    """Bars of each row's ratio, one a word size, and a mark where its limit is; None when there is no ratio."""
    rows = [row for row in ROWS if row.limit is not None and any(row.ratio(run.times) is not None for run in runs)]
    if not rows:
        return None
    script = _HEAD.format(width=980, height=90 + 30 * len(rows))
    tics = ", ".join(f"{_quoted(row.title)} {-at}" for at, row in enumerate(rows))
    script += f"set ytics ({tics}) font \",11\"\nset yrange [{-len(rows) + 0.4}:0.6]\nset xrange [0:*]\n"
    script += 'set xlabel "times the sum of its primitives, or the row named"\nset key outside top horizontal\n'
    script += 'set lmargin at screen 0.45\nset rmargin at screen 0.97\n'
    plots, height = [], 0.7 / len(runs)
    for place, run in enumerate(runs):
        low = 0.35 - (place + 1) * height
        bars = [f"{ratio:.4f} {-at + low:.4f} {-at + low + height:.4f}" for at, row in enumerate(rows)
                if (ratio := row.ratio(run.times)) is not None]
        if not bars:
            continue
        script += _block(f"bars{run.bits}", bars)
        plots.append(f'$bars{run.bits} using (0):2:(0):1:2:3 with boxxyerror fs solid 0.85 noborder lc rgb '
                     f'"{_COLOURS.get(run.bits, "#777777")}" title "{run.bits}-bit"')
    script += _block("limits", [f"{row.limit:.4f} {-at - 0.42:.4f}" for at, row in enumerate(rows)])
    plots.append('$limits using 1:2:(0):(0.84) with vectors nohead lw 3 lc rgb "#b00020" title "at most"')
    return script + "plot " + ", ".join(plots) + "\n"


def _series(runs, names):
    """(title, bits, is_floor, points) of each family of rows that was measured at two places or more. names: title ->
    {x: row}."""
    for title, places in names.items():
        for run in runs:
            for prefix in ("", FLOOR):
                points = [(x, run.times[prefix + name]) for x, name in places.items() if prefix + name in run.times]
                if len(points) > 1:
                    yield title, run.bits, bool(prefix), points


def _panel(series, title, xlabel, per, number):
    """One panel of a multiplot; its lines need no name of their own where all show the same under the panel's title."""
    script, plots = "", []
    shapes = {name: 5 + 2 * at for at, name in enumerate(dict.fromkeys(name for name, *_ in series))}
    for at, (name, bits, is_floor, points) in enumerate(series):
        block, shape = f"panel{number}_{at}", shapes[name]
        label = f"{bits}-bit" if name == title else f"{name}, {bits}-bit"
        script += _block(block, _points((x, y / per) for x, y in points))
        plots.append(f"${block} using 1:2 with linespoints lw 2 pt {shape} dt {2 if is_floor else 1} "
                     f'lc rgb "{_COLOURS.get(bits, "#777777")}" '
                     f"title {_quoted(label + (', its primitives' if is_floor else ''))}")
    script += f"set title {_quoted(title)}\nset xlabel {_quoted(xlabel)}\nset yrange [0:*]\n"
    return script + "plot " + ", ".join(plots) + "\n"


def growth_with_objects(runs):
    lookups = {f"by {by}": {n: f"lookup/by_{by}/{n}" for n in (10, 1000, 100000)} for by in ("name", "handle")}
    builds = {what: {n: f"{row}/{n}" for n in (100, 1000, 10000)}
              for what, row in (("building", "build"), ("attaching and copying", "attach"))}
    panels = [(list(_series(runs, lookups)), "lookup of one object", "objects", 1, "ns"),
              (list(_series(runs, builds)), "ten properties each, per object", "objects", 1000, "us")]
    panels = [panel for panel in panels if panel[0]]
    if not panels:
        return None
    script = _HEAD.format(width=980, height=460 * len(panels)) + "set key below\nset logscale x\n"
    script += f"set multiplot layout {len(panels)},1\n"
    for number, (series, title, xlabel, per, unit) in enumerate(panels):
        script += f'set ylabel "{unit}"\n' + _panel(series, title, xlabel, per, number)
    return script + "unset multiplot\n"


def growth_with_listeners(runs):
    names = {
        "event to arrival, one core": {1: "event/1_listener", 10: "event/10_listeners"},
        "event to arrival, two cores": {1: "event/1_listener_2_cores", 10: "event/10_listeners_2_cores"},
        "the write alone": {0: "write/no_listener", 1: "write/1_listener", 10: "write/10_listeners"},
    }
    panels = [(title, series) for title, places in names.items() if (series := list(_series(runs, {title: places})))]
    if not panels:
        return None
    script = _HEAD.format(width=980, height=360 * len(panels)) + "set key below\nset xrange [0:10.5]\n"
    script += f'set ylabel "us"\nset multiplot layout {len(panels)},1\n'
    for number, (title, series) in enumerate(panels):
        script += _panel(series, title, "listeners", 1000, number)
    return script + "unset multiplot\n"


def _later_than(row):
    """(us, share of the delays that are longer) at each bucket's end, from the shortest delay on."""
    total, seen, points = sum(count for _, count in row["histogram"]), 0, []
    for upper, count in row["histogram"]:
        seen += count
        if seen < total:
            points.append((upper / 1000, (total - seen) / total))
    return points


def delays(runs):
    """The share of delays that are longer than so many us; a line a row. 0.5 is the median, 0.01 the 99th of 100."""
    lines = []
    for run in runs:
        for row in run.delays:
            points = _later_than(row)
            if points and not row["row"].startswith(FLOOR):
                title = f"{DELAY_TITLES.get(row['row'], row['row'])}, {PINNING_TITLES.get(row['pinning'], row['pinning'])}"
                lines.append((run.bits, title, points))
    if not lines:
        return None
    script = _HEAD.format(width=980, height=520) + 'set logscale xy\nset key below\n'
    script += 'set xlabel "us from the change to the arrival"\nset ylabel "share of the events that take longer"\n'
    script += 'set ytics ("half" 0.5, "1 in 10" 0.1, "1 in 100" 0.01, "1 in 1,000" 0.001, "1 in 10,000" 0.0001)\n'
    plots, styles = [], {}
    for at, (bits, title, points) in enumerate(lines):
        script += _block(f"line{at}", _points(points))
        style = styles.setdefault(title, len(styles) + 1)
        plots.append(f'$line{at} using 1:2 with lines lw 2 dt {style} lc rgb "{_COLOURS.get(bits, "#777777")}" '
                     f"title {_quoted(f'{title}, {bits}-bit')}")
    return script + "plot " + ", ".join(plots) + "\n"


PLOTS = {"ratios": ratios, "growth-objects": growth_with_objects, "growth-listeners": growth_with_listeners,
         "delays": delays}


def draw(runs, folder):
    """Writes folder/NAME.svg for each plot that has something to show; returns the names of those that have not. A plot
    without measurements is left as it was."""
    if shutil.which("gnuplot") is None:
        raise CannotPlot("the plots need gnuplot: apt-get install gnuplot-nox")
    folder.mkdir(parents=True, exist_ok=True)
    empty = []
    for name, plot in PLOTS.items():
        script = plot(runs)
        if script is None:
            empty.append(name)
            continue
        done = subprocess.run(["gnuplot", "-"], input=script.encode(), capture_output=True, timeout=60, check=False)
        if done.returncode != 0 or not done.stdout:
            raise CannotPlot(f"gnuplot could not make {name}.svg: {done.stderr.decode(errors='replace').strip()}")
        (folder / f"{name}.svg").write_bytes(done.stdout)
    return empty
