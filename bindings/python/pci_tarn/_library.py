"""Finds the shared library and binds every declared function to it."""
import ctypes
import os
from pathlib import Path

from . import _generated
from ._types import ENCODING


class PciTarnError(Exception):
    """A call that returned another status than 0."""

    def __init__(self, code, text, function=None):
        super().__init__(code, text, function)
        self.code = code
        self.text = text
        self.function = function

    def __str__(self):
        where = f"{self.function}: " if self.function else ""
        return f"{where}{self.text} ({self.code})"


def _candidates():
    """PCI_TARN_LIBRARY, else the library beside this package, else what the system finds."""
    if "PCI_TARN_LIBRARY" in os.environ:
        return [os.environ["PCI_TARN_LIBRARY"]]
    name = "pci_tarn.dll" if os.name == "nt" else "libpci_tarn.so.1"
    package = Path(__file__).resolve().parent
    # Beside the modules, or in the installation that has them in python/ or in
    # lib/python3/dist-packages/.
    above = list(package.parents)
    folders = [package] + [folder / "bin" for folder in above[1:2]] + above[2:3]
    found = [str(folder / name) for folder in folders if (folder / name).is_file()]
    return found[:1] or [name]


def _load():
    for name in _candidates():
        try:
            return ctypes.CDLL(name, winmode=0)  # 0: also where PATH says
        except OSError as error:
            raise ImportError(
                f"cannot load {name}: {error}; the environment variable PCI_TARN_LIBRARY may name"
                " the library file"
            ) from error


def _as_text(result, _function, _arguments):
    return None if result is None else result.decode(ENCODING, "replace")


def _check_status(result, function, _arguments):
    if result != 0:
        raise PciTarnError(result, error_text(result), function.__name__)


class _Integer:
    """An integer argument. ctypes alone would cut one that is too wide for it."""

    def __init__(self, kind):
        self.kind = kind
        bits = ctypes.sizeof(kind) * 8
        signed = kind(-1).value < 0
        self.range = range(-(1 << bits - 1), 1 << bits - 1) if signed else range(1 << bits)

    def from_param(self, value):
        if isinstance(value, int) and int(value) not in self.range:
            raise ValueError(f"{value} is not within {self.range[0]} to {self.range[-1]}")
        return self.kind.from_param(value)


_INTEGERS = {
    kind: _Integer(kind)
    for name in ("int8", "uint8", "int16", "uint16", "int32", "uint32", "int64", "uint64")
    for kind in [getattr(ctypes, f"c_{name}")]
}


def _absent(name):
    """Stands for a function that a library older than this package does not have."""

    def absent(*_):
        raise NotImplementedError(f"the library {library._name} has no {name}()")

    return absent


def _bind(name, result, arguments, is_status):
    if not hasattr(library, name):
        return _absent(name)
    function = getattr(library, name)
    function.restype = result
    function.argtypes = [_INTEGERS.get(kind, kind) for kind in arguments]
    if is_status:
        function.errcheck = _check_status
    elif result is ctypes.c_char_p:
        function.errcheck = _as_text
    return function


library = _load()
functions = {name: _bind(name, *rest) for name, rest in _generated.FUNCTIONS.items()}


def error_text(code):
    """Text of a status code."""
    return functions["DriverGetErrStr"](code)


def datum(name):
    """A datum that the library exports, as in datum("__proc_id").value."""
    return _generated.DATA[name].in_dll(library, name)
