"""Shows the types of KelmUtils in gdb by their contents: docs/debugging.md.

gdb loads this file together with the library, and "source" loads it by hand.

Qt usually has no debug symbols, so its types are decoded by their layouts: those of Qt 5.15 in a
64-bit program, with the containers of libstdc++. The members of our own classes are found by name,
in the debug symbols of the library; all names of members are in the constants below.

No function of the program is called, so that core files work as well. An object may be incomplete,
destroyed or random bytes: what cannot be valid is shown as "<invalid>", and sizes are bounded.
"""

import datetime
import functools
import re
import struct

import gdb
import gdb.printing

INVALID = "<invalid>"
UNKNOWN = "<no debug symbols of the library>"

# How much is read and shown. gdb bounds the number of children itself, by "print elements".
MOST_BYTES = 1 << 20  # at once
MOST_ITEMS = 1 << 28  # of a container
MOST_REFERENCES = 1 << 28  # to shared data
MOST_CONNECTIONS = 1000  # of an object
MOST_NESTED = 4  # lists within lists
SHOWN_ROWS = 5  # of a table
SHOWN_CELLS = 8  # of a row
COUNTED_ROWS = 100  # by which the columns of a table are counted
SEARCHED_KEYS = 2000  # of a settings file

# Members of our classes. A path with dots goes through members of members.
DATETIME_SECONDS = "m_time"
TAG_NAME, TAG_KEYS, TAG_VALUES = "name", "keys", "values"
TAGFILE, TAGFILE_PATH, TAGFILE_TAGS = "d", "filename", "tags.m_tags"
SETTINGS, SETTINGS_QT = "m_settings", "m_settings"
TABLE, TABLE_PATH, TABLE_TEXT, TABLE_OTHER = "d", "path", "textData", "backend"
ROWS, ROWS_ORDER, ROWS_CHUNKS, ROWS_HELD = "m_rows", "m_order", "m_chunks", "m_held.m_pieces"
ORDER_PLAIN, ORDER_NEXT, ORDER_IDS = "m_isPlain", "m_nextId", "m_ids"
LOCATED_FIRST, LOCATED_CHUNK = "firstId", "chunk"
PIECE_ROWS, PIECE_HELD, PIECE_SIZE = "rows", "held", 64
CHUNK_INDEX, CHUNK_BYTES = "m_index", "m_bytes"
CHUNK_FORMS = ("m_form", "m_isSplit")  # 0: not split, 1: cells are trimmed, 2: cells are not
CHUNK_UTF8, CHUNK_UTF8_START, CHUNK_UTF16 = "m_text.m_utf8", "m_text.m_start", "m_text.m_text"
INDEX_REGULAR_LINES, INDEX_REGULAR_CELLS = "m_regularLines", "m_regularCells"
INDEX_LINES, INDEX_WIDE, INDEX_IS_WIDE = "m_lines", "m_wide", "m_isWide"
INDEX_LOW, INDEX_BLOCKS, INDEX_BLOCK_SIZE = "m_low", "m_blocks", 64
BUFFER, BUFFER_SIZE = "m_numbers", "m_size"
READER, READER_SOURCE, READER_LINES = "reader.d", "source", "m_file.m_lines.m_size"
READER_FIRST, READER_LAST, READER_LAST_ROW = "firstRow", "lastRow", "lastRowIndex"
RECORDS_SIZE, RECORDS_LAST, RECORDS_LAST_ROW = "m_file.m_starts.m_size", "m_fields", "m_row"
STORAGES = {
    "Utils::CSVStringData": "as text",
    "Utils::CSVArrayData": "as bytes",
    "Utils::CSVFileData": "in the file",
    "Utils::CSVRecordData": "in the file",
}

# Offsets in our classes, which are the same in all versions: hosts have been built with them.
PAYLOAD, SLOT_ENABLED = 16, 32

# Offsets in types of Qt.
OBJECT_PRIVATE = 8
PRIVATE_OBJECT, PRIVATE_FLAGS, PRIVATE_EXTRA, PRIVATE_CONNECTIONS = 8, 32, 48, 64
FLAG_DELETED = 4
EXTRA_NAME = 40
CONNECTIONS_SIGNALS, CONNECTIONS_SENDERS = 8, 16
SIGNALS_COUNT, SIGNALS_FIRST, SIGNALS_STEP = 8, 16, 16
CONNECTION_NEXT_SENDER, CONNECTION_NEXT, CONNECTION_SENDER, CONNECTION_RECEIVER = 0, 16, 32, 40
CONNECTION_FLAGS = 84
FLAG_FUNCTION = 1 << 30
NUM_SIGNALS_OF_QOBJECT = 3
SETTINGS_GROUP, SETTINGS_FILES = 128, 144
FILE_STORED, FILE_CHANGED, FILE_REMOVED = 32, 40, 48
LIST_FIRST = 16
MAP_ROOT, NODE_LEFT, NODE_RIGHT, NODE_KEY, NODE_VALUE = 16, 8, 16, 24, 32
VARIANT_SIZE = 16


