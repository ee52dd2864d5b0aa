#!/usr/bin/python3
"""Makes the declarations of the Python and C# bindings from the public headers, read by clang.

With --check it changes nothing and fails when the declarations are out of date. The list of
functions is api/exports.txt; one that the headers do not declare is an error.
"""
import json
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
HEADERS = ["pci_tarn/pci_tarn.h", "cjson/cJSON.h", "cjson/cJSON_Utils.h"]
CLANG = ["clang", "-x", "c", "-std=c11", f"-I{ROOT}/api/include", f"-I{ROOT}/build/deps/include"]

# Functions whose 32-bit unsigned result is a value and not a status.
VALUES = {
    "BoardCDMAIsEnable",
    "BoardGetStructVersion",
    "CDMA_IsEnable",
    "EtherCATDmaRead",
    "EtherCATDmaWrite",
    "EtherCATGetCount",
    "EtherCATRead",
    "EtherCATWaitForInterrupt",
    "EtherCATWrite",
    "__EcatBusCtrlWorkCntGet",
    "__EcatPIWaitSignal",
    "__Ecat_PI_ASync_WakeupByCycleSign",
    "__Ecat_PI_ASync_WakeupByInterrup",
    "driverLock",
    "driverUnlock",
    "getBoardAliasByBoardHandle",
    "releaBarPtr",
    "waitInterrupt",
}
FAMILIES_WITH_STATUS = {"board", "channel", "diagnostics", "driver", "ecat", "pi", "slave"}

# Callbacks that C# passes as delegates, with the names of their arguments.
DELEGATES = {"PciProgress": ("arg", "fraction"), "EcatCycleCallback": ("arg", "handle")}

# Functions that keep an address beyond the call: C# hands them no buffers, which move.
KEEPING = {"EcatPIAsyncModeCycleCallbackHook"}

# Characters, short and long integers: name in C, in ctypes, in C#.
SCALARS = {
    "void": ("None", "void"),
    "bool": ("_c.c_bool", "bool"),
    "_Bool": ("_c.c_bool", "bool"),
    "char": ("_c.c_char", "byte"),
    "int8_t": ("_c.c_int8", "sbyte"),
    "uint8_t": ("_c.c_uint8", "byte"),
    "unsigned char": ("_c.c_uint8", "byte"),
    "int16_t": ("_c.c_int16", "short"),
    "uint16_t": ("_c.c_uint16", "ushort"),
    "int": ("_c.c_int", "int"),
    "int32_t": ("_c.c_int32", "int"),
    "uint32_t": ("_c.c_uint32", "uint"),
    "int64_t": ("_c.c_int64", "long"),
    "uint64_t": ("_c.c_uint64", "ulong"),
    "size_t": ("_c.c_size_t", "UIntPtr"),
    "float": ("_c.c_float", "float"),
    "double": ("_c.c_double", "double"),
}
PYTHON_WORDS = {"in", "is", "from", "with", "lambda", "pass", "import"}
CSHARP_WORDS = {"in", "out", "ref", "object", "string", "event", "lock", "params", "value"}


class Type:
    """A C type: a name behind stars and array sizes, or a pointer to a function."""

    def __init__(self, text):
        text = text.strip()
        self.function = None
        self.sizes = [int(n) for n in re.findall(r"\[(\d+)\]", text)]
        text = re.sub(r"\[\d+\]", "", text)
        match = re.match(r"(.*?)\(\*(?:const)?\)\((.*)\)$", text)
        if match:
            arguments = match[2].strip()
            self.function = (
                Type(match[1]),
                [] if arguments in ("", "void") else [Type(a) for a in arguments.split(",")],
            )
            text = "*"
        self.const = bool(re.match(r"const\b", text))
        self.stars = text.count("*")
        self.name = re.sub(r"\b(const|volatile|struct|restrict)\b|\*", "", text).strip()

    def is_text(self):
        return self.name == "char" and self.stars == 1 and self.const and not self.sizes

    def is_pointer(self):
        return self.function is not None or self.stars > 0


