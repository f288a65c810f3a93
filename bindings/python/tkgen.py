"""Drives one X-ray generator through the twelve plain functions of the shared library tkgen.

    import tkgen

    toolkit = tkgen.load()
    toolkit.map_port("COM1", "/dev/ttyUSB0")
    with toolkit.window() as window, toolkit.opened(tkgen.COM1):
        toolkit.enable_events(window)
        toolkit.enable_refresh(True)
        for message in window.messages(seconds=10):
            print(message.name, message.value)

Commands and parameters are given by their mnemonics, "KV", or as numbers. What the functions do, and
which thread may call them, stands with toolkit.h; waiting calls leave other Python threads running.
"""

import contextlib
import ctypes
import ctypes.util
import time
from typing import Iterator, NamedTuple, Optional, Union

COM1, COM2, COM3, COM4, COM5, COM6, COM7, COM8, COM9, COM10 = range(10)

UNKNOWN = -999  # the value of a parameter isn't known
QUERY, UP, DOWN, UP_2, DOWN_2 = range(65535, 65530, -1)  # sent in place of a value
MESSAGE = 65534  # the number of every posted message
LOST, BACK = 0, 1  # the link, in place of a parameter

Parameter = Union[str, int]


def command(mnemonic: str) -> int:
    """The number of a command: command("KV") is 0x4B56."""
    return int.from_bytes(mnemonic.encode("ascii"), "big")


def mnemonic(number: int) -> str:
    """The mnemonic of a command's number."""
    return number.to_bytes((number.bit_length() + 7) // 8, "big").decode("ascii", "replace")


def _number(parameter: Parameter) -> int:
    return command(parameter) if isinstance(parameter, str) else parameter


class Message(NamedTuple):
    """What was posted: a parameter and its value, or that the link is LOST or BACK."""

    message: int
    parameter: int
    value: int

    @property
    def name(self) -> str:
        return {LOST: "lost", BACK: "back"}.get(self.parameter) or mnemonic(self.parameter)


class _WindowMessage(ctypes.Structure):
    _fields_ = [
        ("message", ctypes.c_uint),
        ("wParam", ctypes.c_ulong),
        ("lParam", ctypes.c_long),
    ]


class Window:
    """A queue of messages. Posting to it never blocks; while it is full, messages are lost."""

    def __init__(self, library: ctypes.CDLL):
        self._library = library
        self.handle = library.tkCreateWindow()
        if not self.handle:
            raise OSError("no window to be had")

    def __enter__(self) -> "Window":
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def close(self) -> None:
        """Ends it. What is posted from then on is lost."""
        self._library.tkDestroyWindow(self.handle)

    def get(self, seconds: float = 0) -> Optional[Message]:
        """The oldest message, once one has come; None when none has in that time."""
        message = _WindowMessage()
        milliseconds = int(max(0, min(seconds * 1000, 0xFFFFFFFF)))
        if self._library.tkGetMessage(self.handle, ctypes.byref(message), milliseconds):
            return Message(message.message, message.wParam, message.lParam)
        return None

    def messages(self, seconds: float) -> Iterator[Message]:
        """All messages that come in that time, or until the window is closed."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0 and (message := self.get(left)) is not None:
            yield message

    def fileno(self) -> int:
        """A descriptor that is readable while messages wait, for select and event loops."""
        return self._library.tkWindowFd(self.handle)

    @property
    def lost(self) -> int:
        """How many messages were lost because the queue was full."""
        return self._library.tkLostMessages(self.handle)


class Toolkit:
    """The functions of the library, under Python's names. A process has one generator."""

    def __init__(self, library: ctypes.CDLL):
        self._library = library

    def map_port(self, name: str, device: Optional[str]) -> bool:
        """Has one of the names "COM1" to "COM10" stand for a device; None takes it back."""
        path = None if device is None else device.encode()
        return self._library.tkMapSerialPort(name.encode(), path)

    def window(self) -> Window:
        return Window(self._library)

    @contextlib.contextmanager
    def opened(self, device: int) -> Iterator["Toolkit"]:
        """Opens a port for a block, or raises OSError."""
        if not self.initialize(device):
            raise OSError(f"COM{device + 1} can't be opened")
        try:
            yield self
        finally:
            self.close()

    def initialize(self, device: int) -> bool:
        return self._library.initializeToolkit(device)

    def close(self) -> None:
        self._library.closeToolkit()

    def enable_events(self, window: Optional[Window]) -> None:
        self._library.enableEvents(None if window is None else window.handle)

    def enable_refresh(self, enable: bool) -> None:
        self._library.enableRefresh(enable)

    def transmit(self, parameter: Parameter, value: int = QUERY, wait: bool = True) -> bool:
        return self._library.transmitMsg(_number(parameter), value, wait)

    def transmit_apr(self, ws, fo, et, fi, fs, fn, kv, ma, ms, wait: bool = True) -> bool:
        return self._library.transmitAPR(ws, fo, et, fi, fs, fn, kv, ma, ms, wait)

    def displayable(self, parameter: Parameter) -> bool:
        return self._library.displayableParam(_number(parameter))

    def controllable(self, parameter: Parameter) -> bool:
        return self._library.controllableParam(_number(parameter))

    def get(self, parameter: Parameter) -> int:
        return self._library.getGenParam(_number(parameter))

    def set(self, parameter: Parameter, value: int) -> bool:
        return self._library.setGenParam(_number(parameter), value)

    def error(self) -> int:
        return self._library.getError()

    def latched_error(self) -> int:
        return self._library.getLatchedError()


_FUNCTIONS = {
    "tkMapSerialPort": (ctypes.c_bool, [ctypes.c_char_p, ctypes.c_char_p]),
    "tkCreateWindow": (ctypes.c_void_p, []),
    "tkDestroyWindow": (None, [ctypes.c_void_p]),
    "tkGetMessage": (
        ctypes.c_bool,
        [ctypes.c_void_p, ctypes.POINTER(_WindowMessage), ctypes.c_uint],
    ),
    "tkWindowFd": (ctypes.c_int, [ctypes.c_void_p]),
    "tkLostMessages": (ctypes.c_ulong, [ctypes.c_void_p]),
    "initializeToolkit": (ctypes.c_bool, [ctypes.c_int]),
    "closeToolkit": (None, []),
    "enableEvents": (None, [ctypes.c_void_p]),
    "enableRefresh": (None, [ctypes.c_bool]),
    "transmitMsg": (ctypes.c_bool, [ctypes.c_int, ctypes.c_int, ctypes.c_bool]),
    "transmitAPR": (ctypes.c_bool, [ctypes.c_int] * 9 + [ctypes.c_bool]),
    "displayableParam": (ctypes.c_bool, [ctypes.c_int]),
    "controllableParam": (ctypes.c_bool, [ctypes.c_int]),
    "getGenParam": (ctypes.c_int, [ctypes.c_int]),
    "setGenParam": (ctypes.c_bool, [ctypes.c_int, ctypes.c_int]),
    "getError": (ctypes.c_int, []),
    "getLatchedError": (ctypes.c_int, []),
}


def load(path: Optional[str] = None) -> Toolkit:
    """Loads the shared library: from this path, or from where the system looks for libraries."""
    library = ctypes.CDLL(path or ctypes.util.find_library("tkgen") or "libtkgen.so")
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    return Toolkit(library)
