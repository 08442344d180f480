#!/bin/sh
# ./dev demo [win32] [PICTURE]: the library and its command-line host at work, on pictures that the project draws
# itself or on one of yours; with win32 the 32-bit Windows ones, under Wine. Leaves everything in demo/.
set -eu
cd "$(dirname "$0")/.."

preset=linux
if [ "${1:-}" = win32 ]; then
  preset=win32
  shift
fi
picture=${1:-}
out=demo
jobs=$(getconf _NPROCESSORS_ONLN 2>/dev/null || echo 2)
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
tree=build/demo
samples=$tree/linux/bin/kyvmath-samples
log=build/logs/demo.log
prefix=${KYVMATH_WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/wine}

fail() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

# The host and what it loads; neither tests nor benchmarks.
build() {
  target_preset=$1
  shift
  printf 'building %s (%s)\n' "$*" "$target_preset"
  {
    cmake --preset "$target_preset" -B "$tree/$target_preset" -DKYVMATH_BUILD_TESTS=OFF \
      -DKYVMATH_BUILD_BENCHMARKS=OFF && cmake --build "$tree/$target_preset" -j "$jobs" --target "$@"
  } >>"$log" 2>&1 || { tail -n 40 "$log" >&2; fail "the build failed; all of it is in $log"; }
}

# Through Wine the Windows host sees this system's files on drive Z:.
host() {
  case $preset in
    win32) cmake/wine-run.sh "$prefix" "$tree/win32/bin/kyvmath.exe" "$@" ;;
    *) "$tree/linux/bin/kyvmath" "$@" ;;
  esac || fail "failed: kyvmath $*"
}

# X,Y,W,H of the middle part of a picture, one nth of its sides.
middle_of() {
  size=$(host info "$1" | sed -n 's/.*  \([0-9]*x[0-9]*\)  .*/\1/p' | head -n 1)
  w=${size%x*}
  h=${size#*x}
  echo "$((w / 2 - w / (2 * $2))),$((h / 2 - h / (2 * $2))),$((w / $2 > 0 ? w / $2 : 1)),$((h / $2 > 0 ? h / $2 : 1))"
}

# One row of the table: what the host says it made, and the size of the file.
table() {
  while IFS= read -r line; do
    line=$(printf '%s' "${line#* -> }" | tr -d '\r')
    file=${line%%  *}
    seconds=${line##*  }
    what=${line#*  }
    what=${what%  *}
    printf '%-34s %10s bytes  %9s  %s\n' "$file" "$(wc -c <"$file")" "$seconds" "$what"
  done
}

mkdir -p build/logs "$out/samples" "$out/parts"
: >"$log"
rm -f "$out"/*.png "$out"/*.tif "$out"/*.svg "$out"/*.npy "$out"/parts/*
[ -z "$picture" ] || [ -r "$picture" ] || fail "$picture: no such file"
[ -r "$font" ] || fail "no font at $font (Debian: fonts-dejavu-core)"

build linux kyvmath-samples
build "$preset" KyvMath kyvmath
"$samples" draw "$font" "$out/samples" >>"$log"

small=$out/samples/scene-small.png
small_region=150,180,110,80
large_region=30,476,240,180
scene8=$out/samples/scene-8.png
scene16=$out/samples/scene-16.tif
if [ -n "$picture" ]; then
  # A copy that every later step can read whatever the picture's own format is.
  host resize "$picture" "$out/samples/yours.tif" --scale 1 >/dev/null
  host resize "$picture" "$out/samples/yours-small.tif" --fit 480x360 >/dev/null
  small=$out/samples/yours-small.tif
  scene8=$out/samples/yours.tif
  scene16=$out/samples/yours.tif
  small_region=$(middle_of "$small" 4)
  large_region=$(middle_of "$scene8" 4)
fi

printf '\nthe library that does the work\n'
host info | sed -n '1,4p'

printf '\nwhat it made\n'
{
  sheet_entries=""
  for mode in nearest linear cubic lanczos super; do
    if [ "$mode" != super ]; then
      host resize "$small" "$out/parts/enlarged-$mode.tif" --region "$small_region" --fit 330x240 --mode "$mode"
    fi
    host resize "$scene8" "$out/parts/reduced-$mode.tif" --fit 330x250 --mode "$mode"
  done
  host resize "$scene8" "$out/enlarged.png" --scale 150%
  host resize "$scene16" "$out/reduced-16bit.tif" --scale 37%
  host resize "$scene8" "$out/region.png" --region "$large_region" --fit 960x720 --mode lanczos
  host resize "$out/samples/badge.png" "$out/badge-plain.png" --scale 300%
  host resize "$out/samples/badge.png" "$out/badge-premultiplied.png" --scale 300% --premultiply

  host otf "$out/samples/star-psf.tif" "$out/star-otf"
  host psf "$out/star-otf.npy" "$out/star-psf-back.tif"
  host otf --airy 4 "$out/airy"
  host blur "$out/samples/star-field.tif" "$out/stars-blurred.tif" --psf "$out/samples/star-psf.tif"
  host deblur "$out/stars-blurred.tif" "$out/stars-deblurred.tif" --psf "$out/samples/star-psf.tif" --snr 1e5
  host blur "$small" "$out/blurred.png" --motion 9,20
  host deblur "$out/blurred.png" "$out/deblurred.png" --motion 9,20 --snr 3000
} >"$out/parts/report.txt"
table <"$out/parts/report.txt"

set --
for mode in nearest linear cubic lanczos super; do
  if [ "$mode" = super ]; then
    set -- "$@" "$out/parts/reduced-super.tif" "reduced: super"
  else
    set -- "$@" "$out/parts/enlarged-$mode.tif" "enlarged three times: $mode" \
      "$out/parts/reduced-$mode.tif" "reduced: $mode"
  fi
done
"$samples" sheet "$font" "$out/contact-sheet.png" "Every mode: enlargement and reduction" 4 "$@" >>"$log"
"$samples" sheet "$font" "$out/deblurring.png" "Through a PSF and back" 3 \
  "$small" "as drawn" "$out/blurred.png" "moved by 9 pixels at 20 degrees" "$out/deblurred.png" "deblurred" \
  "$out/samples/star-field.tif" "points of light" "$out/stars-blurred.tif" "seen through the star PSF" \
  "$out/stars-deblurred.tif" "deblurred" "$out/samples/star-psf.tif" "PSF (16 bits)" \
  "$out/star-otf-magnitude.png" "its OTF: magnitude, logarithmic" "$out/star-psf-back.tif" "and back" >>"$log"

printf '\nlook at demo/contact-sheet.png, demo/deblurring.png, demo/region.png, demo/star-otf-mtf.svg\n'
