"""Ports on the built library: pushed, from files, from the network."""

from __future__ import annotations

import gc
import socket
import subprocess
import threading
import time
from pathlib import Path
from typing import Any, Callable

import numpy as np
import pytest
from conftest import MEDIA, access_units, camera, capture

import zelvane
from zelvane import Code, Container, ExpiredError, Kind, Library, Picture, Speed, Still, ZelvaneError


def free_port(kind: int = socket.SOCK_STREAM) -> int:
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(("127.0.0.1", 0))
        number: int = probe.getsockname()[1]
        return number


def flat(picture: Picture) -> bytes:
    return b"".join(plane.tobytes() for plane in (picture.y, picture.u, picture.v))


def test_pictures_are_those_of_another_decoder(library: Library) -> None:
    name = "h264_640x360_bf0.264"
    wanted = subprocess.run(["ffmpeg", "-v", "error", "-i", str(MEDIA / name), "-f", "rawvideo", "-pix_fmt", "yuv420p",
                             "-"], check=True, capture_output=True).stdout
    with library.open_stream() as port:
        given = b"".join(flat(one) for one in port.feed(access_units(name)).pictures(timeout=20))
    assert given == wanted


USES: list[Callable[[Any], Any]] = [
    lambda a: a[0], lambda a: a.mean(), lambda a: a + 1, lambda a: a == 0, lambda a: np.median(a), lambda a: a.shape,
    lambda a: len(a), lambda a: np.stack([a, a]), lambda a: a.tobytes(), lambda a: list(a), lambda a: np.add(1, a)]


def test_a_picture_ends_with_its_turn(library: Library) -> None:
    with library.open_stream() as port:
        pictures = port.feed(capture()).pictures(timeout=20)
        first = next(pictures)
        y, part, copy, mean = first.y, first.y[::2, 1:9], first.copy(), first.y.mean()
        own = first.y.astype(np.float64)
        assert not y.flags.owndata and not y.flags.writeable and part.shape == (180, 8)
        assert mean == np.asarray(first.y).mean() == own.mean()
        next(pictures)
        for array in (y, part):
            for use in USES:
                with pytest.raises(ExpiredError):
                    use(array)
            assert np.asarray(array).size == 0 and "expired" in repr(array)  # C code that takes it reads nothing
        with pytest.raises(ExpiredError):
            first.u
        assert copy.y.mean() == own.mean() == mean
        kept = np.asarray(next(pictures).y)
        with pytest.raises(ExpiredError, match="outlived"):
            next(pictures)
        del kept
        assert next(pictures).width == 640
        pictures.close()


def test_a_file_with_seek_pause_speed_and_steps(library: Library, recording: str) -> None:
    with library.open_file(recording) as port, port.messages(timeout=10) as messages:
        assert port.duration == 10
        assert len([None for _ in port.pictures(timeout=10)]) == 250
        assert any(message.code == Code.FILE_END for message in messages_until(messages, Code.FILE_END))
        assert port.size == (640, 360) and port.frame_rate == 25

        port.seek(4)
        with port.pictures(timeout=10) as stepped:
            stamps = []
            for _ in range(3):
                port.step()
                stamps.append(next(stepped).stamp)
            assert np.diff(stamps).tolist() == [3600, 3600]
            assert 4 <= port.position <= 6

        with port.pictures(timeout=0.3) as held:
            with pytest.raises(TimeoutError):
                next(held)
            port.play()
            next(held)
            port.pause()  # while the decode thread stands still for us
            port.speed(Speed.X2)
            assert sum(1 for _ in held) > 50

        port.seek(1)
        port.play()
        for picture in port.pictures(timeout=10):
            break
        gc.collect()
        assert picture.expired  # and the decode thread goes on: the port closes


def messages_until(messages: zelvane.Events[zelvane.RunMessage], code: int) -> list[zelvane.RunMessage]:
    found = []
    for message in messages:
        found.append(message)
        if message.code == code:
            break
    return found


def test_a_paced_file_takes_its_time(library: Library, recording: str) -> None:
    with library.open_file(recording, paced=True) as port, port.pictures(timeout=10) as pictures:
        started = time.monotonic()
        for _ in range(26):
            next(pictures)
        assert 0.8 < time.monotonic() - started < 3


@pytest.mark.parametrize("container, ending", [(Container.MP4, ".mp4"), (Container.TS, ".ts"), (Container.AVI, ".avi")])
def test_what_is_recorded_plays(library: Library, tmp_path: Path, container: Container, ending: str) -> None:
    with library.open_stream() as port, port.record(tmp_path / "a", container) as running:
        with pytest.raises(ZelvaneError) as again:
            port.record(tmp_path / "b", container)
        assert again.value.code == Code.RECORD_STARTED
        for picture in port.feed(capture()).pictures(timeout=20):
            pass
    assert running.files == [str(tmp_path / "a") + ending]
    with library.open_file(running.files[0]) as port:
        assert sum(frame.key for frame in port.frames(timeout=10)) >= 5


def test_snapshots(library: Library, tmp_path: Path) -> None:
    with library.open_stream() as port:
        with pytest.raises(ZelvaneError):
            port.snapshot(tmp_path / "early")
        for count, picture in enumerate(port.feed(capture()).pictures(timeout=20)):
            if count == 9:
                jpeg, bitmap = port.snapshot(tmp_path / "a"), port.snapshot(tmp_path / "b.bmp", Still.BMP)
                break
    assert Path(jpeg).read_bytes()[:2] == b"\xff\xd8" and jpeg.endswith("a.jpg")
    assert Path(bitmap).read_bytes()[:2] == b"BM" and bitmap.endswith("b.bmp")


