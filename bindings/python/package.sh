#!/bin/sh
# package.sh <library> <platform tag> <folder>: packs a wheel for any Python 3 that contains the library, for
# example with the tag win_amd64. The bytes depend on the files and SOURCE_DATE_EPOCH alone.
set -eu
library=$(realpath "$1")
tag=$2
mkdir -p "$3"
out=$(realpath "$3")
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
version=$(sed -n 's/^project(KyvMath VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-315532800}
export SOURCE_DATE_EPOCH
umask 022

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/kyvmath" "$work/kyvmath-$version.dist-info"
for file in __init__.py _native.py py.typed; do install -m 644 "$here/kyvmath/$file" "$work/kyvmath"; done
case $tag in
  win*) install -m 644 "$library" "$work/kyvmath/KyvMath.dll" ;;
  *) install -m 644 "$library" "$work/kyvmath/libKyvMath.so" ;;
esac
cd "$work/kyvmath-$version.dist-info"
sed "s/@VERSION@/$version/" "$here/METADATA.in" | cat - "$here/README.md" >METADATA
install -m 644 "$root/cmake/package/NOTICES.md" .
printf 'Wheel-Version: 1.0\nGenerator: KyvMath\nRoot-Is-Purelib: false\nTag: py3-none-%s\n' "$tag" >WHEEL
# The interpreter that Debian's package `wheel` belongs to.
cd /
/usr/bin/python3 -m wheel pack --dest-dir "$out" "$work" >/dev/null
