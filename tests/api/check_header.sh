#!/bin/sh
# check_header.sh <include directory> <C compiler> <C++ compiler>: the public header alone, in every
# language version that it promises to compile as, with every warning an error.
set -eu
include=$1
cc=$2
cxx=$3
strict="-I$include -Wall -Wextra -Wpedantic -pedantic-errors -Werror -fsyntax-only"
unit='#include "KyvMath.h"
#include "KyvMath.h"
KyvMathResizeFn resize = KyvMathResize;
KyvMathResizeWithRegionFn resize_region = KyvMathResizeWithRegion;
KyvMathInitializeFn initialize = KyvMathInitialize;
KyvMathTerminateFn terminate = KyvMathTerminate;
KyvMathConvertOtfFromPsfFn forward = KyvMathConvertOtfFromPsf;
KyvMathConvertPsfFromOtfFn backward = KyvMathConvertPsfFromOtf;
KyvMathConvertOtfFromPsf_DFn forward_d = KyvMathConvertOtfFromPsf_D;
KyvMathConvertPsfFromOtf_DFn backward_d = KyvMathConvertPsfFromOtf_D;'

for standard in c89 c99 c11 c17; do
  printf '%s\n' "$unit" | $cc $strict -std=$standard -x c - || { echo "fails as $standard"; exit 1; }
done
for standard in c++98 c++03 c++11 c++14 c++17 c++20; do
  printf '%s\n' "$unit" | $cxx $strict -std=$standard -x c++ - || { echo "fails as $standard"; exit 1; }
done
