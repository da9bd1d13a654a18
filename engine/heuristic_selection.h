#pragma once
// The fields of the heuristics selection as the user filled them (the
// desktop dialog and the command line both), their checks and the state
// they make. Number and square fields are kept as typed, so that the checks
// can name what is wrong.
#include <string>
#include <vector>

#include "engine/heuristics.h"
#include "problems/problem.h"

namespace ostravel {

struct THeuristicSelection {
  // Black king: "Don't let bl.king move (unless immed.mate)" with "allow exc",
  // "Don't let bl.king out of the edge" with "incl.b2/b7/g2/g7", and
  // "Don't let bl.king" "out of ext.edge" or "move unless on the edge".
  bool dontLetKingMove = false;
  bool allowExceptions = false;
  bool edge = false;
  bool inclCorner = false;
  bool extEdge = false;
  bool moveUnlessOnEdge = false;  // the almost-strict form
  bool nearCorner = false;        // "Keep king near corner, max." n "squares" or "moves away"
  std::string cornerDistance;
  bool cornerInMoves = false;
  bool assertSurrounded = false;
  bool surroundedStrict = false;

  // "Dynamically relax edge/ext.edge heuristics"
  bool dynamicRelax = false;
  bool onAdvancedPawn = false;
  std::string figuresCaptured;  // "(0 = off)"; blank is 0
  bool alsoPawns = false;
  bool deferCheck = false;
  std::string deferMoves;
  bool extEdgeOnly = false;
  bool skipDeferIfNoBalanceChange = false;
  bool autoDynamicRelax = false;

  bool sweepingRook = false;
  bool dontRecede = false;
  bool kingsNear = false;
  bool saveQueenRook = false;
  bool dontLoseFigures = false;
  bool inclPawns = false;
  bool inclPromotablePawns = false;
  bool mainDiagonal = false;
  std::string mainDiagonalBlackPiece;  // a square or blank
  bool dontLetPromoted = false;
  bool promotedAnyFigure = false;  // "any figure move" rather than "queen"
  bool promotedStrict = false;
  bool queenCheckTwice = false;
  bool dontLetUnblock = false;
  std::vector<std::string> unblockSquares;  // one field per figure, blank ones skipped
  bool unblockDynamic = true;
  bool reduceToGlobalRegister = false;
  bool threeMovesToMate = false;
  bool singleQueenMate = false;
  bool skipWorstWhiteMoves = false;
  bool oneColourPlay = false;
  int colourMode = 1;  // 1 white squares only, 2 black squares only, 3 separated black bishop
  bool keyWhiteFigure = false;
  std::string keyWhiteFigureSquare;
  bool keyLine = false;
  std::string keyLineFile;  // "a".."h"
  bool keyDiagonal = false;
  std::string keyDiagonalField1, keyDiagonalField2;
  bool zugzwang = false;
  std::string zugzwangMoves;  // moves to the position to return to, blank separated
  std::string zugzwangAfter;
  bool captureKnight = false;
  bool seaSnake = false;
  std::string seaSnakeApproach, seaSnakeTurnBack, seaSnakePendulum1, seaSnakePendulum2, seaSnakeAfter;

  // FindForcedMate: "First run FindForcedMate", how the other heuristics join
  // it, its level ("check+excps", "threat #1", ...), the "+" captures next to
  // the black king, and its own relaxations.
  enum TFfmCompany { kFfmAlone, kFfmPartially, kFfmPartiallyWithEdgePass, kFfmWithOthers };
  bool ffm = false;
  TFfmCompany ffmCompany = kFfmAlone;
  int ffmThreat = 0;  // 0 check+excps, 1..5 threat #n
  bool ffmAddCaptures = false;
  bool letRelaxFfm = false;
  std::string ffmRelaxations;  // number of further FindForcedMate runs

  std::string lfqmDepth;  // blank: the default
  // Relaxation of heuristics in the run (the solve request's): without it the
  // FindForcedMate relaxations are ignored.
  bool relaxation = true;
  // What the dialog has no control for (engine bookkeeping, safe mode, the
  // bits only the engine sets), carried through unchanged.
  THeuristicState kept;
};

// The state's fields as the dialog shows them.
THeuristicSelection SelectionOfState(const THeuristicState& s, bool relaxation = true);

// Checks the fields and fills *out (when valid). Returns the first error in
// the language (0 Polish, 1 English, 2 Ukrainian; English where no
// translation exists), empty when the selection is valid. *note receives a
// remark that does not stop the selection. With the problem given, the key
// white figure is checked against its position, and so are the moves to the
// zugzwang position.
std::string ValidateHeuristicSelection(const THeuristicSelection& f, int languageId, THeuristicState* out,
                                       std::string* note = nullptr, const TProblem* problem = nullptr);

enum class THeuristicSelectionText {
  kNoHeuristicsSelected,  // "No heuristics selected."
  kNoPreviousSettings,    // "No previous settings for heuristics"
};
std::string HeuristicSelectionText(THeuristicSelectionText id, int languageId);

}  // namespace ostravel
