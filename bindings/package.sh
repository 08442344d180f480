#!/bin/sh
# package.sh <folder> <platform>=<stage>...: packs the bindings into the folder. A stage is an installed tree of the
# library for linux, win32 or win64; bindings for one platform are made for each that is given.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
out=$1
shift

for argument in "$@"; do
  stage=${argument#*=}
  case $argument in
    linux=*) "$here/python/package.sh" "$stage/lib/libKyvMath.so" manylinux_2_35_x86_64 "$out" ;;
    win32=*) "$here/python/package.sh" "$stage/bin/KyvMath.dll" win32 "$out" ;;
    win64=*) "$here/python/package.sh" "$stage/bin/KyvMath.dll" win_amd64 "$out" ;;
    *) echo "package.sh: no bindings for '$argument'" >&2; exit 2 ;;
  esac
done
