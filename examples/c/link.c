/* Linked against the library: the optical transfer function of a Gaussian blur of 128 x 96, its modulation
   along the horizontal frequencies, and the way back to the point-spread function. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "KyvMath.h"

enum { kColumns = 128, kRows = 96, kCount = kColumns * kRows };

static double psf[kCount], otf_real[kCount], otf_imag[kCount], back_real[kCount], back_imag[kCount];
static const double no_imag[kCount];

/* A Gaussian that sums to 1, centred at element (0, 0) and wrapping around the borders. */
static void make_gaussian(double sigma) {
  double sum = 0.0;
  int x, y, k;
  for (y = 0; y < kRows; ++y) {
    for (x = 0; x < kColumns; ++x) {
      const double dx = x < kColumns / 2 ? x : x - kColumns;
      const double dy = y < kRows / 2 ? y : y - kRows;
      psf[y * kColumns + x] = exp(-(dx * dx + dy * dy) / (2.0 * sigma * sigma));
      sum += psf[y * kColumns + x];
    }
  }
  for (k = 0; k < kCount; ++k) psf[k] /= sum;
}

int main(void) {
  double worst = 0.0;
  int k;

  make_gaussian(2.0);
  /* A row-major picture is passed with its number of rows as width and of columns as height. The conversions
     need no KyvMathInitialize. */
  if (KyvMathConvertOtfFromPsf_D(psf, no_imag, otf_real, otf_imag, kRows, kColumns, 1) != KYVMATH_OK ||
      KyvMathConvertPsfFromOtf_D(otf_real, otf_imag, back_real, back_imag, kRows, kColumns, 1) !=
          KYVMATH_OK) {
    fprintf(stderr, "out of memory\n");
    return EXIT_FAILURE;
  }
  for (k = 0; k <= kColumns / 2; k += 8) {
    printf("%6.4f cycles per pixel: %8.6f\n", (double)k / kColumns,
           sqrt(otf_real[k] * otf_real[k] + otf_imag[k] * otf_imag[k]));
  }
  for (k = 0; k < kCount; ++k) {
    const double error = fabs(back_real[k] - psf[k]);
    if (error > worst) worst = error;
  }
  printf("largest round-trip error: %.1e\n", worst);
  return worst < 1e-8 ? EXIT_SUCCESS : EXIT_FAILURE;
}
