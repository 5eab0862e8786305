// What came from the library, as a line for people and scripts.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "devkit/controller/stream_client.h"
#include "devkit/loopback/wire.h"

namespace talu::controller {

// JSON as it is, a cursor shape in numbers, anything else by its length and first bytes.
std::string ControlText(std::span<const uint8_t> body);

// unitBytes: without the header. ageMs: since the host handed it over.
std::string VideoText(const loopback::VideoHeader& header, size_t unitBytes, double ageMs);

}  // namespace talu::controller