class Invalid(Exception):
    """An object that is not valid, or not yet, or not any more."""


class Unknown(Exception):
    """A type without debug symbols."""


def guarded(function):
    """\\p function with "<invalid>" as its result instead of any exception."""

    @functools.wraps(function)
    def call(*arguments):
        try:
            return function(*arguments)
        except Unknown:
            return UNKNOWN
        except Exception:  # whatever random bytes lead to
            return INVALID

    return call


# Memory


def read(address, size):
    if not 0 <= size <= MOST_BYTES:
        raise Invalid
    return bytes(gdb.selected_inferior().read_memory(address, size)) if size else b""


def numbers(address, form):
    """The numbers at an address, by a format of the module struct."""
    form = "<" + form
    return struct.unpack(form, read(address, struct.calcsize(form)))


def number(address, form):
    return numbers(address, form)[0]


def pointer(address):
    return number(address, "Q")


def object_bytes(value):
    """The bytes of a value, which may be the result of a function and have no address."""
    if value.address is not None:
        return read(int(value.address), value.type.sizeof)
    data = bytearray(value.type.sizeof)
    fill(data, 0, value)
    return bytes(data)


def fill(data, start, value):
    """Writes the scalars of a value into \\p data, from the bit \\p start on."""
    kind = value.type.strip_typedefs()
    if kind.code == gdb.TYPE_CODE_UNION:
        field = max(kind.fields(), key=lambda candidate: scalar_size(candidate.type))
        fill(data, start, value[field])
    elif kind.code == gdb.TYPE_CODE_STRUCT:
        for field in kind.fields():
            if not hasattr(field, "bitpos"):
                continue  # a static member
            if field.bitsize:
                put(data, start + field.bitpos, field.bitsize, int(value[field]))
            else:
                fill(data, start + field.bitpos, value[field])
    elif kind.code == gdb.TYPE_CODE_FLT:
        packed = struct.pack("<d" if kind.sizeof == 8 else "<f", float(value))
        put(data, start, kind.sizeof * 8, int.from_bytes(packed, "little"))
    elif scalar_size(kind):
        put(data, start, kind.sizeof * 8, int(value))


def scalar_size(kind):
    scalars = {
        gdb.TYPE_CODE_PTR, gdb.TYPE_CODE_INT, gdb.TYPE_CODE_CHAR, gdb.TYPE_CODE_BOOL,
        gdb.TYPE_CODE_ENUM,
    }  # fmt: skip
    kind = kind.strip_typedefs()
    return kind.sizeof if kind.code in scalars else 0


def put(data, start, size, scalar):
    scalar &= (1 << size) - 1
    whole = int.from_bytes(data, "little") | scalar << start
    data[:] = whole.to_bytes(len(data), "little")


def first_word(value):
    """The pointer that a QString, QList, QMap, or smart pointer consists of."""
    return struct.unpack_from("<Q", object_bytes(value))[0]


# Members of our own classes


def member(value, path):
    for name in path.split("."):
        if not value.type.strip_typedefs().fields():
            raise Unknown
        value = value[name]
    return value


def any_member(value, names):
    """The member with the first of \p names that exists: it has had another name before."""
    known = {field.name for field in value.type.strip_typedefs().fields()}
    return member(value, next((name for name in names if name in known), names[0]))


def at(address, kind):
    return gdb.Value(address).cast(kind.pointer()).dereference()


def pointee(smart):
    """The object of a std::unique_ptr or std::shared_ptr; null is invalid."""
    address = first_word(smart)
    if not address:
        raise Invalid
    value = at(address, smart.type.strip_typedefs().template_argument(0).unqualified())
    if not value.type.fields():
        raise Unknown
    return value


def vector(value, size):
    """The address and the number of the items of a std::vector, by their size."""
    begin, end, capacity = struct.unpack_from("<QQQ", object_bytes(value))
    if not begin <= end <= capacity or (end - begin) // size > MOST_ITEMS:
        raise Invalid
    return begin, (end - begin) // size


def deque_words(value):
    """The addresses of the items of a std::deque of pointers."""
    buffer_size = 512
    words = struct.unpack_from("<10Q", object_bytes(value))
    first, last, node = words[2], words[4], words[5]
    end, end_first, end_node = words[6], words[7], words[9]
    while (node, first) != (end_node, end):
        if node > end_node or node == end_node and not end_first <= first < end:
            raise Invalid
        yield first
        first += 8
        if first == last:
            node += 8
            first = pointer(node)
            last = first + buffer_size


