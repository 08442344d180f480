// Objects made through the platform's allocator: a failed allocation is a null pointer, never an exception.
#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/platform.h"

namespace kyv::runtime {

struct ObjectDeleter {
  template <class T>
  void operator()(T* object) const noexcept {
    object->~T();
    platform::services.free(object);
  }
};

template <class T>
using Owned = std::unique_ptr<T, ObjectDeleter>;

// A new T, or null when there is no memory.
template <class T, class... Arguments>
Owned<T> make_object(Arguments&&... arguments) {
  static_assert(std::is_nothrow_constructible_v<T, Arguments...>);
  static_assert(alignof(T) <= 8, "the platform's allocator promises no more on 32-bit targets");
  void* memory = platform::services.malloc(sizeof(T));
  if (memory == nullptr) return nullptr;
  return Owned<T>(::new (memory) T(std::forward<Arguments>(arguments)...));
}

}  // namespace kyv::runtime
