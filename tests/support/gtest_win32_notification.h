// Stands in for the one thread facility that GoogleTest takes from the C++ library, which the win32 thread
// model of MinGW does not have. Included before everything else in each unit that sees GoogleTest.
#ifdef __cplusplus
#define GTEST_HAS_NOTIFICATION_ 1

#define WIN32_LEAN_AND_MEAN
#define NOMINMAX
#include <windows.h>

namespace testing::internal {

class Notification {
 public:
  Notification() : event_(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
  Notification(const Notification&) = delete;
  Notification& operator=(const Notification&) = delete;
  ~Notification() { ::CloseHandle(event_); }

  void Notify() { ::SetEvent(event_); }
  void WaitForNotification() { ::WaitForSingleObject(event_, INFINITE); }

 private:
  HANDLE event_;
};

}  // namespace testing::internal
#endif
