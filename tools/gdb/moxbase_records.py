"""What moxbase-gdb.py reads: the records of a process or a core, and the values in them."""

import struct

import gdb

POOL_ADDRESS = 0x90000000
POOL_LIMIT = 32 << 20
MANY = 100000  # longer lists are damaged ones

# Fields in their order: name and kind. P pointer, Z size, I and i 32 bits without and with sign,
# a number that many bytes.
RECORDS = {
    "OBJECT_HEAD_S": [
        ("object_name", "P"), ("class_name", "P"), ("mutex_obj_name", "P"), ("ref_bitmap", "P"),
        ("type", "i"), ("module", "P"), ("position", "I"), ("sem_index", "i"), ("semid", "i"),
        ("sem_member", "i"), ("property_count", "I"), ("property_entry", "P"), ("name_list", "P"),
        ("refered_object", "P"), ("ref_count", "i"), ("status", "i"), ("capability", "i"),
        ("user_data", "P"), ("destroy_func", "P"), ("property_hash", "P")],
    "SERIALISED_PROPERTY_S": [
        ("name", 32), ("type", 6), ("accessor", "P"), ("state", "I"), ("size", "Z"),
        ("capacity", "Z"), ("next_ptr", "P"), ("data", "P"), ("data_hold", 8)],
    "LOCAL_PROPERTY_S": [("property_ptr", "P"), ("change_cnt", "I"), ("receive_cnt", "I")],
    "CLASS_OBJECT_LIST_S": [("class_name", "P"), ("object_name", "P"), ("next", "P")],
    # Of GLib, which does not publish it: the same from 2.60 on. It is checked before it is believed.
    "GHashTable": [
        ("size", "Z"), ("mod", "i"), ("mask", "I"), ("nnodes", "I"), ("noccupied", "I"),
        ("big", "I"), ("keys", "P"), ("hashes", "P"), ("values", "P")],
    # Of the reference space allocator, at the pool's start: its free blocks, a tree, and the figures.
    "SpaceHead": [
        ("free_blocks", "Z"), ("root", "P"), ("smallest", "P"), ("largest", "P"), ("extra", "Z"),
        ("allocated", "Z"), ("size", "Z")],
}

# Type: its words, its struct code.
NUMBERS = {
    "b": ("boolean", "B"), "y": ("byte", "B"), "n": ("16 bits with sign", "h"),
    "q": ("16 bits without sign", "H"), "i": ("32 bits with sign", "i"),
    "u": ("32 bits without sign", "I"), "d": ("double", "d")}


def word_size():
    return int(gdb.parse_and_eval("sizeof(void *)"))


def byte_order():
    return ">" if "big endian" in gdb.execute("show endian", to_string=True) else "<"


def layout(record, word):
    """The record's fields as (name, offset, size, struct code or None), each at its natural
    alignment, and the record's size."""
    fields, offset, widest = [], 0, 1
    for name, kind in RECORDS[record]:
        if isinstance(kind, int):
            size, alignment, code = kind, 1, None
        else:
            size = word if kind in "PZ" else 4
            alignment, code = size, {"P": "Q" if word == 8 else "I", "Z": "Q" if word == 8 else "I"}.get(kind, kind)
        offset = (offset + alignment - 1) // alignment * alignment
        fields.append((name, offset, size, code))
        offset += size
        widest = max(widest, alignment)
    return fields, (offset + widest - 1) // widest * widest


def no_pool(what, address):
    return gdb.GdbError(
        "%s at 0x%x cannot be read: the pool is not in this core, or the process had not attached it. Cores "
        "hold it when bit 1 of /proc/PID/coredump_filter is set (0x33 has it) as they are written."
        % (what, address))


def read_bytes(address, size, what):
    try:
        return bytes(gdb.selected_inferior().read_memory(address, size))
    except gdb.MemoryError:
        pass
    if POOL_ADDRESS <= address < POOL_ADDRESS + POOL_LIMIT:
        raise no_pool(what, address)
    raise gdb.GdbError("%s at 0x%x cannot be read: the address is wrong, or the core is cut short."
                       % (what, address))


