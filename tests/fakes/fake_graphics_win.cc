#include "tests/fakes/fake_graphics_win.h"

#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "tests/fakes/unscripted_graphics_win.h"

namespace talu {

struct FakeGraphicsState {
  struct Fault {
    HRESULT result;
    int left;
  };

  std::mutex lock;
  std::vector<FakeMonitor> monitors{FakeMonitor{}};
  std::vector<uint64_t> pictures{1};  // per monitor, counts up with each change
  std::optional<FakePointer> pointer;
  uint64_t accessEpoch = 1;
  uint64_t deviceEpoch = 1;
  uint64_t outputsEpoch = 1;
  HRESULT removedReason = DXGI_ERROR_DEVICE_REMOVED;
  UINT rowPadding = 0;
  int failingStep = 0;
  HRESULT failingStepResult = S_OK;
  std::map<std::string, Fault> faults;
  int alive = 0;
  int steps = 0;
  std::vector<std::string> log;
  FakeDeviceRequest lastDevice;
  D3D11_TEXTURE2D_DESC lastTexture{};
  UINT lastTimeoutMs = 0;
};

namespace {

using Microsoft::WRL::ComPtr;
using State = FakeGraphicsState;

State* stateInForce = nullptr;

[[noreturn]] void Misuse(const char* what) {
  std::fprintf(stderr, "The fake graphics card was misused: %s\n", what);
  std::abort();
}

// Runs act on a card's state, alone.
template <typename Act>
auto With(State& state, Act act) {
  const std::lock_guard<std::mutex> hold(state.lock);
  return act(state);
}

template <typename Act>
auto WithCard(Act act) {
  if (stateInForce == nullptr) Misuse("a call without a card");
  return With(*stateInForce, act);
}

void Note(std::string what) {
  WithCard([&what](State& card) { card.log.push_back(std::move(what)); });
}

// Notes a call and says whether it is to fail.
HRESULT Step(const char* call) {
  return WithCard([call](State& card) {
    card.log.push_back(call);
    if (++card.steps == card.failingStep) {
      return card.failingStepResult;
    }
    const auto fault = card.faults.find(call);
    if (fault == card.faults.end() || fault->second.left == 0) {
      return static_cast<HRESULT>(S_OK);
    }
    if (fault->second.left != FakeGraphics::kForever) {
      --fault->second.left;
    }
    return fault->second.result;
  });
}

HRESULT RemovedReason(uint64_t deviceEpoch) {
  return WithCard([deviceEpoch](State& card) {
    return deviceEpoch == card.deviceEpoch ? static_cast<HRESULT>(S_OK) : card.removedReason;
  });
}

// A call on a device or what belongs to it.
HRESULT DeviceStep(const char* call, uint64_t deviceEpoch) {
  const HRESULT scripted = Step(call);
  return FAILED(scripted) ? scripted : RemovedReason(deviceEpoch);
}

// Counts the references of one object and notices whoever uses it after the last.
template <typename Interface>
class Counted : public Interface {
 public:
  explicit Counted(const char* kind) : name(kind) {
    WithCard([](State& card) { ++card.alive; });
  }
  virtual ~Counted() {
    WithCard([](State& card) { --card.alive; });
  }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  ULONG STDMETHODCALLTYPE AddRef() override {
    const int now = ++references;
    if (now < 2) Misuse("a reference to a released object");
    return static_cast<ULONG>(now);
  }

  ULONG STDMETHODCALLTYPE Release() override {
    const int now = --references;
    if (now < 0) Misuse("one release too many");
    if (now == 0) {
      Note(std::string("~") + name);
      delete this;
    }
    return static_cast<ULONG>(now);
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    *object = nullptr;
    return E_NOINTERFACE;
  }

 private:
  const char* const name;
  std::atomic<int> references{1};
};

class Texture : public Counted<UnscriptedTexture> {
 public:
  Texture(const D3D11_TEXTURE2D_DESC& desc, uint8_t fill)
      : Counted(desc.Usage == D3D11_USAGE_STAGING ? "Staging" : "Texture"),
        description(desc),
        shade(fill) {}

  void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* desc) override { *desc = description; }

