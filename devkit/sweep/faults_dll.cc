// talu_faults.dll: loaded into the unmodified host before its first instruction, it stands between
// the host and everything that the host calls.
//
//   TALU_FAULTS_PORT    a file that gets the number of the port of the control server
//   TALU_FAULTS_REPORT  a file that gets what control_server.h and watched_calls.h say
//   TALU_FAULTS_FIRST   an order to carry out before the host runs
#include <windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "devkit/sweep/control_server.h"
#include "devkit/sweep/watched_calls.h"

namespace talu {
namespace {

// Data, and functions that look at their caller's frame.
constexpr std::array<std::string_view, 19> kLeftAlone{"_acmdln",
                                                      "_commode",
                                                      "_fmode",
                                                      "__initenv",
                                                      "_setjmp",
                                                      "longjmp",
                                                      "RaiseException",
                                                      "RtlCaptureContext",
                                                      "RtlLookupFunctionEntry",
                                                      "RtlUnwindEx",
                                                      "RtlVirtualUnwind",
                                                      "__C_specific_handler",
                                                      "GetThreadContext",
                                                      "SetThreadContext",
                                                      "_amsg_exit",
                                                      "abort",
                                                      "exit",
                                                      "_cexit",
                                                      "_endthreadex"};

std::wstring Variable(const wchar_t* name) {
  std::array<wchar_t, 1024> value{};
  const DWORD length =
      GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
  return {value.data(), length < value.size() ? length : 0};
}

template <typename Type>
Type* At(uint8_t* image, DWORD offset) {
  return reinterpret_cast<Type*>(image + offset);
}

void WatchImport(uint8_t* image, const IMAGE_THUNK_DATA& name, IMAGE_THUNK_DATA& place) {
  if (IMAGE_SNAP_BY_ORDINAL(name.u1.Ordinal)) return;
  const char* const text =
      At<IMAGE_IMPORT_BY_NAME>(image, static_cast<DWORD>(name.u1.AddressOfData))->Name;
  if (std::find(kLeftAlone.begin(), kLeftAlone.end(), text) != kLeftAlone.end()) return;
  DWORD protection = 0;
  if (!VirtualProtect(&place, sizeof(place), PAGE_READWRITE, &protection)) return;
  place.u1.Function =
      reinterpret_cast<ULONGLONG>(WatchFunction(text, reinterpret_cast<void*>(place.u1.Function)));
  VirtualProtect(&place, sizeof(place), protection, &protection);
}

void WatchHost() {
  auto* const image = reinterpret_cast<uint8_t*>(GetModuleHandleW(nullptr));
  const auto* const headers = At<IMAGE_NT_HEADERS>(
      image, static_cast<DWORD>(reinterpret_cast<IMAGE_DOS_HEADER*>(image)->e_lfanew));
  SetHostImage(image, headers->OptionalHeader.SizeOfImage);
  const DWORD imports =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(image, imports); library->Name != 0; ++library) {
    auto* name = At<IMAGE_THUNK_DATA>(image, library->OriginalFirstThunk);
    auto* place = At<IMAGE_THUNK_DATA>(image, library->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++place) WatchImport(image, *name, *place);
  }
}

void Begin() {
  SetReportFile(Variable(L"TALU_FAULTS_REPORT"));
  WatchHost();
  const std::wstring first = Variable(L"TALU_FAULTS_FIRST");
  if (!first.empty()) ObeyControlLine(std::string(first.begin(), first.end()));
  const std::wstring port = Variable(L"TALU_FAULTS_PORT");
  if (!port.empty()) StartControlServer(port);
}

}  // namespace
}  // namespace talu

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) talu::Begin();
  return TRUE;
}
