#include "devkit/sweep/watched_calls.h"

#include <windows.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "devkit/sweep/com_interfaces.h"

namespace talu {

struct Resource {
  std::atomic<int64_t> held{0};
};

namespace {

struct Effect {
  std::string_view call;
  std::string_view resource;
  int held;
  // n: another answer than 0; z: 0; h: an HRESULT that is none of failure; a: always.
  char success;
};

// Each thread of the host's that sleeps keeps one timer to sleep by until it ends, the library's
// threads in a callback, too. Of these only what is too many counts: a second one of a thread, and
// any of a thread that has ended.
constexpr std::string_view kTimers = "timer handles";

constexpr Effect kEffects[] = {
    {"CreateEventA", "event handles", 1, 'n'},
    {"CreateSemaphoreA", "semaphore handles", 1, 'n'},
    {"CreateWaitableTimerExW", kTimers, 1, 'n'},
    {"_beginthreadex", "thread handles", 1, 'n'},
    {"DuplicateHandle", "duplicated handles", 1, 'n'},
    {"OpenProcess", "process handles", 1, 'n'},
    {"CreateWindowExW", "windows", 1, 'n'},
    {"DestroyWindow", "windows", -1, 'n'},
    {"AddClipboardFormatListener", "clipboard listeners", 1, 'n'},
    {"RemoveClipboardFormatListener", "clipboard listeners", -1, 'n'},
    {"OpenClipboard", "open clipboards", 1, 'n'},
    {"CloseClipboard", "open clipboards", -1, 'n'},
    {"GlobalAlloc", "memory blocks", 1, 'n'},
    {"GlobalFree", "memory blocks", -1, 'z'},
    {"SetClipboardData", "memory blocks", -1, 'n'},
    {"GlobalLock", "locked memory blocks", 1, 'n'},
    {"GlobalUnlock", "locked memory blocks", -1, 'a'},
    {"_fsopen", "files", 1, 'n'},
    {"fclose", "files", -1, 'a'},
    {"LoadLibraryW", "libraries", 1, 'n'},
    {"GetModuleHandleExW", "libraries", 1, 'n'},
    {"FreeLibrary", "libraries", -1, 'n'},
    {"CoInitializeEx", "COM initialisations", 1, 'h'},
    {"CoUninitialize", "COM initialisations", -1, 'a'},
    {"MFStartup", "Media Foundation starts", 1, 'h'},
    {"MFShutdown", "Media Foundation starts", -1, 'h'},
    {"tcar_global_init", "library starts", 1, 'z'},
    {"tcar_global_cleanup", "library starts", -1, 'a'},
    {"tcar_session_create", "library sessions", 1, 'z'},
    {"tcar_session_destroy", "library sessions", -1, 'a'},
    {"ID3D11DeviceContext::Map", "mapped textures", 1, 'h'},
    {"ID3D11DeviceContext::Unmap", "mapped textures", -1, 'a'},
    {"IDXGIOutputDuplication::AcquireNextFrame", "acquired frames", 1, 'h'},
    {"IDXGIOutputDuplication::ReleaseFrame", "acquired frames", -1, 'h'},
    {"IMFMediaBuffer::Lock", "locked buffers", 1, 'h'},
    {"IMFMediaBuffer::Unlock", "locked buffers", -1, 'h'},
};

// All of these are given back by the one CloseHandle, so which is which has to be remembered.
bool MakesHandle(const Call& call) {
  return call.name == "CreateEventA" || call.name == "CreateSemaphoreA" ||
         call.name == "CreateWaitableTimerExW" || call.name == "_beginthreadex" ||
         call.name == "DuplicateHandle" || call.name == "OpenProcess";
}

constexpr std::string_view kReferences = "COM references";

struct Armed {
  Fault fault;
  Call* call = nullptr;
  std::atomic<uint64_t> seen{0};
  std::atomic<uint64_t> struck{0};
};

// Recursive: a look at an interface makes calls known.
std::recursive_mutex knownLock;
std::map<std::string, std::unique_ptr<Call>, std::less<>> calls;
std::map<std::string, std::unique_ptr<Resource>, std::less<>> resources;
// How many slots of a table of methods are ours, and what slot 0 then holds.
struct PatchedTable {
  size_t slots = 0;
  void* firstSlot = nullptr;
};
std::map<void**, PatchedTable> tables;
std::map<std::pair<std::string, void*>, void*> functions;
struct OpenHandle {
  Resource* resource = nullptr;
  DWORD thread = 0;
};
std::map<uint64_t, OpenHandle> handles;

// Faults are few and never freed: a thread may still look at one that is over.
std::atomic<Armed*> armedFault{nullptr};

std::wstring reportFile;

Resource* FindResource(std::string_view name) {
  const std::lock_guard hold(knownLock);
  auto& entry = resources[std::string(name)];
  if (!entry) entry = std::make_unique<Resource>();
  return entry.get();
}

void Report(const std::string& line) {
  if (reportFile.empty()) return;
  HANDLE file = CreateFileW(reportFile.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                            OPEN_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  const std::string text = line + "\n";
  DWORD written = 0;
  WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  CloseHandle(file);
}

void* MakeThunk(std::string_view name, void* original, bool isMethod) {
  auto* const thunk = new CallThunk{original, FindCall(name), isMethod};
  return MakeThunkCode(thunk);
}

std::string FullName(const ComInterface& type, size_t slot) {
  std::string name(type.name);
  name.append("::");
  const std::string_view method = MethodName(type, slot);
  if (!method.empty()) return name.append(method);
  return name.append("#").append(std::to_string(slot));
}

void PatchTable(void** table, const ComInterface& type) {
  const std::lock_guard hold(knownLock);
  PatchedTable& patched = tables[table];
  // A library that was unloaded and loaded again has its table as it was built.
  if (patched.slots > 0 && table[0] != patched.firstSlot) patched = {};
  if (patched.slots >= type.slots) return;
  DWORD protection = 0;
  const size_t bytes = type.slots * sizeof(void*);
  if (!VirtualProtect(table, bytes, PAGE_READWRITE, &protection)) return;
  for (size_t slot = patched.slots; slot < type.slots; ++slot) {
    void* const code = MakeThunk(FullName(type, slot), table[slot], true);
    if (code != nullptr) table[slot] = code;
  }
  VirtualProtect(table, bytes, protection, &protection);
  patched = {type.slots, table[0]};
}

// The host has been given one reference to object.
void TakeOver(void* object, const ComInterface* type) {
  if (object == nullptr || type == nullptr) return;
  PatchTable(*static_cast<void***>(object), *type);
  FindResource(kReferences)->held.fetch_add(1);
}

const ComInterface* InterfaceOf(const Handout& handout, const uint64_t* arguments) {
  if (!handout.type.empty()) return FindInterface(handout.type);
  const auto* id = reinterpret_cast<const IID*>(arguments[handout.idArgument]);
  return id == nullptr ? nullptr : FindInterface(*id);
}

bool EndsWith(const Call& call, std::string_view method) { return call.name.ends_with(method); }

// What a successful call has handed out.
void LookAtHandouts(const Call& call, const uint64_t* arguments) {
  if (EndsWith(call, "::QueryInterface")) {
    auto* const place = reinterpret_cast<void**>(arguments[2]);
    TakeOver(*place, FindInterface(*reinterpret_cast<const IID*>(arguments[1])));
    return;
  }
  for (const Handout& handout : Handouts()) {
    if (call.name != handout.call) continue;
    auto* const place = reinterpret_cast<void**>(arguments[handout.argument]);
    if (place != nullptr) TakeOver(*place, InterfaceOf(handout, arguments));
  }
  if (call.name == "MFTEnumEx") {
    auto* const list = *reinterpret_cast<void***>(arguments[4]);
    const auto count = *reinterpret_cast<const UINT32*>(arguments[5]);
    for (UINT32 i = 0; i < count; ++i) TakeOver(list[i], FindInterface("IMFActivate"));
  }
}

// What the transform put into the caller's record, also when the call failed.
struct OutputRecord {
  DWORD streamId;
  void* sample;
  DWORD status;
  void* events;
};

void ForgetHandouts(const Call& call, const uint64_t* arguments) {
  if (EndsWith(call, "::QueryInterface")) {
    *reinterpret_cast<void**>(arguments[2]) = nullptr;
    return;
  }
  for (const Handout& handout : Handouts()) {
    if (call.name != handout.call) continue;
    auto* const place = reinterpret_cast<void**>(arguments[handout.argument]);
    if (place != nullptr) *place = nullptr;
  }
}

bool Succeeded(char success, uint64_t result) {
  switch (success) {
    case 'n':
      return static_cast<uint32_t>(result) != 0 || result != 0;
    case 'z':
      return static_cast<uint32_t>(result) == 0;
    case 'h':
      return static_cast<int32_t>(result) >= 0;
    default:
      return success == 'a';
  }
}

void NoteHandle(const Call& call, const uint64_t* arguments, uint64_t result) {
  const std::lock_guard hold(knownLock);
  const bool duplicate = call.name == "DuplicateHandle";
  const uint64_t handle = duplicate ? *reinterpret_cast<const uint64_t*>(arguments[3]) : result;
  // A place in the list that was closed by somebody else's call.
  const auto stale = handles.find(handle);
  if (stale != handles.end()) stale->second.resource->held.fetch_sub(1);
  handles[handle] = {call.resource, GetCurrentThreadId()};
}

void ForgetHandle(uint64_t handle) {
  const std::lock_guard hold(knownLock);
  const auto found = handles.find(handle);
  if (found == handles.end()) return;
  found->second.resource->held.fetch_sub(1);
  handles.erase(found);
}

bool IsAlive(DWORD thread) {
  HANDLE const handle = OpenThread(SYNCHRONIZE, FALSE, thread);
  if (handle == nullptr) return false;
  const bool alive = WaitForSingleObject(handle, 0) == WAIT_TIMEOUT;
  CloseHandle(handle);
  return alive;
}

// How many threads have a timer and are alive.
int64_t SleepingThreads(const Resource* timers) {
  std::set<DWORD> threads;
  for (const auto& [handle, open] : handles) {
    if (open.resource == timers) threads.insert(open.thread);
  }
  return std::count_if(threads.begin(), threads.end(), IsAlive);
}

// Windows' own answers for functions that Media Foundation, Direct3D and the like hand out late.
bool IsLateFunction(std::string_view name) {
  return name.starts_with("tcar_") || name.starts_with("MF") || name.starts_with("D3D");
}

void* WatchLateFunction(const char* name, void* found) {
  if (found == nullptr || !IsLateFunction(name)) return found;
  return WatchFunction(name, found);
}

void AppendNumber(std::string& text, std::string_view name, int64_t number) {
  if (text.back() != '{') text += ',';
  text.append("\"").append(name).append("\":").append(std::to_string(number));
}

}  // namespace

Call* FindCall(std::string_view name) {
  const std::lock_guard hold(knownLock);
  const auto found = calls.find(name);
  if (found != calls.end()) return found->second.get();
  auto made = std::make_unique<Call>();
  made->name = name;
  for (const Effect& effect : kEffects) {
    if (effect.call != name) continue;
    made->resource = FindResource(effect.resource);
    made->held = effect.held;
    made->success = effect.success;
  }
  const bool adds = name.ends_with("::AddRef");
  if (adds || name.ends_with("::Release")) {
    made->resource = FindResource(kReferences);
    made->held = adds ? 1 : -1;
    made->success = 'a';
  }
  return calls.emplace(std::string(name), std::move(made)).first->second.get();
}

void* WatchFunction(const char* name, void* original) {
  const std::lock_guard hold(knownLock);
  void*& code = functions[{name, original}];
  if (code == nullptr) code = MakeThunk(name, original, false);
  return code == nullptr ? original : code;
}

void Arm(const Fault& fault) {
  auto* const armed = new Armed;
  armed->fault = fault;
  armed->call = FindCall(fault.call);
  armedFault.store(armed);
}

uint64_t Disarm() {
  Armed* const armed = armedFault.exchange(nullptr);
  return armed == nullptr ? 0 : armed->struck.load();
}

std::string DescribeCalls() {
  const std::lock_guard hold(knownLock);
  std::string text = "{\"calls\":{";
  for (const auto& [name, call] : calls) {
    const uint64_t count = call->count.load();
    if (count > 0) AppendNumber(text, name, static_cast<int64_t>(count));
  }
  text += "},\"held\":{";
  for (const auto& [name, resource] : resources) {
    int64_t held = resource->held.load();
    if (name == kTimers) held -= SleepingThreads(resource.get());
    if (held != 0) AppendNumber(text, name, held);
  }
  return text + "}}";
}

void SetReportFile(std::wstring path) { reportFile = std::move(path); }

}  // namespace talu

using talu::CallState;
using talu::CallThunk;

extern "C" bool TaluBeforeCall(CallThunk* thunk, uint64_t* arguments, CallState* state) {
  *state = {};
  talu::Call& call = *thunk->call;
  call.count.fetch_add(1);
  const DWORD lastError = GetLastError();
  // Before the handle can be given out anew.
  if (call.name == "CloseHandle") talu::ForgetHandle(arguments[0]);
  if (call.name == "TerminateProcess") talu::Report(talu::DescribeCalls());
  if (call.name == "IMFTransform::ProcessOutput") {
    state->given = reinterpret_cast<const talu::OutputRecord*>(arguments[3])->sample;
  }
  talu::Armed* const armed = talu::armedFault.load();
  if (armed == nullptr || armed->call != &call) {
    SetLastError(lastError);
    return false;
  }
  const talu::Fault& fault = armed->fault;
  const uint64_t turn = armed->seen.fetch_add(1) + 1;
  if (turn < fault.from || turn > fault.to) {
    SetLastError(lastError);
    return false;
  }
  if (armed->struck.fetch_add(1) == 0) talu::Report("struck " + call.name);
  if (fault.afterCall) {
    state->replaceAfter = true;
    state->replacement = fault.value;
    SetLastError(lastError);
    return false;
  }
  talu::ForgetHandouts(call, arguments);
  state->result = fault.value;
  SetLastError(fault.lastError);
  return true;
}

extern "C" uint64_t TaluAfterCall(CallThunk* thunk, uint64_t* arguments, CallState* state) {
  const DWORD lastError = GetLastError();
  talu::Call& call = *thunk->call;
  uint64_t result = state->result;
  if (call.resource != nullptr && talu::Succeeded(call.success, result)) {
    call.resource->held.fetch_add(call.held);
    if (talu::MakesHandle(call)) talu::NoteHandle(call, arguments, result);
  }
  if (call.name == "GetProcAddress") {
    result = reinterpret_cast<uint64_t>(talu::WatchLateFunction(
        reinterpret_cast<const char*>(arguments[1]), reinterpret_cast<void*>(result)));
  } else if (call.name == "IMFTransform::ProcessOutput") {
    void* const sample = reinterpret_cast<const talu::OutputRecord*>(arguments[3])->sample;
    if (sample != state->given) talu::TakeOver(sample, talu::FindInterface("IMFSample"));
  } else if (static_cast<int32_t>(result) >= 0) {
    talu::LookAtHandouts(call, arguments);
  }
  SetLastError(lastError);
  return state->replaceAfter ? state->replacement : result;
}