def deque_size(value):
    words = struct.unpack_from("<10Q", object_bytes(value))
    nodes = (words[9] - words[5]) // 8
    size = nodes * 64 + (words[6] - words[7]) // 8 - (words[2] - words[3]) // 8
    if not 0 <= size <= MOST_ITEMS:
        raise Invalid
    return size


# Texts


def limit():
    """The largest number of characters to show, or 0 for any."""
    return gdb.parameter("print elements") or 0


def quoted(text, is_cut=False):
    """\\p text in quotes, with escapes for what is not visible or not in gdb's character set."""
    special = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\t": "\\t", "\r": "\\r", "\0": "\\0"}
    if limit() and len(text) > limit():
        text, is_cut = text[: limit()], True
    shown = "".join(special.get(c, c if c.isprintable() else escaped(c)) for c in text)
    charset = gdb.host_charset() if hasattr(gdb, "host_charset") else "ascii"
    shown = shown.encode(charset, "backslashreplace").decode(charset)
    return f'"{shown}"' + ("..." if is_cut else "")


def escaped(character):
    code = ord(character)
    return f"\\x{code:02x}" if code < 0x100 else f"\\u{code:04x}"


def array(d, width):
    """The address and the number of the items of a QString or QByteArray."""
    references, size, capacity, offset = numbers(d, "iiI4xq")
    capacity &= 0x7FFFFFFF
    is_raw = capacity == 0 and references != -1
    if not -1 <= references <= MOST_REFERENCES or not 0 <= size <= MOST_ITEMS:
        raise Invalid
    items = d + offset
    if not is_raw and any(read(items + size * width, width)):
        raise Invalid  # no zero at the end
    if capacity:
        if not size < capacity or offset < 24:
            raise Invalid
        read(items + (capacity - 1) * width, width)
    return items, size


def bounded(size):
    """How many of \\p size characters are read, and whether these are not all."""
    most = limit() + 1 if limit() else MOST_BYTES // 2
    return min(size, most), size > most


def plain_text(d):
    """The text of a QString that is short, by its pointer."""
    items, size = array(d, 2)
    return read(items, size * 2).decode("utf-16-le", "surrogatepass")


def string_text(d):
    """The text of a QString, by its pointer, to be shown."""
    items, size = array(d, 2)
    size, is_cut = bounded(size)
    return quoted(read(items, size * 2).decode("utf-16-le", "surrogatepass"), is_cut)


def bytes_text(d):
    """The text of a QByteArray, which is UTF-8 in most cases."""
    items, size = array(d, 1)
    size, is_cut = bounded(size)
    return quoted(read(items, size).decode("utf-8", "backslashreplace"), is_cut)


def plural(count, noun):
    return f"{count} {noun}" + ("" if count == 1 else "s")


# Containers of Qt


def list_words(d):
    """The addresses of the items of a QList of types that have the size of a pointer."""
    references, capacity, begin, end = numbers(d, "iiii")
    if not -1 <= references <= MOST_REFERENCES or not 0 <= begin <= end <= capacity <= MOST_ITEMS:
        raise Invalid
    return range(d + LIST_FIRST + 8 * begin, d + LIST_FIRST + 8 * end, 8)


def map_size(d):
    references, size = numbers(d, "ii")
    if not -1 <= references <= MOST_REFERENCES or not 0 <= size <= MOST_ITEMS:
        raise Invalid
    return size


def map_nodes(d):
    """The addresses of the nodes of a QMap, in the order of keys."""
    left = map_size(d)
    node, parents = pointer(d + MAP_ROOT), []
    while (node or parents) and left:
        while node:
            parents.append(node)
            if len(parents) > 100:
                raise Invalid  # no balanced tree
            node = pointer(node + NODE_LEFT)
        node = parents.pop()
        yield node
        left -= 1
        node = pointer(node + NODE_RIGHT)


def in_braces(items, describe):
    texts = [describe(item) for item in items[:SHOWN_CELLS]]
    if len(items) > SHOWN_CELLS:
        texts.append("...")
    return "{" + ", ".join(texts) + "}"


@guarded
def string_at(address):
    return string_text(pointer(address))


@guarded
def bytes_at(address):
    return bytes_text(pointer(address))


# Variants


def color_text(data):
    """A QColor, by its bytes."""
    kind, alpha, red, green, blue = struct.unpack_from("<iHHHH", data)
    if kind == 0:
        return "invalid colour"
    if kind == 1:
        shown = "#" + "".join(f"{part >> 8:02x}" for part in (red, green, blue))
        return shown if alpha == 0xFFFF else f"{shown}, alpha {alpha >> 8}"
    if kind in {2, 4}:
        degrees = "none" if red == 0xFFFF else f"{red / 100:g}"
        model = "hsv" if kind == 2 else "hsl"
        return f"{model}({degrees}, {green >> 8}, {blue >> 8}), alpha {alpha >> 8}"
    if kind in {3, 5}:
        return "cmyk" if kind == 3 else "extended rgb"
    raise Invalid


