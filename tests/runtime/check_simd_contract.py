#!/usr/bin/env python3
"""Compares the names that the vector headers declare with their contracts.

runtime/simd/scalar.h is the contract of the headers beside it: each declares the same names. The table in
resize/kernels/simd.md groups those of the simd_<isa>.h beside it and of what these share: a header declares a
group whole or not at all, and nothing else. Usage: check_simd_contract.py <folder of the sources>
"""

import pathlib
import re
import sys

DECLARATION = re.compile(
    r"^(?:\[\[[\w:]+\]\] )?(?:template <[^>]*>\s+)?(?:inline |struct |using )(?:constexpr )?(?:[\w:]+ )*?"
    r"(operator.|\w+)\s*[({=]",
    re.MULTILINE,
)


def names_of(header):
    text = header.read_text()
    shared = [names_of(header.parent / name) for name in
              re.findall(r'#include "resize/kernels/(\w+\.h)"', text) if not name.startswith("simd_")]
    text = re.sub(r"^namespace detail \{\n.*?^\}  // namespace detail", "", text, flags=re.MULTILINE | re.DOTALL)
    text = re.sub(r"//[^\n]*", "", text)
    return set(DECLARATION.findall(text)).union(*shared)


def groups_of(page):
    rows = re.findall(r"^\| ([^|]+) \| ([^|]+) \| (`.*) \|$", page.read_text(), re.MULTILINE)
    return [(group, users, set(re.findall(r"`([^`]+)`", names))) for group, users, names in rows]


def check(header, groups):
    """The complaints about one header, whose names are to be those of whole groups."""
    names = names_of(header)
    for group, users, operations in groups:
        missing = operations - names
        if missing and (users == "every set" or missing != operations):
            yield f"{header}: '{group}' lacks {', '.join(sorted(missing))}"
    for name in sorted(names - set().union(*(operations for _, _, operations in groups))):
        yield f"{header}: {name} is in no contract"


def main():
    source = pathlib.Path(sys.argv[1])
    vectors = source / "runtime/simd"
    basic = names_of(vectors / "scalar.h")
    contract = [("scalar.h", "every set", basic)]
    complaints = [c for header in vectors.glob("*.h") for c in check(header, contract)]

    kernels = source / "resize/kernels"
    groups = groups_of(kernels / "simd.md")
    for header in kernels.glob("simd_*.h"):
        # A set that builds on another one's operations declares only more; overloads of basic names are its own.
        based = re.search(r'#include "resize/kernels/simd_', header.read_text())
        own = [(g, "some", n) for g, _, n in groups] if based else groups
        complaints += check(header, own + [("overloads", "some", {n}) for n in basic])
    if len(basic) < 20 or len(groups) < 5 or len(list(vectors.glob("*.h"))) < 4:
        complaints.append("the contracts were not found where they are expected")
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
