#include "engine/heuristic_selection.h"

#include <cctype>
#include <optional>
#include <string_view>
#include <vector>

namespace ostravel {

namespace {

enum class TMsg {
  kConflictExtEdge,
  kConflictKingMove,
  kAllowExcWithoutKingMove,
  kCornerDistance,
  kFiguresToCapture,
  kMovesToDefer,
  kDeferMeaningless,
  kDontLoseOptions,
  kMainDiagonalField,
  kDuplicateSquare,
  kImproperSquare,
  kUnblockField,
  kKeyWhiteFigure,
  kKeyWhiteFigureNoPin,
  kKeyLine,
  kKeyDiagonal,
  kZugzwangMove,
  kZugzwangAfterField,
  kSeaSnakeAfterField,
  kFfmWithSeaSnake,
  kFfmRelaxationsTooLarge,  // followed by the maximum and kFfmRelaxationsTooLargeEnd
  kFfmRelaxationsTooLargeEnd,
  kFfmRelaxationsInvalid,
  kFfmRelaxationsIgnored,  // followed by the count and kFfmRelaxationsIgnoredEnd
  kFfmRelaxationsIgnoredEnd,
  kLfqmDepth,
  kNoHeuristicsSelected,
  kNoPreviousSettings,
};

struct TMsgText {
  TMsg id;
  const char* en;
  const char* pl;  // nullptr: English
};

constexpr TMsgText kTexts[] = {
    {TMsg::kConflictExtEdge,
     "Conflict of heuristics: select only one of 'Don't let black king out of ext.edge' and '(Don't let "
     "black "
     "king) move unless back to the edge'",
     "Konflikt heurystyk: wybierz tylko jedn\u0105 z 'Nie wypuszczaj czarnego kr\u00f3la poza "
     "rozszerzon\u0105 "
     "kraw\u0119d\u017a' i '(Nie pozw\u00f3l czarnemu kr\u00f3lowi) rusza\u0107 si\u0119, chyba \u017ce "
     "wraca na "
     "kraw\u0119d\u017a'"},
    {TMsg::kConflictKingMove,
     "Conflict of heuristics (\"Don't let black king move\" and \"Don't let black king out of the edge "
     "and/or "
     "ext.edge\")",
     "Konflikt heurystyk (\"Nie pozw\u00f3l czarnemu kr\u00f3lowi si\u0119 rusza\u0107\" i \"Nie wypuszczaj "
     "czarnego kr\u00f3la poza kraw\u0119d\u017a i/lub rozszerzon\u0105 kraw\u0119d\u017a\")"},
    {TMsg::kAllowExcWithoutKingMove,
     "Heuristics 'Don't let black king move' is off, while 'allow exc' is on.\nIt requires correction.",
     "Heurystyka 'Nie pozw\u00f3l czarnemu kr\u00f3lowi si\u0119 rusza\u0107' jest wy\u0142\u0105czona, a "
     "'allow exc' w\u0142\u0105czone.\nWymaga to poprawienia."},
    {TMsg::kCornerDistance,
     "Invalid maximum distance from corner in the parameter of heuristics 'Keep king near corner'",
     "Nieprawid\u0142owa maksymalna odleg\u0142o\u015b\u0107 od naro\u017cnika w parametrze heurystyki "
     "'Trzymaj kr\u00f3la przy naro\u017cniku'"},
    {TMsg::kFiguresToCapture, "Invalid number of figures to capture for relaxation of edge heuristics",
     "Nieprawid\u0142owa liczba figur do zbicia dla rozlu\u017anienia heurystyk kraw\u0119dzi"},
    {TMsg::kMovesToDefer, "Invalid number of moves to defer",
     "Nieprawid\u0142owa liczba ruch\u00f3w od\u0142o\u017cenia"},
    {TMsg::kDeferMeaningless,
     "Defer check is meaningful only when 'on advanced pawn' or 'on figure captured' selected.",
     "Od\u0142o\u017cenie sprawdzenia ma sens tylko przy wybranym 'on advanced pawn' lub 'on figure "
     "captured'."},
    {TMsg::kDontLoseOptions,
     "Only one of additional options of Don't lose any figures (incl. pawns + incl.promotable pawns) can be "
     "selected.",
     "Mo\u017cna wybra\u0107 tylko jedn\u0105 z dodatkowych opcji Nie tra\u0107 \u017cadnych figur (z "
     "pionami + "
     "z pionami przed promocj\u0105)."},
    {TMsg::kMainDiagonalField, "Improper field (Black figure not let leave main diagonal)",
     "Nieprawid\u0142owe pole (czarna figura niewypuszczana z g\u0142\u00f3wnej przek\u0105tnej)"},
    {TMsg::kDuplicateSquare, "Duplicate square:", "Powt\u00f3rzone pole:"},
    {TMsg::kImproperSquare, "Improper square:", "Nieprawid\u0142owe pole:"},
    {TMsg::kUnblockField, "Figure not let unblock #", "Figura nieodblokowywana #"},
    {TMsg::kKeyWhiteFigure, "Invalid key white figure", "Nieprawid\u0142owa kluczowa bia\u0142a figura"},
    {TMsg::kKeyWhiteFigureNoPin, "Invalid key white figure (pinned piece not found)",
     "Nieprawid\u0142owa kluczowa bia\u0142a figura (nie znaleziono zwi\u0105zanej bierki)"},
    {TMsg::kKeyLine, "Invalid field Key line", "Nieprawid\u0142owe pole Kluczowa linia"},
    {TMsg::kKeyDiagonal, "Invalid field Key diagonal", "Nieprawid\u0142owe pole Kluczowa przek\u0105tna"},
    {TMsg::kZugzwangMove, "Invalid move for SH_ZUGZWANG", "Nieprawid\u0142owy ruch dla SH_ZUGZWANG"},
    {TMsg::kZugzwangAfterField, "Improper field (Zugzwang position to return to - after)",
     "Nieprawid\u0142owe pole (pozycja zugzwangu do powrotu - po)"},
    {TMsg::kSeaSnakeAfterField, "Improper field (Sea snake - only after)",
     "Nieprawid\u0142owe pole (W\u0105\u017c morski - dopiero po)"},
    {TMsg::kFfmWithSeaSnake, "FindForcedMate cannot be used together with SeaSnake.",
     "FindForcedMate nie mo\u017ce by\u0107 u\u017cyte razem z SeaSnake."},
    {TMsg::kFfmRelaxationsTooLarge, "Number of heuristics relaxations for FFM is too large (max =",
     "Zbyt du\u017ca liczba rozlu\u017anie\u0144 heurystyk dla FFM (max ="},
    {TMsg::kFfmRelaxationsTooLargeEnd, " => #5)", nullptr},
    {TMsg::kFfmRelaxationsInvalid,
     "Invalid value in field with number of heuristics relaxations for FFM (FindForcedMate)",
     "Nieprawid\u0142owa warto\u015b\u0107 w polu z liczb\u0105 rozlu\u017anie\u0144 heurystyk dla FFM "
     "(FindForcedMate)"},
    {TMsg::kFfmRelaxationsIgnored, "Note: relaxation of heuristics is off, so setting for FFM (",
     "Uwaga: rozlu\u017anianie heurystyk jest wy\u0142\u0105czone, wi\u0119c ustawienie dla FFM ("},
    {TMsg::kFfmRelaxationsIgnoredEnd, " time(s)) will be ignored", " raz(y)) zostanie pomini\u0119te"},
    {TMsg::kLfqmDepth, "Value of depth for quicker mate is out of range.",
     "Warto\u015b\u0107 g\u0142\u0119boko\u015bci dla szybszego mata jest poza zakresem."},
    {TMsg::kNoHeuristicsSelected, "No heuristics selected.", "Nie wybrano heurystyk."},
    {TMsg::kNoPreviousSettings, "No previous settings for heuristics",
     "Brak poprzednich ustawie\u0144 heurystyk"},
};

std::string Text(TMsg id, int languageId) {
  for (const TMsgText& t : kTexts)
    if (t.id == id) return languageId == 0 && t.pl ? t.pl : t.en;
  return {};
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

// An integer field: an optional sign and at most six digits; nullopt for
// anything else.
std::optional<int> Number(std::string_view text) {
  text = Trim(text);
  bool negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty() || text.size() > 6) return std::nullopt;
  int v = 0;
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return std::nullopt;
    v = v * 10 + (c - '0');
  }
  return negative ? -v : v;
}

// A blank field is 0.
std::optional<int> NumberOrZero(std::string_view text) {
  return Trim(text).empty() ? std::optional<int>(0) : Number(text);
}

// "e4" or "E4"; -1 for blank, nullopt for anything else.
std::optional<int> Square(std::string_view text) {
  text = Trim(text);
  if (text.empty()) return -1;
  if (text.size() != 2) return std::nullopt;
  const char f = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  if (f < 'a' || f > 'h' || text[1] < '1' || text[1] > '8') return std::nullopt;
  return (text[1] - '1') * 8 + (f - 'a');
}

std::string SquareField(int sq) {
  if (sq < 0) return {};
  return {static_cast<char>('a' + sq % 8), static_cast<char>('1' + sq / 8)};
}

// A white queen, rook or bishop on `from` that pins a black man to the black
// king: along one of its lines, first that man, then the king.
bool PinsToBlackKing(const uint8_t board[64], int from) {
  const uint8_t code = board[from];
  if (!(code & kWhite)) return false;
  const uint8_t kind = code & 0x1F;
  const bool straight = kind == 8 || kind == 12, diagonal = kind == 4 || kind == 12;
  static constexpr int kDirs[8][2] = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}, {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
  for (int d = 0; d < 8; ++d) {
    if (d < 4 ? !straight : !diagonal) continue;
    int file = from % 8, rank = from / 8;
    int between = -1;
    for (;;) {
      file += kDirs[d][0];
      rank += kDirs[d][1];
      if (file < 0 || file > 7 || rank < 0 || rank > 7) break;
      const uint8_t c = board[rank * 8 + file];
      if (!c) continue;
      if (between < 0 && (c & kBlack) && (c & 0x1F) != 1) {
        between = rank * 8 + file;
        continue;
      }
      if (between >= 0 && c == (kBlack | 1)) return true;
      break;
    }
  }
  return false;
}

constexpr uint32_t kDialogBits =
    SH_AREKINGSNEAR | SH_SWEEPINGWHITEROOK | SH_KEEPKINGONTHEEDGE | SH_ONECOLORPLAYPOSSIBLE |
    SH_DONTLEAVEMAINDIAGONAL | SH_KEEPKINGWITHINEXTEDGE | SH_DONTLETFIGUREUNBLOCK | SH_FINDFORCEDMATE |
    SH_DONTRECEDEBLACKKING | SH_DONTLETPROMOTEDQUEENMOVE | SH_KEYLINE | SH_KEYDIAGONAL | SH_SAVEQUEENROOK |
    SH_DONTLOSEANYFIGURES | SH_DONTLETBLACKQUEENCHECKTWICE | SH_ASSERTBLACKKINGSURROUNDED |
    SH_SINGLEQUEENMATE | SH_3MOVESTOMATE | SH_KEYWHITEFIGURE | SH_CAPTUREKNIGHT | SH_SKIPWORSTWHITEMOVES |
    SH_DONTLETPROMOTEDFIGUREMOVE | SH_KEEPKINGNEARCORNER | SH_SEASNAKE | SH_REDUCTIONTOGLOBREGPOS |
    SH_ZUGZWANG;

}  // namespace

