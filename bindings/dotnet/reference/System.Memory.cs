// What the binding uses of the package System.Memory, declared and not built: see netstandard.cs.
#pragma warning disable 1591
using System.Reflection;

[assembly: AssemblyVersion("4.0.1.2")]

namespace System
{
    public readonly ref struct Span<T> { public int Length => throw null; }
    public readonly ref struct ReadOnlySpan<T> { public int Length => throw null; }
}

namespace System.Runtime.InteropServices
{
    public static class MemoryMarshal
    {
        public static Span<byte> AsBytes<T>(Span<T> span) where T : struct => throw null;
        public static ReadOnlySpan<byte> AsBytes<T>(ReadOnlySpan<T> span) where T : struct => throw null;
        public static ref T GetReference<T>(Span<T> span) => throw null;
        public static ref T GetReference<T>(ReadOnlySpan<T> span) => throw null;
    }
}
