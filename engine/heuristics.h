#pragma once
// Special heuristics: the 32-bit set, the parameters kept beside it, the set
// as text, the indication keywords of a problem record and the checks of a
// selection. The rules themselves live in the search (heuristic_policy.h).
#include <cstdint>
#include <string>
#include <vector>

namespace ostravel {

constexpr uint32_t SH_AREKINGSNEAR = 0x00000001;
constexpr uint32_t SH_SWEEPINGWHITEROOK = 0x00000002;
constexpr uint32_t SH_KEEPKINGONTHEEDGE = 0x00000004;
constexpr uint32_t SH_ONECOLORPLAYPOSSIBLE = 0x00000008;
constexpr uint32_t SH_ZUGZWANGTRIANGLES = 0x00000010;
constexpr uint32_t SH_DONTLEAVEMAINDIAGONAL = 0x00000020;
constexpr uint32_t SH_KEEPKINGWITHINEXTEDGE = 0x00000040;
constexpr uint32_t SH_DONTLETFIGUREUNBLOCK = 0x00000080;
constexpr uint32_t SH_FINDFORCEDMATE = 0x00000200;
constexpr uint32_t SH_DONTRECEDEBLACKKING = 0x00000400;
constexpr uint32_t SH_DONTLETPROMOTEDQUEENMOVE = 0x00000800;
constexpr uint32_t SH_KEYLINE = 0x00001000;
constexpr uint32_t SH_KEYDIAGONAL = 0x00002000;
constexpr uint32_t SH_SAVEQUEENROOK = 0x00004000;  // printed "SH_SAVEQUEEN/ROOK"
constexpr uint32_t SH_DONTLOSEANYFIGURES = 0x00008000;
constexpr uint32_t SH_DONTLETBLACKQUEENCHECKTWICE = 0x00010000;
constexpr uint32_t SH_USEBLOCKBLACKPAWNSLEVEL = 0x00020000;
constexpr uint32_t SH_KEYSQUARE = 0x00040000;
constexpr uint32_t SH_ASSERTBLACKKINGSURROUNDED = 0x00080000;
constexpr uint32_t SH_SINGLEQUEENMATE = 0x00100000;
constexpr uint32_t SH_3MOVESTOMATE = 0x00200000;
constexpr uint32_t SH_KEYWHITEFIGURE = 0x00400000;
constexpr uint32_t SH_CAPTUREKNIGHT = 0x00800000;
constexpr uint32_t SH_SKIPWORSTWHITEMOVES = 0x01000000;
constexpr uint32_t SH_DONTLETPROMOTEDFIGUREMOVE = 0x02000000;
constexpr uint32_t SH_KEEPKINGNEARCORNER = 0x04000000;
constexpr uint32_t SH_SEASNAKE = 0x08000000;
constexpr uint32_t SH_REDUCTIONTOGLOBREGPOS = 0x40000000;
constexpr uint32_t SH_ZUGZWANG = 0x80000000;

// FindForcedMate levels: what a White move must do to be searched.
enum TFfmLevel : uint8_t {
  kFfmNone = 0,
  kFfmCheckOnly = 2,  // "CheckOnly": checks only
  kFfmMate1 = 3,      // "#1": checks, or moves that threaten mate in 1
  kFfmMate1Plus = 4,  // "#1+": as #1, and captures next to the black king
  kFfmMate2 = 5,      // "#2": checks, or a threat of mate in 2
  kFfmMate2Plus = 6,  // "#2+"
  kFfmMate3 = 7,      // "#3"
  kFfmMate4 = 8,      // "#4"
  kFfmMate5 = 9,      // "#5"
};

// The set and its parameters: what one pass searches with. Squares are
// 0 (a1) .. 63 (h8), -1 unset; files 0 (a) .. 7 (h), -1 unset.
struct THeuristicState {
  uint32_t set = 0;

  // edge heuristics (SH_KEEPKINGONTHEEDGE, SH_KEEPKINGWITHINEXTEDGE)
  bool edgeStrict = false;            // with SH_KEEPKINGONTHEEDGE: "Don't let black king move"
  bool edgeAlmostStrict = false;      // ... "(excptns)": move only when forced back to the edge
  bool inclCorner = false;            // b2, b7, g2, g7 count as allowed too
  bool extEdgeStrict = false;         // ext.edge: on the second line, or onto the edge only
  int8_t relaxOnFiguresCaptured = 0;  // "C": black figures whose capture relaxes (0 off)
  bool relaxAlsoPawns = false;        // captured pawns count as well
  bool relaxOnAdvancedPawn = false;   // "A": a White pawn near promotion relaxes
  uint16_t deferCheck = 0;            // "D": moves by which a violation is deferred
  uint16_t deferCheckMax = 0;         // ",M": second count of the deferred check
  bool relaxExtEdgeOnly = false;      // dynamic relaxation of the ext.edge form only
  bool skipDeferIfNoBalanceChange = false;
  bool autoDynamicRelax = false;  // the engine may relax dynamically by itself
  bool allowExceptions = false;   // "allow exc": the search's heuristic exceptions (bAllowExceptions)

