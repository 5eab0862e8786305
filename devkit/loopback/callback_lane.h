// One library thread that makes callbacks into the host, in the order they were posted.
//
// The host may do anything in a callback but end the session: join its stream thread, send, sleep.
// So nothing is locked while a callback runs, and no other thread of the library waits for it.
// Post from any thread; Close by the owner.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace talu::loopback {

class CallbackLane {
 public:
  // Above highWaterBytes, or kHighWaterTasks tasks, Post says so; roomNotice is called, on the
  // lane's thread, when half of that is left after a Post said so. Throws std::system_error when no
  // thread can be made.
  CallbackLane(size_t highWaterBytes, std::function<void()> roomNotice);
  ~CallbackLane();
  CallbackLane(const CallbackLane&) = delete;
  CallbackLane& operator=(const CallbackLane&) = delete;

  // False when the lane is full now; the task was taken nevertheless, unless the lane is closed.
  bool Post(std::function<void()> task, size_t bytes);

  size_t WaitingBytes() const;
  size_t WaitingTasks() const;

  // Whether the caller is a callback of any lane.
  static bool IsOnAnyLane();

  enum class Rest { kRun, kDrop };
  // Runs or drops what waits, waits for the callback that runs and ends the thread. Not on the
  // lane's own thread.
  void Close(Rest rest);

 private:
  struct Task {
    std::function<void()> run;
    size_t bytes;
  };
  void Run();
  bool IsAbove(size_t part) const;

  static constexpr size_t kHighWaterTasks = 4096;
  const size_t highWaterBytes;
  const std::function<void()> roomNotice;

  mutable std::mutex lock;
  std::condition_variable wake;
  std::deque<Task> tasks;
  size_t waitingBytes = 0;
  bool roomWanted = false;
  bool closing = false;
  std::thread thread;
};

}  // namespace talu::loopback
