#include "devkit/loopback/library.h"

#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "devkit/loopback/error_codes.h"
#include "devkit/loopback/record_checks.h"

namespace talu::loopback {
namespace {

constexpr size_t kWaitingNoticeBytes = 1u << 20;
constexpr size_t kWaitingNotices = 512;

// For complaints before there is a thread for them.
void ReportFromNewThread(const SdkGlobalConfig& config, int32_t code, const std::string& text) {
  if (config.onError == nullptr) return;
  std::thread([&] { config.onError(nullptr, code, text.c_str(), config.user); }).join();
}

}  // namespace

// From tcar_global_init to tcar_global_cleanup.
struct Library::Running {
  Running(const SdkGlobalConfig& configToCopy, Settings ownSettings)
      : config(configToCopy),
        settings(std::move(ownSettings)),
        faults(settings.faultFile),
        notices(kWaitingNoticeBytes, nullptr) {}

  void Log(std::string line) {
    if (notices.WaitingTasks() >= kWaitingNotices) return;
    const size_t bytes = line.size();
    notices.Post(
        [this, line = std::move(line)] { config.onLog(handle, line.c_str(), config.user); }, bytes);
  }

  int32_t Report(int32_t code, std::string text) {
    if (notices.WaitingTasks() >= kWaitingNotices) return code;
    const size_t bytes = text.size();
    notices.Post(
        [this, code, text = std::move(text)] {
          config.onError(handle, code, text.c_str(), config.user);
        },
        bytes);
    return code;
  }

  // The slots without news are called once, so that a host that cannot bear it is found out.
  void CallEmptySlots() {
    notices.Post(
        [this] {
          for (const SdkEmptyCallback slot : config.emptyAt16) slot();
          for (const SdkEmptyCallback slot : config.emptyAt48) slot();
          config.emptyAt112();
          config.emptyAt136();
        },
        0);
  }

