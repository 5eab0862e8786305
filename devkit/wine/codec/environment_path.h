// A file named by an environment variable that a program outside Wine has set.
#pragma once

#include <string>

namespace talu {

// Empty when the variable is not set. A Unix path ("/tmp/x") comes back in the form in which
// Windows' calls reach it.
std::wstring EnvironmentPath(const wchar_t* variable);

}  // namespace talu
