#!/bin/sh
# check_pascal_windows.sh <unpacked package for Windows> i386|x86_64: compiles Pascal's probe and example for Windows,
# runs them under Wine with the package's DLL, and compares their numbers with the C interface's. Exit code 77: a
# tool is missing.
#
# Free Pascal's compilers serve every system of their processor, but Debian packages no units for Windows: those that
# the programs use are compiled here, from fpc-source. That package, and the i386 compiler, are unpacked in a temporary
# folder and not installed: the second would change what `fpc` means.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
package=$(cd "$1" && pwd)
cpu=$2
work=$(mktemp -d)
chmod 755 "$work"
trap 'rm -rf "$work"' EXIT

skip() {
  echo "pascal for Windows on $cpu: not tested: $*"
  exit 77
}

unpack() { # package
  (cd "$work" && apt-get download -q "$1" >/dev/null 2>&1 && dpkg -x ./*.deb "$work/debian" && rm ./*.deb) ||
    skip "$1 cannot be had"
}

run_exe() { "$root/cmake/wine-run.sh" "${KYVMATH_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/wine}" "$@"; }

command -v fpc >/dev/null || skip "needs fp-compiler"
version=$(fpc -iV)
case $cpu in
  i386)
    system=win32 triple=i686-w64-mingw32
    unpack "fp-compiler-$version:i386"
    compiler=$(echo "$work"/debian/usr/lib/*/fpc/"$version"/ppc386)
    ;;
  *)
    system=win64 triple=x86_64-w64-mingw32
    compiler=$(echo /usr/lib/*/fpc/"$version"/ppcx64)
    ;;
esac
sources=/usr/share/fpcsrc/$version/rtl
if [ ! -d "$sources" ]; then
  unpack "fpc-source-$version"
  sources=$work/debian$sources
fi

mkdir "$work/units" "$work/programs"
flags="-n -T$system -FU$work/units -v0 -ve -O2"
for folder in $system win inc $cpu objpas objpas/sysutils objpas/classes; do
  flags="$flags -Fi$sources/$folder -Fu$sources/$folder"
done
flags="$flags -Fi$sources/win/wininc -Fi$sources/charmaps"
compile() {
  # shellcheck disable=SC2086
  "$compiler" $flags "$@" >"$work/log" || {
    cat "$work/log" >&2
    exit 1
  }
}
compile -Us -Sg "$sources/$system/system.pp"
compile "$sources/objpas/objpas.pp"
[ $system = win64 ] || compile "$sources/win32/sysinitpas.pp"
compile -Fu"$package/include" -FE"$work/programs" "$here/pascal/Probe.pas"
compile -Fu"$package/include" -FE"$work/programs" "$root/examples/pascal/Resize.pas"

"$triple-g++-win32" -std=c++17 -static -I"$package/include" "$here/probe.cpp" -L"$package/lib" -lKyvMath \
  -o "$work/programs/expected.exe"
cp "$package/bin/KyvMath.dll" "$work/programs"
cd "$work/programs"
run_exe expected.exe | tr -d '\r' >expected
run_exe Probe.exe | tr -d '\r' >lines
[ -s lines ] && cmp expected lines || {
  echo "pascal for Windows on $cpu: other numbers than those of the C interface" >&2
  exit 1
}
run_exe Resize.exe | grep -q 'half of the contrast'
echo "pascal for Windows on $cpu: the probe and the example work"
