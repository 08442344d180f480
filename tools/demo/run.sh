#!/bin/sh
# ./dev demo [win32] [PICTURE]: builds the library and its command-line host and shows them at work, on a photograph
# that comes with the project or on your picture; with win32 the 32-bit Windows ones, under Wine. Open demo/index.html
# afterwards: everything that was made is there.
set -eu
cd "$(dirname "$0")/../.."

preset=linux
if [ "${1:-}" = win32 ]; then
  preset=win32
  shift
fi
picture=${1:-}
# A relative name is meant from where ./dev was called.
case $picture in
  '' | /*) ;;
  *) picture=${KYVMATH_CALLED_FROM:-$PWD}/$picture ;;
esac
tree=build/demo
log=build/logs/demo.log
jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)

fail() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

[ $# -le 1 ] || fail "one picture, please; ./dev demo --help says more"
[ -z "$picture" ] || [ -r "$picture" ] || fail "$picture: no such file, or not for you to read"
mkdir -p "$(dirname "$log")"
: >"$log"

# Neither tests nor benchmarks.
build() {
  target_preset=$1
  shift
  printf 'building %s (%s)\n' "$*" "$target_preset"
  {
    cmake --preset "$target_preset" -B "$tree/$target_preset" -DKYVMATH_BUILD_TESTS=OFF -DCMAKE_UNITY_BUILD=ON \
      -DKYVMATH_BUILD_BENCHMARKS=OFF && cmake --build "$tree/$target_preset" -j "$jobs" --target "$@"
  } >>"$log" 2>&1 || { tail -n 40 "$log" >&2; fail "the build failed; all of it is in $log"; }
}

case $preset in
  win32)
    build linux kyvmath-samples
    build win32 KyvMath kyvmath
    prefix=${KYVMATH_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/wine}
    # Through Wine the Windows host sees this system's files on drive Z:.
    set -- cmake/wine-run.sh "$prefix" "$tree/win32/bin/kyvmath.exe"
    ;;
  *)
    build linux KyvMath kyvmath kyvmath-samples
    set -- "$tree/linux/bin/kyvmath"
    ;;
esac
exec tools/demo/show.sh demo "$picture" "$tree/linux/bin/kyvmath-samples" "$@"
