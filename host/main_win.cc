#include <windows.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "base/log.h"
#include "encoder/h264_encoder.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/run_state.h"
#include "session/push_session.h"

namespace talu {
namespace {

// A contract with the parent process.
constexpr int kExitStopped = 0;
constexpr int kExitStartFailed = 1;
constexpr int kExitOptionMissing = 2;

BOOL WINAPI ConsoleCtrlHandler(DWORD type) {
  const bool stops = type == CTRL_C_EVENT || type == CTRL_BREAK_EVENT || type == CTRL_CLOSE_EVENT;
  if (!stops) {
    return FALSE;
  }
  g_running.store(false);
  return TRUE;
}

int64_t NowMsSince1970() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// One line for the parent, which reads the verdict from a pipe.
void TellParent(const char* verdict) {
  std::fputs(verdict, stderr);
  std::fflush(stderr);
}

int Run(int argumentCount, char** arguments) {
  OpenLogFile();
  const HostConfig config = ParseOptions(argumentCount, arguments, NowMsSince1970());
  if (config.force_software) {
    SetEncoderPreference(true);
  }
  if (!HasRequiredOptions(config)) {
    LogPrintf("[host] 缺少必填参数 --instance-id/--token/--access-info\n");
    return kExitOptionMissing;
  }
  SetConsoleCtrlHandler(ConsoleCtrlHandler,
                        TRUE);  // Without it only standard input stops the host.
  auto session = std::make_unique<PushSession>();
  if (!session->Start(config)) {
    LogPrintf("[host] push start FAILED, exit\n");
    TellParent("[host] FAILED\n");
    return kExitStartFailed;
  }
  LogPrintf("[host] push READY (instance_id=%s), running in separate process\n",
            config.instance_id.c_str());
  FlushLog();
  TellParent("[host] READY\n");
  std::thread stdinWatcher(StdinWatcher);
  WaitWhileRunning();
  LogPrintf("[host] 正在停止...\n");
  session->Stop();
  g_running.store(false);
  stdinWatcher.detach();
  LogPrintf("[host] 已退出\n");
  return kExitStopped;
}

// Ends the process without the C runtime's own exit, which would wait for the lock of the stream
// that the standard-input watcher may be blocked in, and without running into the self-test's
// thread. Everything of this program's has been taken down by then, and the log is unbuffered.
[[noreturn]] void EndProcess(int exitCode) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
  std::abort();  // Not reached.
}

}  // namespace
}  // namespace talu

int main(int argumentCount, char** arguments) {
  talu::EndProcess(talu::Run(argumentCount, arguments));
}
