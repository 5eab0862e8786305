#include <windows.h>

#include "session/dynamic_library.h"

namespace talu {

void* OpenLibrary(const wchar_t* fileName) { return LoadLibraryW(fileName); }

void* FindLibrarySymbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

unsigned long LastLibraryError() { return GetLastError(); }

}  // namespace talu
