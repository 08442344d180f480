/* KyvMath: numeric image operations for photo processing, as a plain C interface.
 *
 * Two services:
 *   - resizing of interleaved images, 8 or 16 bits per sample, 1, 3 or 4 channels, whole or by region;
 *   - conversion between point-spread functions (PSF) and optical transfer functions (OTF): a
 *     two-dimensional complex discrete Fourier transform over stacks of planes, and its inverse.
 *
 * Use: call KyvMathInitialize once, the six working functions as often as needed and from any thread, and
 * KyvMathTerminate before the library is unloaded. The conversions work without initialisation as well.
 *
 * Rules that hold for every function:
 *   - Memory. The caller owns every array that it passes. The library reads and writes it during the call
 *     only, keeps no pointer, and hands out nothing that would have to be freed.
 *   - Threads. The working functions may run at the same time on any number of threads, on arrays that do
 *     not overlap where one of them is written. Each call runs wholly on the thread that made it. Only
 *     KyvMathInitialize and KyvMathTerminate must not overlap any other call, nor each other.
 *   - Results. A function tells its outcome by its status alone. No exception leaves the library. The
 *     floating-point environment of the calling thread (rounding, masks, flushing of denormal numbers) does
 *     not influence a result and is given back as it was. Resized pixels are the same, bit for bit, on
 *     every processor and in every build.
 *   - Diagnostics. Failures of the operating system are written to the debugger output (OutputDebugString;
 *     standard error on other systems), nowhere else.
 *
 * Compiles as C89 or C++98 and every later version.
 */
#ifndef KYVMATH_H
#define KYVMATH_H

/* The version that this header belongs to. No function tells the version of a loaded library: on Windows it
 * stands in the version resource of KyvMath.dll (GetFileVersionInfo; in the Explorer under Properties), on
 * Linux in the name of the file that libKyvMath.so leads to (libKyvMath.so.<version>). */
#define KYVMATH_VERSION_MAJOR 1
#define KYVMATH_VERSION_MINOR 0
#define KYVMATH_VERSION_PATCH 0
#define KYVMATH_VERSION_STRING "1.0.0"

/* 32-bit Windows: the working functions remove their own arguments from the stack (__stdcall), the two of
 * the life cycle leave that to the caller. All are exported by their plain, undecorated names. */
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

/* What every function returns: one of enum KyvMathStatus. */
typedef unsigned int KyvMathStatusCode;

enum KyvMathStatus {
  /* Done. KyvMathInitialize says so even when the library could not be started: see there. */
  KYVMATH_OK = 0,
  /* A resize whose arguments passed the check for zeros failed: a size, region, step, format or mode that
   * is not allowed, no memory for the work buffer, or a library that could not be started. */
  KYVMATH_RESIZE_FAILED = 2,
  /* KyvMathInitialize or a conversion found no memory. */
  KYVMATH_FAILED = 10,
  /* A resize before KyvMathInitialize or after KyvMathTerminate. Nothing else was looked at. */
  KYVMATH_NOT_INITIALIZED = 12,
  /* A resize with a null image pointer or a size of zero. Nothing else was looked at. */
  KYVMATH_BAD_ARGUMENT = 96
};

/* How a resize computes a pixel from those around its place in the source. On reduction the reach of all but
 * KYVMATH_NEAREST grows with the factor, so that every source pixel counts. In a source image of fewer than
 * 6 columns or rows KYVMATH_LANCZOS works like KYVMATH_CUBIC, and of fewer than 4 both work like
 * KYVMATH_LINEAR. */
enum KyvMathMode {
  KYVMATH_NEAREST = 1, /* the nearest source pixel */
  KYVMATH_LINEAR = 2,  /* weights fall off linearly, over 2 pixels */
  KYVMATH_CUBIC = 4,   /* cubic interpolation (Lagrange), over 4 pixels */
  KYVMATH_SUPER = 8,   /* super-sampling: the mean of the covered area; never enlarges */
  KYVMATH_LANCZOS = 16 /* windowed sine, 3 lobes, over 6 pixels */
};