class Interface:
    """What the headers declare."""

    def __init__(self):
        self.functions = {}  # name: (result, [(name, type)])
        self.records = {}  # name: [(name, type or fields of an unnamed record, sizes)]
        self.opaque = []
        self.callbacks = {}  # typedef of a function pointer: Type
        self.aliases = {}  # other typedefs of scalars
        self.enums = {}  # name: [(name, value)]
        self.data = {}
        self.exports = {}  # name: family
        self.read_list()
        self.read_headers()
        self.constants = self.read_constants()

    @staticmethod
    def clang(command, source):
        done = subprocess.run(command, input=source, text=True, stdout=subprocess.PIPE, check=True)
        return done.stdout

    def read_list(self):
        for line in (ROOT / "api/exports.txt").read_text().splitlines():
            if re.match(r"[A-Za-z_]", line):
                name, kind, family = line.split()[:3]
                if kind in ("func", "data"):
                    self.exports[name] = (kind, family)

    def read_headers(self):
        source = "".join(f"#include <{h}>\n" for h in HEADERS)
        command = CLANG + ["-fsyntax-only", "-Xclang", "-ast-dump=json", "-"]
        tree = json.loads(self.clang(command, source))
        # clang names a file only where it changes; system headers are of no interest.
        ours = False
        for node in tree["inner"]:
            place = node.get("loc", {})
            place = place.get("expansionLoc", place)
            if "file" in place:
                ours = "pci_tarn/" in place["file"] or "cjson/" in place["file"]
            if ours:
                getattr(self, "read_" + node["kind"], lambda node: None)(node)
        declared = {"func": self.functions, "data": self.data}
        missing = [n for n, (kind, _) in self.exports.items() if n not in declared[kind]]
        missing += [n for n in VALUES if n not in self.functions]
        if missing:
            sys.exit("Not declared by the public headers: " + ", ".join(missing))

    def read_FunctionDecl(self, node):
        if node["name"] in self.exports:
            parameters = [
                (p.get("name", f"argument{i}"), Type(p["type"]["qualType"]))
                for i, p in enumerate(
                    [p for p in node.get("inner", []) if p["kind"] == "ParmVarDecl"]
                )
            ]
            result = Type(node["type"]["qualType"].split("(")[0])
            self.functions[node["name"]] = (result, parameters)

    def read_VarDecl(self, node):
        self.data[node["name"]] = Type(node["type"]["qualType"])

    def read_RecordDecl(self, node):
        if "inner" in node and node.get("name"):
            self.records[node["name"]] = self.fields(node)
            if node["name"] in self.opaque:
                self.opaque.remove(node["name"])
        elif node.get("name") and node["name"] not in self.records:
            self.opaque += [] if node["name"] in self.opaque else [node["name"]]

    def fields(self, node):
        result, unnamed = [], None
        for field in node["inner"]:
            if field["kind"] == "RecordDecl":
                unnamed = self.fields(field)
            elif field["kind"] == "FieldDecl":
                text = field["type"]["qualType"]
                kind = Type(text)
                if "unnamed" in text:
                    result.append((field["name"], unnamed, kind.sizes))
                else:
                    result.append((field["name"], kind, kind.sizes))
        return result

    def read_EnumDecl(self, node):
        values, value = [], -1
        for item in node["inner"]:
            if item["kind"] == "EnumConstantDecl":
                inner = [i for i in item.get("inner", []) if i["kind"] == "ConstantExpr"]
                value = int(inner[0]["value"]) if inner else value + 1
                values.append((item["name"], value))
        self.enums[node["name"]] = values

    def read_TypedefDecl(self, node):
        kind = Type(node["type"]["qualType"])
        if kind.function:
            self.callbacks[node["name"]] = kind
        elif kind.name in SCALARS and not kind.stars:
            self.aliases[node["name"]] = kind.name

    def read_constants(self):
        source = "#include <pci_tarn/pci_tarn.h>\n"
        command = CLANG + ["-E", "-dM", "-"]
        text = self.clang(command, source)
        number = r"^#define ((?:ECAT|PCI_TARN)_\w+) (0x[0-9A-Fa-f]+|\d+)$"
        found = [(name, int(value, 0)) for name, value in re.findall(number, text, re.M)]
        return sorted(found + re.findall(r'^#define (PCI_TARN_\w+) (".*")$', text, re.M))

    def is_status(self, name):
        result, _ = self.functions[name]
        family = self.exports[name][1]
        return (
            result.name == "uint32_t"
            and not result.stars
            and name not in VALUES
            and family in FAMILIES_WITH_STATUS
        )


# ---- Python ----------------------------------------------------------------------------------


