// A graphics adapter, its device and the manager through which a transform gets it.
#pragma once

#include <d3d10.h>

#include <cstdint>
#include <string>

#include "encoder/fakes/call_script.h"
#include "encoder/fakes/fake_com_win.h"
#include "encoder/fakes/media_stubs_win.h"
#include "tests/fakes/unscripted_graphics_win.h"

namespace talu {

struct GraphicsScript {
  // At most 128 UTF-16 units; a description of that length has no end mark.
  std::wstring description = L"Example Display Adapter";
  // Not told when 0.
  uint64_t driverVersion = 0x001F0000'00651196;
  bool hasMultithread = true;
};

class ScriptedAdapter : public UnscriptedAdapter {
 public:
  virtual ~ScriptedAdapter() = default;
  ScriptedAdapter(CallScript& calls, const GraphicsScript& has) : script(calls), scripted(has) {}
  HRESULT GetDesc(DXGI_ADAPTER_DESC* description) override;
  HRESULT CheckInterfaceSupport(REFGUID id, LARGE_INTEGER* version) override;

 protected:
  void* Find(REFIID) { return nullptr; }

 private:
  CallScript& script;
  const GraphicsScript& scripted;
};
using FakeAdapter = Counted<ScriptedAdapter>;

class ScriptedDxgiDevice : public UnscriptedDxgiDevice {
 public:
  virtual ~ScriptedDxgiDevice() = default;
  ScriptedDxgiDevice(CallScript& calls, const GraphicsScript& has) : script(calls), scripted(has) {}
  HRESULT GetAdapter(IDXGIAdapter** adapter) override;

 protected:
  void* Find(REFIID) { return nullptr; }

 private:
  CallScript& script;
  const GraphicsScript& scripted;
};
using FakeDxgiDevice = Counted<ScriptedDxgiDevice>;

// Only ever released.
class IdleContext : public UnscriptedContext {
 public:
  virtual ~IdleContext() = default;

 protected:
  void* Find(REFIID) { return nullptr; }
};
using FakeContext = Counted<IdleContext>;

class ScriptedMultithread : public ID3D10Multithread {
 public:
  explicit ScriptedMultithread(CallScript& calls) : script(calls) {}
  virtual ~ScriptedMultithread() = default;
  void Enter() override {}
  void Leave() override {}
  BOOL SetMultithreadProtected(BOOL on) override;
  BOOL GetMultithreadProtected() override { return FALSE; }

 protected:
  void* Find(REFIID) { return nullptr; }

 private:
  CallScript& script;
};
using FakeMultithread = Counted<ScriptedMultithread>;

class ScriptedDirect3dDevice : public UnscriptedDevice {
 public:
  virtual ~ScriptedDirect3dDevice() = default;
  ScriptedDirect3dDevice(CallScript& calls, const GraphicsScript& has)
      : script(calls), scripted(has) {}

 protected:
  // A new object with a reference for the caller.
  void* Find(REFIID id);

 private:
  CallScript& script;
  const GraphicsScript& scripted;
};
using FakeDirect3dDevice = Counted<ScriptedDirect3dDevice>;

class ScriptedDeviceManager : public DeviceManagerStub {
 public:
  explicit ScriptedDeviceManager(CallScript& calls) : script(calls) {}
  ~ScriptedDeviceManager() override;
  HRESULT ResetDevice(IUnknown* device, UINT token) override;

 protected:
  void* Find(REFIID) { return nullptr; }

 private:
  CallScript& script;
  IUnknown* held = nullptr;
};
using FakeDeviceManager = Counted<ScriptedDeviceManager>;

}  // namespace talu
