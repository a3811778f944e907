# SPDX-License-Identifier: MIT
"""Shows the values of libqzSystem readably in gdb.

gdb loads this file together with the library, if it is in the auto-load folder. Otherwise use
`source libqzSystem-gdb.py`. The program must have debug information.
"""

import codecs

import gdb
import gdb.printing

# By type number, as qzVariant::Type has them.
ARRAY_SIZES = {5: 2, 6: 3, 7: 4, 12: 9, 13: 16}
TYPE_NAMES = {5: "VEC2D", 6: "VEC3D", 7: "VEC4D", 12: "MAT3D", 13: "MAT4D"}
UNKNOWN, INTEGER, REAL, STRING, BOOL, MAP, LIST = 0, 1, 2, 3, 4, 10, 11
DATETIME, USERDATA, DESTROYED = 14, 15, 16

# The offsets in a node of a map (VariantNode), whose type the program's debug information lacks.
SMALLER_OFFSET, LARGER_OFFSET, ENTRY_OFFSET = 8, 16, 32

# Trees may be deeper than Python's stack.
MAX_DEPTH = 50


# The character set of gdb's output. Python knows most of them, and each contains ASCII.
try:
    CHARSET = codecs.lookup(gdb.host_charset()).name
except (AttributeError, LookupError):
    CHARSET = "ascii"


def bytes_of(string):
    """The bytes of a std::string, whatever they are."""
    length = int(string["_M_string_length"])
    data = string["_M_dataplus"]["_M_p"]
    if length == 0:
        return b""
    return bytes(gdb.selected_inferior().read_memory(int(data), length))


def quoted(string):
    text = bytes_of(string).decode("utf-8", "backslashreplace")
    escaped = "".join(
        "\\" + c if c in '"\\' else c if c.isprintable() else "\\x%02x" % ord(c) for c in text)
    return '"' + escaped.encode(CHARSET, "backslashreplace").decode(CHARSET) + '"'


def entries_of(map_value):
    """The pairs of a qzVariantMapImpl, in key order."""
    pair = gdb.lookup_type("std::pair<std::__cxx11::basic_string<char, std::char_traits<char>, "
                           "std::allocator<char> > const, qz::qzVariant>").pointer()
    pointer_to_address = gdb.lookup_type("unsigned long").pointer()

    def child_of(node, offset):
        return int(gdb.Value(node + offset).cast(pointer_to_address).dereference())

    def walk(node):
        # In key order, without recursion.
        parents = []
        while parents or node != 0:
            while node != 0:
                parents.append(node)
                node = child_of(node, SMALLER_OFFSET)
            node = parents.pop()
            yield gdb.Value(node + ENTRY_OFFSET).cast(pair).dereference()
            node = child_of(node, LARGER_OFFSET)

    return walk(int(map_value["mEntries"]["root"]))


def elements_of(list_value):
    """The elements of a qzVariantListImpl."""
    implementation = list_value["mElements"]["_M_impl"]
    element, end = implementation["_M_start"], implementation["_M_finish"]
    while element != end:
        yield element.dereference()
        element += 1


def describe(value, depth=0):
    kind, cell = int(value["mType"]), value["mCell"]
    if kind == UNKNOWN:
        return "UNKNOWN"
    if kind == INTEGER:
        return str(int(cell["integer"]))
    if kind == REAL:
        return repr(float(cell["real"]))
    if kind == STRING:
        return quoted(cell["string"].dereference())
    if kind == BOOL:
        return "true" if int(cell["boolean"]) else "false"
    if kind in ARRAY_SIZES:
        reals = (repr(float(cell["array"][i])) for i in range(ARRAY_SIZES[kind]))
        return TYPE_NAMES[kind] + "[" + ",".join(reals) + "]"
    if kind == MAP:
        return describe_map(cell["map"].dereference(), depth)
    if kind == LIST:
        return describe_list(cell["list"].dereference(), depth)
    if kind == DATETIME:
        return "DATETIME(%d)" % int(cell["integer"])
    if kind == USERDATA:
        return "USERDATA(0x%x)" % int(cell["user"])
    return "DESTROYED" if kind == DESTROYED else "type %d" % kind


def describe_map(map_value, depth=0):
    if depth > MAX_DEPTH:
        return "{...}"
    return "{" + ", ".join(quoted(pair["first"]) + ": " + describe(pair["second"], depth + 1)
                           for pair in entries_of(map_value)) + "}"


def describe_list(list_value, depth=0):
    if depth > MAX_DEPTH:
        return "[...]"
    return "[" + ", ".join(describe(each, depth + 1) for each in elements_of(list_value)) + "]"


def printer_of(function):
    class Printer:
        def __init__(self, value):
            self.value = value

        def to_string(self):
            return function(self.value)

    return Printer


def build_printers():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("libqzSystem")
    printers.add_printer("qzVariant", "^qz::qzVariant$", printer_of(describe))
    printers.add_printer("map", "^qz::qzVariant::qzVariantMapImpl$", printer_of(describe_map))
    printers.add_printer("list", "^qz::qzVariant::qzVariantListImpl$", printer_of(describe_list))
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build_printers(), replace=True)
