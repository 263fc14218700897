"""What a port tells, and the bounded queue that brings it to the caller's thread."""

from __future__ import annotations

import threading
from collections import deque
from collections.abc import Iterator
from dataclasses import dataclass
from enum import Enum
from typing import Any, Callable, Generic, TypeVar, Union

import numpy as np
from numpy.typing import NDArray

from ._picture import ExpiredError, Picture


class Kind(Enum):
    """What can be listened to."""

    PACKET = "packet"  #: `Packet`, as it arrives
    VIDEO = "video"  #: `Frame`, whole and coded
    AUDIO = "audio"  #: `Frame`, whole and coded
    PICTURE = "picture"  #: `Picture`, decoded
    SAMPLES = "samples"  #: `Samples`, decoded
    MESSAGE = "message"  #: `RunMessage`


@dataclass(frozen=True)
class Packet:
    data: bytes
    rtp: bool  #: RTP, else MPEG-TS


@dataclass(frozen=True)
class Frame:
    data: bytes
    coding: str  #: "h264", "h265", "mjpeg", "g711u", "mp2", "aac", "g711a", "pcm"
    key: bool  #: a picture that leans on no other
    stamp: int  #: ticks of 90 kHz


@dataclass(frozen=True)
class Samples:
    data: NDArray[np.int16]  #: channels interleaved
    rate: int  #: samples a second; 0 for a rate that the library doesn't name


@dataclass(frozen=True)
class RunMessage:
    kind: int  #: 0 recording, 1 media, 14 stream, 15 playback, 16 snapshot
    code: int  #: what happened, mostly a `Code`
    value: int
    text: str  #: a file, or the new size "width:%d&height:%d"


Event = Union[Packet, Frame, Picture, Samples, RunMessage]
T = TypeVar("T", covariant=True)

# These never wait for room: packets may come on the very thread that would make it, and one thread brings the messages
# of all ports.
_NEVER_WAIT = (Packet, RunMessage)


class Channel:
    """The queue between the library's threads and the caller's; what an `Events` does."""

    def __init__(self, kinds: frozenset[Kind], size: int, timeout: float | None, copy: bool, drop: bool,
                 before_next: Callable[[], None], on_close: Callable[[Channel], None]) -> None:
        self.kinds = kinds
        self.dropped = 0
        self._size, self._timeout, self._copy, self._drop = max(size, 1), timeout, copy, drop
        self._before_next, self._on_close = before_next, on_close
        self._queue: deque[Event] = deque()
        self._changed = threading.Condition()
        self._held: Picture | None = None  # the picture that the loop's body has, the library's memory
        self._consumer = 0
        self._closed = self._ended = self._left = False

    # ---- the library's threads

    def offer(self, event: Event, may_wait: bool) -> None:
        wait = may_wait and not isinstance(event, _NEVER_WAIT)
        hold = isinstance(event, Picture) and not self._copy and not self._drop and wait
        if isinstance(event, Picture) and not hold:
            event = event.copy()
        with self._changed:
            self._make_room(wait and not self._drop)
            if self._closed:
                return
            self._queue.append(event)
            self._changed.notify_all()
            if hold:
                self._changed.wait_for(lambda: event is not self._held and event not in self._queue)

    def _make_room(self, wait: bool) -> None:
        if wait:
            self._changed.wait_for(lambda: self._closed or len(self._queue) < self._size)
        elif len(self._queue) >= self._size:
            # If the oldest is a picture that was not copied, its thread wakes and goes on.
            self._queue.popleft()
            self.dropped += 1
            self._changed.notify_all()

    def end(self) -> None:
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    # ---- the caller's thread

    def take(self) -> Event | None:
        """Waits for an event; None when no more come."""
        self.release()
        self._before_next()
        with self._changed:
            self._consumer = threading.get_ident()
            if not self._changed.wait_for(lambda: self._queue or self._ended or self._closed, self._timeout):
                raise TimeoutError(f"no event within {self._timeout} seconds")
            if self._queue and not self._closed:
                event: Any = self._queue.popleft()
                self._held = event if isinstance(event, Picture) and event._lease is not None else None
                self._changed.notify_all()
                return event  # type: ignore[no-any-return]
        self.close()
        self._before_next()  # raises what another thread failed with
        return None

    def release(self) -> None:
        held = self._held
        if held is None:
            return
        try:
            held._end()
        finally:
            with self._changed:
                self._held = None
                self._changed.notify_all()

    def close(self) -> None:
        with self._changed:
            self._closed = True
            self._queue.clear()
            self._changed.notify_all()
            if self._consumer != threading.get_ident():
                while self._held is not None and _alive(self._consumer):
                    self._changed.wait(0.05)
        try:
            self.release()
        finally:
            left, self._left = self._left, True
            if not left:
                self._on_close(self)


class Events(Generic[T]):
    """Iterates over events on the thread that calls it; also a context manager. `Port.events()` makes one.

    At most `size` events wait; then the library's thread waits too, so that nothing is lost, or with `drop` the oldest
    goes and `dropped` counts it. Packets and messages always drop. A picture that isn't copied is handed over in person:
    the decode thread stands still until the next turn of the loop, when the picture expires.
    """

    def __init__(self, channel: Channel) -> None:
        self._channel = channel

    @property
    def dropped(self) -> int:
        """Events that found no room."""
        return self._channel.dropped

    def __iter__(self) -> Iterator[T]:
        return self

    def __next__(self) -> T:
        event: Any = self._channel.take()
        if event is None:
            raise StopIteration
        return event  # type: ignore[no-any-return]

    def close(self) -> None:
        """Ends the listening. From another thread than the loop's it waits until the loop's body lets its picture go."""
        self._channel.close()

    def __enter__(self) -> Events[T]:
        return self

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        try:
            self.close()
        except ExpiredError:
            if error is None:
                raise

    def __del__(self) -> None:
        # A loop that was left by break: the thread that waits for it goes on.
        self._channel.close()


def _alive(thread: int) -> bool:
    return any(one.ident == thread for one in threading.enumerate())
