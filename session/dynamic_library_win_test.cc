#include "session/dynamic_library.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace talu {
namespace {

// Of the system's, and loaded by nothing else here.
constexpr wchar_t kLibrary[] = L"avifil32.dll";

TEST(DynamicLibrary, IsThereUntilItIsClosed) {
  ASSERT_EQ(GetModuleHandleW(kLibrary), nullptr);
  void* const library = OpenLibrary(kLibrary);
  ASSERT_NE(library, nullptr);
  EXPECT_NE(FindLibrarySymbol(library, "AVIFileInit"), nullptr);
  CloseLibrary(library);
  EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
}

TEST(DynamicLibrary, TellsWhyItIsNotThere) {
  EXPECT_EQ(OpenLibrary(L"talu_no_such_library.dll"), nullptr);
  EXPECT_EQ(LastLibraryError(), static_cast<unsigned long>(ERROR_MOD_NOT_FOUND));
}

TEST(DynamicLibrary, TellsWhatItDoesNotExport) {
  void* const library = OpenLibrary(kLibrary);
  ASSERT_NE(library, nullptr);
  EXPECT_EQ(FindLibrarySymbol(library, "TaluNoSuchFunction"), nullptr);
  EXPECT_EQ(LastLibraryError(), static_cast<unsigned long>(ERROR_PROC_NOT_FOUND));
  CloseLibrary(library);
}

}  // namespace
}  // namespace talu
