"""The library's flat interface: records, prototypes, errors. Nothing here keeps state but the loaded library."""

from __future__ import annotations

import ctypes as c
import os
from enum import IntEnum
from pathlib import Path
from typing import Any

u32, i32, i64, ptr, text = c.c_uint32, c.c_int32, c.c_int64, c.c_void_p, c.c_char_p


class Code(IntEnum):
    """Codes of failed calls (`ZelvaneError.code`) and of run messages (`RunMessage.code`)."""

    OK = 0
    FAILED = 1
    PARAM = 2
    MALLOC = 3
    SOCKET_CREATE = 4
    NOT_SUPPORT = 7
    RESOURCE = 8
    RECORD_OPEN_FAILED = 12
    INIT = 257
    PORT = 259
    QUEUE_FULL = 260
    QUEUE_EMPTY = 261
    FILE_OPEN = 262
    FILE_END = 263
    DISK_FULL = 264
    FILE_READ = 265
    RECORD_FINISHED = 268
    PICTURE_SIZE = 269
    RECORD_ROLLED = 270
    PEER_CLOSED = 515
    DECODE = 528
    DISPLAY_CREATE = 532
    NO_SOUND_DEVICE = 533
    RECORD_STARTED = 537
    PLAYBACK_FINISHED = 542
    SNATCH_DONE = 545


class ZelvaneError(Exception):
    """A call of the library failed. `code` is a `Code`, or a bare number for the rare ones."""

    def __init__(self, call: str, code: int) -> None:
        self.call = call
        self.code = code_of(code)
        name = self.code.name if isinstance(self.code, Code) else "error"
        super().__init__(f"{call}: {name} ({code})")


def code_of(value: int) -> int:
    """The `Code` of a number, or the number where none has that name."""
    try:
        return Code(value)
    except ValueError:
        return value


class RunInfo(c.Structure):
    _fields_ = [("port", u32), ("code", u32), ("value", u32), ("text", c.c_char * 256)]


class VideoFrame(c.Structure):
    _fields_ = [("data", ptr), ("length", u32), ("kind", u32), ("coding", u32), ("height", u32), ("width", u32),
                ("stamp", i64), ("abs_time", u32), ("reserved", u32)]


class AudioFrame(c.Structure):
    _fields_ = [("data", ptr), ("length", u32), ("coding", u32), ("wave_format", u32), ("stamp", i64),
                ("reserved1", u32), ("reserved2", u32)]


class PictureData(c.Structure):
    _fields_ = [("planes", ptr * 4), ("line_size", u32 * 4), ("height", u32), ("width", u32), ("time_type", u32),
                ("frame_rate", u32), ("stamp", i64)]


class WaveData(c.Structure):
    _fields_ = [("data", ptr), ("length", u32), ("wave_format", u32)]


class FileName(c.Structure):
    pass


FileName._fields_ = [("name", c.c_char * 256), ("next", c.POINTER(FileName))]


class FileNames(c.Structure):
    _fields_ = [("count", u32), ("first", c.POINTER(FileName))]


LOG_CB = c.CFUNCTYPE(None, u32, u32, u32, text, u32, text)
RUN_CB = c.CFUNCTYPE(None, u32, ptr)
PACKET_CB = c.CFUNCTYPE(None, u32, ptr, u32, u32, ptr, c.c_long)
VIDEO_CB = c.CFUNCTYPE(None, u32, c.POINTER(VideoFrame), ptr, c.c_long)
AUDIO_CB = c.CFUNCTYPE(None, u32, c.POINTER(AudioFrame), ptr, c.c_long)
PICTURE_CB = c.CFUNCTYPE(None, u32, c.POINTER(PictureData), ptr, c.c_long)
WAVE_CB = c.CFUNCTYPE(None, u32, c.POINTER(WaveData), ptr, c.c_long)

_u32p = c.POINTER(u32)
_i32p = c.POINTER(i32)

# Every function that the package calls: name without its prefix, arguments. All give BOOL_T but those of NO_BOOL.
PROTOTYPES: dict[str, tuple[Any, ...]] = {
    "Init": (),
    "Cleanup": (),
    "GetVersion": (),
    "GetLastError": (),
    "AllocPort": (_u32p,),
    "FreePort": (u32,),
    "SetWriteLogCB": (LOG_CB,),
    "SetPlayerRunMsgCB": (RUN_CB,),
    "OpenInputStream": (u32, text, u32, u32),
    "InputMediaData": (u32, text, u32),
    "CloseInputStream": (u32,),
    "GetPacketQueueStart": (u32, _u32p, _u32p),
    "OpenMediaFile": (u32, text),
    "CloseMediaFile": (u32,),
    "PausePlay": (u32, i32),
    "PauseLive": (u32, i32),
    "SpeedPlay": (u32, u32),
    "AFrameGo": (u32,),
    "SetPlayedTime": (u32, u32),
    "GetFileTime": (u32, _u32p),
    "GetPlayTime": (u32, _u32p),
    "OpenNetStream": (u32, text, c.c_uint16, text, c.c_uint16, u32),
    "CloseNetStream": (u32,),
    "StartRecord": (u32, text, u32, ptr),
    "StopRecord": (u32,),
    "GetRecordFiles": (u32, u32, c.POINTER(FileNames)),
    "SnatchOnce": (u32, text, u32, ptr),
    "GetBitRate": (u32, _i32p),
    "GetLostPacketRate": (u32, _i32p, _i32p),
    "GetFrameRate": (u32, _i32p),
    "GetPictureSize": (u32, _i32p, _i32p),
    "OpenSound": (u32,),
    "CloseSound": (u32,),
    "StartPlay": (u32, ptr),
    "StopPlay": (u32, ptr),
    "SetSourceMediaDataCB": (u32, PACKET_CB, i32, ptr),
    "SetParseVideoDataCB": (u32, VIDEO_CB, i32, ptr),
    "SetParseAudioDataCB": (u32, AUDIO_CB, i32, ptr),
    "SetDecodeVideoMediaDataCB": (u32, PICTURE_CB, i32, ptr),
    "SetDecodeAudioMediaDataCB": (u32, WAVE_CB, i32, ptr),
}
NO_BOOL: dict[str, Any] = {"Cleanup": None, "FreePort": None, "GetVersion": u32, "GetLastError": u32}


def library_path() -> str:
    """ZELVANE_LIBRARY; else the build beside this checkout; else the installed library."""
    named = os.environ.get("ZELVANE_LIBRARY")
    built = Path(__file__).resolve().parents[2] / "build" / "lib" / "libzelvane.so"
    return named or (str(built) if built.exists() else "libzelvane.so.2")


def _load() -> c.CDLL:
    lib = c.CDLL(library_path())
    for name, arguments in PROTOTYPES.items():
        function = getattr(lib, "Zelvane_" + name)
        function.argtypes = arguments
        function.restype = NO_BOOL.get(name, i32)
    return lib


_lib = _load()


def raw(name: str, *arguments: Any) -> int:
    """Calls a function and gives what it returned."""
    result = getattr(_lib, "Zelvane_" + name)(*arguments)
    return int(result or 0)


def call(name: str, *arguments: Any) -> None:
    """Calls a function that must succeed; the last error belongs to the thread, so it is asked for on the spot."""
    if raw(name, *arguments) == 0:
        raise ZelvaneError(name, raw("GetLastError"))


def get(name: str, port: int, kind: Any, count: int = 1) -> tuple[int, ...]:
    """Calls a getter with `count` outputs."""
    values = [kind() for _ in range(count)]
    call(name, port, *(c.byref(value) for value in values))
    return tuple(int(value.value) for value in values)
