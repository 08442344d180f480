#pragma once

#include <cstdint>

namespace kyv::thread {

class TaskPool;

using TaskFunction = std::uint32_t (*)(void* argument);

// One piece of work for one worker, and its result.
struct TaskRecord {
  TaskPool* pool = nullptr;  // told when the task is done; may be null
  TaskFunction function = nullptr;
  void* argument = nullptr;
  std::uint32_t result = 0;
};

}  // namespace kyv::thread
