#include "devkit/wine/codec/buffer_reuse.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

namespace talu {
namespace {

using AlignedMalloc = void*(__cdecl*)(size_t bytes, size_t alignment);
using AlignedFree = void(__cdecl*)(void* memory);

// Smaller blocks come from the heap without the kernel.
constexpr size_t kSmallestBytes = 64 * 1024;
constexpr size_t kAlignment = 16;
// A picture, a unit, and the same again of an encoder that is just being replaced.
constexpr size_t kMostSpares = 4;

struct Block {
  void* memory;
  size_t bytes;
};

class BlockReuse {
 public:
  // Both as the module that takes and frees calls them.
  void Begin(AlignedMalloc takeFromHeap, AlignedFree giveToHeap) {
    take = takeFromHeap;
    give = giveToHeap;
  }

  void* Take(size_t bytes, size_t alignment) {
    if (bytes < kSmallestBytes || alignment > kAlignment) return take(bytes, alignment);
    const std::lock_guard hold(lock);
    const auto fitting = std::find_if(spare.begin(), spare.end(), [bytes](const Block& block) {
      return block.bytes >= bytes && block.bytes - bytes <= bytes / 4;
    });
    Block block{};
    if (fitting != spare.end()) {
      block = *fitting;
      spare.erase(fitting);
    } else {
      block = {take(bytes, kAlignment), bytes};
    }
    if (block.memory != nullptr) used.push_back(block);
    return block.memory;
  }

  void Give(void* memory) {
    const std::lock_guard hold(lock);
    const auto known = std::find_if(
        used.begin(), used.end(), [memory](const Block& block) { return block.memory == memory; });
    if (known == used.end()) return give(memory);
    spare.push_back(*known);
    used.erase(known);
    if (spare.size() <= kMostSpares) return;
    give(spare.front().memory);
    spare.erase(spare.begin());
  }

 private:
  AlignedMalloc take = nullptr;
  AlignedFree give = nullptr;
  std::mutex lock;
  std::vector<Block> used;
  // The one that was given back last is at the end.
  std::vector<Block> spare;
};

// Lives until the process ends, as buffers may.
BlockReuse& TheBlocks() {
  static auto* blocks = new BlockReuse;
  return *blocks;
}

void* __cdecl TakeBlock(size_t bytes, size_t alignment) {
  return TheBlocks().Take(bytes, alignment);
}

void __cdecl GiveBlock(void* memory) { TheBlocks().Give(memory); }

template <class Type>
Type* At(HMODULE module, size_t offset) {
  return reinterpret_cast<Type*>(reinterpret_cast<uintptr_t>(module) + offset);
}

// Where a module keeps the address of a function that it has from another; null without it.
void** FindImport(HMODULE module, const char* function) {
  const auto* dos = At<IMAGE_DOS_HEADER>(module, 0);
  const auto* headers = At<IMAGE_NT_HEADERS>(module, static_cast<size_t>(dos->e_lfanew));
  const IMAGE_DATA_DIRECTORY& place =
      headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (place.VirtualAddress == 0) return nullptr;
  const auto* library = At<IMAGE_IMPORT_DESCRIPTOR>(module, place.VirtualAddress);
  for (; library->Name != 0; ++library) {
    const auto* wanted = At<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
    auto* slot = At<void*>(module, library->FirstThunk);
    for (; wanted->u1.AddressOfData != 0; ++wanted, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(wanted->u1.Ordinal)) continue;
      const auto* named = At<IMAGE_IMPORT_BY_NAME>(module, wanted->u1.AddressOfData);
      if (std::strcmp(reinterpret_cast<const char*>(named->Name), function) == 0) return slot;
    }
  }
  return nullptr;
}

void Replace(void** slot, void* function) {
  DWORD protection = 0;
  if (!VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection)) return;
  *slot = function;
  VirtualProtect(slot, sizeof *slot, protection, &protection);
}

void ReplaceBoth() {
  const HMODULE media = GetModuleHandleW(L"mfplat.dll");
  if (media == nullptr) return;
  void** const take = FindImport(media, "_aligned_malloc");
  void** const give = FindImport(media, "_aligned_free");
  if (take == nullptr || give == nullptr) return;
  TheBlocks().Begin(reinterpret_cast<AlignedMalloc>(*take), reinterpret_cast<AlignedFree>(*give));
  // In this order, so that no block of ours goes to the heap.
  Replace(give, reinterpret_cast<void*>(&GiveBlock));
  Replace(take, reinterpret_cast<void*>(&TakeBlock));
}

}  // namespace

void ReuseMediaBuffers() {
  static std::once_flag once;
  std::call_once(once, ReplaceBoth);
}

}  // namespace talu
