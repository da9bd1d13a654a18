#include "engine/mate_search.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <chrono>
#include <thread>

#include "chess/movegen_impl.h"
#include "chess/notation.h"
#include "chess/tables.h"
#include "config/settings.h"
#include "engine/level_queue.h"
#include "engine/search_movegen.h"
#include "engine/threads.h"
#include "registers/temporary_register.h"

namespace ostravel {

using namespace tables;

uint32_t RegisterBucketsForRun(int plies, bool smallRegister, uint64_t tempRegLimitMB) {
  if (plies < 15 || smallRegister) return 16384;
  if (plies < 23 || tempRegLimitMB < 8193) return 524288;
  return 4194304;
}

namespace {

constexpr int kMaxPly = 250;
// The square of a null move: any square that is not a king's or rook's home,
// so that the line-of-play castling test never mistakes it for a real move.
constexpr uint8_t kNullSquare = 27;


}  // namespace

int SolutionLimit(SolutionMode m) {
  switch (m) {
    case SolutionMode::kSingle: return 1;
    case SolutionMode::kAtMost2: return 2;
    case SolutionMode::kAtMost3: return 3;
    case SolutionMode::kAtMost4: return 4;
    default: return 0;
  }
}

// One search thread: its own position stack and move-ordering memory; the
// register and the solution list are shared through the TMateSearch.
class TSearcher {
 public:
  TSearcher(TMateSearch& s, const TChessboard& root) : TSearcher(s, &root, 0) {}

  // A searcher that continues a line: line[0..p] are copied (line[0] the root).
  TSearcher(TMateSearch& s, const TChessboard* line, int p)
      : s_(s), reg_(*s.reg_), rightsReg_(*s.rightsReg_), stop_(s.stop_), log_(s.log_.IsOpen() ? &s.log_ : nullptr) {
    for (int i = 0; i <= p; ++i) {
      stack_[i] = line[i];
      stack_[i].previous = i ? &stack_[i - 1] : nullptr;
    }
    std::memset(killerW_, 0, sizeof killerW_);
    std::memset(killerB_, 0, sizeof killerB_);
    // Mate-in-one answers are cheaper to recompute than to store.
    minStore_ = s.settings_.storeShortResults ? 3 : 4;
    etc_ = true;
    cutRepetitions_ = s.settings_.cutRepetitions;
    shortMatePlies_ = s.settings_.customShortMateDepth >= 1 ? s.settings_.customShortMateDepth : 0;
  }

  ~TSearcher() { Flush(); }

  void Flush() {
    s_.progress_.nodes.fetch_add(nodes_, std::memory_order_relaxed);
    nodes_ = 0;
  }

  bool Stopped() const {
    if (stop_.load(std::memory_order_relaxed) || (limitFlag_ && limitFlag_->load(std::memory_order_relaxed)))
      return true;
    for (int i = 0; i < nCancels_; ++i)
      if (cancels_[i]->load(std::memory_order_relaxed)) return true;
    return false;
  }
  // Flags that end this searcher's current work (a skipped move, a split node
  // already decided by another thread); innermost last.
  void PushCancel(const std::atomic<bool>* f) {
    if (nCancels_ < kMaxCancels) cancels_[nCancels_++] = f;
  }
  void PopCancel() { --nCancels_; }
  void InheritCancels(const TSearcher& parent) {
    limitFlag_ = parent.limitFlag_;
    for (int i = 0; i < parent.nCancels_; ++i) PushCancel(parent.cancels_[i]);
  }
  TChessboard* Stack() { return stack_; }
  // A thread that joins a move another thread is analysing takes the moves of
  // the first plies below it in reverse order, so that the two cover
  // different ground and meet through the register.
  void SetHelper(bool on, int belowPly) {
    helper_ = on;
    helperUntil_ = belowPly + 3;
  }
  // The search's own Black node at stack_[p] with bound d, up to the first
  // reply that holds, when the reply is among the first `tries` ones. Returns
  // kResMate when none of them holds (the rest are not searched).
  uint8_t FirstRepliesHold(int p, int d, int tries, TMove* moves, int n) {
    const TChessboard& b = stack_[p];
    PutFirst(moves, n, killerB_[p]);
    for (int i = 0; i < n && i < tries; ++i) {
      PlayMove(b, stack_[p + 1], moves[i]);
      ++nodes_;
      const uint8_t r = White(p + 1, d - 1);
      if (r != kResMate) {
        Remember(killerB_[p], moves[i]);
        return r;
      }
      if (Stopped()) return kResEndOfDepth;
    }
    return kResMate;
  }
  uint8_t WhiteAt(int p, int d) { return White(p, d); }
  uint8_t BlackAt(int p, int d) {
    if (d == 0) return IsMate(stack_[p]) ? kResMate : kResNoMate;
    return Black(p, d);
  }
  std::atomic<bool> pausedSelf{false};
  // A flag raised when the solution limit is reached: the other threads stop.
  void SetLimitFlag(const std::atomic<bool>* f) { limitFlag_ = f; }

