# Turns declarations (bindings/dotnet/reference/*.cs) into an assembly that forwards each type to the run-time's
# own: what .NET brings with it as netstandard.dll and System.Memory.dll, and Debian's Mono does not.
/^\[assembly: AssemblyVersion/ { sub("AssemblyVersion", "System.Reflection.AssemblyVersion"); print }
/^namespace / { namespace = $2 }
/^ *public ([a-z]+ )*(class|struct|enum|interface) / && /^    public/ {
  match($0, /(class|struct|enum|interface) [A-Za-z0-9]+(<T>)?/)
  split(substr($0, RSTART, RLENGTH), words, " ")
  sub("<T>", "<>", words[2])
  if (words[2] != "Void")
    print "[assembly: System.Runtime.CompilerServices.TypeForwardedTo(typeof(" namespace "." words[2] "))]"
}
