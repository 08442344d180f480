#!/bin/sh
# ./dev fuzz MINUTES [target...]
# ./dev fuzz --plain COUNT [target...]
# ./dev fuzz --coverage COUNT [target...]
#
# The first form fuzzes each target (all three by default) for MINUTES, with clang's address and undefined-behaviour
# sanitizers, starting from the committed inputs. New inputs gather in build/fuzz/corpus; a failing one is left
# in build/fuzz/findings and ends the run. To keep what was found, merge it into the committed inputs:
#   build/fuzz/fuzz/fuzz_TARGET -merge=1 fuzz/corpus/TARGET build/fuzz/corpus/TARGET
#
# The second runs COUNT inputs drawn at random, shared among the processors, without sanitizers and without coverage
# as a guide: several times as many in the same time. An input that fails is left in a file. The third says what part
# of the library's passes and kernels such inputs reach, and lists the functions that none does.
set -eu
cd "$(dirname "$0")/.."
jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)

usage() {
  sed -n '2,4s/^# //p' "$0" >&2
  exit 2
}

case ${1:-} in
  --plain | --coverage)
    task=${1#--}
    shift
    ;;
  *) task=sanitized ;;
esac
case ${1:-} in
  '' | *[!0-9]*) usage ;;
esac
amount=$1
shift
[ $# -gt 0 ] || set -- resize_exports resize_primitives conversions

# build TREE PREFIX FLAGS...: the targets' programs PREFIX_target.
build() {
  tree=$1
  prefix=$2
  shift 2
  cmake -S . -B "$tree" -G Ninja "$@" -DKYVMATH_FUZZERS=ON -DKYVMATH_BUILD_TESTS=OFF -DKYVMATH_BUILD_TOOLS=OFF \
    -DKYVMATH_BUILD_BENCHMARKS=OFF >/dev/null
  for target in $targets; do
    cmake --build "$tree" --target "${prefix}_$target"
  done
}

run_plain() {
  build build/fuzz-plain replay -DCMAKE_BUILD_TYPE=Release
  seed=$(date +%s)
  for target in $targets; do
    echo "== $target, $jobs processes"
    seq "$seed" 100000 $((seed + 100000 * (jobs - 1))) |
      xargs -P "$jobs" -I '{}' "build/fuzz-plain/fuzz/replay_$target" --random $(((amount + jobs - 1) / jobs)) '{}'
  done
}

run_coverage() {
  out=build/fuzz-coverage
  build "$out" replay -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1" "-DCMAKE_CXX_FLAGS=-fprofile-instr-generate -fcoverage-mapping"
  objects=""
  profiles=""
  for target in $targets; do
    LLVM_PROFILE_FILE="$out/$target.profraw" "$out/fuzz/replay_$target" --random "$amount" 1
    objects="$objects${objects:+ -object} $out/fuzz/replay_$target"
    profiles="$profiles $out/$target.profraw"
  done
  # shellcheck disable=SC2086
  llvm-profdata merge -sparse $profiles -o "$out/all.profdata"
  # shellcheck disable=SC2086
  llvm-cov report $objects "-instr-profile=$out/all.profdata" -show-region-summary=0 -show-branch-summary=0 \
    "-ignore-filename-regex=/(tests|fuzz|usr|api|thread|platform|runtime)/" 2>/dev/null
  echo "functions that no input reached:"
  # shellcheck disable=SC2086
  llvm-cov export -format=lcov $objects "-instr-profile=$out/all.profdata" 2>/dev/null | awk '
    /^SF:/ { file = substr($0, 4); sub(/.*src\//, "src/", file) }
    /^FNDA:/ && file ~ /src\/(resize|psfotf)\// {
      count = substr($0, 6) + 0
      name = $0
      sub(/^FNDA:[0-9]*,([^:]*:)?/, "", name)
      reached[file " " name] += count
    }
    END { for (function_name in reached) if (reached[function_name] == 0) print "  " function_name }' |
    c++filt | grep -v lambda | sort
}

run_sanitized() {
  build build/fuzz fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1" -DKYVMATH_SANITIZE=address,undefined,fuzzer-no-link
  for target in $targets; do
    mkdir -p "build/fuzz/corpus/$target" build/fuzz/findings
    echo "== $target, $amount min"
    "build/fuzz/fuzz/fuzz_$target" -max_total_time=$((amount * 60)) -max_len=256 -timeout=20 -rss_limit_mb=4096 \
      -malloc_limit_mb=4096 -print_final_stats=1 "-artifact_prefix=build/fuzz/findings/$target-" \
      "build/fuzz/corpus/$target" "fuzz/corpus/$target" 2>"build/fuzz/$target.log" || {
      tail -n 60 "build/fuzz/$target.log"
      exit 1
    }
    tail -n 8 "build/fuzz/$target.log"
  done
}

targets="$*"
"run_$task"
