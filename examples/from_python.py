#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Encodes and decodes a recording from Python, through ctypes alone:

    from_python.py speech.wav decoded.wav [libkelp.so.1]
"""

import ctypes
import sys
import wave
from ctypes import POINTER, byref, c_int16, c_int32, c_uint32, c_uint64, c_uint8, c_void_p

FRAME, DELAY, MAX_PACKET = 160, 60, 35


class Config(ctypes.Structure):
    _fields_ = [("reserved", c_uint32 * 3), ("option", c_uint32)]


class Packet(ctypes.Structure):
    _fields_ = [("data", POINTER(c_uint8)), ("reserved", c_uint64), ("length", c_int32)]


class Pcm(ctypes.Structure):
    _fields_ = [("sample_count", c_uint32 * 8), ("byte_count", c_uint32 * 8),
                ("samples", POINTER(c_int16) * 8), ("reserved", c_uint64 * 8),
                ("format", c_uint32 * 4)]


class Info(ctypes.Structure):
    _fields_ = [("consumed", c_int32), ("produced", c_int32), ("calls", c_uint64)]


def load(path):
    """The library, with its argument types: without them ctypes cuts handles to 32 bits."""
    library = ctypes.CDLL(path)
    for name, result, arguments in [
            ("kelp_init", c_int32, []),
            ("kelpe_create", c_void_p, [POINTER(Config), POINTER(c_int32)]),
            ("kelpe_encode", c_int32, [c_void_p, POINTER(Pcm), POINTER(Packet), POINTER(Info)]),
            ("kelpe_flush", None, [c_void_p]),
            ("kelpe_delete", None, [c_void_p]),
            ("kelpd_create", c_void_p, [POINTER(Config), POINTER(c_int32)]),
            ("kelpd_decode", c_int32, [c_void_p, POINTER(Packet), POINTER(Pcm), POINTER(Info)]),
            ("kelpd_delete", None, [c_void_p])]:
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    library.kelp_init()
    return library


def check(code):
    if code != 0:
        raise RuntimeError(f"libkelp returned {code}")


def encode(kelp, samples):
    """The packets of 16-bit samples, given as bytes; the look-ahead is filled with silence."""
    encoder = kelp.kelpe_create(byref(Config()), None)
    pcm, data, info = (c_int16 * FRAME)(), (c_uint8 * MAX_PACKET)(), Info()
    frame, packet, packets = Pcm(), Packet(data, 0, MAX_PACKET), []
    frame.samples[0] = pcm
    for at in range(0, len(samples) + 2 * DELAY, 2 * FRAME):
        ctypes.memmove(pcm, samples[at:at + 2 * FRAME].ljust(2 * FRAME, b"\0"), 2 * FRAME)
        check(kelp.kelpe_encode(encoder, byref(frame), byref(packet), byref(info)))
        packets.append(bytes(data[:info.produced]))
    kelp.kelpe_flush(encoder)
    kelp.kelpe_delete(encoder)
    return packets


def decode(kelp, packets):
    """The samples of packets, as bytes, without the codec's delay. None stands for a lost one."""
    decoder = kelp.kelpd_create(byref(Config()), None)
    pcm, info, frame, samples = (c_int16 * FRAME)(), Info(), Pcm(), b""
    frame.samples[0] = pcm
    for content in packets:
        content = content or b"\x0e"  # an erasure: conceal
        packet = Packet((c_uint8 * len(content))(*content), 0, len(content))
        check(kelp.kelpd_decode(decoder, byref(packet), byref(frame), byref(info)))
        samples += bytes(pcm)
    kelp.kelpd_delete(decoder)
    return samples[2 * DELAY:]


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    kelp = load(sys.argv[3] if len(sys.argv) == 4 else "libkelp.so.1")
    with wave.open(sys.argv[1]) as file:
        if file.getparams()[:3] != (1, 2, 8000):
            sys.exit(f"{sys.argv[1]}: not 8000 Hz, mono, 16 bit")
        samples = file.readframes(file.getnframes())
    packets = encode(kelp, samples)
    with wave.open(sys.argv[2], "wb") as file:
        file.setparams((1, 2, 8000, 0, "NONE", None))
        file.writeframes(decode(kelp, packets)[:len(samples)])
    print(f"{len(packets)} packets, {sum(map(len, packets))} bytes")


if __name__ == "__main__":
    main()