  const D3D11_TEXTURE2D_DESC description;
  uint8_t shade;
};

Texture& AsTexture(ID3D11Resource* resource) {
  return *static_cast<Texture*>(static_cast<ID3D11Texture2D*>(resource));
}

class Resource : public Counted<UnscriptedResource> {
 public:
  explicit Resource(const ComPtr<ID3D11Texture2D>& shown) : Counted("Resource"), texture(shown) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!IsEqualGUID(id, __uuidof(ID3D11Texture2D))) {
      return Counted::QueryInterface(id, object);
    }
    *object = nullptr;
    const HRESULT scripted = Step("QueryInterface(ID3D11Texture2D)");
    return FAILED(scripted) ? scripted
                            : texture.CopyTo(reinterpret_cast<ID3D11Texture2D**>(object));
  }

 private:
  const ComPtr<ID3D11Texture2D> texture;
};

class Duplication : public Counted<UnscriptedDuplication> {
 public:
  Duplication(size_t monitor, uint64_t access, uint64_t device)
      : Counted("Duplication"), output(monitor), accessEpoch(access), deviceEpoch(device) {}
  ~Duplication() override {
    if (held) Misuse("a duplication released while its frame is held");
  }

  HRESULT STDMETHODCALLTYPE AcquireNextFrame(UINT timeoutMs, DXGI_OUTDUPL_FRAME_INFO* frame,
                                             IDXGIResource** resource) override {
    *resource = nullptr;
    if (held) Misuse("a second frame acquired before the first was released");
    const HRESULT scripted = DeviceStep("AcquireNextFrame", deviceEpoch);
    if (FAILED(scripted)) {
      return scripted;
    }
    const HRESULT acquired = WithCard([&](State& card) -> HRESULT {
      card.lastTimeoutMs = timeoutMs;
      if (accessEpoch != card.accessEpoch || output >= card.monitors.size()) {
        return DXGI_ERROR_ACCESS_LOST;
      }
      if (seenPicture == card.pictures[output] && !card.pointer) {
        return DXGI_ERROR_WAIT_TIMEOUT;
      }
      seenPicture = card.pictures[output];
      pointer = card.pointer.value_or(FakePointer{});
      card.pointer.reset();
      held = true;
      *frame = {};
      frame->LastPresentTime.QuadPart = 1;
      frame->LastMouseUpdateTime.QuadPart = pointer.updated ? 1 : 0;
      frame->PointerPosition.Visible = pointer.visible;
      frame->PointerShapeBufferSize = pointer.claimedShapeBytes != 0
                                          ? pointer.claimedShapeBytes
                                          : static_cast<UINT>(pointer.shapeBytes.size());
      shown = card.monitors[output];
      return S_OK;
    });
    return FAILED(acquired) ? acquired : ShowPicture(resource);
  }

  HRESULT STDMETHODCALLTYPE GetFramePointerShape(UINT size, void* buffer, UINT* required,
                                                 DXGI_OUTDUPL_POINTER_SHAPE_INFO* shape) override {
    if (!held) Misuse("a pointer shape asked for without a frame");
    const HRESULT scripted = DeviceStep("GetFramePointerShape", deviceEpoch);
    if (FAILED(scripted)) {
      return scripted;
    }
    *required = static_cast<UINT>(pointer.shapeBytes.size());
    if (size < pointer.shapeBytes.size()) {
      return DXGI_ERROR_MORE_DATA;
    }
    std::copy(pointer.shapeBytes.begin(), pointer.shapeBytes.end(), static_cast<uint8_t*>(buffer));
    *shape = pointer.shape;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE ReleaseFrame() override {
    if (!held) Misuse("a frame released that was not acquired");
    held = false;
    return Step("ReleaseFrame");
  }

 private:
  HRESULT ShowPicture(IDXGIResource** resource) {
    D3D11_TEXTURE2D_DESC desc{};
    desc.Width = shown.width;
    desc.Height = shown.height;
    desc.MipLevels = 1;
    desc.ArraySize = shown.arraySize;
    desc.Format = shown.format;
    desc.SampleDesc.Count = 1;
    ID3D11Texture2D* texture = new Texture(desc, shown.shade);
    *resource = new Resource(texture);
    // The resource holds on to it.
    texture->Release();  // NOLINT(clang-analyzer-cplusplus.NewDelete)
    return S_OK;
  }

  const size_t output;
  const uint64_t accessEpoch;
  const uint64_t deviceEpoch;
  uint64_t seenPicture = 0;
  bool held = false;
  FakeMonitor shown;
  FakePointer pointer;
};

class Output : public Counted<UnscriptedOutput> {
 public:
  Output(size_t monitor, FakeMonitor what)
      : Counted("Output"), number(monitor), described(std::move(what)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!IsEqualGUID(id, __uuidof(IDXGIOutput1))) {
      return Counted::QueryInterface(id, object);
    }
    *object = nullptr;
    const HRESULT scripted = Step("QueryInterface(IDXGIOutput1)");
    if (FAILED(scripted)) {
      return scripted;
    }
    AddRef();
    *object = static_cast<IDXGIOutput1*>(this);
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetDesc(DXGI_OUTPUT_DESC* desc) override {
    const HRESULT scripted = Step("GetDesc");
    if (FAILED(scripted)) {
      return scripted;
    }
    *desc = {};
    // Without a zero at its end where the name fills the field.
    described.name.copy(desc->DeviceName, CCHDEVICENAME);
    desc->DesktopCoordinates = described.desktop;
    desc->AttachedToDesktop = described.attached;
    return described.describeResult;
  }