  // Result of the root candidate m searched with bound d plies.
  uint8_t RootMove(const TMove& m, int d) {
    PlayMove(stack_[0], stack_[1], m);
    ++nodes_;
    if (log_) log_->Move(1, m, stack_[0].board[m.from]);
    uint8_t r;
    if (d == 1) r = IsMate(stack_[1]) ? kResMate : kResNoMate;
    else r = Black(1, d - 1);
    if (log_) log_->Result(1, r, false);
    if (nodes_ > 4096) Flush();
    return r;
  }

  // Shortest mate of White in stack_[p] within d plies: its length in plies
  // (0 when none) and the first move found at that length, or, with `all`,
  // every first move of that length.
  int ShortestMates(int p, int d, TMove* first, std::vector<TMove>* all = nullptr) {
    for (int k = 1; k <= d; k += 2) {
      TMove moves[kMaxMoves];
      const int n = GenerateLegalMoves(stack_[p], moves);
      for (int i = 0; i < n; ++i) {
        PlayMove(stack_[p], stack_[p + 1], moves[i]);
        const bool mate = k == 1 ? IsMate(stack_[p + 1]) : Black(p + 1, k - 1) == kResMate;
        if (Stopped()) return 0;
        if (!mate) continue;
        if (!all) {
          if (first) *first = moves[i];
          return k;
        }
        all->push_back(moves[i]);
      }
      if (all && !all->empty()) return k;
    }
    return 0;
  }

  bool ShortestMate(int p, int d, TMove& best, int& plies) {
    plies = ShortestMates(p, d, &best);
    return plies != 0;
  }

  // Threat and variations of the key m (bound d plies at the root).
  void Explain(TSolution& sol, int d) {
    PlayMove(stack_[0], stack_[1], sol.key);
    const TChessboard& afterKey = stack_[1];
    sol.keyChecks = IsKingAttacked(afterKey, kBlack);
    if (sol.mateIn == 0) {
      // Shortest mate of the key: Black's best defence decides it.
      for (int k = 1; k <= d; k += 2) {
        const bool mate = k == 1 ? IsMate(afterKey) : Black(1, k - 1) == kResMate;
        if (mate) {
          sol.mateIn = (k + 1) / 2;
          break;
        }
      }
    }
    if (!sol.keyChecks && d >= 3) {
      // The threat: what White would do if Black could pass.
      std::memcpy(static_cast<void*>(&stack_[2]), &stack_[1], sizeof(TChessboard));
      stack_[2].previous = &stack_[1];
      stack_[2].lastMove = TMove{kNullSquare, kNullSquare, 0, 0};
      --stack_[2].remainingPlies;
      std::vector<TMove> threat;
      const int k = ShortestMates(2, d - 2, nullptr, &threat);
      for (const TMove& t : threat) sol.threat.push_back(MoveToText(stack_[2], t));
      sol.threatIn = k ? (k + 1) / 2 : 0;
    }
    if (!s_.settings_.computeVariations) return;
    int budget = s_.settings_.maxVariationNodes;
    const int plies = sol.mateIn ? 2 * sol.mateIn - 1 : d;
    if (plies > 1) Variations(1, plies - 1, sol.variations, budget, sol.variationsTruncated);
  }

  uint64_t nodes_ = 0;

