#include "engine/threads.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace ostravel {

const char* const kLevelsAdjustedText =
    "Improper value in multithreading levels option: value truncated/adjusted";

namespace {

int LogicalCount() {
  const long n = sysconf(_SC_NPROCESSORS_ONLN);
  if (n > 0) return static_cast<int>(n);
  const unsigned h = std::thread::hardware_concurrency();
  return h ? static_cast<int>(h) : 1;
}

std::string ReadTopology() {
  std::string pairs;
  namespace fs = std::filesystem;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator("/sys/devices/system/cpu", ec)) {
    const std::string name = e.path().filename().string();
    if (name.size() < 4 || name.compare(0, 3, "cpu") != 0 ||
        !std::all_of(name.begin() + 3, name.end(), [](char c) { return c >= '0' && c <= '9'; }))
      continue;
    std::ifstream pkg(e.path() / "topology/physical_package_id"), core(e.path() / "topology/core_id");
    std::string p, c;
    if (pkg >> p && core >> c) pairs += p + " " + c + "\n";
  }
  return pairs;
}

}  // namespace

int CountPhysicalCores(const std::string& pairs) {
  std::set<std::pair<std::string, std::string>> cores;
  std::istringstream in(pairs);
  std::string p, c;
  while (in >> p >> c) cores.emplace(p, c);
  return static_cast<int>(cores.size());
}

int ProcessorCount(bool wantLogical, bool useCache) {
  static std::once_flag once;
  static int logical = 1, physical = 1;
  auto compute = [] {
    logical = LogicalCount();
    const int p = CountPhysicalCores(ReadTopology());
    physical = p > 0 ? std::min(p, logical) : logical;
  };
  if (useCache) {
    std::call_once(once, compute);
  } else {
    compute();
  }
  return wantLogical ? logical : physical;
}

void ValidateThreadsAndLevels(int threads, int levels) {
  long long p = threads, s = threads;
  for (int l = 1; l < levels; ++l) {
    p *= threads;
    s += p;
    if (p > 32767 || s > 32767) break;
  }
  if (threads < 1 || p > 32767 || s > 32767)
    throw std::invalid_argument("Too many threads and/or multithreading levels.");
}

int AdjustLevels(int levels, int defaultLevels, bool* adjusted) {
  int v = levels;
  if (v > 64)
    v = 64;
  else if (v <= 0)
    v = defaultLevels;
  if (adjusted) *adjusted = v != levels;
  return v;
}

std::string ThreadLabel(size_t threads, size_t levels) {
  char buf[64];
  if (levels < 2)
    std::snprintf(buf, sizeof buf, "%2zdthrd(s)", threads);
  else
    std::snprintf(buf, sizeof buf, "%2zd^%zdthrd(s)", threads, levels);
  return buf;
}

long long EffectiveThreadCount(int threads, int forced, int levels, bool bruteForce) {
  long long n = forced > threads ? forced : threads;
  for (int l = 1; l < levels; ++l) n *= bruteForce ? 2 : threads;
  return n;
}

namespace {

bool HasPieces(const TChessboard& b) {
  for (int i = 0; i < 64; ++i) {
    const uint8_t k = b.board[i] & kKindMask;
    if (k == kQueen || k == kRook || k == kBishop || k == kKnight) return true;
  }
  return false;
}

// The further test of a king-and-pawn position: how many pawns of both sides
// still have a free path (the more open pawns, the more the moves differ in
// cost, the more threads pay). Returns the number of passed-looking pawns.
int OpenPawns(const TChessboard& b) {
  int n = 0;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = b.board[sq];
    if ((c & kKindMask) != kPawn) continue;
    const int step = (c & kWhite) ? 8 : -8;
    bool free = true;
    for (int t = sq + step; t >= 0 && t < 64; t += step)
      if (b.board[t]) {
        free = false;
        break;
      }
    n += free;
  }
  return n;
}

}  // namespace

int ProposeThreadCount(const TThreadProposalInput& in) {
  if (in.rootPlies < 14 || in.alreadyProposed || in.restricted || !in.root) return 0;
  const int t = in.threads, m = in.candidatesLeft, twiceCores = 2 * in.cores;
  int proposal = 0;
  if (t < m && m <= 2 * t && twiceCores > t) {
    int p;
    if (HasPieces(*in.root))
      p = 2 * t;
    else
      p = OpenPawns(*in.root) < 2 ? (3 * t) / 2 : 2 * t;
    proposal = std::min({p, m, twiceCores, 127});
  } else if (m > t) {
    // The second measure: the candidates that will actually be threaded. A
    // position with queens or rooks spreads its cost widely: 3T, else 2T.
    bool heavy = false;
    for (int i = 0; i < 64 && !heavy; ++i) {
      const uint8_t k = in.root->board[i] & kKindMask;
      heavy = k == kQueen || k == kRook;
    }
    proposal = std::min(m, std::min(255, heavy ? 3 * t : 2 * t));
    if (proposal > 127) proposal = 127;
  }
  return proposal == t ? 0 : proposal;
}

std::string ThreadProposalQuestion(int proposed) {
  return "Engine wants to force a different number of threads (" + std::to_string(proposed) +
         "). Do you accept it?";
}

TThreadPlan HardwareThreadPlan(int logicalProcessors) {
  const int p = std::clamp(logicalProcessors, 1, 255);
  if (p <= 24) return {p, 1};
  int t = 1;
  while (t * t < p) ++t;
  return {t, 2};
}

}  // namespace ostravel
