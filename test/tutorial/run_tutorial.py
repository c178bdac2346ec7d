"""Does what docs/TUTORIAL.md says, block by block, and compares what is printed.

    run_tutorial.py TUTORIAL --home FOLDER --source COMMAND

The page's fenced blocks are the script; what a block is stands behind its language:

    sh in=TERMINAL           typed into that terminal; all of it must end, with status 0
    sh in=TERMINAL runs      typed there, and goes on running
    sh in=every              typed into each terminal before anything else
    sh in=source             must be COMMAND, which the caller has done in its own way
    text in=TERMINAL         exactly what is printed there, behind the last such block
    text in=TERMINAL exit=N  the same, and then what ran there has ended with status N
    keys in=TERMINAL         Ctrl-C: what runs there is interrupted
    LANGUAGE file=NAME       the content of a file in the folder where the terminals are

A terminal is a shell whose output comes here. What is printed anywhere and stands nowhere on the page
fails the test, and so does a program that still runs at the end. In texts, {number} stands for digits
and {path} for an absolute path, and for nothing else. No wait is longer than WAIT seconds. The caller
gives the surroundings: an IPC namespace, PATH, and FOLDER, which becomes HOME.
"""

import argparse
import os
import queue
import re
import signal
import subprocess
import sys
import threading
import time

WAIT = 60
QUIET = 0.5  # seconds in which nothing more may be printed behind the last line that was waited for
DONE = "-- done "

PLACEHOLDERS = {"{number}": "[0-9]+", "{path}": "/[^ ]+"}


class Failure(Exception):
    pass


class Block:
    """A fenced block: its line, language, options and text."""

    def __init__(self, line, words, text):
        self.line, self.language, self.text = line, words[0], text
        self.options = dict(word.partition("=")[::2] for word in words[1:])
        self.terminal = self.options.get("in")

    def fail(self, cause):
        raise Failure("line %d: %s" % (self.line, cause))


def blocks_of(page):
    found, start, lines = [], None, []
    for number, line in enumerate(page.splitlines(), 1):
        if not line.startswith("```"):
            lines.append(line)
        elif start is None:
            start, words, lines = number, line[3:].split(), []
        else:
            if len(words) < 2:
                raise Failure("line %d: this block does not say what it is" % start)
            found.append(Block(start, words, "".join(text + "\n" for text in lines)))
            start = None
    return found


def matches(wanted, line):
    parts = re.split("(%s)" % "|".join(map(re.escape, PLACEHOLDERS)), wanted)
    return re.fullmatch("".join(PLACEHOLDERS.get(part, re.escape(part)) for part in parts), line) is not None


def is_answer(block, previous):
    """Whether a text is what ended commands printed; it was compared with them then."""
    return (block.language == "text" and previous is not None and previous.language == "sh"
            and previous.terminal == block.terminal)


