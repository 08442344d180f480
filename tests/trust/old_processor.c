/* old_processor <library>: on a processor below the baseline every export answers as documented, and no
 * instruction is executed that the processor lacks. Plain C, so that nothing here needs more than it has. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "KyvMath.h"

static int failures = 0;

static void expect(const char* what, KyvMathStatusCode status, KyvMathStatusCode expected) {
  if (status == expected) return;
  printf("%s: %u instead of %u\n", what, status, expected);
  ++failures;
}

int main(int argc, char** argv) {
  static const char* const conversions[] = {"KyvMathConvertOtfFromPsf", "KyvMathConvertPsfFromOtf",
                                            "KyvMathConvertOtfFromPsf_D", "KyvMathConvertPsfFromOtf_D"};
  unsigned char src[64];
  unsigned char dst[64];
  double planes[4][4];
  double before[4][4];
  KyvMathInitializeFn initialize;
  KyvMathTerminateFn terminate;
  KyvMathResizeFn resize;
  KyvMathResizeWithRegionFn resize_with_region;
  int k;
  void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
  if (library == NULL) {
    printf("not loaded: %s\n", dlerror());
    return 1;
  }
  *(void**)&initialize = dlsym(library, "KyvMathInitialize");
  *(void**)&terminate = dlsym(library, "KyvMathTerminate");
  *(void**)&resize = dlsym(library, "KyvMathResize");
  *(void**)&resize_with_region = dlsym(library, "KyvMathResizeWithRegion");
  memset(src, 7, sizeof src);
  memset(dst, 9, sizeof dst);
  memset(planes, 0, sizeof planes);
  memcpy(before, planes, sizeof planes);

  expect("before the start", resize(1, 1, 8, src, 8, 8, 8, dst, 4, 4, 4), KYVMATH_NOT_INITIALIZED);
  expect("start", initialize(), KYVMATH_OK);
  expect("null source", resize(1, 1, 8, NULL, 8, 8, 8, dst, 4, 4, 4), KYVMATH_BAD_ARGUMENT);
  expect("resize", resize(1, 1, 8, src, 8, 8, 8, dst, 4, 4, 4), KYVMATH_RESIZE_FAILED);
  expect("resize with region", resize_with_region(16, 1, 8, src, 8, 8, 8, 1, 1, 6, 6, dst, 4, 4, 4),
         KYVMATH_RESIZE_FAILED);
  for (k = 0; k < 4; ++k) {
    KyvMathConvertFn convert;
    *(void**)&convert = dlsym(library, conversions[k]);
    expect(conversions[k], convert(planes[0], planes[1], planes[2], planes[3], 2, 2, 1), KYVMATH_FAILED);
  }
  for (k = 0; k < (int)sizeof dst; ++k) failures += dst[k] != 9;
  failures += memcmp(planes, before, sizeof planes) != 0;
  expect("shut-down", terminate(), KYVMATH_OK);
  expect("unload", (KyvMathStatusCode)dlclose(library), KYVMATH_OK);
  printf("%d failures\n", failures);
  return failures != 0;
}
