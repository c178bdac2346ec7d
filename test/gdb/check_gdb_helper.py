"""gdb's helper script, held against cores of two processes and against a live one.

    check_gdb_helper.py --gdb GDB --script SCRIPT --subject PROGRAM --library LIBRARY [unittest options]

The subject prints where its records lie and how they are laid out; all else that the helper says of
it is compared word for word. Runs in an IPC namespace of its own, for the pool's key is fixed.
"""

import argparse
import os
import re
import subprocess
import sys
import tempfile
import threading
import unittest

LIMIT = 90  # seconds for each gdb, far more than it needs

options = None


class Subject:
    """The subject's processes and what they printed."""

    def __init__(self, arguments=(), processes=2, surroundings=()):
        self.process = subprocess.Popen([*surroundings, options.subject, *arguments], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.pids, self.records, self.layouts, self.used = {}, {}, {}, None
        while len(self.pids) < processes:
            line = self.process.stdout.readline()
            if not line:
                raise RuntimeError("the subject ended early, exit status %d" % self.process.wait(LIMIT))
            words = line.split()
            if words[0] in ("owner", "module"):
                self.pids[words[0]] = words[1]
            elif words[0] == "record":
                self.records[words[1]] = words[2]
            elif words[0] == "layout":
                self.layouts.setdefault(words[1], []).append(line.split(" ")[2:])
            elif words[0] == "used":
                self.used = int(words[2])

    def end(self):
        self.process.stdin.close()
        self.process.stdout.close()
        if self.process.wait(LIMIT) != 0:
            raise RuntimeError("the subject failed")


class Gdb:
    """A gdb with the helper, asked one question after the other."""

    MARK = "-- answered"

    def __init__(self, *arguments):
        self.process = subprocess.Popen(
            [options.gdb, "-nx", "-q", "-iex", "set debuginfod enabled off", "-iex", "set prompt",
             "-iex", "set confirm off", "-iex", "set width 0", "-iex", "set height 0", "-x", options.script, *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.alarm = threading.Timer(LIMIT, self.process.kill)
        self.alarm.start()
        self.ask("echo")  # what gdb says of itself and of the program it reads

    def ask(self, question):
        self.process.stdin.write("%s\necho %s\\n\n" % (question, self.MARK))
        self.process.stdin.flush()
        answer = ""
        for line in self.process.stdout:
            if line == self.MARK + "\n":
                return answer
            answer += line
        raise RuntimeError("gdb ended at '%s': %s" % (question, answer))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.stdout.read()
        self.process.wait()
        self.process.stdout.close()
        self.alarm.cancel()


def write_core(pid, path):
    with Gdb("-p", pid) as gdb:
        answer = gdb.ask("gcore " + path)
    if not os.path.exists(path):
        raise RuntimeError("no core of process %s was written: %s" % (pid, answer))


class Cores:
    """The subject and a gdb over the core of each of its processes, once for all tests: a pool's key is
    taken once."""

    def __init__(self):
        self.directory = tempfile.TemporaryDirectory()
        self.subject = Subject()
        self.owner = Gdb(options.subject, self.of("owner", "owner"))
        self.module = Gdb(options.subject, self.of("module", "module"))

    def of(self, process, name):
        path = os.path.join(self.directory.name, name)
        write_core(self.subject.pids[process], path)
        return path

    def end(self):
        for gdb in (self.owner, self.module):
            gdb.__exit__()
        self.subject.end()
        self.directory.cleanup()


cores = None


def setUpModule():
    global cores
    cores = Cores()


def tearDownModule():
    cores.end()


class HelperTest(unittest.TestCase):
    maxDiff = None

    def says(self, question, expected, gdb=None):
        self.assertEqual((gdb or cores.owner).ask(question), expected)


class Objects(HelperTest):
    def test_are_listed_by_name(self):
        self.says("mox objects", """\
OBJECT   CLASS     POSITION  PROPERTIES  STATE
acc_fan  Accessor  7         1           normal, read-only
blower   Blower    7         1           normal, read-only
fan1     Fan       7         13          normal, read-write
fan2     Fan       7         1           normal, read-only
half     Fan       7         0           under construction, read-only
""")

    def test_of_a_module_are_those_it_has_copies_of(self):
        self.says("mox objects", """\
OBJECT  CLASS  POSITION  PROPERTIES  STATE
fan1    Fan    7         13          normal, read-write
fan2    Fan    7         1           normal, read-only
""", cores.module)

    def test_of_a_live_process_are_the_same_as_of_its_core(self):
        with Gdb("-p", cores.subject.pids["owner"]) as live:
            self.assertEqual(live.ask("mox objects"), cores.owner.ask("mox objects"))

    def test_are_shown_whole(self):
        self.says("mox object fan1", """\
object      fan1
record      %s
class       Fan
names       fan1 of class Fan
type        logical
state       normal, read-write
position    7
lock        set 1, member 0
holders     1 in this process
copies      held by modules 5
properties  13
  Speed    u   999                                               overridden
  Label    s   "front \\"left\\"\\x0a\\x1b[0m \\\\ \\xc2\\xb0"
  Duty     y   50
  Celsius  d   36.6
  On       b   true
  Trim     n   -5
  Width    q   65535
  Offset   i   -100000
  Limits   au  [1000, 4294967295]
  Marks    ab  [true, false]
  Tags     as  ["left", "", "h\\xc3\\xb6her"]
  Long     as  ["abcde", "abcde", "abcde", "abcde", "abcde",...
  Twin     s   "fan2.Speed"
""" % cores.subject.records["fan1"])

    def test_that_stand_for_another_have_its_names_and_properties(self):
        self.says("mox object blower", """\
object      blower
record      %s
class       Blower
names       fan2 of class Fan
            blower of class Blower
type        logical
state       normal, read-only
position    7
lock        set 1, member 2
holders     1 in this process
copies      none
stands for  fan2
properties  1
  Speed  u  7
""" % cores.subject.records["blower"])

    def test_are_found_by_address_too(self):
        answer = cores.owner.ask("mox object acc_fan")
        self.assertIn("type        physical\n", answer)
        self.says("mox object " + cores.subject.records["acc_fan"], answer)

    def test_that_are_not_there_are_said_so(self):
        self.says("mox object fan3", "this process knows no object 'fan3'; 'mox objects' lists those that it knows.\n")

    def test_without_properties_and_before_they_are_ready_are_shown(self):
        answer = cores.owner.ask("mox object half")
        self.assertIn("state       under construction, read-only\n", answer)
        self.assertTrue(answer.endswith("properties  0\n"), answer)


class Properties(HelperTest):
    def property_says(self, name, expected):
        answer = cores.owner.ask("mox property " + name)
        self.assertRegex(answer, r"(?m)^record      0x9[0-9a-f]{7}$")
        self.assertEqual(re.sub(r"(?m)^record .*\n", "", answer), expected)

    def test_have_type_value_bytes_state_and_events(self):
        self.property_says("fan1.Speed", """\
property    fan1.Speed
type        u, 32 bits without sign
value       999
bytes       e7 03 00 00
size        4 of 8 bytes
accessor    none
state       overridden, accessor readable, accessor writable, accessor synchronous (0x74)
events      1 sent, 1 received by this process
""")

    def test_name_their_accessor(self):
        self.property_says("fan2.Speed", """\
property    fan2.Speed
type        u, 32 bits without sign
value       7
bytes       07 00 00 00
size        4 of 8 bytes
accessor    acc_fan
state       accessor readable, accessor writable, accessor synchronous (0x70)
events      0 sent, 0 received by this process
""")

    def test_that_refer_to_others_are_told_from_texts(self):
        self.assertIn("type        s, reference to another property\nvalue       \"fan2.Speed\"\n",
                      cores.owner.ask("mox property fan1.Twin"))
        self.assertIn("type        s, text\n", cores.owner.ask("mox property fan1.Label"))

    def test_that_are_long_have_their_whole_value_and_their_first_bytes(self):
        answer = cores.owner.ask("mox property fan1.Long")
        self.assertIn("value       [%s]\n" % ", ".join(['"abcde"'] * 60), answer)
        self.assertIn("            ... 224 more\nsize        480 of 480 bytes\n", answer)

    def test_that_are_not_there_are_said_so(self):
        self.says("mox property fan1.Colour",
                  "object 'fan1' has no property 'Colour'; 'mox object fan1' lists those that it has.\n")
        self.says("mox property fan1", "usage: mox property OBJECT.PROPERTY\n")

    def test_count_the_events_of_their_own_process(self):
        answer = cores.module.ask("mox property fan1.Speed")
        self.assertIn("value       999\n", answer)
        self.assertIn("events      0 sent, 0 received by this process\n", answer)


class Pool(HelperTest):
    def pool(self, owner, objects):
        return """\
pool        0x90000000 to 0x90800000, 8388608 bytes
owner       %s
used        %d bytes, %.1f %%
objects     %d known to this process
""" % (owner, cores.subject.used, 100.0 * cores.subject.used / 8388608, objects)

    def test_has_the_use_that_the_owner_counts(self):
        self.says("mox pool", self.pool("this process", 5))

    def test_is_the_same_from_a_module(self):
        self.says("mox pool", self.pool("another process", 2), cores.module)

    def test_that_reads_as_zeros_is_said_not_to_be_there(self):
        blank = Subject(["blank"], 1, ["unshare", "--ipc"])
        with Gdb("-p", blank.pids["owner"]) as gdb:
            for question in ("mox objects", "mox object fan1", "mox object " + blank.records["fan1"], "mox pool"):
                self.assertIn("the pool is not in this core", gdb.ask(question))
        blank.end()

    def test_that_is_not_in_the_core_is_said_so(self):
        with open("/proc/%s/coredump_filter" % cores.subject.pids["owner"], "w") as file:
            file.write("0x31")
        core = cores.of("owner", "owner_without_pool")
        with Gdb(options.subject, core) as gdb:
            for question in ("mox objects", "mox pool"):
                answer = gdb.ask(question)
                self.assertIn("the pool is not in this core", answer)
                self.assertIn("coredump_filter", answer)


class InstalledLibrary(unittest.TestCase):
    """The processes have a stripped copy of the library, as an installed one is, and gdb finds the build's."""

    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        stripped = os.path.join(self.directory.name, "libmoxbase.so.0")
        subprocess.run(["strip", "-o", stripped, options.library], check=True)
        self.subject = Subject(["alone"], 1, ["unshare", "--ipc", "env", "LD_PRELOAD=" + stripped])
        self.addCleanup(self.subject.end)
        self.owner = self.subject.pids["owner"]
        self.with_build = ("-iex", "set sysroot /none",
                           "-iex", "set solib-search-path " + os.path.dirname(options.library))

    def check(self, gdb):
        self.assertEqual(gdb.ask("mox objects"), cores.owner.ask("mox objects"))
        self.assertIn("value       999\n", gdb.ask("mox property fan1.Speed"))

    def test_in_a_live_process_is_read_with_the_symbols_of_its_build(self):
        with Gdb(*self.with_build, options.subject, self.owner) as gdb:
            self.check(gdb)

    def test_in_a_core_is_read_with_the_symbols_of_its_build(self):
        core = os.path.join(self.directory.name, "core")
        write_core(self.owner, core)
        with Gdb(*self.with_build, options.subject, core) as gdb:
            self.check(gdb)

    def test_without_its_build_is_said_to_lack_symbols_and_read_by_address(self):
        with Gdb(options.subject, self.owner) as gdb:
            self.assertIn("the symbol g_local_object_hashtable is not there", gdb.ask("mox objects"))
            self.assertIn("object      fan1\n", gdb.ask("mox object " + self.subject.records["fan1"]))


class OtherProcesses(unittest.TestCase):
    def test_without_a_pool_have_no_objects(self):
        subject = Subject(["none"], 1)
        with Gdb("-p", subject.pids["module"]) as gdb:
            self.assertEqual(gdb.ask("mox objects"), "this process knows no objects\n")
            self.assertEqual(gdb.ask("mox pool"), "this process has no pool\n")
        subject.end()

    def test_without_the_library_get_the_reason(self):
        with Gdb(sys.executable) as gdb:
            self.assertIn("the symbol g_local_object_hashtable is not there: libmoxbase is not loaded",
                          gdb.ask("mox objects"))


class Layouts(HelperTest):
    def test_are_those_of_the_headers(self):
        for record, lines in cores.subject.layouts.items():
            program = ("python import moxbase_records as r; fields, size = r.layout('%s', r.word_size()); "
                       "print('', 0, size); [print(*field[:3]) for field in fields]" % record)
            wanted = "".join(" ".join(words) for words in lines)
            self.assertEqual(cores.owner.ask(program), wanted)
        self.assertEqual(len(cores.subject.layouts), 4)


def enter_namespace():
    if os.environ.get("MOX_INSIDE_NAMESPACE") == "1":
        return
    flags = ["--ipc"] if os.geteuid() == 0 else ["--ipc", "--map-root-user"]
    os.environ["MOX_INSIDE_NAMESPACE"] = "1"
    # What the subjects leave unset in new memory is no zero, as in a process that has run for long.
    os.environ["MALLOC_PERTURB_"] = "90"
    os.environ["G_SLICE"] = "always-malloc"
    os.execvp("unshare", ["unshare", *flags, sys.executable, *sys.argv])


def main():
    global options
    parser = argparse.ArgumentParser()
    for name in ("--gdb", "--script", "--subject", "--library"):
        parser.add_argument(name, required=True)
    options, rest = parser.parse_known_args()
    enter_namespace()
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
