#include "precalc/precalc_generator.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <set>
#include <thread>
#include <unordered_map>

#include "chess/tables.h"
#include "precalc/position_type.h"

namespace ostravel {

using namespace tables;

namespace {

// ---------------------------------------------------------------- board

// A bare placement: piece codes and the two occupancy masks (0 White, 1 Black).
struct TPlace {
  uint8_t board[64];
  uint64_t occ[2];
};

int ColourIdx(uint8_t code) {
  return ColourOf(code) == kWhite ? 0 : 1;
}

// Squares a man on `sq` attacks (pawns: its capture squares).
uint64_t Attacks(uint8_t code, int sq, uint64_t all) {
  switch (KindOf(code)) {
    case kKing:
      return T.king[sq];
    case kKnight:
      return T.knight[sq];
    case kRook:
      return RookAttacks(sq, all);
    case kBishop:
      return BishopAttacks(sq, all);
    case kQueen:
      return RookAttacks(sq, all) | BishopAttacks(sq, all);
    case kPawn: {
      const int f = FileOf(sq);
      const int fwd = ColourOf(code) == kWhite ? 8 : -8;
      uint64_t a = 0;
      if (f > 0 && IsOnBoard(sq + fwd - 1)) a |= Bit(sq + fwd - 1);
      if (f < 7 && IsOnBoard(sq + fwd + 1)) a |= Bit(sq + fwd + 1);
      return a;
    }
  }
  return 0;
}

// Whether side `by` (0 White, 1 Black) attacks `sq`. Few men: test each.
bool Attacked(const TPlace& p, int sq, int by) {
  const uint64_t all = p.occ[0] | p.occ[1];
  for (uint64_t m = p.occ[by]; m;) {
    const int s = PopLsb(m);
    const uint8_t code = p.board[s];
    switch (KindOf(code)) {
      case kKing:
        if (T.king[s] & Bit(sq)) return true;
        break;
      case kKnight:
        if (T.knight[s] & Bit(sq)) return true;
        break;
      case kPawn:
        if (Attacks(code, s, all) & Bit(sq)) return true;
        break;
      default: {
        const int d = T.dirOf[s][sq];
        if (d < 0) break;
        const bool ortho = d < 4;
        const uint8_t k = KindOf(code);
        if ((k == kQueen || (k == kRook && ortho) || (k == kBishop && !ortho)) && !(T.between[s][sq] & all))
          return true;
      }
    }
  }
  return false;
}

int KingSq(const TPlace& p, int side) {
  const uint8_t king = side == 0 ? WK : BK;
  for (uint64_t m = p.occ[side]; m;) {
    const int s = PopLsb(m);
    if (p.board[s] == king) return s;
  }
  return -1;
}

// The placement is legal with `side` to move: the other king is not attacked.
bool LegalToMove(const TPlace& p, int side) {
  return !Attacked(p, KingSq(p, 1 - side), side);
}

void MoveMan(TPlace& p, int from, int to, uint8_t newCode) {
  const uint8_t code = p.board[from];
  const int c = ColourIdx(code);
  if (p.board[to]) p.occ[1 - c] &= ~Bit(to);
  p.board[to] = newCode ? newCode : code;
  p.board[from] = 0;
  p.occ[c] ^= Bit(from) | Bit(to);
}

bool IsDoublePush(const TPlace& p, int from, int to) {
  return KindOf(p.board[from]) == kPawn && (from - to == 16 || to - from == 16);
}

// Pawns of `side` that could take e.p. a pawn that has just moved two squares
// to `landing` (pseudo-legal: whether the capture is legal is the caller's test).
uint64_t EpCapturers(const TPlace& p, int side, int landing) {
  const uint8_t pawn = side == 0 ? WP : BP;
  const int f = FileOf(landing);
  uint64_t m = 0;
  if (f > 0 && p.board[landing - 1] == pawn) m |= Bit(landing - 1);
  if (f < 7 && p.board[landing + 1] == pawn) m |= Bit(landing + 1);
  return m;
}

// The e.p. capture by the pawn on `from` of the pawn on `landing`.
void EpCapture(TPlace& p, int from, int landing) {
  const int c = ColourIdx(p.board[from]);
  MoveMan(p, from, landing + (c == 0 ? 8 : -8), 0);
  p.board[landing] = 0;
  p.occ[1 - c] &= ~Bit(landing);
}

// Pseudo-legal moves of `side` (no castling, no e.p.): calls fn(from, to, promo).
template <class F>
void ForEachMove(const TPlace& p, int side, F&& fn) {
  const uint64_t all = p.occ[0] | p.occ[1];
  for (uint64_t m = p.occ[side]; m;) {
    const int s = PopLsb(m);
    const uint8_t code = p.board[s];
    if (KindOf(code) == kPawn) {
      const int fwd = side == 0 ? 8 : -8;
      const int lastRank = side == 0 ? 7 : 0;
      uint64_t to = Attacks(code, s, all) & p.occ[1 - side];
      if (!(all & Bit(s + fwd))) {
        to |= Bit(s + fwd);
        const int startRank = side == 0 ? 1 : 6;
        if (RankOf(s) == startRank && !(all & Bit(s + 2 * fwd))) to |= Bit(s + 2 * fwd);
      }
      while (to) {
        const int t = PopLsb(to);
        if (RankOf(t) == lastRank) {
          for (uint8_t k : {kQueen, kRook, kBishop, kKnight}) fn(s, t, k);
        } else {
          fn(s, t, uint8_t{0});
        }
      }
      continue;
    }
    for (uint64_t to = Attacks(code, s, all) & ~p.occ[side]; to;) fn(s, PopLsb(to), uint8_t{0});
  }
}

// ---------------------------------------------------------------- types

std::vector<std::string> NextTypes(const std::string& type) {
  std::set<std::string> out;
  for (size_t i = 0; i < type.size(); ++i) {
    const char c = type[i];
    if (c == 'K' || c == 'k') continue;
    out.insert(CanonicalPosType(type.substr(0, i) + type.substr(i + 1)));
    if (c == 'P' || c == 'p')
      for (char q : std::string(c == 'P' ? "QRBN" : "qrbn")) {
        std::string t = type;
        t[i] = q;
        out.insert(CanonicalPosType(t));
      }
  }
  return {out.begin(), out.end()};
}

int Pawns(const std::string& t) {
  return static_cast<int>(std::count(t.begin(), t.end(), 'P') + std::count(t.begin(), t.end(), 'p'));
}

// ---------------------------------------------------------------- dependencies

// Canonical type of a placement from its few men (PositionType scans all 64
// squares, which shows in the first pass).
std::string TypeOf(const TPlace& p) {
  static constexpr char kLetters[] = "KQRBNPkqrbnp";
  uint8_t count[12] = {};
  for (uint64_t m = p.occ[0] | p.occ[1]; m;) {
    const uint8_t code = p.board[PopLsb(m)];
    int k = 0;
    switch (KindOf(code)) {
      case kKing:
        k = 0;
        break;
      case kQueen:
        k = 1;
        break;
      case kRook:
        k = 2;
        break;
      case kBishop:
        k = 3;
        break;
      case kKnight:
        k = 4;
        break;
      default:
        k = 5;
    }
    ++count[k + (ColourOf(code) == kWhite ? 0 : 6)];
  }
  std::string t;
  for (int i = 0; i < 12; ++i) t.append(count[i], kLetters[i]);
  return t;
}

// Fully unpacked data of the types a generation reads (read-only while the
// threads run).
class TDeps {
 public:
  void Add(const std::string& type, std::vector<uint8_t> values) {
    auto& d = map_[type];
    d.index = std::make_unique<CPositionTypeIndex>(type);
    for (uint8_t v : values)
      if (v != kPrecalcIllegal) maxValue_ = std::max<unsigned>(maxValue_, v);
    d.values = std::move(values);
  }
  // The longest mate stored in any of the types.
  unsigned MaxValue() const { return maxValue_; }
  // White-to-move value of a placement of a stored (smaller) type. With
  // `epLanding` >= 0 Black's last move was a double step to that square, and
  // White may also take e.p., which the stored value does not know.
  uint8_t White(const TPlace& p, int epLanding = -1) const {
    const uint8_t v = Stored(p);
    const uint8_t e = epLanding >= 0 ? EpMate(p, epLanding) : 0;
    return e && (v == kPrecalcNoMate || e < v) ? e : v;
  }
  // White's quickest mate by taking e.p. the pawn that has just stepped to
  // `landing` (0: none); the captures all lead into smaller types.
  uint8_t EpMate(const TPlace& p, int landing) const {
    uint8_t best = 0;
    for (uint64_t m = EpCapturers(p, 0, landing); m;) {
      TPlace c = p;
      EpCapture(c, PopLsb(m), landing);
      if (Attacked(c, KingSq(c, 0), 1)) continue;
      const uint8_t e = Black(c);
      if (e && (!best || e < best)) best = e;
    }
    return best;
  }
  // Black-to-move value of a placement of a smaller type, in the generator's
  // Black units: 0 no mate, otherwise 1 + White's mate length after Black's
  // best reply (1: Black is mated). `epLanding` as for White().
  uint8_t Black(const TPlace& p, int epLanding = -1) const {
    const int bk = KingSq(p, 1);
    bool any = false;
    unsigned worst = 0;
    bool holds = false;
    auto reply = [&](const TPlace& c, int whiteEp) {
      if (holds || Attacked(c, KingSq(c, 1), 0)) return;
      any = true;
      const uint8_t w = White(c, whiteEp);
      if (w == kPrecalcNoMate) holds = true;
      worst = std::max<unsigned>(worst, w);
    };
    ForEachMove(p, 1, [&](int from, int to, uint8_t promo) {
      if (holds) return;
      TPlace c = p;
      MoveMan(c, from, to, promo ? static_cast<uint8_t>(kBlack | promo) : 0);
      reply(c, IsDoublePush(p, from, to) && EpCapturers(p, 0, to) ? to : -1);
    });
    if (epLanding >= 0)
      for (uint64_t m = EpCapturers(p, 1, epLanding); m;) {
        TPlace c = p;
        EpCapture(c, PopLsb(m), epLanding);
        reply(c, -1);
      }
    if (!any) return Attacked(p, bk, 0) ? 1 : 0;
    if (holds) return 0;
    return static_cast<uint8_t>(worst + 1);
  }

