#!/bin/sh
# show.sh FOLDER PICTURE SAMPLES HOST...: lets the command-line host (the words of HOST) work on PICTURE, or on the
# project's photograph when that is empty, and lays out what it made as FOLDER/index.html. SAMPLES is kyvmath-samples.
set -eu
out=$1
picture=$2
samples=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
parts=$out/parts
report=$parts/report.txt

fail() {
  printf 'demo: %s\n' "$*" >&2
  exit 1
}

[ -r "$font" ] || fail "no font at $font (Debian: fonts-dejavu-core)"
mkdir -p "$parts"
rm -f "$out"/*.png "$out"/*.svg "$out"/*.html "$parts"/*
"$samples" draw "$font" "$parts" >"$parts/samples.log"

# A command of the host; its answer goes to the report that the page ends with.
host_words=$*
host() {
  # The words are a program, and under Wine a script and its prefix; none of the folders may have blanks.
  # shellcheck disable=SC2086
  $host_words "$@" >"$parts/answer" || fail "failed: kyvmath $*"
  printf 'kyvmath %s\n' "$*" | sed "s|$parts/||g; s|$out/||g" >>"$report"
  case " $* " in
    *' --json '*) ;;
    *) tr -d '\r' <"$parts/answer" | sed 's/^.* -> [^ ]*  /    /' >>"$report" ;;
  esac
}

# resize to FILE.tif with these options; prints the milliseconds that the library took
timed_resize() { # from, file, options...
  from=$1
  file=$2
  shift 2
  host resize "$from" "$file.tif" "$@" --json
  sed -n 's/.*"library_seconds": \([0-9.e+-]*\).*/\1/p' "$parts/answer" | awk '{ printf "%.2f ms\n", $1 * 1000 }' \
    >"$parts/milliseconds"
  sed 's/^/    in the library: /' "$parts/milliseconds" >>"$report"
  cat "$parts/milliseconds"
}

show() { # file, times: a copy for the page, as PNG of 8 bits
  "$samples" view "$parts/$1.tif" "$out/$1.png" "${2:-1}"
}

smaller_of() { if [ "$1" -lt "$2" ]; then echo "$1"; else echo "$2"; fi; }

# X,Y,W,H in the middle, at most this wide and high.
middle_of() { # width, height, largest width, largest height
  w=$(smaller_of "$1" "$3")
  h=$(smaller_of "$2" "$4")
  echo "$((($1 - w) / 2)),$((($2 - h) / 2)),$w,$h"
}

size_of() {
  # shellcheck disable=SC2086
  $host_words info "$1" >"$parts/answer" || fail "failed: kyvmath info $1"
  tr -d '\r' <"$parts/answer" | sed -n 's/.*  \([0-9][0-9]*\)x\([0-9][0-9]*\)  .*/\1 \2/p' | head -n 1
}

caption="a photograph (public domain, from Debian's python3-scipy)"
detail=512,240,240,180
close=540,268,96,72
if [ -z "$picture" ]; then
  picture=$here/photograph.jpg
else
  caption=$(basename "$picture" | sed 's/&/\&amp;/g; s/</\&lt;/g')
  detail=""
  close=""
fi

printf 'working on %s\n' "$(basename "$picture")"
: >"$report"
size=$(size_of "$picture")
[ -n "$size" ] || fail "$picture: its size is not known"
# Deblurring and the close-up are shown on a part that fits a screen.
host resize "$picture" "$parts/view.tif" --region "$(middle_of ${size% *} ${size#* } 1024 768)" --scale 1
size=$(size_of "$parts/view.tif")
width=${size% *}
height=${size#* }
detail=${detail:-$(middle_of "$width" "$height" 240 180)}
close=${close:-$(middle_of "$width" "$height" 96 72)}
show view

set --
for mode in nearest linear cubic lanczos super; do
  chart=$(timed_resize "$parts/chart.png" "$parts/chart-$mode" --scale 40% --mode $mode)
  small=$(timed_resize "$parts/view.tif" "$parts/small-$mode" --scale 37.5% --mode $mode)
  set -- "$@" "$parts/chart-$mode.tif" "$mode: the chart at 40 %, $chart" \
    "$parts/small-$mode.tif" "$mode: 37.5 %, $small"
  if [ $mode = super ]; then
    set -- "$@" - "(super-sampling only reduces)"
  else
    large=$(timed_resize "$parts/view.tif" "$parts/close-$mode" --region "$close" --scale 4 --mode $mode)
    set -- "$@" "$parts/close-$mode.tif" "$mode: a part four times as large, $large"
  fi
done
"$samples" sheet "$font" "$out/contact-sheet.png" "Every mode, and the milliseconds that the library took" 3 "$@" \
  >>"$parts/samples.log"
for mode in nearest lanczos; do
  host resize "$parts/view.tif" "$parts/large-$mode.tif" --region "$detail" --scale 4 --mode $mode
  show large-$mode
done

host blur "$parts/view.tif" "$parts/blurred.tif" --motion 9,20
host deblur "$parts/blurred.tif" "$parts/deblurred.tif" --motion 9,20 --snr 300
host blur "$parts/star-field.png" "$parts/stars-blurred.tif" --psf "$parts/star-psf.tif"
host deblur "$parts/stars-blurred.tif" "$parts/stars-deblurred.tif" --psf "$parts/star-psf.tif" --snr 1000
for name in blurred deblurred stars-blurred stars-deblurred; do show $name; done
host otf "$parts/star-psf.tif" "$parts/star"
show star-psf 6
"$samples" view "$parts/star-magnitude.png" "$out/star-otf.png" 6
cp "$parts/star-mtf.svg" "$out/"

host resize "$parts/badge.png" "$out/badge-plain.png" --scale 8
host resize "$parts/badge.png" "$out/badge-premultiplied.png" --scale 8 --premultiply

host info
library=$(sed -n 's/^\(library\|version\|instruction sets\)  *//p' "$parts/answer" | tr -d '\r' | paste -s -d ';' - | sed 's/;/; /g')
escaped() { sed 's/&/\&amp;/g; s/</\&lt;/g' "$1"; }
escaped "$report" >"$parts/report.html"
sed -e "s|@WHAT@|$(printf '%s' "$caption" | sed 's/[&|\\]/\\&/g')|; s|@LIBRARY@|$(printf '%s' "$library" | sed 's/[&|\\]/\\&/g')|" \
  -e "/@REPORT@/{
r $parts/report.html
d
}" "$here/page.html" >"$out/index.html"

grep -c '^kyvmath' "$report" | sed 's/$/ calls of kyvmath; all of them, with times, at the end of the page/'
printf 'look at %s/index.html\n' "$out"
