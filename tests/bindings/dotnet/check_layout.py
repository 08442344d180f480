#!/usr/bin/env python3
"""check_layout.py <package.nupkg>: NuGet's rules for the layout of a package, and that each native library in it is
one for the system and the processor that its folder names."""

import pathlib
import struct
import sys
import xml.etree.ElementTree
import zipfile

RUNTIMES = {"win-x86": ("KyvMath.dll", 0x14C), "win-x64": ("KyvMath.dll", 0x8664), "linux-x64": ("libKyvMath.so", 62)}


def machine_of(image):
    if image[:4] == b"\x7fELF":
        return struct.unpack_from("<H", image, 18)[0]
    header = struct.unpack_from("<I", image, 0x3C)[0]
    assert image[header:header + 4] == b"PE\0\0"
    return struct.unpack_from("<H", image, header + 4)[0]


def check(package):
    archive = zipfile.ZipFile(package)
    assert archive.testzip() is None
    names = archive.namelist()
    assert names[0] == "[Content_Types].xml"
    assert len({name.lower() for name in names}) == len(names), "names that differ in case alone"

    def parse(name):
        return xml.etree.ElementTree.fromstring(archive.read(name))

    known = {kind.get("Extension") for kind in parse("[Content_Types].xml")}
    unknown = {name for name in names[1:] if name.rpartition(".")[2] not in known}
    assert not unknown, f"without a content type: {unknown}"
    assert [relation.get("Target") for relation in parse("_rels/.rels")] == ["/KyvMath.nuspec"]

    manifest = parse("KyvMath.nuspec")
    prefix = manifest.tag.partition("}")[0] + "}"
    metadata = {field.tag.replace(prefix, ""): field for field in manifest[0]}
    for required in ("id", "version", "authors", "description"):
        assert metadata[required].text, f"no {required}"
    assert pathlib.Path(package).name == f"{metadata['id'].text}.{metadata['version'].text}.nupkg"
    assert metadata["readme"].text in names
    assert [group.get("targetFramework") for group in metadata["dependencies"]] == [".NETStandard2.0"]

    assert {"lib/netstandard2.0/KyvMath.Net.dll", "lib/netstandard2.0/KyvMath.Net.xml"} <= set(names)
    members = [member.get("name") for member in parse("lib/netstandard2.0/KyvMath.Net.xml").iter("member")]
    for member in ("T:KyvMath.KyvMathLibrary", "T:KyvMath.KyvMathException", "T:KyvMath.NativeMethods", "F:KyvMath.Mode.Super"):
        assert member in members, f"{member} is not documented"

    natives = [name.split("/") for name in names if name.startswith("runtimes/")]
    for _, runtime, kind, name in natives:
        assert kind == "native" and name == RUNTIMES[runtime][0]
        machine = machine_of(archive.read(f"runtimes/{runtime}/native/{name}"))
        assert machine == RUNTIMES[runtime][1], f"{runtime}: machine {machine:#x}"
    assert natives
    print(f"{pathlib.Path(package).name}: {', '.join(runtime for _, runtime, _, _ in natives)}")


if __name__ == "__main__":
    check(sys.argv[1])
