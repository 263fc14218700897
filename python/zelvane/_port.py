"""The library and its ports."""

from __future__ import annotations

import atexit
import ctypes as c
import logging
import threading
import time
from collections import Counter
from collections.abc import Iterable
from enum import IntEnum
from os import PathLike, fsencode
from typing import Any, Callable, NamedTuple, Union, cast

import numpy as np

from . import _native as native
from ._events import Channel, Event, Events, Frame, Kind, Packet, RunMessage, Samples
from ._native import Code, ZelvaneError, call, code_of, get, raw
from ._picture import Picture

Path = Union[str, bytes, "PathLike[str]"]
Data = Union[bytes, bytearray, memoryview]
logger = logging.getLogger("zelvane")
# A library that logs into a program without logging stays quiet.
logger.addHandler(logging.NullHandler())


class Speed(IntEnum):
    """Play speeds; from `X4` on a file shows key frames only."""

    QUARTER = 0
    HALF = 1
    NORMAL = 2
    X2 = 3
    X4 = 4
    X8 = 5
    X16 = 6


class Container(IntEnum):
    """What a recording is written into."""

    MP4 = 0
    TS = 1
    AVI = 14


class Still(IntEnum):
    """How a snapshot is saved."""

    BMP = 0
    JPEG = 1


class Losses(NamedTuple):
    """Figures of the last five seconds."""

    packets: int
    lost: int


_VIDEO = ("mpeg2", "mpeg4", "h264", "mjpeg", "h265")
_AUDIO = ("g711u", "mp2", "aac", "g711a", "pcm")
_RATES = {0: 8000, 1: 16000, 2: 44100, 3: 11025, 6: 48000}
_LOG_LEVELS = (logging.DEBUG, logging.DEBUG, logging.INFO, logging.WARNING, logging.ERROR, logging.CRITICAL)
# Run messages behind which nothing comes until the port is moved or closed.
_ENDS = (Code.FILE_END, Code.PEER_CLOSED, Code.PLAYBACK_FINISHED)
_MEDIA_KINDS = (1, 14, 15)


def _coding(names: tuple[str, ...], value: int) -> str:
    return names[value] if value < len(names) else "unknown"


def _bytes(address: int | None, length: int) -> bytes:
    return c.string_at(address, length) if address and length else b""


def _samples(wave: native.WaveData) -> Samples:
    data = np.frombuffer(_bytes(wave.data, wave.length & ~1), np.int16)
    return Samples(data, _RATES.get(wave.wave_format, 0))


# ---- what the library calls. One function a kind for the whole process: they live as long as it, so that no thread of
#      the library ever calls one that has gone.

_ports: dict[int, Port] = {}


def _deliver(port: int, kind: Kind, make: Callable[[], Event]) -> None:
    receiver = _ports.get(port)
    if receiver is not None:
        receiver._deliver(kind, make)


def _on_packet(port: int, data: int | None, length: int, form: int, user: Any, zero: int) -> None:
    _deliver(port, Kind.PACKET, lambda: Packet(_bytes(data, length), form == 3))


def _on_video(port: int, frame: Any, user: Any, zero: int) -> None:
    f = frame.contents
    _deliver(port, Kind.VIDEO, lambda: Frame(_bytes(f.data, f.length), _coding(_VIDEO, f.coding),
                                             f.coding == 3 or f.kind == 0, f.stamp))


def _on_audio(port: int, frame: Any, user: Any, zero: int) -> None:
    f = frame.contents
    _deliver(port, Kind.AUDIO, lambda: Frame(_bytes(f.data, f.length), _coding(_AUDIO, f.coding), True, f.stamp))


def _on_picture(port: int, picture: Any, user: Any, zero: int) -> None:
    _deliver(port, Kind.PICTURE, lambda: Picture.of(picture.contents))


def _on_samples(port: int, wave: Any, user: Any, zero: int) -> None:
    _deliver(port, Kind.SAMPLES, lambda: _samples(wave.contents))


def _on_message(kind: int, address: int) -> None:
    info = native.RunInfo.from_address(address)
    message = RunMessage(kind, code_of(info.code), info.value, info.text.decode(errors="replace"))
    _deliver(info.port, Kind.MESSAGE, lambda: message)