  HRESULT STDMETHODCALLTYPE DuplicateOutput(IUnknown* device,
                                            IDXGIOutputDuplication** duplication) override;

 private:
  const size_t number;
  const FakeMonitor described;
};

class Factory : public Counted<UnscriptedFactory> {
 public:
  explicit Factory(uint64_t knownOutputs) : Counted("Factory"), outputsEpoch(knownOutputs) {}

  WINBOOL STDMETHODCALLTYPE IsCurrent() override {
    return WithCard([this](State& card) { return outputsEpoch == card.outputsEpoch; });
  }

 private:
  const uint64_t outputsEpoch;
};

class Adapter : public Counted<UnscriptedAdapter> {
 public:
  Adapter(uint64_t knownOutputs, std::vector<FakeMonitor> known)
      : Counted("Adapter"), outputsEpoch(knownOutputs), monitors(std::move(known)) {}

  HRESULT STDMETHODCALLTYPE EnumOutputs(UINT index, IDXGIOutput** output) override {
    *output = nullptr;
    const HRESULT scripted = Step("EnumOutputs");
    if (FAILED(scripted)) {
      return scripted;
    }
    if (index >= monitors.size()) {
      return DXGI_ERROR_NOT_FOUND;
    }
    *output = new Output(index, monitors[index]);
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetParent(REFIID id, void** parent) override {
    *parent = nullptr;
    if (!IsEqualGUID(id, __uuidof(IDXGIFactory1))) {
      return E_NOINTERFACE;
    }
    const HRESULT scripted = Step("GetParent");
    if (FAILED(scripted)) {
      return scripted;
    }
    *parent = static_cast<IDXGIFactory1*>(new Factory(outputsEpoch));
    return S_OK;
  }

 private:
  const uint64_t outputsEpoch;
  const std::vector<FakeMonitor> monitors;
};

// What a device knows of the outputs: the present state, or once that has become stale, the state
// at the device's birth.
struct KnownOutputs {
  uint64_t epoch;
  std::vector<FakeMonitor> monitors;
};

class DxgiDevice : public Counted<UnscriptedDxgiDevice> {
 public:
  explicit DxgiDevice(KnownOutputs outputs) : Counted("DxgiDevice"), known(std::move(outputs)) {}

  HRESULT STDMETHODCALLTYPE GetAdapter(IDXGIAdapter** adapter) override {
    *adapter = nullptr;
    const HRESULT scripted = Step("GetAdapter");
    if (FAILED(scripted)) {
      return scripted;
    }
    *adapter = new Adapter(known.epoch, known.monitors);
    return S_OK;
  }

