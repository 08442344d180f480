// KyvMath from C#: a thumbnail of a picture, and the modulation that a blur leaves.
using System;
using KyvMath;

internal static class Program
{
    private static void Main()
    {
        // Coloured rings, 8-bit RGB.
        const int columns = 640, rows = 480;
        var picture = new byte[columns * rows * 3];
        for (int k = 0; k < picture.Length; k++)
        {
            double x = k / 3 % columns - columns / 2, y = k / 3 / columns - rows / 2;
            picture[k] = (byte)(127.5 + 127.5 * Math.Cos((x * x + y * y) / (900 + k % 3 * 400)));
        }
        var thumbnail = new byte[160 * 120 * 3];
        KyvMathLibrary.Resize(Mode.Lanczos, picture, new Layout(columns, rows, 3), thumbnail, new Layout(160, 120, 3));
        Console.WriteLine("the pixel in the middle: " + thumbnail[(60 * 160 + 80) * 3]);

        // A Gaussian PSF, its centre at element 0, wrapping around the borders.
        const int size = 64;
        var psf = new double[size * size];
        for (int k = 0; k < psf.Length; k++)
        {
            double x = Math.Min(k % size, size - k % size), y = Math.Min(k / size, size - k / size);
            psf[k] = Math.Exp(-(x * x + y * y) / (2 * 2.0 * 2.0));
        }
        double[] real = new double[psf.Length], imag = new double[psf.Length];
        KyvMathLibrary.OtfFromPsf(Precision.Double, psf, new double[psf.Length], real, imag, size, size);
        int half = Array.FindIndex(real, value => value / real[0] < 0.5); // its OTF is real
        Console.WriteLine("half of the contrast is left at " + half / (double)size + " cycles per pixel");
    }
}
