#include "devkit/launcher/host_process_win.h"

#include <array>
#include <vector>

#include "devkit/launcher/command_text.h"

namespace talu {
namespace {

constexpr DWORD kKilledExitCode = 66;
constexpr DWORD kDrainTimeoutMs = 2000;
constexpr DWORD kLoadTimeoutMs = 60'000;

// A pipe whose end for the child is inheritable and whose own end is not.
bool MakePipe(OwnedHandle& readEnd, OwnedHandle& writeEnd, bool childReads) {
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  if (!CreatePipe(&reading, &writing, &inheritable, 0)) return false;
  readEnd.reset(reading);
  writeEnd.reset(writing);
  return SetHandleInformation(childReads ? writing : reading, HANDLE_FLAG_INHERIT, 0) != 0;
}

OwnedHandle OpenNull() {
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  return OwnedHandle(CreateFileW(L"NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                 &inheritable, OPEN_EXISTING, 0, nullptr));
}

// The only handles that the child inherits, whatever else is inheritable in this process.
class InheritedHandles {
 public:
  explicit InheritedHandles(std::vector<HANDLE> inherited) : handles(std::move(inherited)) {
    SIZE_T bytes = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);
    storage.resize(bytes);
    auto* made = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(storage.data());
    if (!InitializeProcThreadAttributeList(made, 1, 0, &bytes)) return;
    list = made;
    if (!UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                   handles.size() * sizeof(HANDLE), nullptr, nullptr)) {
      DeleteProcThreadAttributeList(list);
      list = nullptr;
    }
  }
  ~InheritedHandles() {
    if (list != nullptr) DeleteProcThreadAttributeList(list);
  }
  InheritedHandles(const InheritedHandles&) = delete;
  InheritedHandles& operator=(const InheritedHandles&) = delete;

  LPPROC_THREAD_ATTRIBUTE_LIST List() const { return list; }

 private:
  std::vector<HANDLE> handles;
  std::vector<std::byte> storage;
  LPPROC_THREAD_ATTRIBUTE_LIST list = nullptr;
};

// Has process, which has not begun yet, load a library first. Returns what went wrong, or nothing.
std::string LoadInto(HANDLE process, const std::wstring& file) {
  const size_t bytes = (file.size() + 1) * sizeof(wchar_t);
  // Goes with the process.
  void* const place = VirtualAllocEx(process, nullptr, bytes, MEM_COMMIT, PAGE_READWRITE);
  if (place == nullptr || !WriteProcessMemory(process, place, file.c_str(), bytes, nullptr)) {
    return LastErrorText("WriteProcessMemory");
  }
  // kernel32.dll lies at one address in all processes.
  const FARPROC load = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "LoadLibraryW");
  const OwnedHandle thread(CreateRemoteThread(
      process, nullptr, 0, reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(load)),
      place, 0, nullptr));
  if (thread == nullptr) return LastErrorText("CreateRemoteThread");
  DWORD loaded = 0;
  if (WaitForSingleObject(thread.get(), kLoadTimeoutMs) != WAIT_OBJECT_0 ||
      !GetExitCodeThread(thread.get(), &loaded) || loaded == 0) {
    return "the library was not loaded";
  }
  return "";
}

}  // namespace

HostProcess::~HostProcess() {
  if (reader == nullptr) return;
  // Unblocks a reader whose pipe some other process still holds open.
  CancelSynchronousIo(reader.get());
  WaitForSingleObject(reader.get(), kDrainTimeoutMs);
}

