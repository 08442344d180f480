using System;
using System.Runtime.InteropServices;

namespace KyvMath
{
    /// <summary>What every function of the library answers.</summary>
    public enum Status : uint
    {
        /// <summary>Done.</summary>
        Ok = 0,
        /// <summary>A resize was rejected (a size, region, step, format or mode that is not allowed) or ran out of
        /// memory.</summary>
        ResizeFailed = 2,
        /// <summary>The start of the library or a conversion found no memory.</summary>
        Failed = 10,
        /// <summary>A resize before the library was started or after it was ended.</summary>
        NotInitialized = 12,
        /// <summary>A null pointer, a size of zero, or two images that do not match.</summary>
        BadArgument = 96
    }

    /// <summary>How a pixel is computed from those around its place in the source. All but Nearest filter on
    /// reduction.</summary>
    public enum Mode : uint
    {
        /// <summary>The nearest source pixel.</summary>
        Nearest = 1,
        /// <summary>Weights fall off linearly, over 2 pixels.</summary>
        Linear = 2,
        /// <summary>Cubic interpolation (Lagrange), over 4 pixels.</summary>
        Cubic = 4,
        /// <summary>Super-sampling: the mean of the covered area; never enlarges.</summary>
        Super = 8,
        /// <summary>Windowed sine, 3 lobes, over 6 pixels.</summary>
        Lanczos = 16
    }

    /// <summary>The precision that a conversion works in: relative errors of about 1e-7 and 1e-15.</summary>
    public enum Precision
    {
        /// <summary>Single precision, the faster one.</summary>
        Single,
        /// <summary>Double precision.</summary>
        Double
    }

    /// <summary>A status other than <see cref="KyvMath.Status.Ok"/>.</summary>
    public sealed class KyvMathException : Exception
    {
        /// <summary>The exception of a status, with its text.</summary>
        public KyvMathException(Status status) : base(MessageOf(status)) { Status = status; }

        /// <summary>What the library answered.</summary>
        public Status Status { get; }

        /// <summary>The text of a status.</summary>
        public static string MessageOf(Status status)
        {
            switch (status)
            {
                case Status.Ok: return "done";
                case Status.ResizeFailed: return "the resize was rejected or ran out of memory";
                case Status.Failed: return "out of memory";
                case Status.NotInitialized: return "the library is not initialised";
                case Status.BadArgument: return "a pointer is null, a size is zero or two views do not match";
                default: return "unknown status";
            }
        }
    }

    /// <summary>How an image lies in memory: interleaved samples, row after row.</summary>
    public readonly struct Layout
    {
        /// <summary>Sizes in pixels; 1, 3 or 4 channels; the bytes from one row's start to the next, where 0 stands
        /// for rows without a gap.</summary>
        public Layout(int width, int height, int channels, int step = 0)
        {
            Width = width;
            Height = height;
            Channels = channels;
            Step = step;
        }

        /// <summary>Pixels of a row.</summary>
        public int Width { get; }
        /// <summary>Rows.</summary>
        public int Height { get; }
        /// <summary>Samples of a pixel.</summary>
        public int Channels { get; }
        /// <summary>Bytes from one row's start to the next, or 0.</summary>
        public int Step { get; }

        // The step in bytes. ArgumentException when the span is too short for the image; sizes that the library will
        // refuse need no memory.
        internal int Check(int length, int bytesPerSample, string name)
        {
            long row = (long)Width * Channels * bytesPerSample;
            long step = Step == 0 ? row : Step;
            if (Width > 0 && Height > 0 && Channels > 0 && step >= row && (Height - 1) * step + row > length)
                throw new ArgumentException("the span is too short for the image", name);
            if (step > int.MaxValue) throw new KyvMathException(Status.ResizeFailed);
            return (int)step;
        }
    }

    /// <summary>A rectangle in pixels.</summary>
    public readonly struct Region
    {
        /// <summary>The rectangle with its upper left pixel at (x, y).</summary>
        public Region(int x, int y, int width, int height)
        {
            X = x;
            Y = y;
            Width = width;
            Height = height;
        }

        /// <summary>The first column.</summary>
        public int X { get; }
        /// <summary>The first row.</summary>
        public int Y { get; }
        /// <summary>Columns.</summary>
        public int Width { get; }
        /// <summary>Rows.</summary>
        public int Height { get; }
    }

