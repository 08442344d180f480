// The shared library as a host meets it: loaded at run time, called through the addresses of its exports.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "KyvMath.h"
#include "trust/process.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

constexpr const char* kExports[] = {
    "KyvMathInitialize",          "KyvMathTerminate",          "KyvMathResize",
    "KyvMathResizeWithRegion",    "KyvMathConvertOtfFromPsf",  "KyvMathConvertPsfFromOtf",
    "KyvMathConvertOtfFromPsf_D", "KyvMathConvertPsfFromOtf_D"};
constexpr const char* kConversions[] = {kExports[4], kExports[5], kExports[6], kExports[7]};

class LoadedLibrary : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(library_.loaded()) << KYVMATH_LIBRARY; }

  template <class Function>
  Function function(const char* name) const {
    const auto found = library_.function<Function>(name);
    EXPECT_NE(found, nullptr) << name;
    return found;
  }

 private:
  kyv::trust::LoadedLibrary library_{KYVMATH_LIBRARY};
};

constexpr std::array<unsigned char, 36> kSource = {1,  2,  3,  4,  5,  6,  11, 22, 33, 44, 55, 66,
                                                   91, 82, 73, 64, 55, 46, 31, 42, 53, 64, 75, 86,
                                                   7,  77, 17, 71, 27, 72, 37, 73, 47, 74, 57, 75};

TEST_F(LoadedLibrary, DoesItsWorkThroughItsEightNames) {
  for (const char* name : kExports) ASSERT_NE(function<void (*)()>(name), nullptr);
  const auto resize = function<KyvMathResizeFn>("KyvMathResize");
  std::array<unsigned char, 9> dst{};
  const auto call = [&] { return resize(KYVMATH_SUPER, 1, 8, kSource.data(), 6, 6, 6, dst.data(), 3, 3, 3); };
  EXPECT_EQ(call(), KYVMATH_NOT_INITIALIZED);
  for (int cycle = 0; cycle < 2; ++cycle) {
    EXPECT_EQ(function<KyvMathInitializeFn>("KyvMathInitialize")(), KYVMATH_OK);
    EXPECT_EQ(call(), KYVMATH_OK);
    EXPECT_EQ(dst[0], (1 + 2 + 11 + 22) / 4);
    EXPECT_EQ(function<KyvMathTerminateFn>("KyvMathTerminate")(), KYVMATH_OK);
  }
  EXPECT_EQ(call(), KYVMATH_NOT_INITIALIZED);

  for (const char* name : kConversions) {
    std::array<double, 1> real{3.5};
    std::array<double, 1> imag{-0.25};
    const auto convert = function<KyvMathConvertFn>(name);
    EXPECT_EQ(convert(real.data(), imag.data(), real.data(), imag.data(), 1, 1, 1), KYVMATH_OK);
    EXPECT_EQ(real[0], 3.5);
    EXPECT_EQ(imag[0], -0.25);
  }
}

#ifdef _WIN32

TEST_F(LoadedLibrary, CarriesItsVersion) {
  const HMODULE module = ::GetModuleHandleA("KyvMath.dll");
  const HRSRC resource = ::FindResourceA(module, MAKEINTRESOURCEA(VS_VERSION_INFO), RT_VERSION);
  ASSERT_NE(resource, nullptr);
  const auto* words = static_cast<const WORD*>(::LockResource(::LoadResource(module, resource)));
  // Length, value length, type, then the name VS_VERSION_INFO, padded: the fixed part follows at byte 40.
  const auto* fixed = reinterpret_cast<const VS_FIXEDFILEINFO*>(words + 20);
  ASSERT_EQ(fixed->dwSignature, 0xFEEF04BDu);
  EXPECT_EQ(fixed->dwFileVersionMS, MAKELONG(KYVMATH_VERSION_MINOR, KYVMATH_VERSION_MAJOR));
  EXPECT_EQ(fixed->dwFileVersionLS, MAKELONG(0, KYVMATH_VERSION_PATCH));
}

#endif

#ifdef __i386__

// Calls `function` with `count` words of arguments from a stack that is `misaligned` bytes off a multiple of
// 16, and tells by how many bytes the stack pointer has moved up when it is back.
extern "C" std::uint32_t call_raw(const void* function, const std::uint32_t* arguments, std::uint32_t count,
                                  std::uint32_t misaligned, std::uint32_t* popped);