/* Starts the library. Call it once before the first resize; further calls do nothing and return KYVMATH_OK.
 *
 * KYVMATH_OK, or KYVMATH_FAILED when there was no memory and the library stays uninitialised.
 * A start-up that fails later (no thread-local slot left in the process, for example) is not told here: it
 * shows only in that every resize returns KYVMATH_RESIZE_FAILED, and in the debugger output. It is tried
 * again by KyvMathTerminate followed by KyvMathInitialize. */
KYVMATH_API KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathInitialize(void);

/* Gives back what KyvMathInitialize took; nothing when there is nothing to give back. Always KYVMATH_OK.
 * Call it before the library is unloaded, when no other call is running. */
KYVMATH_API KyvMathStatusCode KYVMATH_LIFECYCLE_CALL KyvMathTerminate(void);

/* Resizes a whole image: KyvMathResizeWithRegion with the region (0, 0, srcWidth, srcHeight). */
KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathResize(unsigned int mode, int channels, int bitsPerSample,
                                                         const void* src, int srcWidth, int srcHeight,
                                                         int srcStep, void* dst, int dstWidth, int dstHeight,
                                                         int dstStep);

/* Resizes the region of the source image to the whole destination image.
 *
 *   mode                      one of enum KyvMathMode
 *   channels                  samples per pixel, side by side: 1, 3 or 4; all are treated alike
 *   bitsPerSample             8, or 16 (unsigned, in the byte order of the machine)
 *   src, dst                  first byte of pixel (0, 0); any address, odd ones included
 *   srcWidth, srcHeight,
 *   dstWidth, dstHeight       sizes in pixels, at least 1
 *   srcStep, dstStep          bytes from the start of one row to the start of the next: at least the bytes
 *                             of one row (width * channels * bitsPerSample / 8), otherwise any value
 *   regionX, regionY,
 *   regionWidth, regionHeight rectangle of the source in pixels, inside the image; src, srcWidth, srcHeight
 *                             and srcStep describe the whole image all the same
 *
 * The images must not overlap. Of the destination every pixel is written, and no byte between two rows;
 * nothing is written unless all arguments are good. Pixels outside the region are never read: its edge is
 * repeated outwards. KYVMATH_SUPER is refused when the destination is wider or higher than the
 * region.
 *
 * Bottom-up images. A step below zero is refused. Pass the lowest address and the positive step, as if the
 * last row were the first: the result is then bottom-up too, as its source was, and nothing is to be turned
 * over. A region is counted in the rows as they lie in memory: rows y to y + h - 1 from the top of a
 * bottom-up picture are regionY = srcHeight - y - h. To change from one order to the other, reverse the
 * rows of the result (or of the source, whichever is smaller); a resize does not do it.
 *
 * KYVMATH_OK, KYVMATH_NOT_INITIALIZED, KYVMATH_BAD_ARGUMENT (src or dst null; dstWidth, dstHeight,
 * regionWidth or regionHeight zero; for KyvMathResize srcWidth or srcHeight zero) or KYVMATH_RESIZE_FAILED,
 * tested in this order. */
KYVMATH_API KyvMathStatusCode KYVMATH_CALL KyvMathResizeWithRegion(unsigned int mode, int channels,
                                                                   int bitsPerSample, const void* src,
                                                                   int srcWidth, int srcHeight, int srcStep,
                                                                   int regionX, int regionY, int regionWidth,
                                                                   int regionHeight, void* dst, int dstWidth,
                                                                   int dstHeight, int dstStep);

