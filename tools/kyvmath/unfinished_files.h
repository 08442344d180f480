#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

namespace kyv::host::platform {

// The names of files that must not outlive an interrupted program, readable from a signal handler: fixed
// storage, no locks, no allocation.
template <typename Char, std::size_t kLongestName>
class UnfinishedFiles {
 public:
  // Returns the slot, or -1 when the name is too long or all slots are taken.
  int add(std::basic_string_view<Char> name) {
    if (name.size() >= kLongestName) return -1;
    for (std::size_t i = 0; i < slots_.size(); ++i) {
      int free = kFree;
      if (!slots_[i].state.compare_exchange_strong(free, kFilling)) continue;
      name.copy(slots_[i].name.data(), name.size());
      slots_[i].name[name.size()] = Char{};
      slots_[i].state = kNamed;
      return static_cast<int>(i);
    }
    return -1;
  }

  void remove(int slot) {
    if (slot >= 0) slots_[static_cast<std::size_t>(slot)].state = kFree;
  }

  template <typename Action>
  void for_each(Action action) const {
    for (const Slot& slot : slots_) {
      if (slot.state == kNamed) action(slot.name.data());
    }
  }

 private:
  enum State { kFree, kFilling, kNamed };
  struct Slot {
    std::atomic<int> state{kFree};
    std::array<Char, kLongestName> name{};
  };
  std::array<Slot, 64> slots_{};
};

}  // namespace kyv::host::platform
