// Stands in for the host: does what its first argument says.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

HANDLE stopEvent = nullptr;

BOOL WINAPI OnControl(DWORD type) {
  if (type > CTRL_BREAK_EVENT) return FALSE;
  std::fprintf(stderr, "control %lu\n", type);
  std::fflush(stderr);
  SetEvent(stopEvent);
  return TRUE;
}

DWORD WINAPI ReadToEnd(void*) {
  char line[256];
  while (std::fgets(line, sizeof(line), stdin) != nullptr) {
  }
  std::fprintf(stderr, "input ended\n");
  std::fflush(stderr);
  SetEvent(stopEvent);
  return 0;
}

int RunUntilStopped(int code) {
  stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(OnControl, TRUE);
  CreateThread(nullptr, 0, ReadToEnd, nullptr, 0, nullptr);
  std::fprintf(stderr, "[host] READY\n");
  std::fflush(stderr);
  WaitForSingleObject(stopEvent, 60'000);
  ExitProcess(code);
}

void LeaveUrl() {
  wchar_t path[MAX_PATH] = {};
  GetEnvironmentVariableW(L"TCAR_LOOPBACK_URL_FILE", path, MAX_PATH);
  FILE* file = _wfopen(path, L"wb");
  if (file == nullptr) return;
  std::fputs("http://127.0.0.1:1/?token=t\n", file);
  std::fclose(file);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "run") return RunUntilStopped(0);
  if (mode == "run-url") {
    LeaveUrl();
    return RunUntilStopped(0);
  }
  if (mode == "run-9") return RunUntilStopped(9);
  if (mode == "fail") {
    std::fprintf(stderr, "[host] FAILED\n");
    return 1;
  }
  if (mode == "quiet") return 2;
  if (mode == "stuck") {
    std::fprintf(stderr, "[host] READY\n");
    Sleep(600'000);
    return 0;
  }
  if (mode == "mute") {
    Sleep(600'000);
    return 0;
  }
  if (mode == "show") {
    for (const char* name : {"TMP", "TEMP", "LOCALAPPDATA", "EXTRA"}) {
      const char* value = std::getenv(name);
      std::fprintf(stderr, "%s=%s\n", name, value != nullptr ? value : "(none)");
    }
    for (int i = 2; i < argc; ++i) std::fprintf(stderr, "<%s>\n", argv[i]);
    return 0;
  }
  return 99;
}
