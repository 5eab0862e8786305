// What a console program needs of its system.
#pragma once

#include <string>
#include <vector>

namespace talu::controller {

// The arguments without the program's name, in UTF-8; standard streams set to pass bytes through.
std::vector<std::string> PrepareConsole(int argc, char** argv);

}  // namespace talu::controller