def scalar(form):
    return lambda data, depth: str(struct.unpack_from("<" + form, data)[0])


def decimal(form):
    return lambda data, depth: repr(struct.unpack_from("<" + form, data)[0])


def word(describe):
    """By \\p describe of the pointer that the object consists of."""
    return lambda data, depth: describe(struct.unpack_from("<Q", data)[0])


def variants_text(data, depth):
    """A QVariantList. It has pointers to its items, which are larger than a pointer."""
    items = list_words(struct.unpack_from("<Q", data)[0])
    return in_braces(items, lambda item: variant_at(pointer(item), depth + 1))


def variant_map_text(data, depth):
    d = struct.unpack_from("<Q", data)[0]
    entries = []
    for node in map_nodes(d):
        if len(entries) == SHOWN_CELLS:
            entries.append("...")
            break
        value = variant_at(node + NODE_VALUE, depth + 1)
        entries.append(f"[{string_at(node + NODE_KEY)}] = {value}")
    return "{" + ", ".join(entries) + "}"


def nested_variant(data, depth):
    return variant_text(data, depth + 1)


# By QMetaType::Type: the size of the object, and its text by its bytes.
VARIANTS = {
    1: (1, lambda data, depth: "true" if data[0] else "false"),
    2: (4, scalar("i")),
    3: (4, scalar("I")),
    4: (8, scalar("q")),
    5: (8, scalar("Q")),
    6: (8, decimal("d")),
    7: (2, lambda data, depth: quoted(data[:2].decode("utf-16-le", "surrogatepass"))),
    8: (8, variant_map_text),
    9: (8, variants_text),
    10: (8, word(string_text)),
    11: (8, word(lambda d: in_braces(list_words(d), string_at))),
    12: (8, word(bytes_text)),
    32: (8, scalar("q")),
    33: (2, scalar("h")),
    34: (1, scalar("b")),
    35: (8, scalar("Q")),
    36: (2, scalar("H")),
    37: (1, scalar("B")),
    38: (4, decimal("f")),
    40: (1, scalar("b")),
    41: (VARIANT_SIZE, nested_variant),
    67: (16, lambda data, depth: color_text(data)),
}
NAMES = {
    13: "QBitArray", 14: "QDate", 15: "QTime", 16: "QDateTime", 17: "QUrl", 18: "QLocale",
    19: "QRect", 20: "QRectF", 21: "QSize", 22: "QSizeF", 23: "QLine", 24: "QLineF",
    25: "QPoint", 26: "QPointF", 27: "QRegExp", 28: "QVariantHash", 31: "void *",
    39: "QObject *", 64: "QFont", 65: "QPixmap", 66: "QBrush", 68: "QPalette",
}  # fmt: skip
FIRST_OF_OTHERS = 1024
# Types of ours, whose numbers differ between runs.
OTHERS = {
    "Data::String": VARIANTS[10],
    "Data::Variant": VARIANTS[41],
    "QMap<Data::String, Data::Variant>": VARIANTS[8],
}


def other_type(type_id):
    """The entry of one of our types, and its name."""
    for name, entry in OTHERS.items():
        variable = f"'QMetaTypeId<{name} >::qt_metatype_id()::metatype_id'"
        for spelling in (variable, variable.replace(" >", ">")):
            try:
                known = gdb.parse_and_eval(f"*(int *)&{spelling}")
            except gdb.error:
                continue  # no variant has had one yet
            if int(known) == type_id:
                return entry
    return None


def variant_text(data, depth=0):
    """A QVariant, by its bytes."""
    content, flags = data[:8], struct.unpack_from("<I", data, 8)[0]
    type_id, is_shared = flags & 0x3FFFFFFF, flags >> 30 & 1
    if type_id == 0:
        if is_shared:
            raise Invalid
        return "invalid variant"
    entry = VARIANTS.get(type_id) or (type_id >= FIRST_OF_OTHERS and other_type(type_id))
    if not entry:
        if type_id > FIRST_OF_OTHERS + 100000 or type_id in range(70, FIRST_OF_OTHERS):
            raise Invalid
        return f"<{NAMES.get(type_id, f'type {type_id}')}>"
    if depth > MOST_NESTED:
        return "..."
    size, describe = entry
    if is_shared:
        content = read(pointer(struct.unpack_from("<Q", content)[0]), size)
    elif size > 8:
        raise Invalid
    return describe(content, depth)


@guarded
def variant_at(address, depth):
    return variant_text(read(address, VARIANT_SIZE), depth)


# Objects of Qt


