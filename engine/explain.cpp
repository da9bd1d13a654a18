// Threats and variations of the keys found, and the shortest mate of a
// position: what the solution shows beyond the key moves.
#include <cstring>
#include <stdexcept>

#include "chess/notation.h"
#include "engine/mate_search.h"
#include "engine/searcher.h"

namespace ostravel {

namespace {
// The square of a null move: any square that is not a king's or rook's home,
// so that the line-of-play castling test never mistakes it for a real move.
constexpr uint8_t kNullSquare = 27;
}  // namespace

template <class Policy>
int TSearcher<Policy>::ShortestMates(int p, int d, TMove* first, std::vector<TMove>* all) {
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

template <class Policy>
void TSearcher<Policy>::Explain(TSolution& sol, int d) {
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

// Black to move in stack_[p] with d plies left (even): every defence with
// White's shortest answer, recursively; with duals on, White's other answers
// of the same length too (their own play is not shown: it would multiply
// the tree, and a dual is judged by its existence).
template <class Policy>
void TSearcher<Policy>::Variations(int p, int d, std::vector<TVariation>& out, int& budget, bool& truncated) {
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
    if (s_.settings_.showDuals) {
      // Every quickest answer, in generation order: the first is the one a
      // search without duals would show.
      std::vector<TMove> quickest;
      plies = ShortestMates(p + 1, d - 1, nullptr, &quickest);
      if (!plies) continue;
      v.white = quickest.front();
      v.duals.assign(quickest.begin() + 1, quickest.end());
      for (const TMove& m : v.duals) v.dualTexts.push_back(MoveToText(stack_[p + 1], m));
    } else {
      plies = ShortestMates(p + 1, d - 1, &v.white);
      if (!plies) continue;
    }
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

template int TSearcher<TExactPolicy>::ShortestMates(int, int, TMove*, std::vector<TMove>*);
template void TSearcher<TExactPolicy>::Explain(TSolution&, int);
template void TSearcher<TExactPolicy>::Variations(int, int, std::vector<TVariation>&, int&, bool&);

int TMateSearch::ShortestMate(const TChessboard& pos, int maxMoves, TMove* firstMove) {
  if (maxMoves < 1 || 2 * maxMoves - 1 > kMaxSearchPly)
    throw std::invalid_argument("stipulation out of range");
  if (!pos.WhiteToMove()) throw std::invalid_argument("ShortestMate needs White to move");
  EnsureRegister(2 * maxMoves - 1);
  TChessboard root = pos;
  root.previous = nullptr;
  TSearcher<TExactPolicy> s(*this, root);
  TMove best{};
  const int plies = s.ShortestMates(0, 2 * maxMoves - 1, &best);
  if (!plies) return 0;
  if (firstMove) *firstMove = best;
  return (plies + 1) / 2;
}

void TMateSearch::Explain(const TChessboard& rootIn, int nMoves) {
  TChessboard root = rootIn;
  root.previous = nullptr;
  const int d = 2 * nMoves - 1;
  EnsureRegister(d);
  // Threats and variations are shown as proved: the exact search gives them.
  TSearcher<TExactPolicy> s(*this, root);
  for (auto& sol : solutions_) {
    if (stop_.load()) break;
    if (!sol.confirmed) continue;  // a candidate: nothing proved to explain
    sol.threat.clear();
    sol.variations.clear();
    s.Explain(sol, d);
  }
}

}  // namespace ostravel