  int8_t cornerDistance = 0;  // SH_KEEPKINGNEARCORNER: n > 0 squares, n < 0 king moves

  std::vector<int> blockedSquares;  // SH_DONTLETFIGUREUNBLOCK
  bool blockedEffective = false;    // "EFF"
  bool dlfuDynamic = true;          // may be applied dynamically (on by default)

  uint8_t pawnsMode = 0;          // SH_DONTLOSEANYFIGURES: 0, 1 incl.pawns, 2 incl.pawnsBeforePromo
  bool promotedStrict = false;    // SH_DONTLETPROMOTED...: fewer exceptions
  bool surroundedStrict = false;  // SH_ASSERTBLACKKINGSURROUNDED: at most two free squares
  uint8_t colourMode = 0;         // SH_ONECOLORPLAYPOSSIBLE: 1 white squares, 2 black, 3 separated
  int keySquare = -1;
  int keyWhiteFigure = -1;
  int keyDiagonal[2] = {-1, -1};
  int keyLine = -1;
  int mainDiagonalSquare = -1;  // black piece not let leave the main diagonal
  int seaSnakeApproach = -1, seaSnakeTurnBack = -1;
  int seaSnakePendulum[2] = {-1, -1};
  int8_t seaSnakeAfter = 0;
  std::vector<std::string> zugzwangMoves;  // SH_ZUGZWANG: moves to the position to return to
  int zugzwangAfter = 0;

  // SH_FINDFORCEDMATE
  uint8_t ffmLevel = kFfmNone;         // current level (TFfmLevel)
  uint8_t ffmInitialLevel = kFfmNone;  // level of the first run
  int8_t ffmWithOtherHeuristics = 0;   // > 0: "-WithOtherHeuristics"
  bool ffmPreliminary = false;
  bool ffmCustom = false;
  int ffmRelaxations = 0;        // further FindForcedMate runs after the first
  int ffmRelaxationCounter = 0;  // runs made so far
  int ffmLastLevel = -1;         // -1 none

  uint16_t lfqmDepth = 0;  // look-for-quicker-mate depth in moves; 0 the default
  bool safeMode = false;   // no quick-mode implicit heuristics
  int quickModeCounter = 0;

  friend bool operator==(const THeuristicState&, const THeuristicState&) = default;
};

// Name of one bit ("SH_KEYLINE"), "..." for anything not exactly one named bit.
std::string HeuristicName(uint32_t bit);
// Parameter text of one heuristic of the state (possibly empty), pieces joined by ",".
std::string HeuristicParameterText(uint32_t bit, const THeuristicState& s);
// The whole set: "SH_A(params), SH_B"; with quickMode and no safe mode
// "QuickMode" is appended; "(CannotApplyDLFUDynamically)" when DLFU is set
// but cannot be applied dynamically.
std::string HeuristicSetText(const THeuristicState& s, bool quickMode, bool dlfuDynamicUsable = true);
// 32-bit digest of the parameters, so that two passes with the same set but
// different parameters keep their results apart (sub-register key).
uint32_t HeuristicParameterDigest(const THeuristicState& s);

// Reads a problem's additional indications (keywords such as "FFM(#2)",
// "ExtEdge", "AssertBKS(strict)", "DLFU(e7 f7)", "SafeMode", "LFQMDepth(#7)")
// into s. Words that are no keyword (sort moves) are left alone. Returns false
// with the message in *error on a malformed keyword; s is then unchanged.
bool ApplyIndications(const std::string& text, THeuristicState& s, std::string* error = nullptr);

// What a front end's user types: the indication keywords of ApplyIndications
// and, beside them, heuristic names as the set text prints them
// ("SH_KEEPKINGONTHEEDGE", "SH_SAVEQUEEN/ROOK"), each switching its heuristic
// on with default parameters (SH_FINDFORCEDMATE: checks only, unless an FFM
// keyword gives the level). Unlike a problem record, any other word is an
// error. Returns false with the message in *error; s is then unchanged.
bool ApplyHeuristicText(const std::string& text, THeuristicState& s, std::string* error = nullptr);

// Text of a FindForcedMate level ("CheckOnly", "#1", "#1+", ... "#5"); empty for none.
std::string FfmLevelText(uint8_t level);
// A square as printed in the set text: "E7"; empty for an unset square.
std::string HeuristicSquareText(int square);

// The passes that relaxation would run from this state, one line each, for
// the selection dialog's "Show" (pass_plan.cpp).
std::vector<std::string> RelaxationPathTexts(const THeuristicState& s);

}  // namespace ostravel
