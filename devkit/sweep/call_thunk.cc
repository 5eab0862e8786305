#include "devkit/sweep/call_thunk.h"

#include <windows.h>

#include <array>
#include <cstring>
#include <mutex>

// The thunk's address comes in r11. Below the frame pointer lie xmm0 to xmm3 (to -64), the thunk
// (-72) and a CallState (-112); below them the place for the original's arguments.
asm(R"(
  .text
  .globl TaluCommonThunk
  .def TaluCommonThunk; .scl 2; .type 32; .endef
  .seh_proc TaluCommonThunk
TaluCommonThunk:
  pushq %rbp
  .seh_pushreg %rbp
  movq %rsp, %rbp
  .seh_setframe %rbp, 0
  subq $0xf0, %rsp
  .seh_stackalloc 0xf0
  .seh_endprologue
  movq %rcx, 16(%rbp)
  movq %rdx, 24(%rbp)
  movq %r8, 32(%rbp)
  movq %r9, 40(%rbp)
  movups %xmm0, -16(%rbp)
  movups %xmm1, -32(%rbp)
  movups %xmm2, -48(%rbp)
  movups %xmm3, -64(%rbp)
  movq %r11, -72(%rbp)
  movq %r11, %rcx
  leaq 16(%rbp), %rdx
  leaq -112(%rbp), %r8
  call TaluBeforeCall
  testb %al, %al
  jne 1f
  .irp slot, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11
  movq 48+8*\slot(%rbp), %rax
  movq %rax, 32+8*\slot(%rsp)
  .endr
  movq 16(%rbp), %rcx
  movq 24(%rbp), %rdx
  movq 32(%rbp), %r8
  movq 40(%rbp), %r9
  movups -16(%rbp), %xmm0
  movups -32(%rbp), %xmm1
  movups -48(%rbp), %xmm2
  movups -64(%rbp), %xmm3
  movq -72(%rbp), %rax
  call *(%rax)
  movq %rax, -112(%rbp)
  movq -72(%rbp), %rcx
  leaq 16(%rbp), %rdx
  leaq -112(%rbp), %r8
  call TaluAfterCall
  jmp 2f
1:
  movq -112(%rbp), %rax
2:
  movq %rbp, %rsp
  popq %rbp
  ret
  .seh_endproc

  .globl TaluMethodThunk
  .def TaluMethodThunk; .scl 2; .type 32; .endef
TaluMethodThunk:
  movq (%rsp), %rax
  cmpq TaluHostStart(%rip), %rax
  jb 1f
  cmpq TaluHostEnd(%rip), %rax
  jb TaluCommonThunk
1:
  jmp *(%r11)
)");

extern "C" {
void TaluCommonThunk();
// A table of methods serves everybody in the process. Calls that are not the host's go on with the
// stack as it is, for some methods look at who called them.
void TaluMethodThunk();
uintptr_t TaluHostStart = 0;
uintptr_t TaluHostEnd = 0;
}

namespace talu {
namespace {

static_assert(sizeof(CallState) == 32);

constexpr size_t kPageBytes = 65536;

// mov r11, thunk; mov rax, TaluCommonThunk; jmp rax
constexpr std::array<uint8_t, 22> kCode{0x49, 0xBB, 0, 0, 0, 0, 0, 0, 0, 0,    0x48,
                                        0xB8, 0,    0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};
constexpr size_t kThunkAt = 2;
constexpr size_t kCommonAt = 12;
constexpr size_t kCodeStep = 32;

std::mutex pageLock;
uint8_t* page = nullptr;
size_t used = kPageBytes;

}  // namespace

void SetHostImage(const void* start, size_t bytes) {
  TaluHostStart = reinterpret_cast<uintptr_t>(start);
  TaluHostEnd = TaluHostStart + bytes;
}

void* MakeThunkCode(CallThunk* thunk) {
  const std::lock_guard hold(pageLock);
  if (used + kCodeStep > kPageBytes) {
    page = static_cast<uint8_t*>(
        VirtualAlloc(nullptr, kPageBytes, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE));
    if (page == nullptr) return nullptr;
    used = 0;
  }
  uint8_t* const code = page + used;
  used += kCodeStep;
  auto* const common = thunk->isMethod ? &TaluMethodThunk : &TaluCommonThunk;
  std::memcpy(code, kCode.data(), kCode.size());
  // The pointer itself.
  std::memcpy(code + kThunkAt, &thunk, sizeof(thunk));  // NOLINT(bugprone-sizeof-expression)
  std::memcpy(code + kCommonAt, &common, sizeof(common));
  return code;
}

}  // namespace talu
