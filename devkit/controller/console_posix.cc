#include "devkit/controller/console.h"

namespace talu::controller {

std::vector<std::string> PrepareConsole(int argc, char** argv) {
  return {argv + 1, argv + (argc > 0 ? argc : 1)};
}

}  // namespace talu::controller
