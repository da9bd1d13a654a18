#include "engine/tablebase_probe.h"

#include <bit>
#include <climits>

namespace ostravel {

namespace {

// The entry of the answer for a legal move, or nullptr.
const TLiChessMove* EntryOf(const CLiChess& rec, const TMove& m) {
  for (const TLiChessMove& e : rec.moves)
    if (e.from == m.from && e.to == m.to && KindOf(e.promotion) == (m.promotion & kKindMask)) return &e;
  return nullptr;
}

}  // namespace

bool TTablebaseProbe::Ask(const TChessboard& pos, int plyFromRoot, CLiChess* rec) {
  // White nodes of the first LichessLevels levels: plies 0, 2, ... below 2 * levels.
  if (plyFromRoot < 0 || plyFromRoot / 2 >= client_.Levels() || !pos.WhiteToMove()) return false;
  if (std::popcount(pos.occupied[0] | pos.occupied[1]) > kTablebaseMaxMen) return false;
  if (CastlingRights(pos)) return false;  // the tables hold no castling
  bool got = false;
  client_.Lookup(LiChessFen(pos), table_, [&](const CLiChess& r) {
    *rec = r;
    got = !r.IsUnknown();
  });
  if (got) answers_.fetch_add(1, std::memory_order_relaxed);
  return got;
}

TProbeAnswer TTablebaseProbe::Verdict(const TChessboard& pos, const CLiChess& rec) {
  TProbeAnswer a;
  if (rec.wdl == 0 || rec.wdl == -1) {
    a.status = TProbeStatus::kNoMate;
    return a;
  }
  TMove legal[kMaxMoves];
  const int n = GenerateLegalMoves(pos, legal);
  if (rec.moveCount == n) {
    int best = INT_MAX;  // plies of the shortest mate
    bool complete = true;
    for (int i = 0; i < n && complete; ++i) {
      const TLiChessMove* e = EntryOf(rec, legal[i]);
      if (!e || e->wdl == kWdlUnknown) {
        complete = false;
      } else if (e->wdl == -1) {
        // Black to move and lost: the distance is 0 (mated) or negative and even.
        if (e->dtm == kDtmAbsent || e->dtm > 0 || (e->dtm & 1))
          complete = false;
        else
          best = std::min(best, 1 - e->dtm);
      }
    }
    if (complete) {
      if (best == INT_MAX) {
        // No move wins: a "win" on top contradicts the list.
        if (rec.wdl == kWdlUnknown) a.status = TProbeStatus::kNoMate;
        return a;
      }
      a.status = TProbeStatus::kMate;
      a.mateInMoves = (best + 1) / 2;
      return a;
    }
  }
  if (rec.wdl == 1 && rec.dtm != kDtmAbsent && rec.dtm > 0 && (rec.dtm & 1)) {
    a.status = TProbeStatus::kMate;
    a.mateInMoves = (rec.dtm + 1) / 2;
  }
  return a;
}

int TTablebaseProbe::MovesWithoutMate(const TChessboard& pos, const CLiChess& rec, TMove* out, int capacity) {
  TMove legal[kMaxMoves];
  const int n = GenerateLegalMoves(pos, legal);
  const bool none = rec.wdl == 0 || rec.wdl == -1;  // no White move can win then
  int k = 0;
  for (int i = 0; i < n && k < capacity; ++i) {
    const TLiChessMove* e = none ? nullptr : EntryOf(rec, legal[i]);
    if (none || (e && (e->wdl == 0 || e->wdl == 1))) out[k++] = legal[i];
  }
  return k;
}

TProbeAnswer TTablebaseProbe::Probe(const TChessboard& pos, int plyFromRoot) {
  CLiChess rec;
  if (!Ask(pos, plyFromRoot, &rec)) return {};
  return Verdict(pos, rec);
}

int TTablebaseProbe::MovesWithoutMate(const TChessboard& pos, int plyFromRoot, TMove* out, int capacity) {
  CLiChess rec;
  if (!Ask(pos, plyFromRoot, &rec)) return 0;
  return MovesWithoutMate(pos, rec, out, capacity);
}

}  // namespace ostravel
