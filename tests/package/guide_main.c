/* What the guide promises about its fragments in C. */
#include <math.h>
#include <stdio.h>

static int failures = 0;

static void expect(int good, const char* what) {
  if (good) return;
  printf("FAILED: %s\n", what);
  ++failures;
}

static void check_strips(void) {
  enum { kWidth = 90, kHeight = 120, kSmall = 60, kShort = 80 };
  static unsigned char picture[kWidth * kHeight * 3], whole[kSmall * kShort * 3], strips[kSmall * kShort * 3];
  int k;
  for (k = 0; k < kWidth * kHeight * 3; ++k) picture[k] = (unsigned char)((unsigned)k * 2654435761u >> 24);
  expect(KyvMathResize(KYVMATH_LANCZOS, 3, 8, picture, kWidth, kHeight, 3 * kWidth, whole, kSmall, kShort,
                       3 * kSmall) == KYVMATH_OK,
         "resize");
  for (k = 0; k < kShort; k += 20) {
    expect(resize_strip(picture, kWidth, kHeight, strips, kSmall, kShort, k, 20, 6) == KYVMATH_OK, "a strip");
  }
  for (k = 0; k < kSmall * kShort * 3; ++k) {
    if (abs(whole[k] - strips[k]) > 1) break;
  }
  expect(k == kSmall * kShort * 3, "strips equal the whole within 1");
}

static void check_psf(void) {
  enum { kColumns = 12, kRows = 8 };
  static double psf[kColumns * kRows], real[kColumns * kRows], imag[kColumns * kRows];
  const int centre = kRows / 2 * kColumns + kColumns / 2;
  int k;
  psf[centre] = 0.5;
  psf[centre - 1] = psf[centre + 1] = 0.25;
  expect(otf_of_centred_psf(psf, kColumns, kRows, real, imag) == KYVMATH_OK, "otf");
  for (k = 0; k < kColumns * kRows; ++k) {
    const double expected = 0.5 + 0.5 * cos(2 * 3.141592653589793 * (k % kColumns) / kColumns);
    expect(fabs(real[k] - expected) < 1e-14 && fabs(imag[k]) < 1e-14, "the OTF of three taps");
  }
}

int main(void) {
  expect(KyvMathInitialize() == KYVMATH_OK, "start");
  check_strips();
  check_psf();
  KyvMathTerminate();
  return failures == 0 ? 0 : 1;
}
