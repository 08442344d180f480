/* Loads the library by its file name, as a host with plug-ins does, shrinks an 8-bit RGB picture and writes
   it as picture.ppm. Needs the header, not an import library. */
#include <stdio.h>
#include <stdlib.h>

#include "KyvMath.h"

#ifdef _WIN32
#include <windows.h>
#define LIBRARY_NAME "KyvMath.dll"
static void* open_library(const char* name) { return (void*)LoadLibraryA(name); }
static void close_library(void* library) { FreeLibrary((HMODULE)library); }
typedef FARPROC Function;
static Function find(void* library, const char* name) { return GetProcAddress((HMODULE)library, name); }
#else
#include <dlfcn.h>
#define LIBRARY_NAME "libKyvMath.so.1"
static void* open_library(const char* name) { return dlopen(name, RTLD_NOW | RTLD_LOCAL); }
static void close_library(void* library) { dlclose(library); }
typedef void (*Function)(void);
static Function find(void* library, const char* name) {
  union {
    void* object;
    Function function;
  } symbol;
  symbol.object = dlsym(library, name);
  return symbol.function;
}
#endif

enum { kSourceWidth = 640, kSourceHeight = 480, kWidth = 160, kHeight = 120, kChannels = 3 };

static unsigned char source[kSourceHeight][kSourceWidth][kChannels];
static unsigned char result[kHeight][kWidth][kChannels];

static void paint_source(void) {
  int x, y;
  for (y = 0; y < kSourceHeight; ++y)
    for (x = 0; x < kSourceWidth; ++x) {
      source[y][x][0] = (unsigned char)(x * 255 / (kSourceWidth - 1));
      source[y][x][1] = (unsigned char)(y * 255 / (kSourceHeight - 1));
      source[y][x][2] = (unsigned char)((x / 40 + y / 40) % 2 * 255);
    }
}

int main(int argc, char** argv) {
  const char* name = argc > 1 ? argv[1] : LIBRARY_NAME;
  void* library = open_library(name);
  KyvMathInitializeFn initialize = library ? (KyvMathInitializeFn)find(library, "KyvMathInitialize") : NULL;
  KyvMathTerminateFn terminate = library ? (KyvMathTerminateFn)find(library, "KyvMathTerminate") : NULL;
  KyvMathResizeFn resize = library ? (KyvMathResizeFn)find(library, "KyvMathResize") : NULL;
  KyvMathStatusCode status;
  FILE* file;

  if (initialize == NULL || terminate == NULL || resize == NULL)
    return fprintf(stderr, "cannot load %s\n", name), EXIT_FAILURE;
  paint_source();
  initialize();
  status = resize(KYVMATH_LANCZOS, kChannels, 8, source, kSourceWidth, kSourceHeight,
                  kSourceWidth * kChannels, result, kWidth, kHeight, kWidth * kChannels);
  terminate();
  close_library(library);

  file = status == KYVMATH_OK ? fopen("picture.ppm", "wb") : NULL;
  if (file == NULL) return fprintf(stderr, "failed, status %u\n", status), EXIT_FAILURE;
  fprintf(file, "P6\n%d %d\n255\n", kWidth, kHeight);
  fwrite(result, sizeof result, 1, file);
  fclose(file);
  printf("wrote picture.ppm, %d x %d\n", kWidth, kHeight);
  return EXIT_SUCCESS;
}
