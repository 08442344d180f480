"""Kernel objects: one symbol given away, none that the linker may merge, no instruction above their level.

check_kernels.py <objdump> <nm> <count> <objects...>: of the objects, those in a folder named kernels, so many. And of 32-bit ones,
those that run before the processor is known to have SSE2: no instruction of any vector set. On 64-bit ARM there is one
level, what every processor has, and nothing of the later extensions of NEON, nor SVE.
"""

import os
import re
import subprocess
import sys

LEVELS = ["scalar", "neon", "sse2", "avx2", "avx512", "avx512vbmi", "later"]

# What comes after SSE2 and before AVX, by mnemonic; VEX and EVEX forms are recognised by their v.
AFTER_SSE2 = re.compile(
    r"^(p(shufb|mulld|mulhrsw|maddubsw|hadd|hsub|sign[bwd]|abs[bwd]|alignr|blend|min(sb|uw|sd|ud)|"
    r"max(sb|uw|sd|ud)|ackusdw|mov[sz]x|extr[bdq]|insr[bdq]|cmp[eg][qt]q|test|cmp[ei]str|muldq|hminpos)|"
    r"round[ps][sd]|blendp|blendvp|dpp[sd]|insertps|extractps|haddp|hsubp|addsubp|lddqu|movddup|movs[hl]dup|"
    r"mpsadbw|movntdqa|crc32|popcnt|lzcnt|tzcnt|andn$|bextr|bls|mulx|pdep$|pext$|rorx|sarx|shlx|shrx|movbe)")


VBMI = re.compile(r"^v(perm([it]2)?b|pmultishiftqb)$")


# The scalable registers, and what later versions of the architecture added to NEON.
AFTER_NEON = re.compile(r"^([us]u?s?dot|[us]?u?mmla|bf(dot|mmla|mlal[bt]|cvt\w*)|fml[as]l2?|fcmla\w*|fcadd|sqrdml[as]h|eor3|bcax|rax1|xar)$")
SCALABLE = re.compile(r"\b[zp]\d+[./]|\bz\d+\b")

ANY_PROCESSOR = ("api", "thread", "runtime", "platform")

# Of these the code itself says when it may execute them.
GUARDED = ("stmxcsr", "ldmxcsr", "xgetbv", "cpuid")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def instructions(objdump, path):
    for line in run(objdump, "-d", "--no-show-raw-insn", path).splitlines():
        parts = line.split("\t")
        if len(parts) >= 2 and parts[0].strip().endswith(":"):
            words = parts[1].split(None, 1)
            if words:
                yield words[0], words[1] if len(words) > 1 else ""


def level_of(mnemonic, operands, architecture="x86"):
    if architecture == "arm64":
        return "later" if AFTER_NEON.match(mnemonic) or SCALABLE.search(operands) else "neon"
    if VBMI.match(mnemonic):
        return "avx512vbmi"
    if re.search(r"%zmm|%k[1-7]|%[xy]mm(1[6-9]|2\d|3[01])", operands):
        return "avx512"
    if "%ymm" in operands or (mnemonic.startswith("v") and mnemonic not in ("verr", "verw")):
        return "avx2"
    return "avx2" if AFTER_SSE2.match(mnemonic) else "sse2"


def faults(objdump, nm, path, architecture):
    unit = os.path.basename(path).split(".")[0]  # an instruction set, or its part of a service
    allowed = unit.split("_")[0]
    symbols = [line.split()[-2:] for line in run(nm, path).splitlines()]
    # The compiler's own helpers for finding its code (32-bit) hold no instruction but a move.
    given = [name for kind, name in symbols if kind in "TDRBGSC" and "get_pc_thunk" not in name]
    if len(given) != 1 or f"kernels_{unit}" not in given[0]:
        yield f"gives away {given}"
    merged = [name for kind, name in symbols if kind in "VvWwu"]
    if merged:
        yield f"weak or shared symbols {merged}"
    if allowed == "fma":
        allowed = "avx2"  # shorter vectors for the same processors
    if allowed == "scalar":
        allowed = {"x86": "sse2", "arm64": "neon"}[architecture]  # the baseline of every build
    found = {}
    for mnemonic, operands in instructions(objdump, path):
        level = level_of(mnemonic, operands, architecture)
        if LEVELS.index(level) > LEVELS.index(allowed):
            found.setdefault(f"{mnemonic} {operands}", level)
    for instruction, level in list(found.items())[:10]:
        yield f"{level} instruction {instruction}"


def vector_instructions(objdump, path):
    for mnemonic, operands in instructions(objdump, path):
        if mnemonic not in GUARDED and (level_of(mnemonic, operands) != "sse2" or re.search(r"%x?mm", operands)):
            yield f"{mnemonic} {operands}"


def main():
    objdump, nm, count, *objects = sys.argv[1:]
    kernels = [path for path in objects if os.path.basename(os.path.dirname(path)) == "kernels"]
    architecture = "arm64" if "aarch64" in run(objdump, "-f", objects[0]) else "x86"
    failed = len(kernels) != int(count)
    print(f"{len(kernels)} kernel objects")
    for path in kernels:
        for fault in faults(objdump, nm, path, architecture):
            print(f"FAIL {path}: {fault}")
            failed = True
    early = [path for path in objects if os.path.basename(os.path.dirname(path)) in ANY_PROCESSOR]
    if "elf32-i386" in run(objdump, "-f", early[0]) or "pe-i386" in run(objdump, "-f", early[0]):
        print(f"{len(early)} objects for any processor")
        for path in early:
            for fault in list(vector_instructions(objdump, path))[:10]:
                print(f"FAIL {path}: {fault}")
                failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
