// A record of the calls on the transforms, for tests that check their order.
//
// Written when the environment variable TALU_CODEC_LOG names a file: one line a call, appended in
// the order in which the calls were done, whichever thread made them.
#pragma once

namespace talu {

// `who` is the transform's name ("software", "hardware 1", "hardware 2"). Costs nothing without the
// variable.
[[gnu::format(gnu_printf, 2, 3)]] void LogCall(const char* who, const char* format, ...);

}  // namespace talu
