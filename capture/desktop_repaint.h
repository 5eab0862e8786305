// Makes an unchanged desktop show something new.
//
// Duplication hands out a picture only when the system has composed one since the last. A desktop
// on which nothing moves may therefore never give the first picture; who waits for that calls this
// between its grabs, as often as it likes, on any thread.
#pragma once

namespace talu {

// Has every window drawn again and moves the pointer to the next pixel and back. Both leave things
// as they were. May do nothing on a desktop that cannot be reached (locked, no input allowed).
void ProvokeDesktopRepaint();

}  // namespace talu
