#include "devkit/sweep/control_server.h"

#include <winsock2.h>

#include <windows.h>

#include <array>
#include <sstream>

#include "devkit/sweep/watched_calls.h"

namespace talu {
namespace {

std::wstring portPath;

void WritePort(uint16_t port) {
  const std::wstring fresh = portPath + L".new";
  const HANDLE file =
      CreateFileW(fresh.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  const std::string text = std::to_string(port) + "\n";
  DWORD written = 0;
  WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  CloseHandle(file);
  MoveFileExW(fresh.c_str(), portPath.c_str(), MOVEFILE_REPLACE_EXISTING);
}

SOCKET Listen() {
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return INVALID_SOCKET;
  const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int length = sizeof(address);
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, plain, length) != 0 || listen(listener, 1) != 0 ||
      getsockname(listener, plain, &length) != 0) {
    return INVALID_SOCKET;
  }
  WritePort(ntohs(address.sin_port));
  return listener;
}

void Serve(SOCKET connection) {
  std::string waiting;
  std::array<char, 1024> bytes;
  while (true) {
    const int count = recv(connection, bytes.data(), bytes.size(), 0);
    if (count <= 0) return;
    waiting.append(bytes.data(), static_cast<size_t>(count));
    for (size_t end = waiting.find('\n'); end != std::string::npos; end = waiting.find('\n')) {
      const std::string answer = ObeyControlLine(waiting.substr(0, end)) + "\n";
      waiting.erase(0, end + 1);
      for (size_t sent = 0; sent < answer.size();) {
        const int more =
            send(connection, answer.data() + sent, static_cast<int>(answer.size() - sent), 0);
        if (more <= 0) return;
        sent += static_cast<size_t>(more);
      }
    }
  }
}

DWORD WINAPI RunServer(void*) {
  const SOCKET listener = Listen();
  if (listener == INVALID_SOCKET) return 1;
  while (true) {
    const SOCKET connection = accept(listener, nullptr, nullptr);
    if (connection == INVALID_SOCKET) return 1;
    Serve(connection);
    closesocket(connection);
  }
}

}  // namespace

std::string ObeyControlLine(const std::string& line) {
  std::istringstream words(line);
  std::string order;
  words >> order;
  if (order == "disarm") return "struck " + std::to_string(Disarm());
  if (order == "status") return DescribeCalls();
  if (order != "arm") return "unknown order";
  Fault fault;
  std::string way;
  words >> fault.call >> fault.from >> fault.to >> fault.value >> fault.lastError >> way;
  if (!words || (way != "instead" && way != "after")) return "ill-formed order";
  fault.afterCall = way == "after";
  Arm(fault);
  return "ok";
}

void StartControlServer(const std::wstring& portFile) {
  portPath = portFile;
  const HANDLE thread = CreateThread(nullptr, 0, RunServer, nullptr, 0, nullptr);
  // Without it the sweep finds no port, and says so.
  if (thread != nullptr) CloseHandle(thread);
}

}  // namespace talu
