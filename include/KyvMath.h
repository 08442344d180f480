/* KyvMath: numeric image operations for photo processing, as a plain C interface. */
#ifndef KYVMATH_H
#define KYVMATH_H

#if defined(_WIN32) && !defined(_WIN64)
#define KYVMATH_CALL __stdcall
#define KYVMATH_LIFECYCLE_CALL __cdecl
#else
#define KYVMATH_CALL
#define KYVMATH_LIFECYCLE_CALL
#endif

#if defined(__GNUC__) && !defined(_WIN32)
#define KYVMATH_API __attribute__((visibility("default")))
#else
#define KYVMATH_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned int KyvMathStatusCode; /* 32 bits */

enum KyvMathStatus {
  KYVMATH_OK = 0,
  KYVMATH_RESIZE_FAILED = 2,
  KYVMATH_FAILED = 10,
  KYVMATH_NOT_INITIALIZED = 12,
  KYVMATH_BAD_ARGUMENT = 96
};

enum KyvMathMode {
  KYVMATH_NEAREST = 1,
  KYVMATH_LINEAR = 2,
  KYVMATH_CUBIC = 4,
  KYVMATH_SUPER = 8,
  KYVMATH_LANCZOS = 16
};

KYVMATH_API KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathInitialize(void);
KYVMATH_API KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathTerminate(void);

KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathResize(unsigned int mode, int channels, int bitsPerSample,
                                                         const void* src, int srcWidth, int srcHeight,
                                                         int srcStep, void* dst, int dstWidth, int dstHeight,
                                                         int dstStep);

KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathResizeWithRegion(unsigned int mode, int channels,
                                                                   int bitsPerSample, const void* src,
                                                                   int srcWidth, int srcHeight, int srcStep,
                                                                   int regionX, int regionY, int regionWidth,
                                                                   int regionHeight, void* dst, int dstWidth,
                                                                   int dstHeight, int dstStep);

KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathConvertOtfFromPsf(const double* srcReal,
                                                                    const double* srcImag, double* dstReal,
                                                                    double* dstImag, int width, int height,
                                                                    int planes);
KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathConvertPsfFromOtf(const double* srcReal,
                                                                    const double* srcImag, double* dstReal,
                                                                    double* dstImag, int width, int height,
                                                                    int planes);
KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathConvertOtfFromPsf_D(const double* srcReal,
                                                                      const double* srcImag, double* dstReal,
                                                                      double* dstImag, int width, int height,
                                                                      int planes);
KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathConvertPsfFromOtf_D(const double* srcReal,
                                                                      const double* srcImag, double* dstReal,
                                                                      double* dstImag, int width, int height,
                                                                      int planes);

#ifdef __cplusplus
}
#endif

#endif /* KYVMATH_H */
