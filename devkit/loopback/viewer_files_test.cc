#include "devkit/loopback/viewer_files.h"

#include <gtest/gtest.h>

#include <fstream>

namespace talu::loopback {
namespace {

class ViewerFiles : public testing::Test {
 protected:
  ViewerFiles() {
    base = std::filesystem::temp_directory_path() /
           ("viewer_files_" + std::to_string(reinterpret_cast<uintptr_t>(this)));
    std::filesystem::create_directories(base / "viewer" / "parts");
    std::ofstream(base / "secret.txt") << "secret";
    std::ofstream(base / "viewer" / "index.html") << "page";
    std::ofstream(base / "viewer" / "parts" / "a.js") << "script";
  }
  ~ViewerFiles() override { std::filesystem::remove_all(base); }

  std::filesystem::path base;
};

TEST_F(ViewerFiles, FindsFilesInFoldersToo) {
  EXPECT_EQ(ReadViewerFile(base / "viewer", "index.html")->content, "page");
  EXPECT_STREQ(ReadViewerFile(base / "viewer", "index.html")->contentType,
               "text/html; charset=utf-8");
  EXPECT_EQ(ReadViewerFile(base / "viewer", "parts/a.js")->content, "script");
}

TEST_F(ViewerFiles, NoPathLeadsOutOfTheFolder) {
  for (const char* path : {"../secret.txt", "parts/../../secret.txt", "/secret.txt", "", ".", "..",
                           "parts", "parts/", "./index.html", "nul", "con", "parts\\a.js",
                           "index.html/", "..\\secret.txt", "%2e%2e/secret.txt"}) {
    EXPECT_FALSE(ReadViewerFile(base / "viewer", path)) << path;
  }
  EXPECT_FALSE(ReadViewerFile(base / "viewer", (base / "secret.txt").string()));
  EXPECT_FALSE(ReadViewerFile(base / "none", "index.html"));
}

}  // namespace
}  // namespace talu::loopback
