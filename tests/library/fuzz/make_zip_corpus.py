#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the seeds of zip-fuzzer into the folder zip-corpus beside this file."""

import io
import struct
import zipfile
from pathlib import Path

CORPUS = Path(__file__).parent / "zip-corpus"
STORED, DEFLATED = zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED


class NoSeek(io.BytesIO):
    """Makes the writer put sizes and checksums behind the data."""

    def seekable(self):
        return False

    def seek(self, *_):
        raise io.UnsupportedOperation

    def tell(self):
        raise io.UnsupportedOperation


def archive(items, method=STORED, comment=b"", large=False, out=None):
    out = out or io.BytesIO()
    with zipfile.ZipFile(out, "w", method) as file:
        file.comment = comment
        for name, data in items:
            info = zipfile.ZipInfo(name, (1980, 1, 1, 0, 0, 0))
            info.compress_type = method
            with file.open(info, "w", force_zip64=large) as item:
                item.write(data)
    return out.getvalue()


def seeds():
    pack = [("Pack/Bass/Low.fxp", b"low" * 40), ("Pack/Top.fxp", b"top"), ("config.ini", b"")]
    stored = archive(pack)
    yield "stored", stored
    yield "deflated", archive(pack, DEFLATED)
    yield "large", archive(pack, DEFLATED, large=True)
    yield "streamed", archive(pack, DEFLATED, out=NoSeek())
    yield "commented", archive(pack, comment=b"PK\x05\x06 of a kind")
    yield "prefixed", b"#!/bin/sh\n" + stored
    yield "hostile-names", archive([(name, b"x") for name in (
        "../up.fxp", "/abs.fxp", "C:\\drive.fxp", "a/../b.fxp", ".dot.fxp", "Trash/t.fxp",
        "x.fxp", "X.FXP", "tab\t.fxp", "folder.fxp/", "folder.fxp/x.fxp", "ü/é.fxp")])
    yield "encrypted", stored.replace(b"PK\x01\x02\x14\x03\x14\x00\x00",
                                      b"PK\x01\x02\x14\x03\x14\x00\x01")
    yield "wrong-checksum", stored.replace(b"lowlow", b"LOWlow")
    yield "no-patches", archive([("config.ini", b"AuthorCode=AB")])
    count = struct.pack("<HH", 3, 3)
    yield "more-than-there-are", stored.replace(count, b"\xfe\xff\xfe\xff")
    yield "cut", stored[:-9]
    yield "empty", archive([])


for seed, content in seeds():
    CORPUS.mkdir(exist_ok=True)
    (CORPUS / seed).write_bytes(content)
