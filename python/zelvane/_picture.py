"""Decoded pictures as arrays over the decoder's own memory, and the end of that memory's life."""

from __future__ import annotations

import ctypes
import weakref
from typing import Any

import numpy as np
from numpy.typing import NDArray

from ._native import PictureData

_EMPTY = (1, (0,), np.dtype(np.uint8), False, b"")


class ExpiredError(RuntimeError):
    """A picture, or an array of it, was used after its callback or its turn of the loop; copy() what has to last."""


class _Lease:
    """The time for which a picture's memory may be read."""

    def __init__(self) -> None:
        self.expired = False
        self.arrays: list[weakref.ref[Any]] = []
        self.memory: list[weakref.ref[Any]] = []  # the arrays under the planes

    def end(self) -> None:
        """Takes the memory away from every array that still looks at it.

        The arrays that we know of become empty ones, so that C code which takes them past our checks reads nothing. What
        still holds the memory then is a plain view, which can't be reached: that is the caller's fault, and is raised.
        """
        if self.expired:
            return
        self.expired = True
        for reference in self.arrays:
            array = reference()
            if array is not None:
                np.ndarray.__setstate__(array, _EMPTY)
        self.arrays.clear()
        if any(memory() is not None for memory in self.memory):
            raise ExpiredError("a plain view of a picture (np.asarray, .view(np.ndarray)) outlived it; use copy()")


def _lease(array: Any) -> _Lease | None:
    found: _Lease | None = object.__getattribute__(array, "__dict__").get("_lease")
    return found


def _check(array: Any) -> None:
    lease = _lease(array)
    if lease is not None and lease.expired:
        raise ExpiredError("the picture of this array has gone; copy() what has to last")


def _plain(value: Any) -> Any:
    if not isinstance(value, Plane):
        return value
    _check(value)
    return np.ndarray.view(value, np.ndarray)


class Plane(np.ndarray[Any, np.dtype[np.uint8]]):
    """A plane of a picture, or a view of one: read-only, without a copy, and refusing every use once it has expired."""

    def __array_finalize__(self, source: Any) -> None:
        lease = _lease(source) if isinstance(source, Plane) else None
        owns = bool(object.__getattribute__(self, "flags").owndata)
        self.__dict__["_lease"] = None if owns else lease  # a copy has memory of its own
        if lease is not None and not owns:
            lease.arrays.append(weakref.ref(self))

    def __getattribute__(self, name: str) -> Any:
        if name != "__dict__" and name != "__class__":
            _check(self)
        return super().__getattribute__(name)

    def __getitem__(self, key: Any) -> Any:
        _check(self)
        return super().__getitem__(key)

    def __len__(self) -> int:
        _check(self)
        return super().__len__()

    def __iter__(self) -> Any:
        _check(self)
        return super().__iter__()

    def __eq__(self, other: Any) -> Any:  # NumPy would swallow the error of a comparison
        return np.equal(self, other)

    def __ne__(self, other: Any) -> Any:
        return np.not_equal(self, other)

    def __array_ufunc__(self, ufunc: Any, method: Any, *inputs: Any, **kwargs: Any) -> Any:
        return getattr(ufunc, method)(*(_plain(value) for value in inputs), **kwargs)

    def __array_function__(self, function: Any, types: Any, args: Any, kwargs: Any) -> Any:
        _check(self)
        return super().__array_function__(function, types, args, kwargs)

    def __repr__(self) -> str:
        lease = _lease(self)
        return "<Plane, expired>" if lease is not None and lease.expired else repr(np.array(self))

    __str__ = __repr__


def _plane(lease: _Lease, address: int, line_size: int, width: int, height: int) -> Plane:
    # Behind the last pixel of the last row the memory may end.
    size = line_size * (height - 1) + width if address and width and height else 0
    memory = memoryview((ctypes.c_ubyte * size).from_address(address)).cast("B").toreadonly()
    flat = np.frombuffer(memory, np.uint8) if size else np.empty(0, np.uint8)
    lease.memory.append(weakref.ref(flat))
    plane = np.ndarray.__new__(Plane, (height, width), np.uint8, flat, 0, (line_size, 1))
    plane.__dict__["_lease"] = lease
    lease.arrays.append(weakref.ref(plane))
    return plane


class Picture:
    """A decoded picture, 8-bit YUV 4:2:0: `y`, and `u` and `v` of half the size.

    It lasts until its callback returns, or until the loop that gave it takes its next turn or ends. Arrays of it that are
    used later raise `ExpiredError`; `copy()` gives a picture that stays.
    """

    def __init__(self, y: NDArray[np.uint8], u: NDArray[np.uint8], v: NDArray[np.uint8], frame_rate: int, stamp: int,
                 lease: _Lease | None = None) -> None:
        self._planes = (y, u, v)
        self._lease = lease
        self.height, self.width = y.shape
        self.frame_rate = frame_rate
        self.stamp = stamp  #: when it is shown, ticks of 90 kHz

    @classmethod
    def of(cls, data: PictureData) -> Picture:
        """Lays a picture over the library's memory."""
        lease = _Lease()
        sizes = ((data.width, data.height),) + 2 * ((data.width // 2, data.height // 2),)
        y, u, v = (_plane(lease, data.planes[i] or 0, data.line_size[i], w, h) for i, (w, h) in enumerate(sizes))
        return cls(y, u, v, data.frame_rate, data.stamp, lease)

    def _take(self, index: int) -> NDArray[np.uint8]:
        if self.expired:
            raise ExpiredError("this picture has gone; copy() what has to last")
        return self._planes[index]

    @property
    def y(self) -> NDArray[np.uint8]:
        """Luma."""
        return self._take(0)

    @property
    def u(self) -> NDArray[np.uint8]:
        """Blue difference."""
        return self._take(1)

    @property
    def v(self) -> NDArray[np.uint8]:
        """Red difference."""
        return self._take(2)

    @property
    def expired(self) -> bool:
        """Whether its memory has gone back to the decoder."""
        return self._lease is not None and self._lease.expired

    def copy(self) -> Picture:
        """The same picture in memory of its own."""
        y, u, v = (np.array(self._take(index), subok=False) for index in range(3))
        return Picture(y, u, v, self.frame_rate, self.stamp)

    def _end(self) -> None:
        if self._lease is not None:
            self._lease.end()

    def __repr__(self) -> str:
        return f"<Picture {self.width}x{self.height} at {self.stamp}{', expired' if self.expired else ''}>"
