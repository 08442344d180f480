#!/bin/sh
# ./dev bench [preset...] [options of kyvmath_bench]: builds and runs the benchmark program.
# Presets: linux (the default), linux32, win32, win64, or all. With several, each later one is compared with
# the first. Tables and plots go to build/bench/<preset>. Quiet machines give better figures. The program's options
# are printed by: build/bench-tree/<preset>/bench/suite/kyvmath_bench --help
# ./dev bench compare [preset] OLD [options of kyvmath_compare]: this tree's library against the library OLD.
# ./dev bench kernels [preset] [REGEX]: what each kernel costs.
# Peers as libraries are looked for in the folder KYVMATH_PEERS; bench/README.md describes them.
set -eu
cd "$(dirname "$0")/.."
export KYVMATH_PEERS="${KYVMATH_PEERS-../shared/peers/bin}"

task=suite
case ${1:-} in
  compare | kernels)
    task=$1
    shift
    ;;
esac
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
  preset=$1
  shift
  log=build/bench/$preset/build.log
  mkdir -p "build/bench/$preset"
  {
    cmake --preset "$preset" -B "build/bench-tree/$preset" -DKYVMATH_BUILD_BENCHMARKS=ON -DKYVMATH_BUILD_TESTS=OFF \
      -DKYVMATH_BUILD_TOOLS=OFF &&
      cmake --build "build/bench-tree/$preset" -j "$jobs" --target "$@"
  } >"$log" 2>&1 || { tail -n 40 "$log" && exit 1; }
}

run() {
  program=$1
  shift
  if [ -e "$program.exe" ]; then
    prefix=${KYVMATH_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/wine}
    cmake/wine-run.sh "$prefix" "$program.exe" "$@"
  else
    "$program" "$@"
  fi
}

library_of() {
  case $1 in
    win*) echo "build/bench-tree/$1/bin/KyvMath.dll" ;;
    *) echo "build/bench-tree/$1/lib/libKyvMath.so" ;;
  esac
}

run_compare() {
  preset=${1# }
  old=${2:?give the library to compare with}
  shift 2
  build "$preset" KyvMath kyvmath_compare
  run "build/bench-tree/$preset/bench/compare/kyvmath_compare" "$old" "$(library_of "$preset")" "$@"
}

run_kernels() {
  preset=${1# }
  shift
  build "$preset" kyvmath_kernels
  run "build/bench-tree/$preset/bench/kernels/kyvmath_kernels" "$@"
}

run_suite() {
  first=""
  for preset in $presets; do
    echo "== $preset"
    build "$preset" kyvmath_bench
    out=build/bench/$preset
    program=build/bench-tree/$preset/bench/suite/kyvmath_bench
    if [ -z "$first" ]; then
      run "$program" --data bench/peers --csv "$out" --plots "$out" "$@"
      first=$out
    else
      run "$program" --data bench/peers --csv "$out" --plots "$out" --against "$first" "$@"
    fi
  done
}

case $task in
  compare) run_compare "$presets" "$@" ;;
  kernels) run_kernels "$presets" "$@" ;;
  suite) run_suite "$@" ;;
esac
