// The lines of probe.cpp, through the .NET binding; then what the binding checks itself.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Runtime.InteropServices;
using System.Threading;
using KyvMath;

internal static class Probe
{
    private const int Columns = 61, Rows = 47;
    private static readonly Layout Small = new Layout(4, 4, 1);

    private static string HashOf<T>(T[] values) where T : struct
    {
        uint hash = 2166136261;
        foreach (var value in MemoryMarshal.AsBytes(new ReadOnlySpan<T>(values)).ToArray()) hash = (hash ^ value) * 16777619;
        return hash.ToString("x8");
    }

    private static uint StatusOf(Action call)
    {
        try
        {
            call();
            return 0;
        }
        catch (KyvMathException error)
        {
            Expect(error.Message == KyvMathException.MessageOf(error.Status), "the text of an exception");
            return (uint)error.Status;
        }
    }

    private static void Resize(Mode mode, int channels, int bits, Region region, int width, int height)
    {
        var from = new Layout(Columns, Rows, channels);
        var to = new Layout(width, height, channels);
        var samples = Enumerable.Range(0, Columns * Rows * channels).Select(k => (uint)k * (uint)k * 7 + (uint)k * 31);
        uint status;
        string hash;
        if (bits == 8)
        {
            byte[] source = samples.Select(sample => (byte)sample).ToArray(), result = new byte[width * height * channels];
            status = StatusOf(() => KyvMathLibrary.Resize(mode, source, from, region, result, to));
            hash = HashOf(result);
        }
        else
        {
            ushort[] source = samples.Select(sample => (ushort)sample).ToArray(), result = new ushort[width * height * channels];
            status = StatusOf(() => KyvMathLibrary.Resize(mode, source, from, region, result, to));
            hash = HashOf(result);
        }
        Console.Write($"resize {(uint)mode} {channels} {bits} {region.X} {width} {height}: {status} {hash}\n");
    }

    private static void Transform(Precision precision)
    {
        const int columns = 10, rows = 12, planes = 3;
        var real = Enumerable.Range(0, columns * rows * planes).Select(k => k * k % 101 / 64.0).ToArray();
        var imag = new double[real.Length];
        var name = precision.ToString().ToLowerInvariant();
        var status = StatusOf(() => KyvMathLibrary.OtfFromPsf(precision, real, imag, real, imag, columns, rows, planes));
        Console.Write($"otf {name}: {status} {HashOf(real)} {HashOf(imag)}\n");
        status = StatusOf(() => KyvMathLibrary.PsfFromOtf(precision, real, imag, real, imag, columns, rows, planes));
        Console.Write($"psf {name}: {status} {HashOf(real)} {HashOf(imag)}\n");
    }

    private static void Expect(bool condition, string what)
    {
        if (!condition) throw new Exception("failed: " + what);
    }

    private static void Refuse(string what, Action call)
    {
        try
        {
            call();
        }
        catch (ArgumentException)
        {
            return;
        }
        throw new Exception("accepted: " + what);
    }

    private static void CheckSpans()
    {
        Refuse("a short source", () => KyvMathLibrary.Resize(Mode.Linear, new byte[15], Small, new byte[16], Small));
        Refuse("a short destination", () => KyvMathLibrary.Resize(Mode.Linear, new byte[16], Small, new byte[15], Small));
        Refuse("a step beyond the span",
            () => KyvMathLibrary.Resize(Mode.Linear, new ushort[29], new Layout(4, 4, 1, 17), new ushort[16], Small));
        KyvMathLibrary.Resize(Mode.Linear, new ushort[30], new Layout(4, 4, 1, 17), new ushort[16], Small);
        Refuse("short planes", () => KyvMathLibrary.OtfFromPsf(Precision.Single, new double[8], new double[8],
            new double[8], new double[7], 2, 2, 2));
        Refuse("huge planes", () => KyvMathLibrary.PsfFromOtf(Precision.Double, new double[8], new double[8],
            new double[8], new double[8], int.MaxValue, int.MaxValue, int.MaxValue));
        KyvMathLibrary.OtfFromPsf(Precision.Double, default, default, default, default, 0, 5);
        Expect(StatusOf(() => KyvMathLibrary.Resize(Mode.Super, new byte[16], Small, new byte[25], new Layout(5, 5, 1))) == 2,
            "super-sampling that enlarges");
        Expect(StatusOf(() => KyvMathLibrary.Resize(Mode.Linear, new byte[16], Small, new byte[48], new Layout(4, 4, 3))) == 96,
            "channels that differ");
        Expect(StatusOf(() => KyvMathLibrary.Resize(Mode.Linear, default(ReadOnlySpan<byte>), new Layout(0, 0, 1),
            new byte[16], Small)) == 96, "an empty image");
        Expect(StatusOf(() => KyvMathLibrary.Resize(Mode.Linear, new byte[16], new Layout(4, 4, 1, -4), new byte[16],
            Small)) == 2, "a negative step");
    }