 private:
  uint8_t Stored(const TPlace& p) const {
    const std::string type = TypeOf(p);
    if (PrecalcTrivialNoMate(type)) return kPrecalcNoMate;
    auto it = map_.find(type);
    if (it == map_.end()) throw PrecalcFileError("Precalculated data of type " + type + " missing");
    uint64_t i = 0;
    if (!it->second.index->IndexOf(p.board, p.occ[0] | p.occ[1], true, i))
      throw PrecalcFileError("No index for a position of type " + type);
    const uint8_t v = it->second.values[i];
    if (v == kPrecalcIllegal)
      throw PrecalcFileError("Data of type " + type + " call a legal position illegal");
    return v;
  }

 private:
  struct TData {
    std::unique_ptr<CPositionTypeIndex> index;
    std::vector<uint8_t> values;
  };
  std::unordered_map<std::string, TData> map_;
  unsigned maxValue_ = 0;
};

// ---------------------------------------------------------------- the generator

template <class F>
void ParallelFor(uint64_t n, int threads, F&& fn) {
  constexpr uint64_t kChunk = 1 << 14;
  std::atomic<uint64_t> next{0};
  auto work = [&] {
    for (;;) {
      const uint64_t b = next.fetch_add(kChunk);
      if (b >= n) return;
      fn(b, std::min(n, b + kChunk));
    }
  };
  std::vector<std::thread> pool;
  for (int t = 1; t < threads; ++t) pool.emplace_back(work);
  work();
  for (auto& t : pool) t.join();
}

class CGenerator {
 public:
  CGenerator(const std::string& type, const TDeps& deps, const TPrecalcGenOptions& o)
      : idx_(type), deps_(deps), opt_(o), n_(idx_.PlacementCount()) {
    std::memset(groupOf_, 0xFF, sizeof(groupOf_));
    for (size_t g = 0; g < idx_.Groups().size(); ++g)
      groupOf_[idx_.Groups()[g].code] = static_cast<uint8_t>(g);
  }

