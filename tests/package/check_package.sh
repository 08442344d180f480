#!/bin/sh
# check_package.sh <folder of packages> linux|linux-arm64|win32|win64: unpacks a package in an empty folder and follows the
# README of every example to the letter; then links clients in the other ways that the package offers.
# Windows programs run under Wine.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
dist=$(cd "$1" && pwd)
platform=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CMAKE_GENERATOR=Ninja  # make may be missing

say() { printf '%s: %s\n' "$platform" "$*"; }
fail() {
  say "FAILED: $*" >&2
  exit 1
}

# Prints the fenced blocks of a file whose opening line is exactly the given one.
blocks() { awk -v open="\`\`\`$2" '$0 == open {inside = 1; next} /^```/ {inside = 0} inside' "$1"; }

unpack() {
  set -- "$dist"/KyvMath-*-"$1".tar.gz "$dist"/KyvMath-*-"$1".zip
  for archive in "$@"; do
    case $archive in
      *'*'* | *-debug.*) ;;
      *.zip) (cd "$work" && python3 -c 'import sys, zipfile; zipfile.ZipFile(sys.argv[1]).extractall()' "$archive") ;;
      *) tar -C "$work" -xzf "$archive" ;;
    esac
  done
  cd "$work"/KyvMath-*/
  package=$PWD
}

# No file may tell where it was built.
check_no_paths() {
  # shellcheck disable=SC2046
  if grep -rlF "$root" "$package"; then fail "the files above hold a path of the building machine"; fi
}

# Every link of the package's own documents leads to a file of the package.
check_links() {
  python3 -B "$root/tests/package/check_documents.py" --links "$package" ||
    fail "a link of the package leads nowhere"
}

follow_readme() { # example, kind of block
  blocks "$package/examples/$1/README.md" "$2" >"$work/commands"
  [ -s "$work/commands" ] || fail "examples/$1/README.md has no block '$2'"
  # A copy, so that one reader's build folder does not help the next.
  (cd "$package/examples/$1" && PATH=$work/tools:$PATH sh -eux "$work/commands") >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "examples/$1, the commands marked '$2'"
  }
  say "examples/$1 ($2) works"
}

check_sums() { (cd "$dist" && sha256sum --quiet -c SHA256SUMS) || fail "checksums"; }

