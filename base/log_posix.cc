#include <unistd.h>

#include <cstdio>

#include "base/log.h"

namespace talu {

void WriteLogText(std::string_view text) {
  const ssize_t written = write(fileno(stdout), text.data(), text.size());
  (void)written;  // Nowhere to report it.
}

}  // namespace talu