 private:
  // ------------------------------------------------------------ helpers

  static bool IsMate(const TChessboard& b) { return !HasLegalMove(b) && InCheck(b); }

  // Where a White-to-move position is stored. The register is keyed by the
  // board alone, which decides the legal moves unless a castling right is left
  // or an e.p. capture is possible. Such positions go to a second register
  // under a marked copy of the board: each rook that may still castle and the
  // pawn that may be taken e.p. carry bit 0x20, which no piece code has, so
  // positions that differ only in their rights never share a result.
  struct TKey {
    TAggregatedTemporaryChessboardRegister* reg;
    const uint8_t* board;
    uint32_t hash;
    uint8_t marked[64];
  };
  void KeyOf(const TChessboard& b, TKey& k) {
    const uint8_t rights = CastlingRights(b);
    const int ep = EnPassantTarget(b);
    if (!rights && ep < 0) {
      k.reg = &reg_;
      k.board = b.board;
      k.hash = b.regHash;
      return;
    }
    std::memcpy(k.marked, b.board, 64);
    k.hash = b.regHash;
    auto mark = [&k](int sq) {
      k.marked[sq] |= 0x20;
      k.hash += 0x20u * T.hashWeight[sq];
    };
    if (rights & kCastleWK) mark(kH1);
    if (rights & kCastleWQ) mark(kA1);
    if (rights & kCastleBK) mark(kH8);
    if (rights & kCastleBQ) mark(kA8);
    if (ep >= 0) mark(b.WhiteToMove() ? ep - 8 : ep + 8);
    k.reg = &rightsReg_;
    k.board = k.marked;
  }

  bool IsRepetition(int p) const {
    const TChessboard& b = stack_[p];
    for (int q = p - 2; q >= 0; q -= 2) {
      const TChessboard& a = stack_[q];
      if (a.regHash == b.regHash && std::memcmp(a.board, b.board, 64) == 0 &&
          CastlingRights(a) == CastlingRights(b) && EnPassantTarget(a) == EnPassantTarget(b))
        return true;
    }
    return false;
  }

  static void PutFirst(TMove* m, int n, const TMove* killers) {
    int at = 0;
    for (int k = 0; k < 2; ++k) {
      const TMove kl = killers[k];
      if (kl.from == kl.to) continue;
      for (int i = at; i < n; ++i)
        if (m[i].from == kl.from && m[i].to == kl.to && m[i].promotion == kl.promotion) {
          const TMove t = m[i];
          std::memmove(m + at + 1, m + at, sizeof(TMove) * static_cast<size_t>(i - at));
          m[at++] = t;
          break;
        }
    }
  }

  static void Remember(TMove* killers, const TMove& m) {
    if (killers[0].from == m.from && killers[0].to == m.to && killers[0].promotion == m.promotion) return;
    killers[1] = killers[0];
    killers[0] = m;
  }

  // ------------------------------------------------------------ mate in one

  // White to move in stack_[p]: is there a mate in one? Only checks can mate.
  bool MateInOne(int p) {
    const TChessboard& b = stack_[p];
    TMove sure[kMaxMoves], maybe[kMaxMoves];
    int nMaybe = 0;
    const int n = search::GenWhiteChecks(b, sure, maybe, &nMaybe);
    TChessboard& c = stack_[p + 1];
    for (int i = 0; i < n; ++i) {
      PlayMove(b, c, sure[i]);
      ++nodes_;
      if (!detail::CountLegal<kBlack, true>(c)) return true;
    }
    for (int i = 0; i < nMaybe; ++i) {
      PlayMove(b, c, maybe[i]);
      ++nodes_;
      if (IsKingAttacked(c, kBlack) && !detail::CountLegal<kBlack, true>(c)) return true;
    }
    return false;
  }

  // ------------------------------------------------------------ nodes

