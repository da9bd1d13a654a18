#include "chess/notation.h"

#include <cstdio>
#include <cstring>

namespace ostravel {

std::string MoveToText(const TMove& m, uint8_t pieceCode, bool capture) {
  if (m.from == m.to) return "-";
  if (!IsOnBoard(m.from) || !IsOnBoard(m.to)) return "";
  if (KindOf(pieceCode) == kKing) {
    const int df = (m.to & 7) - (m.from & 7);
    if (df >= 2 || df <= -2) return (m.to & 7) == 6 ? "0-0" : "0-0-0";
  }
  char buf[16];
  std::snprintf(buf, sizeof buf, "%c%d%c%c%d", 'a' + (m.from & 7), (m.from >> 3) + 1, capture ? ':' : '-',
                'a' + (m.to & 7), (m.to >> 3) + 1);
  std::string s = buf;
  if (m.promotion) {
    s += KindLetter(m.promotion);
  } else if (KindOf(pieceCode) != kPawn) {
    s.insert(s.begin(), KindLetter(pieceCode));
  }
  return s;
}

std::string MoveToText(const TChessboard& before, const TMove& m) {
  const uint8_t piece = before.board[m.from & 63];
  bool capture = before.board[m.to & 63] != 0;
  if (KindOf(piece) == kPawn && ((m.from ^ m.to) & 7)) capture = true;  // en passant
  return MoveToText(m, piece, capture);
}

std::string MoveToPlainText(const TMove& m) {
  char buf[16];
  if (m.promotion)
    std::snprintf(buf, sizeof buf, "%c%d-%c%d%c", 'a' + (m.from & 7), (m.from >> 3) + 1, 'a' + (m.to & 7),
                  (m.to >> 3) + 1, KindLetter(m.promotion));
  else
    std::snprintf(buf, sizeof buf, "%c%d-%c%d", 'a' + (m.from & 7), (m.from >> 3) + 1, 'a' + (m.to & 7),
                  (m.to >> 3) + 1);
  return buf;
}

std::string MoveToUci(const TMove& m) {
  std::string s = SquareToString(m.from) + SquareToString(m.to);
  if (m.promotion) s += static_cast<char>(KindLetter(m.promotion) - 'A' + 'a');
  return s;
}

void CheckFullMoveSyntax(const std::string& text) {
  if (text.empty()) throw ChessException("Empty string");
  if (text == "0-0" || text == "0-0-0") return;
  if (text.size() < 5 || text.size() > 7) throw ChessException("Improper string length");
  size_t i = 0;
  if (text[0] == 'K' || text[0] == 'Q' || text[0] == 'R' || text[0] == 'B' || text[0] == 'N') i = 1;
  auto file = [](char c) { return c >= 'a' && c <= 'h'; };
  auto rank = [](char c) { return c >= '1' && c <= '8'; };
  if (text.size() < i + 5 || !file(text[i]) || !rank(text[i + 1]) ||
      (text[i + 2] != '-' && text[i + 2] != ':' && text[i + 2] != 'x') || !file(text[i + 3]) ||
      !rank(text[i + 4]))
    throw ChessException("Improper full description of move");
  const size_t rest = text.size() - (i + 5);
  if (rest > 1) throw ChessException("Improper full description of move");
}

namespace {

// Parses without the legality step; 0 quiet failure, 1 parsed, 2 parsed but
// the move is not among the legal ones.
int ParseFullMoveImpl(const TChessboard& b, const char* text, TMove& out) {
  if (!text || !b.remainingPlies) return 0;
  while (*text == ' ' || *text == '\t') ++text;
  const bool white = b.WhiteToMove();
  const uint8_t us = white ? kWhite : kBlack;
  TMove m{};
  if (text[0] == '0') {
    const int home = white ? kE1 : kE8;
    if (std::strncmp(text, "0-0-0", 6) == 0)
      m = TMove{static_cast<uint8_t>(home), static_cast<uint8_t>(home - 2), 0, 0};
    else if (std::strncmp(text, "0-0", 4) == 0)
      m = TMove{static_cast<uint8_t>(home), static_cast<uint8_t>(home + 2), 0, 0};
    else
      return 0;
  } else {
    const size_t len = std::strlen(text);
    if (len < 5) return 0;
    uint8_t kind = kPawn;
    const char* p = text;
    if (*p == 'K' || *p == 'Q' || *p == 'R' || *p == 'B' || *p == 'N') {
      kind = KindFromLetter(*p);
      ++p;
      if (len < 6) return 0;
    }
    const int ff = p[0] - 'a', fr = p[1] - '1', tf = p[3] - 'a', tr = p[4] - '1';
    if (ff < 0 || ff > 7 || fr < 0 || fr > 7 || tf < 0 || tf > 7 || tr < 0 || tr > 7) return 0;
    const int from = fr * 8 + ff, to = tr * 8 + tf;
    if (b.board[from] != (us | kind)) return 0;
    if (b.board[to] & us) return 0;
    const int df = tf - ff, dr = tr - fr;
    if (df == 0 || dr == 0 || df == dr || df == -dr) {
      const int step = (dr > 0 ? 8 : dr < 0 ? -8 : 0) + (df > 0 ? 1 : df < 0 ? -1 : 0);
      for (int s = from + step; s != to; s += step)
        if (b.board[s]) return 0;
    }
    uint8_t promo = 0;
    const char pc = p[5];
    if (pc && pc != 'x' && ((pc >= 'A' && pc <= 'Z') || (pc >= 'a' && pc <= 'z'))) {
      promo = KindFromLetter(pc);
      if (!promo || promo == kKing || promo == kPawn) return 0;
    }
    const bool lastRank = kind == kPawn && tr == (white ? 7 : 0);
    if (lastRank != (promo != 0)) return 0;
    m = TMove{static_cast<uint8_t>(from), static_cast<uint8_t>(to), promo, 0};
  }
  TMove legal[kMaxMoves];
  const int n = GenerateLegalMoves(b, legal);
  for (int i = 0; i < n; ++i)
    if (legal[i].SameAs(m)) {
      out = legal[i];
      return 1;
    }
  out = m;
  return 2;
}

}  // namespace

bool ParseFullMove(const TChessboard& b, const char* text, TMove& out) {
  const int r = ParseFullMoveImpl(b, text, out);
  if (r == 2) throw ChessException(std::string("Invalid move in MakeMove() : ") + text);
  return r == 1;
}

const TChessboard* MakeMoveFromText(const TChessboard& b, const char* text, TChessboard& slot,
                                    const std::function<void(const TMove&, int)>& onMove) {
  TMove m;
  if (!ParseFullMove(b, text, m)) return nullptr;
  if (PlayMove(b, slot, m) < 1) return nullptr;
  if (onMove) onMove(m, -1);
  return &slot;
}

bool ParseUciMove(const TChessboard& b, const std::string& text, TMove& out) {
  if (text.size() != 4 && text.size() != 5) return false;
  int from, to;
  try {
    from = String2Square(text.c_str());
    to = String2Square(text.c_str() + 2);
  } catch (const ChessException&) {
    return false;
  }
  uint8_t promo = 0;
  if (text.size() == 5) {
    promo = KindFromLetter(text[4]);
    if (!promo || promo == kKing || promo == kPawn) return false;
  }
  TMove legal[kMaxMoves];
  const int n = GenerateLegalMoves(b, legal);
  for (int i = 0; i < n; ++i)
    if (legal[i].from == from && legal[i].to == to && legal[i].promotion == promo) {
      out = legal[i];
      return true;
    }
  return false;
}

}  // namespace ostravel

