#!/usr/bin/env python3
# Builds single faults into a copy of the sources and says which the tests notice.
#
# ./dev mutants [--check] [--jobs N] [NUMBER | TEXT]...: all faults of mutants.tsv, those of these lines, or those whose file,
# fault or test contains a text. --check only says whether every fault still fits the sources.
#
# A line of mutants.tsv: file under src/, what stands there (exactly once), what the fault puts in its place, the test
# program that must notice, its filter, separated by tabs; \n is a line break. A fault is killed by a test that fails
# or that does not end in time.

import argparse
import pathlib
import shutil
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
TREE = ROOT / "build" / "mutants" / "tree"
SECONDS = 120


class Mutant:
    def __init__(self, number, line):
        fields = line.split("\t")
        if len(fields) != 5:
            raise SystemExit(f"mutants.tsv, line {number}: {len(fields)} fields instead of 5")
        self.number, self.line = number, line
        self.file, before, after, self.program, self.filter = fields
        self.before, self.after = before.replace("\\n", "\n"), after.replace("\\n", "\n")

    def faulty(self, text):
        found = text.count(self.before)
        if found != 1 or self.before == self.after:
            raise ValueError(f"line {self.number}: stands {found} times in {self.file}: {self.before!r}")
        return text.replace(self.before, self.after)


def read_mutants(wanted):
    lines = (HERE / "mutants.tsv").read_text().splitlines()
    mutants = [Mutant(n, line) for n, line in enumerate(lines, 1) if line and not line.startswith("#")]
    return [m for m in mutants if not wanted or any(w == str(m.number) or (not w.isdigit() and w in m.line)
                                                    for w in wanted)]


def misfits(mutants):
    for mutant in mutants:
        try:
            mutant.faulty((ROOT / "src" / mutant.file).read_text())
        except (ValueError, OSError) as fault:
            yield str(fault)


def quietly(*command, seconds=None):
    """True when the command ends well and in time."""
    try:
        return subprocess.run(command, cwd=TREE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=seconds, check=False).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def build(program, jobs):
    return quietly("cmake", "--build", "--preset", "linux", "-j", jobs, "--target", program)


def program_path(program):
    return str(next((TREE / "build" / "linux" / "tests").rglob(program)))


def prepare():
    """The sources as they lie in the tree."""
    TREE.mkdir(parents=True, exist_ok=True)
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                            capture_output=True, text=True).stdout.splitlines()
    for name in listed:
        source, target = ROOT / name, TREE / name
        if not source.is_file() or (target.is_file() and target.read_bytes() == source.read_bytes()):
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)
    if not quietly("cmake", "--preset", "linux", "-DKYVMATH_BUILD_BENCHMARKS=OFF", "-DKYVMATH_BUILD_TOOLS=OFF"):
        raise SystemExit("the tree cannot be configured")


def is_killed(mutant, jobs):
    path = TREE / "src" / mutant.file
    healthy = path.read_text()
    path.write_text(mutant.faulty(healthy))
    try:
        if not build(mutant.program, jobs):
            print(f"DOES NOT BUILD: line {mutant.number}")
            return False
        return not quietly(program_path(mutant.program), f"--gtest_filter={mutant.filter}", seconds=SECONDS)
    finally:
        path.write_text(healthy)


def build_healthy(programs, jobs):
    for program in programs:
        if not build(program, jobs):
            raise SystemExit(f"{program} does not build without any fault")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--jobs", default="2")
    parser.add_argument("wanted", nargs="*")
    arguments = parser.parse_args()
    mutants = read_mutants(arguments.wanted)
    faults = list(misfits(mutants))
    print("\n".join(faults + [f"{len(mutants)} faults, {len(faults)} of which do not fit the sources"]))
    if faults or arguments.check:
        return 1 if faults else 0
    prepare()
    programs = sorted({m.program for m in mutants})
    build_healthy(programs, arguments.jobs)
    healthy = {(m.program, m.filter) for m in mutants}
    for program, name in sorted(healthy):
        if not quietly(program_path(program), f"--gtest_filter={name}", seconds=SECONDS):
            raise SystemExit(f"{program} --gtest_filter={name} fails without any fault")
    survivors = []
    for mutant in mutants:
        killed = is_killed(mutant, arguments.jobs)
        survivors += [] if killed else [mutant]
        print(f"{'killed  ' if killed else 'SURVIVED'} {mutant.number:3} {mutant.file}: {mutant.before!r} -> "
              f"{mutant.after!r} ({mutant.filter})", flush=True)
    build_healthy(programs, arguments.jobs)  # so that no program is left with a fault
    print(f"{len(mutants) - len(survivors)} of {len(mutants)} killed")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
