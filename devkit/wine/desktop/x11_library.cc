#include "devkit/wine/desktop/x11_library.h"

#include <windows.h>

#include <mutex>

namespace talu {

namespace {

const wchar_t kLibraryName[] = L"talu_desktop_x11.dll";

std::wstring PathBesideThisDll(const wchar_t* name) {
  HMODULE self = nullptr;
  GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t*>(&PathBesideThisDll), &self);
  std::wstring path(MAX_PATH, L'\0');
  DWORD length = GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size()));
  while (length == path.size()) {
    path.resize(path.size() * 2);
    length = GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size()));
  }
  path.resize(length);
  const size_t slash = path.find_last_of(L"\\/");
  return path.substr(0, slash == std::wstring::npos ? 0 : slash + 1) + name;
}

template <class Function>
bool FindFunction(HMODULE module, const char* name, Function* function) {
  *function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  return *function != nullptr;
}

std::optional<X11Library> FindLibrary() {
  HMODULE module = LoadLibraryW(PathBesideThisDll(kLibraryName).c_str());
  if (module == nullptr) return std::nullopt;
  X11Library library{};
  const bool whole = FindFunction(module, "TaluOpenDesktop", &library.open) &&
                     FindFunction(module, "TaluCloseDesktop", &library.close) &&
                     FindFunction(module, "TaluListMonitors", &library.listMonitors) &&
                     FindFunction(module, "TaluWaitForChange", &library.waitForChange) &&
                     FindFunction(module, "TaluWakeDesktop", &library.wake) &&
                     FindFunction(module, "TaluTakeDamage", &library.takeDamage) &&
                     FindFunction(module, "TaluNewBuffer", &library.newBuffer) &&
                     FindFunction(module, "TaluFreeBuffer", &library.freeBuffer) &&
                     FindFunction(module, "TaluGrab", &library.grab) &&
                     FindFunction(module, "TaluReadCursor", &library.readCursor) &&
                     FindFunction(module, "TaluReadChangedFile", &library.readChangedFile);
  if (!whole) return std::nullopt;
  return library;
}

// Lives until the process ends: a question may still be under way then.
struct Asker {
  std::mutex lock;
  X11Desktop* desktop = nullptr;
};

Asker& TheAsker() {
  static Asker* asker = new Asker;
  return *asker;
}

std::optional<std::vector<X11Monitor>> Ask(const X11Library* library, X11Desktop* desktop) {
  X11Monitor monitors[kX11MaxMonitors];
  const int32_t count = library->listMonitors(desktop, monitors);
  if (count < 0) return std::nullopt;
  return std::vector<X11Monitor>(monitors, monitors + count);
}

}  // namespace

const X11Library* LoadX11Library() {
  static const std::optional<X11Library> library = FindLibrary();
  return library ? &*library : nullptr;
}

std::optional<std::vector<X11Monitor>> ListMonitors() {
  const X11Library* library = LoadX11Library();
  if (library == nullptr) return std::nullopt;
  Asker& asker = TheAsker();
  const std::lock_guard hold(asker.lock);
  if (asker.desktop != nullptr) {
    if (auto monitors = Ask(library, asker.desktop)) return monitors;
    library->close(asker.desktop);
  }
  asker.desktop = library->open(/*watch=*/0);
  if (asker.desktop == nullptr) return std::nullopt;
  return Ask(library, asker.desktop);
}

std::string ReadEnvironment(const char* name) {
  std::string value(256, '\0');
  DWORD length = GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size()));
  if (length > value.size()) {
    value.resize(length);
    length = GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size()));
  }
  value.resize(length < value.size() ? length : 0);
  return value;
}

}  // namespace talu