  std::vector<uint8_t> Run() {
    w_.assign(n_, 0);
    b_.assign(n_, 0);
    cnt_.assign(n_, 0);
    outMax_.assign(n_, 0);
    wcand_.assign(n_, 0);
    spec_.assign(n_, 0);
    Report("positions", 0);
    std::atomic<uint64_t> done{0};
    std::atomic<unsigned> highest{0};
    RunParallel(
        [&](uint64_t lo, uint64_t hi) {
          unsigned h = 0;
          for (uint64_t i = lo; i < hi; ++i) h = std::max(h, Init(i));
          AtomicMax(highest, h);
          done.fetch_add(hi - lo, std::memory_order_relaxed);
        },
        [&] { return 0.5 * static_cast<double>(done.load()) / static_cast<double>(n_); });

    // A forward-valued position may rest on values of the smaller types only.
    if (hasSpecial_) AtomicMax(highest, deps_.MaxValue() + 2);
    for (unsigned level = 1; level <= highest.load(); ++level) {
      if (level >= kPrecalcMaxMate) throw PrecalcFileError("Mate too long to store in type " + idx_.Type());
      Report("levels", 0.5 + 0.5 * level / std::max<double>(highest.load(), 1));
      // Black positions lost in `level` give White mate in `level` one move
      // earlier; White's own captures into smaller types give the rest.
      // Positions with a double step that allows an e.p. capture are valued
      // forward from what is known below `level`.
      RunParallel(
          [&](uint64_t lo, uint64_t hi) {
            for (uint64_t i = lo; i < hi; ++i) {
              if (spec_[i]) ForwardLevel(i, level);
              if (b_[i] == level && cnt_[i] != kIllegalCnt) RetroToWhite(i, level);
              if (wcand_[i] == level) SetWhite(i, level);
            }
          },
          nullptr);
      std::atomic<bool> progress{false};
      RunParallel(
          [&](uint64_t lo, uint64_t hi) {
            unsigned h = 0;
            bool any = false;
            for (uint64_t i = lo; i < hi; ++i)
              if (w_[i] == level) {
                any = true;
                h = std::max(h, RetroToBlack(i, level));
              }
            AtomicMax(highest, h);
            if (any) progress = true;
          },
          nullptr);
      // A forward-valued position can follow one level after any new value.
      if (progress && hasSpecial_) AtomicMax(highest, level + 1);
    }
    Report("levels", 1);
    return std::move(w_);
  }