    private static void CheckNativeMethods()
    {
        byte[] source = new byte[16], result = new byte[4];
        source[5] = 200;
        Expect(NativeMethods.KyvMathInitialize() == Status.Ok, "a second start");
        Expect(NativeMethods.KyvMathResize(Mode.Super, 1, 8, ref source[0], 4, 4, 4, ref result[0], 2, 2, 2) == Status.Ok
            && result[0] == 50, "KyvMathResize");
        Expect(NativeMethods.KyvMathTerminate() == Status.Ok, "KyvMathTerminate");
        Expect(NativeMethods.KyvMathResize(Mode.Super, 1, 8, ref source[0], 4, 4, 4, ref result[0], 2, 2, 2)
            == Status.NotInitialized, "a resize after the end");
        NativeMethods.KyvMathInitialize();
    }

    private static void CheckAssembly()
    {
        var assembly = typeof(KyvMathLibrary).Assembly;
        var references = assembly.GetReferencedAssemblies().Select(reference => reference.FullName).OrderBy(name => name);
        Expect(references.SequenceEqual(new[]
        {
            "System.Memory, Version=4.0.1.2, Culture=neutral, PublicKeyToken=cc7b13ffcd2ddd51",
            "netstandard, Version=2.0.0.0, Culture=neutral, PublicKeyToken=cc7b13ffcd2ddd51"
        }.OrderBy(name => name)), "references: " + string.Join("; ", references));
        Expect(typeof(NativeMethods).GetMethods().Count(method => method.Name.StartsWith("KyvMath")) == 8, "eight functions");
    }

    private static void CheckThreads()
    {
        var source = Enumerable.Range(0, 90000).Select(k => (byte)(k * k)).ToArray();
        var results = new List<byte[]>();
        var threads = Enumerable.Range(0, 8).Select(_ => new Thread(() =>
        {
            var result = new byte[120 * 90 * 3];
            KyvMathLibrary.Resize(Mode.Lanczos, source, new Layout(200, 150, 3), result, new Layout(120, 90, 3));
            lock (results) results.Add(result);
        })).ToList();
        threads.ForEach(thread => thread.Start());
        threads.ForEach(thread => thread.Join());
        Expect(results.Count == 8 && results.All(result => result.SequenceEqual(results[0])), "eight threads");
    }

    private static void Main()
    {
        CheckThreads(); // first, so that they start the library at the same time
        foreach (var bits in new[] { 8, 16 })
        {
            foreach (Mode mode in Enum.GetValues(typeof(Mode)))
            {
                foreach (var channels in new[] { 1, 3, 4 })
                {
                    Resize(mode, channels, bits, new Region(0, 0, Columns, Rows), 30, 20);
                    Resize(mode, channels, bits, new Region(5, 7, 40, 30), 20, 15);
                    Resize(mode, channels, bits, new Region(5, 7, 40, 30), 80, 45);
                }
            }
        }
        Transform(Precision.Single);
        Transform(Precision.Double);
        foreach (var status in new uint[] { 2, 10, 12, 96, 7 })
            Console.Write($"status {status}: {KyvMathException.MessageOf((Status)status)}\n");
        CheckSpans();
        CheckNativeMethods();
        CheckAssembly();
    }
}