def _on_log(level: int, code: int, module: int, file: bytes, line: int, text: bytes) -> None:
    rank = _LOG_LEVELS[min(level, len(_LOG_LEVELS) - 1)]
    if logger.isEnabledFor(rank):
        logger.log(rank, "%s", (text or b"").decode(errors="replace"))


_TAPS: dict[Kind, tuple[str, Any]] = {
    Kind.PACKET: ("SetSourceMediaDataCB", native.PACKET_CB(_on_packet)),
    Kind.VIDEO: ("SetParseVideoDataCB", native.VIDEO_CB(_on_video)),
    Kind.AUDIO: ("SetParseAudioDataCB", native.AUDIO_CB(_on_audio)),
    Kind.PICTURE: ("SetDecodeVideoMediaDataCB", native.PICTURE_CB(_on_picture)),
    Kind.SAMPLES: ("SetDecodeAudioMediaDataCB", native.WAVE_CB(_on_samples)),
}

_MESSAGES = native.RUN_CB(_on_message)
_LOG = native.LOG_CB(_on_log)


class Library:
    """The running library. A context manager; its end closes the ports that were opened through it."""

    def __init__(self) -> None:
        call("SetWriteLogCB", _LOG)  # before the start, or the library opens log files of its own
        call("Init")
        call("SetPlayerRunMsgCB", _MESSAGES)
        self._ports: list[Port] = []
        self._closed = False
        # The library's threads must not outlive the interpreter that they call.
        atexit.register(self.close)

    @property
    def version(self) -> str:
        word = raw("GetVersion")
        return f"{word & 255}.{word >> 8 & 255}.{word >> 16}"

    def open_file(self, path: Path, paced: bool = False) -> Port:
        """Opens a recording (MP4, MPEG-TS, AVI, KRDF), paused. It plays from the first turn of a loop over its events,
        or from `Port.play()`: as fast as it is read, or at its own pace."""
        return self._open("OpenMediaFile", "CloseMediaFile", fsencode(path), paced=paced)

    def open_stream(self) -> Port:
        """Opens a port for packets that are pushed: `Port.push()`, `Port.feed()`."""
        return self._open("OpenInputStream", "CloseInputStream", None, 0, 0)

    def open_udp(self, port: int, local: str = "", group_of: str = "127.0.0.1") -> Port:
        """Receives RTP or MPEG-TS datagrams. `group_of` is an address of the senders' family, IPv4 or IPv6."""
        return self._open("OpenNetStream", "CloseNetStream", local.encode(), port, group_of.encode(), 0, 0)

    def open_tcp(self, host: str, port: int) -> Port:
        """Connects to a camera; `host` is an address in figures. Waits for the connection."""
        return self._open("OpenNetStream", "CloseNetStream", None, 0, host.encode(), port, 1)

    def _open(self, opener: str, closer: str, *arguments: Any, paced: bool = False) -> Port:
        if self._closed:
            raise ValueError("the library was closed")
        port = Port(opener, closer, arguments, paced)
        self._ports = [one for one in self._ports if not one.closed] + [port]
        return port

    def close(self) -> None:
        """Closes the ports and ends the library, if nobody else in the process uses it. May be called again."""
        if self._closed:
            return
        first: BaseException | None = None
        for port in self._ports:
            try:
                port.close()
            except BaseException as error:
                if not port.closed:
                    raise  # we are inside of one of its callbacks: nothing has changed
                first = first or error
        self._closed = True
        atexit.unregister(self.close)
        raw("Cleanup")
        if first is not None:
            raise first

    def __enter__(self) -> Library:
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        _close_quietly(self.close, error)


def _close_quietly(close: Callable[[], None], error: object) -> None:
    """Closes; what a callback failed with doesn't hide the error that is under way."""
    try:
        close()
    except Exception:
        if error is None:
            raise