 private:
  static constexpr uint8_t kIllegalCnt = 0xFF;  // cnt_ of an illegal Black position
  static constexpr uint8_t kHoldsCnt = 0xFE;    // cnt_ of a Black position that escapes mate
  static constexpr uint8_t kForwardCnt = 0xFD;  // cnt_ of a Black position valued forward
  // spec_ bits: the position is valued forward, not by counting its moves back.
  static constexpr uint8_t kWhiteForward = 1;  // White can step two squares next to a Black pawn
  static constexpr uint8_t kBlackForward = 2;  // the same for Black
  static constexpr unsigned kUnknown = 1000;   // a value not known below the current level

  static void AtomicMax(std::atomic<unsigned>& a, unsigned v) {
    unsigned cur = a.load();
    while (v > cur && !a.compare_exchange_weak(cur, v)) {
    }
  }

  void Report(const char* phase, double f) {
    if (opt_.stop && opt_.stop->load()) throw PrecalcStopped();
    if (opt_.progress) opt_.progress(phase, f);
  }

  // Runs fn over all indices on the worker threads; the calling thread reports
  // progress meanwhile when `fraction` is given.
  template <class F, class G>
  void RunParallel(F&& fn, G&& fraction) {
    const int threads = std::max(1, opt_.threads);
    std::atomic<bool> finished{false};
    std::thread worker([&] {
      ParallelFor(n_, threads, fn);
      finished = true;
    });
    if constexpr (!std::is_same_v<std::decay_t<G>, std::nullptr_t>) {
      for (int tick = 1; !finished.load(); ++tick) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        if (tick % 20 == 0 && !finished.load() && opt_.progress) opt_.progress("positions", fraction());
      }
    }
    worker.join();
    if (opt_.stop && opt_.stop->load()) throw PrecalcStopped();
  }