    /// <summary>Resizing of images, and conversion between point-spread functions (PSF) and optical transfer functions
    /// (OTF), over spans. All methods may run on any number of threads at once. The first resize starts the library,
    /// which stays so until the process ends; every other status than Ok is thrown as
    /// <see cref="KyvMathException"/>, and nothing is written then.</summary>
    public static class KyvMathLibrary
    {
        private static class Start
        {
            // Run once, before its first use, whichever thread comes first.
            internal static readonly Status Outcome = NativeMethods.KyvMathInitialize();
        }

        /// <summary>Fills the destination from the whole of the source. The two must not overlap.</summary>
        public static void Resize(Mode mode, ReadOnlySpan<byte> source, Layout sourceLayout, Span<byte> destination,
            Layout layout)
        {
            Resize(mode, source, sourceLayout, All(sourceLayout), destination, layout);
        }

        /// <summary>Fills the destination from a region of the source. No pixel outside the region is read.</summary>
        public static void Resize(Mode mode, ReadOnlySpan<byte> source, Layout sourceLayout, Region region,
            Span<byte> destination, Layout layout)
        {
            Resize(mode, 1, source, sourceLayout, region, destination, layout);
        }

        /// <summary>Fills the destination from the whole of the source, with 16 bits per sample.</summary>
        public static void Resize(Mode mode, ReadOnlySpan<ushort> source, Layout sourceLayout,
            Span<ushort> destination, Layout layout)
        {
            Resize(mode, source, sourceLayout, All(sourceLayout), destination, layout);
        }

        /// <summary>Fills the destination from a region of the source, with 16 bits per sample.</summary>
        public static void Resize(Mode mode, ReadOnlySpan<ushort> source, Layout sourceLayout, Region region,
            Span<ushort> destination, Layout layout)
        {
            Resize(mode, 2, MemoryMarshal.AsBytes(source), sourceLayout, region, MemoryMarshal.AsBytes(destination),
                layout);
        }

        /// <summary>The forward transform of pictures of rows of columns, one plane after the other: the
        /// two-dimensional discrete Fourier transform. The origin of a PSF is element (0, 0). A destination may be
        /// the source itself; any other overlap is not allowed.</summary>
        public static void OtfFromPsf(Precision precision, ReadOnlySpan<double> sourceReal,
            ReadOnlySpan<double> sourceImag, Span<double> real, Span<double> imag, int columns, int rows, int planes = 1)
        {
            CheckPlanes(columns, rows, planes, sourceReal.Length, sourceImag.Length, real.Length, imag.Length);
            // The library's planes are `width` runs of `height` values: the rows of a picture are the runs.
            Throw(precision == Precision.Double
                ? NativeMethods.KyvMathConvertOtfFromPsf_D(ref MemoryMarshal.GetReference(sourceReal),
                    ref MemoryMarshal.GetReference(sourceImag), ref MemoryMarshal.GetReference(real),
                    ref MemoryMarshal.GetReference(imag), rows, columns, planes)
                : NativeMethods.KyvMathConvertOtfFromPsf(ref MemoryMarshal.GetReference(sourceReal),
                    ref MemoryMarshal.GetReference(sourceImag), ref MemoryMarshal.GetReference(real),
                    ref MemoryMarshal.GetReference(imag), rows, columns, planes));
        }

        /// <summary>The backward transform, times 1 / (columns * rows) rounded to float: the inverse of
        /// <see cref="OtfFromPsf"/> with the same arguments.</summary>
        public static void PsfFromOtf(Precision precision, ReadOnlySpan<double> sourceReal,
            ReadOnlySpan<double> sourceImag, Span<double> real, Span<double> imag, int columns, int rows, int planes = 1)
        {
            CheckPlanes(columns, rows, planes, sourceReal.Length, sourceImag.Length, real.Length, imag.Length);
            Throw(precision == Precision.Double
                ? NativeMethods.KyvMathConvertPsfFromOtf_D(ref MemoryMarshal.GetReference(sourceReal),
                    ref MemoryMarshal.GetReference(sourceImag), ref MemoryMarshal.GetReference(real),
                    ref MemoryMarshal.GetReference(imag), rows, columns, planes)
                : NativeMethods.KyvMathConvertPsfFromOtf(ref MemoryMarshal.GetReference(sourceReal),
                    ref MemoryMarshal.GetReference(sourceImag), ref MemoryMarshal.GetReference(real),
                    ref MemoryMarshal.GetReference(imag), rows, columns, planes));
        }