class Port:
    """One of the library's 256 ports with an open source; `Library.open_...()` makes it. A context manager.

    When `close()` has returned nothing is called any more. It raises the first error that a callback failed with.
    """

    def __init__(self, opener: str, closer: str, arguments: tuple[Any, ...], paced: bool) -> None:
        number = c.c_uint32()
        call("AllocPort", c.byref(number))
        self.number = number.value
        self._closer, self._paced = closer, paced
        self._is_file = opener == "OpenMediaFile"
        self._started = not self._is_file
        self._gate = threading.Condition()
        self._inside: Counter[int] = Counter()  # threads of the library, by their ident, that are in our callbacks
        self._receivers: dict[Kind, list[Callable[[Any], None]]] = {kind: [] for kind in Kind}
        self._channels: list[Channel] = []
        self._tapping = threading.Lock()
        self._error: BaseException | None = None
        self._feeder: threading.Thread | None = None
        self._stepping = False
        self.closed = False
        _ports[self.number] = self
        try:
            call(opener, self.number, *arguments)
        except ZelvaneError:
            self.close()
            raise

    # ---- events

    def on(self, kind: Kind, function: Callable[[Any], None]) -> Callable[[], None]:
        """Calls `function` with each event of a kind, on a thread of the library, until the function that this returns
        is called or the port is closed. A picture lasts until `function` returns. `function` may ask the port for
        figures; it can't close it."""
        self._open_or_raise()
        with self._gate:
            self._receivers[kind].append(function)
        self._tap(kind)
        return lambda: self._detach(kind, function)

    def events(self, *kinds: Kind, size: int = 64, timeout: float | None = None, copy: bool = False,
               drop: bool = False) -> Events[Event]:
        """Iterates over events of these kinds on the calling thread. It ends with the file, the peer's or the fed
        stream, or the port; messages alone end with the port. After `timeout` seconds without an event it raises
        TimeoutError. For `size`, `copy` and `drop` see `Events`."""
        self._open_or_raise()
        channel = Channel(frozenset(kinds), size, timeout, copy, drop, self._before_next, self._leave)
        with self._gate:
            self._channels.append(channel)
        for kind in kinds:
            self._tap(kind)
        return Events(channel)

    def pictures(self, size: int = 8, timeout: float | None = None, copy: bool = False,
                 drop: bool = False) -> Events[Picture]:
        """Decoded pictures; each lasts until the next turn of the loop, or for good with `copy` or `drop`."""
        return cast("Events[Picture]", self.events(Kind.PICTURE, size=size, timeout=timeout, copy=copy, drop=drop))

    def frames(self, size: int = 64, timeout: float | None = None, drop: bool = False) -> Events[Frame]:
        """Whole coded video frames."""
        return cast("Events[Frame]", self.events(Kind.VIDEO, size=size, timeout=timeout, drop=drop))

    def samples(self, size: int = 64, timeout: float | None = None, drop: bool = False) -> Events[Samples]:
        """Decoded sound. One port of the process is audible at a time: this one becomes it."""
        return cast("Events[Samples]", self.events(Kind.SAMPLES, size=size, timeout=timeout, drop=drop))

    def messages(self, size: int = 256, timeout: float | None = None) -> Events[RunMessage]:
        """Run messages; the oldest goes when `size` of them wait."""
        return cast("Events[RunMessage]", self.events(Kind.MESSAGE, size=size, timeout=timeout))

    def _detach(self, kind: Kind, function: Callable[[Any], None]) -> None:
        with self._gate:
            if function in self._receivers[kind]:
                self._receivers[kind].remove(function)
        self._tap(kind)

    def _leave(self, channel: Channel) -> None:
        with self._gate:
            if channel in self._channels:
                self._channels.remove(channel)
        for kind in channel.kinds:
            self._tap(kind)

    def _tap(self, kind: Kind) -> None:
        """Opens the library's tap of a kind while somebody listens."""
        if kind not in _TAPS:
            return
        setter, function = _TAPS[kind]
        # Without a window a file is paced only if its pictures go no further than the callback.
        further = int(not (kind is Kind.PICTURE and self._paced))
        with self._tapping:
            if self.closed:
                return
            wanted = bool(self._receivers[kind]) or any(kind in channel.kinds for channel in self._channels)
            raw(setter, self.number, function if wanted else type(function)(), further, None)
            if kind is Kind.SAMPLES:
                raw("OpenSound" if wanted else "CloseSound", self.number)

    def _deliver(self, kind: Kind, make: Callable[[], Event]) -> None:
        """Brings an event to its receivers, on a thread of the library; never raises."""
        me = threading.get_ident()
        with self._gate:
            if self.closed:
                return
            self._inside[me] += 1
            functions = list(self._receivers[kind])
            listening = list(self._channels)
        try:
            for function in functions:
                self._guarded(make, function)
            for channel in listening:
                if kind in channel.kinds:
                    self._guarded(make, lambda event: channel.offer(event, not self._stepping))
            if kind is Kind.MESSAGE:
                self._end_if_told(cast(RunMessage, make()), listening)
        finally:
            with self._gate:
                self._inside[me] -= 1
                self._gate.notify_all()

    def _guarded(self, make: Callable[[], Event], function: Callable[[Any], None]) -> None:
        try:
            event = make()
            try:
                function(event)
            finally:
                if isinstance(event, Picture):
                    event._end()
        except BaseException as error:
            self._error = self._error or error

    def _end_if_told(self, message: RunMessage, listening: list[Channel]) -> None:
        if message.kind in _MEDIA_KINDS and message.code in _ENDS:
            for channel in listening:
                if channel.kinds - {Kind.MESSAGE}:
                    channel.end()

    def _before_next(self) -> None:
        if self._error is not None:
            error, self._error = self._error, None
            raise error
        if not self._started and not self.closed:
            self.play()

    # ---- pushing

    def push(self, data: Data) -> None:
        """Pushes one packet (RTP, MPEG-TS, a JPEG, an access unit). Waits up to a second for room, then raises
        `ZelvaneError` with `Code.QUEUE_FULL`."""
        self._open_or_raise()
        call("InputMediaData", self.number, data if isinstance(data, bytes) else bytes(data), len(data))

    def feed(self, packets: Iterable[Data]) -> Port:
        """Pushes packets in a thread of its own and then ends the stream, while this thread loops over what comes of
        them: `for picture in port.feed(packets).pictures()`. The first of them goes when a loop asks for an event."""
        self._open_or_raise()
        if self._feeder is not None:
            raise ValueError("the port is being fed already")
        self._feeder = threading.Thread(target=self._feed, args=(packets,), name="zelvane-feed", daemon=True)
        self._started = False
        return self

    def _feed(self, packets: Iterable[Data]) -> None:
        try:
            for packet in packets:
                self._push_patiently(packet)
                if self.closed:
                    return
            self.drain()
            raw(self._closer, self.number)  # waits for the decode thread, so that the last picture has been delivered
        except BaseException as error:
            if not self.closed:
                self._error = self._error or error
        with self._gate:
            listening = list(self._channels)
        for channel in listening:
            channel.end()

    def _push_patiently(self, packet: Data) -> None:
        while not self.closed:
            try:
                return self.push(packet)
            except ZelvaneError as error:  # a loop that takes its time over a picture holds the ring up
                if error.code != Code.QUEUE_FULL:
                    raise

    def drain(self) -> None:
        """Waits until everything that was pushed has been taken out of the ring."""
        while not self.closed and get("GetPacketQueueStart", self.number, c.c_uint32, 2)[1]:
            time.sleep(0.005)

    # ---- playing

    def play(self) -> None:
        """Plays, or goes on after a pause."""
        self._open_or_raise()
        self._started = True
        if self._feeder is not None and self._feeder.ident is None:
            self._feeder.start()
        else:
            call("PausePlay" if self._is_file else "PauseLive", self.number, 0)

    def pause(self) -> None:
        """Pauses a file; of a stream it holds picture and sound, while events go on."""
        self._call("PausePlay" if self._is_file else "PauseLive", 1)

    def speed(self, speed: Speed) -> None:
        """Sets the speed, and ends a pause."""
        self._started = True
        self._call("SpeedPlay", speed)

    def seek(self, seconds: int) -> None:
        """Moves a file to the first key frame behind a time; returns at once."""
        self._call("SetPlayedTime", seconds)

    def step(self) -> None:
        """Takes one picture of a file and pauses. The loop that listens gets a copy: this call waits for the picture
        and so can't also wait for the loop."""
        self._open_or_raise()
        for channel in list(self._channels):
            channel.release()
        self._stepping = self._started = True
        try:
            call("AFrameGo", self.number)
        finally:
            self._stepping = False

    def show(self, window: int) -> None:
        """Shows the pictures in an X11 window, which has to exist on the server."""
        self._call("StartPlay", window)

    def hide(self) -> None:
        """Shows them no longer."""
        self._call("StopPlay", None)

    # ---- saving

    def snapshot(self, path: Path, still: Still = Still.JPEG) -> str:
        """Saves the picture that was decoded last, and gives the file's name."""
        name = fsencode(path)
        ending = (b".bmp", b".jpg")[still]
        self._call("SnatchOnce", name, still, None)
        return (name if name.endswith(ending) else name + ending).decode(errors="surrogateescape")

    def record(self, path: Path, container: Container = Container.MP4) -> Recording:
        """Records what comes in, without decoding it, until the result is stopped or its `with` ends."""
        self._open_or_raise()
        before = len(_files(self.number))
        call("StartRecord", self.number, fsencode(path), container, None)
        return Recording(self, before)

    # ---- figures

    @property
    def duration(self) -> int:
        """Total time of a file, seconds."""
        return self._get("GetFileTime", c.c_uint32)[0]

    @property
    def position(self) -> int:
        """What is being played, seconds."""
        return self._get("GetPlayTime", c.c_uint32)[0]

    @property
    def size(self) -> tuple[int, int]:
        """Width and height of the last picture."""
        width, height = self._get("GetPictureSize", c.c_int32, 2)
        return width, height

    @property
    def frame_rate(self) -> int:
        return self._get("GetFrameRate", c.c_int32)[0]

    @property
    def bit_rate(self) -> int:
        return self._get("GetBitRate", c.c_int32)[0]

    @property
    def losses(self) -> Losses:
        return Losses(*self._get("GetLostPacketRate", c.c_int32, 2))

    # ---- the end

    def close(self) -> None:
        """Closes and frees the port, and waits until nothing of it is called any more. May be called again, but not
        from a callback of the port."""
        if self._inside[threading.get_ident()] > 0:
            raise ZelvaneError("close() in a callback of the port", Code.FAILED)
        with self._gate:
            if self.closed:
                return
            self.closed = True
            listening = list(self._channels)
        for channel in listening:
            self._guarded_close(channel)
        raw(self._closer, self.number)
        if self._feeder is not None and self._feeder.ident not in (None, threading.get_ident()):
            self._feeder.join()
        raw("FreePort", self.number)
        with self._gate:
            self._gate.wait_for(lambda: not any(self._inside.values()))
            if _ports.get(self.number) is self:
                del _ports[self.number]
        error, self._error = self._error, None
        if error is not None:
            raise error

    def _guarded_close(self, channel: Channel) -> None:
        try:
            channel.close()
        except BaseException as error:
            self._error = self._error or error

    def __enter__(self) -> Port:
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        _close_quietly(self.close, error)

    def __repr__(self) -> str:
        return f"<Port {self.number}{', closed' if self.closed else ''}>"

    def _open_or_raise(self) -> None:
        if self.closed:
            raise ValueError("the port was closed")

    def _call(self, name: str, *arguments: Any) -> None:
        self._open_or_raise()
        call(name, self.number, *arguments)

    def _get(self, name: str, kind: Any, count: int = 1) -> tuple[int, ...]:
        self._open_or_raise()
        return get(name, self.number, kind, count)


class Recording:
    """A recording that runs; `files` has the names of what it finished. A context manager."""

    def __init__(self, port: Port, before: int) -> None:
        self._port, self._before = port, before  # the files that the port had finished before
        self.files: list[str] = []
        self._running = True

    def stop(self) -> list[str]:
        """Ends the recording and gives its files; none if no key frame came. May be called again."""
        if self._running and not self._port.closed:
            call("StopRecord", self._port.number)
            self.files = [name for name in _files(self._port.number)[self._before:] if name]
        self._running = False
        return self.files

    def __enter__(self) -> Recording:
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        self.stop()


def _files(port: int) -> list[str]:
    names = native.FileNames()
    if not raw("GetRecordFiles", port, 2, c.byref(names)):
        return []
    found, node = [], names.first
    for _ in range(names.count):
        if not node:
            break
        found.append(node.contents.name.decode(errors="surrogateescape"))
        node = node.contents.next
    return found
