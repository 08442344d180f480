#!/bin/sh
# unpack.sh <package.nupkg> <folder>: lays out what a program for .NET needs to compile against the package and run: the
# binding, the native library for Linux, and the assemblies of .NET Standard. Debian's Mono lacks those, which any other
# .NET brings with it: stand-ins forward to its own types.
set -eu
nupkg=$(realpath "$1")
mkdir -p "$2"
folder=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
reference=$here/../../../bindings/dotnet/reference
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cd "$work"
python3 -m zipfile -e "$nupkg" nuget
cp nuget/lib/netstandard2.0/* nuget/runtimes/linux-x64/native/* "$folder"
python3 -c 'import sys; sys.stdout.buffer.write(bytes.fromhex(sys.stdin.read()))' <"$reference/standard.key" >key
for assembly in netstandard System.Memory; do
  awk -f "$here/forward.awk" "$reference/$assembly.cs" >"$assembly.cs"
  mcs -langversion:latest -target:library -delaysign+ -keyfile:key -out:"$folder/$assembly.dll" "$assembly.cs"
done
