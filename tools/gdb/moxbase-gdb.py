"""The object model of a process or a core, for gdb.

    gdb -x moxbase-gdb.py PROGRAM CORE        or, in gdb: source moxbase-gdb.py

    mox objects                   the objects that the process knows
    mox object NAME|ADDRESS       an object's record and the values of its properties
    mox property OBJECT.PROPERTY  a property's type, bytes, value and state
    mox pool                      where the pool lies and how much of it is used

What holds: nothing is called in the process and nothing is written, so a core and a live process are
read alike, and no lock is taken: a live process may change what is being read. The records' fields
stand in a table here, not in debug information, so an optimised build will do; test/gdb holds the
table against the headers. Finding objects by name needs the library's symbols (a build that was not
stripped, or its separate debug file), an address needs none. Every list is followed to a limit, for
a core may be of a process that wrote over its own memory.
"""

import os
import sys

import gdb

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
sys.dont_write_bytecode = True  # nothing is left beside the installed script
from moxbase_records import (  # noqa: E402
    Record, chain, class_name, field_text, find_object, local_properties, module_ids, object_name, objects,
    pool_use, properties, text_at, type_words, value_bytes, value_words, variable, POOL_ADDRESS)

OBJECT_TYPES = {0: "logical", 1: "physical"}
OBJECT_STATES = {0: "normal", 1: "under construction", 2: "marked as deleted"}
CAPABILITIES = {0: "read-only", 1: "read-write"}
STATE_BITS = ["modified", "saved statically", "overridden", "synced", "accessor readable",
              "accessor writable", "accessor synchronous"]


def first_words(text, most=48):
    return text if len(text) <= most else text[:most - 3] + "..."


def state_words(state):
    words = [word for bit, word in enumerate(STATE_BITS) if state & 1 << bit]
    return ", ".join(words) if words else "none"


def byte_lines(data, most=256):
    lines = [" ".join("%02x" % b for b in data[i:i + 16]) for i in range(0, min(len(data), most), 16)]
    if len(data) > most:
        lines.append("... %d more" % (len(data) - most))
    return lines or ["none"]


def show(label, lines):
    """One labelled block; further lines are indented under the first."""
    for i, line in enumerate([lines] if isinstance(lines, str) else lines):
        gdb.write("%-10s  %s\n" % ("" if i else label, line))


def show_table(rows):
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]) - 1)]
    for row in rows:
        gdb.write("  ".join([cell.ljust(width) for cell, width in zip(row, widths)] + [row[-1]]).rstrip() + "\n")


def copy_holders(record):
    ids = module_ids(record)
    return "held by modules " + ", ".join(map(str, ids)) if ids else "none"


def in_words(table, number):
    return table.get(number, "%d (unknown)" % number)


class MoxCommand(gdb.Command):
    """What the process knows of the object model. A prefix: mox objects, mox object, mox property,
mox pool."""

    def __init__(self):
        super().__init__("mox", gdb.COMMAND_DATA, prefix=True)


class ObjectsCommand(gdb.Command):
    """mox objects: lists the objects that this process knows, by name."""

    def __init__(self):
        super().__init__("mox objects", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        if argument:
            raise gdb.GdbError("usage: mox objects")
        rows = [("OBJECT", "CLASS", "POSITION", "PROPERTIES", "STATE")]
        for record in objects():
            rows.append((object_name(record), class_name(record), str(record.position),
                         str(record.property_count),
                         "%s, %s" % (in_words(OBJECT_STATES, record.status),
                                     in_words(CAPABILITIES, record.capability))))
        if len(rows) == 1:
            gdb.write("this process knows no objects\n")
        else:
            show_table(rows)


class ObjectCommand(gdb.Command):
    """mox object NAME|ADDRESS: an object's record and the stored values of its properties."""

    def __init__(self):
        super().__init__("mox object", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        if not argument:
            raise gdb.GdbError("usage: mox object NAME|ADDRESS")
        record = find_object(argument)
        show("object", object_name(record))
        show("record", "0x%x" % record.address)
        show("class", class_name(record))
        if record.name_list != 0:
            show("names", ["%s of class %s" % (text_at(name.object_name, "a name"), text_at(name.class_name, "a class"))
                           for name in chain(record.name_list, "CLASS_OBJECT_LIST_S", "next")])
        show("type", in_words(OBJECT_TYPES, record.type))
        show("state", "%s, %s" % (in_words(OBJECT_STATES, record.status), in_words(CAPABILITIES, record.capability)))
        show("position", str(record.position))
        shared = text_at(record.mutex_obj_name, "a mutex object's name")
        show("lock", "set %d, member %d%s" % (record.semid, record.sem_member,
                                              ", that of " + shared if shared else ""))
        show("holders", "%d in this process" % record.ref_count)
        show("copies", copy_holders(record))
        if record.refered_object != 0:
            show("stands for", object_name(Record("OBJECT_HEAD_S", record.refered_object)))
        show("properties", str(record.property_count))
        rows = [("  " + field_text(item.name), field_text(item.type), first_words(value_words(item)),
                 state_words(item.state & 7) if item.state & 7 else "") for item in properties(record)]
        if rows:
            show_table(rows)


class PropertyCommand(gdb.Command):
    """mox property OBJECT.PROPERTY: a property's type, stored bytes and value, and its state."""

    def __init__(self):
        super().__init__("mox property", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        name, point, property_name = argument.partition(".")
        if not point or not property_name:
            raise gdb.GdbError("usage: mox property OBJECT.PROPERTY")
        owner = find_object(name)
        for record in properties(owner):
            if field_text(record.name) == property_name:
                break
        else:
            raise gdb.GdbError("object '%s' has no property '%s'; 'mox object %s' lists those that it has."
                               % (name, property_name, name))
        data = value_bytes(record)
        show("property", "%s.%s" % (object_name(owner), property_name))
        show("record", "0x%x" % record.address)
        show("type", type_words(record.type))
        show("value", value_words(record))
        show("bytes", byte_lines(data))
        show("size", "%d of %d bytes" % (record.size, record.capacity))
        show("accessor", text_at(record.accessor, "an accessor's name") or "none")
        show("state", "%s (0x%x)" % (state_words(record.state), record.state))
        for local in local_properties(owner):
            if local.property_ptr == record.address:
                show("events", "%d sent, %d received by this process" % (local.change_cnt, local.receive_cnt))


class PoolCommand(gdb.Command):
    """mox pool: where the pool lies, how large it is and how much of it is used."""

    def __init__(self):
        super().__init__("mox pool", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        if argument:
            raise gdb.GdbError("usage: mox pool")
        size = variable("m_size", "I")
        if size == 0:
            gdb.write("this process has no pool\n")
            return
        show("pool", "0x%x to 0x%x, %d bytes" % (POOL_ADDRESS, POOL_ADDRESS + size, size))
        show("owner", "this process" if variable("g_is_owned_shmem", "i") == 1 else "another process")
        used = pool_use(size)
        show("used", "not known: the allocator is not the reference one" if used is None else
             "%d bytes, %.1f %%" % (used, 100.0 * used / size))
        show("objects", "%d known to this process" % len(objects()))


for command in (MoxCommand, ObjectsCommand, ObjectCommand, PropertyCommand, PoolCommand):
    command()
