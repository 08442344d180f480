#!/bin/sh
# package.sh <folder> <platform>=<stage>...: packs the bindings into the folder. A stage is an installed tree of the
# library for linux, linux-arm64, win32 or win64. A wheel is made for each that is given, and one NuGet package with all of them.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
out=$1
shift

runtimes=""
for argument in "$@"; do
  stage=${argument#*=}
  case $argument in
    linux=*) library=$stage/lib/libKyvMath.so tag=manylinux_2_35_x86_64 runtime=linux-x64 ;;
    linux-arm64=*) library=$stage/lib/libKyvMath.so tag=manylinux_2_35_aarch64 runtime=linux-arm64 ;;
    win32=*) library=$stage/bin/KyvMath.dll tag=win32 runtime=win-x86 ;;
    win64=*) library=$stage/bin/KyvMath.dll tag=win_amd64 runtime=win-x64 ;;
    *) echo "package.sh: no bindings for '$argument'" >&2; exit 2 ;;
  esac
  "$here/python/package.sh" "$library" "$tag" "$out"
  runtimes="$runtimes $runtime=$library"
done
# shellcheck disable=SC2086
"$here/dotnet/package.sh" "$out" $runtimes
