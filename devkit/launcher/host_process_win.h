// The host as a child process: piped input and standard error, no standard output.
//
// Owned by the launcher's main thread, which alone calls it; a thread of its own passes the host's
// standard error on and watches it for the verdict on the start.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>

#include "devkit/launcher/options.h"

namespace talu {

struct HandleCloser {
  void operator()(HANDLE handle) const {
    if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
  }
};
using OwnedHandle = std::unique_ptr<void, HandleCloser>;

enum class Verdict { kNone, kReady, kFailed };

class HostProcess {
 public:
  HostProcess() = default;
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  // Starts options.host with this process's environment. Returns what went wrong, or nothing.
  std::string Start(const LauncherOptions& options);

  // Signalled when the process has ended.
  HANDLE Ended() const { return process.get(); }
  // Signalled when the verdict is there.
  HANDLE VerdictEvent() const { return verdictEvent.get(); }
  Verdict GetVerdict() const { return verdict; }
  DWORD ProcessId() const { return processId; }

  // Tells the host to stop; does not wait.
  void AskToStop();
  void Kill();

  // After the end: waits shortly until all of the host's standard error has been passed on, and
  // returns the exit code.
  DWORD Finish();

 private:
  static DWORD WINAPI ReadErrors(void* self);

  StopWay stopWay = StopWay::kCloseInput;
  DWORD processId = 0;
  OwnedHandle process;
  OwnedHandle input;
  OwnedHandle errors;
  OwnedHandle reader;
  OwnedHandle verdictEvent;
  std::atomic<Verdict> verdict{Verdict::kNone};
};

// UTF-8 to UTF-16 and back; bytes that are none become the replacement character.
std::wstring Widen(const std::string& text);
std::string Narrow(const std::wstring& text);

// "name failed (error N)" for the calling thread's last error.
std::string LastErrorText(const char* name);

// Writes all of text to one of the standard streams as it stands; a reader that has gone is no
// error, since the launcher's work goes on without it.
void WriteStream(DWORD stream, const std::string& text);

}  // namespace talu