def private_of(address):
    """The QObjectPrivate of the object at \\p address."""
    private = pointer(address + OBJECT_PRIVATE)
    if pointer(private + PRIVATE_OBJECT) != address:
        raise Invalid
    if number(private + PRIVATE_FLAGS, "I") & FLAG_DELETED:
        raise Invalid
    return private


def object_name(address):
    extra = pointer(private_of(address) + PRIVATE_EXTRA)
    return string_text(pointer(extra + EXTRA_NAME)) if extra else '""'


def class_name(address):
    """The class of an object with virtual functions, without our namespace; "" if unknown."""
    table = gdb.Value(pointer(address)).cast(gdb.lookup_type("void").pointer())
    found = re.search(r"<vtable for (.+)\+\d+>", table.format_string(symbols=True))
    return found[1].replace("Utils::", "") if found else ""


def payload(address):
    """That of a signal or slot, as a value, or as its text where gdb knows no such type."""
    try:
        return at(address + PAYLOAD, gdb.lookup_type("QMap<Data::String, Data::Variant>"))
    except gdb.error:
        return guarded(variant_map_text)(read(address + PAYLOAD, 8), 0)


@guarded
def object_text(address):
    return f"{class_name(address) or 'QObject'} {object_name(address)} at 0x{address:x}"


def connection_data(address):
    return pointer(private_of(address) + PRIVATE_CONNECTIONS)


def connections(first, next_offset, own, own_offset, other_offset):
    """A list of connections of the object \p own, each with the object at its other end."""
    count = 0
    while first:
        count += 1
        if count > MOST_CONNECTIONS:
            return
        other = pointer(first + other_offset)
        if other:  # or else it has been disconnected
            if pointer(first + own_offset) != own:
                raise Invalid
            yield first, other
        first = pointer(first + next_offset)


def receivers(address):
    """What receives the signals that its class and derived ones declare: the address of each
    object, listed once, and for each function without a context None.
    """
    data = connection_data(address)
    signals = pointer(data + CONNECTIONS_SIGNALS) if data else 0
    if not signals:
        return []
    count = pointer(signals + SIGNALS_COUNT)
    if count > MOST_CONNECTIONS:
        raise Invalid
    found = {}
    for index in range(NUM_SIGNALS_OF_QOBJECT, count):
        first = pointer(signals + SIGNALS_FIRST + SIGNALS_STEP * (index + 1))
        for connection, receiver in connections(
            first, CONNECTION_NEXT, address, CONNECTION_SENDER, CONNECTION_RECEIVER
        ):
            # The context of such a function is the signal itself.
            is_function = (
                receiver == address and number(connection + CONNECTION_FLAGS, "I") & FLAG_FUNCTION
            )
            found[connection if is_function else receiver] = None if is_function else receiver
    return list(found.values())


def senders(address):
    data = connection_data(address)
    first = pointer(data + CONNECTIONS_SENDERS) if data else 0
    found = connections(
        first, CONNECTION_NEXT_SENDER, address, CONNECTION_RECEIVER, CONNECTION_SENDER
    )
    return list(dict.fromkeys(sender for _, sender in found))


# Settings


def settings_file(address):
    """The QConfFile of the QSettings at \p address, for which Qt keeps the path and the values."""
    files = pointer(private_of(address) + SETTINGS_FILES)
    _, size, _, offset = numbers(files, "iiI4xq")
    if not 0 < size < 10:
        raise Invalid
    return pointer(files + offset)


def settings_keys(d, prefix):
    """The keys of a map in a settings file that are in the group \p prefix, with their nodes."""
    for _, node in zip(range(SEARCHED_KEYS), map_nodes(d)):
        key = plain_text(pointer(node + NODE_KEY))
        if key.startswith(prefix):
            yield key[len(prefix) :], node


def settings_values(address):
    """The nodes of the values in the current group, by key."""
    file = settings_file(address)
    prefix = plain_text(pointer(private_of(address) + SETTINGS_GROUP))
    values = dict(settings_keys(pointer(file + FILE_STORED), prefix))
    for key, _ in settings_keys(pointer(file + FILE_REMOVED), prefix):
        values.pop(key, None)
    values.update(settings_keys(pointer(file + FILE_CHANGED), prefix))
    return dict(sorted(values.items()))


# Tables