class Record:
    """A record of the process's memory; its fields are attributes."""

    def __init__(self, kind, address):
        fields, size = layout(kind, word_size())
        data = read_bytes(address, size, kind)
        self.address = address
        self.record_size = size
        for name, offset, length, code in fields:
            field = data[offset:offset + length]
            setattr(self, name, field if code is None else struct.unpack(byte_order() + code, field)[0])


def visible(data):
    """Text as any terminal can print it: bytes that are no ASCII characters stand as escapes."""
    return "".join("\\" + chr(b) if chr(b) in '\\"' else chr(b) if 0x20 <= b < 0x7f else "\\x%02x" % b for b in data)


def field_text(data):
    return visible(data.split(b"\0")[0])


def text_at(address, what, limit=64):
    """The terminated text at an address, None for null."""
    if address == 0:
        return None
    data = b""
    while len(data) < limit and b"\0" not in data:
        # To the next multiple of 8 at most, never into a page that may not be there.
        data += read_bytes(address + len(data), 8 - (address + len(data)) % 8, what)
    return field_text(data)


def symbol(name):
    """The address of a variable of the library."""
    try:
        return int(gdb.parse_and_eval("(unsigned long)&" + name))
    except gdb.error:
        raise gdb.GdbError(
            "the symbol %s is not there: libmoxbase is not loaded in this process, or it was stripped. "
            "Have gdb read its unstripped build (symbol-file, debug-file-directory); "
            "'mox object ADDRESS' needs no symbols." % name)


def variable(name, code):
    size = struct.calcsize("=" + code)
    return struct.unpack(byte_order() + code, read_bytes(symbol(name), size, name))[0]


def hash_table(address):
    """The (key, value) pairs of a GHashTable with pointers of strings and records."""
    word = word_size()
    table = Record("GHashTable", address)
    is_sane = (0 < table.size <= 1 << 28 and table.size & (table.size - 1) == 0
               and table.mask == table.size - 1 and table.nnodes <= table.noccupied <= table.size)
    hashes = []
    if is_sane:
        data = read_bytes(table.hashes, 4 * table.size, "the hash values of a table")
        hashes = struct.unpack("%s%dI" % (byte_order(), table.size), data)
    # 0 and 1 mark a place that was never used, or is not used any more.
    used = [i for i, value in enumerate(hashes) if value >= 2]
    if not is_sane or len(used) != table.nnodes:
        raise gdb.GdbError(
            "the table at 0x%x is not laid out as this script knows GLib's tables (2.60 and later), or it is "
            "damaged, or the process was changing it." % address)

    def entries(start, is_big):
        # 64-bit GLib keeps small numbers in 4 bytes.
        width = word if is_big or word == 4 else 4
        data = read_bytes(start, width * table.size, "the entries of a table")
        return struct.unpack("%s%d%s" % (byte_order(), table.size, "Q" if width == 8 else "I"), data)

    # The other bits of "big" are whatever the memory held before.
    keys = entries(table.keys, table.big & 1)
    values = entries(table.values, table.big & 2)
    return [(keys[i], values[i]) for i in used]


def objects():
    """The records of the process's object table, by name."""
    pointer = variable("g_local_object_hashtable", "Q" if word_size() == 8 else "I")
    if pointer == 0:
        return []
    records = [Record("OBJECT_HEAD_S", value) for _, value in hash_table(pointer)]
    return sorted(records, key=object_name)


def object_name(record):
    name = text_at(record.object_name, "an object's name")
    if name == "":
        # Every object has a name. What a core leaves out reads as zeros.
        raise no_pool("an object's name", record.object_name)
    return name or "(no name)"


def class_name(record):
    return text_at(record.class_name, "a class's name") or "(no class)"


def chain(first, kind, following):
    """The records of a chain."""
    records = []
    while first != 0:
        if len(records) == MANY:
            raise gdb.GdbError("a chain of %s does not end: it is damaged." % kind)
        records.append(Record(kind, first))
        first = getattr(records[-1], following)
    return records


