// Takes orders from the sweep over TCP on this machine, one line each, and answers each with a
// line:
//   arm NAME FROM TO VALUE LASTERROR instead|after   "ok"
//   disarm                                           "struck N"
//   status                                           DescribeCalls()
// One connection at a time.
#pragma once

#include <string>

namespace talu {

// Starts the thread that serves, which lives as long as the process, and writes the port's number
// to portFile.
void StartControlServer(const std::wstring& portFile);

// The answer to one line.
std::string ObeyControlLine(const std::string& line);

}  // namespace talu
