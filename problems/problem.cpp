#include "problems/problem.h"

#include <algorithm>
#include <cstring>

#include "chess/fen.h"
#include "chess/notation.h"
#include "problems/indications.h"

namespace ostravel {

void TProblem::MakeRoot(TChessboard& b, TTaskContext& ctx, bool validate) const {
  ctx = position;
  ClearBoard(b);
  std::memcpy(b.board, ctx.initialBoard, 64);
  b.context = &ctx;
  b.previous = nullptr;
  SetRootPlies(b, RootPlies());
  RecomputeDerived(b);
  if (validate) ValidateAndRecount(b);
}

bool TProblem::SetFen(const std::string& fen) {
  return FenToTask(fen, position, whiteToMove);
}

std::string TProblem::Fen() const {
  TChessboard b;
  TTaskContext ctx;
  MakeRoot(b, ctx, false);
  return BoardToFen(b);
}

void TProblem::StoreFoundKeys(const std::vector<std::string>& keyTexts) {
  TVariant v;
  v.name = variants.empty() ? "Main" : "Ostravel";
  for (const std::string& k : keyTexts) v.lines.push_back({k});
  for (TVariant& old : variants)
    if (old.name == v.name) {
      old = std::move(v);
      return;
    }
  variants.push_back(std::move(v));
}

bool operator==(const TProblem& a, const TProblem& b) {
  return a.moves == b.moves && std::memcmp(a.position.initialBoard, b.position.initialBoard, 64) == 0 &&
         a.position.rootCastling == b.position.rootCastling &&
         a.position.rootEpSquare == b.position.rootEpSquare && a.whiteToMove == b.whiteToMove &&
         a.description == b.description && a.tags == b.tags && a.variants == b.variants &&
         a.sortIndications == b.sortIndications && a.tmpRegFile == b.tmpRegFile;
}

uint8_t CastlingRightsOfBoard(const uint8_t board[64]) {
  uint8_t rights = 0;
  if (board[kE1] == WK) {
    if (board[kH1] == WR) rights |= kCastleWK;
    if (board[kA1] == WR) rights |= kCastleWQ;
  }
  if (board[kE8] == BK) {
    if (board[kH8] == BR) rights |= kCastleBK;
    if (board[kA8] == BR) rights |= kCastleBQ;
  }
  return rights;
}

namespace {

void SetError(std::string* error, const std::string& msg) {
  if (error && error->empty()) *error = msg;
}

}  // namespace

bool ParseVariantLine(const TProblem& p, const std::vector<std::string>& line, std::vector<TMove>& out,
                      std::string* error, int maxMoves) {
  const size_t count = maxMoves < 0 ? line.size() : std::min(line.size(), static_cast<size_t>(maxMoves));
  // The whole line lives on one stack so that every position can reach the
  // root through `previous` (castling and e.p. depend on the line).
  std::vector<TChessboard> stack(count + 1);
  TTaskContext ctx;
  try {
    p.MakeRoot(stack[0], ctx, true);
  } catch (const ChessException& e) {
    if (error) *error = e.what();
    return false;
  }
  for (size_t i = 0; i < count; ++i) {
    const std::string& text = line[i];
    const TChessboard& cur = stack[i];
    TMove m;
    bool ok = false;
    try {
      ok = cur.remainingPlies > 0 && ParseFullMove(cur, text.c_str(), m);
    } catch (const ChessException& e) {
      if (error) *error = e.what();
      return false;
    }
    if (!ok || PlayMove(cur, stack[i + 1], m) < 1) {
      if (error) *error = "Improper move description: " + text;
      return false;
    }
    // Keep the check indicators right for the next move (castling needs them).
    stack[i + 1].whiteKingCheck = IsKingAttacked(stack[i + 1], kWhite) ? 1 : -1;
    stack[i + 1].blackKingCheck = IsKingAttacked(stack[i + 1], kBlack) ? 1 : -1;
    out.push_back(m);
  }
  return true;
}

namespace {

void AddUnique(std::vector<TMove>& moves, const TMove& m) {
  if (std::find(moves.begin(), moves.end(), m) == moves.end()) moves.push_back(m);
}

}  // namespace

std::vector<TMove> FirstWhiteMoves(const TProblem& p, bool allVariants, std::string* error) {
  std::vector<TMove> result;
  const size_t variants = allVariants ? p.variants.size() : std::min<size_t>(1, p.variants.size());
  const int needed = p.whiteToMove ? 1 : 2;
  for (size_t v = 0; v < variants; ++v) {
    for (const auto& line : p.variants[v].lines) {
      if (static_cast<int>(line.size()) < needed) continue;
      std::vector<TMove> moves;
      std::string msg;
      if (!ParseVariantLine(p, line, moves, &msg, needed)) {
        SetError(error, msg);
        continue;
      }
      AddUnique(result, moves.back());
    }
  }
  return result;
}

std::vector<TMove> SortIndicationMoves(const TProblem& p, std::string* error) {
  std::vector<TMove> result;
  if (!p.whiteToMove) return result;
  const std::string& s = p.sortIndications;
  TTaskContext ctx;
  TChessboard root;
  try {
    p.MakeRoot(root, ctx, false);
  } catch (const ChessException& e) {
    SetError(error, e.what());
    return result;
  }
  // The user typed them: the move-input reader's rules and messages apply.
  // Heuristic keywords on the same line are the engine's to read.
  for (const TIndicationWord& w : SplitIndications(s)) {
    if (IsIndicationKeyword(w.text)) continue;
    const std::string text(w.text);
    try {
      AddUnique(result, ReadUserMove(root, text));
    } catch (const ChessException& e) {
      SetError(error, text + ": " + e.what());
    }
  }
  return result;
}

}  // namespace ostravel
