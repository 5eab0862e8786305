// Pixel buffers: their growth, and rows copied out of memory that a graphics driver lays out.
//
// Plain functions without state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talu {

// Makes buffer byteCount long. Growth takes at least half the capacity more, so that sizes that
// creep up do not copy each time; a smaller size keeps the storage. New bytes are zero.
void ResizePixels(std::vector<uint8_t>& buffer, size_t byteCount);

// Copies rows of rowBytes each into target without gaps; in source they begin pitch bytes apart.
// pitch must be at least rowBytes.
void CopyRows(const uint8_t* source, size_t pitch, size_t rowBytes, size_t rows, uint8_t* target);

}  // namespace talu
