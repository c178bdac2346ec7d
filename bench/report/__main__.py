"""Makes the tables and plots of docs/PERFORMANCE.md, and the peers' table of README.md, out of what the benchmarks kept.

usage: python3 -B bench/report [--peers] BUILD_DIR...     build/64-release build/32-release

--peers makes only the tables of what the peers did beside ours, of which the rows may be in any of the folders.

What was not measured is said in the table's place; a file that cannot be read ends it with status 1 before any page is
touched. Reads and writes nothing but the files named here.
"""

import pathlib
import sys

import documents
import plots
import tables
from measurements import MalformedFile, Measurements

_ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def main(folders, root=_ROOT):
    is_peers_only = folders[:1] == ["--peers"]
    folders = folders[1:] if is_peers_only else folders
    if not folders:
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    pages = [root / "docs" / "PERFORMANCE.md", root / "README.md"]
    try:
        runs = [Measurements(folder) for folder in folders]
        texts = tables.texts(runs, [row for run in runs for row in run.peers])
        if is_peers_only:
            texts = {name: text if name.startswith("peers") else None for name, text in texts.items()}
        for page in pages:
            documents.filled(page.read_text(encoding="utf-8"), texts, page)
        for page in pages:
            documents.fill(page, texts)
        empty = [] if is_peers_only else plots.draw(runs, root / "docs" / "performance")
    except (MalformedFile, documents.BadMarkers, plots.CannotPlot, OSError) as problem:
        print(f"report: {problem}", file=sys.stderr)
        return 1
    for name in empty:
        print(f"report: docs/performance/{name}.svg: {tables.NOT_MEASURED}; it stays as it was")
    print("report: docs/PERFORMANCE.md and README.md hold the figures of " + ", ".join(folders))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