check_linux() {
  unpack linux-x86_64
  check_no_paths
  check_links
  exports=$(nm -D --defined-only lib/libKyvMath.so | awk '$2 == "T"' | wc -l)
  [ "$exports" -eq 8 ] || fail "$exports exports"
  # What the package's README and the .deb state.
  newest=$(objdump -T lib/libKyvMath.so bin/* | grep -o 'GLIBC_2\.[0-9]*' | sort -Vu | tail -n 1)
  [ "$(printf 'GLIBC_2.35\n%s\n' "$newest" | sort -V | tail -n 1)" = GLIBC_2.35 ] || fail "needs $newest"
  follow_readme c "sh linux"
  follow_readme cpp "sh linux"
  "$root/tests/bindings/check.sh" python "$dist" "$package"
  "$root/tests/bindings/check.sh" dotnet "$dist" "$package"
  "$root/tests/bindings/check.sh" pascal "$dist" "$package"
  "$root/tests/bindings/check.sh" recipes "$dist" "$package" "$root/build/package/linux"
  check_debs
  check_other_compiler
  check_static_target
  check_wrong_version
}

# Clients of the ARM package, cross-compiled and run under the emulator that also runs the tests.
check_linux_arm64() {
  toolchain=$root/cmake/toolchains/linux-arm64.cmake
  libraries=$("$root/cmake/arm64-sysroot.sh")/usr/lib/aarch64-linux-gnu
  emulated="qemu-aarch64 -cpu cortex-a53 -L /usr/aarch64-linux-gnu -E LD_LIBRARY_PATH=$libraries"
  unpack linux-aarch64
  check_no_paths
  check_links
  exports=$(aarch64-linux-gnu-nm -D --defined-only lib/libKyvMath.so | awk '$2 == "T"' | wc -l)
  [ "$exports" -eq 8 ] || fail "$exports exports"
  newest=$(aarch64-linux-gnu-objdump -T lib/libKyvMath.so bin/* | grep -o 'GLIBC_2\.[0-9]*' | sort -Vu | tail -n 1)
  [ "$(printf 'GLIBC_2.35\n%s\n' "$newest" | sort -V | tail -n 1)" = GLIBC_2.35 ] || fail "needs $newest"
  for example in c cpp; do
    { cmake -S "examples/$example" -B "$work/$example" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
      -DKyvMath_DIR="$package/lib/cmake/KyvMath" && cmake --build "$work/$example"; } >"$work/log" 2>&1 || {
      cat "$work/log" >&2
      fail "examples/$example"
    }
  done
  clang --target=aarch64-linux-gnu -Iinclude examples/c/link.c lib/libKyvMath.a -lstdc++ -lm -pthread -o "$work/static"
  for client in "$work/c/link" "$work/c/load_at_run_time lib/libKyvMath.so" "$work/cpp/tiles" "$work/cpp/threads" \
    "$work/static" "bin/kyvmath info"; do
    # shellcheck disable=SC2086
    $emulated $client >"$work/log" || fail "$client: exit code $?"
    say "$(basename "${client%% *}") works"
  done
  grep -q "$package/lib/libKyvMath.so" "$work/log" || fail "the packaged kyvmath finds another library"
  $emulated bin/kyvmath resize "$root/tools/demo/photograph.jpg" "$work/small.png" --fit 64x64 >/dev/null ||
    fail "kyvmath resize"
}

# The three Debian packages, unpacked over each other as they would be installed; their paths are given by variables,
# where an installed one needs none.
check_debs() {
  command -v dpkg-deb >/dev/null || return 0
  for deb in "$dist"/libkyvmath1_*.deb "$dist"/libkyvmath-dev_*.deb "$dist"/kyvmath_*.deb; do
    dpkg-deb -x "$deb" "$work/deb"
  done
  usr=$work/deb/usr
  lib=$usr/lib/x86_64-linux-gnu
  for file in libKyvMath.a libKyvMath.so libKyvMath.so.1; do
    cmp "$package/lib/$file" "$lib/$file" || fail "the Debian packages differ from the archive"
  done
  for example in c cpp; do
    cp -r "$usr/share/doc/libkyvmath-dev/examples/$example" "$work/deb-$example"
    blocks "$work/deb-$example/README.md" "sh debian" >"$work/commands"
    [ -s "$work/commands" ] || fail "examples/$example/README.md has no block 'sh debian'"
    (cd "$work/deb-$example" && env CPATH="$usr/include" LIBRARY_PATH="$lib" LD_LIBRARY_PATH="$lib" \
      CMAKE_PREFIX_PATH="$usr" PKG_CONFIG_PATH="$lib/pkgconfig" sh -eux "$work/commands") >"$work/log" 2>&1 || {
      cat "$work/log" >&2
      fail "the Debian packages, examples/$example"
    }
  done
  LD_LIBRARY_PATH=$lib "$usr/bin/kyvmath" info | grep -q "$lib" || fail "the packaged kyvmath finds another library"
  say "the Debian packages work, with their examples"
}

check_other_compiler() {
  command -v clang >/dev/null || return 0
  (cd examples/c && clang -I../../include link.c -L../../lib -Wl,-rpath,"$package/lib" -lKyvMath -lm -o other && ./other) \
    >/dev/null || fail "clang client"
  say "a client built by clang works"
}

# A project of C alone, linked with the static library, in a folder that was moved after unpacking.
check_static_target() {
  mv "$package" "$work/moved to another place"
  package="$work/moved to another place"
  mkdir "$work/static"
  cp "$package/examples/c/link.c" "$work/static"
  cat >"$work/static/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.16)
project(static_client LANGUAGES C)
find_package(KyvMath 1.0 REQUIRED)
add_executable(client link.c)
target_link_libraries(client PRIVATE KyvMath::KyvMathStatic)
CMAKE
  { cmake -S "$work/static" -B "$work/static/build" -DCMAKE_PREFIX_PATH="$package" &&
    cmake --build "$work/static/build" && "$work/static/build/client"; } >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "client of KyvMath::KyvMathStatic in a moved folder"
  }
  say "a client of KyvMath::KyvMathStatic works from a moved folder"
}

check_wrong_version() {
  sed -i 's/find_package(KyvMath 1.0/find_package(KyvMath 2.0/' "$work/static/CMakeLists.txt"
  if cmake -S "$work/static" -B "$work/static/build2" -DCMAKE_PREFIX_PATH="$package" >/dev/null 2>&1; then
    fail "version 1 was taken for version 2"
  fi
}

# Puts commands into $work/tools that let the README's Windows lines run here: the programs through Wine.
make_windows_tools() { # triple
  mkdir -p "$work/tools"
  for tool in gcc g++; do
    printf '#!/bin/sh\nexec %s-%s-win32 "$@"\n' "$1" "$tool" >"$work/tools/$1-$tool"
  done
  chmod +x "$work"/tools/*
}

run_exe() { "$root/cmake/wine-run.sh" "${KYVMATH_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/wine}" "$@"; }

# The README's lines for Windows, for this package's bitness and with programs started through Wine.
follow_windows_readme() { # example, triple, kind of block
  blocks "$package/examples/$1/README.md" "$3" |
    sed -e "s/i686-w64-mingw32/$2/" -e 's|^\./\(.*\.exe\)|run_exe \1|' >"$work/commands"
  (
    cd "$package/examples/$1"
    PATH=$work/tools:$PATH
    set -eux
    . "$work/commands"
  ) >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "examples/$1, the commands marked '$3'"
  }
  say "examples/$1 ($3) works"
}

check_windows() { # triple, MSVC target, machine of the linker, processor
  unpack "$platform"
  check_no_paths
  # The name pointers are the eight; imports are the system's own.
  "$1-objdump" -p bin/KyvMath.dll >"$work/dump"
  [ "$(grep -c 'KyvMath[A-Z][A-Za-z_]*$' "$work/dump")" -eq 8 ] || fail "not eight exports"
  others=$(sed -n 's/.*DLL Name: //p' "$work/dump" | grep -viE '^(kernel32|msvcrt)\.dll$' || true)
  [ -z "$others" ] || fail "imports $others"
  make_windows_tools "$1"
  follow_windows_readme c "$1" "sh windows"
  follow_windows_readme cpp "$1" "sh windows"
  if command -v "$1-g++-posix" >/dev/null; then
    follow_windows_readme cpp "$1" "sh windows posix"
  else
    say "examples/cpp/threads.cpp: not compiled, there is no $1-g++-posix here"
  fi
  "$root/tests/bindings/check_pascal_windows.sh" "$package" "$4" || [ $? -eq 77 ] || fail "Pascal"
  check_document_programs "$1"
  check_cmake_cross "$1"
  check_msvc_library "$1" "$2" "$3"
}

# The two Windows programs of the documents: one prints the version of the DLL beside it, the other shows what
# any process writes to the debugger output.
check_document_programs() { # triple
  mkdir -p "$work/programs"
  cp bin/KyvMath.dll "$work/programs"
  blocks share/doc/KyvMath/docs/ABI.md "c windows" >"$work/programs/version.c"
  blocks share/doc/KyvMath/docs/GUIDE.md "c windows" >"$work/programs/viewer.c"
  printf '#include <windows.h>\nint main(void) { OutputDebugStringA("a line\\n"); return 0; }\n' \
    >"$work/programs/writer.c"
  for program in version viewer writer; do
    "$1-gcc-win32" "$work/programs/$program.c" -o "$work/programs/$program.exe"
  done
  cd "$work/programs"
  version=$(sed -n 's/^Version: //p' "$package/lib/pkgconfig/KyvMath.pc")
  [ "$(run_exe version.exe | tr -d '\r')" = "$version" ] || fail "the version program of ABI.md"
  run_exe viewer.exe >viewed &
  sleep 4
  run_exe writer.exe
  wait $!
  grep -q ': a line' viewed || fail "the viewer of GUIDE.md"
  cd "$package"
  say "the programs of the documents work"
}

check_cmake_cross() {
  { cmake -S examples/cpp -B "$work/cross" -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_C_COMPILER="$1-gcc-win32" \
    -DCMAKE_CXX_COMPILER="$1-g++-win32" -DCMAKE_EXE_LINKER_FLAGS=-static -DCMAKE_PREFIX_PATH="$package" &&
    cmake --build "$work/cross" && cp bin/KyvMath.dll "$work/cross" && cd "$work/cross" && run_exe tiles.exe
  } >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "find_package with MinGW"
  }
  cd "$package"
  say "find_package with MinGW works"
}

# The MSVC-format import library: compiled for that ABI and linked by an MSVC-style linker, without any C run-time
# (none is here), and once more by the MinGW linker.
check_msvc_library() {
  if command -v clang >/dev/null && command -v lld-link >/dev/null; then
    clang --target="$2" -O1 -ffreestanding -I include -c "$root/tests/package/bare_client.c" -o "$work/bare.obj"
    lld-link /nologo /machine:"$3" /subsystem:console /entry:entry /nodefaultlib \
      "$work/bare.obj" lib/KyvMath.lib /out:"$work/bare.exe"
    cp bin/KyvMath.dll "$work"
    (cd "$work" && run_exe bare.exe) || fail "client linked by lld-link with KyvMath.lib: exit code $?"
    say "a client linked by lld-link with KyvMath.lib works"
  else
    say "no clang and lld-link here: KyvMath.lib tried with the MinGW linker alone"
  fi
  mkdir -p "$work/msvc"
  "$1-gcc-win32" -I include examples/c/link.c lib/KyvMath.lib -o "$work/msvc/client.exe"
  cp bin/KyvMath.dll "$work/msvc"
  (cd "$work/msvc" && run_exe client.exe >/dev/null) || fail "MinGW client of KyvMath.lib"
  say "a MinGW client of KyvMath.lib works"
}

check_sums
case $platform in
  linux) check_linux ;;
  linux-arm64) check_linux_arm64 ;;
  win32) check_windows i686-w64-mingw32 i686-pc-windows-msvc x86 i386 ;;
  win64) check_windows x86_64-w64-mingw32 x86_64-pc-windows-msvc x64 x86_64 ;;
  *) fail "unknown platform" ;;
esac
say "all well"