namespace ostravel {

TMove ReadUserMove(const TChessboard& b, const std::string& input) {
  std::string text = input;
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '+' ||
                           text.back() == '#' || text.back() == '!' || text.back() == '?'))
    text.pop_back();
  size_t start = text.find_first_not_of(" \t");
  text = start == std::string::npos ? std::string() : text.substr(start);
  if (text.empty()) throw ChessException("Empty string");
  for (char& c : text)
    if (c == 'O' || c == 'o') c = '0';  // 0-0 typed with letters
  TMove m{};
  if (text == "0-0" || text == "0-0-0") {
    if (ParseFullMoveImpl(b, text.c_str(), m) == 1) return m;
    throw ChessException("Illegal move");
  }
  // Squares named in the text decide between short and full notation.
  int squares = 0;
  for (size_t i = 0; i + 1 < text.size(); ++i)
    if (text[i] >= 'a' && text[i] <= 'h' && text[i + 1] >= '1' && text[i + 1] <= '8') ++squares, ++i;
  if (squares == 1) throw ChessException("Short notation not supported.");
  if (squares != 2) throw ChessException("Improper move description");
  const bool uciForm = text.size() >= 4 && text.size() <= 5 && text[2] >= 'a' && text[2] <= 'h';
  if (uciForm) {
    if (ParseUciMove(b, text, m)) return m;
    throw ChessException("Illegal move");
  }
  try {
    CheckFullMoveSyntax(text);
  } catch (const ChessException&) {
    throw ChessException("Improper move description");
  }
  switch (ParseFullMoveImpl(b, text.c_str(), m)) {
    case 1:
      return m;
    default:
      throw ChessException("Illegal move");
  }
}

}  // namespace ostravel
