/* A client without any run-time library: its exit code alone tells whether the calls arrived and the stack is
   still where it was after functions that remove their own arguments. */
#include "KyvMath.h"

static unsigned char source[8 * 8];
static unsigned char result[4 * 4];

static int run(void) {
  int k, call;
  for (k = 0; k < 64; ++k) source[k] = 77;
  if (KyvMathResize(KYVMATH_LINEAR, 1, 8, source, 8, 8, 8, result, 4, 4, 4) != KYVMATH_NOT_INITIALIZED)
    return 1;
  if (KyvMathInitialize() != KYVMATH_OK) return 2;
  for (call = 0; call < 1000; ++call) {
    if (KyvMathResize(KYVMATH_LINEAR, 1, 8, source, 8, 8, 8, result, 4, 4, 4) != KYVMATH_OK) return 3;
    if (KyvMathResizeWithRegion(KYVMATH_LINEAR, 1, 8, source, 8, 8, 8, 0, 0, 8, 8, result, 4, 4, 4) !=
        KYVMATH_OK)
      return 4;
  }
  for (k = 0; k < 16; ++k)
    if (result[k] != 77) return 5;
  return KyvMathTerminate() == KYVMATH_OK ? 0 : 6;
}

/* The names of an MSVC-style entry and of its floating-point marker. */
int entry(void);
int entry(void) { return run(); }
int _fltused = 0;
