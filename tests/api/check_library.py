"""What the shared library shows to the linker and the loader, as objdump tells it.

check_library.py <objdump> <library>
"""

import re
import subprocess
import sys

EXPORTS = {
    "KyvMathInitialize", "KyvMathTerminate", "KyvMathResize", "KyvMathResizeWithRegion",
    "KyvMathConvertOtfFromPsf", "KyvMathConvertPsfFromOtf",
    "KyvMathConvertOtfFromPsf_D", "KyvMathConvertPsfFromOtf_D",
}


def dump(objdump, option, library):
    return subprocess.run([objdump, option, library], check=True, capture_output=True, text=True).stdout


def check_dll(objdump, library):
    text = dump(objdump, "-p", library)
    imports = {name.lower() for name in re.findall(r"DLL Name: (\S+)", text)}
    yield "imports", imports == {"kernel32.dll", "msvcrt.dll"}, imports
    exports = set(re.findall(r"^\s+\[ *\d+\] (?!\+base)(\S+)$", text, re.M))
    yield "exports", exports == EXPORTS, exports
    characteristics = int(re.search(r"^DllCharacteristics\s+([0-9a-f]+)", text, re.M).group(1), 16)
    yield "relocatable (ASLR)", characteristics & 0x0040, hex(characteristics)
    yield "data not executable (DEP)", characteristics & 0x0100, hex(characteristics)
    if "pei-x86-64" in text:
        yield "64-bit ASLR", characteristics & 0x0020, hex(characteristics)
    # The file header's stamp is printed as a date, that of the export table as a number.
    file_stamp = re.search(r"^Time/Date\s+(.*)$", text, re.M).group(1)
    yield "no time stamp in the header", "1970" in file_stamp, file_stamp
    table_stamp = re.search(r"Time/Date stamp\s+([0-9a-f]+)", text).group(1)
    yield "no time stamp in the export table", int(table_stamp, 16) == 0, table_stamp


def check_elf(objdump, library):
    symbols = dump(objdump, "-T", library)
    # But for names of sections, which some linkers list as well, as symbols of this file alone.
    defined = {line.split()[-1] for line in symbols.splitlines() if re.match(r"^[0-9a-f]{8,} [^l]", line)
               and "*UND*" not in line}
    yield "exports", defined == EXPORTS, defined
    needed = set(re.findall(r"NEEDED\s+(\S+)", dump(objdump, "-p", library)))
    allowed = re.compile(r"^(libc\.so|libm\.so|libpthread\.so|ld-linux)")
    yield "needs the C library only", all(allowed.match(name) for name in needed), needed


def main():
    objdump, library = sys.argv[1:]
    check = check_dll if library.lower().endswith(".dll") else check_elf
    failed = False
    for what, good, found in check(objdump, library):
        print(f"{'ok  ' if good else 'FAIL'} {what}: {found}")
        failed |= not good
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
