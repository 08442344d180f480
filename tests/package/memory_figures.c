/* Counts what the library allocates during one call, for the figures of the guide, and holds them to its
   promise: little, and independent of source height x destination width. For glibc: a program's own malloc
   and calloc replace the library's. */
#include <stdio.h>
#include <stdlib.h>

#include "KyvMath.h"

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);

static size_t allocated;
static int allocations_left = -1; /* after which none succeeds; no end below 0 */
static int refuse_huge_pages;

/* A workspace in huge pages is asked for as whole ones and one more, to begin with one. */
static int is_huge(size_t size) {
  const size_t page = (size_t)2 << 20;
  return size > page && size % page == sizeof(void*);
}

void* malloc(size_t size) {
  if (refuse_huge_pages && is_huge(size)) return NULL;
  allocated += size;
  if (allocations_left == 0) return NULL;
  if (allocations_left > 0) --allocations_left;
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  allocated += count * size;
  return __libc_calloc(count, size);
}

/* What a conversion takes, less what a workspace may have beside it so as to lie in huge pages. */
static size_t without_huge_pages(size_t taken) {
  const size_t beside = (size_t)4 << 20;
  return taken > beside ? taken - beside : taken;
}

/* Bytes that a resize may take: 8 MiB, what every destination column and row has, and the taps of a sum,
   across a row with their samples in 16 rows. */
static double promised(unsigned int mode, int channels, int columns, int rows, int width, int height) {
  const double lobes = mode == KYVMATH_SUPER ? 1 : mode == KYVMATH_LINEAR ? 2 : mode == KYVMATH_CUBIC ? 4 : 6;
  const double across = mode == KYVMATH_NEAREST ? 0 : lobes * columns / width;
  const double down = mode == KYVMATH_NEAREST ? 0 : lobes * rows / height;
  return (8 << 20) + 51.0 * width + 48.0 * height + (12 + 64 * channels) * across + 12 * down;
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
  printf("mode %2u, %d x %2d bits, %d x %d to %d x %d: %lu KiB\n", mode, channels, bits, columns, rows, width,
         height, (unsigned long)(taken / 1024));
  free(src);
  free(dst);
  return good && (double)taken <= promised(mode, channels, columns, rows, width, height);
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
  return good && without_huge_pages(taken) < count * 16 + count + (64u << 10);
}

/* How many times the plane's own bytes a conversion takes, 64 KiB aside, where there are no huge pages. The
   plan, which comes last, is asked for but not given: planes are copied then, so that even the largest take
   little time. */
static double times_the_plane(int width, int height, int in_single) {
  const size_t count = (size_t)width * (size_t)height;
  double* plane = (double*)calloc(2 * count, sizeof(double));
  const size_t before = allocated;
  const double free_bytes = 65536;
  double taken = 1e30;
  if (plane) {
    allocations_left = 1; /* the workspace */
    refuse_huge_pages = 1;
    const int status = (in_single ? KyvMathConvertOtfFromPsf : KyvMathConvertOtfFromPsf_D)(
        plane, plane + count, plane, plane + count, width, height, 1);
    allocations_left = -1;
    refuse_huge_pages = 0;
    if (status == KYVMATH_OK) taken = (double)(allocated - before) - free_bytes;
  }
  free(plane);
  return taken / (16.0 * (double)count);
}

/* The worst of some hundred planes, thin ones of awkward lengths among them. */
static int worst_planes(void) {
  static const int sides[] = {1, 2, 3, 4, 5, 7, 8, 9, 11, 13, 16, 31, 64, 257, 1021, 4093};
  static const int lengths[] = {101,  127,  509,  1009, 1543,  1621,  1823,  2063,   3467,    3968,
                                4079, 4093, 4096, 4099, 10007, 65536, 65537, 100003, 1000003, 16777213};
  double worst = 0;
  double worst_small = 0;
  int planes = 0;
  for (size_t s = 0; s < sizeof sides / sizeof *sides; ++s) {
    for (size_t l = 0; l < sizeof lengths / sizeof *lengths; ++l) {
      if (s > 0 && (double)sides[s] * lengths[l] > (1 << 22)) continue;
      for (int way = 0; way < 4; ++way) {
        const int turned = way & 1;
        const double times =
            times_the_plane(turned ? lengths[l] : sides[s], turned ? sides[s] : lengths[l], way >> 1);
        if (times > worst) worst = times;
        if (lengths[l] <= 4096 && times > worst_small) worst_small = times;
        ++planes;
      }
    }
  }
  printf("%d planes take at most %.1f times their own bytes and 64 KiB, with no side above 4096 %.1f times\n",
         planes, worst, worst_small);
  return worst > 0 && worst <= 4.25 && worst_small <= 3.0;
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
  good &= resize(KYVMATH_NEAREST, 3, 8, 1, 1, 5000000, 1);
  good &= resize(KYVMATH_LANCZOS, 4, 16, 1, 1000000, 1, 1);
  good &= resize(KYVMATH_LANCZOS, 4, 16, 100000, 1, 1, 1);
  good &= convert(512, 512);
  good &= convert(1021, 1021);
  good &= worst_planes();
  KyvMathTerminate();
  return good ? 0 : 1;
}
