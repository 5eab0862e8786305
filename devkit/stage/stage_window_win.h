// One actor's window. Created, drawn and destroyed on the stage's main thread, which owns it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "devkit/stage/scene.h"

namespace talu {

class StageWindow {
 public:
  explicit StageWindow(Actor shown);
  ~StageWindow();
  StageWindow(const StageWindow&) = delete;
  StageWindow& operator=(const StageWindow&) = delete;

  // Registers the windows' class; once, before the first Open.
  static bool RegisterWindowClass();

  // Shows the window, in front of the others. False when the system refuses it.
  bool Open();
  const Actor& GetActor() const { return actor; }

  // Draws a moving actor's next picture.
  void DrawNext();

 private:
  static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wide, LPARAM parameter);
  LRESULT Handle(UINT message, WPARAM wide, LPARAM parameter);
  void Paint();
  void Press(const char* button, LPARAM place);
  void Release(const char* button, LPARAM place);
  void Note(const std::string& line) const;
  // more follows the place, as it stands.
  void NotePointer(const std::string& what, LPARAM place, const std::string& more = "") const;
  void SaveText() const;
  bool PreparePattern();

  Actor actor;
  HWND window = nullptr;
  HWND edit = nullptr;
  HCURSOR cursor = nullptr;
  HDC pattern = nullptr;
  HDC picture = nullptr;
  HBITMAP patternBitmap = nullptr;
  HBITMAP pictureBitmap = nullptr;
  int64_t step = 0;
  int presses = 0;
};

}  // namespace talu
