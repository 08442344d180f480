#!/usr/bin/env python3
"""Finishes a NuGet package, so that its bytes depend on nothing but its contents.

    pack.py stamp <assembly>                                   replaces the compiler's time and random identity
    pack.py zip <folder> <package.nupkg> <seconds since 1970>  packs a folder, names sorted, times the given one
"""

import hashlib
import pathlib
import struct
import sys
import time
import zipfile


def identity_place(image):
    """Where the module's identity (MVID) lies: the start of the heap #GUID, found through the metadata root
    (ECMA-335, II.24.2)."""
    root = image.index(b"BSJB")
    at = root + 16 + struct.unpack_from("<I", image, root + 12)[0]
    heaps = struct.unpack_from("<H", image, at + 2)[0]
    at += 4
    for _ in range(heaps):
        name = image[at + 8:image.index(b"\0", at + 8)]
        if name == b"#GUID":
            return root + struct.unpack_from("<I", image, at)[0]
        at += 8 + (len(name) // 4 + 1) * 4
    raise SystemExit("no heap #GUID")


def stamp(assembly):
    image = bytearray(assembly.read_bytes())
    header = struct.unpack_from("<I", image, 0x3C)[0]
    assert image[header:header + 4] == b"PE\0\0"
    struct.pack_into("<I", image, header + 8, 0)
    place = identity_place(image)
    image[place:place + 16] = bytes(16)
    image[place:place + 16] = hashlib.sha256(image).digest()[:16]
    assembly.write_bytes(image)


def pack(folder, package, seconds):
    moment = time.gmtime(max(seconds, 315532800))[:6]  # the format starts in 1980
    # Readers find the kind of a package in its first entries.
    first = ("[Content_Types].xml", "_rels/.rels")
    names = sorted((str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()),
                   key=lambda name: (name not in first, name))
    with zipfile.ZipFile(package, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as out:
        for name in names:
            info = zipfile.ZipInfo(name, moment)
            info.compress_type = zipfile.ZIP_DEFLATED
            info.external_attr = 0o100644 << 16
            out.writestr(info, (folder / name).read_bytes())


if __name__ == "__main__":
    if sys.argv[1] == "stamp":
        stamp(pathlib.Path(sys.argv[2]))
    else:
        pack(pathlib.Path(sys.argv[2]), sys.argv[3], int(sys.argv[4]))