/* The four conversions: a two-dimensional complex DFT of each plane of a stack.
 *
 *   srcReal, srcImag   real and imaginary parts of the input, read only
 *   dstReal, dstImag   real and imaginary parts of the output
 *   width, height      of one plane
 *   planes             number of planes; each array holds planes * width * height doubles
 *
 * Plane p begins at element p * width * height of each array. A plane is transformed as `width` lines of
 * `height` contiguous values, in(a, b) = element a * height + b with 0 <= a < width and 0 <= b < height:
 *
 *   OTF from PSF   out(u, v) = sum over a, b of in(a, b) * exp(-2 pi i (a u / width + b v / height))
 *   PSF from OTF   the same with +2 pi i, times 1 / (width * height) rounded to float
 *
 * so that one after the other gives the input again, up to rounding.
 *
 * Pictures. To transform a picture of W columns and H rows, stored row by row, pass width = H and
 * height = W: its rows are the lines. With W = H there is nothing to watch. (With width = W and height = H
 * on another picture the memory is read as W lines of H values: not the transform of that picture.)
 *
 * Origin. The origin of a PSF is element (0, 0), not the middle of the plane. Shift a PSF that is centred
 * in its picture cyclically, until its centre lies on element 0, before it is converted; the OTF then
 * carries no linear phase. Frequency (0, 0) is element (0, 0) of the OTF, negative frequencies follow the
 * positive ones.
 *
 * The plain functions round the input to float, transform in single precision and widen the output; values
 * beyond the range of float become infinite. The functions named _D work in double precision throughout
 * (but for the scale of PSF from OTF, which is the float named above).
 *
 * The arrays may lie at any address: doubles need not be aligned.
 *
 * Symmetry: where every imaginary value of a PSF is a zero, its OTF is exactly Hermitian, to the last bit:
 * each value is the conjugate of its mirror image about the zero frequency. Where an OTF is so and finite,
 * the imaginary values of its PSF are exactly +0. Planes of a stack are looked at one by one; such planes
 * take less time than others from about 64 x 64 values on.
 *
 * In place: dstReal = srcReal and dstImag = srcImag is allowed. Any other overlap of an output with an
 * input or with the other output is not.
 *
 * KYVMATH_OK, also when planes, width or height is zero or less: nothing is then read or written.
 * KYVMATH_FAILED when there is no memory for one plane or its size fits no integer: nothing is written. */
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

/* Pointers to the eight functions, for hosts that load the library at run time. */
typedef KyvMathStatusCode(KYVMATH_LIFECYCLE_CALL* KyvMathInitializeFn)(void);
typedef KyvMathStatusCode(KYVMATH_LIFECYCLE_CALL* KyvMathTerminateFn)(void);
typedef KyvMathStatusCode(KYVMATH_CALL* KyvMathResizeFn)(unsigned int mode, int channels, int bitsPerSample,
                                                         const void* src, int srcWidth, int srcHeight,
                                                         int srcStep, void* dst, int dstWidth, int dstHeight,
                                                         int dstStep);
typedef KyvMathStatusCode(KYVMATH_CALL* KyvMathResizeWithRegionFn)(unsigned int mode, int channels,
                                                                   int bitsPerSample, const void* src,
                                                                   int srcWidth, int srcHeight, int srcStep,
                                                                   int regionX, int regionY, int regionWidth,
                                                                   int regionHeight, void* dst, int dstWidth,
                                                                   int dstHeight, int dstStep);
typedef KyvMathStatusCode(KYVMATH_CALL* KyvMathConvertFn)(const double* srcReal, const double* srcImag,
                                                          double* dstReal, double* dstImag, int width,
                                                          int height, int planes);
typedef KyvMathConvertFn KyvMathConvertOtfFromPsfFn;
typedef KyvMathConvertFn KyvMathConvertPsfFromOtfFn;
typedef KyvMathConvertFn KyvMathConvertOtfFromPsf_DFn;
typedef KyvMathConvertFn KyvMathConvertPsfFromOtf_DFn;

#ifdef __cplusplus
}
#endif

#endif /* KYVMATH_H */