  // White to move in stack_[p], bound d plies (odd).
  void WaitWhilePaused() {
    while ((s_.pause_.load(std::memory_order_relaxed) || pausedSelf.load(std::memory_order_relaxed)) &&
           !stop_.load(std::memory_order_relaxed))
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  uint8_t White(int p, int d) {
    if (nodes_ >= (1u << 16)) Flush();  // keeps the progress figures live
    if (s_.pause_.load(std::memory_order_relaxed) || pausedSelf.load(std::memory_order_relaxed)) WaitWhilePaused();
    if (cutRepetitions_ && p >= 2 && IsRepetition(p)) {
      s_.repetitionSeen_.store(true, std::memory_order_relaxed);
      return kResRepetition;
    }
    if (d == 1 && minStore_ > 1) return MateInOne(p) ? kResMate : kResNoMate;
    TChessboard& b = stack_[p];
    const bool storable = d >= minStore_;
    TKey key;
    if (storable) KeyOf(b, key);
    int lo = 0;
    if (storable) {
      uint16_t first = 0, second = 0;
      if (key.reg->Probe(key.board, key.hash, first, second)) {
        if (first && first <= d) {
          if (log_) log_->Line("Mate found (pos.in temp.reg.)");
          return kResMate;
        }
        if (second >= d) return kResNoMate;
        lo = second;
      }
    }
    // Short mates first: they are cheap and end the node at once.
    const int shortLimit = std::max(ShortMateDepth(b), shortMatePlies_);
    int k = lo >= 1 ? lo + 2 : 1;
    uint8_t r = kResNoMate;
    for (;;) {
      r = k == 1 ? (MateInOne(p) ? kResMate : kResNoMate) : WhiteMoves(p, k);
      if (Stopped()) return kResEndOfDepth;
      if (r == kResMate) {
        if (storable) key.reg->Insert(static_cast<uint16_t>(k), key.board, key.hash, true);
        return kResMate;
      }
      if (k >= d) break;
      k = (k + 2 <= shortLimit && k + 2 < d) ? k + 2 : d;
    }
    // A failure that a repetition took part in depends on the line: not a proof.
    if (r == kResNoMate && storable) key.reg->Insert(static_cast<uint16_t>(d), key.board, key.hash, false);
    return r;
  }

  // Depth of the short-mate check, from the Black king's freedom: a king with
  // at most one free square is worth a look for mate in 3, otherwise mate in 2.
  static int ShortMateDepth(const TChessboard& b) {
    const int bk = b.BlackKingSquare();
    uint64_t around = T.king[bk] & ~b.occupied[1];
    const uint64_t occNoKing = (b.occupied[0] | b.occupied[1]) ^ Bit(bk);
    int free = 0;
    while (around && free < 2)
      if (!detail::AttackedBy<kWhite>(b, PopLsb(around), occNoKing)) ++free;
    return free <= 1 ? 5 : 3;
  }

  uint8_t WhiteMoves(int p, int k) {
    const TChessboard& b = stack_[p];
    TMove moves[kMaxMoves];
    const int n = search::GenLegal<kWhite>(b, moves);
    if (helper_ && p < helperUntil_) std::reverse(moves, moves + n);
    PutFirst(moves, n, killerW_[p]);
    bool repetition = false;
    for (int i = 0; i < n; ++i) {
      PlayMove(b, stack_[p + 1], moves[i]);
      ++nodes_;
      if (log_) log_->Move(p + 1, moves[i], b.board[moves[i].from]);
      const uint8_t r = Black(p + 1, k - 1);
      if (log_) log_->Result(p + 1, r, false);
      if (r == kResMate) {
        Remember(killerW_[p], moves[i]);
        return kResMate;
      }
      if (Stopped()) return kResEndOfDepth;
      if (r == kResRepetition) repetition = true;
    }
    return repetition ? kResRepetition : kResNoMate;
  }

  // Black to move in stack_[p], bound d plies (even).
  uint8_t Black(int p, int d) {
    const TChessboard& b = stack_[p];
    TMove moves[kMaxMoves];
    const int n = search::GenLegal<kBlack>(b, moves);
    if (n == 0) return IsKingAttacked(b, kBlack) ? kResMate : kResNoMate;  // stalemate holds
    PutFirst(moves, n, killerB_[p]);
    if (etc_ && d - 1 >= minStore_) {
      // A reply whose position is already proved to hold refutes at once.
      for (int i = 0; i < n; ++i) {
        PlayMove(b, stack_[p + 1], moves[i]);
        TKey key;
        KeyOf(stack_[p + 1], key);
        uint16_t first = 0, second = 0;
        if (key.reg->Probe(key.board, key.hash, first, second) && second >= d - 1) {
          Remember(killerB_[p], moves[i]);
          return kResNoMate;
        }
      }
    }
    for (int i = 0; i < n; ++i) {
      PlayMove(b, stack_[p + 1], moves[i]);
      ++nodes_;
      if (log_) log_->Move(p + 1, moves[i], b.board[moves[i].from]);
      const uint8_t r = White(p + 1, d - 1);
      if (log_) log_->Result(p + 1, r, false);
      if (r != kResMate) {
        Remember(killerB_[p], moves[i]);
        return r;
      }
      if (Stopped()) return kResEndOfDepth;
    }
    return kResMate;
  }

  // ------------------------------------------------------------ variations

  // Black to move in stack_[p] with d plies left (even): every defence with
  // White's shortest answer, recursively.
  void Variations(int p, int d, std::vector<TVariation>& out, int& budget, bool& truncated) {
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(stack_[p], moves);
    for (int i = 0; i < n; ++i) {
      if (budget <= 0 || Stopped()) {
        truncated = true;
        return;
      }
      TVariation v;
      v.black = moves[i];
      v.blackText = MoveToText(stack_[p], moves[i]);
      PlayMove(stack_[p], stack_[p + 1], moves[i]);
      int plies = 0;
      if (!ShortestMate(p + 1, d - 1, v.white, plies)) continue;
      --budget;
      v.whiteText = MoveToText(stack_[p + 1], v.white);
      v.mate = plies == 1;
      if (plies > 1) {
        PlayMove(stack_[p + 1], stack_[p + 2], v.white);
        Variations(p + 2, plies - 1, v.next, budget, truncated);
      }
      out.push_back(std::move(v));
    }
  }

  TMateSearch& s_;
  TAggregatedTemporaryChessboardRegister& reg_;
  TAggregatedTemporaryChessboardRegister& rightsReg_;
  std::atomic<bool>& stop_;
  TSearchLog* log_;
  const std::atomic<bool>* limitFlag_ = nullptr;
  static constexpr int kMaxCancels = 72;
  const std::atomic<bool>* cancels_[kMaxCancels];
  int nCancels_ = 0;
  int minStore_ = 4;
  bool etc_ = false;
  bool helper_ = false;
  int helperUntil_ = 0;
  bool cutRepetitions_ = false;
  int shortMatePlies_ = 0;
  TChessboard stack_[kMaxPly + 4];
  TMove killerW_[kMaxPly + 4][2];
  TMove killerB_[kMaxPly + 4][2];
};

// ---------------------------------------------------------------- TMateSearch

TMateSearch::TMateSearch(const TSearchSettings& settings,
                         std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg)
    : settings_(settings), reg_(std::move(reg)) {
  if (settings_.logMoves && !settings_.logPath.empty()) log_.Open(settings_.logPath);
}

TMateSearch::~TMateSearch() = default;

bool TMateSearch::LimitReached() const {
  const int limit = SolutionLimit(settings_.mode);
  return limit && static_cast<int>(solutions_.size()) >= limit;
}

bool TMateSearch::AddSolution(const TChessboard& root, const TMove& m, int mateInPlies) {
  std::lock_guard<std::mutex> lk(solutionsLock_);
  for (const auto& s : solutions_)
    if (s.key.from == m.from && s.key.to == m.to && (s.key.promotion & 0x1F) == (m.promotion & 0x1F))
      return LimitReached();
  TSolution sol;
  sol.key = m;
  sol.keyText = MoveToText(root, m);
  sol.mateIn = mateInPlies ? (mateInPlies + 1) / 2 : 0;
  solutions_.push_back(sol);
  if (onSolution) onSolution(solutions_.back());
  return LimitReached();
}

uint8_t TMateSearch::FindForcedMate(const TChessboard& rootIn, int nMoves) {
  if (nMoves < 1 || 2 * nMoves - 1 > kMaxPly) throw std::invalid_argument("stipulation out of range");
  const int d = 2 * nMoves - 1;
  stop_.store(false);
  EnsureRegister(d);
  TChessboard root = rootIn;
  root.previous = nullptr;

  // Candidates: every legal White move, the sort indications first.
  TMove all[kMaxMoves];
  const int n = GenerateLegalMoves(root, all);
  std::vector<TMove> cand(all, all + n);
  if (!settings_.sortIndications.empty()) {
    std::stable_partition(cand.begin(), cand.end(), [&](const TMove& m) {
      return std::any_of(settings_.sortIndications.begin(), settings_.sortIndications.end(),
                         [&](const TMove& s) { return s.SameAs(m); });
    });
    std::vector<TMove> head;
    for (const TMove& s : settings_.sortIndications)
      for (const TMove& m : cand)
        if (m.SameAs(s) && std::none_of(head.begin(), head.end(), [&](const TMove& h) { return h.SameAs(m); }))
          head.push_back(m);
    std::vector<TMove> rest;
    for (const TMove& m : cand)
      if (std::none_of(head.begin(), head.end(), [&](const TMove& h) { return h.SameAs(m); })) rest.push_back(m);
    cand = head;
    cand.insert(cand.end(), rest.begin(), rest.end());
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
    auto work = [&]() {
      TSearcher s(*this, root);
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
        if (r == kResMate && AddSolution(root, m, k < d ? k : 0)) limitHit = true;
        ++progress_.rootDone;
      }
      UnregisterThread(&s);
    };
    RunThreads(threads, static_cast<int>(cand.size()), work);
    std::vector<TMove> left;
    for (int i = 0; i < static_cast<int>(queue->Size()); ++i) {
      const auto st = queue->StateOf(i);
      if (st == TLevelQueue::State::kSkipped) continue;  // never analysed: dropped by the user
      if (!(st == TLevelQueue::State::kDone && queue->ResultOf(i) == kResMate)) left.push_back(queue->MoveAt(i));
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

// Process-wide count of running search threads; a new one starts only below
// the limit, and gives up when the run is stopped.
namespace {
std::atomic<int> g_runningSearchThreads{0};
std::mutex g_engineLock;
}  // namespace

int RunningSearchThreads() { return g_runningSearchThreads.load(); }

void TMateSearch::RunThreads(int wanted, int work, const std::function<void()>& fn) {
  const int n = std::max(1, std::min(wanted, work));
  if (n == 1) {
    try {
      fn();
    } catch (const std::bad_alloc&) {
      outOfMemory_ = true;
      stop_ = true;
    }
    return;
  }
  long long limit = 0, p = 1;
  for (int l = 0; l < std::max(1, settings_.levels); ++l) {
    p *= std::max(1, settings_.threads);
    limit += p;
  }
  limit = std::max<long long>(limit, n);
  std::vector<std::thread> pool;
  for (int t = 0; t < n; ++t) {
    // The start rule: wait for a free place under the engine's lock, giving
    // up at once on stop and idling in 1 ms steps while paused.
    bool started = false;
    while (!started) {
      if (stop_.load()) break;
      if (pause_.load()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        continue;
      }
      std::lock_guard<std::mutex> lk(g_engineLock);
      if (g_runningSearchThreads.load() < limit) {
        ++g_runningSearchThreads;
        started = true;
      }
    }
    if (!started) break;
    // The callable is copied into the thread, so no hand-over wait is needed.
    pool.emplace_back([this, &fn] {
      try {
        fn();
      } catch (const std::bad_alloc&) {
        outOfMemory_ = true;
        stop_ = true;
      }
      std::this_thread::yield();
      --g_runningSearchThreads;
    });
  }
  for (auto& t : pool) t.join();
}

uint8_t TMateSearch::SplitNode(TSearcher& parent, int p, int d, int level) {
  TChessboard* line = parent.Stack();
  const TChessboard& node = line[p];
  const bool white = node.WhiteToMove();
  if (level > settings_.levels || d < 2) return white ? parent.WhiteAt(p, d) : parent.BlackAt(p, d);
  TMove all[kMaxMoves];
  int n = GenerateLegalMoves(node, all);
  if (!white && n == 0) return IsKingAttacked(node, kBlack) ? kResMate : kResNoMate;
  if (!white) {
    // One reply usually holds: the likeliest one is searched alone first, and
    // the node is split only when it does not.
    const uint8_t r = parent.FirstRepliesHold(p, d, 1, all, n);
    if (r != kResMate || parent.Stopped()) return parent.Stopped() ? kResEndOfDepth : r;
    for (int i = 1; i < n; ++i) all[i - 1] = all[i];
    if (--n == 0) return kResMate;
  }
  if (log_.IsOpen()) log_.NextLevel();
  auto queue = std::make_shared<TLevelQueue>(std::vector<TMove>(all, all + n), settings_.letTwoThreadsShareAMove);
  std::atomic<bool> decided{false};
  std::atomic<uint8_t> result{white ? kResNoMate : kResMate};
  std::atomic<bool> repetition{false};
  auto work = [&]() {
    TSearcher sub(*this, line, p);
    sub.InheritCancels(parent);
    sub.PushCancel(&decided);
    RegisterThread(&sub);
    for (;;) {
      if (sub.Stopped()) break;
      bool joined = false;
      const int i = queue->Take(&joined);
      if (i < 0) break;
      const TMove m = queue->MoveAt(i);
      sub.SetHelper(joined, p + 1);
      sub.PushCancel(queue->CancelFlag(i));
      PlayMove(sub.Stack()[p], sub.Stack()[p + 1], m);
      const uint8_t r = SplitNode(sub, p + 1, d - 1, level + 1);
      sub.PopCancel();
      if (sub.Stopped()) break;
      if (!queue->Finish(i, r)) continue;
      // The node rules: one mating White move decides a White node, one Black
      // reply that holds decides a Black node.
      if (white && r == kResMate) {
        result = kResMate;
        decided = true;
      } else if (!white && r != kResMate) {
        result = r;
        decided = true;
      } else if (white && r == kResRepetition) {
        repetition = true;
      }
    }
    UnregisterThread(&sub);
  };
  RunThreads(settings_.bruteForce && level > 1 ? std::min(2, settings_.threads) : settings_.threads, n, work);
  if (parent.Stopped()) return kResEndOfDepth;
  uint8_t r = result.load();
  if (white && r == kResNoMate && repetition.load()) r = kResRepetition;
  return r;
}

void TMateSearch::RegisterThread(TSearcher* s) {
  std::lock_guard<std::mutex> lk(controlLock_);
  searchers_.push_back(s);
}

void TMateSearch::UnregisterThread(TSearcher* s) {
  std::lock_guard<std::mutex> lk(controlLock_);
  searchers_.erase(std::remove(searchers_.begin(), searchers_.end(), s), searchers_.end());
}

int TMateSearch::RunningThreads() const {
  std::lock_guard<std::mutex> lk(controlLock_);
  return static_cast<int>(searchers_.size());
}

bool TMateSearch::PauseThread(int index, bool paused) {
  std::lock_guard<std::mutex> lk(controlLock_);
  if (index < 0 || index >= static_cast<int>(searchers_.size())) return false;
  searchers_[static_cast<size_t>(index)]->pausedSelf = paused;
  return true;
}

bool TMateSearch::Control(TManualControl c, const TMove* target) {
  std::shared_ptr<TLevelQueue> q;
  {
    std::lock_guard<std::mutex> lk(controlLock_);
    q = rootQueue_;
  }
  if (!q) return false;
  switch (c) {
    case TManualControl::kSkipCurrent: return q->SkipCurrent();
    case TManualControl::kSkipNext: return q->SkipNext(1) > 0;
    case TManualControl::kSkip5: return q->SkipNext(5) > 0;
    case TManualControl::kSkipTo: return target && q->SkipTo(*target) > 0;
    case TManualControl::kSwapWithNext: return q->SwapNext();
    case TManualControl::kShiftToLast: return q->ShiftCurrentToLast();
  }
  return false;
}

int TMateSearch::ShortestMate(const TChessboard& pos, int maxMoves, TMove* firstMove) {
  if (maxMoves < 1 || 2 * maxMoves - 1 > kMaxPly) throw std::invalid_argument("stipulation out of range");
  if (!pos.WhiteToMove()) throw std::invalid_argument("ShortestMate needs White to move");
  EnsureRegister(2 * maxMoves - 1);
  TChessboard root = pos;
  root.previous = nullptr;
  TSearcher s(*this, root);
  TMove best{};
  int plies = 0;
  if (!s.ShortestMate(0, 2 * maxMoves - 1, best, plies)) return 0;
  if (firstMove) *firstMove = best;
  return (plies + 1) / 2;
}

void TMateSearch::EnsureRegister(int plies) {
  if (!reg_) {
    const auto& cfg = ostravel::Settings();
    const uint32_t buckets = RegisterBucketsForRun(plies, settings_.smallRegister, cfg.tempRegLimitMB);
    reg_ = std::make_shared<TAggregatedTemporaryChessboardRegister>(buckets, TempRegElementLimitFromSettings(buckets));
  }
  reg_->SetStoreShortResults(settings_.storeShortResults);
  if (!rightsReg_) {
    // Positions with castling rights or an e.p. capture: usually few, kept
    // out of the register that files save.
    const uint32_t buckets = std::max<uint32_t>(16384, reg_->BucketCount() / 4);
    rightsReg_ = std::make_shared<TAggregatedTemporaryChessboardRegister>(buckets, TempRegElementLimitFromSettings(buckets));
  }
  rightsReg_->SetStoreShortResults(settings_.storeShortResults);
}

void TMateSearch::Explain(const TChessboard& rootIn, int nMoves) {
  TChessboard root = rootIn;
  root.previous = nullptr;
  const int d = 2 * nMoves - 1;
  EnsureRegister(d);
  TSearcher s(*this, root);
  for (auto& sol : solutions_) {
    if (stop_.load()) break;
    sol.threat.clear();
    sol.variations.clear();
    s.Explain(sol, d);
  }
}

// ---------------------------------------------------------------- template family

namespace {

template <int kLfqm, uint8_t kVerify, bool kExceptions>
uint8_t FindMateMultithreadingLevelThreadProcFFM(TMateSearch& search, const TChessboard& root, int nMoves) {
  // The settings are fixed per instantiation; without special heuristics they
  // do not change the work, so every member runs the same search.
  static_assert(kLfqm >= 0 && kLfqm <= 9);
  return search.FindForcedMate(root, nMoves);
}

using FfmFn = uint8_t (*)(TMateSearch&, const TChessboard&, int);

template <int kLfqm, uint8_t kVerify>
constexpr std::array<FfmFn, 2> ByExceptions() {
  return {&FindMateMultithreadingLevelThreadProcFFM<kLfqm, kVerify, false>,
          &FindMateMultithreadingLevelThreadProcFFM<kLfqm, kVerify, true>};
}

template <int kLfqm>
constexpr std::array<std::array<FfmFn, 2>, 3> ByVerify() {
  return {ByExceptions<kLfqm, 0>(), ByExceptions<kLfqm, 1>(), ByExceptions<kLfqm, 255>()};
}

template <int... L>
constexpr std::array<std::array<std::array<FfmFn, 2>, 3>, 10> MakeTable(std::integer_sequence<int, L...>) {
  return {ByVerify<L>()...};
}

constexpr auto kFfmTable = MakeTable(std::make_integer_sequence<int, 10>{});

}  // namespace

uint8_t DispatchFindMateFFM(TMateSearch& search, const TChessboard& root, int nMoves) {
  const TSearchSettings& s = search.Settings();
  if (s.lookForQuickerMateDepth < 0 || s.lookForQuickerMateDepth > 9)
    throw std::runtime_error(
        "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for m_shLookForQuickerMateDepth");
  int v;
  switch (s.verifyHeuristics) {
    case 0: v = 0; break;
    case 1: v = 1; break;
    case 255: v = 2; break;
    default:
      throw std::runtime_error("Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for VerifyHeuristics");
  }
  if (s.allowExceptions > 1)
    throw std::runtime_error("Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for bAllowExceptions");
  return kFfmTable[static_cast<size_t>(s.lookForQuickerMateDepth)][static_cast<size_t>(v)]
                  [static_cast<size_t>(s.allowExceptions)](search, root, nMoves);
}

}  // namespace ostravel