  bool Decode(uint64_t i, TPlace& p) const {
    std::memset(p.board, 0, 64);
    p.occ[0] = p.occ[1] = 0;
    for (const TPosTypeGroup& g : idx_.Groups()) {
      const uint64_t digit = (i / g.stride) % g.size;
      const int c = ColourIdx(g.code);
      auto put = [&](int sq) {
        if (p.board[sq]) return false;
        p.board[sq] = g.code;
        p.occ[c] |= Bit(sq);
        return true;
      };
      if (g.men == 1) {
        if (!put(static_cast<int>(digit) + g.firstSquare)) return false;
      } else {
        const unsigned char* sq = g.mapping->GetCombination(digit);
        for (unsigned k = 0; k < g.men; ++k)
          if (!put(sq[k])) return false;
      }
    }
    return true;
  }

  uint64_t Encode(const TPlace& p) const {
    unsigned char sq[12][8];
    uint8_t cnt[12] = {};
    for (uint64_t m = p.occ[0] | p.occ[1]; m;) {
      const int s = PopLsb(m);
      const uint8_t g = groupOf_[p.board[s]];
      sq[g][cnt[g]++] = static_cast<unsigned char>(s);
    }
    uint64_t index = 0;
    const auto& groups = idx_.Groups();
    for (size_t g = 0; g < groups.size(); ++g) {
      const uint64_t digit = groups[g].men == 1 ? sq[g][0] - groups[g].firstSquare
                                                : groups[g].mapping->GetIndexOfCombination(sq[g]);
      index += digit * groups[g].stride;
    }
    return index;
  }

  // First look at placement i: legality, moves leaving the type, Black's
  // count of moves staying in it. Returns the highest level it schedules.
  unsigned Init(uint64_t i) {
    TPlace p;
    if (!Decode(i, p)) {
      w_[i] = kPrecalcIllegal;
      cnt_[i] = kIllegalCnt;
      return 0;
    }
    unsigned highest = 0;
    // White to move: captures lead into smaller types.
    if (!LegalToMove(p, 0)) {
      w_[i] = kPrecalcIllegal;
    } else {
      const int wk = KingSq(p, 0);
      unsigned best = 0;
      ForEachMove(p, 0, [&](int from, int to, uint8_t promo) {
        if (!p.board[to] && !promo) {
          if (IsDoublePush(p, from, to) && EpCapturers(p, 1, to)) spec_[i] |= kWhiteForward;
          return;
        }
        TPlace c = p;
        MoveMan(c, from, to, promo ? static_cast<uint8_t>(kWhite | promo) : 0);
        if (Attacked(c, from == wk ? to : wk, 1)) return;
        const unsigned v = deps_.Black(c);
        if (v && (!best || v < best)) best = v;
      });
      wcand_[i] = static_cast<uint8_t>(best);
      highest = best;
    }
    // Black to move.
    if (!LegalToMove(p, 1)) {
      cnt_[i] = kIllegalCnt;
      if (spec_[i]) hasSpecial_ = true;
      return highest;
    }
    const int bk = KingSq(p, 1);
    unsigned inType = 0, worst = 0;
    bool any = false, holds = false;
    ForEachMove(p, 1, [&](int from, int to, uint8_t promo) {
      if (holds) return;
      TPlace c = p;
      MoveMan(c, from, to, promo ? static_cast<uint8_t>(kBlack | promo) : 0);
      if (Attacked(c, from == bk ? to : bk, 0)) return;
      any = true;
      if (!p.board[to] && !promo) {
        if (IsDoublePush(p, from, to) && EpCapturers(p, 0, to))
          spec_[i] |= kBlackForward;
        else
          ++inType;
        return;
      }
      const uint8_t w = deps_.White(c);
      if (w == kPrecalcNoMate) holds = true;
      worst = std::max<unsigned>(worst, w);
    });
    if (!any) {
      if (Attacked(p, bk, 0)) {
        b_[i] = 1;
        cnt_[i] = 0;
        highest = std::max(highest, 1u);
      } else {
        cnt_[i] = kHoldsCnt;  // stalemate
      }
    } else if (holds) {
      cnt_[i] = kHoldsCnt;
      spec_[i] &= ~kBlackForward;
    } else if (spec_[i] & kBlackForward) {
      cnt_[i] = kForwardCnt;
      highest = std::max(highest, worst + 1);
    } else {
      cnt_[i] = static_cast<uint8_t>(inType);
      outMax_[i] = static_cast<uint8_t>(worst);
      if (inType == 0) {
        b_[i] = static_cast<uint8_t>(worst + 1);
        highest = std::max(highest, worst + 1);
      }
    }
    if (spec_[i]) hasSpecial_ = true;
    return highest;
  }

