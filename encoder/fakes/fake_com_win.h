// Reference counting for fakes, with a count of those alive.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

namespace talu {

// How many fakes exist: 0 when everything that was handed out has been released.
class FakesAlive {
 public:
  FakesAlive() { ++count; }
  ~FakesAlive() { --count; }
  FakesAlive(const FakesAlive&) = delete;
  FakesAlive& operator=(const FakesAlive&) = delete;

  static int Count() { return count; }

 private:
  static inline std::atomic<int> count{0};
};

// Gives Base, which implements one COM interface, a reference count that starts at 1. Base may
// answer QueryInterface by overriding Find. Destroyed by the last Release.
template <class Base>
class Counted : public Base {
 public:
  using Base::Base;

  ULONG AddRef() override { return ++references; }
  ULONG Release() override {
    const ULONG left = --references;
    if (left == 0) {
      delete this;
    }
    return left;
  }
  HRESULT QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) {
      return E_POINTER;
    }
    *object = this->Find(id);
    return *object == nullptr ? E_NOINTERFACE : S_OK;
  }

 private:
  ~Counted() override = default;

  std::atomic<ULONG> references{1};
  FakesAlive alive;
};

}  // namespace talu
