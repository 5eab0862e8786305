// The ways ConvertBgraToNv12 can go, for its choice at start-up, tests and benchmarks.
//
// All give the same bytes. Plain functions without state, called by any thread; arguments as
// ConvertBgraToNv12 takes them.
#pragma once

#include <cstdint>
#include <span>

namespace talu {

using Nv12Converter = void (*)(const uint8_t* bgra, int32_t width, int32_t height, uint8_t* nv12);

struct Nv12Path {
  const char* name;
  Nv12Converter convert;
};

// Those that this machine's processor can run, the fastest last.
std::span<const Nv12Path> Nv12Paths();

// The reference, which runs everywhere.
void ConvertBgraToNv12Scalar(const uint8_t* bgra, int32_t width, int32_t height, uint8_t* nv12);

// Needs a processor with AVX2.
void ConvertBgraToNv12Avx2(const uint8_t* bgra, int32_t width, int32_t height, uint8_t* nv12);

// Part of a row for whoever does the bulk of it otherwise: pixels from column `from` on. chroma is
// null for rows that have none.
void ConvertRowTail(const uint8_t* row, size_t from, size_t columns, uint8_t* luma,
                    uint8_t* chroma);

}  // namespace talu
