"""Cuts encoded video and sound into RTP packets and writes them as a capture.

A capture is a sequence of records: a 16-bit big-endian length and that many bytes of one RTP packet (RFC 3550).
"""
import struct

MTU = 1400  # bytes of payload in a packet


def nal_units(stream):
    """Units of an Annex B stream (ITU-T H.264 and H.265, Annex B), without start codes and trailing zeros."""
    units, begin = [], stream.find(b"\0\0\1")
    while begin >= 0:
        end = stream.find(b"\0\0\1", begin + 3)
        units.append(stream[begin + 3 : end if end >= 0 else len(stream)].rstrip(b"\0"))
        begin = end
    return [unit for unit in units if unit]


def _unit_kind(unit, h265):
    """(is a slice, is the first slice of its picture)"""
    if h265:
        slice_ = (unit[0] >> 1) & 63 < 32
        return slice_, slice_ and unit[2] & 0x80 != 0
    slice_ = unit[0] & 31 in (1, 5)
    return slice_, slice_ and unit[1] & 0x80 != 0


def access_units(stream, h265=False):
    """The stream as a list of access units, each a list of units."""
    result, current, seen_slice = [], [], False
    for unit in nal_units(stream):
        slice_, first = _unit_kind(unit, h265)
        if seen_slice and (first or not slice_):
            result.append(current)
            current, seen_slice = [], False
        current.append(unit)
        seen_slice |= slice_
    return result + [current] if current else result


def _fragments_h264(unit):
    """FU-A of RFC 6184, 5.8."""
    body = unit[1:]
    for at in range(0, len(body), MTU - 2):
        piece = body[at : at + MTU - 2]
        flags = (0x80 if at == 0 else 0) | (0x40 if at + len(piece) == len(body) else 0)
        yield bytes([unit[0] & 0xE0 | 28, flags | unit[0] & 31]) + piece


def _fragments_h265(unit):
    """FU of RFC 7798, 4.4.3."""
    body, kind = unit[2:], (unit[0] >> 1) & 63
    for at in range(0, len(body), MTU - 3):
        piece = body[at : at + MTU - 3]
        flags = (0x80 if at == 0 else 0) | (0x40 if at + len(piece) == len(body) else 0)
        yield bytes([unit[0] & 0x81 | 49 << 1, unit[1], flags | kind]) + piece


def _payloads(units, h265):
    """The payloads of one access unit. H.264 parameter sets and messages travel as one STAP-A, as FFmpeg sends them."""
    head = [] if h265 else [unit for unit in units if unit[0] & 31 in (6, 7, 8)]
    if len(head) > 1 and sum(len(unit) + 2 for unit in head) < MTU:
        yield b"\x18" + b"".join(struct.pack(">H", len(unit)) + unit for unit in head)
        units = [unit for unit in units if unit not in head]
    for unit in units:
        if len(unit) <= MTU:
            yield unit
        else:
            yield from (_fragments_h265 if h265 else _fragments_h264)(unit)


class Sender:
    """One RTP source: keeps sequence number and payload type."""

    def __init__(self, payload_type, ssrc, sequence=1000):
        self.payload_type, self.ssrc, self.sequence = payload_type, ssrc, sequence

    def packet(self, payload, timestamp, marker):
        head = struct.pack(">BBHII", 0x80, self.payload_type | (0x80 if marker else 0), self.sequence & 0xFFFF,
                           timestamp & 0xFFFFFFFF, self.ssrc)
        self.sequence += 1
        return head + payload


def video_packets(stream, fps, h265=False, payload_type=None):
    """(seconds, packet) of an Annex B stream without reordering, on the 90 kHz clock."""
    sender = Sender(payload_type or (108 if h265 else 96), 0x5A56494D)
    for number, units in enumerate(access_units(stream, h265)):
        payloads = list(_payloads(units, h265))
        for index, payload in enumerate(payloads):
            yield number / fps, sender.packet(payload, 90000 + number * 90000 // fps, index + 1 == len(payloads))


def g711_packets(samples, payload_type=0):
    """(seconds, packet) of 8000 Hz G.711 in packets of 20 ms (RFC 3551)."""
    sender = Sender(payload_type, 0x5A564155)
    for at in range(0, len(samples), 160):
        yield at / 8000, sender.packet(samples[at : at + 160], 8000 + at, at == 0)


def write_capture(path, *sources):
    """Merges sources of (seconds, packet) by time into a capture."""
    packets = sorted((entry for source in sources for entry in source), key=lambda entry: entry[0])
    with open(path, "wb") as out:
        for _, packet in packets:
            out.write(struct.pack(">H", len(packet)) + packet)
