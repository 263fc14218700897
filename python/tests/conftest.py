"""What the tests share: the media of the C++ tests, a recording made of them, a camera."""

from __future__ import annotations

import os
import re
import subprocess
import sys
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("ZELVANE_BUILD", ROOT / "build"))
MEDIA = Path(os.environ.get("ZELVANE_MEDIA", ROOT / "build" / "media"))
os.environ.setdefault("SDL_AUDIODRIVER", "dummy")
sys.path.insert(0, str(ROOT / "python"))

import zelvane  # noqa: E402


def capture(name: str = "camera.rtp") -> Iterator[bytes]:
    """RTP packets, each behind its big-endian length."""
    data, at = (MEDIA / name).read_bytes(), 0
    while at < len(data):
        length = int.from_bytes(data[at:at + 2], "big")
        yield data[at + 2:at + 2 + length]
        at += 2 + length


def access_units(name: str) -> Iterator[bytes]:
    """H.264 with one slice a picture: what stands before a slice goes with it."""
    unit = b""
    for part in re.split(rb"\x00*\x00\x00\x01", (MEDIA / name).read_bytes())[1:]:
        unit += b"\x00\x00\x00\x01" + part
        if part[0] & 31 in (1, 5):
            yield unit
            unit = b""


@contextmanager
def camera(*arguments: str) -> Iterator[None]:
    process = subprocess.Popen([str(BUILD / "bin" / "zvcam"), "--quiet", "--loop", *arguments])
    try:
        yield
    finally:
        process.terminate()
        process.wait()


@pytest.fixture()
def library() -> Iterator[zelvane.Library]:
    with zelvane.Library() as started:
        yield started


@pytest.fixture(scope="session")
def recording(tmp_path_factory: pytest.TempPathFactory) -> str:
    """Ten seconds of a camera, 250 pictures, recorded by the library."""
    name = tmp_path_factory.mktemp("recording") / "camera"
    with zelvane.Library() as library, library.open_stream() as port, port.record(name) as running:
        assert sum(1 for _ in port.feed(capture()).frames(timeout=20)) == 250
    assert running.files == [f"{name}.mp4"]
    return running.files[0]
