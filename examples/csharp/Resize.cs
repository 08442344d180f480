// KyvMath from C#: shrinks a 16-bit grey ramp and prints one row of the result.
using System;
using System.Runtime.InteropServices;

internal static class KyvMath
{
    // On Windows the loader finds KyvMath.dll; on Linux, libKyvMath.so.
    private const string Library = "KyvMath";

    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    public static extern uint KyvMathInitialize();

    [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
    public static extern uint KyvMathTerminate();

    // Widths and heights in pixels, steps in bytes.
    [DllImport(Library, CallingConvention = CallingConvention.StdCall)]
    public static extern uint KyvMathResize(uint mode, int channels, int bitsPerSample,
        ushort[] source, int sourceWidth, int sourceHeight, int sourceStep,
        [Out] ushort[] destination, int width, int height, int step);
}

internal static class Program
{
    private const uint Lanczos = 16;

    private static int Main()
    {
        const int sourceWidth = 256, sourceHeight = 32, width = 16, height = 2;
        var source = new ushort[sourceWidth * sourceHeight];
        for (var k = 0; k < source.Length; k++) source[k] = (ushort)(k % sourceWidth * 257);
        var destination = new ushort[width * height];

        KyvMath.KyvMathInitialize();
        var status = KyvMath.KyvMathResize(Lanczos, 1, 16,
            source, sourceWidth, sourceHeight, sourceWidth * sizeof(ushort),
            destination, width, height, width * sizeof(ushort));
        KyvMath.KyvMathTerminate();

        if (status != 0)
        {
            Console.Error.WriteLine("failed, status " + status);
            return 1;
        }
        Console.WriteLine(string.Join(" ", new ArraySegment<ushort>(destination, 0, width)));
        for (var x = 1; x < width; x++)
        {
            if (destination[x] <= destination[x - 1]) return 1;
        }
        return 0;
    }
}
