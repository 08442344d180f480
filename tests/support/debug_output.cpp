#include "support/debug_output.h"

#ifdef _WIN32

#include <windows.h>

namespace kyv::testing_support {
namespace {

constexpr DWORD kPrintException = 0x40010006;  // raised by OutputDebugStringA

CRITICAL_SECTION g_lock;
std::string* g_text = nullptr;
void* g_handler = nullptr;

LONG CALLBACK keep_text(EXCEPTION_POINTERS* exception) {
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kPrintException) return EXCEPTION_CONTINUE_SEARCH;
  ::EnterCriticalSection(&g_lock);
  g_text->append(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  ::LeaveCriticalSection(&g_lock);
  return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

DebugOutput::DebugOutput() {
  ::InitializeCriticalSection(&g_lock);
  g_text = new std::string;
  g_handler = ::AddVectoredExceptionHandler(1, keep_text);
}

DebugOutput::~DebugOutput() {
  ::RemoveVectoredExceptionHandler(g_handler);
  delete g_text;
  ::DeleteCriticalSection(&g_lock);
}

std::string DebugOutput::text() {
  ::EnterCriticalSection(&g_lock);
  const std::string text = std::move(*g_text);
  g_text->clear();
  ::LeaveCriticalSection(&g_lock);
  return text;
}

}  // namespace kyv::testing_support

#else

#include <gtest/gtest.h>

namespace kyv::testing_support {

DebugOutput::DebugOutput() { ::testing::internal::CaptureStderr(); }

DebugOutput::~DebugOutput() { ::testing::internal::GetCapturedStderr(); }

std::string DebugOutput::text() {
  std::string text = ::testing::internal::GetCapturedStderr();
  ::testing::internal::CaptureStderr();
  return text;
}

}  // namespace kyv::testing_support

#endif