std::string HostProcess::Start(const LauncherOptions& options) {
  stopWay = options.stopWay;
  OwnedHandle childInput;
  OwnedHandle childErrors;
  if (!MakePipe(childInput, input, true) || !MakePipe(errors, childErrors, false)) {
    return LastErrorText("CreatePipe");
  }
  const OwnedHandle null = OpenNull();
  if (null.get() == INVALID_HANDLE_VALUE) return LastErrorText("opening NUL");
  verdictEvent.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (verdictEvent == nullptr) return LastErrorText("CreateEvent");
  const InheritedHandles inherited({childInput.get(), childErrors.get(), null.get()});
  if (inherited.List() == nullptr) return LastErrorText("UpdateProcThreadAttribute");

  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = childInput.get();
  startup.StartupInfo.hStdOutput = null.get();
  startup.StartupInfo.hStdError = childErrors.get();
  startup.lpAttributeList = inherited.List();
  // A terminal's Ctrl+C is for the launcher, which then stops the host the chosen way; only as a
  // member of the launcher's own group can the host be sent one.
  const DWORD group = stopWay == StopWay::kCtrlC ? 0 : CREATE_NEW_PROCESS_GROUP;
  const DWORD pause = options.loadedLibrary.empty() ? 0 : CREATE_SUSPENDED;
  std::wstring commandLine = Widen(JoinArguments(options.host));
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                      EXTENDED_STARTUPINFO_PRESENT | group | pause, nullptr, nullptr,
                      &startup.StartupInfo, &started)) {
    return LastErrorText(("starting " + options.host.front()).c_str());
  }
  const OwnedHandle mainThread(started.hThread);
  process.reset(started.hProcess);
  processId = started.dwProcessId;
  if (pause != 0) {
    const std::string problem = LoadInto(process.get(), Widen(options.loadedLibrary));
    if (!problem.empty()) {
      Kill();
      return "loading " + options.loadedLibrary + ": " + problem;
    }
    ResumeThread(mainThread.get());
  }
  reader.reset(CreateThread(nullptr, 0, ReadErrors, this, 0, nullptr));
  return reader == nullptr ? LastErrorText("CreateThread") : "";
}

DWORD WINAPI HostProcess::ReadErrors(void* self) {
  auto& host = *static_cast<HostProcess*>(self);
  LineCutter lines([&host](std::string_view line) {
    if (line != "[host] READY" && line != "[host] FAILED") return;
    host.verdict = line == "[host] READY" ? Verdict::kReady : Verdict::kFailed;
    SetEvent(host.verdictEvent.get());
  });
  std::array<char, 4096> buffer{};
  DWORD count = 0;
  while (ReadFile(host.errors.get(), buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
    const std::string bytes(buffer.data(), count);
    WriteStream(STD_ERROR_HANDLE, bytes);
    lines.Feed(bytes);
  }
  return 0;
}

void HostProcess::AskToStop() {
  if (stopWay == StopWay::kCloseInput) {
    input.reset();
  } else if (!GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) {
    WriteStream(STD_ERROR_HANDLE, LastErrorText("GenerateConsoleCtrlEvent") + "\n");
  }
}

void HostProcess::Kill() {
  TerminateProcess(process.get(), kKilledExitCode);
  // Ends in no time; should the system fail to end it, there is nothing left to try.
  WaitForSingleObject(process.get(), kDrainTimeoutMs);
}

DWORD HostProcess::Finish() {
  WaitForSingleObject(reader.get(), kDrainTimeoutMs);
  DWORD code = kKilledExitCode;
  return GetExitCodeProcess(process.get(), &code) && code != STILL_ACTIVE ? code : kKilledExitCode;
}

std::wstring Widen(const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), length);
  return wide;
}

std::string Narrow(const std::wstring& text) {
  const int units = static_cast<int>(text.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<size_t>(length), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), units, narrow.data(), length, nullptr, nullptr);
  return narrow;
}

std::string LastErrorText(const char* name) {
  return std::string(name) + " failed (error " + std::to_string(GetLastError()) + ")";
}

void WriteStream(DWORD stream, const std::string& text) {
  const HANDLE handle = GetStdHandle(stream);
  DWORD done = 0;
  for (size_t start = 0; start < text.size(); start += done) {
    const auto rest = static_cast<DWORD>(text.size() - start);
    if (!WriteFile(handle, text.data() + start, rest, &done, nullptr) || done == 0) return;
  }
}

}  // namespace talu