  const SdkGlobalConfig config;
  const Settings settings;
  Faults faults;
  std::atomic<SdkSessionHandle> handle{nullptr};
  CallbackLane notices;
  // Guarded by the library's lock.
  std::shared_ptr<Session> session;
};

Library& Library::Instance() {
  static Library* const library = new Library;
  return *library;
}

int32_t Library::GlobalInit(const SdkGlobalConfig* config) {
  if (CallbackLane::IsOnAnyLane()) return kCalledFromCallback;
  const std::lock_guard guard(lifecycle);
  if (Find()) return kAlreadyInitialised;
  if (const char* complaint = CheckGlobalConfig(config)) {
    if (config != nullptr) ReportFromNewThread(*config, kBadRecord, complaint);
    return kBadRecord;
  }
  std::string complaint;
  std::optional<Settings> settings = ReadSettings(&complaint);
  if (!settings) {
    ReportFromNewThread(*config, kBadConfiguration, complaint);
    return kBadConfiguration;
  }
  auto running = std::make_shared<Running>(*config, std::move(*settings));
  const Faults::Verdict fault = running->faults.Take(Call::kInit);
  if (!fault.complaint.empty()) running->Report(kBadConfiguration, fault.complaint);
  if (fault.code != kOk) {
    running->notices.Close(CallbackLane::Rest::kRun);
    return fault.code;
  }
  const std::lock_guard pointerGuard(lock);
  current = std::move(running);
  return kOk;
}

void Library::GlobalCleanup() {
  // It would wait for the very callback that it is called from.
  if (CallbackLane::IsOnAnyLane()) return;
  const std::lock_guard guard(lifecycle);
  const std::shared_ptr<Running> running = Find();
  if (!running) return;
  DestroyLocked(running);
  {
    const std::lock_guard pointerGuard(lock);
    current.reset();
  }
  running->notices.Close(CallbackLane::Rest::kRun);
}

int32_t Library::SessionCreate(const SdkSessionParams* params, SdkSessionHandle* handle) {
  if (CallbackLane::IsOnAnyLane()) return kCalledFromCallback;
  const std::lock_guard guard(lifecycle);
  const std::shared_ptr<Running> running = Find();
  if (!running) return kNotInitialised;
  const char* complaint = handle == nullptr ? "tcar_session_create: no place for the handle"
                                            : CheckSessionParams(params);
  if (complaint != nullptr) return running->Report(kBadRecord, complaint);
  const Faults::Verdict fault = running->faults.Take(Call::kCreate);
  if (!fault.complaint.empty()) running->Report(kBadConfiguration, fault.complaint);
  if (fault.code != kOk) return fault.code;
  return CreateLocked(running, *params, handle);
}

int32_t Library::CreateLocked(const std::shared_ptr<Running>& running,
                              const SdkSessionParams& params, SdkSessionHandle* handle) {
  {
    const std::lock_guard pointerGuard(lock);
    if (running->session) return running->Report(kSessionExists, "tcar_session_create: one exists");
  }
  // Never followed, only compared.
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  const auto newHandle = reinterpret_cast<SdkSessionHandle>(++lastHandle);
  auto session = std::make_shared<Session>(
      running->config, newHandle, running->settings,
      [running = running.get()](std::string line) { running->Log(std::move(line)); });
  running->handle = newHandle;
  std::string complaint;
  // The host may be called back before this returns, and it may send then.
  *handle = newHandle;
  {
    const std::lock_guard pointerGuard(lock);
    running->session = session;
  }
  bool started = false;
  try {
    started = session->Start(params, &complaint);
  } catch (const std::system_error& failure) {
    complaint = failure.what();
  }
  if (started) {
    running->CallEmptySlots();
    return kOk;
  }
  DestroyLocked(running);
  *handle = nullptr;
  return running->Report(kCannotServe, complaint);
}

void Library::SessionDestroy(SdkSessionHandle handle) {
  if (CallbackLane::IsOnAnyLane()) return;
  const std::lock_guard guard(lifecycle);
  const std::shared_ptr<Running> running = Find();
  if (!running) return;
  if (handle == nullptr || running->handle != handle) {
    running->Report(kUnknownSession, "tcar_session_destroy: no such session");
    return;
  }
  DestroyLocked(running);
}

void Library::DestroyLocked(const std::shared_ptr<Running>& running) {
  std::shared_ptr<Session> session;
  {
    const std::lock_guard pointerGuard(lock);
    session = running->session;
  }
  // Callbacks that run meanwhile may still send.
  if (session) session->Stop();
  running->handle = nullptr;
  const std::lock_guard pointerGuard(lock);
  running->session.reset();
}

int32_t Library::SendVideo(SdkSessionHandle handle, const SdkVideoFrame* frame) {
  std::shared_ptr<Session> session;
  const int32_t code = Enter(handle, Call::kSendVideo, CheckVideoFrame(frame), &session);
  if (code == kOk) session->SendVideo(*frame);
  return code;
}

int32_t Library::SendMessage(SdkSessionHandle handle, const SdkCustomMessage* message) {
  std::shared_ptr<Session> session;
  const int32_t code = Enter(handle, Call::kSendMessage, CheckCustomMessage(message), &session);
  return code == kOk ? session->SendMessage(*message) : code;
}

int32_t Library::SetScreen(SdkSessionHandle handle, const SdkScreenInfo* info) {
  std::shared_ptr<Session> session;
  const int32_t code = Enter(handle, Call::kSetScreen, CheckScreenInfo(info), &session);
  if (code != kOk) return code;
  session->SetScreen(*info);
  if (const std::shared_ptr<Running> running = Find()) {
    running->Log("SetScreenInfo " + std::to_string(info->width) + "x" +
                 std::to_string(info->height));
  }
  return code;
}

std::shared_ptr<Library::Running> Library::Find() const {
  const std::lock_guard pointerGuard(lock);
  return current;
}

int32_t Library::Enter(SdkSessionHandle handle, Call call, const char* complaint,
                       std::shared_ptr<Session>* session) {
  std::shared_ptr<Running> running;
  {
    const std::lock_guard pointerGuard(lock);
    running = current;
    if (running) *session = running->session;
  }
  if (!running) return kNotInitialised;
  if (complaint != nullptr) return running->Report(kBadRecord, complaint);
  if (!*session || (*session)->Handle() != handle) {
    return running->Report(kUnknownSession, "a call for a session that is not there");
  }
  const Faults::Verdict fault = running->faults.Take(call);
  if (!fault.complaint.empty()) running->Report(kBadConfiguration, fault.complaint);
  if (fault.delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(fault.delayMs));
  return fault.code;
}

}  // namespace talu::loopback
