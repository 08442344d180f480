#!/bin/sh
# check_page.sh FOLDER SAMPLES HOST: the demonstration's page, made from the project's photograph and from pictures as
# people have them, is whole; where Chromium is installed it also opens there, and a screenshot is left in the folder.
# 77: no font to draw the chart with.
set -eu
out=$1
samples=$2
host=$3
show=$(cd "$(dirname "$0")/../.." && pwd)/tools/demo/show.sh

[ -r /usr/share/fonts/truetype/dejavu/DejaVuSans.ttf ] || { echo "skipped: no fonts-dejavu-core" && exit 77; }
rm -rf "$out"
mkdir -p "$out"
cd "$out"

fail() {
  printf 'FAILED: %s\n' "$*" >&2
  exit 1
}

make_page() { # folder, picture
  "$show" "$1" "$2" "$samples" "$host" >"$1.log" 2>&1 || { cat "$1.log" >&2 && fail "the page of ${2:-the photograph}"; }
  ! grep -n '@[A-Z]*@' "$1/index.html" || fail "$1: a blank was not filled in"
  for picture in $(grep -o 'src="[^"]*"' "$1/index.html" | cut -d '"' -f 2); do
    [ -s "$1/$picture" ] || fail "$1: no $picture"
  done
  open_page "$1"
}

open_page() { # folder
  browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) || return 0
  set -- "$1" --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --hide-scrollbars \
    --user-data-dir="$out/profile" --virtual-time-budget=8000 --window-size=1280,4200
  folder=$1
  shift
  "$browser" "$@" --dump-dom "file://$out/$folder/index.html" >"$folder.html" 2>"$folder.browser.log" ||
    fail "$folder: the browser gave up, see $out/$folder.browser.log"
  grep -q 'data-missing="0"' "$folder.html" || fail "$folder: the browser misses pictures"
  "$browser" "$@" --screenshot="$out/$folder.png" "file://$out/$folder/index.html" >>"$folder.browser.log" 2>&1
  [ -s "$folder.png" ] || fail "$folder: no screenshot"
}

make_page photograph ""
"$host" resize photograph/parts/badge.png "tiny & <odd>.png" --size 3x2 >/dev/null
make_page tiny "$out/tiny & <odd>.png"
make_page deep "$out/photograph/parts/star-psf.tif" # 16 bits
if "$show" nothing "$out/absent.png" "$samples" "$host" >nothing.log 2>&1; then fail "a missing picture is accepted"; fi
grep -q 'absent.png' nothing.log || fail "a missing picture is not named"
