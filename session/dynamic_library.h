// Loading a DLL at run time: the seam between the binding and the system. Native tests link a fake.
#pragma once

#include <cstdint>

namespace talu {

// Loads by the system's normal search order; null on failure, with LastLibraryError telling why.
void* OpenLibrary(const wchar_t* fileName);

// Null when the library does not export the name.
void* FindLibrarySymbol(void* library, const char* name);

void CloseLibrary(void* library);

// The calling thread's system error number of the last failure.
unsigned long LastLibraryError();

}  // namespace talu
