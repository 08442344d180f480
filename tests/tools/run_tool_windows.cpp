#include <windows.h>

#include <stdexcept>

#include "platform.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

HANDLE inheritable_file(const std::filesystem::path& name) {
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  return CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
}

}  // namespace

ToolRun run_tool(const std::vector<std::string>& arguments, const std::filesystem::path&) {
  const ScratchFolder folder;
  const auto tool =
      platform::executable_path().parent_path().parent_path().parent_path() / "bin" / "kyvmath.exe";
  std::wstring line = L"\"" + tool.wstring() + L"\"";
  for (const std::string& argument : arguments) {
    line += L" \"" + std::filesystem::path(std::u8string(argument.begin(), argument.end())).wstring() + L"\"";
  }
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdOutput = inheritable_file(folder / "stdout");
  start.hStdError = inheritable_file(folder / "stderr");
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process) ==
      0) {
    throw std::runtime_error("the tool could not be started");
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(process.hProcess, &status);
  for (HANDLE handle : {process.hProcess, process.hThread, start.hStdOutput, start.hStdError})
    CloseHandle(handle);
  return {static_cast<int>(status), text_of(folder / "stdout"), text_of(folder / "stderr"), 0};
}

}  // namespace kyv::host::test
