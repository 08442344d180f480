import os
import pathlib
import subprocess
import sys

import numpy
import pytest


@pytest.fixture
def picture():
    """Makes a picture of random samples."""
    def make(shape, dtype=numpy.uint8):
        return numpy.random.default_rng(7).integers(0, numpy.iinfo(dtype).max, shape, dtype, endpoint=True)
    return make


@pytest.fixture
def run_script(tmp_path):
    """Runs Python source in an interpreter of its own and gives what it prints."""
    def run(source):
        script = tmp_path / "script.py"
        script.write_text(source)
        done = subprocess.run([sys.executable, script], capture_output=True, text=True, timeout=120)
        assert done.returncode == 0 and done.stderr == "", done
        return done.stdout
    return run


@pytest.fixture(scope="session")
def c_lines():
    """What the C interface gives: the lines of probe.cpp."""
    return pathlib.Path(os.environ["KYVMATH_PROBE_LINES"]).read_text().splitlines()