def test_queues_are_bounded(library: Library, recording: str) -> None:
    def slowly(frames: zelvane.Events[zelvane.Frame]) -> int:
        count = 0
        for count, _ in enumerate(frames, 1):
            time.sleep(0.001)
        return count

    with library.open_file(recording) as port:
        assert slowly(port.frames(size=2, timeout=10)) == 250  # the library waits
        port.seek(0)
        port.play()
        with port.frames(size=2, timeout=10, drop=True) as frames:
            next(frames)
            time.sleep(0.5)
            assert frames.dropped > 0
        with port.pictures(drop=True) as pictures, port.pictures(copy=True, size=3) as copies:
            port.seek(1)
            port.play()
            assert next(copies).copy().width == next(pictures).width == 640


def test_several_kinds_at_once(library: Library) -> None:
    with library.open_stream() as port:
        seen = [type(one).__name__ for one in port.feed(capture()).events(
            Kind.PACKET, Kind.VIDEO, Kind.AUDIO, Kind.PICTURE, Kind.SAMPLES, Kind.MESSAGE, size=20000, timeout=20)]
    packets = sum(1 for _ in capture())
    counts = {name: seen.count(name) for name in ("Packet", "Picture")}
    assert counts == {"Packet": packets, "Picture": 250}
    assert seen.count("Frame") > 250 and seen.count("Samples") > 0 and "RunMessage" in seen


def test_network_streams(library: Library) -> None:
    tcp, udp = free_port(), free_port(socket.SOCK_DGRAM)
    source = str(MEDIA / "h264_640x360_bf0.264")
    with camera("--audio", "g711u", source, f"tcp://127.0.0.1:{tcp}"):
        for _ in range(100):
            try:
                port = library.open_tcp("127.0.0.1", tcp)
                break
            except ZelvaneError as error:
                assert error.code == Code.SOCKET_CREATE
                time.sleep(0.05)
        with port, port.samples(timeout=10) as sound:
            block = next(sound)
            assert block.rate == 8000 and block.data.dtype == np.int16 and len(block.data) > 0
            sound.close()
            assert next(port.pictures(timeout=10)).width == 640
            assert port.losses.lost == 0
    with library.open_udp(udp, "127.0.0.1") as port, camera(source, f"udp://127.0.0.1:{udp}"):
        assert next(port.pictures(timeout=10)).height == 360


def test_callbacks_and_their_errors(library: Library) -> None:
    seen: list[Any] = []

    def on_picture(picture: Picture) -> None:
        seen.append((picture, picture.y, port.size))
        with pytest.raises(ZelvaneError) as refused:
            port.close()
        assert refused.value.code == Code.FAILED
        if len(seen) == 3:
            raise KeyError("of the callback")

    port = library.open_stream()
    stop = port.on(Kind.PICTURE, on_picture)
    for packet in capture():
        port.push(packet)
    port.drain()
    stop()
    with pytest.raises(KeyError, match="of the callback"):
        port.close()
    assert port.closed and len(seen) > 200
    assert all(picture.expired and "expired" in repr(y) for picture, y, _ in seen)
    port.close()


def test_nothing_is_called_after_the_close(library: Library) -> None:
    packets = list(capture())
    calls = 0

    def count(_: Any) -> None:
        nonlocal calls
        calls += 1
        time.sleep(0.001)

    for turn in range(12):
        port = library.open_stream()
        for kind in Kind:
            port.on(kind, count)
        loop = threading.Thread(target=lambda: [None for _ in port.feed(packets).pictures()], daemon=True)
        loop.start()
        time.sleep(0.02 * turn)
        port.close()  # while it is fed, called and looped over in other threads
        after = calls
        time.sleep(0.02)
        assert calls == after
        loop.join(10)
        assert not loop.is_alive()
    assert calls > 0


def test_a_close_waits_for_a_message_that_is_being_handled(library: Library) -> None:
    entered, done = threading.Event(), threading.Event()

    def slow(_: zelvane.RunMessage) -> None:
        entered.set()
        time.sleep(0.2)
        done.set()

    port = library.open_stream()
    port.on(Kind.MESSAGE, slow)
    for packet in capture():
        port.push(packet)
        if entered.is_set():
            break
    assert entered.wait(5)
    port.close()
    assert done.is_set()


def test_calls_that_fail(library: Library, tmp_path: Path, recording: str) -> None:
    (tmp_path / "text.mp4").write_text("no film")
    table: list[tuple[Callable[[], Any], int]] = [
        (lambda: library.open_file(tmp_path / "none.mp4"), Code.FILE_OPEN),
        (lambda: library.open_file(tmp_path / "text.mp4"), Code.NOT_SUPPORT),
        (lambda: library.open_tcp("127.0.0.1", free_port()), Code.SOCKET_CREATE),
        (lambda: library.open_tcp("nowhere", 1), Code.PARAM),
        (lambda: library.open_stream().seek(1), Code.NOT_SUPPORT),
        (lambda: library.open_file(recording).push(b"x"), Code.PARAM)]
    for failing, code in table:
        with pytest.raises(ZelvaneError) as error:
            failing()
        assert error.value.code == code
    port = library.open_stream()
    port.close()
    late: list[Callable[[], Any]] = [lambda: port.push(b"x"), lambda: port.size, port.pictures,
                                     lambda: port.on(Kind.PACKET, print)]
    for use in late:
        with pytest.raises(ValueError):
            use()

    def broken() -> Any:
        yield next(capture())
        raise OSError("the disk has gone")

    with library.open_stream() as port, pytest.raises(OSError, match="disk"):
        for _ in port.feed(broken()).pictures(timeout=10):
            pass
