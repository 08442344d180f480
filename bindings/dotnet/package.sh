#!/bin/sh
# package.sh <folder> <runtime>=<library>...: compiles the binding and packs it for NuGet with the native libraries,
# runtimes named as NuGet does: win-x86, win-x64, linux-x64, linux-arm64. The bytes depend on the files and SOURCE_DATE_EPOCH alone.
set -eu
mkdir -p "$1"
out=$(realpath "$1")
shift
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
version=$(sed -n 's/^project(KyvMath VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree
mkdir -p "$tree/lib/netstandard2.0" "$tree/_rels"
for argument in "$@"; do
  folder=$tree/runtimes/${argument%%=*}/native
  mkdir -p "$folder"
  case $argument in
    win-*) cp "${argument#*=}" "$folder/KyvMath.dll" ;;
    *) cp "${argument#*=}" "$folder/libKyvMath.so" ;;
  esac
done

# The declarations of the standard get its own public key, so that references name the same assemblies everywhere.
python3 -c 'import sys; sys.stdout.buffer.write(bytes.fromhex(sys.stdin.read()))' <"$here/reference/standard.key" \
  >"$work/key"
compile() { mcs -nostdlib -noconfig -langversion:latest -target:library -optimize+ -warnaserror "$@"; }
signed="-delaysign+ -keyfile:$work/key"
# shellcheck disable=SC2086
compile $signed -out:"$work/netstandard.dll" "$here/reference/netstandard.cs"
# shellcheck disable=SC2086
compile $signed -r:"$work/netstandard.dll" -out:"$work/System.Memory.dll" "$here/reference/System.Memory.cs"
cat >"$work/AssemblyInfo.cs" <<CS
[assembly: System.Reflection.AssemblyVersion("$version.0")]
[assembly: System.Reflection.AssemblyInformationalVersion("$version")]
[assembly: System.Runtime.Versioning.TargetFramework(".NETStandard,Version=v2.0")]
CS
assembly=$tree/lib/netstandard2.0/KyvMath.Net
compile -r:"$work/netstandard.dll" -r:"$work/System.Memory.dll" -doc:"$assembly.xml" -out:"$assembly.dll" \
  "$work/AssemblyInfo.cs" "$here/KyvMath.cs"
"$here/pack.py" stamp "$assembly.dll"

sed "s/@VERSION@/$version/" "$here/KyvMath.nuspec.in" >"$tree/KyvMath.nuspec"
cp "$here/README.md" "$root/cmake/package/NOTICES.md" "$tree"
cat >"$tree/[Content_Types].xml" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">
  <Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml" />
  <Default Extension="nuspec" ContentType="application/octet" />
  <Default Extension="dll" ContentType="application/octet" />
  <Default Extension="so" ContentType="application/octet" />
  <Default Extension="xml" ContentType="application/octet" />
  <Default Extension="md" ContentType="application/octet" />
</Types>
XML
cat >"$tree/_rels/.rels" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
  <Relationship Type="http://schemas.microsoft.com/packaging/2010/07/manifest" Target="/KyvMath.nuspec" Id="R1" />
</Relationships>
XML
"$here/pack.py" zip "$tree" "$out/KyvMath.$version.nupkg" "${SOURCE_DATE_EPOCH:-315532800}"
