#!/usr/bin/env python3
"""Resizes all pictures of a folder on Dask workers: dask_folder.py SOURCE TARGET WIDTH HEIGHT [scheduler's address]

Without an address, on this machine's cores. A picture is one task; a task whose worker dies is done again by another,
and files appear whole or not at all, so nothing is lost and nothing is half there. Needs Dask and Pillow."""

import os
import pathlib
import sys

import kyvmath
import numpy
from dask.distributed import Client, LocalCluster
from PIL import Image

FORMATS = Image.registered_extensions()


def resize_file(source, target, size):
    with Image.open(source) as image:
        pixels = numpy.asarray(image if image.mode in ("L", "RGB", "RGBA") else image.convert("RGB"))
    unfinished = target.with_name(f"{target.name}.{os.getpid()}.tmp")
    Image.fromarray(kyvmath.resize(pixels, size)).save(unfinished, FORMATS[target.suffix.lower()])
    os.replace(unfinished, target)
    return target.name


def resize_folder(client, source, target, size):
    target.mkdir(parents=True, exist_ok=True)
    files = sorted(path for path in source.resolve().iterdir() if path.suffix.lower() in FORMATS)
    tasks = client.map(resize_file, files, [target.resolve() / path.name for path in files], size=size, pure=False)
    return client.gather(tasks)


if __name__ == "__main__":
    with Client(sys.argv[5] if len(sys.argv) > 5 else LocalCluster(threads_per_worker=1)) as client:
        done = resize_folder(client, pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]),
                             (int(sys.argv[3]), int(sys.argv[4])))
    print(len(done), "pictures")
