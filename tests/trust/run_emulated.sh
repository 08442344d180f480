#!/bin/sh
# run_emulated.sh <emulator> <processor> <variant> <program> [arguments...]: runs a test program on an emulated
# processor and says to it which variant of the kernels it must find in use there. 77: no emulator.
set -eu
emulator=$1
processor=$2
KYVMATH_EXPECTED_VARIANT=$3
export KYVMATH_EXPECTED_VARIANT
shift 3
if ! command -v "$emulator" >/dev/null 2>&1; then
  echo "$emulator is not there: nothing was run on $processor"
  exit 77
fi
exec "$emulator" -cpu "$processor" "$@"