class Python:
    def __init__(self, interface):
        self.api = interface

    def base(self, kind, parameter=False):
        if kind.function:
            result, arguments = kind.function
            return "_c.CFUNCTYPE(" + ", ".join(self.base(t) for t in [result] + arguments) + ")"
        name = self.api.aliases.get(kind.name, kind.name)
        stars = kind.stars
        if name == "char" and stars == 1 and kind.const:
            return "_Text" if parameter else "_c.c_char_p"
        if name == "void" and stars:
            text, stars = "_c.c_void_p", stars - 1
        else:
            text = SCALARS[name][0] if name in SCALARS else name
        return "_c.POINTER(" * stars + text + ")" * stars

    def field(self, kind, sizes):
        if isinstance(kind, list):
            fields = ", ".join(f'("{n}", {self.field(t, s)})' for n, t, s in kind)
            text = f'type("_Unnamed", (_c.Structure,), {{"_fields_": [{fields}]}})'
        else:
            text = self.base(kind)
        for size in reversed(sizes):
            text += f" * {size}"
        return text if len(sizes) < 2 else f"({text})"

    def argument(self, kind):
        if kind.sizes:  # an array as a parameter is a pointer
            kind.stars, kind.sizes = 1, []
        if kind.function or (kind.name in self.api.callbacks and not kind.stars):
            return f"_Callback({self.base(kind)})"
        return self.base(kind, parameter=True)

    def result(self, name):
        kind = self.api.functions[name][0]
        if kind.name == "char" and kind.stars and not kind.const:
            return "_c.c_void_p"  # the caller frees it, so the address must stay known
        return self.base(kind)

    def text(self):
        api = self.api
        lines = [
            '"""Declarations of every function. Made by scripts/bindings.py; do not edit."""',
            "import ctypes as _c",
            "import enum as _enum",
            "",
            "from ._types import Callback as _Callback, Text as _Text",
            "",
            "",
        ]
        for name, prefix in (("PciTarnStatus", "PCI_TARN_"), ("PciTarnAlStatus", "PCI_TARN_AL_")):
            lines.append(f"class {name[7:]}(_enum.IntEnum):")
            lines += [f"    {n[len(prefix):]} = {v}" for n, v in api.enums[name]]
            lines += ["", ""]
        lines += [f"{name} = {value}" for name, value in api.constants]
        lines += ["", ""]
        for name in sorted(set(api.opaque) | set(api.records)):
            lines += [f"class {name}(_c.Structure):", "    pass", "", ""]
        for name, kind in api.callbacks.items():
            lines.append(f"{name} = {self.base(kind)}")
        lines.append("")
        for name, fields in api.records.items():
            lines.append(f"{name}._fields_ = [")
            lines += [f'    ("{n}", {self.field(t, s)}),' for n, t, s in fields]
            lines.append("]")
        lines += ["", "# name: (result, arguments, whether the result is a status)"]
        lines.append("FUNCTIONS = {")
        for name in [n for n in api.exports if n in api.functions]:
            arguments = [self.argument(t) for _, t in api.functions[name][1]]
            listed = ", ".join(arguments)
            lines.append(
                f'    "{name}": ({self.result(name)}, [{listed}], {api.is_status(name)}),'
            )
        lines += ["}", "", "# name: type of the datum", "DATA = {"]
        for name in [n for n in api.exports if n in api.data]:
            kind = api.data[name]
            lines.append(f'    "{name}": {self.field(kind, kind.sizes)},')
        lines += ["}", ""]
        return "\n".join(lines)


# ---- C# --------------------------------------------------------------------------------------


