#include "tests/fakes/fake_clipboard.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "clipboard/clipboard_text.h"
#include "clipboard/clipboard_watcher.h"

namespace talu {
namespace {

// What a watcher's thread shares with the clipboard.
struct Listener {
  uint64_t toldOf = 0;
  bool stop = false;
};

struct Board {
  std::mutex lock;
  std::condition_variable changed;
  std::string text;
  bool openElsewhere = false;
  bool writesTakeLong = false;
  bool tellsOwnText = false;
  size_t writeCount = 0;
  size_t readCount = 0;
  uint64_t changeCount = 0;
  uint64_t ownChange = 0;
  std::vector<Listener*> listeners;
};

Board& TheBoard() {
  static Board board;
  return board;
}

void Put(const std::string& text) {
  Board& board = TheBoard();
  const std::lock_guard<std::mutex> hold(board.lock);
  board.text = text;
  ++board.changeCount;
  board.changed.notify_all();
}

}  // namespace

void FakeClipboard::Reset() {
  Board& board = TheBoard();
  const std::lock_guard<std::mutex> hold(board.lock);
  board.text.clear();
  board.openElsewhere = false;
  board.writesTakeLong = false;
  board.tellsOwnText = false;
  board.writeCount = 0;
  board.readCount = 0;
  board.changeCount = 0;
  board.ownChange = 0;
}

void FakeClipboard::Copy(const std::string& text) { Put(text); }

void FakeClipboard::CopyPicture() { Put(""); }

std::string FakeClipboard::Text() {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  return TheBoard().text;
}

void FakeClipboard::SetOpenElsewhere(bool open) {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  TheBoard().openElsewhere = open;
}

void FakeClipboard::SetWritesTakeLong(bool takeLong) {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  TheBoard().writesTakeLong = takeLong;
}

void FakeClipboard::SetTellsOwnText(bool tells) {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  TheBoard().tellsOwnText = tells;
}

void FakeClipboard::WaitUntilTold() {
  Board& board = TheBoard();
  std::unique_lock<std::mutex> hold(board.lock);
  board.changed.wait(hold, [&] {
    return std::all_of(
        board.listeners.begin(), board.listeners.end(),
        [&](const Listener* listener) { return listener->toldOf == board.changeCount; });
  });
}

size_t FakeClipboard::StartedWatchers() {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  return TheBoard().listeners.size();
}

size_t FakeClipboard::WriteCount() {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  return TheBoard().writeCount;
}

size_t FakeClipboard::ReadCount() {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  return TheBoard().readCount;
}

std::string ReadClipboardText() {
  const std::lock_guard<std::mutex> hold(TheBoard().lock);
  ++TheBoard().readCount;
  return TheBoard().openElsewhere ? std::string() : TheBoard().text;
}

void WriteClipboardText(std::string_view text) {
  Board& board = TheBoard();
  std::unique_lock<std::mutex> hold(board.lock);
  ++board.writeCount;
  if (board.openElsewhere) {
    return;
  }
  board.text = text;
  board.ownChange = ++board.changeCount;
  board.changed.notify_all();
  if (board.writesTakeLong) {
    hold.unlock();
    FakeClipboard::WaitUntilTold();
  }
}

bool HoldsWrittenText() {
  Board& board = TheBoard();
  const std::lock_guard<std::mutex> hold(board.lock);
  return board.tellsOwnText && board.ownChange != 0 && board.ownChange == board.changeCount;
}

struct ClipboardWatcher::State {
  explicit State(std::function<void()> callback) : onClipboardUpdate(std::move(callback)) {}

  void Run() {
    Board& board = TheBoard();
    std::unique_lock<std::mutex> hold(board.lock);
    while (true) {
      board.changed.wait(hold,
                         [&] { return listener.stop || listener.toldOf != board.changeCount; });
      if (listener.stop) {
        return;
      }
      const uint64_t change = board.changeCount;
      hold.unlock();
      onClipboardUpdate();
      hold.lock();
      listener.toldOf = change;
      board.changed.notify_all();
    }
  }

  const std::function<void()> onClipboardUpdate;
  Listener listener;
  std::thread thread;
};

ClipboardWatcher::ClipboardWatcher(std::function<void()> onClipboardUpdate)
    : state(std::make_unique<State>(std::move(onClipboardUpdate))) {}

ClipboardWatcher::~ClipboardWatcher() { Stop(); }

void ClipboardWatcher::Start() {
  if (state->thread.joinable()) {
    return;
  }
  Board& board = TheBoard();
  {
    const std::lock_guard<std::mutex> hold(board.lock);
    state->listener = {board.changeCount, false};
    board.listeners.push_back(&state->listener);
  }
  state->thread = std::thread([this] { state->Run(); });
}

void ClipboardWatcher::Stop() {
  if (!state->thread.joinable()) {
    return;
  }
  Board& board = TheBoard();
  {
    const std::lock_guard<std::mutex> hold(board.lock);
    state->listener.stop = true;
    std::erase(board.listeners, &state->listener);
    board.changed.notify_all();
  }
  state->thread.join();
}

}  // namespace talu
