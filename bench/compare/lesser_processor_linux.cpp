#include <asm/prctl.h>
#include <cpuid.h>
#include <signal.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "compare/lesser_processor.h"

namespace kyv::bench {
namespace {

constexpr std::uint32_t bit(int n) { return 1u << n; }

// The features that are not told of.
struct Hidden {
  std::uint32_t leaf1_ecx = 0;
  std::uint32_t leaf7_ebx = 0;
  std::uint32_t leaf7_ecx = 0;
};

constexpr std::uint32_t kAvx512 = bit(16) | bit(17) | bit(21) | bit(28) | bit(30) | bit(31);
constexpr std::uint32_t kVbmi = bit(1) | bit(6);
constexpr Hidden kBelowVbmi = {.leaf7_ecx = kVbmi};
constexpr Hidden kBelowAvx512 = {.leaf7_ebx = kAvx512, .leaf7_ecx = kVbmi};
constexpr Hidden kBelowAvx = {
    .leaf1_ecx = bit(12) | bit(28), .leaf7_ebx = kAvx512 | bit(5), .leaf7_ecx = kVbmi};
Hidden hidden_below(const std::string& name) {
  if (name == "avx512") return kBelowVbmi;
  if (name == "avx2") return kBelowAvx512;
  if (name == "sse2") return kBelowAvx;
  throw std::invalid_argument("no kernel set '" + name + "' to choose: avx512, avx2 or sse2");
}

#if defined(__x86_64__)
constexpr int kIp = REG_RIP, kAx = REG_RAX, kBx = REG_RBX, kCx = REG_RCX, kDx = REG_RDX;
#else
constexpr int kIp = REG_EIP, kAx = REG_EAX, kBx = REG_EBX, kCx = REG_ECX, kDx = REG_EDX;
#endif

Hidden g_hidden;
volatile sig_atomic_t g_asked = 0;
struct sigaction g_former;

bool let_cpuid_run(bool run) { return syscall(SYS_arch_prctl, ARCH_SET_CPUID, run ? 1 : 0) == 0; }

void answer_cpuid(greg_t* registers) {
  const auto leaf = static_cast<unsigned>(registers[kAx]);
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  let_cpuid_run(true);
  __cpuid_count(leaf, static_cast<unsigned>(registers[kCx]), a, b, c, d);
  let_cpuid_run(false);
  if (leaf == 1) {
    c &= ~g_hidden.leaf1_ecx;
    g_asked = 1;
  } else if (leaf == 7) {
    b &= ~g_hidden.leaf7_ebx;
    c &= ~g_hidden.leaf7_ecx;
  }
  registers[kAx] = static_cast<greg_t>(a);
  registers[kBx] = static_cast<greg_t>(b);
  registers[kCx] = static_cast<greg_t>(c);
  registers[kDx] = static_cast<greg_t>(d);
}

void on_fault(int, siginfo_t*, void* context) {
  greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  constexpr unsigned char cpuid[] = {0x0F, 0xA2};
  if (std::memcmp(reinterpret_cast<const void*>(registers[kIp]), cpuid, sizeof cpuid) == 0) {
    answer_cpuid(registers);
    registers[kIp] += static_cast<greg_t>(sizeof cpuid);
  } else {
    sigaction(SIGSEGV, &g_former, nullptr);  // a fault of its own: it happens once more and ends the program
  }
}

}  // namespace

LesserProcessor::LesserProcessor(const std::string& name) {
  g_hidden = hidden_below(name);
  g_asked = 0;
  struct sigaction action = {};
  action.sa_sigaction = on_fault;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, &g_former);
  if (let_cpuid_run(false)) return;
  sigaction(SIGSEGV, &g_former, nullptr);
  throw std::runtime_error("this machine cannot hide what the processor has; kernel sets cannot be chosen");
}

LesserProcessor::~LesserProcessor() {
  let_cpuid_run(true);
  sigaction(SIGSEGV, &g_former, nullptr);
}

bool LesserProcessor::was_asked() const { return g_asked != 0; }

}  // namespace kyv::bench
