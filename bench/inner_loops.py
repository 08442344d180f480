#!/usr/bin/env python3
"""Counts what the innermost loops of kernels are made of, where no processor is at hand to time them.

    inner_loops.py <objdump> <object> [expression]

For every function of the object whose demangled name the expression finds, and every loop of it that holds no other
loop and at least one multiply-add of vectors: its instructions, and of these the multiply-adds, loads, stores and
moves between vector registers. A loop is what lies between the target of a backward jump and the jump.
"""

import re
import subprocess
import sys

FUNCTION = re.compile(r"^[0-9a-f]+ <(.*)>:$")
INSTRUCTION = re.compile(r"^\s*([0-9a-f]+):\s+(\S+)\s*(.*)$")
JUMP = re.compile(r"^(j\w+|b\.\w+|b|cbn?z|tbn?z)$")

VECTOR = re.compile(r"\bv\d+\.|\bq\d+\b|%[xyz]mm")
KINDS = {
    "multiply-adds": lambda name, operands: re.match(r"fml[as]$|vfn?m(add|sub)\w*p[sd]$", name) and VECTOR.search(operands),
    "loads": lambda name, operands: re.match(r"ld[pru1]", name) or (name.startswith(("mov", "vmov", "vbroadcast"))
                                                                     and re.search(r"\(.*\),", operands)),
    "stores": lambda name, operands: re.match(r"st[pru1]", name) or (name.startswith(("mov", "vmov"))
                                                                     and operands.endswith(")")),
    "moves": lambda name, operands: re.match(r"v?movap[sd]$|mov$", name) and VECTOR.search(operands)
             and "(" not in operands,
}


def functions_of(objdump, path):
    text = subprocess.run([objdump, "-dC", "--no-show-raw-insn", path], check=True, capture_output=True, text=True).stdout
    name, code = "", []
    for line in text.splitlines():
        if head := FUNCTION.match(line):
            yield name, code
            name, code = head.group(1), []
        elif found := INSTRUCTION.match(line):
            code.append((int(found.group(1), 16), found.group(2), found.group(3)))
    yield name, code


def innermost_loops(code):
    places = {address for address, _, _ in code}
    loops = set()
    for address, name, operands in code:
        target = re.search(r"\b([0-9a-f]+) <", operands)
        if JUMP.match(name) and target and int(target.group(1), 16) in places and int(target.group(1), 16) <= address:
            loops.add((int(target.group(1), 16), address))
    for first, last in sorted(loops):
        if not any(first <= a and b <= last and (a, b) != (first, last) for a, b in loops):
            yield [one for one in code if first <= one[0] <= last]


def main():
    objdump, path, *rest = sys.argv[1:]
    wanted = re.compile(rest[0] if rest else "")
    print("instructions  per multiply-add ", *KINDS, " function", sep="  ")
    for name, code in functions_of(objdump, path):
        if not wanted.search(name):
            continue
        for loop in innermost_loops(code):
            counts = {kind: sum(1 for _, op, operands in loop if is_kind(op, operands)) for kind, is_kind in KINDS.items()}
            if counts["multiply-adds"]:
                each = len(loop) / counts["multiply-adds"]
                short = re.sub(r"\(anonymous namespace\)::|kyv::|resize::|psfotf::|simd::", "", name)
                print(f"{len(loop):12}  {each:16.2f} ", *(f"{n:{len(kind)}}" for kind, n in counts.items()),
                      f" {short[:110]}", sep="  ")


if __name__ == "__main__":
    main()
