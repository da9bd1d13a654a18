#include "chess/fen.h"

#include <cctype>
#include <cstdio>

namespace ostravel {

namespace {

void SkipBlanks(const std::string& s, size_t& i) {
  while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
}

// The half-move clock and full-move number: at most two decimal fields
// after the e.p. field, then only blanks or a line end. Anything else is not
// a FEN, however long.
bool OnlyMoveCountsLeft(const std::string& s, size_t i) {
  for (int field = 0; field < 2; ++field) {
    SkipBlanks(s, i);
    if (i >= s.size() || s[i] == '\r' || s[i] == '\n') break;
    size_t digits = 0;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) ++digits;
    if (digits == 0 || digits > 6) return false;
    if (i < s.size() && !std::isspace(static_cast<unsigned char>(s[i]))) return false;
  }
  SkipBlanks(s, i);
  while (i < s.size() && (s[i] == '\r' || s[i] == '\n')) ++i;
  return i == s.size();
}

}  // namespace

bool FenToBoard(const std::string& text, TChessboard& out, TTaskContext& ctx) {
  if (text.size() > kMaxFenChars) return false;
  if (text.find('/') == std::string::npos || text.find('{') != std::string::npos) return false;
  ClearBoard(out);
  size_t i = 0;
  SkipBlanks(text, i);
  int rank = 7, file = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') break;
    if (c == '/') {
      if (file == 0) return false;  // an empty rank: "8" says it
      if (--rank < 0) return false;
      file = 0;
      continue;
    }
    if (c >= '1' && c <= '8') {
      file += c - '0';
      if (file > 8) return false;
      continue;
    }
    const uint8_t kind = KindFromLetter(c);
    if (!kind || file > 7) return false;
    out.board[rank * 8 + file] =
        static_cast<uint8_t>((std::isupper(static_cast<unsigned char>(c)) ? kWhite : kBlack) | kind);
    ++file;
  }
  if (rank != 0 || file == 0) return false;  // fewer than eight ranks, or the last one empty

  bool white = true;
  uint8_t rights = 0;
  int ep = -1;
  SkipBlanks(text, i);
  if (i < text.size() && text[i] != '\r' && text[i] != '\n') {
    const char side = text[i++];
    if (side == 'w' || side == 'W')
      white = true;
    else if (side == 'b' || side == 'B')
      white = false;
    else
      return false;
    if (i < text.size() && !std::isspace(static_cast<unsigned char>(text[i]))) return false;
    SkipBlanks(text, i);
    if (i < text.size() && text[i] != '\r' && text[i] != '\n') {
      if (text[i] == '-') {
        ++i;
      } else {
        for (; i < text.size() && !std::isspace(static_cast<unsigned char>(text[i])); ++i) {
          switch (text[i]) {
            case 'K':
              rights |= kCastleWK;
              break;
            case 'Q':
              rights |= kCastleWQ;
              break;
            case 'k':
              rights |= kCastleBK;
              break;
            case 'q':
              rights |= kCastleBQ;
              break;
            default:
              return false;
          }
        }
      }
      SkipBlanks(text, i);
      if (i < text.size() && text[i] != '\r' && text[i] != '\n') {
        if (text[i] == '-') {
          ++i;
        } else {
          if (i + 1 >= text.size()) return false;
          char f = text[i];
          if (f >= 'A' && f <= 'H') f = static_cast<char>(f - 'A' + 'a');
          const char r = text[i + 1];
          if (f < 'a' || f > 'h' || r < '1' || r > '8') return false;
          ep = (r - '1') * 8 + (f - 'a');
          i += 2;
        }
        if (i < text.size() && !std::isspace(static_cast<unsigned char>(text[i]))) return false;
        // The half-move clock and full-move number, when present, carry nothing we keep.
        if (!OnlyMoveCountsLeft(text, i)) return false;
      }
    }
  }

  // Rights need king and rook on their initial squares.
  if (out.board[kE1] != WK) rights &= ~(kCastleWK | kCastleWQ);
  if (out.board[kH1] != WR) rights &= ~kCastleWK;
  if (out.board[kA1] != WR) rights &= ~kCastleWQ;
  if (out.board[kE8] != BK) rights &= ~(kCastleBK | kCastleBQ);
  if (out.board[kH8] != BR) rights &= ~kCastleBK;
  if (out.board[kA8] != BR) rights &= ~kCastleBQ;

  std::memcpy(ctx.initialBoard, out.board, 64);
  ctx.rootCastling = rights;
  ctx.rootEpSquare = static_cast<int8_t>(ep);
  out.context = &ctx;
  SetRootPlies(out, white ? 1 : 2);
  RecomputeDerived(out);
  // A stated e.p. square that no double step can explain is dropped.
  if (ep >= 0 && EnPassantTarget(out) != ep) ctx.rootEpSquare = -1;
  return true;
}

bool FenToTask(const std::string& text, TTaskContext& ctx, bool& whiteToMove) {
  TChessboard b;
  TTaskContext read;
  if (!FenToBoard(text, b, read)) return false;
  ctx = read;
  whiteToMove = b.WhiteToMove();
  return true;
}

std::string BoardToFen(const TChessboard& b, bool boardOnly) {
  std::string s;
  s.reserve(90);
  for (int rank = 7; rank >= 0; --rank) {
    int empty = 0;
    for (int file = 0; file < 8; ++file) {
      const uint8_t c = b.board[rank * 8 + file];
      if (!c) {
        ++empty;
        continue;
      }
      if (empty) s += static_cast<char>('0' + empty), empty = 0;
      if (c == WP)
        s += 'P';
      else if (c == BP)
        s += 'p';
      else
        s += PieceLetter(c);
    }
    if (empty) s += static_cast<char>('0' + empty);
    if (rank) s += '/';
  }
  if (boardOnly) return s;
  s += b.WhiteToMove() ? " w" : " b";
  const uint8_t rights = CastlingRights(b);
  if (!rights) {
    s += " -";
  } else {
    s += ' ';
    if (rights & kCastleWK) s += 'K';
    if (rights & kCastleWQ) s += 'Q';
    if (rights & kCastleBK) s += 'k';
    if (rights & kCastleBQ) s += 'q';
  }
  // During play the square follows the writer's own test on the last move,
  // which pairs the side to move with a pawn of its own colour; at the root
  // the task's e.p. square is written so that a saved problem keeps it.
  int ep = -1;
  if (b.previous) {
    const TMove m = b.lastMove;
    if (b.WhiteToMove()) {
      if (b.board[m.to] == WP && m.to - m.from == 16) ep = m.from + 8;
    } else {
      if (b.board[m.to] == BP && m.from - m.to == 16) ep = m.to + 8;
    }
  } else {
    ep = EnPassantTarget(b);
  }
  if (ep >= 0) {
    s += ' ';
    s += static_cast<char>('A' + (ep & 7));
    s += static_cast<char>('1' + (ep >> 3));
  } else {
    s += " -";
  }
  s += " 0 ";
  s += std::to_string(b.FullMoveNumber());
  return s;
}

std::string TextForMessage(std::string_view text, std::size_t maxChars) {
  std::string out;
  std::size_t shown = 0;
  for (; shown < text.size() && out.size() < maxChars; ++shown) {
    const unsigned char c = static_cast<unsigned char>(text[shown]);
    if (c < 0x20 || c == 0x7F) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\x%02X", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  if (shown < text.size()) out += "... (" + std::to_string(text.size()) + " characters)";
  return out;
}

}  // namespace ostravel
