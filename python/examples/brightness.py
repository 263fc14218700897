#!/usr/bin/env python3
"""Tells how bright a recording is, a line a second of it, without copying a picture.

usage: brightness.py FILE
"""

import sys

import zelvane


def main(path: str) -> None:
    with zelvane.Library() as library, library.open_file(path) as port:
        second = -1
        for picture in port.pictures():
            if picture.stamp // 90000 > second:
                second = picture.stamp // 90000
                print(f"{second:4} s  {picture.width}x{picture.height}  {picture.y[::4, ::4].mean():5.1f}")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