        private static Region All(Layout layout) { return new Region(0, 0, layout.Width, layout.Height); }

        private static void Resize(Mode mode, int bytesPerSample, ReadOnlySpan<byte> source, Layout from, Region region,
            Span<byte> destination, Layout to)
        {
            int sourceStep = from.Check(source.Length, bytesPerSample, nameof(source));
            int step = to.Check(destination.Length, bytesPerSample, nameof(destination));
            if (from.Channels != to.Channels) throw new KyvMathException(Status.BadArgument);
            Throw(Start.Outcome);
            Throw(NativeMethods.KyvMathResizeWithRegion(mode, to.Channels, 8 * bytesPerSample,
                ref MemoryMarshal.GetReference(source), from.Width, from.Height, sourceStep, region.X, region.Y,
                region.Width, region.Height, ref MemoryMarshal.GetReference(destination), to.Width, to.Height, step));
        }

        private static void CheckPlanes(int columns, int rows, int planes, int first, int second, int third, int fourth)
        {
            if (columns <= 0 || rows <= 0 || planes <= 0) return; // nothing to do, nothing is touched
            long plane = (long)columns * rows;
            long shortest = Math.Min(Math.Min(first, second), Math.Min(third, fourth));
            if (plane > shortest || planes > shortest / plane)
                throw new ArgumentException("a span is too short for the planes", nameof(planes));
        }

        private static void Throw(Status status)
        {
            if (status != Status.Ok) throw new KyvMathException(status);
        }
    }

    /// <summary>The eight functions as the library exports them; KyvMath.h has their contract. Arguments that are
    /// references stand for the first element of an array, which stays where it is during the call.</summary>
    public static class NativeMethods
    {
        // Found as KyvMath.dll or libKyvMath.so.
        private const string Library = "KyvMath";

#pragma warning disable 1591 // said above
        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern Status KyvMathInitialize();

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl, ExactSpelling = true)]
        public static extern Status KyvMathTerminate();

        [DllImport(Library, CallingConvention = CallingConvention.StdCall, ExactSpelling = true)]
        public static extern Status KyvMathResize(Mode mode, int channels, int bitsPerSample, ref byte src, int srcWidth,
            int srcHeight, int srcStep, ref byte dst, int dstWidth, int dstHeight, int dstStep);

        [DllImport(Library, CallingConvention = CallingConvention.StdCall, ExactSpelling = true)]
        public static extern Status KyvMathResizeWithRegion(Mode mode, int channels, int bitsPerSample, ref byte src,
            int srcWidth, int srcHeight, int srcStep, int regionX, int regionY, int regionWidth, int regionHeight,
            ref byte dst, int dstWidth, int dstHeight, int dstStep);

        [DllImport(Library, CallingConvention = CallingConvention.StdCall, ExactSpelling = true)]
        public static extern Status KyvMathConvertOtfFromPsf(ref double srcReal, ref double srcImag, ref double dstReal,
            ref double dstImag, int width, int height, int planes);

        [DllImport(Library, CallingConvention = CallingConvention.StdCall, ExactSpelling = true)]
        public static extern Status KyvMathConvertPsfFromOtf(ref double srcReal, ref double srcImag, ref double dstReal,
            ref double dstImag, int width, int height, int planes);

        [DllImport(Library, CallingConvention = CallingConvention.StdCall, ExactSpelling = true)]
        public static extern Status KyvMathConvertOtfFromPsf_D(ref double srcReal, ref double srcImag,
            ref double dstReal, ref double dstImag, int width, int height, int planes);

        [DllImport(Library, CallingConvention = CallingConvention.StdCall, ExactSpelling = true)]
        public static extern Status KyvMathConvertPsfFromOtf_D(ref double srcReal, ref double srcImag,
            ref double dstReal, ref double dstImag, int width, int height, int planes);
#pragma warning restore 1591
    }
}
