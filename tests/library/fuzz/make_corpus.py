#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the seeds of patch-fuzzer into the folder corpus beside this file."""

import struct
from pathlib import Path

CORPUS = Path(__file__).parent / "corpus"
IDS = [1, 8, 9, 10, 11, 30, 31, 54, 55, 65, 66, 70, 98, 100, 101, 102, 104, 109, 110, 112, 134,
       137, 142, 145, 153]


def header(revision, engine_word=7):
    return bytes(512) + struct.pack("<III", revision, 0, engine_word) + bytes(36)


def section(tag, size, count, payload=b""):
    return struct.pack("<I4sII", 1, tag[::-1], size, count) + payload


def values(pairs):
    return b"".join(struct.pack("<HHf", number, 0, value) for number, value in pairs)


def para(pairs):
    return section(b"para", 8, len(pairs), values(pairs))


def program(chunk, name=b"ZPHR", size=None):
    size = len(chunk) if size is None else size
    return (b"CcnK" + struct.pack(">I", len(chunk) + 52) + b"FPCh" + struct.pack(">I", 1) + name +
            struct.pack(">II", 1, 75) + bytes(28) + struct.pack(">I", size) + chunk)


def seeds():
    some = para([(number, 0.5) for number in IDS])
    for revision in range(8):
        yield f"revision-{revision}", header(revision) + some
    whole = (header(6) + section(b"pres", 4, 3, bytes(range(12))) +
             section(b"name", 28, 1, b"Seed".ljust(28, b"\0")) +
             section(b"pinf", 560, 1, b"grown".ljust(560, b"\0")) + some)
    yield "whole-chunk", whole
    yield "whole-file", program(whole)
    yield "old-file", program(header(1) + some, b"ZPHF")
    yield "foreign-file", program(whole, b"ABCD")
    yield "lying-file", program(header(3) + some, b"ZEPF", 0xffffffff)
    odd = [(1, float("nan")), (7, float("inf")), (8, -9999), (9, 1e-42), (10, 3e38), (1, 2)]
    yield "odd-values", program(header(1) + para(odd))
    yield "overlapping", header(6) + section(b"para", 0, 0xffffffff) * 4 + values(odd)
    yield "short-elements", header(6) + section(b"pres", 2, 5, b"0123456789") + some
    yield "huge-lengths", header(6) + section(b"pinf", 0xffffffff, 0xffffffff, b"x")
    yield "unknown-tag", header(6) + section(b"read", 3, 2, b"123456") + some
    yield "empty", b""


for name, data in seeds():
    CORPUS.mkdir(exist_ok=True)
    (CORPUS / name).write_bytes(data)
