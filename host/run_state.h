// Whether the process is to go on running: the one flag that everything which can stop it clears.
#pragma once

#include <atomic>

namespace talu {

// Cleared by the console control handler, by the standard-input watcher and by main.
extern std::atomic<bool> g_running;

// The body of the watcher thread: reads standard input, whose content means nothing, and clears
// g_running at its end. The parent stops the host by closing it, or by dying.
void StdinWatcher();

// Returns once g_running is false, within the 200 ms of its step.
void WaitWhileRunning();

}  // namespace talu