 private:
  const KnownOutputs known;
};

class Device : public Counted<UnscriptedDevice> {
 public:
  Device(uint64_t device, KnownOutputs outputs)
      : Counted("Device"), epoch(device), atBirth(std::move(outputs)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!IsEqualGUID(id, __uuidof(IDXGIDevice))) {
      return Counted::QueryInterface(id, object);
    }
    *object = nullptr;
    const HRESULT scripted = Step("QueryInterface(IDXGIDevice)");
    if (FAILED(scripted)) {
      return scripted;
    }
    const std::vector<FakeMonitor> monitors = WithCard([this](State& card) {
      return card.outputsEpoch == atBirth.epoch ? card.monitors : atBirth.monitors;
    });
    *object = static_cast<IDXGIDevice*>(new DxgiDevice({atBirth.epoch, monitors}));
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE CreateTexture2D(const D3D11_TEXTURE2D_DESC* desc,
                                            const D3D11_SUBRESOURCE_DATA*,
                                            ID3D11Texture2D** texture) override {
    *texture = nullptr;
    const HRESULT scripted = DeviceStep("CreateTexture2D", epoch);
    if (FAILED(scripted)) {
      return scripted;
    }
    WithCard([desc](State& card) { card.lastTexture = *desc; });
    *texture = new Texture(*desc, 0);
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetDeviceRemovedReason() override { return RemovedReason(epoch); }

  const uint64_t epoch;

 private:
  const KnownOutputs atBirth;
};

HRESULT Output::DuplicateOutput(IUnknown* device, IDXGIOutputDuplication** duplication) {
  *duplication = nullptr;
  const uint64_t deviceEpoch = static_cast<Device*>(static_cast<ID3D11Device*>(device))->epoch;
  const HRESULT scripted = DeviceStep("DuplicateOutput", deviceEpoch);
  if (FAILED(scripted)) {
    return scripted;
  }
  if (!described.attached) {
    return DXGI_ERROR_UNSUPPORTED;
  }
  const uint64_t access = WithCard([](State& card) { return card.accessEpoch; });
  *duplication = new Duplication(number, access, deviceEpoch);
  return S_OK;
}

class Context : public Counted<UnscriptedContext> {
 public:
  explicit Context(uint64_t device) : Counted("Context"), deviceEpoch(device) {}
  ~Context() override {
    if (mapped != nullptr) Misuse("a context released while a texture is mapped");
  }

  void STDMETHODCALLTYPE CopyResource(ID3D11Resource* target, ID3D11Resource* source) override {
    Note("CopyResource");
    const D3D11_TEXTURE2D_DESC& to = AsTexture(target).description;
    const D3D11_TEXTURE2D_DESC& from = AsTexture(source).description;
    if (to.Width != from.Width || to.Height != from.Height || to.ArraySize != from.ArraySize) {
      Misuse("a copy between textures that are not alike");
    }
    AsTexture(target).shade = AsTexture(source).shade;
  }

  // The rows end where the page after them cannot be read.
  HRESULT STDMETHODCALLTYPE Map(ID3D11Resource* resource, UINT, D3D11_MAP, UINT,
                                D3D11_MAPPED_SUBRESOURCE* shown) override {
    const HRESULT scripted = DeviceStep("Map", deviceEpoch);
    if (FAILED(scripted)) {
      return scripted;
    }
    if (mapped != nullptr) Misuse("a second map before the first was undone");
    const Texture& texture = AsTexture(resource);
    const UINT padding = WithCard([](State& card) { return card.rowPadding; });
    const bool tooShort = padding == FakeGraphics::kShortPitch;
    const size_t rowBytes = size_t{texture.description.Width} * 4;
    const size_t pitch = tooShort ? rowBytes - 1 : rowBytes + padding;
    const size_t size = pitch * (texture.description.Height - 1) + rowBytes;
    constexpr size_t kPage = 4096;
    const size_t whole = (size + kPage - 1) / kPage * kPage;
    mapped =
        static_cast<uint8_t*>(VirtualAlloc(nullptr, whole + kPage, MEM_RESERVE, PAGE_NOACCESS));
    if (mapped == nullptr || !VirtualAlloc(mapped, whole, MEM_COMMIT, PAGE_READWRITE)) {
      Misuse("no memory for a mapped texture");
    }
    uint8_t* rows = mapped + whole - size;
    std::memset(rows, 0xEE, size);
    for (size_t y = 0; y < texture.description.Height; ++y) {
      std::memset(rows + y * pitch, texture.shade, tooShort ? rowBytes - 1 : rowBytes);
    }
    shown->pData = rows;
    shown->RowPitch = static_cast<UINT>(pitch);
    shown->DepthPitch = 0;
    return S_OK;
  }

  void STDMETHODCALLTYPE Unmap(ID3D11Resource*, UINT) override {
    Note("Unmap");
    if (mapped == nullptr) Misuse("an unmap of what is not mapped");
    VirtualFree(mapped, 0, MEM_RELEASE);
    mapped = nullptr;
  }