class Index:
    """Where the cells of a chunk begin and end: CellIndex."""

    def __init__(self, value):
        self.regular_lines = int(member(value, INDEX_REGULAR_LINES))
        self.regular_cells = int(member(value, INDEX_REGULAR_CELLS))
        self.is_wide = bool(member(value, INDEX_IS_WIDE))
        self.lines = self.buffer(value, INDEX_LINES)
        self.wide = self.buffer(value, INDEX_WIDE)
        self.low = self.buffer(value, INDEX_LOW)
        self.blocks = self.buffer(value, INDEX_BLOCKS)

    @staticmethod
    def buffer(value, path):
        buffer = member(value, path)
        return first_word(member(buffer, BUFFER)), int(member(buffer, BUFFER_SIZE))

    @staticmethod
    def item(buffer, i, form):
        begin, size = buffer
        if not 0 <= i < size:
            raise Invalid
        return number(begin + i * struct.calcsize(form), form)

    def first_cell(self, line):
        if line <= self.regular_lines:
            return line * self.regular_cells
        return self.item(self.lines, line - self.regular_lines - 1, "I")

    def begin(self, cell):
        if self.is_wide:
            return self.item(self.wide, cell, "I")
        first = self.item(self.blocks, cell // INDEX_BLOCK_SIZE, "I")
        return first + (self.item(self.low, cell, "H") - first & 0xFFFF)


class Chunk:
    """The text or bytes of the rows of one read: TextChunk or ByteChunk."""

    def __init__(self, value):
        self.index = Index(member(value, CHUNK_INDEX))
        self.form = int(any_member(value, CHUNK_FORMS))
        self.encoding, self.width = "utf-8", 1
        if any(field.name == CHUNK_BYTES for field in value.type.fields()):
            self.begin, self.size = array(first_word(member(value, CHUNK_BYTES)), 1)
            return
        self.begin, self.size = array(first_word(member(value, CHUNK_UTF8)), 1)
        if self.size:
            start = int(member(value, CHUNK_UTF8_START))
            self.begin, self.size = self.begin + start, self.size - start
        else:
            self.begin, self.size = array(first_word(member(value, CHUNK_UTF16)), 2)
            self.encoding, self.width = "utf-16-le", 2

    def num_cells(self, line):
        return self.index.first_cell(line + 1) - self.index.first_cell(line)

    def cell(self, line, col):
        """The text of a cell as the table returns it, but for quotes, which stay."""
        cell = self.index.first_cell(line) + col
        begin, end = self.index.begin(cell), self.index.begin(cell + 1) - 1
        if not 0 <= begin <= end <= self.size:
            raise Invalid
        size, is_cut = bounded(end - begin)
        data = read(self.begin + begin * self.width, size * self.width)
        handler = "surrogatepass" if self.width == 2 else "backslashreplace"
        text = data.decode(self.encoding, handler)
        return quoted(text.strip() if self.form == 1 else text, is_cut)


class MemoryRows:
    """The rows of a table in memory: MemoryRows, as text or as bytes."""

    def __init__(self, data):
        rows = member(data, ROWS)
        order = member(rows, ROWS_ORDER)
        self.is_plain = bool(member(order, ORDER_PLAIN))
        self.next_id = int(member(order, ORDER_NEXT))
        self.ids = vector(member(order, ORDER_IDS), 4)
        self.held = vector(member(rows, ROWS_HELD), 8)
        self.piece = member(rows, ROWS_HELD).type.strip_typedefs().template_argument(0)
        self.chunks = list(self.located(member(rows, ROWS_CHUNKS)))
        # A QStringList or a QList<QByteArray>.
        self.describe = bytes_at if "CSVArrayData" in str(data.type) else string_at
        self.size = self.next_id if self.is_plain else self.ids[1]
        if not 0 <= self.size <= 0x7FFFFFFF:
            raise Invalid

    @staticmethod
    def located(chunks):
        kind = chunks.type.strip_typedefs().template_argument(0)
        begin, count = vector(chunks, kind.sizeof)
        for i in range(min(count, MOST_CONNECTIONS)):
            located = at(begin + i * kind.sizeof, kind)
            yield int(member(located, LOCATED_FIRST)), member(located, LOCATED_CHUNK)

    def id(self, row):
        return row if self.is_plain else number(self.ids[0] + 4 * row, "i")

    def held_row(self, row_id):
        """The addresses of the cells of a row that is held as a list, or None."""
        begin, count = self.held
        if row_id // PIECE_SIZE >= count:
            return None
        address = pointer(begin + 8 * (row_id // PIECE_SIZE))
        if not address:
            return None
        piece = at(address, self.piece.strip_typedefs().template_argument(0))
        if not int(member(piece, PIECE_HELD)) >> row_id % PIECE_SIZE & 1:
            return None
        return list_words(first_word(member(piece, PIECE_ROWS)[row_id % PIECE_SIZE]))

    def chunk_row(self, row_id):
        """The chunk of a row, and its line there."""
        for first, shared in reversed(self.chunks):
            if first <= row_id:
                return Chunk(pointee(shared)), row_id - first
        raise Invalid

    def num_columns(self, row):
        held = self.held_row(self.id(row))
        if held is not None:
            return len(held)
        chunk, line = self.chunk_row(self.id(row))
        return chunk.num_cells(line)

    def is_split(self):
        return not self.chunks or Chunk(pointee(self.chunks[0][1])).form != 0

    @guarded
    def row(self, row):
        held = self.held_row(self.id(row))
        if held is not None:
            return in_braces(held, self.describe)
        chunk, line = self.chunk_row(self.id(row))
        return in_braces(range(chunk.num_cells(line)), lambda col: chunk.cell(line, col))

    def shown(self):
        """The names and the texts of the first rows."""
        for row in range(min(self.size, SHOWN_ROWS)):
            yield f"row {row}", self.row(row)
        if self.size > SHOWN_ROWS:
            yield "rows", "..."

    def columns(self):
        if not self.size:
            return 0
        return max(self.num_columns(row) for row in range(min(self.size, COUNTED_ROWS)))


class FileRows:
    """The rows of a table in the file. Only those that were read last are in memory."""

    def __init__(self, size, first, last, last_row):
        self.size = size
        self.first = list_words(first_word(first)) if first is not None else ()
        self.last = list_words(first_word(last))
        self.last_row = last_row

    @staticmethod
    def of_reader(data):
        """Of a CSVFileData."""
        reader = pointee(member(data, READER))
        source = member(reader, READER_SOURCE)
        size = int(member(pointee(source), READER_LINES)) if first_word(source) else 0
        first, last = member(reader, READER_FIRST), member(reader, READER_LAST)
        return FileRows(size, first, last, int(member(reader, READER_LAST_ROW)))

    @staticmethod
    def of_records(data):
        """Of a CSVRecordData, which holds the row that was read last."""
        last, last_row = member(data, RECORDS_LAST), int(member(data, RECORDS_LAST_ROW))
        return FileRows(int(member(data, RECORDS_SIZE)), None, last, last_row)

    def is_split(self):
        return True

    def columns(self):
        """How many cells the rows that were read have, or None if none was read."""
        return max(len(self.first), len(self.last)) or None

    def shown(self):
        if self.first:
            yield "row 0", in_braces(self.first, bytes_at)
        if self.last_row >= (1 if self.first else 0):
            yield f"row {self.last_row}", in_braces(self.last, bytes_at)


# Printers


class Printer:
    """Shows one value. Derived classes have text(), and items() for what is within."""

    hint = None

    def __init__(self, value):
        is_reference = value.type.code in {gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF}
        self.value = value.referenced_value() if is_reference else value
        self.shown = None

    def to_string(self):
        if self.shown is None:
            self.shown = guarded(self.text)()
        return self.shown

    def children(self):
        if self.to_string() in {INVALID, UNKNOWN}:
            return
        try:
            yield from self.items()
        except Exception:
            if self.hint != "map":
                yield INVALID, INVALID

    def display_hint(self):
        return self.hint

    def items(self):
        return ()

    def address(self):
        if self.value.address is None:
            raise Invalid
        return int(self.value.address)


class StringPrinter(Printer):
    def text(self):
        return string_text(first_word(self.value))


class VariantPrinter(Printer):
    def text(self):
        return variant_text(object_bytes(self.value))


class ColorPrinter(Printer):
    def text(self):
        return color_text(object_bytes(self.value))


class DateTimePrinter(Printer):
    """In UTC, because the local time zone of the program is not known."""

    def text(self):
        seconds = float(self.value[DATETIME_SECONDS])
        if not seconds > 0:
            return f"no time ({seconds!r})"
        try:
            start = datetime.datetime(1970, 1, 1)
            time = start + datetime.timedelta(milliseconds=int(seconds * 1000))
        except (OverflowError, ValueError):
            return f"{seconds!r} s"
        return f"{time:%Y-%m-%d %H:%M:%S}.{time.microsecond // 1000:03} UTC ({seconds!r})"


class CollectionPrinter(Printer):
    """A VariantCollection."""

    hint = "map"

    def text(self):
        size = map_size(first_word(self.value))
        return plural(size, "value") if size else "no values"

    def items(self):
        kind = self.value.type.strip_typedefs()
        key, value = kind.template_argument(0), kind.template_argument(1)
        for i, node in enumerate(map_nodes(first_word(self.value))):
            yield f"key {i}", at(node + NODE_KEY, key)
            yield f"value {i}", at(node + NODE_VALUE, value)


class TagPrinter(Printer):
    hint = "map"

    def words(self, name):
        return list_words(first_word(member(self.value, name)))

    def text(self):
        name = string_text(first_word(member(self.value, TAG_NAME)))
        keys, values = self.words(TAG_KEYS), self.words(TAG_VALUES)
        if len(keys) != len(values):
            raise Invalid
        return f"Tag {name}, {len(keys)} propert{'y' if len(keys) == 1 else 'ies'}"

    def items(self):
        kind = member(self.value, TAG_NAME).type
        for i, (key, value) in enumerate(zip(self.words(TAG_KEYS), self.words(TAG_VALUES))):
            yield f"key {i}", at(key, kind)
            yield f"value {i}", at(value, kind)


class TagFilePrinter(Printer):
    hint = "array"

    def tags(self):
        return member(pointee(member(self.value, TAGFILE)), TAGFILE_TAGS)

    def text(self):
        path = string_text(first_word(member(pointee(self.value[TAGFILE]), TAGFILE_PATH)))
        return f"TagFile {path}, {plural(deque_size(self.tags()), 'tag')}"

    def items(self):
        kind = self.tags().type.strip_typedefs().template_argument(0)
        kind = kind.strip_typedefs().template_argument(0)
        for i, word_address in enumerate(deque_words(self.tags())):
            yield f"[{i}]", at(pointer(word_address), kind)


class TablePrinter(Printer):
    def table(self):
        return pointee(member(self.value, TABLE))

    def data(self):
        """What holds the cells: an object of one of the classes of STORAGES."""
        other = first_word(member(self.table(), TABLE_OTHER))
        address = other or first_word(member(self.table(), TABLE_TEXT))
        name = f"Utils::{class_name(address)}"
        if name not in STORAGES:
            raise Invalid
        return at(address, gdb.lookup_type(name))

    def rows(self):
        data = self.data()
        kinds = {
            "Utils::CSVFileData": FileRows.of_reader,
            "Utils::CSVRecordData": FileRows.of_records,
        }
        return kinds.get(str(data.type), MemoryRows)(data)

    def text(self):
        parts = [guarded(self.size_text)(), STORAGES[str(self.data().type)]]
        path = string_text(first_word(member(self.table(), TABLE_PATH)))
        if path != '""':
            parts.append(path)
        return "CSVTable " + ", ".join(parts)

    def size_text(self):
        rows = self.rows()
        text = plural(rows.size, "row")
        if not rows.is_split():
            return text + " not split"
        columns = rows.columns()
        if columns is not None:
            text += ", " + plural(columns, "column")
            if isinstance(rows, MemoryRows) and rows.size > COUNTED_ROWS:
                text += f" in the first {COUNTED_ROWS}"
        return text

    def items(self):
        return self.rows().shown()


class SignalPrinter(Printer):
    def text(self):
        address = self.address()
        name = f"{class_name(address) or 'Signal'} {object_name(address)}"
        return f"{name}, {plural(len(receivers(address)), 'receiver')}"

    def items(self):
        yield "payload", payload(self.address())
        for i, receiver in enumerate(receivers(self.address())):
            yield f"receiver {i}", object_text(receiver) if receiver else "function"


class SlotPrinter(Printer):
    def text(self):
        address = self.address()
        enabled = "enabled" if read(address + SLOT_ENABLED, 1)[0] else "disabled"
        return f"{class_name(address) or 'Slot'} {object_name(address)}, {enabled}"

    def items(self):
        yield "payload", payload(self.address())
        for i, sender in enumerate(senders(self.address())):
            yield f"sender {i}", object_text(sender)


class SettingsPrinter(Printer):
    hint = "map"

    def settings(self):
        """The address of the QSettings."""
        return first_word(member(pointee(member(self.value, SETTINGS)), SETTINGS_QT))

    def text(self):
        group = plain_text(pointer(private_of(self.settings()) + SETTINGS_GROUP))
        path = string_text(pointer(settings_file(self.settings())))
        return f"Settings {quoted(group.rstrip('/'))}, {path}"

    def items(self):
        for key, node in settings_values(self.settings()).items():
            yield f"key {key}", quoted(key)
            yield f"value {key}", variant_at(node + NODE_VALUE, 0)


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("KelmUtils")
    for name, pattern, printer in (
        ("String", r"^Data::String$", StringPrinter),
        ("Variant", r"^Data::Variant$", VariantPrinter),
        ("VariantCollection", r"^QMap<Data::String, ?Data::Variant>$", CollectionPrinter),
        ("Color", r"^Data::Color$", ColorPrinter),
        ("DateTime", r"^Utils::DateTime$", DateTimePrinter),
        ("Tag", r"^Utils::TagFile::Tag$", TagPrinter),
        ("TagFile", r"^Utils::TagFile$", TagFilePrinter),
        ("CSVTable", r"^Utils::CSVTable$", TablePrinter),
        ("Signal", r"^Utils::(Public|Settings)?Signal$", SignalPrinter),
        ("Settings", r"^Utils::(Workspace)?Settings$", SettingsPrinter),
        ("Slot", r"^Utils::(Delayed|Conditional|Settings)?Slot$", SlotPrinter),
    ):
        collection.add_printer(name, pattern, printer)
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
