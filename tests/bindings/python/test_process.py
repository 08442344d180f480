"""Threads, forks and the end of the interpreter."""

import ctypes
import threading
import time

import numpy
import pytest

import kyvmath
from kyvmath import _native


def wake_ups_during_calls(library, threads=2, tries=30):
    """The largest number of times, over some tries, that this thread woke up and saw all other threads inside calls
    of `library`. To wake up takes the interpreter lock."""
    source = numpy.zeros((1500, 1500, 4), numpy.uint16)
    results = [numpy.empty_like(source) for _ in range(threads)]
    inside = [False] * threads
    resize = library.KyvMathResizeWithRegion
    resize.argtypes = _native._working.KyvMathResizeWithRegion.argtypes

    def work(index):
        image = (source.ctypes.data, 1500, 1500, source.strides[0])
        out = (results[index].ctypes.data, 1500, 1500, source.strides[0])
        inside[index] = True
        resize(16, 4, 16, *image, 1, 0, 1499, 1500, *out)
        inside[index] = False

    best = 0
    for _ in range(tries):
        workers = [threading.Thread(target=work, args=(index,)) for index in range(threads)]
        for worker in workers:
            worker.start()
        seen = 0
        while any(worker.is_alive() for worker in workers):
            time.sleep(0.0005)
            seen += all(inside)
        best = max(best, seen)
        if best >= 4:
            break
    return best


def test_the_interpreter_lock_is_released():
    kyvmath.resize(numpy.zeros((1, 1), numpy.uint8), (1, 1))
    assert wake_ups_during_calls(_native._working) >= 4
    assert wake_ups_during_calls(ctypes.PyDLL(_native._PATH), tries=3) < 4, "the test cannot tell"


def test_many_threads_give_one_result(picture):
    source = picture((300, 400, 3))
    expected = kyvmath.resize(source, (123, 77))
    results = [None] * 16

    def work(index):
        results[index] = kyvmath.resize(source, (123, 77))

    workers = [threading.Thread(target=work, args=(index,)) for index in range(len(results))]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    assert all(numpy.array_equal(result, expected) for result in results)
    assert _native.life_cycle._users == 1


def test_users_are_counted(monkeypatch):
    """Started once, ended once, never while a call runs; a start that fails is told and tried again."""
    events = []

    class Library:
        status = 10

        def KyvMathInitialize(self):
            events.append("start")
            return self.status

        def KyvMathTerminate(self):
            events.append("end")

    library = Library()
    monkeypatch.setattr(_native, "_lifecycle", library)
    monkeypatch.setattr(_native.atexit, "register", lambda function: None)
    monkeypatch.delattr(_native.os, "register_at_fork")
    life_cycle = _native._LifeCycle()
    with pytest.raises(MemoryError, match="out of memory"):
        with life_cycle.call():
            events.append("called")
    library.status = 0
    with pytest.raises(ZeroDivisionError):
        with life_cycle.call():
            raise ZeroDivisionError
    with life_cycle.call():
        with life_cycle.call():
            events.append("inner")
        life_cycle._at_exit()
        events.append("at exit")
    assert events == ["start", "start", "inner", "at exit", "end"]


PRELUDE = """
import atexit, os, sys, threading, time
import numpy, kyvmath
from kyvmath import _native
grey = numpy.arange(64, dtype=numpy.uint8).reshape(8, 8)
expected = kyvmath.resize(grey, (5, 3))
def check():
    assert numpy.array_equal(kyvmath.resize(grey, (5, 3)), expected)
"""


def test_a_fork_goes_on_with_what_it_inherits(run_script):
    """Forks while other threads resize: the child can resize, counts itself alone, and exits as it should."""
    assert run_script(PRELUDE + """
stop = threading.Event()
def work():
    while not stop.is_set():
        check()
workers = [threading.Thread(target=work) for _ in range(3)]
for worker in workers: worker.start()
for _ in range(20):
    child = os.fork()
    if child == 0:
        check()
        kyvmath.otf(numpy.ones((3, 5)))
        os._exit(0 if _native.life_cycle._users == 1 else 3)
    assert os.waitpid(child, 0)[1] == 0
child = os.fork()
if child == 0:
    sys.exit(7)  # the whole way out, with its exit functions
assert os.waitpid(child, 0)[1] >> 8 == 7
stop.set()
for worker in workers: worker.join()
check()
print("done")
""") == "done\n"


def test_the_interpreter_may_exit_while_threads_compute(run_script):
    assert run_script(PRELUDE + """
large = numpy.zeros((1500, 1500, 4), numpy.uint16)
def work():
    while True:
        kyvmath.resize(large, (1400, 1400))
for _ in range(3): threading.Thread(target=work, daemon=True).start()
time.sleep(0.05)
print("leaving")
""") == "leaving\n"


def test_exit_functions_may_resize(run_script):
    """One that was registered before the package, and so runs after the package's own."""
    assert run_script("import atexit\natexit.register(lambda: (check(), print('resized')))\n" + PRELUDE) == "resized\n"
