#pragma once
// Ctrl-C handling for long commands: the first Ctrl-C asks the running work to
// stop (through its own stop path, so partial results survive), a second one
// exits at once.
#include <atomic>

namespace ostravel::cli {

// While a guard lives, SIGINT raises `flag`; a second SIGINT ends the process
// with exit code 130.
class InterruptGuard {
 public:
  explicit InterruptGuard(std::atomic<bool>* flag);
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  // True once Ctrl-C was pressed during the guard's life.
  static bool Interrupted();
};

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
