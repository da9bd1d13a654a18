#include "engine/epd_check.h"

#include <algorithm>

#include "chess/fen.h"
#include "chess/notation.h"
#include "config/settings.h"

namespace ostravel {

namespace {

// The validation message of a position, empty when it is valid.
std::string ValidationError(TChessboard& b) {
  try {
    ValidateAndRecount(b);
  } catch (const ChessException& e) {
    return e.what();
  }
  return {};
}

}  // namespace

const char* EpdOutcomeName(TEpdOutcome o) {
  switch (o) {
    case TEpdOutcome::kSolved:
      return "solved";
    case TEpdOutcome::kShorter:
      return "shorter";
    case TEpdOutcome::kWrongBm:
      return "wrong_bm";
    case TEpdOutcome::kNoMate:
      return "no_mate";
    case TEpdOutcome::kError:
      return "error";
    case TEpdOutcome::kStopped:
      return "stopped";
  }
  return "error";
}

TEpdCheck CheckEpdRecord(const TEpdRecord& rec, const TEpdCheckOptions& o, const TEpdRunner& run) {
  TEpdCheck c;
  c.dm = rec.dm ? rec.dm : o.defaultMoves;
  // The root as the EPD gives it, for the move texts.
  TChessboard root;
  TTaskContext rootCtx;
  TSolveRequest r;
  if (!c.dm) {
    c.message = "no dm opcode";
    return c;
  }
  if (!FenToBoard(rec.fen, root, rootCtx) || !r.SetFen(rec.fen)) {
    c.message = "invalid position";
    return c;
  }
  if (c.message = ValidationError(root); !c.message.empty()) return c;
  const bool mirrored = !r.whiteToMove;
  // "Black mates" is White's mate with colours exchanged.
  if (mirrored) {
    r.position = MirrorColours(r.position);
    r.whiteToMove = true;
  }
  ApplySettings(r, o.settings ? *o.settings : Settings());
  r.moves = c.dm;
  r.mode = SolutionMode::kAll;
  r.threads = static_cast<uint8_t>(o.threads);
  r.computeVariations = false;
  r.problemId = static_cast<uint32_t>(rec.line);
  r.title = rec.id.empty() ? rec.fen : rec.id;
  std::vector<TMove> bm;
  for (const auto& t : rec.bm) {
    TMove m;
    if (!ParseAnyMove(root, t, m)) {
      c.message = "bm " + t + " is no legal move of the position";
      return c;
    }
    bm.push_back(m);
    c.bmUci.push_back(MoveToUci(m));
  }
  const TRunOutcome out = run ? run(r) : RunMateOnFreshEngine(r, o.watch);
  const TSolveResult& res = out.result;
  c.seconds = res.seconds;
  c.nodes = res.nodes;
  std::vector<TMove> keys;
  for (const auto& s : res.solutions) {
    const TMove k = mirrored ? MirrorMove(s.key) : s.key;
    keys.push_back(k);
    c.keysSan.push_back(MoveToSan(root, k));
    c.keysUci.push_back(MoveToUci(k));
    if (s.mateIn && (!c.mateIn || s.mateIn < c.mateIn)) c.mateIn = s.mateIn;
  }
  const bool bmOk = std::all_of(bm.begin(), bm.end(), [&](const TMove& b) {
    return std::any_of(keys.begin(), keys.end(), [&](const TMove& k) { return k.SameAs(b); });
  });
  if (const std::string error = RunError(out); !error.empty()) {
    c.message = error;
  } else if (res.status == TRunStatus::kStopped) {
    c.outcome = TEpdOutcome::kStopped;
    c.message = out.stoppedByFlag ? "stopped by user" : "time limit reached";
    c.stoppedByFlag = out.stoppedByFlag;
  } else if (keys.empty()) {
    c.outcome = TEpdOutcome::kNoMate;
  } else if (!bmOk) {
    c.outcome = TEpdOutcome::kWrongBm;
  } else if (c.mateIn && c.mateIn < c.dm) {
    c.outcome = TEpdOutcome::kShorter;
  } else {
    c.outcome = TEpdOutcome::kSolved;
  }
  return c;
}

}  // namespace ostravel
