// Texts between the launcher and the host: the host's command line and the lines it writes back.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace talu {

// One command line that a Windows C run-time library splits into exactly these arguments again.
std::string JoinArguments(std::span<const std::string> arguments);

// Cuts a stream of bytes into lines. One thread.
class LineCutter {
 public:
  explicit LineCutter(std::function<void(std::string_view)> onLine);

  // Calls onLine for each line that ends in bytes, without its CR LF or LF. Of a line longer than
  // kLongestLine only the beginning is given.
  void Feed(std::string_view bytes);

  static constexpr size_t kLongestLine = 4096;

 private:
  std::function<void(std::string_view)> onLine;
  std::string line;
};

}  // namespace talu
