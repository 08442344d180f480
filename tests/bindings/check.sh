#!/bin/sh
# check.sh <binding> <folder of packages> <unpacked package for Linux>: installs the packed binding in a fresh place,
# runs its tests there and follows the README of its example to the letter. Exit code 77: a tool is missing.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
binding=$1
dist=$(cd "$2" && pwd)
package=$(cd "$3" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The tools and modules that Debian's packages install, whatever else is on the machine.
PATH=/usr/bin:$PATH

say() { printf '%s: %s\n' "$binding" "$*"; }
fail() {
  say "FAILED: $*" >&2
  exit 1
}
skip() {
  say "not tested: $*"
  exit 77
}

# What the C interface gives on this machine: the lines that every binding must print.
print_expected_lines() {
  c++ -std=c++17 -I"$package/include" "$here/probe.cpp" -L"$package/lib" -Wl,-rpath,"$package/lib" -lKyvMath \
    -o "$work/probe"
  "$work/probe" >"$work/expected"
}

# Runs the blocks of an example's README that are marked `sh linux`, in a copy of its folder with the given files.
follow_readme() { # example, files...
  example=$work/$1
  cp -r "$package/examples/$1" "$example"
  shift
  cp "$@" "$example"
  awk '$0 == "```sh linux" {inside = 1; next} /^```/ {inside = 0} inside' "$example/README.md" >"$work/commands"
  [ -s "$work/commands" ] || fail "the README has no block 'sh linux'"
  (cd "$example" && KYVMATH=$package sh -eux "$work/commands") >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "the commands of the README"
  }
  say "the example works"
}

# Every wheel of the folder: its hashes, its files, the library in it, and that pip takes it for its platform.
check_wheel() { # wheel
  tag=${1##*-}
  tag=${tag%.whl}
  python3 -m wheel unpack --dest "$work/$tag" "$1" >/dev/null || fail "$1: hashes"
  pip_takes=$(cd "$work" && python3 -m pip download -q --disable-pip-version-check --no-deps --no-index \
    --find-links "$dist" --only-binary=:all: --platform "$tag" --dest "$work/taken-$tag" kyvmath && ls "$work/taken-$tag")
  [ "$pip_takes" = "$(basename "$1")" ] || fail "pip takes '$pip_takes' for $tag"
  case $tag in
    win*)
      original=KyvMath-*-$(echo "$tag" | sed 's/win_amd64/win64/').zip
      # shellcheck disable=SC2086
      python3 -c 'import sys, zipfile; z = zipfile.ZipFile(sys.argv[1])
sys.stdout.buffer.write(z.read(next(n for n in z.namelist() if n.endswith("/bin/KyvMath.dll"))))' \
        "$dist"/$original >"$work/library"
      library=KyvMath.dll
      ;;
    *)
      cat "$package/lib/libKyvMath.so" >"$work/library"
      library=libKyvMath.so
      ;;
  esac
  cmp "$work/library" "$work/$tag"/kyvmath-*/kyvmath/$library || fail "$1 holds another library"
  (cd "$work/$tag"/kyvmath-*/kyvmath && ls) >"$work/files"
  printf '%s\n' "$library" __init__.py _native.py py.typed | LC_ALL=C sort >"$work/wanted"
  LC_ALL=C sort "$work/files" | cmp - "$work/wanted" || fail "the files of $1"
  say "$(basename "$1") is whole"
}

check_python() {
  python3 -c 'import dask.distributed, ensurepip, numpy, PIL, pytest, venv, wheel' 2>/dev/null ||
    skip "needs python3-numpy python3-pytest python3-wheel python3-venv python3-distributed python3-pil"
  for wheel in "$dist"/*.whl; do check_wheel "$wheel"; done
  print_expected_lines
  python3 -m venv --system-site-packages "$work/env"
  "$work/env/bin/pip" install -q --disable-pip-version-check --no-index "$dist"/kyvmath-*-manylinux*.whl
  cp -r "$here/python" "$work/tests"
  (cd "$work/tests" && KYVMATH_PROBE_LINES=$work/expected KYVMATH_EXAMPLES=$package/examples \
    "$work/env/bin/python" -m pytest -q -rs -p no:cacheprovider .) || fail "pytest"
  follow_readme python "$dist"/kyvmath-*-manylinux*.whl
}

case $binding in
  python) check_python ;;
  *) fail "no such binding" ;;
esac
say "all well"
