/* Counts what the library allocates during one call, for the figures of the guide, and holds them to its
   promise: little, and independent of source height x destination width. For glibc: a program's own malloc
   and calloc replace the library's. */
#include <stdio.h>
#include <stdlib.h>

#include "KyvMath.h"

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);

static size_t allocated;

void* malloc(size_t size) {
  allocated += size;
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  allocated += count * size;
  return __libc_calloc(count, size);
}

static int resize(unsigned int mode, int channels, int bits, int columns, int rows, int width, int height) {
  const int pixel = channels * bits / 8;
  void* src = calloc((size_t)rows, (size_t)(columns * pixel));
  void* dst = calloc((size_t)height, (size_t)(width * pixel));
  size_t taken = allocated;
  const int good = src && dst &&
                   KyvMathResize(mode, channels, bits, src, columns, rows, columns * pixel, dst, width,
                                 height, width * pixel) == KYVMATH_OK;
  taken = allocated - taken;
  printf("mode %2u, %d x %2d bits, %5d x %5d to %4d x %4d: %5lu KiB\n", mode, channels, bits, columns, rows,
         width, height, (unsigned long)(taken / 1024));
  free(src);
  free(dst);
  return good && taken < 4u << 20;
}

static int convert(int width, int height) {
  const size_t count = (size_t)width * (size_t)height;
  double* plane = (double*)calloc(2 * count, sizeof(double));
  size_t taken = allocated;
  const int good = plane && KyvMathConvertOtfFromPsf_D(plane, plane + count, plane, plane + count, width,
                                                       height, 1) == KYVMATH_OK;
  taken = allocated - taken;
  printf("transform in double, %4d x %4d: %6lu KiB, the plane itself %6lu KiB\n", width, height,
         (unsigned long)(taken / 1024), (unsigned long)(count * 16 / 1024));
  free(plane);
  return good && taken < count * 16 + count + (64u << 10);
}

int main(void) {
  int good;
  KyvMathInitialize();
  good = resize(KYVMATH_LANCZOS, 3, 8, 4000, 3000, 1000, 750);
  good &= resize(KYVMATH_LANCZOS, 3, 8, 4000, 3000, 3200, 2400);
  good &= resize(KYVMATH_LANCZOS, 4, 16, 1500, 1000, 3000, 2000);
  good &= resize(KYVMATH_LINEAR, 3, 8, 4000, 3000, 1000, 750);
  good &= resize(KYVMATH_SUPER, 1, 8, 10000, 10000, 1, 1);
  good &= resize(KYVMATH_NEAREST, 3, 8, 4000, 3000, 1000, 750);
  good &= convert(512, 512);
  good &= convert(1021, 1021);
  KyvMathTerminate();
  return good ? 0 : 1;
}
