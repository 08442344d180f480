#!/bin/sh
# ./dev package [--check] [linux|linux-arm64|win32|win64 ...]: builds the packages into dist/ (or $KYVMATH_DIST). Two runs over the
# same sources with the same tools give the same bytes, wherever the sources lie. --check then unpacks them and
# runs every example, as a new user would.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
dist=${KYVMATH_DIST:-$root/dist}
jobs=${KYVMATH_JOBS:-2}
version=$(sed -n 's/^project(KyvMath VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

check=no
if [ "${1:-}" = --check ]; then
  check=yes
  shift
fi
[ $# -gt 0 ] || set -- linux win32 win64

# Times in archives: the last commit's, as everywhere that this variable is honoured.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || echo 315532800)}
export SOURCE_DATE_EPOCH TZ=UTC LC_ALL=C
umask 022

build_and_install() { # preset, stage
  build=build/package/$1
  [ "$1" != linux-arm64 ] || cmake/arm64-sysroot.sh >/dev/null
  # The symbols are taken out again below. The prefix map makes them the same from every folder.
  flags="-O3 -DNDEBUG -g1 -ffile-prefix-map=$root/$build=. -ffile-prefix-map=$root=."
  cmake --preset "$1" -B "$build" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_C_FLAGS_RELEASE="$flags" -DCMAKE_CXX_FLAGS_RELEASE="$flags" \
    -DKYVMATH_BUILD_TESTS=OFF -DKYVMATH_BUILD_BENCHMARKS=OFF >/dev/null
  cmake --build "$build" -j "$jobs" --target KyvMath KyvMathStatic kyvmath >"$build/build.log" || {
    cat "$build/build.log" >&2
    exit 1
  }
  rm -rf "$2"
  cmake --install "$build" --prefix "$2" >/dev/null
}

split_debug() { # stage, folder of the symbols, prefix of the tools
  mkdir -p "$2"
  for binary in "$1"/bin/* "$1"/lib/*.so.*.*; do
    if [ ! -f "$binary" ] || [ -L "$binary" ]; then continue; fi
    kept=$(basename "$binary").debug
    "$3"objcopy --only-keep-debug "$binary" "$2/$kept"
    chmod 644 "$2/$kept"
    "$3"strip --strip-unneeded --preserve-dates "$binary"
    (cd "$2" && "$3"objcopy --add-gnu-debuglink="$kept" "$binary")
  done
  static=$1/lib/libKyvMath.a
  [ ! -f "$static" ] || "$3"strip --strip-debug --enable-deterministic-archives "$static"
}

add_notices() { # stage, package names...
  target=$1/share/doc/KyvMath/third-party
  shift
  mkdir -p "$target"
  for package in "$@"; do
    [ ! -e "/usr/share/doc/$package/copyright" ] || cp -L "/usr/share/doc/$package/copyright" "$target/$package.txt"
  done
}

# Three Debian packages, split as Debian does: programs need the library alone, and two versions of it can be installed
# at once. The library lies in the multiarch folder.
build_debs() { # stage
  stage_of_debs=$1
  lib=usr/lib/x86_64-linux-gnu
  rm -rf "$work/deb"
  runtime=$work/deb/libkyvmath1
  mkdir -p "$runtime/$lib"
  cp -a "$1"/lib/*.so.* "$runtime/$lib"
  finish_deb libkyvmath1 libs "libc6 (>= 2.35)" "numeric image operations (library)"

  development=$work/deb/libkyvmath-dev
  mkdir -p "$development/$lib" "$development/usr/share/doc/libkyvmath-dev"
  cp -a "$1/include" "$development/usr"
  cp -a "$1"/lib/*.so "$1"/lib/*.a "$1/lib/cmake" "$1/lib/pkgconfig" "$development/$lib"
  # One folder further from the headers than in an archive.
  sed -i 's|^prefix=.*|prefix=${pcfiledir}/../../../..|' "$development/$lib/pkgconfig/KyvMath.pc"
  cp -a "$1"/share/doc/KyvMath/. "$1/examples" "$development/usr/share/doc/libkyvmath-dev"
  finish_deb libkyvmath-dev libdevel "libkyvmath1 (= $version), libstdc++-12-dev" "numeric image operations (development)"

  if [ -e "$1/bin/kyvmath" ]; then
    mkdir -p "$work/deb/kyvmath/usr/share"
    cp -a "$1/bin" "$work/deb/kyvmath/usr"
    cp -a "$1/share/man" "$1/share/bash-completion" "$work/deb/kyvmath/usr/share"
    finish_deb kyvmath graphics "libkyvmath1 (>= $version), $(libraries_of "$1/bin/kyvmath")" \
      "numeric image operations (command line)"
  fi
}

# The packages of the libraries that a program loads; libstdc++ brings the lower ones.
libraries_of() { # program
  for name in $(objdump -p "$1" | sed -n 's/^  NEEDED  *//p'); do
    path=$(readlink -f "$(ldd "$1" | awk -v name="$name" '$1 == name { print $3 }')")
    # Some packages still list /lib, which is /usr/lib.
    dpkg-query -S "$path" 2>/dev/null || dpkg-query -S "${path#/usr}" 2>/dev/null || true
  done | sed 's/:.*//' | sort -u | paste -s -d , - | sed 's/,/, /g'
}

finish_deb() { # name, section, depends, title
  tree=$work/deb/$1
  mkdir -p "$tree/DEBIAN" "$tree/usr/share/doc/$1"
  cp "$stage_of_debs/share/doc/KyvMath/NOTICES.md" "$tree/usr/share/doc/$1/copyright"
  cat >"$tree/DEBIAN/control" <<CONTROL
Package: $1
Version: $version
Architecture: amd64
Section: $2
Priority: optional
Maintainer: The KyvMath developers <kyvmath@localhost>
Depends: $3
Description: $4
 Resizing of 8-bit and 16-bit images, and conversion between point-spread
 functions and optical transfer functions.
CONTROL
  if [ "$1" = libkyvmath1 ]; then
    echo "activate-noawait ldconfig" >"$tree/DEBIAN/triggers"
    echo "libKyvMath 1 libkyvmath1 (>= $version)" >"$tree/DEBIAN/shlibs"
  fi
  find "$tree" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  dpkg-deb --root-owner-group -Zgzip --build "$tree" "$dist/$1_${version}_amd64.deb" >/dev/null
}

work=$root/build/package
mkdir -p "$work" "$dist"
stages=""
for platform in "$@"; do
  case $platform in
    linux) name=KyvMath-$version-linux-x86_64 suffix=tar.gz tools="" notices="libstdc++6 libgcc-s1" ;;
    linux-arm64) name=KyvMath-$version-linux-aarch64 suffix=tar.gz tools=aarch64-linux-gnu- notices="libstdc++6 libgcc-s1" ;;
    win32) name=KyvMath-$version-win32 suffix=zip tools=i686-w64-mingw32- notices="gcc-mingw-w64-base mingw-w64-i686-dev" ;;
    win64) name=KyvMath-$version-win64 suffix=zip tools=x86_64-w64-mingw32- notices="gcc-mingw-w64-base mingw-w64-x86-64-dev" ;;
    *) echo "package.sh: no package for '$platform'" >&2; exit 2 ;;
  esac
  stage=$work/stage/$name
  symbols=$work/stage/$name-debug
  rm -rf "$symbols"
  build_and_install "$platform" "$stage"
  split_debug "$stage" "$symbols" "$tools"
  # shellcheck disable=SC2086
  add_notices "$stage" $notices libcli11-dev nlohmann-json3-dev
  cmake/package/archive.py "$stage" "$dist/$name.$suffix" "$SOURCE_DATE_EPOCH"
  cmake/package/archive.py "$symbols" "$dist/$name-debug.$suffix" "$SOURCE_DATE_EPOCH"
  if [ "$platform" = linux ] && command -v dpkg-deb >/dev/null; then build_debs "$stage"; fi
  stages="$stages $platform=$stage"
done
# shellcheck disable=SC2086
bindings/package.sh "$dist" $stages
cd "$dist"
find . -maxdepth 1 -type f ! -name SHA256SUMS | sort | sed 's|^\./||' | xargs sha256sum -- >SHA256SUMS
cat SHA256SUMS
cd "$root"

if [ "$check" = yes ]; then
  for platform in "$@"; do tests/package/check_package.sh "$dist" "$platform"; done
fi
