#!/bin/sh
# check.sh python|dotnet|pascal <folder of packages> <unpacked package for Linux>: installs the packed binding in a fresh place,
# runs its tests there and follows the README of its example to the letter. Exit code 77: a tool is missing.
# check.sh recipes <folder of packages> <unpacked package for Linux> <build tree for Linux>: runs the vcpkg port and the
# Conan recipe.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
binding=$1
dist=$(cd "$2" && pwd)
package=$(cd "$3" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The tools and modules that Debian's packages install, whatever else is on the machine.
PATH=/usr/bin:$PATH
export CMAKE_GENERATOR=Ninja  # make may be missing

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

# Runs the blocks of an example's README that are marked `sh linux`, in a copy of its folder with the given files. The
# copy lies as deep as the original: ../.. is the package.
follow_readme() { # example, files...
  example=$work/package/examples/$1
  mkdir -p "$work/package/examples"
  ln -sfn "$package/include" "$work/package/include"
  ln -sfn "$package/lib" "$work/package/lib"
  cp -r "$package/examples/$1" "$example"
  shift
  cp "$@" "$example"
  awk '$0 == "```sh linux" {inside = 1; next} /^```/ {inside = 0} inside' "$example/README.md" >"$work/commands"
  [ -s "$work/commands" ] || fail "the README has no block 'sh linux'"
  (cd "$example" && sh -eux "$work/commands") >"$work/log" 2>&1 || {
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
  pip_takes=$(cd "$work" && "$environment/pip" download -q --disable-pip-version-check --no-deps --no-index \
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
  follow_readme python "$dist"/kyvmath-*-manylinux*.whl
  environment=$work/package/examples/python/env/bin  # as the README says: with the wheel, and the system's modules
  for wheel in "$dist"/*.whl; do check_wheel "$wheel"; done
  print_expected_lines
  cp -r "$here/python" "$work/tests"
  (cd "$work/tests" && KYVMATH_PROBE_LINES=$work/expected KYVMATH_EXAMPLES=$package/examples \
    "$environment/python" -m pytest -q -rs -p no:cacheprovider .) || fail "pytest"
}

# The binding as its users have it: compiled against the package, the native library beside the program.
check_dotnet() {
  command -v mcs >/dev/null && command -v mono >/dev/null || skip "needs mono-mcs mono-runtime"
  "$here/dotnet/check_layout.py" "$dist"/KyvMath.*.nupkg
  program=$work/program
  "$here/dotnet/unpack.sh" "$dist"/KyvMath.*.nupkg "$program"
  cmp "$package/lib/libKyvMath.so" "$program/libKyvMath.so" || fail "another library"
  print_expected_lines
  (cd "$program" && mcs -langversion:latest -warnaserror -r:KyvMath.Net.dll,netstandard.dll,System.Memory.dll \
    -out:Probe.exe "$here/dotnet/Probe.cs" && mono Probe.exe >"$work/lines") || fail "Probe.cs"
  cmp "$work/expected" "$work/lines" || fail "other numbers than those of the C interface"
  follow_readme csharp "$dist"/KyvMath.*.nupkg "$program/netstandard.dll" "$program/System.Memory.dll"
}

check_pascal() {
  command -v fpc >/dev/null || skip "needs fp-compiler fp-units-rtl"
  print_expected_lines
  mkdir "$work/pascal"
  fpc -v0 -vew -O2 -FU"$work/pascal" -o"$work/pascal/Probe" -Fu"$package/include" -Fl"$package/lib" \
    -k-rpath="$package/lib" "$here/pascal/Probe.pas" >"$work/log" || {
    cat "$work/log" >&2
    fail "Probe.pas"
  }
  "$work/pascal/Probe" >"$work/lines" || fail "Probe.pas: exit code $?"
  cmp "$work/expected" "$work/lines" || fail "other numbers than those of the C interface"
  follow_readme pascal "$package/include/KyvMath.pas"
}

# The port and the recipe. Neither tool is packaged by Debian: stand-ins run them as far as can be without.
check_recipes() { # build tree
  cmake -DPORT_DIR="$root/bindings/vcpkg/kyvmath" -DSYSTEM=linux -DBUILT="$1" -DOUT="$work/linux" \
    -P "$here/recipes/check_vcpkg.cmake" >"$work/log" || fail "the vcpkg port: $(cat "$work/log")"
  # The port's own folder of packages.
  if [ -n "$(find "$root/dist" -name 'KyvMath-*-win32.zip' 2>/dev/null)" ]; then
    cmake -DPORT_DIR="$root/bindings/vcpkg/kyvmath" -DSYSTEM=windows -DBUILT="$1" -DOUT="$work/windows" \
      -P "$here/recipes/check_vcpkg.cmake" >"$work/log" || fail "the vcpkg port: $(cat "$work/log")"
  fi
  "$here/recipes/check_conan.py" "$1" || fail "the Conan recipe"
}

case $binding in
  python) check_python ;;
  dotnet) check_dotnet ;;
  pascal) check_pascal ;;
  recipes) check_recipes "$4" ;;
  *) fail "no such binding" ;;
esac
say "all well"
