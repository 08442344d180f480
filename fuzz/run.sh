#!/bin/sh
# ./dev fuzz MINUTES [target...]
# ./dev fuzz --plain COUNT [target...]
# ./dev fuzz --coverage COUNT [target...]
# The second form runs COUNT inputs drawn at random, shared among the processors, without sanitizers and without
# coverage as a guide: several times as many in the same time. An input that fails is left in a file. The third
# says what part of the library's passes and kernels such inputs reach, and lists the functions that none does.
#
# Fuzzes each target (all three by default) for MINUTES, with clang's address and undefined-behaviour
# sanitizers, starting from the committed inputs. New inputs gather in build/fuzz/corpus; a failing one is left
# in build/fuzz/findings and ends the run. To keep what was found, merge it into the committed inputs:
#   build/fuzz/fuzz/fuzz_TARGET -merge=1 fuzz/corpus/TARGET build/fuzz/corpus/TARGET
set -eu
cd "$(dirname "$0")/.."

if [ "${1:-}" = --plain ]; then
  count=${2:?"usage: ./dev fuzz --plain COUNT [target...]"}
  shift 2
  [ $# -gt 0 ] || set -- resize_exports resize_primitives conversions
  cmake --preset linux >/dev/null
  jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)
  for target; do
    cmake --build --preset linux --target "replay_$target"
    echo "== $target, $jobs processes"
    seeds=$(seq "$(date +%s)" 100000 $(($(date +%s) + 100000 * (jobs - 1))))
    # shellcheck disable=SC2086
    printf '%s\n' $seeds |
      xargs -P "$jobs" -I '{}' "build/linux/fuzz/replay_$target" --random $(((count + jobs - 1) / jobs)) '{}'
  done
  exit 0
fi

if [ "${1:-}" = --coverage ]; then
  count=${2:?"usage: ./dev fuzz --coverage COUNT [target...]"}
  shift 2
  [ $# -gt 0 ] || set -- resize_exports resize_primitives conversions
  out=build/fuzz-coverage
  mkdir -p "$out"
  cmake --preset linux-coverage >/dev/null
  objects=""
  for target; do
    cmake --build --preset linux-coverage --target "replay_$target"
    program=build/linux-coverage/fuzz/replay_$target
    LLVM_PROFILE_FILE="$out/$target.profraw" "$program" --random "$count" 1
    objects="$objects${objects:+ -object} $program"
  done
  llvm-profdata merge -sparse "$out"/*.profraw -o "$out/all.profdata"
  reading="-instr-profile=$out/all.profdata -ignore-filename-regex=/(tests|fuzz|usr|api|thread|platform|runtime)/"
  # shellcheck disable=SC2086
  llvm-cov report $objects $reading -show-region-summary=0 -show-branch-summary=0
  echo "functions that no input reached:"
  # shellcheck disable=SC2046,SC2086
  llvm-cov report $objects $reading -show-functions -show-branch-summary=0 \
    -sources $(find "$PWD/src/resize" "$PWD/src/psfotf" -name '*.h' -o -name '*.cpp') |
    c++filt | awk '/^File/ { file = $2 } $NF == "0.00%" && !/^TOTAL/ { print file; print "   " $0 }'
  exit 0
fi

case ${1:-} in
  '' | *[!0-9]*)
    echo "usage: ./dev fuzz MINUTES [target...]" >&2
    exit 2
    ;;
esac
minutes=$1
shift
[ $# -gt 0 ] || set -- resize_exports resize_primitives conversions

cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1" \
  -DKYVMATH_SANITIZE=address,undefined,fuzzer-no-link -DKYVMATH_FUZZERS=ON \
  -DKYVMATH_BUILD_TESTS=OFF -DKYVMATH_BUILD_TOOLS=OFF -DKYVMATH_BUILD_BENCHMARKS=OFF >/dev/null
for target; do
  cmake --build build/fuzz --target "fuzz_$target"
done

for target; do
  mkdir -p "build/fuzz/corpus/$target" build/fuzz/findings
  echo "== $target, $minutes min"
  "build/fuzz/fuzz/fuzz_$target" -max_total_time=$((minutes * 60)) -max_len=256 -timeout=20 -rss_limit_mb=4096 \
    -malloc_limit_mb=4096 -print_final_stats=1 "-artifact_prefix=build/fuzz/findings/$target-" \
    "build/fuzz/corpus/$target" "fuzz/corpus/$target" 2>"build/fuzz/$target.log" || {
    tail -n 60 "build/fuzz/$target.log"
    exit 1
  }
  tail -n 8 "build/fuzz/$target.log"
done
