#include "interrupt.h"

#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <ctime>

namespace ostravel::cli {

namespace {
std::atomic<std::atomic<bool>*> g_flag{nullptr};
std::atomic<int> g_count{0};        // lock-free, so safe in a signal handler
std::atomic<int> g_signal{0};       // the first signal taken
std::atomic<int64_t> g_firstNs{0};  // when it came (CLOCK_MONOTONIC)

constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP};

// A repeat within this time is the same stop delivered twice: `timeout`
// signals both its child and the child's process group, and a shell's
// Ctrl-C can reach a process by two ways. Exiting on it would lose the
// partial result that the first signal is about to print.
constexpr int64_t kRepeatNs = 1'000'000'000;

int64_t MonotonicNs() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);  // async-signal-safe
  return static_cast<int64_t>(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

void OnStopSignal(int sig) {
  const int64_t now = MonotonicNs();
  if (g_count.fetch_add(1) > 0) {
    if (now - g_firstNs.load() < kRepeatNs) return;
    _exit(128 + sig);
  }
  g_firstNs.store(now);
  int none = 0;
  g_signal.compare_exchange_strong(none, sig);
  if (auto* f = g_flag.load()) f->store(true);
}
}  // namespace

InterruptGuard::InterruptGuard(std::atomic<bool>* flag) {
  g_flag.store(flag);
  g_count.store(0);
  g_signal.store(0);
  g_firstNs.store(0);
  struct sigaction sa {};
  sa.sa_handler = OnStopSignal;
  // One stop signal at a time: a repeat then always finds the first's time.
  sigemptyset(&sa.sa_mask);
  for (int sig : kStopSignals) sigaddset(&sa.sa_mask, sig);
  for (int sig : kStopSignals) sigaction(sig, &sa, nullptr);
}

InterruptGuard::~InterruptGuard() {
  struct sigaction sa {};
  sa.sa_handler = SIG_DFL;
  sigemptyset(&sa.sa_mask);
  for (int sig : kStopSignals) sigaction(sig, &sa, nullptr);
  g_flag.store(nullptr);
}

bool InterruptGuard::Interrupted() {
  return g_count.load() > 0;
}

int InterruptGuard::Signal() {
  return g_signal.load();
}

int SignalExitCode(int code) {
  if (code != 130) return code;
  const int sig = g_signal.load();
  return sig == SIGTERM || sig == SIGHUP ? 128 + sig : code;
}

namespace {
std::atomic<bool> g_pause{false};
void OnTstp(int) {
  g_pause.store(true);
}
void OnCont(int) {
  g_pause.store(false);
}
void Install(int sig, void (*fn)(int)) {
  struct sigaction sa {};
  sa.sa_handler = fn;
  sigemptyset(&sa.sa_mask);
  sigaction(sig, &sa, nullptr);
}
}  // namespace

PauseGuard::PauseGuard() {
  g_pause.store(false);
  Install(SIGTSTP, OnTstp);
  Install(SIGCONT, OnCont);
}

PauseGuard::~PauseGuard() {
  Install(SIGTSTP, SIG_DFL);
  Install(SIGCONT, SIG_DFL);
  g_pause.store(false);
}

bool PauseGuard::PauseWanted() {
  return g_pause.load();
}

}  // namespace ostravel::cli
