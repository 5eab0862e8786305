// Keeps something alive while several threads use it, without a lock that a user could wait on.
//
// Users pass through with a GatePass; whoever replaces or destroys the thing closes the gate, which
// waits until every user inside has left and lets nobody in until it is opened again. Users never
// wait for each other. A thread must not close the gate while it holds a pass itself.
#pragma once

#include <atomic>
#include <cstdint>

namespace talu {

class Gate {
 public:
  // False when the gate is closed; otherwise Leave must follow.
  bool TryEnter();
  // Waits while the gate is closed. Leave must follow.
  void Enter();
  void Leave();

  // Returns when nobody is inside. A second closer waits until the first has opened again.
  void Close();
  void Open();

 private:
  static constexpr uint32_t kClosed = 0x80000000u;
  // Users inside, and kClosed.
  std::atomic<uint32_t> state{0};
};

// A user's stay inside a gate, for one scope.
class GatePass {
 public:
  explicit GatePass(Gate& entered) : gate(entered), inside(entered.TryEnter()) {}
  ~GatePass() {
    if (inside) gate.Leave();
  }
  GatePass(const GatePass&) = delete;
  GatePass& operator=(const GatePass&) = delete;

  explicit operator bool() const { return inside; }

 private:
  Gate& gate;
  const bool inside;
};

// The closed time of a gate, for one scope.
class GateClosing {
 public:
  explicit GateClosing(Gate& closed) : gate(closed) { gate.Close(); }
  ~GateClosing() { gate.Open(); }
  GateClosing(const GateClosing&) = delete;
  GateClosing& operator=(const GateClosing&) = delete;

 private:
  Gate& gate;
};

}  // namespace talu
