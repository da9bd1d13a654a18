#pragma once
// Thread counts of the search: processor counts, the validation of threads
// and levels, the thread label, the effective count and the engine's
// proposal of a different first-level count.
#include <cstddef>
#include <cstdint>
#include <string>

#include "chess/board.h"

namespace ostravel {

// Scheduler levels (SchedulerLevels, CustomScheduler, SchedulerThreadPool,
// ObserverLevels) are read from the settings and shown in the run's summary,
// but moves below the threaded levels are not reordered while the search
// runs: measured on the bench set, 99% of Black nodes find their refutation
// with the first reply tried (the killer replies), so a juggled order has
// nothing left to gain there, and White nodes that fail must try every move
// whatever the order. The scheduler therefore stays off; the settings keep
// their values for the shell.

// Logical processors (want logical) or physical cores; computed once and
// cached when useCache is set. Physical cores come from the CPU topology in
// /sys (distinct package and core ids); the logical count stands in when the
// topology cannot be read.
int ProcessorCount(bool wantLogical, bool useCache = true);

// Physical cores from a topology listing: one "package core" pair per logical
// processor (exposed for tests). Returns 0 when the listing is empty.
int CountPhysicalCores(const std::string& packageCorePairs);

// T + T^2 + ... + T^L at most 32767; throws std::invalid_argument with "Too
// many threads and/or multithreading levels." otherwise.
void ValidateThreadsAndLevels(int threads, int levels);

// Levels outside 1..64: above 64 becomes 64, 0 or below the default; *adjusted
// tells whether "Improper value in multithreading levels option: value
// truncated/adjusted" must be reported.
int AdjustLevels(int levels, int defaultLevels, bool* adjusted);

// Threads and levels chosen from the hardware (MultithreadingLevels on): one
// level with a thread per logical processor while the root's candidates
// (rarely fewer than 20) can keep them busy, which measures faster than
// splitting Black's nodes; beyond that, a second level of about the square
// root of the processors each.
struct TThreadPlan {
  int threads = 1;
  int levels = 1;
};
TThreadPlan HardwareThreadPlan(int logicalProcessors);
extern const char* const kLevelsAdjustedText;

// "%2zdthrd(s)" for one level, "%2zd^%zdthrd(s)" for more.
std::string ThreadLabel(size_t threads, size_t levels);

// First-level count (the forced one when greater) times, for each further
// level, the thread count (2 in a brute-force run).
long long EffectiveThreadCount(int threads, int forced, int levels, bool bruteForce);

// The root's proposal of a first-level thread count, or 0 for none.
struct TThreadProposalInput {
  int rootPlies = 0;  // the root bound
  bool alreadyProposed = false;
  bool restricted = false;  // root restricted to marked pieces
  int candidatesLeft = 0;   // M: candidates left after the pre-search
  int threads = 1;          // T
  int cores = 1;            // physical cores
  const TChessboard* root = nullptr;
};
int ProposeThreadCount(const TThreadProposalInput& in);

// "Engine wants to force a different number of threads (" n "). Do you accept it?"
std::string ThreadProposalQuestion(int proposed);

}  // namespace ostravel