std::string HeuristicSelectionText(THeuristicSelectionText id, int languageId) {
  return Text(id == THeuristicSelectionText::kNoHeuristicsSelected ? TMsg::kNoHeuristicsSelected
                                                                   : TMsg::kNoPreviousSettings,
              languageId);
}

THeuristicSelection SelectionOfState(const THeuristicState& s, bool relaxation) {
  THeuristicSelection f;
  f.kept = s;
  const auto has = [&](uint32_t bit) { return (s.set & bit) != 0; };
  if (has(SH_KEEPKINGONTHEEDGE)) {
    if (!s.edgeStrict) {
      f.edge = true;
    } else if (s.edgeAlmostStrict) {
      f.moveUnlessOnEdge = true;
      f.dontLetKingMove = s.allowExceptions;
    } else {
      f.dontLetKingMove = true;
    }
  }
  f.allowExceptions = s.allowExceptions;
  f.extEdge = has(SH_KEEPKINGWITHINEXTEDGE);
  f.inclCorner = s.inclCorner;
  f.nearCorner = has(SH_KEEPKINGNEARCORNER);
  if (s.cornerDistance != 0)
    f.cornerDistance = std::to_string(s.cornerDistance > 0 ? s.cornerDistance : -s.cornerDistance);
  f.cornerInMoves = s.cornerDistance < 0;
  f.assertSurrounded = has(SH_ASSERTBLACKKINGSURROUNDED);
  f.surroundedStrict = s.surroundedStrict;

  f.onAdvancedPawn = s.relaxOnAdvancedPawn;
  if (s.relaxOnFiguresCaptured != 0) f.figuresCaptured = std::to_string(s.relaxOnFiguresCaptured);
  f.alsoPawns = s.relaxAlsoPawns;
  f.deferCheck = s.deferCheck > 0;
  if (s.deferCheck > 0) f.deferMoves = std::to_string(s.deferCheck);
  f.extEdgeOnly = s.relaxExtEdgeOnly;
  f.skipDeferIfNoBalanceChange = s.skipDeferIfNoBalanceChange;
  f.autoDynamicRelax = s.autoDynamicRelax;
  f.dynamicRelax = f.onAdvancedPawn || s.relaxOnFiguresCaptured != 0 || f.alsoPawns || f.deferCheck ||
                   f.extEdgeOnly || f.skipDeferIfNoBalanceChange || f.autoDynamicRelax;

  f.sweepingRook = has(SH_SWEEPINGWHITEROOK);
  f.dontRecede = has(SH_DONTRECEDEBLACKKING);
  f.kingsNear = has(SH_AREKINGSNEAR);
  f.saveQueenRook = has(SH_SAVEQUEENROOK);
  f.dontLoseFigures = has(SH_DONTLOSEANYFIGURES);
  f.inclPawns = s.pawnsMode == 1;
  f.inclPromotablePawns = s.pawnsMode == 2;
  f.mainDiagonal = has(SH_DONTLEAVEMAINDIAGONAL);
  f.mainDiagonalBlackPiece = SquareField(s.mainDiagonalSquare);
  f.dontLetPromoted = has(SH_DONTLETPROMOTEDQUEENMOVE) || has(SH_DONTLETPROMOTEDFIGUREMOVE);
  f.promotedAnyFigure = has(SH_DONTLETPROMOTEDFIGUREMOVE);
  f.promotedStrict = s.promotedStrict;
  f.queenCheckTwice = has(SH_DONTLETBLACKQUEENCHECKTWICE);
  f.dontLetUnblock = has(SH_DONTLETFIGUREUNBLOCK);
  for (int sq : s.blockedSquares) f.unblockSquares.push_back(SquareField(sq));
  f.unblockDynamic = s.dlfuDynamic;
  f.reduceToGlobalRegister = has(SH_REDUCTIONTOGLOBREGPOS);
  f.threeMovesToMate = has(SH_3MOVESTOMATE);
  f.singleQueenMate = has(SH_SINGLEQUEENMATE);
  f.skipWorstWhiteMoves = has(SH_SKIPWORSTWHITEMOVES);
  f.oneColourPlay = has(SH_ONECOLORPLAYPOSSIBLE);
  if (s.colourMode >= 1 && s.colourMode <= 3) f.colourMode = s.colourMode;
  f.keyWhiteFigure = has(SH_KEYWHITEFIGURE);
  f.keyWhiteFigureSquare = SquareField(s.keyWhiteFigure);
  f.keyLine = has(SH_KEYLINE);
  if (s.keyLine >= 0 && s.keyLine < 8) f.keyLineFile = std::string(1, static_cast<char>('a' + s.keyLine));
  f.keyDiagonal = has(SH_KEYDIAGONAL);
  f.keyDiagonalField1 = SquareField(s.keyDiagonal[0]);
  f.keyDiagonalField2 = SquareField(s.keyDiagonal[1]);
  f.zugzwang = has(SH_ZUGZWANG);
  for (const std::string& m : s.zugzwangMoves) f.zugzwangMoves += (f.zugzwangMoves.empty() ? "" : " ") + m;
  if (s.zugzwangAfter != 0) f.zugzwangAfter = std::to_string(s.zugzwangAfter);
  f.captureKnight = has(SH_CAPTUREKNIGHT);
  f.seaSnake = has(SH_SEASNAKE);
  f.seaSnakeApproach = SquareField(s.seaSnakeApproach);
  f.seaSnakeTurnBack = SquareField(s.seaSnakeTurnBack);
  f.seaSnakePendulum1 = SquareField(s.seaSnakePendulum[0]);
  f.seaSnakePendulum2 = SquareField(s.seaSnakePendulum[1]);
  if (s.seaSnakeAfter != 0) f.seaSnakeAfter = std::to_string(s.seaSnakeAfter);

  f.ffm = has(SH_FINDFORCEDMATE);
  if (s.ffmWithOtherHeuristics > 0)
    f.ffmCompany = THeuristicSelection::kFfmWithOthers;
  else if (s.ffmWithOtherHeuristics < 0)
    f.ffmCompany = s.ffmPreliminary ? THeuristicSelection::kFfmPartiallyWithEdgePass
                                    : THeuristicSelection::kFfmPartially;
  const uint8_t level = s.ffmInitialLevel != kFfmNone ? s.ffmInitialLevel : s.ffmLevel;
  switch (level) {
    case kFfmMate1Plus:
      f.ffmAddCaptures = true;
      [[fallthrough]];
    case kFfmMate1:
      f.ffmThreat = 1;
      break;
    case kFfmMate2Plus:
      f.ffmAddCaptures = true;
      [[fallthrough]];
    case kFfmMate2:
      f.ffmThreat = 2;
      break;
    case kFfmMate3:
      f.ffmThreat = 3;
      break;
    case kFfmMate4:
      f.ffmThreat = 4;
      break;
    case kFfmMate5:
      f.ffmThreat = 5;
      break;
    default:
      f.ffmThreat = 0;
      break;
  }
  f.letRelaxFfm = s.ffmRelaxations > 0;
  if (s.ffmRelaxations > 0) f.ffmRelaxations = std::to_string(s.ffmRelaxations);
  if (s.lfqmDepth != 0) f.lfqmDepth = std::to_string(s.lfqmDepth);
  f.relaxation = relaxation;
  return f;
}

