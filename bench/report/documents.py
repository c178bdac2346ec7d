"""Puts texts between the markers of a page: what lies between <!-- bench:begin NAME --> and <!-- bench:end NAME -->.

A page has the markers of the texts that it wants; a text without a marker is left out of it, and everything outside of
the markers stays as it is.
"""

import re

_MARKER = re.compile(r"^<!-- bench:(begin|end) (\S+) -->$")


class BadMarkers(Exception):
    pass


def filled(page, texts, where):
    """The page with texts[NAME] between the markers of each NAME; None leaves what is there. where names the page in
    messages."""
    lines, open_name = [], None
    for number, line in enumerate(page.split("\n"), start=1):
        found = _MARKER.match(line)
        if not found:
            if open_name is None or texts[open_name] is None:
                lines.append(line)
            continue
        kind, name = found.groups()
        if kind == "begin":
            if open_name is not None:
                raise BadMarkers(f"{where}:{number}: {name} begins before {open_name} has ended")
            if name not in texts:
                raise BadMarkers(f"{where}:{number}: the report has no text named {name}; it has {', '.join(sorted(texts))}")
            open_name = name
            lines.append(line)
            if texts[name] is not None:
                lines.append(texts[name])
        else:
            if name != open_name:
                raise BadMarkers(f"{where}:{number}: {name} ends and has not begun")
            open_name = None
            lines.append(line)
    if open_name is not None:
        raise BadMarkers(f"{where}: {open_name} has no end marker")
    return "\n".join(lines)


def fill(path, texts):
    """Fills the page in place; a page whose texts are what they were is not touched."""
    before = path.read_text(encoding="utf-8")
    after = filled(before, texts, path)
    if after != before:
        path.write_text(after, encoding="utf-8")