  // White's value of an in-type placement when it is known below `level`.
  unsigned KnownWhite(uint64_t j, unsigned level) const {
    const uint8_t v = std::atomic_ref<uint8_t>(const_cast<uint8_t&>(w_[j])).load(std::memory_order_relaxed);
    return v >= 1 && v < level ? v : kUnknown;
  }

  // Black units of Black to move in x (Black may take e.p. on `epLanding`
  // when >= 0), from the values known below `level`: 0 while not known or
  // when Black escapes.
  unsigned ForwardBlack(const TPlace& x, int epLanding, unsigned level) const {
    unsigned worst = 0;
    bool any = false, open = false;
    auto reply = [&](const TPlace& c, bool inType, int whiteEp) {
      if (open || Attacked(c, KingSq(c, 1), 0)) return;
      any = true;
      unsigned v;
      if (!inType) {
        v = deps_.White(c);
        if (v == kPrecalcNoMate) v = kUnknown;  // Black escapes for good
      } else {
        v = KnownWhite(Encode(c), level);
        const unsigned ev = whiteEp >= 0 ? deps_.EpMate(c, whiteEp) : 0;
        if (ev && ev < level && ev < v) v = ev;
      }
      if (v == kUnknown) open = true;
      worst = std::max(worst, v);
    };
    ForEachMove(x, 1, [&](int from, int to, uint8_t promo) {
      if (open) return;
      TPlace c = x;
      MoveMan(c, from, to, promo ? static_cast<uint8_t>(kBlack | promo) : 0);
      const bool inType = !x.board[to] && !promo;
      reply(c, inType, inType && IsDoublePush(x, from, to) && EpCapturers(x, 0, to) ? to : -1);
    });
    if (epLanding >= 0)
      for (uint64_t m = EpCapturers(x, 1, epLanding); m;) {
        TPlace c = x;
        EpCapture(c, PopLsb(m), epLanding);
        reply(c, false, -1);
      }
    if (!any) return Attacked(x, KingSq(x, 1), 0) ? 1 : 0;
    return open ? 0 : worst + 1;
  }

  // Values at `level` that only a forward look can give: White's double
  // steps that allow an e.p. reply, and Black positions with such a step.
  void ForwardLevel(uint64_t i, unsigned level) {
    TPlace p;
    Decode(i, p);
    if ((spec_[i] & kBlackForward) && cnt_[i] == kForwardCnt && b_[i] == 0 &&
        ForwardBlack(p, -1, level) == level)
      b_[i] = static_cast<uint8_t>(level);
    // Other threads may set w_[i] meanwhile; an illegal position is marked at the start.
    if ((spec_[i] & kWhiteForward) && std::atomic_ref<uint8_t>(w_[i]).load(std::memory_order_relaxed) == 0) {
      const int wk = KingSq(p, 0);
      bool mates = false;
      ForEachMove(p, 0, [&](int from, int to, uint8_t promo) {
        if (mates || promo || !IsDoublePush(p, from, to) || !EpCapturers(p, 1, to)) return;
        TPlace c = p;
        MoveMan(c, from, to, 0);
        if (Attacked(c, wk, 1)) return;
        mates = ForwardBlack(c, to, level) == level;
      });
      if (mates) SetWhite(i, level);
    }
  }

