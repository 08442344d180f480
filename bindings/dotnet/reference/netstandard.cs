// What the binding uses of .NET Standard 2.0, declared and not built: the compiler takes it for netstandard.dll, so
// that the binding refers to the types of any .NET by the names and the assembly that the standard gives them.
// Only members that the compiler looks up itself or the binding names are here.
#pragma warning disable 1591, 659, 660, 661, 169
using System.Reflection;

[assembly: AssemblyVersion("2.0.0.0")]

namespace System
{
    public class Object { public virtual bool Equals(object other) => throw null; public virtual int GetHashCode() => throw null; public virtual string ToString() => throw null; ~Object() { } }
    public abstract class ValueType { }
    public abstract class Enum : ValueType { }
    public sealed class String { }
    public abstract class Array { }
    public abstract class Delegate { }
    public abstract class MulticastDelegate : Delegate { }
    public abstract class Type { }
    public struct Boolean { }
    public struct Byte { }
    public struct SByte { }
    public struct Char { }
    public struct Int16 { }
    public struct UInt16 { }
    public struct Int32 { public const int MaxValue = 0x7FFFFFFF; }
    public struct UInt32 { }
    public struct Int64 { }
    public struct UInt64 { }
    public struct Single { }
    public struct Double { }
    public struct Decimal { }
    public struct IntPtr { }
    public struct UIntPtr { }
    public struct Void { }
    public struct RuntimeTypeHandle { }
    public struct RuntimeFieldHandle { }
    public struct RuntimeMethodHandle { }
    public struct RuntimeArgumentHandle { }
    public struct TypedReference { }
    public struct ArgIterator { }
    public interface IDisposable { void Dispose(); }

    public class Exception { public Exception(string message) { } }
    public class SystemException : Exception { public SystemException(string message) : base(message) { } }
    public class ArgumentException : SystemException { public ArgumentException(string message, string paramName) : base(message) { } }
    public static class Math { public static int Min(int a, int b) => throw null; }

    [AttributeUsage(AttributeTargets.All, Inherited = true, AllowMultiple = false)]
    public abstract class Attribute { protected Attribute() { } }
    public enum AttributeTargets { All = 32767 }
    public sealed class AttributeUsageAttribute : Attribute
    {
        public AttributeUsageAttribute(AttributeTargets targets) { }
        public bool Inherited { get => throw null; set => throw null; }
        public bool AllowMultiple { get => throw null; set => throw null; }
    }
    public sealed class ParamArrayAttribute : Attribute { }
}

namespace System.Collections
{
    public interface IEnumerable { IEnumerator GetEnumerator(); }
    public interface IEnumerator { }
}

namespace System.Reflection
{
    public sealed class AssemblyVersionAttribute : Attribute { public AssemblyVersionAttribute(string version) { } }
    public sealed class AssemblyInformationalVersionAttribute : Attribute { public AssemblyInformationalVersionAttribute(string version) { } }
    public sealed class DefaultMemberAttribute : Attribute { public DefaultMemberAttribute(string name) { } }
}

namespace System.Runtime.Versioning
{
    public sealed class TargetFrameworkAttribute : Attribute { public TargetFrameworkAttribute(string name) { } }
}

namespace System.Runtime.InteropServices
{
    public enum CallingConvention { Cdecl = 2, StdCall = 3 }
    public sealed class DllImportAttribute : Attribute
    {
        public DllImportAttribute(string name) { }
        public CallingConvention CallingConvention;
        public bool ExactSpelling;
    }
    public sealed class OutAttribute : Attribute { }
    public sealed class InAttribute : Attribute { }
}

namespace System.Runtime.CompilerServices
{
    public sealed class CompilerGeneratedAttribute : Attribute { }
    public sealed class ExtensionAttribute : Attribute { }
    public sealed class IsByRefLikeAttribute : Attribute { }
    public sealed class IsReadOnlyAttribute : Attribute { }
    public sealed class IsVolatile { }
    public sealed class RuntimeCompatibilityAttribute : Attribute { public bool WrapNonExceptionThrows; }
    public static class RuntimeHelpers { }
}