class Terminal:
    """A shell that reads commands from here, and the lines that it and its programs print."""

    def __init__(self, name, home):
        self.name = name
        self.status = None  # of the last commands, None while they run
        self.lines = queue.Queue()
        environment = {key: value for key, value in os.environ.items() if not key.startswith(("MOX_", "XDG_"))}
        environment.update(HOME=home, LC_ALL="C.UTF-8")
        self.shell = subprocess.Popen(["bash", "--norc", "--noprofile"], cwd=home, env=environment, text=True,
                                      stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        threading.Thread(target=self.collect, daemon=True).start()

    def collect(self):
        for line in self.shell.stdout:
            self.lines.put(line.rstrip("\n"))

    def type(self, commands):
        self.status = None
        # One group, so that its status is that of the first command that fails. It does not end with a
        # program, for which it would give way.
        self.shell.stdin.write("( set -e\n%s:\n)\necho '%s'$?\n" % (commands, DONE))
        self.shell.stdin.flush()

    def next_line(self, limit=None):
        """The next line that was printed, None when there is none. Without a limit it is waited for, as
        long as something runs."""
        end = time.monotonic() + (WAIT if limit is None else limit)
        while limit is not None or self.status is None:
            try:
                line = self.lines.get(timeout=max(0.0, end - time.monotonic()))
            except queue.Empty:
                return None
            if not line.startswith(DONE):
                return line
            self.status = int(line[len(DONE):])
        return None

    def rest_of(self, line):
        """This line and those behind it, for a message."""
        text = ""
        while line is not None:
            text += "    %s\n" % line
            line = self.next_line(QUIET)
        return text.rstrip("\n")

    def children(self, pid):
        try:
            with open("/proc/%d/task/%d/children" % (pid, pid)) as file:
                return [int(word) for word in file.read().split()]
        except (FileNotFoundError, ProcessLookupError):
            return []  # it has just ended

    def programs(self):
        """What runs in the terminal: the program in the commands' group, which is a shell of its own."""
        return [program for group in self.children(self.shell.pid) for program in self.children(group)]

    def interrupt(self):
        """As the keyboard does: the program gets the signal."""
        end = time.monotonic() + WAIT
        while not self.programs() and time.monotonic() < end:
            time.sleep(0.05)
        programs = self.programs()
        for program in programs:
            os.kill(program, signal.SIGINT)
        return bool(programs)


class Tutorial:
    def __init__(self, home, source):
        self.home, self.source = home, source
        self.folder = home
        self.terminals, self.everywhere = {}, ""
        self.running = set()  # names of terminals in which something was left to run

    def terminal(self, name):
        if name not in self.terminals:
            terminal = self.terminals[name] = Terminal(name, self.home)
            # Settings must outlive the commands' group.
            terminal.shell.stdin.write(self.everywhere + "pwd\n")
            terminal.shell.stdin.flush()
            self.folder = terminal.next_line()
        return self.terminals[name]

    def expect_end(self, block, terminal, status):
        while terminal.status is None:
            line = terminal.next_line()
            if line is not None:
                block.fail("%s prints what stands nowhere:\n%s" % (terminal.name, terminal.rest_of(line)))
            if terminal.status is None:
                block.fail("what runs in %s does not end" % terminal.name)
        if terminal.status != status:
            block.fail("%s ends with status %d, not %d" % (terminal.name, terminal.status, status))

    def expect_text(self, block):
        terminal = self.terminal(block.terminal)
        for wanted in block.text.splitlines():
            line = terminal.next_line()
            if line is None:
                block.fail("%s does not print: %s" % (terminal.name, wanted))
            if not matches(wanted, line):
                block.fail("%s prints\n    %s\ninstead of\n    %s" % (terminal.name, line, wanted))
        if "exit" in block.options:
            self.expect_end(block, terminal, int(block.options["exit"]))

    def run_command(self, block, following):
        terminal = self.terminal(block.terminal)
        if terminal.status is None and terminal.name in self.running:
            block.fail("something still runs in %s" % terminal.name)
        terminal.type(block.text)
        if "runs" in block.options:
            self.running.add(terminal.name)
            return
        if following is not None and following.language == "text" and following.terminal == block.terminal:
            self.expect_text(following)
        self.expect_end(block, terminal, 0)

    def run(self, blocks):
        for index, block in enumerate(blocks):
            following = blocks[index + 1] if index + 1 < len(blocks) else None
            if "file" in block.options:
                with open(os.path.join(self.folder, block.options["file"]), "w") as file:
                    file.write(block.text)
            elif block.language == "sh" and block.terminal == "source":
                if block.text.strip() != self.source:
                    block.fail("the test stands in for '%s'" % self.source)
            elif block.language == "sh" and block.terminal == "every":
                self.everywhere += block.text
                self.terminal("work")
            elif block.language == "sh":
                self.run_command(block, following)
            elif block.language == "keys" and block.text == "Ctrl-C\n":
                terminal = self.terminal(block.terminal)
                if not terminal.interrupt():
                    block.fail("nothing runs in %s" % terminal.name)
                if following is None or following.terminal != block.terminal:
                    self.expect_end(block, terminal, 0)
            elif block.language == "text" and block.terminal in self.running:
                self.expect_text(block)
            elif not is_answer(block, blocks[index - 1] if index > 0 else None):
                block.fail("nothing is known of such a block at this place: %s" % block.language)
        self.expect_silence()

    def expect_silence(self):
        for terminal in self.terminals.values():
            line = terminal.next_line(QUIET)
            if line is not None:
                raise Failure("%s prints what stands nowhere:\n%s" % (terminal.name, terminal.rest_of(line)))
            if terminal.status is None:
                raise Failure("something still runs in %s at the end" % terminal.name)

    def end(self):
        """Leaves nothing behind, also after a failure."""
        for terminal in self.terminals.values():
            for program in terminal.programs():
                os.kill(program, signal.SIGKILL)
            terminal.shell.kill()
            terminal.shell.wait()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("page")
    parser.add_argument("--home", required=True)
    parser.add_argument("--source", required=True)
    arguments = parser.parse_args()
    with open(arguments.page) as file:
        page = file.read()
    tutorial = Tutorial(os.path.realpath(arguments.home), arguments.source)
    try:
        blocks = blocks_of(page)
        tutorial.run(blocks)
    except Failure as failure:
        sys.exit("%s: %s" % (arguments.page, failure))
    finally:
        tutorial.end()
    print("%s: %d blocks done as they stand" % (os.path.basename(arguments.page), len(blocks)))


if __name__ == "__main__":
    main()
