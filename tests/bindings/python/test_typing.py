import pathlib
import shutil
import subprocess

import pytest

import kyvmath


@pytest.mark.skipif(shutil.which("mypy") is None, reason="no mypy here (package mypy)")
def test_the_package_is_typed(tmp_path):
    package = pathlib.Path(kyvmath.__file__).parent
    assert (package / "py.typed").exists()
    use = tmp_path / "use.py"
    use.write_text("import numpy\nimport kyvmath\n"
                   "reveal_type(kyvmath.resize(numpy.zeros((2, 2), numpy.uint8), (1, 1)).shape)\n"
                   "reveal_type(kyvmath.otf([[1.0]]))\nkyvmath.resize('x', 3)\n")
    done = subprocess.run(["mypy", "--strict", "--cache-dir", tmp_path / "cache", package, use], capture_output=True,
                          text=True, check=False)
    assert 'builtins.tuple[builtins.int, ...]' in done.stdout and "complex" in done.stdout, done.stdout
    assert done.stdout.count("error:") == done.stdout.count("use.py:5: error:") == 1, done.stdout
