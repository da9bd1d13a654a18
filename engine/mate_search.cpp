#include "engine/mate_search.h"

#include <algorithm>
#include <stdexcept>

#include "chess/notation.h"
#include "engine/level_queue.h"
#include "engine/searcher.h"
#include "engine/split_levels.h"
#include "engine/threads.h"
#include "registers/temporary_register.h"

namespace ostravel {

TMateSearch::TMateSearch(const TSearchSettings& settings,
                         std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg)
    : settings_(settings), reg_(std::move(reg)) {
  if (settings_.logMoves && !settings_.logPath.empty()) log_.Open(settings_.logPath, !settings_.logAppend);
  searchers_.reserve(64);
}

TMateSearch::~TMateSearch() = default;

bool TMateSearch::LimitReached() const {
  const int limit = SolutionLimit(settings_.mode);
  return limit && static_cast<int>(solutions_.size()) >= limit;
}

bool TMateSearch::AddSolution(const TChessboard& root, const TMove& m, int mateInPlies, bool confirmed) {
  std::lock_guard<std::mutex> lk(solutionsLock_);
  for (const auto& s : solutions_)
    if (s.key.from == m.from && s.key.to == m.to && (s.key.promotion & 0x1F) == (m.promotion & 0x1F))
      return LimitReached();
  TSolution sol;
  sol.key = m;
  sol.keyText = MoveToText(root, m);
  sol.mateIn = mateInPlies ? (mateInPlies + 1) / 2 : 0;
  sol.confirmed = confirmed;
  solutions_.push_back(sol);
  if (onSolution) onSolution(solutions_.back());
  return LimitReached();
}

uint8_t TMateSearch::FindForcedMate(const TChessboard& root, int nMoves) {
  if (settings_.collectStats) return FindForcedMateWith<TExactStatsPolicy>(root, nMoves);
  return FindForcedMateWith<TExactPolicy>(root, nMoves);
}

void TMateSearch::AddStats(const TSearchStats& s) {
  std::lock_guard<std::mutex> lk(statsLock_);
  stats_.Add(s);
}

TSearchStats TMateSearch::Stats() const {
  std::lock_guard<std::mutex> lk(statsLock_);
  TSearchStats s = stats_;
  while (!s.plies.empty() && !s.plies.back().nodes && !s.plies.back().regProbes && !s.plies.back().cutNodes &&
         !s.plies.back().etcCuts)
    s.plies.pop_back();
  return s;
}

std::vector<TMove> RootCandidates(const TChessboard& root, uint64_t rootPieces,
                                  const std::vector<TMove>& rootMoves,
                                  const std::vector<TMove>& sortIndications) {
  const auto in = [](const std::vector<TMove>& v, const TMove& m) {
    return std::any_of(v.begin(), v.end(), [&](const TMove& u) { return u.SameAs(m); });
  };
  TMove all[kMaxMoves];
  const int n = GenerateLegalMoves(root, all);
  std::vector<TMove> cand;
  for (int i = 0; i < n; ++i)
    if ((!rootPieces || (rootPieces >> all[i].from & 1)) && (rootMoves.empty() || in(rootMoves, all[i])))
      cand.push_back(all[i]);
  std::vector<TMove> head;
  for (const TMove& s : sortIndications)
    for (const TMove& m : cand)
      if (m.SameAs(s) && !in(head, m)) head.push_back(m);
  for (const TMove& m : cand)
    if (!in(head, m)) head.push_back(m);
  return head;
}

template <class Policy>
uint8_t TMateSearch::FindForcedMateWith(const TChessboard& rootIn, int nMoves) {
  if (nMoves < 1 || 2 * nMoves - 1 > kMaxSearchPly) throw std::invalid_argument("stipulation out of range");
  const int d = 2 * nMoves - 1;
  {
    std::lock_guard<std::mutex> lk(pauseLock_);
    stop_.store(false);
  }
  EnsureRegister(d);
  TChessboard root = rootIn;
  root.previous = nullptr;

  std::vector<TMove> cand =
      RootCandidates(root, settings_.rootPieces, settings_.rootMoves, settings_.sortIndications);
  // Root moves after which a probe knows White can never mate are no keys.
  if (settings_.probe && std::popcount(root.occupied[0] | root.occupied[1]) <= settings_.probe->MaxMen()) {
    TMove skip[kMaxMoves];
    const int k = settings_.probe->MovesWithoutMate(root, 0, skip, kMaxMoves);
    cand.erase(std::remove_if(cand.begin(), cand.end(),
                              [&](const TMove& m) {
                                return std::any_of(skip, skip + k,
                                                   [&](const TMove& s) { return s.SameAs(m); });
                              }),
               cand.end());
  }
  // Moves already known as keys (from an earlier pass) need no search.
  {
    std::lock_guard<std::mutex> lk(solutionsLock_);
    cand.erase(std::remove_if(cand.begin(), cand.end(),
                              [&](const TMove& m) {
                                return std::any_of(solutions_.begin(), solutions_.end(),
                                                   [&](const TSolution& s) { return s.key.SameAs(m); });
                              }),
               cand.end());
    if (LimitReached()) return kResMate;
  }

  int threads = std::max(1, settings_.threads);
  std::atomic<bool> limitHit{false};

  // One stage: every remaining candidate searched with bound k; the proved
  // ones become solutions and leave the list. The candidates form the first
  // multithreading level: a queue from which each thread takes the next move.
  auto stage = [&](int k) -> bool {
    progress_.depthMoves = (k + 1) / 2;
    progress_.rootDone = 0;
    progress_.rootTotal = static_cast<int>(cand.size());
    auto queue = std::make_shared<TLevelQueue>(cand, settings_.letTwoThreadsShareAMove && threads > 1);
    {
      std::lock_guard<std::mutex> lk(controlLock_);
      rootQueue_ = queue;
    }
    auto work = [&](TWorkerSlot& slot) {
      TSearcher<Policy>& s = SearcherOf<Policy>(slot, *this);
      s.Reset(&root, 0);
      s.SetLimitFlag(&limitHit);
      RegisterThread(&s);
      for (;;) {
        if (stop_.load(std::memory_order_relaxed) || limitHit.load()) break;
        bool joined = false;
        const int i = queue->Take(&joined);
        if (i < 0) break;
        const TMove m = queue->MoveAt(i);
        s.SetHelper(joined, 1);
        {
          std::lock_guard<std::mutex> lk(progress_.lineLock);
          progress_.currentLine = "1. " + MoveToText(root, m);
        }
        s.PushCancel(queue->CancelFlag(i));
        uint8_t r;
        if (settings_.levels >= 2 && k >= 3) {
          PlayMove(s.Stack()[0], s.Stack()[1], m);
          r = SplitNode(s, 1, k - 1, 2);
        } else {
          r = s.RootMove(m, k);
        }
        s.PopCancel();
        if (stop_.load(std::memory_order_relaxed)) break;
        if (!queue->Finish(i, r)) continue;
        bool confirmed = true;
        if constexpr (Policy::kMayCut) {
          // A key found under heuristics is a candidate until an exact search
          // of the move proves it; the mates the pass found are in the
          // register, so the proof mostly walks them again.
          if (r == kResMate) confirmed = ConfirmKey(root, m, k);
        }
        if (r == kResMate && AddSolution(root, m, k < d ? k : 0, confirmed)) limitHit = true;
        ++progress_.rootDone;
      }
      UnregisterThread(&s);
      s.Flush();
    };
    RunStage(threads, static_cast<int>(cand.size()), work);
    std::vector<TMove> left;
    for (int i = 0; i < static_cast<int>(queue->Size()); ++i) {
      const auto st = queue->StateOf(i);
      if (st == TLevelQueue::State::kSkipped) continue;  // never analysed: dropped by the user
      if (!(st == TLevelQueue::State::kDone && queue->ResultOf(i) == kResMate))
        left.push_back(queue->MoveAt(i));
    }
    cand.swap(left);
    return !stop_.load() && !limitHit.load();
  };

  if (d >= 4) {
    // Pre-search: prove the quick mates first (mate in one only for "#3";
    // every shorter length for longer problems), which also warms the register.
    const int kMax = d <= 5 ? 1 : d - 2;
    for (int k = 1; k <= kMax && !cand.empty(); k += 2)
      if (!stage(k)) break;
  }
  if (!stop_.load() && !limitHit.load() && !cand.empty()) {
    TThreadProposalInput in;
    in.rootPlies = d;
    in.alreadyProposed = threadProposal_ != 0;
    in.candidatesLeft = static_cast<int>(cand.size());
    in.threads = threads;
    in.cores = ProcessorCount(false);
    in.root = &root;
    in.restricted = settings_.rootPieces != 0 || !settings_.rootMoves.empty();
    const int proposal = ProposeThreadCount(in);
    if (proposal) {
      threadProposal_ = proposal;
      if (onThreadProposal && onThreadProposal(proposal)) threads = proposal;
    }
    stage(d);
  }
  {
    std::lock_guard<std::mutex> lk(controlLock_);
    rootQueue_.reset();
  }
  if (stop_.load()) return kResEndOfDepth;
  std::lock_guard<std::mutex> lk(solutionsLock_);
  return solutions_.empty() ? kResNoMate : kResMate;
}

template uint8_t TMateSearch::FindForcedMateWith<TExactPolicy>(const TChessboard&, int);
template uint8_t TMateSearch::FindForcedMateWith<TExactStatsPolicy>(const TChessboard&, int);
template uint8_t TMateSearch::FindForcedMateWith<THeuristicPolicy>(const TChessboard&, int);

bool TMateSearch::ConfirmKey(const TChessboard& root, const TMove& m, int plies) {
  auto exact = std::make_unique<TSearcher<TExactPolicy>>(*this, root);
  const uint8_t r = exact->RootMove(m, plies);
  exact->Flush();
  return r == kResMate;
}

void TMateSearch::EnsureRegister(int plies) {
  if (!reg_) {
    const uint32_t buckets = ChooseRegisterBucketCount(static_cast<uint32_t>(plies), settings_.tempRegLimitMB,
                                                       settings_.smallRegister);
    reg_ = std::make_shared<TAggregatedTemporaryChessboardRegister>(buckets, ElementLimit(buckets));
  }
  reg_->SetStoreShortResults(settings_.storeShortResults);
  if (!rightsReg_) {
    // Positions with castling rights or an e.p. capture: usually few, kept
    // out of the register that files save, and shared with every search on
    // the same register.
    const uint32_t buckets = std::max<uint32_t>(16384, reg_->BucketCount() / 4);
    rightsReg_ = reg_->RightsCompanion(buckets, ElementLimit(buckets));
  }
  rightsReg_->SetStoreShortResults(settings_.storeShortResults);
}

uint32_t TMateSearch::ElementLimit(uint32_t buckets) const {
  return settings_.tempRegLimitMB ? TempRegElementLimit(settings_.tempRegLimitMB, buckets) : 0;
}

}  // namespace ostravel