class CSharp:
    def __init__(self, interface):
        self.api = interface

    def plain(self, fields):
        """Whether a record is the same memory in C#: numbers, texts and arrays of them."""
        return all(
            isinstance(t, Type)
            and not t.is_pointer()
            and len(t.sizes) < 2
            and t.name in SCALARS
            for _, t, _ in fields
        )

    def word(self, name):
        return "@" + name if name in CSHARP_WORDS else name

    def scalar(self, name):
        return SCALARS[self.api.aliases.get(name, name)][1]

    def raw(self, kind):
        """Every pointer but a constant text is an address."""
        if kind.is_text():
            return "[MarshalAs(UnmanagedType.LPStr)] string"
        if kind.name in self.api.callbacks and not kind.stars:
            return kind.name if kind.name in DELEGATES else "IntPtr"
        if kind.is_pointer() or kind.sizes:
            return "IntPtr"
        text = self.scalar(kind.name)
        return "[MarshalAs(UnmanagedType.I1)] bool" if text == "bool" else text

    def handy(self, kind):
        """Buffers are arrays of bytes, single values are passed by reference."""
        name = self.api.aliases.get(kind.name, kind.name)
        if kind.is_text() or kind.function or not (kind.stars or kind.sizes):
            return self.raw(kind)
        if kind.stars == 2:
            return "out IntPtr"
        if SCALARS.get(name, ("", ""))[1] == "byte" or name == "void":
            return "byte[]" if kind.const else "[In, Out] byte[]"
        if name in SCALARS:
            return "ref " + SCALARS[name][1]
        if name in self.api.records and self.plain(self.api.records[name]):
            return "ref " + name
        return "IntPtr"

    def declarations(self, name):
        result, parameters = self.api.functions[name]
        text, attribute = self.raw(result), ""
        if result.is_text():
            text = "IntPtr"  # constant: the marshaller must not free it
        if "bool" in text:
            text, attribute = "bool", "[return: MarshalAs(UnmanagedType.I1)] "
        signatures = []
        for form in (self.raw,) if name in KEEPING else (self.handy, self.raw):
            listed = ", ".join(f"{form(t)} {self.word(n)}" for n, t in parameters)
            if listed not in signatures:
                signatures.append(listed)
        return [
            f"        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, "
            f"ExactSpelling = true)]\n        {attribute}public static extern {text} {name}({s});"
            for s in signatures
        ]

    def field(self, name, kind):
        if kind.sizes and kind.name == "char":
            marshal = f"[MarshalAs(UnmanagedType.ByValTStr, SizeConst = {kind.sizes[0]})] "
            return f"        {marshal}public string {self.word(name)};"
        if kind.sizes:
            marshal = f"[MarshalAs(UnmanagedType.ByValArray, SizeConst = {kind.sizes[0]})] "
            return f"        {marshal}public {self.scalar(kind.name)}[] {self.word(name)};"
        return f"        public {self.scalar(kind.name)} {self.word(name)};"

    def enum(self, name, prefix):
        lines = [f"    public enum {name[7:]} : uint", "    {"]
        for item, value in self.api.enums[name]:
            word = "".join(w.capitalize() for w in item[len(prefix) :].split("_"))
            lines.append(f"        {word} = {value},")
        return lines + ["    }", ""]

    def text(self):
        api = self.api
        lines = [
            "// Declarations of every function. Made by scripts/bindings.py; do not edit.",
            "using System;",
            "using System.Runtime.InteropServices;",
            "",
            "namespace PciTarn",
            "{",
        ]
        lines += self.enum("PciTarnStatus", "PCI_TARN_")
        lines += self.enum("PciTarnAlStatus", "PCI_TARN_AL_")
        for name, fields in api.records.items():
            if self.plain(fields):
                lines.append("    [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Ansi)]")
                lines += [f"    public struct {name}", "    {"]
                lines += [self.field(n, t) for n, t, _ in fields]
                lines += ["    }", ""]
        for name in DELEGATES:
            result, arguments = api.callbacks[name].function
            listed = ", ".join(f"{self.raw(t)} {n}" for n, t in zip(DELEGATES[name], arguments))
            lines += [
                "    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]",
                f"    public delegate {self.raw(result)} {name}({listed});",
                "",
            ]
        lines += [
            "    public static class Native",
            "    {",
            '        public const string Library = "pci_tarn";',
            "",
        ]
        for name, value in api.constants:
            kind = "uint" if isinstance(value, int) else "string"
            lines.append(f"        public const {kind} {name} = {value};")
        for name in [n for n in api.exports if n in api.functions]:
            lines += [""] + self.declarations(name)
        lines += ["    }", "}", ""]
        return "\n".join(lines)


def main():
    interface = Interface()
    made = {
        ROOT / "bindings/python/pci_tarn/_generated.py": Python(interface).text(),
        ROOT / "bindings/csharp/Native.cs": CSharp(interface).text(),
    }
    stale = [p for p, text in made.items() if not p.exists() or p.read_text() != text]
    if "--check" in sys.argv[1:]:
        for path in stale:
            print(f"{path.relative_to(ROOT)} is out of date: run scripts/bindings.py")
        if stale:
            sys.exit(1)
        print(f"The bindings declare all {len(interface.functions)} functions as the headers do.")
        return
    for path in stale:
        path.write_text(made[path])


main()