 private:
  const uint64_t deviceEpoch;
  uint8_t* mapped = nullptr;
};

HRESULT CreateFakeDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software, UINT flags,
                         const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT sdkVersion,
                         ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                         ID3D11DeviceContext** context) {
  *device = nullptr;
  *context = nullptr;
  const HRESULT scripted = Step("D3D11CreateDevice");
  if (FAILED(scripted)) {
    return scripted;
  }
  uint64_t deviceEpoch = 0;
  KnownOutputs outputs;
  WithCard([&](State& card) {
    card.lastDevice = {adapter != nullptr,
                       type,
                       software != nullptr,
                       flags,
                       {levels, levels + levelCount},
                       sdkVersion,
                       level != nullptr};
    deviceEpoch = card.deviceEpoch;
    outputs = {card.outputsEpoch, card.monitors};
  });
  *device = new Device(deviceEpoch, std::move(outputs));
  *context = new Context(deviceEpoch);
  return S_OK;
}

}  // namespace

FakeGraphics::FakeGraphics()
    : calls(RealSystemCalls()), state(std::make_unique<FakeGraphicsState>()) {
  calls.D3d11CreateDevice = CreateFakeDevice;
  stateInForce = state.get();
}

FakeGraphics::~FakeGraphics() { stateInForce = nullptr; }

void FakeGraphics::SetMonitors(std::vector<FakeMonitor> monitors) {
  With(*state, [&monitors](State& card) {
    card.monitors = std::move(monitors);
    card.pictures.resize(card.monitors.size());
    for (uint64_t& picture : card.pictures) ++picture;
  });
}

void FakeGraphics::ShowNewPicture(size_t monitor, uint8_t shade) {
  ChangeMonitor(monitor, [shade](FakeMonitor& shown) { shown.shade = shade; });
}

void FakeGraphics::ChangeMode(size_t monitor, UINT width, UINT height) {
  ChangeMonitor(monitor, [=](FakeMonitor& changed) {
    changed.width = width;
    changed.height = height;
    changed.desktop.right = changed.desktop.left + static_cast<LONG>(width);
    changed.desktop.bottom = changed.desktop.top + static_cast<LONG>(height);
  });
  TakeAccess();
}

void FakeGraphics::ChangeMonitor(size_t monitor, const std::function<void(FakeMonitor&)>& change) {
  With(*state, [&](State& card) {
    change(card.monitors.at(monitor));
    ++card.pictures.at(monitor);
  });
}

void FakeGraphics::TakeAccess() {
  With(*state, [](State& card) { ++card.accessEpoch; });
}

void FakeGraphics::RemoveDevices(HRESULT reason) {
  With(*state, [reason](State& card) {
    ++card.deviceEpoch;
    card.removedReason = reason;
  });
}

void FakeGraphics::MakeOutputsStale() {
  With(*state, [](State& card) { ++card.outputsEpoch; });
}

void FakeGraphics::MovePointer(FakePointer pointer) {
  With(*state, [&pointer](State& card) { card.pointer = std::move(pointer); });
}

void FakeGraphics::FailStep(int number, HRESULT result) {
  With(*state, [=](State& card) {
    card.failingStep = number;
    card.failingStepResult = result;
    card.steps = 0;
  });
}

void FakeGraphics::Fail(const std::string& call, HRESULT result, int count) {
  With(*state, [&](State& card) { card.faults[call] = {result, count}; });
}

void FakeGraphics::StopFailing() {
  With(*state, [](State& card) {
    card.failingStep = 0;
    card.faults.clear();
  });
}

void FakeGraphics::SetRowPadding(UINT bytes) {
  With(*state, [bytes](State& card) { card.rowPadding = bytes; });
}

int FakeGraphics::Alive() const {
  return With(*state, [](State& card) { return card.alive; });
}

int FakeGraphics::Steps() const {
  return With(*state, [](State& card) { return card.steps; });
}

int FakeGraphics::Count(const std::string& call) const {
  return With(*state, [&call](State& card) {
    return static_cast<int>(std::count(card.log.begin(), card.log.end(), call));
  });
}

std::vector<std::string> FakeGraphics::Log() const {
  return With(*state, [](State& card) { return card.log; });
}

void FakeGraphics::ClearLog() {
  With(*state, [](State& card) { card.log.clear(); });
}

FakeDeviceRequest FakeGraphics::LastDevice() const {
  return With(*state, [](State& card) { return card.lastDevice; });
}

D3D11_TEXTURE2D_DESC FakeGraphics::LastTexture() const {
  return With(*state, [](State& card) { return card.lastTexture; });
}

UINT FakeGraphics::LastTimeoutMs() const {
  return With(*state, [](State& card) { return card.lastTimeoutMs; });
}

}  // namespace talu
