#!/bin/sh
# run_memcheck.sh <program> [arguments...]: runs a program under valgrind's memory checker, which must have nothing to
# report. 77: it is not there.
set -eu
if ! command -v valgrind >/dev/null 2>&1; then
  echo "valgrind is not there: nothing was checked"
  exit 77
fi
exec valgrind --quiet --error-exitcode=9 "$@"
