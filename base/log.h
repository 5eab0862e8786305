// The log: printf-style lines on stdout, which the host reopens on its log file.
//
// Every room writes here, from any thread. A call's text reaches the file as one write, so lines of
// different threads never mix and nothing is lost when the process is killed. Texts are UTF-8,
// begin with their area's prefix ("[host] ", "[tcar] ", "[agent] ") and end with a line feed.
#pragma once

#include <cstdarg>
#include <string_view>

namespace talu {

// Formats and writes one line. Broken formats write nothing. Never throws, never blocks on a lock
// of its own.
[[gnu::format(gnu_printf, 1, 2)]] void LogPrintf(const char* format, ...);

// Flushes stdout's own buffer. The log bypasses that buffer; this is for what else was printed.
void FlushLog();

// Hands a whole text to stdout's file in one system call, line feeds turned into what the
// platform's text files use. Errors are ignored: there is nowhere to report that the log is gone.
void WriteLogText(std::string_view text);

}  // namespace talu
