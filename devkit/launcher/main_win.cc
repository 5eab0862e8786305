// talu_launcher: plays the part of the host's parent. See kLauncherHelp in options.cc.
#include <windows.h>

#include <shellapi.h>

#include <array>
#include <vector>

#include "devkit/launcher/host_process_win.h"
#include "devkit/launcher/options.h"

namespace talu {
namespace {

constexpr int kExitUsage = 64;
constexpr int kExitNotStarted = 65;
constexpr wchar_t kUrlFileVariable[] = L"TCAR_LOOPBACK_URL_FILE";
// The address is there before the host is ready; the wait is for a slow disk, and is lost time
// beside the real library, which leaves none.
constexpr DWORD kUrlTimeoutMs = 1000;
constexpr DWORD kUrlPollMs = 10;

HANDLE stopRequested = nullptr;
HANDLE allDone = nullptr;

void Report(const std::string& line) { WriteStream(STD_OUTPUT_HANDLE, line + "\n"); }

void Complain(const std::string& text) {
  WriteStream(STD_ERROR_HANDLE, "talu_launcher: " + text + "\n");
}

BOOL WINAPI OnConsoleControl(DWORD type) {
  SetEvent(stopRequested);
  // Windows ends the process when this returns for a closed console, so the host goes first.
  if (type == CTRL_CLOSE_EVENT) WaitForSingleObject(allDone, INFINITE);
  return TRUE;
}

// Control events go to the programs of one console. Without one that works, as when started from
// Unix by Wine, a hidden one is made, which must not take over the standard streams.
void MakeConsole() {
  if (GetConsoleCP() != 0) return;
  constexpr std::array<DWORD, 3> kStreams{STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  std::array<HANDLE, 3> handles{};
  for (size_t i = 0; i < kStreams.size(); ++i) handles[i] = GetStdHandle(kStreams[i]);
  FreeConsole();
  if (!AllocConsole()) Complain(LastErrorText("AllocConsole"));
  for (size_t i = 0; i < kStreams.size(); ++i) SetStdHandle(kStreams[i], handles[i]);
  const HWND window = GetConsoleWindow();
  if (window != nullptr) ShowWindow(window, SW_HIDE);
}

// Reads standard input to its end; what it holds does not matter.
DWORD WINAPI WatchInput(void*) {
  std::array<char, 256> buffer{};
  DWORD count = 0;
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  while (ReadFile(input, buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
  }
  SetEvent(stopRequested);
  return 0;
}

std::wstring Variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return value;
}

std::wstring TempDirectory() {
  std::array<wchar_t, MAX_PATH + 1> path{};
  return {path.data(), GetTempPathW(path.size(), path.data())};
}

void SetVariables(const LauncherOptions& options) {
  if (!options.tempDirectory.empty()) {
    SetEnvironmentVariableW(L"TMP", Widen(options.tempDirectory).c_str());
    SetEnvironmentVariableW(L"TEMP", Widen(options.tempDirectory).c_str());
  }
  if (!options.localAppData.empty()) {
    SetEnvironmentVariableW(L"LOCALAPPDATA", Widen(options.localAppData).c_str());
  }
  for (const auto& [name, value] : options.environment) {
    SetEnvironmentVariableW(Widen(name).c_str(), Widen(value).c_str());
  }
  if (!options.urlFile.empty()) {
    SetEnvironmentVariableW(kUrlFileVariable, Widen(options.urlFile).c_str());
  } else if (Variable(kUrlFileVariable).empty()) {
    SetEnvironmentVariableW(kUrlFileVariable, (TempDirectory() + L"talu_viewer_url.txt").c_str());
  }
}

std::string FirstLine(const std::wstring& path) {
  const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                     nullptr, OPEN_EXISTING, 0, nullptr));
  std::array<char, 2048> bytes{};
  DWORD count = 0;
  if (file.get() == INVALID_HANDLE_VALUE ||
      !ReadFile(file.get(), bytes.data(), bytes.size(), &count, nullptr)) {
    return "";
  }
  const std::string text(bytes.data(), count);
  return text.substr(0, text.find_first_of("\r\n"));
}

void ReportViewer() {
  const std::wstring path = Variable(kUrlFileVariable);
  for (DWORD waitedMs = 0; waitedMs <= kUrlTimeoutMs; waitedMs += kUrlPollMs) {
    const std::string url = FirstLine(path);
    if (!url.empty()) return Report("viewer=" + url);
    Sleep(kUrlPollMs);
  }
}

void ReportVerdict(Verdict verdict) {
  if (verdict == Verdict::kReady) {
    ReportViewer();
    Report("ready");
  } else if (verdict == Verdict::kFailed) {
    Report("failed");
  }
}

// Waits until the host has ended, or has to be told to.
void WaitForHost(const HostProcess& host, int readySeconds, bool& verdictTold) {
  const std::array<HANDLE, 3> events{host.Ended(), stopRequested, host.VerdictEvent()};
  const DWORD result =
      WaitForMultipleObjects(events.size(), events.data(), FALSE, readySeconds * 1000);
  if (result == WAIT_TIMEOUT) {
    return Complain("no verdict from the host in " + std::to_string(readySeconds) + " s");
  }
  if (result != WAIT_OBJECT_0 + 2) return;
  ReportVerdict(host.GetVerdict());
  verdictTold = true;
  // A host that failed ends by itself.
  if (host.GetVerdict() == Verdict::kFailed) return;
  WaitForMultipleObjects(2, events.data(), FALSE, INFINITE);
}

void StopHost(HostProcess& host, int stopSeconds) {
  const bool ended = WaitForSingleObject(host.Ended(), 0) == WAIT_OBJECT_0;
  if (ended) return;
  if (host.GetVerdict() != Verdict::kFailed) host.AskToStop();
  if (WaitForSingleObject(host.Ended(), stopSeconds * 1000) == WAIT_OBJECT_0) return;
  Complain("the host did not end in " + std::to_string(stopSeconds) + " s; it is killed");
  host.Kill();
}

int Launch(const LauncherOptions& options) {
  SetVariables(options);
  // The address that an earlier run left; there being none is the usual case.
  DeleteFileW(Variable(kUrlFileVariable).c_str());
  const OwnedHandle stop(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const OwnedHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  stopRequested = stop.get();
  allDone = done.get();
  if (stopRequested == nullptr || allDone == nullptr) {
    Complain(LastErrorText("CreateEvent"));
    return kExitNotStarted;
  }
  if (options.stopWay != StopWay::kCloseInput) MakeConsole();
  SetConsoleCtrlHandler(OnConsoleControl, TRUE);

  HostProcess host;
  Report("log=" + Narrow(TempDirectory()) + "talu_host_log.txt");
  const std::string problem = host.Start(options);
  if (!problem.empty()) {
    Complain(problem);
    return kExitNotStarted;
  }
  Report("pid=" + std::to_string(host.ProcessId()));
  const OwnedHandle watcher(CreateThread(nullptr, 0, WatchInput, nullptr, 0, nullptr));
  if (watcher == nullptr) Complain(LastErrorText("CreateThread"));

  bool verdictTold = false;
  WaitForHost(host, options.readySeconds, verdictTold);
  StopHost(host, options.stopSeconds);
  const DWORD code = host.Finish();
  if (!verdictTold) ReportVerdict(host.GetVerdict());
  Report("exit=" + std::to_string(static_cast<int>(code)));
  SetEvent(allDone);
  return static_cast<int>(code);
}

std::vector<std::string> Arguments() {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(Narrow(wide[i]));
  LocalFree(wide);
  return arguments;
}

int Main() {
  LauncherOptions options;
  const std::string problem = ParseLauncherOptions(Arguments(), options);
  if (!problem.empty()) {
    Complain(problem + " (--help tells more)");
    return kExitUsage;
  }
  if (options.help) {
    WriteStream(STD_OUTPUT_HANDLE, kLauncherHelp);
    return 0;
  }
  return Launch(options);
}

}  // namespace
}  // namespace talu

int main() {
  const int code = talu::Main();
  // Not by way of the C run-time library's exit: a thread is blocked reading standard input.
  ExitProcess(static_cast<UINT>(code));
}