  void SetWhite(uint64_t i, unsigned level) {
    std::atomic_ref<uint8_t> w(w_[i]);
    uint8_t expected = 0;
    w.compare_exchange_strong(expected, static_cast<uint8_t>(level), std::memory_order_relaxed);
  }

  // Calls fn(index) for every placement from which `side` reaches placement
  // p by a move that stays in the type, with `side` to move there legally.
  template <class F>
  void ForEachPredecessor(const TPlace& p, int side, F&& fn) const {
    const uint64_t all = p.occ[0] | p.occ[1];
    for (uint64_t m = p.occ[side]; m;) {
      const int t = PopLsb(m);
      const uint8_t code = p.board[t];
      if (KindOf(code) == kPawn) {
        // Steps back; a double step that allows an e.p. capture is valued
        // forward instead.
        const int back = side == 0 ? -8 : 8;
        const int r = RankOf(t);
        if (side == 0 ? r < 2 : r > 5) continue;
        if (all & Bit(t + back)) continue;
        TPlace q = p;
        MoveMan(q, t, t + back, 0);
        if (LegalToMove(q, side)) fn(Encode(q));
        if (r == (side == 0 ? 3 : 4) && !(all & Bit(t + 2 * back)) && !EpCapturers(p, 1 - side, t)) {
          TPlace d = p;
          MoveMan(d, t, t + 2 * back, 0);
          if (LegalToMove(d, side)) fn(Encode(d));
        }
        continue;
      }
      for (uint64_t from = Attacks(code, t, all) & ~all; from;) {
        const int f = PopLsb(from);
        TPlace q = p;
        MoveMan(q, t, f, 0);
        if (!LegalToMove(q, side)) continue;
        fn(Encode(q));
      }
    }
  }

  void RetroToWhite(uint64_t i, unsigned level) {
    TPlace p;
    Decode(i, p);
    ForEachPredecessor(p, 0, [&](uint64_t j) { SetWhite(j, level); });
  }

  unsigned RetroToBlack(uint64_t i, unsigned level) {
    TPlace p;
    Decode(i, p);
    unsigned highest = 0;
    ForEachPredecessor(p, 1, [&](uint64_t j) {
      std::atomic_ref<uint8_t> c(cnt_[j]);
      uint8_t cur = c.load(std::memory_order_relaxed);
      if (cur == kHoldsCnt || cur == kIllegalCnt || cur == kForwardCnt || cur == 0) return;
      if (c.fetch_sub(1, std::memory_order_relaxed) != 1) return;
      const unsigned v = 1 + std::max<unsigned>(level, outMax_[j]);
      std::atomic_ref<uint8_t>(b_[j]).store(static_cast<uint8_t>(v), std::memory_order_relaxed);
      highest = std::max(highest, v);
    });
    return highest;
  }

  CPositionTypeIndex idx_;
  const TDeps& deps_;
  const TPrecalcGenOptions& opt_;
  uint64_t n_;
  uint8_t groupOf_[256];
  std::vector<uint8_t> w_, b_, cnt_, outMax_, wcand_, spec_;
  std::atomic<bool> hasSpecial_{false};
};

}  // namespace

std::string PrecalcNotGeneratable(const std::string& type) {
  std::string t;
  try {
    t = CanonicalPosType(type);
  } catch (const std::exception& e) {
    return e.what();
  }
  if (std::count(t.begin(), t.end(), 'K') != 1 || std::count(t.begin(), t.end(), 'k') != 1)
    return "a position type needs one king of each colour: " + type;
  if (t.size() > 5) return "types of more than five men are not generated: " + t;
  if (PrecalcTrivialNoMate(t)) return "White has only the king in " + t + ": never a mate, no data needed";
  return {};
}