std::string ValidateHeuristicSelection(const THeuristicSelection& f, int lang, THeuristicState* out,
                                       std::string* note, const TProblem* problem) {
  const auto error = [lang](TMsg id) { return Text(id, lang); };
  if (note) note->clear();
  THeuristicState s = f.kept;
  s.set &= ~kDialogBits;
  uint32_t& set = s.set;
  const auto put = [&set](bool on, uint32_t bit) {
    if (on) set |= bit;
  };

  // The black king's heuristics.
  if (f.extEdge && f.moveUnlessOnEdge) return error(TMsg::kConflictExtEdge);
  if (f.dontLetKingMove && (f.edge || f.extEdge)) return error(TMsg::kConflictKingMove);
  if (f.allowExceptions && !f.dontLetKingMove) return error(TMsg::kAllowExcWithoutKingMove);
  put(f.edge || f.dontLetKingMove || f.moveUnlessOnEdge, SH_KEEPKINGONTHEEDGE);
  s.edgeStrict = f.dontLetKingMove || f.moveUnlessOnEdge;
  s.edgeAlmostStrict = f.moveUnlessOnEdge;
  s.allowExceptions = f.allowExceptions;
  put(f.extEdge, SH_KEEPKINGWITHINEXTEDGE);
  s.inclCorner = f.inclCorner && (f.edge || f.extEdge);
  s.cornerDistance = 0;
  if (f.nearCorner) {
    const std::optional<int> n = Number(f.cornerDistance);
    if (!n || *n < 1 || *n > (f.cornerInMoves ? 127 : 7)) return error(TMsg::kCornerDistance);
    s.cornerDistance = static_cast<int8_t>(f.cornerInMoves ? -*n : *n);
    set |= SH_KEEPKINGNEARCORNER;
  }
  put(f.assertSurrounded, SH_ASSERTBLACKKINGSURROUNDED);
  s.surroundedStrict = f.assertSurrounded && f.surroundedStrict;

  // Dynamic relaxation of the edge heuristics.
  s.relaxOnAdvancedPawn = s.relaxAlsoPawns = s.relaxExtEdgeOnly = false;
  s.skipDeferIfNoBalanceChange = s.autoDynamicRelax = false;
  s.relaxOnFiguresCaptured = 0;
  s.deferCheck = 0;
  if (f.dynamicRelax) {
    const std::optional<int> figures = NumberOrZero(f.figuresCaptured);
    if (!figures || *figures < 0 || *figures > 15) return error(TMsg::kFiguresToCapture);
    int defer = 0;
    if (f.deferCheck) {
      const std::optional<int> moves = Number(f.deferMoves);
      if (!moves || *moves < 1 || *moves > 999) return error(TMsg::kMovesToDefer);
      if (!f.onAdvancedPawn && *figures == 0) return error(TMsg::kDeferMeaningless);
      defer = *moves;
    }
    s.relaxOnAdvancedPawn = f.onAdvancedPawn;
    s.relaxOnFiguresCaptured = static_cast<int8_t>(*figures);
    s.relaxAlsoPawns = f.alsoPawns;
    s.deferCheck = static_cast<uint16_t>(defer);
    s.relaxExtEdgeOnly = f.extEdgeOnly;
    s.skipDeferIfNoBalanceChange = f.skipDeferIfNoBalanceChange;
    s.autoDynamicRelax = f.autoDynamicRelax;
  }

  put(f.sweepingRook, SH_SWEEPINGWHITEROOK);
  put(f.dontRecede, SH_DONTRECEDEBLACKKING);
  put(f.kingsNear, SH_AREKINGSNEAR);
  put(f.saveQueenRook, SH_SAVEQUEENROOK);
  s.pawnsMode = 0;
  if (f.dontLoseFigures) {
    if (f.inclPawns && f.inclPromotablePawns) return error(TMsg::kDontLoseOptions);
    s.pawnsMode = f.inclPawns ? 1 : f.inclPromotablePawns ? 2 : 0;
    set |= SH_DONTLOSEANYFIGURES;
  }
  s.mainDiagonalSquare = -1;
  if (f.mainDiagonal) {
    const std::optional<int> sq = Square(f.mainDiagonalBlackPiece);
    // Either long diagonal.
    if (!sq || (*sq >= 0 && *sq % 8 != *sq / 8 && *sq % 8 + *sq / 8 != 7))
      return error(TMsg::kMainDiagonalField);
    s.mainDiagonalSquare = *sq;
    set |= SH_DONTLEAVEMAINDIAGONAL;
  }
  if (f.dontLetPromoted)
    set |= f.promotedAnyFigure ? SH_DONTLETPROMOTEDFIGUREMOVE : SH_DONTLETPROMOTEDQUEENMOVE;
  s.promotedStrict = f.dontLetPromoted && f.promotedStrict;
  put(f.queenCheckTwice, SH_DONTLETBLACKQUEENCHECKTWICE);
  s.blockedSquares.clear();
  s.dlfuDynamic = f.unblockDynamic;
  if (f.dontLetUnblock) {
    for (size_t i = 0; i < f.unblockSquares.size(); ++i) {
      const std::string_view text = Trim(f.unblockSquares[i]);
      if (text.empty()) continue;
      const std::string where = " (" + error(TMsg::kUnblockField) + std::to_string(i + 1) + ")";
      const std::optional<int> sq = Square(text);
      if (!sq) return error(TMsg::kImproperSquare) + " " + std::string(text) + where;
      for (int q : s.blockedSquares)
        if (q == *sq) return error(TMsg::kDuplicateSquare) + " " + std::string(text) + where;
      s.blockedSquares.push_back(*sq);
    }
    set |= SH_DONTLETFIGUREUNBLOCK;
  }
  put(f.reduceToGlobalRegister, SH_REDUCTIONTOGLOBREGPOS);
  put(f.threeMovesToMate, SH_3MOVESTOMATE);
  put(f.singleQueenMate, SH_SINGLEQUEENMATE);
  put(f.skipWorstWhiteMoves, SH_SKIPWORSTWHITEMOVES);
  s.colourMode = 0;
  if (f.oneColourPlay) {
    s.colourMode = static_cast<uint8_t>(f.colourMode >= 1 && f.colourMode <= 3 ? f.colourMode : 1);
    set |= SH_ONECOLORPLAYPOSSIBLE;
  }
  s.keyWhiteFigure = -1;
  if (f.keyWhiteFigure) {
    const std::optional<int> sq = Square(f.keyWhiteFigureSquare);
    if (!sq || *sq < 0) return error(TMsg::kKeyWhiteFigure);
    if (problem) {
      const uint8_t* board = problem->position.initialBoard;
      if (!(board[*sq] & kWhite)) return error(TMsg::kKeyWhiteFigure);
      if (!PinsToBlackKing(board, *sq)) return error(TMsg::kKeyWhiteFigureNoPin);
    }
    s.keyWhiteFigure = *sq;
    set |= SH_KEYWHITEFIGURE;
  }
  s.keyLine = -1;
  if (f.keyLine) {
    const std::string_view file = Trim(f.keyLineFile);
    const char c =
        file.size() == 1 ? static_cast<char>(std::tolower(static_cast<unsigned char>(file[0]))) : 0;
    if (c < 'a' || c > 'h') return error(TMsg::kKeyLine);
    s.keyLine = c - 'a';
    set |= SH_KEYLINE;
  }
  s.keyDiagonal[0] = s.keyDiagonal[1] = -1;
  if (f.keyDiagonal) {
    const std::optional<int> a = Square(f.keyDiagonalField1), b = Square(f.keyDiagonalField2);
    if (!a || !b || *a < 0 || *b < 0 || *a == *b) return error(TMsg::kKeyDiagonal);
    const int df = *a % 8 - *b % 8, dr = *a / 8 - *b / 8;
    if (df != dr && df != -dr) return error(TMsg::kKeyDiagonal);
    s.keyDiagonal[0] = *a;
    s.keyDiagonal[1] = *b;
    set |= SH_KEYDIAGONAL;
  }
  s.zugzwangMoves.clear();
  s.zugzwangAfter = 0;
  if (f.zugzwang) {
    std::vector<std::string> moves;
    std::string word;
    for (char c : f.zugzwangMoves + " ") {
      if (c == ' ' || c == '\t' || c == ',') {
        if (!word.empty()) moves.push_back(std::move(word));
        word.clear();
      } else {
        word += c;
      }
    }
    if (problem) {
      std::vector<TMove> played;
      if (!ParseVariantLine(*problem, moves, played)) return error(TMsg::kZugzwangMove);
    }
    const std::optional<int> after = NumberOrZero(f.zugzwangAfter);
    if (!after || *after < 0) return error(TMsg::kZugzwangAfterField);
    s.zugzwangMoves = std::move(moves);
    s.zugzwangAfter = *after;
    set |= SH_ZUGZWANG;
  }
  put(f.captureKnight, SH_CAPTUREKNIGHT);
  s.seaSnakeApproach = s.seaSnakeTurnBack = s.seaSnakePendulum[0] = s.seaSnakePendulum[1] = -1;
  s.seaSnakeAfter = 0;
  if (f.seaSnake) {
    int* const targets[] = {&s.seaSnakeApproach, &s.seaSnakeTurnBack, &s.seaSnakePendulum[0],
                            &s.seaSnakePendulum[1]};
    const std::string* const fields[] = {&f.seaSnakeApproach, &f.seaSnakeTurnBack, &f.seaSnakePendulum1,
                                         &f.seaSnakePendulum2};
    for (int i = 0; i < 4; ++i) {
      const std::optional<int> sq = Square(*fields[i]);
      if (!sq) return error(TMsg::kImproperSquare) + " " + std::string(Trim(*fields[i])) + " (Sea snake)";
      *targets[i] = *sq;
    }
    const std::optional<int> after = NumberOrZero(f.seaSnakeAfter);
    if (!after || *after < 0 || *after > 127) return error(TMsg::kSeaSnakeAfterField);
    s.seaSnakeAfter = static_cast<int8_t>(*after);
    set |= SH_SEASNAKE;
  }

  // FindForcedMate.
  s.ffmLevel = s.ffmInitialLevel = kFfmNone;
  s.ffmWithOtherHeuristics = 0;
  s.ffmPreliminary = false;
  s.ffmRelaxations = s.ffmRelaxationCounter = 0;
  s.ffmLastLevel = -1;
  if (f.ffm) {
    if (f.seaSnake) return error(TMsg::kFfmWithSeaSnake);
    static constexpr uint8_t kLevels[] = {kFfmCheckOnly, kFfmMate1, kFfmMate2,
                                          kFfmMate3,     kFfmMate4, kFfmMate5};
    uint8_t level = kLevels[f.ffmThreat >= 0 && f.ffmThreat <= 5 ? f.ffmThreat : 0];
    // The captures next to the black king widen #1 and #2 only.
    if (f.ffmAddCaptures && (level == kFfmMate1 || level == kFfmMate2)) ++level;
    int relaxations = 0;
    if (f.letRelaxFfm) {
      const std::optional<int> n = NumberOrZero(f.ffmRelaxations);
      if (!n || *n < 0) return error(TMsg::kFfmRelaxationsInvalid);
      const int max = kFfmMate5 - level;
      if (*n > max)
        return error(TMsg::kFfmRelaxationsTooLarge) + " " + std::to_string(max) +
               error(TMsg::kFfmRelaxationsTooLargeEnd);
      relaxations = *n;
    }
    if (relaxations > 0 && !f.relaxation) {
      if (note)
        *note = error(TMsg::kFfmRelaxationsIgnored) + std::to_string(relaxations) +
                error(TMsg::kFfmRelaxationsIgnoredEnd);
      relaxations = 0;
    }
    s.ffmLevel = s.ffmInitialLevel = level;
    s.ffmRelaxations = relaxations;
    using F = THeuristicSelection;
    s.ffmWithOtherHeuristics = f.ffmCompany == F::kFfmWithOthers ? 1 : f.ffmCompany == F::kFfmAlone ? 0 : -1;
    s.ffmPreliminary = f.ffmCompany == F::kFfmPartiallyWithEdgePass;
    set |= SH_FINDFORCEDMATE;
  }

  const std::optional<int> depth = NumberOrZero(f.lfqmDepth);
  if (!depth || *depth < 0 || *depth > 9) return error(TMsg::kLfqmDepth);
  s.lfqmDepth = static_cast<uint16_t>(*depth);

  if (out) *out = std::move(s);
  return {};
}

}  // namespace ostravel
