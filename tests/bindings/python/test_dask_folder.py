"""The Dask example on two worker processes, one of which is killed half-way."""

import importlib
import os
import pathlib
import signal
import threading
import time

import numpy
import pytest

import kyvmath

distributed = pytest.importorskip("dask.distributed", reason="no Dask here (package python3-distributed)")
Image = pytest.importorskip("PIL.Image", reason="no Pillow here (package python3-pil)")

PICTURES = 60


@pytest.mark.filterwarnings("ignore")
def test_nothing_is_lost_when_a_worker_is_killed(tmp_path, picture, monkeypatch):
    source, target = tmp_path / "source", tmp_path / "target"
    source.mkdir()
    pictures = {f"{k:02}.png": numpy.roll(picture((200, 300, 3)), k, axis=0) for k in range(PICTURES)}
    for name, pixels in pictures.items():
        Image.fromarray(pixels).save(source / name, compress_level=1)
    # The workers import the example, too.
    examples = str(pathlib.Path(os.environ["KYVMATH_EXAMPLES"], "python"))
    monkeypatch.setenv("PYTHONPATH", examples, prepend=os.pathsep)
    monkeypatch.syspath_prepend(examples)
    dask_folder = importlib.import_module("dask_folder")
    left_at_the_kill = []

    def kill_a_worker_half_way(cluster):
        while len(list(target.glob("*.png"))) < PICTURES // 4:
            time.sleep(0.005)
        os.kill(next(iter(cluster.workers.values())).pid, signal.SIGKILL)
        left_at_the_kill.append(PICTURES - len(list(target.glob("*.png"))))

    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                                  local_directory=tmp_path) as cluster, distributed.Client(cluster) as client:
        killer = threading.Thread(target=kill_a_worker_half_way, args=(cluster,), daemon=True)
        killer.start()
        monkeypatch.chdir(tmp_path)  # the workers stay where they are
        done = dask_folder.resize_folder(client, pathlib.Path("source"), pathlib.Path("target"), (75, 50))
        killer.join(60)

    assert left_at_the_kill and left_at_the_kill[0] > 0, "no worker was killed before the end"
    assert sorted(done) == sorted(pictures) == sorted(path.name for path in target.glob("*.png"))
    for name, pixels in pictures.items():
        numpy.testing.assert_array_equal(numpy.asarray(Image.open(target / name)), kyvmath.resize(pixels, (75, 50)))
