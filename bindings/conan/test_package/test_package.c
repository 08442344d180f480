/* Both services of the packaged library: the mean of a picture, and the transfer function of an impulse. */
#include <KyvMath.h>
#include <stdio.h>

int main(void) {
  const unsigned char picture[4] = {10, 20, 30, 40};
  unsigned char mean = 0;
  double real[4] = {1.0}, imag[4] = {0.0};

  if (KyvMathInitialize() != KYVMATH_OK) return 1;
  if (KyvMathResize(KYVMATH_SUPER, 1, 8, picture, 2, 2, 2, &mean, 1, 1, 1) != KYVMATH_OK) return 2;
  if (KyvMathConvertOtfFromPsf_D(real, imag, real, imag, 2, 2, 1) != KYVMATH_OK) return 3;
  KyvMathTerminate();
  printf("KyvMath %s: %u, %g\n", KYVMATH_VERSION_STRING, mean, real[3]);
  return mean == 25 && real[3] == 1.0 ? 0 : 4;
}
