#!/bin/sh
# ./dev coverage: builds the library and its tests with clang's coverage, runs them, prints line and branch coverage of the code
# that is not kernels, and the branches that no test has taken; the whole report, by line, goes to
# build/coverage/report.txt.
set -eu
cd "$(dirname "$0")/.."
tree=build/linux-coverage
out=build/coverage
jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)

cmake --preset linux-coverage -DKYVMATH_BUILD_TOOLS=OFF >/dev/null
cmake --build --preset linux-coverage -j "$jobs" >/dev/null

rm -rf "$out"
mkdir -p "$out"
objects=""
for program in "$tree"/tests/*/*_test; do
  LLVM_PROFILE_FILE="$out/%p.profraw" "$program" >"$out/$(basename "$program").log" 2>&1 ||
    echo "coverage: $program failed, see $out"
  objects="$objects${objects:+ -object} $program"
done
llvm-profdata merge -sparse "$out"/*.profraw -o "$out/all.profdata"
rm -f "$out"/*.profraw

reading="-instr-profile=$out/all.profdata
  -ignore-filename-regex=/(tests|tools|fuzz|usr|kernels|simd)/"
# shellcheck disable=SC2086
llvm-cov report $objects $reading -show-region-summary=0 -show-branch-summary
# shellcheck disable=SC2086
llvm-cov show $objects $reading -show-branches=count -path-equivalence="$tree,$PWD" >"$out/report.txt"

echo
echo "branches that no test has taken (line, then how often true and false):"
# shellcheck disable=SC2086
llvm-cov export $objects $reading -format=lcov |
  awk -F'[:,]' '
    /^SF:/ { file = substr($0, 4); sub(/.*\/src\//, "src/", file) }
    /^BRDA:/ {
      key = file ":" $2 ":" $3 ":" ($4 - $4 % 2)
      count = $5 == "-" ? 0 : $5
      if ($4 % 2 == 0) yes[key] = count
      else if (yes[key] == 0 || count == 0) {
        printf "  %s:%s  true %s, false %s\n", file, $2, yes[key], count
      }
    }' | sort -u
