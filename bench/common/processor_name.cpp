#include <cpuid.h>

#include <cstring>

#include "common/host.h"

namespace kyv::bench {

std::string processor_name() {
  unsigned words[12] = {};
  for (unsigned leaf = 0; leaf < 3; ++leaf) {
    unsigned* const w = words + 4 * leaf;
    if (__get_cpuid(0x80000002u + leaf, &w[0], &w[1], &w[2], &w[3]) == 0) return "unknown processor";
  }
  char text[sizeof words + 1] = {};
  std::memcpy(text, words, sizeof words);
  const std::string name(text);
  return name.substr(name.find_first_not_of(' '));
}

}  // namespace kyv::bench
