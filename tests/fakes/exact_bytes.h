// A copy of some bytes in a heap block of exactly their size, so that AddressSanitizer sees the
// first read beyond the end.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace talu {

class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes) : block(new char[bytes.size()]), size(bytes.size()) {
    if (size > 0) std::memcpy(block.get(), bytes.data(), size);
  }

  std::string_view View() const { return {block.get(), size}; }

 private:
  const std::unique_ptr<char[]> block;
  const size_t size;
};

}  // namespace talu
