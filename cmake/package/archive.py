#!/usr/bin/env python3
"""Packs a folder into a .zip or .tar.gz whose bytes depend on nothing but names, contents and modes.

    archive.py <folder> <archive> <seconds since 1970>

The folder's own name is the top folder of the archive. Names are sorted, owners are 0, times are the one given.
Symbolic links are kept in .tar.gz and refused in .zip.
"""

import gzip
import os
import pathlib
import stat
import sys
import tarfile
import time
import zipfile


def entries(folder):
    return sorted(p for p in folder.rglob("*") if p.is_symlink() or p.is_file())


def mode_of(path):
    return 0o755 if path.stat().st_mode & stat.S_IXUSR else 0o644


def write_zip(folder, archive, seconds):
    moment = time.gmtime(max(seconds, 315532800))[:6]  # the format starts in 1980
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as out:
        for path in entries(folder):
            if path.is_symlink():
                raise SystemExit(f"{path}: a .zip cannot hold a symbolic link")
            info = zipfile.ZipInfo(str(path.relative_to(folder.parent)), moment)
            info.compress_type = zipfile.ZIP_DEFLATED
            info.create_system = 3
            info.external_attr = (stat.S_IFREG | mode_of(path)) << 16
            out.writestr(info, path.read_bytes())


def write_tar(folder, archive, seconds):
    with open(archive, "wb") as raw, \
            gzip.GzipFile("", "wb", 9, raw, mtime=0) as packed, \
            tarfile.open(fileobj=packed, mode="w", format=tarfile.GNU_FORMAT) as out:
        for path in entries(folder):
            info = tarfile.TarInfo(str(path.relative_to(folder.parent)))
            info.mtime = seconds
            if path.is_symlink():
                info.type, info.linkname, info.mode = tarfile.SYMTYPE, os.readlink(path), 0o777
                out.addfile(info)
                continue
            info.size, info.mode = path.stat().st_size, mode_of(path)
            with path.open("rb") as content:
                out.addfile(info, content)


def main():
    folder, archive, seconds = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2], int(sys.argv[3])
    (write_zip if archive.endswith(".zip") else write_tar)(folder, archive, seconds)


if __name__ == "__main__":
    main()
