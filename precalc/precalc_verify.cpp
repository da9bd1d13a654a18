#include "precalc/precalc_verify.h"

#include <algorithm>
#include <random>

#include "chess/fen.h"
#include "precalc/position_index.h"
#include "precalc/position_type.h"

namespace ostravel {

namespace {

bool BlackLosesWithin(TChessboard* stack, int p, int moves);

bool WhiteMatesWithin(TChessboard* stack, int p, int moves) {
  TMove list[kMaxMoves];
  const int n = GenerateLegalMoves(stack[p], list);
  for (int i = 0; i < n; ++i) {
    PlayMove(stack[p], stack[p + 1], list[i]);
    if (BlackLosesWithin(stack, p + 1, moves - 1)) return true;
  }
  return false;
}

// Black to move in stack[p]: mated now, or every reply allows mate within `moves`.
bool BlackLosesWithin(TChessboard* stack, int p, int moves) {
  TMove list[kMaxMoves];
  const int n = GenerateLegalMoves(stack[p], list);
  if (n == 0) return IsKingAttacked(stack[p], kBlack);
  if (moves == 0) return false;
  for (int i = 0; i < n; ++i) {
    PlayMove(stack[p], stack[p + 1], list[i]);
    if (!WhiteMatesWithin(stack, p + 1, moves)) return false;
  }
  return true;
}

// Value of a White-to-move board from the store (0 no mate), or -1 unknown.
int Stored(CPrecalcStore& store, const TChessboard& b) {
  uint8_t v = 0;
  if (store.Lookup(b.board, v) != CPrecalcStore::TResult::kValue) return -1;
  return v;
}

int OnePlyValue(CPrecalcStore& store, TChessboard* stack);

// White's value of stack[0]: stored, or, after a double step that White might
// answer e.p. (which the data do not know), recomputed from the moves.
int WhiteValue(CPrecalcStore& store, TChessboard* stack) {
  return EnPassantTarget(stack[0]) >= 0 ? OnePlyValue(store, stack) : Stored(store, stack[0]);
}

// White's value recomputed from the stored values two plies on; -1 unknown.
int OnePlyValue(CPrecalcStore& store, TChessboard* stack) {
  TMove wm[kMaxMoves], bm[kMaxMoves];
  const int n = GenerateLegalMoves(stack[0], wm);
  int best = 0;
  for (int i = 0; i < n; ++i) {
    PlayMove(stack[0], stack[1], wm[i]);
    const int k = GenerateLegalMoves(stack[1], bm);
    int worst = 0;  // White moves needed after this move
    bool holds = false;
    if (k == 0) {
      if (!IsKingAttacked(stack[1], kBlack)) continue;  // stalemate
      worst = 1;
    }
    for (int j = 0; j < k && !holds; ++j) {
      PlayMove(stack[1], stack[2], bm[j]);
      const int v = WhiteValue(store, stack + 2);
      if (v < 0) return -1;
      if (v == 0) holds = true;
      worst = std::max(worst, v + 1);
    }
    if (!holds && (best == 0 || worst < best)) best = worst;
  }
  return best;
}

}  // namespace

bool PrecalcSearchMateWithin(const TChessboard& pos, int moves) {
  std::vector<TChessboard> stack(2 * moves + 2);
  CopyBoard(stack[0], pos);
  stack[0].previous = nullptr;
  return WhiteMatesWithin(stack.data(), 0, moves);
}

CPrecalcEntryChecker::CPrecalcEntryChecker(const CPositionTypeIndex& index, CPrecalcStore& store,
                                           int searchMoves)
    : index_(index),
      store_(store),
      searchMoves_(searchMoves),
      // Room for the e.p. look-ahead too: each pawn steps twice at most once.
      stack_(2 * searchMoves + 4 + 2 * 16) {}

bool CPrecalcEntryChecker::Check(uint64_t i, TPrecalcVerifyReport& rep) {
  uint8_t stored = 0;
  if (store_.LookupIndex(index_.Type(), i, stored) != CPrecalcStore::TResult::kValue) return false;
  TTaskContext ctx;
  TChessboard& b = stack_[0];
  if (!index_.PositionAt(i, b, ctx)) return false;
  b.previous = nullptr;
  ++rep.checked;
  auto fail = [&](const std::string& what) {
    rep.failures.push_back(BoardToFen(b) + ": stored " + std::to_string(stored) + ", " + what);
  };
  const std::string bad = PrecalcPositionError(b.board);
  if (!bad.empty()) fail(bad);
  const int local = OnePlyValue(store_, stack_.data());
  if (local != stored) fail("the moves give " + std::to_string(local));
  if (stored != 0 && stored <= searchMoves_) {
    ++rep.searched;
    if (!PrecalcSearchMateWithin(b, stored)) fail("search finds no mate in " + std::to_string(stored));
    if (stored > 1 && PrecalcSearchMateWithin(b, stored - 1))
      fail("search finds a mate in " + std::to_string(stored - 1));
  } else if (stored == 0) {
    ++rep.searched;
    if (PrecalcSearchMateWithin(b, std::min(searchMoves_, 2))) fail("search finds a mate");
  }
  return true;
}

TPrecalcVerifyReport VerifyPrecalcType(const std::string& type, CPrecalcStore& store, uint64_t samples,
                                       uint64_t seed, int searchMoves) {
  TPrecalcVerifyReport rep;
  const CPositionTypeIndex index(type);
  if (!store.Has(index.Type())) {
    rep.failures.push_back("no data for type " + index.Type() +
                           (store.LastError().empty() ? "" : ": " + store.LastError()));
    return rep;
  }
  std::mt19937_64 rng(seed);
  std::uniform_int_distribution<uint64_t> pick(0, index.PlacementCount() - 1);
  CPrecalcEntryChecker check(index, store, searchMoves);
  uint64_t tries = 0;
  while (rep.checked < samples && tries < samples * 50 + 1000) {
    ++tries;
    check.Check(pick(rng), rep);
  }
  return rep;
}

}  // namespace ostravel
