#!/bin/sh
# check_reproducible.sh [linux|win32|win64 ...]: builds the packages of the last commit twice, in two folders with
# names of different lengths, and compares them byte by byte.
set -eu
cd "$(dirname "$0")/../.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for copy in here somewhere/quite/else; do
  git clone -q . "$work/$copy/KyvMath"
  KYVMATH_DIST=$work/dist-${copy%%/*} "$work/$copy/KyvMath/cmake/package.sh" "$@" >/dev/null
  sleep 2 # a clock that reached an archive shows: the coarsest format counts in steps of two seconds
done
diff -r "$work/dist-here" "$work/dist-somewhere"
cat "$work/dist-here/SHA256SUMS"
