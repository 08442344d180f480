#!/bin/sh
# ./dev bench [preset...] [options of kyvmath_bench]: builds and runs the benchmark program.
# Presets: linux (the default), linux32, win32, win64, or all. With several, each later one is compared with
# the first. Tables and plots go to build/bench/<preset>. Quiet machines give better figures.
set -eu
cd "$(dirname "$0")/.."

presets=""
while [ $# -gt 0 ]; do
  case $1 in
    linux | linux32 | win32 | win64) presets="$presets $1" ;;
    all) presets="linux linux32 win64 win32" ;;
    *) break ;;
  esac
  shift
done
presets=${presets:-linux}
jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)

build() {
  tree=build/bench-tree/$1
  log=build/bench/$1/build.log
  mkdir -p "build/bench/$1"
  {
    cmake --preset "$1" -B "$tree" -DKYVMATH_BUILD_BENCHMARKS=ON -DKYVMATH_BUILD_TESTS=OFF &&
      cmake --build "$tree" -j "$jobs" --target kyvmath_bench
  } >"$log" 2>&1 || { tail -n 40 "$log" && exit 1; }
}

run() {
  program=build/bench-tree/$1/bench/suite/kyvmath_bench
  shift
  if [ -e "$program.exe" ]; then
    prefix=${KYVMATH_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/wine}
    cmake/wine-run.sh "$prefix" "$program.exe" "$@"
  else
    "$program" "$@"
  fi
}

first=""
for preset in $presets; do
  echo "== $preset"
  build "$preset"
  out=build/bench/$preset
  if [ -z "$first" ]; then
    run "$preset" --data bench/peers --csv "$out" --plots "$out" "$@"
    first=$out
  else
    run "$preset" --data bench/peers --csv "$out" --plots "$out" --against "$first" "$@"
  fi
done
