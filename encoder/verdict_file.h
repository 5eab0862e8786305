// The file that remembers, over restarts, whether hardware encoding works on this machine.
//
// One line, for one adapter and driver. Several threads and processes may read and write it at
// once: the last writer wins, and whatever else a reader may find counts as nothing known or as a
// bad verdict. All failures are silent, since the host works without the file.
#pragma once

#include <string>

namespace talu {

// The file's path in the system's code page, or empty when the user has no local application data.
// Creates the file's directory.
std::string VerdictFilePath();

// True when the file holds a verdict for key, with good set; else good stays as it was.
bool LoadEncoderVerdict(const std::string& key, bool& good);

// Makes this the one verdict in the file. An empty key is not remembered.
void SaveEncoderVerdict(const std::string& key, bool good);

}  // namespace talu
