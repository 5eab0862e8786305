#include "devkit/loopback/callback_lane.h"

#include <algorithm>
#include <utility>

namespace talu::loopback {
namespace {

thread_local bool isLaneThread = false;

}  // namespace

CallbackLane::CallbackLane(size_t highWater, std::function<void()> onRoom)
    : highWaterBytes(highWater), roomNotice(std::move(onRoom)), thread([this] { Run(); }) {}

CallbackLane::~CallbackLane() { Close(Rest::kDrop); }

bool CallbackLane::Post(std::function<void()> task, size_t bytes) {
  bool hasRoom = true;
  {
    const std::lock_guard guard(lock);
    if (closing) return true;
    tasks.push_back({std::move(task), bytes});
    waitingBytes += bytes;
    if (IsAbove(1)) {
      hasRoom = false;
      roomWanted = true;
    }
  }
  wake.notify_one();
  return hasRoom;
}

size_t CallbackLane::WaitingBytes() const {
  const std::lock_guard guard(lock);
  return waitingBytes;
}

size_t CallbackLane::WaitingTasks() const {
  const std::lock_guard guard(lock);
  return tasks.size();
}

bool CallbackLane::IsOnAnyLane() { return isLaneThread; }

void CallbackLane::Close(Rest rest) {
  std::deque<Task> dropped;
  {
    const std::lock_guard guard(lock);
    closing = true;
    if (rest == Rest::kDrop) {
      dropped.swap(tasks);
      waitingBytes = 0;
    }
  }
  wake.notify_one();
  if (thread.joinable()) thread.join();
}

void CallbackLane::Run() {
  isLaneThread = true;
  std::unique_lock held(lock);
  while (true) {
    wake.wait(held, [this] { return closing || !tasks.empty(); });
    if (tasks.empty()) return;
    Task task = std::move(tasks.front());
    tasks.pop_front();
    held.unlock();
    task.run();
    task.run = nullptr;
    held.lock();
    // Counted until the callback is done: its memory is in use that long.
    waitingBytes -= std::min(waitingBytes, task.bytes);
    if (roomWanted && !IsAbove(2)) {
      roomWanted = false;
      held.unlock();
      if (roomNotice) roomNotice();
      held.lock();
    }
  }
}

bool CallbackLane::IsAbove(size_t part) const {
  return waitingBytes > highWaterBytes / part || tasks.size() > kHighWaterTasks / part;
}

}  // namespace talu::loopback
