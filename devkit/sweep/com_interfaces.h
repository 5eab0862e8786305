// The COM interfaces that the host uses, and where their methods lie.
#pragma once

#include <windows.h>

#include <cstddef>
#include <span>
#include <string_view>

namespace talu {

struct ComMethod {
  std::string_view name;
  size_t slot;
};

struct ComInterface {
  const IID* id;
  std::string_view name;
  size_t slots;
  // Those the host calls; the others have numbers for names.
  std::span<const ComMethod> methods;
};

// Null for interfaces that the host does not use.
const ComInterface* FindInterface(const IID& id);
const ComInterface* FindInterface(std::string_view name);

// The name of a method, or of its base IUnknown's.
std::string_view MethodName(const ComInterface& type, size_t slot);

// Where a call puts an interface for its caller.
struct Handout {
  std::string_view call;
  // Which argument points to it, counted from 0 (a method's object is argument 0).
  int argument;
  // The interface's name; where empty, the argument idArgument points to its id.
  std::string_view type;
  int idArgument;
};

std::span<const Handout> Handouts();

}  // namespace talu