__asm__(
    ".text\n"
#ifdef _WIN32
    ".globl _call_raw\n_call_raw:\n"
#else
    ".globl call_raw\n.hidden call_raw\ncall_raw:\n"
#endif
    "  pushl %ebp\n"
    "  movl %esp, %ebp\n"
    "  pushl %ebx\n"
    "  pushl %esi\n"
    "  pushl %edi\n"
    "  movl 16(%ebp), %ecx\n"  // count
    "  movl 12(%ebp), %esi\n"  // arguments
    "  andl $-16, %esp\n"
    "  subl $128, %esp\n"
    "  leal (,%ecx,4), %eax\n"
    "  negl %eax\n"
    "  andl $15, %eax\n"
    "  subl %eax, %esp\n"      // aligned once the arguments are pushed,
    "  subl 20(%ebp), %esp\n"  // but for what is asked for
    "1: testl %ecx, %ecx\n"
    "  jz 2f\n"
    "  pushl -4(%esi,%ecx,4)\n"
    "  decl %ecx\n"
    "  jmp 1b\n"
    "2: movl %esp, %edi\n"
    "  call *8(%ebp)\n"
    "  movl %esp, %edx\n"
    "  subl %edi, %edx\n"
    "  movl 24(%ebp), %ecx\n"
    "  movl %edx, (%ecx)\n"
    "  leal -12(%ebp), %esp\n"
    "  popl %edi\n"
    "  popl %esi\n"
    "  popl %ebx\n"
    "  popl %ebp\n"
    "  ret\n");

std::uint32_t word(const void* pointer) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}

// Working exports remove their own arguments on Windows; elsewhere the caller does.
#ifdef _WIN32
constexpr std::uint32_t kCalleePops = 1;
#else
constexpr std::uint32_t kCalleePops = 0;
#endif

TEST_F(LoadedLibrary, RemovesItsArgumentsAndWorksFromAnyStack) {
  constexpr int size = 16;
  std::vector<double> real(size * size);
  std::vector<double> imag(size * size);
  std::vector<double> expected_real;
  for (std::uint32_t misaligned = 0; misaligned < 16; misaligned += 4) {
    std::uint32_t popped = 99;
    const auto call = [&](const char* name, const std::vector<std::uint32_t>& arguments) {
      return call_raw(reinterpret_cast<const void*>(function<void (*)()>(name)), arguments.data(),
                      static_cast<std::uint32_t>(arguments.size()), misaligned, &popped);
    };
    EXPECT_EQ(call("KyvMathInitialize", {}), KYVMATH_OK);
    EXPECT_EQ(popped, 0u);

    for (const std::uint32_t mode : {1u, 2u, 4u, 8u, 16u}) {
      std::array<unsigned char, 16> dst{};
      EXPECT_EQ(call("KyvMathResize", {mode, 1, 8, word(kSource.data()), 6, 6, 6, word(dst.data()), 4, 4, 4}),
                KYVMATH_OK);
      EXPECT_EQ(popped, 44 * kCalleePops);
      EXPECT_EQ(call("KyvMathResizeWithRegion",
                     {mode, 1, 8, word(kSource.data()), 6, 6, 6, 1, 1, 5, 5, word(dst.data()), 4, 4, 4}),
                KYVMATH_OK);
      EXPECT_EQ(popped, 60 * kCalleePops);
    }
    EXPECT_EQ(call("KyvMathResize", {1, 1, 8, 0, 6, 6, 6, 0, 4, 4, 4}), KYVMATH_BAD_ARGUMENT);
    EXPECT_EQ(popped, 44 * kCalleePops);

    for (const char* name : kConversions) {
      for (std::size_t i = 0; i < real.size(); ++i) real[i] = static_cast<double>(i % 7);
      imag.assign(imag.size(), 0.0);
      EXPECT_EQ(call(name, {word(real.data()), word(imag.data()), word(real.data()), word(imag.data()), size,
                            size, 1}),
                KYVMATH_OK);
      EXPECT_EQ(popped, 28 * kCalleePops);
    }
    if (misaligned == 0) expected_real = real;
    EXPECT_EQ(real, expected_real);

    EXPECT_EQ(call("KyvMathTerminate", {}), KYVMATH_OK);
    EXPECT_EQ(popped, 0u);
  }
}

#endif

}  // namespace
