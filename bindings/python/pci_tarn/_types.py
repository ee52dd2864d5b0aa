"""Argument types of the declarations."""
import ctypes
import os

# Paths and names are narrow bytes: the ANSI code page on Windows, UTF-8 elsewhere.
ENCODING = "mbcs" if os.name == "nt" else "utf-8"


class Text(ctypes.c_char_p):
    """A constant text; takes str, bytes, os.PathLike and None."""

    @classmethod
    def from_param(cls, value):
        if isinstance(value, os.PathLike):
            value = os.fspath(value)
        if isinstance(value, str):
            value = value.encode(ENCODING)
        if isinstance(value, bytes) and b"\0" in value:
            raise ValueError("a text must not contain NUL")
        return ctypes.c_char_p.from_param(value)


class Callback:
    """A pointer to a function as an argument: an instance of `kind`, or None."""

    def __init__(self, kind):
        self.kind = kind

    def from_param(self, value):
        return None if value is None else self.kind.from_param(value)
