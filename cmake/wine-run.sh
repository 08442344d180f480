#!/bin/sh
# wine-run.sh <prefix> <program> [arguments...]: runs a Windows program quietly and returns its exit code.
# The prefix is made on first use. The Wine server is started apart, and the program writes to a file:
# otherwise the server, which outlives the program, would hold on to our caller's pipes.
set -eu

WINEPREFIX=$1
shift
export WINEPREFIX
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
unset DISPLAY

wineserver=$(command -v wineserver || ls /usr/lib/wine/wineserver* 2>/dev/null | head -n 1)

if [ ! -e "$WINEPREFIX/.ready" ]; then
  mkdir -p "$WINEPREFIX"
  (
    flock 9
    if [ ! -e "$WINEPREFIX/.ready" ]; then
      wine wineboot -i </dev/null >/dev/null 2>&1
      "$wineserver" -w </dev/null >/dev/null 2>&1
      : >"$WINEPREFIX/.ready"
    fi
  ) 9>"$WINEPREFIX/.lock"
fi

"$wineserver" -p10 </dev/null >/dev/null 2>&1 || true

out=$(mktemp)
err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT
trap 'exit 130' INT TERM
# Wine sometimes fails to start a program at all and says so through its own launcher. Nothing of the
# program has run then, so it is started again; what the program itself reports is never repeated.
for attempt in 1 2 3; do
  code=0
  wine "$@" >"$out" 2>"$err" || code=$?
  [ "$code" -ne 0 ] && grep -q '^Application could not be started' "$out" "$err" || break
  echo "wine-run.sh: the program was not started (attempt $attempt)" >&2
  sleep 1
done
cat "$out"
cat "$err" >&2
exit "$code"
