#!/usr/bin/env python3
"""Watches a camera, records it, and saves a picture whenever much of the scene moves; Ctrl-C ends it.

usage: motion.py udp PORT | tcp ADDRESS PORT [SECONDS]        a camera to try it with: zvcam tcp://127.0.0.1:8554
"""

from __future__ import annotations

import sys
import time

import numpy as np

import zelvane


def watch(port: zelvane.Port, seconds: float) -> None:
    end = time.monotonic() + seconds
    before = np.empty((0, 0), np.int16)
    with port.record("motion") as recording:
        for picture in port.pictures(timeout=10):
            small = picture.y[::8, ::8].astype(np.int16)  # a copy, which may stay
            moving = 0.0 if before.shape != small.shape else float((abs(small - before) > 25).mean())
            before = small
            if moving > 0.05:
                print(f"{moving:4.0%} moves:", port.snapshot(f"motion-{picture.stamp}"))
            if time.monotonic() > end:
                break
    print("recorded:", *recording.files)


def main(arguments: list[str]) -> None:
    kind, *rest = arguments
    with zelvane.Library() as library:
        if kind == "udp":
            port, rest = library.open_udp(int(rest[0])), rest[1:]
        else:
            port, rest = library.open_tcp(rest[0], int(rest[1])), rest[2:]
        with port:
            try:
                watch(port, float(rest[0]) if rest else float("inf"))
            except KeyboardInterrupt:
                pass


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    main(sys.argv[1:])
