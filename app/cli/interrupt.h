#pragma once
// Ctrl-C handling for long commands: the first Ctrl-C asks the running work to
// stop (through its own stop path, so partial results survive and the
// register is saved), a second one a second or more later exits at once. SIGTERM and SIGHUP (a
// shutdown, a closed terminal) are taken the same way: without it they would
// lose everything since the last auto-save.
#include <atomic>

namespace ostravel::cli {

// While a guard lives, SIGINT, SIGTERM and SIGHUP raise `flag`; a second one,
// a second or more after the first, ends the process at once with 128 + the
// signal (130, 143, 129). An earlier repeat is the same stop sent twice.
class InterruptGuard {
 public:
  explicit InterruptGuard(std::atomic<bool>* flag);
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  // True once Ctrl-C was pressed during the guard's life.
  static bool Interrupted();
  // The first signal taken (SIGINT, SIGTERM, SIGHUP), 0 when none.
  static int Signal();
};

// The exit code of a command whose work was stopped: kExitStopped (130)
// becomes 143 after SIGTERM and 129 after SIGHUP; other codes stay.
int SignalExitCode(int code);

// While a guard lives, Ctrl-Z (SIGTSTP) asks for a pause instead of stopping
// the process, and SIGCONT (fg) for the end of the pause.
class PauseGuard {
 public:
  PauseGuard();
  ~PauseGuard();
  PauseGuard(const PauseGuard&) = delete;
  PauseGuard& operator=(const PauseGuard&) = delete;
  static bool PauseWanted();
};

}  // namespace ostravel::cli