def properties(record):
    return chain(record.property_entry, "SERIALISED_PROPERTY_S", "next_ptr")


def find_object(name):
    if name.startswith(("0x", "$")):
        return Record("OBJECT_HEAD_S", int(gdb.parse_and_eval(name)))
    for record in objects():
        if object_name(record) == name:
            return record
    raise gdb.GdbError("this process knows no object '%s'; 'mox objects' lists those that it knows." % name)


def text_array(data):
    """The texts of an "as" value: each is terminated; behind them stand the offsets of their ends, as
    wide as the value's size needs."""
    if not data:
        return []
    width = 1 if len(data) <= 0xff else 2 if len(data) <= 0xffff else 4
    code = "%s%s" % (byte_order(), {1: "B", 2: "H", 4: "I"}[width])
    ends_at = struct.unpack(code, data[-width:])[0]
    ends = [struct.unpack(code, data[i:i + width])[0] for i in range(ends_at, len(data), width)]
    starts = [0] + ends[:-1]
    if ends_at > len(data) or (len(data) - ends_at) % width or any(s >= e for s, e in zip(starts, ends)):
        return None
    return [data[start:end - 1] for start, end in zip(starts, ends)]


def quoted(data):
    return '"%s"' % visible(data)


def number_text(kind, value):
    if kind == "b":
        return {0: "false", 1: "true"}.get(value, "%d (no boolean)" % value)
    return repr(value) if kind == "d" else str(value)


def value_text(kind, data):
    """The value in words; None when the bytes are none of the type."""
    if kind in NUMBERS:
        code = byte_order() + NUMBERS[kind][1]
        size = struct.calcsize(code)
        return number_text(kind, struct.unpack(code, data[:size])[0]) if len(data) >= size else None
    if kind[:1] == "s":
        return quoted(data[:-1]) if data.endswith(b"\0") else None
    if kind == "as":
        texts = text_array(data)
        return None if texts is None else "[%s]" % ", ".join(quoted(text) for text in texts)
    if kind[:1] == "a" and kind[1:] in NUMBERS:
        code = byte_order() + NUMBERS[kind[1:]][1]
        if len(data) % struct.calcsize(code):
            return None
        return "[%s]" % ", ".join(number_text(kind[1:], v[0]) for v in struct.iter_unpack(code, data))
    return None


def type_words(field):
    kind = field_text(field)
    if kind in NUMBERS:
        return "%s, %s" % (kind, NUMBERS[kind][0])
    if kind[:1] == "s":
        return "%s, %s" % (kind, "reference to another property" if field[3:4] == b"p" else "text")
    return "%s, array" % kind if kind[:1] == "a" else kind or "none"


def value_bytes(record):
    if record.size > POOL_LIMIT:
        raise gdb.GdbError("the property record at 0x%x claims a value of %d bytes: it is damaged."
                           % (record.address, record.size))
    return read_bytes(record.data, record.size, "a value") if record.size else b""


def value_words(record):
    text = value_text(field_text(record.type), value_bytes(record))
    return "(no value of the type; see its bytes)" if text is None else text


def module_ids(record):
    """The bitmap ids of the modules that have a copy of an object."""
    if record.ref_bitmap == 0:
        return []
    words = struct.unpack(byte_order() + "4I", read_bytes(record.ref_bitmap, 16, "an object's bitmap"))
    return [bit for bit in range(1, 128) if words[bit // 32] & 1 << bit % 32]


def local_properties(record):
    """This process's own records of an object's properties."""
    if record.property_hash == 0:
        return []
    return [Record("LOCAL_PROPERTY_S", value) for _, value in hash_table(record.property_hash)]


def pool_use(size):
    """The bytes in use of a pool of a size; None when the allocator is none that is known here."""
    head = Record("SpaceHead", POOL_ADDRESS)
    if head.size == 0 and head.allocated == 0:
        raise no_pool("the pool's head", POOL_ADDRESS)
    # What stands before the first block counts as used.
    used = head.allocated + (head.record_size + 7) // 8 * 8
    return used if head.size == size and head.extra == 0 and used <= size else None
