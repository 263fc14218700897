"""Plays video of surveillance cameras and recordings: pictures as NumPy arrays, events on your own thread.

    with zelvane.Library() as library, library.open_file("front.mp4") as port:
        for picture in port.pictures():
            print(picture.stamp, picture.y.mean())
"""

from ._events import Event, Events, Frame, Kind, Packet, RunMessage, Samples
from ._native import Code, ZelvaneError
from ._picture import ExpiredError, Picture
from ._port import Container, Library, Losses, Port, Recording, Speed, Still

__all__ = ["Code", "Container", "Event", "Events", "ExpiredError", "Frame", "Kind", "Library", "Losses", "Packet",
           "Picture", "Port", "Recording", "RunMessage", "Samples", "Speed", "Still", "ZelvaneError"]
