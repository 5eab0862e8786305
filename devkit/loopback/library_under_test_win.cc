#include <windows.h>

#include <filesystem>

#include "devkit/loopback/library_under_test.h"

namespace talu::loopback {
namespace {

template <typename Function>
void Resolve(HMODULE module, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

// The tests lie in a folder beside the programs and the library.
StreamSdk LibraryUnderTest() {
  wchar_t program[MAX_PATH];
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  const auto file = std::filesystem::path(program).parent_path().parent_path() / L"libtcar_sdk.dll";
  StreamSdk sdk;
  HMODULE module = LoadLibraryW(file.c_str());
  if (module == nullptr) return sdk;
  sdk.module = module;
  Resolve(module, "tcar_global_init", &sdk.global_init);
  Resolve(module, "tcar_global_cleanup", &sdk.global_cleanup);
  Resolve(module, "tcar_session_create", &sdk.session_create);
  Resolve(module, "tcar_session_destroy", &sdk.session_destroy);
  Resolve(module, "tcar_session_send_encoded_video_frame", &sdk.send_video_frame);
  Resolve(module, "tcar_session_send_custom_message", &sdk.send_custom_message);
  Resolve(module, "tcar_set_screen_info", &sdk.set_screen_info);
  Resolve(module, "tcar_str_err", &sdk.str_err);
  return sdk;
}

void SetVariable(const char* name, const char* value) {
  SetEnvironmentVariableA(name, *value == '\0' ? nullptr : value);
}

}  // namespace talu::loopback