std::vector<std::string> PrecalcGenerationOrder(const std::string& type) {
  const std::string root = CanonicalPosType(type);
  std::set<std::string> seen{root};
  std::vector<std::string> todo{root};
  while (!todo.empty()) {
    const std::string t = todo.back();
    todo.pop_back();
    for (const std::string& n : NextTypes(t))
      if (seen.insert(n).second) todo.push_back(n);
  }
  std::vector<std::string> out;
  for (const auto& t : seen)
    if (!PrecalcTrivialNoMate(t)) out.push_back(t);
  // Captures lower the number of men, promotions the number of pawns.
  std::sort(out.begin(), out.end(), [](const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return a.size() < b.size();
    if (Pawns(a) != Pawns(b)) return Pawns(a) < Pawns(b);
    return a < b;
  });
  return out;
}

std::vector<std::string> PrecalcTypesUpTo(int men) {
  // Extra men: a multiset over the ten non-king letters.
  const std::string letters = "QRBNPqrbnp";
  std::set<std::string> types;
  std::function<void(size_t, std::string)> grow = [&](size_t from, std::string t) {
    if (t.size() >= 3 && PrecalcNotGeneratable(t).empty()) types.insert(CanonicalPosType(t));
    if (static_cast<int>(t.size()) >= men) return;
    for (size_t i = from; i < letters.size(); ++i) grow(i, t + letters[i]);
  };
  grow(0, "Kk");
  std::vector<std::string> out(types.begin(), types.end());
  std::sort(out.begin(), out.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return out;
}

std::vector<uint8_t> GeneratePrecalcValues(const std::string& type, CPrecalcStore& store,
                                           const TPrecalcGenOptions& options) {
  const std::string why = PrecalcNotGeneratable(type);
  if (!why.empty()) throw PrecalcFileError(why);
  const std::vector<std::string> order = PrecalcGenerationOrder(type);
  const std::string& self = order.back();
  TDeps deps;
  for (const std::string& t : order) {
    if (t == self) continue;
    const CPositionTypeIndex index(t);
    const std::filesystem::path path = store.Folder() / PrecalcFileName(t);
    if (!std::filesystem::exists(path))
      throw PrecalcFileError("Type " + self + " needs the data of type " + t + " first");
    deps.Add(t, CPrecalcFile::Load(path, t, index.PlacementCount())->UnpackAll());
  }
  CGenerator gen(self, deps, options);
  return gen.Run();
}

void GeneratePrecalcFiles(const std::vector<std::string>& types, CPrecalcStore& store,
                          const TPrecalcGenOptions& options, bool force,
                          const std::function<void(const std::string&)>& starting,
                          const std::function<void(const TPrecalcTypeReport&)>& done) {
  std::vector<std::string> order;
  std::set<std::string> named, queued;
  for (const std::string& t : types) {
    const std::string why = PrecalcNotGeneratable(t);
    if (!why.empty()) throw PrecalcFileError(why);
    named.insert(CanonicalPosType(t));
    for (const std::string& d : PrecalcGenerationOrder(t))
      if (queued.insert(d).second) order.push_back(d);
  }
  std::stable_sort(order.begin(), order.end(), [](const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return a.size() < b.size();
    return Pawns(a) < Pawns(b);
  });
  std::filesystem::create_directories(store.Folder());
  for (const std::string& t : order) {
    const std::filesystem::path path = store.Folder() / PrecalcFileName(t);
    TPrecalcTypeReport r;
    r.type = t;
    if (std::filesystem::exists(path) && !(force && named.count(t))) {
      // Kept only when it reads back whole; a damaged file is made again.
      try {
        auto f = CPrecalcFile::Load(path, t, CPositionTypeIndex(t).PlacementCount());
        r.summary = f->Summary();
        r.fileBytes = f->PackedBytes();
        r.existed = true;
        if (done) done(r);
        continue;
      } catch (const PrecalcFileError&) {
      }
    }
    if (starting) starting(t);
    const auto start = std::chrono::steady_clock::now();
    const std::vector<uint8_t> values = GeneratePrecalcValues(t, store, options);
    WritePrecalcFile(path, t, values);
    store.Forget(t);
    r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    r.summary = SummarizePrecalc(t, values);
    r.fileBytes = std::filesystem::file_size(path);
    if (done) done(r);
  }
}

}  // namespace ostravel
