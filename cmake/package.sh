#!/bin/sh
# ./dev package [--check] [linux|win32|win64 ...]: builds the packages into dist/ (or $KYVMATH_DIST). Two runs over the
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

build_deb() { # stage
  tree=$work/deb
  rm -rf "$tree"
  mkdir -p "$tree/DEBIAN"
  cp -a "$1" "$tree/usr"
  mkdir -p "$tree/usr/share/doc/KyvMath"
  mv "$tree/usr/examples" "$tree/usr/share/doc/KyvMath/examples"
  rm "$tree/usr/README.md" # describes the folder of an unpacked archive
  depends="libc6 (>= 2.35)"
  [ ! -e "$tree/usr/bin/kyvmath" ] || depends="$depends, libstdc++6, libpng16-16, libjpeg62-turbo, libtiff6, libexif12, zlib1g"
  cat >"$tree/DEBIAN/control" <<CONTROL
Package: kyvmath
Version: $version
Architecture: amd64
Section: libs
Priority: optional
Maintainer: The KyvMath developers <kyvmath@localhost>
Depends: $depends
Description: numeric image operations
 Resizing of 8-bit and 16-bit images, and conversion between point-spread
 functions and optical transfer functions. Library, headers and tools.
CONTROL
  echo "activate-noawait ldconfig" >"$tree/DEBIAN/triggers"
  find "$tree" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  dpkg-deb --root-owner-group -Zgzip --build "$tree" "$dist/kyvmath_${version}_amd64.deb" >/dev/null
}

work=$root/build/package
mkdir -p "$work" "$dist"
stages=""
for platform in "$@"; do
  case $platform in
    linux) name=KyvMath-$version-linux-x86_64 suffix=tar.gz tools="" notices="libstdc++6 libgcc-s1" ;;
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
  if [ "$platform" = linux ] && command -v dpkg-deb >/dev/null; then build_deb "$stage"; fi
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
