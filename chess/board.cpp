#include "chess/board.h"

#include <cstdlib>

#include "chess/movegen_impl.h"
#include "chess/tables.h"

namespace ostravel {

using namespace tables;

// ---------------------------------------------------------------- pieces

char PieceLetter(uint8_t code) {
  char c;
  switch (code & kKindMask) {
    case kKing:
      c = 'K';
      break;
    case kPawn:
      c = 'P';
      break;
    case kBishop:
      c = 'B';
      break;
    case kRook:
      c = 'R';
      break;
    case kQueen:
      c = 'Q';
      break;
    case kKnight:
      c = 'N';
      break;
    default:
      return 'E';
  }
  return (code & kBlack) ? static_cast<char>(c - 'A' + 'a') : c;
}

char KindLetter(uint8_t kind) {
  switch (kind & kKindMask) {
    case kKing:
      return 'K';
    case kPawn:
      return ' ';
    case kBishop:
      return 'B';
    case kRook:
      return 'R';
    case kQueen:
      return 'Q';
    case kKnight:
      return 'N';
    default:
      return 'E';
  }
}

uint8_t KindFromLetter(char letter) {
  switch (letter) {
    case 'K':
    case 'k':
      return kKing;
    case 'P':
    case 'p':
      return kPawn;
    case 'B':
    case 'b':
      return kBishop;
    case 'R':
    case 'r':
      return kRook;
    case 'Q':
    case 'q':
      return kQueen;
    case 'N':
    case 'n':
      return kKnight;
    default:
      return 0;
  }
}

uint8_t CountSlotOf(uint8_t code) {
  const uint8_t side = (code & kBlack) ? 1 : 0;
  switch (code & kKindMask) {
    case kQueen:
      return kCntWQ + side;
    case kRook:
      return kCntWR + side;
    case kBishop:
      return kCntWB + side;
    case kKnight:
      return kCntWN + side;
    case kPawn:
      return kCntWP + side;
    default:
      return 0xFF;
  }
}

// ---------------------------------------------------------------- squares

std::string SquareToString(int sq) {
  if (!IsOnBoard(sq)) return "??";
  return std::string{static_cast<char>('a' + (sq & 7)), static_cast<char>('1' + (sq >> 3))};
}

int String2Square(const char* text) {
  if (!text) throw ChessException("Error in String2Square()");
  char f = text[0];
  if (f >= 'A' && f <= 'H') f = static_cast<char>(f - 'A' + 'a');
  if (f < 'a' || f > 'h') throw ChessException("Error in String2Square()");
  const char r = text[1];
  if (r < '1' || r > '8') throw ChessException("Error in String2Square()");
  return (r - '1') * 8 + (f - 'a');
}

// ---------------------------------------------------------------- derived state

uint32_t RegisterHash(const uint8_t board[64]) {
  uint32_t h = 0;
  for (int i = 0; i < 64; ++i) h += static_cast<uint32_t>(board[i]) * T.hashWeight[i];
  return h;
}

void ClearBoard(TChessboard& b) {
  std::memset(static_cast<void*>(&b), 0, sizeof b);
  b.whiteKingCheck = b.blackKingCheck = -1;
}

void RecomputeDerived(TChessboard& b) {
  b.occupied[0] = b.occupied[1] = 0;
  std::memset(b.counts, 0, sizeof b.counts);
  b.whiteKingFile = b.whiteKingRank = b.blackKingFile = b.blackKingRank = 0;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = b.board[sq];
    if (!c) continue;
    b.occupied[(c & kBlack) ? 1 : 0] |= Bit(sq);
    if (KindOf(c) == kKing) {
      if (c & kWhite) {
        b.whiteKingFile = static_cast<int8_t>(sq & 7);
        b.whiteKingRank = static_cast<int8_t>(sq >> 3);
      } else {
        b.blackKingFile = static_cast<int8_t>(sq & 7);
        b.blackKingRank = static_cast<int8_t>(sq >> 3);
      }
      continue;
    }
    const uint8_t slot = CountSlotOf(c);
    if (slot != 0xFF) ++b.counts[slot];
  }
  b.regHash = RegisterHash(b.board);
}

// ---------------------------------------------------------------- castling and e.p.

namespace {

// True when some move of the line leading to b (the root's own last move
// excluded) ended on one of the squares in mask.
bool LineTouches(const TChessboard& b, uint64_t mask) {
  for (const TChessboard* p = &b; p->previous; p = p->previous)
    if (mask & Bit(p->lastMove.to)) return true;
  return false;
}

}  // namespace

uint8_t CastlingRights(const TChessboard& b) {
  const TTaskContext* ctx = b.context;
  if (!ctx || !ctx->rootCastling) return 0;
  const uint8_t* init = ctx->initialBoard;
  uint8_t rights = 0;
  // A king or rook that stands on its home square now and did at the start can
  // only have moved if some move of the line came back onto that square.
  if (b.board[kE1] == WK && init[kE1] == WK && (ctx->rootCastling & (kCastleWK | kCastleWQ))) {
    if ((ctx->rootCastling & kCastleWK) && b.board[kH1] == WR && init[kH1] == WR) rights |= kCastleWK;
    if ((ctx->rootCastling & kCastleWQ) && b.board[kA1] == WR && init[kA1] == WR) rights |= kCastleWQ;
  }
  if (b.board[kE8] == BK && init[kE8] == BK && (ctx->rootCastling & (kCastleBK | kCastleBQ))) {
    if ((ctx->rootCastling & kCastleBK) && b.board[kH8] == BR && init[kH8] == BR) rights |= kCastleBK;
    if ((ctx->rootCastling & kCastleBQ) && b.board[kA8] == BR && init[kA8] == BR) rights |= kCastleBQ;
  }
  if (!rights || !b.previous) return rights;
  if (rights & (kCastleWK | kCastleWQ)) {
    if (LineTouches(b, Bit(kE1))) rights &= ~(kCastleWK | kCastleWQ);
    if ((rights & kCastleWK) && LineTouches(b, Bit(kH1))) rights &= ~kCastleWK;
    if ((rights & kCastleWQ) && LineTouches(b, Bit(kA1))) rights &= ~kCastleWQ;
  }
  if (rights & (kCastleBK | kCastleBQ)) {
    if (LineTouches(b, Bit(kE8))) rights &= ~(kCastleBK | kCastleBQ);
    if ((rights & kCastleBK) && LineTouches(b, Bit(kH8))) rights &= ~kCastleBK;
    if ((rights & kCastleBQ) && LineTouches(b, Bit(kA8))) rights &= ~kCastleBQ;
  }
  return rights;
}

int EnPassantTarget(const TChessboard& b) {
  if (b.previous) {
    const TMove m = b.lastMove;
    if (b.WhiteToMove()) {
      if (b.board[m.to] == BP && m.from - m.to == 16 && (m.from >> 3) == 6) return m.to + 8;
    } else {
      if (b.board[m.to] == WP && m.to - m.from == 16 && (m.from >> 3) == 1) return m.from + 8;
    }
    return -1;
  }
  const TTaskContext* ctx = b.context;
  if (!ctx || ctx->rootEpSquare < 0 || b.remainingPlies != b.initialPlies) return -1;
  const int ep = ctx->rootEpSquare;
  // The FEN's square counts only where a double step could just have happened.
  if (b.WhiteToMove()) {
    if ((ep >> 3) == 5 && b.board[ep] == 0 && b.board[ep + 8] == 0 && b.board[ep - 8] == BP) return ep;
  } else {
    if ((ep >> 3) == 2 && b.board[ep] == 0 && b.board[ep - 8] == 0 && b.board[ep + 8] == WP) return ep;
  }
  return -1;
}

// ---------------------------------------------------------------- attacks

bool IsSquareAttackedByWhite(const TChessboard& b, int file, int rank) {
  return detail::AttackedBy<kWhite>(b, rank * 8 + file, b.occupied[0] | b.occupied[1]);
}
bool IsSquareAttackedByBlack(const TChessboard& b, int file, int rank) {
  return detail::AttackedBy<kBlack>(b, rank * 8 + file, b.occupied[0] | b.occupied[1]);
}
bool IsSquareAttackedBy(const TChessboard& b, int sq, uint8_t colour) {
  const uint64_t occ = b.occupied[0] | b.occupied[1];
  return colour == kWhite ? detail::AttackedBy<kWhite>(b, sq, occ) : detail::AttackedBy<kBlack>(b, sq, occ);
}

bool IsKingAttacked(const TChessboard& b, uint8_t colour) {
  const uint64_t occ = b.occupied[0] | b.occupied[1];
  return colour == kWhite ? detail::AttackedBy<kBlack>(b, b.WhiteKingSquare(), occ)
                          : detail::AttackedBy<kWhite>(b, b.BlackKingSquare(), occ);
}

int WhiteAttackers(const TChessboard& b, int file, int rank, uint8_t* out) {
  const int sq = rank * 8 + file;
  const uint64_t occ = b.occupied[0] | b.occupied[1];
  int n = 0;
  if (std::abs(b.whiteKingFile - file) <= 1 && std::abs(b.whiteKingRank - rank) <= 1 &&
      !(b.whiteKingFile == file && b.whiteKingRank == rank))
    out[n++] = static_cast<uint8_t>(b.WhiteKingSquare());
  if (rank >= 2) {
    if (file > 0 && b.board[sq - 9] == WP) out[n++] = static_cast<uint8_t>(sq - 9);
    if (file < 7 && b.board[sq - 7] == WP) out[n++] = static_cast<uint8_t>(sq - 7);
  }
  for (int i = 0; i < T.knightN[sq]; ++i)
    if (b.board[T.knightSq[sq][i]] == WN) out[n++] = T.knightSq[sq][i];
  for (int d = 0; d < 8; ++d) {
    const int s = FirstBlocker(sq, d, occ);
    if (s < 0) continue;
    const uint8_t mask = d < 4 ? (kWhite | kRook) : (kWhite | kBishop);
    if ((b.board[s] & mask) == mask) out[n++] = static_cast<uint8_t>(s);
  }
  return n;
}

// ---------------------------------------------------------------- generation

int GenerateWhitePieceMoves(const TChessboard& b, int sq, TMove* out) {
  return detail::PieceMoves<kWhite>(b, sq, out, EnPassantTarget(b), -1);
}
int GenerateBlackPieceMoves(const TChessboard& b, int sq, TMove* out) {
  return detail::PieceMoves<kBlack>(b, sq, out, EnPassantTarget(b), -1);
}

int GeneratePseudoLegalMoves(const TChessboard& b, TMove* out) {
  return b.WhiteToMove() ? detail::PseudoLegal<kWhite>(b, out) : detail::PseudoLegal<kBlack>(b, out);
}

int GenerateLegalMoves(const TChessboard& b, TMove* out) {
  return b.WhiteToMove() ? detail::Legal<kWhite>(b, out) : detail::Legal<kBlack>(b, out);
}

int CountLegalMoves(const TChessboard& b) {
  return b.WhiteToMove() ? detail::CountLegal<kWhite, false>(b) : detail::CountLegal<kBlack, false>(b);
}

bool HasLegalMove(const TChessboard& b) {
  return (b.WhiteToMove() ? detail::CountLegal<kWhite, true>(b) : detail::CountLegal<kBlack, true>(b)) != 0;
}

// ---------------------------------------------------------------- making moves

int8_t MakeWhiteMove(TChessboard& next, const TMove& m) {
  return detail::MakeMove<kWhite>(next, m);
}
int8_t MakeBlackMove(TChessboard& next, const TMove& m) {
  return detail::MakeMove<kBlack>(next, m);
}

bool IsLegal(const TChessboard& b, const TMove& m, TChessboard& scratch) {
  if (!b.remainingPlies || !IsOnBoard(m.from) || !IsOnBoard(m.to)) return false;
  const uint8_t mover = b.MoverColour();
  if (!(b.board[m.from] & mover)) return false;
  TMove list[64];
  const int n =
      mover == kWhite ? GenerateWhitePieceMoves(b, m.from, list) : GenerateBlackPieceMoves(b, m.from, list);
  bool found = false;
  for (int i = 0; i < n && !found; ++i) found = list[i].SameAs(m);
  if (!found) return false;
  if (PlayMove(b, scratch, m) < 1) return false;
  return !IsKingAttacked(scratch, mover);
}

bool IsLegal(const TChessboard& b, const TMove& m) {
  TChessboard scratch;
  return IsLegal(b, m, scratch);
}

// ---------------------------------------------------------------- validation

void ValidateAndRecount(TChessboard& b, bool resetScratch) {
  std::memset(b.counts, 0, sizeof b.counts);
  std::memset(b.firstWhitePieces, 0xFF, sizeof b.firstWhitePieces);
  b.noPromotion = 1;
  b.occupied[0] = b.occupied[1] = 0;
  int whiteKings = 0, blackKings = 0;
  int rooks = 0, bishops = 0, knights = 0, queens = 0;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = b.board[sq];
    if (!c) continue;
    if (KindOf(c) == kPawn && ((sq >> 3) == 0 || (sq >> 3) == 7))
      throw ChessException("Pawns cannot occupy 1st nor 8th line of the chessboard.");
    if (!IsValidPieceCode(c)) throw ChessException("Unknown figure code");
    b.occupied[(c & kBlack) ? 1 : 0] |= Bit(sq);
    if (KindOf(c) == kKing) {
      if (c & kWhite) {
        ++whiteKings;
        b.whiteKingFile = static_cast<int8_t>(sq & 7);
        b.whiteKingRank = static_cast<int8_t>(sq >> 3);
      } else {
        ++blackKings;
        b.blackKingFile = static_cast<int8_t>(sq & 7);
        b.blackKingRank = static_cast<int8_t>(sq >> 3);
      }
      continue;
    }
    ++b.counts[CountSlotOf(c)];
    if (!b.noPromotion || !(c & kWhite)) continue;
    // While White's material may all stem from the initial set, remember the
    // first pieces; material beyond that proves a promotion.
    switch (KindOf(c)) {
      case kQueen:
        if (queens++ == 0)
          b.firstWhitePieces[6] = static_cast<uint8_t>(sq);
        else
          b.noPromotion = 0;
        break;
      case kRook:
        if (rooks < 2)
          b.firstWhitePieces[rooks] = static_cast<uint8_t>(sq);
        else
          b.noPromotion = 0;
        ++rooks;
        break;
      case kBishop:
        if (bishops == 0) {
          b.firstWhitePieces[2] = static_cast<uint8_t>(sq);
        } else if (bishops == 1) {
          const int first = b.firstWhitePieces[2];
          const bool sameColour = (((first >> 3) + (first & 7)) & 1) == (((sq >> 3) + (sq & 7)) & 1);
          if (sameColour)
            b.noPromotion = 0;
          else
            b.firstWhitePieces[3] = static_cast<uint8_t>(sq);
        } else {
          b.noPromotion = 0;
        }
        ++bishops;
        break;
      case kKnight:
        if (knights < 2)
          b.firstWhitePieces[4 + knights] = static_cast<uint8_t>(sq);
        else
          b.noPromotion = 0;
        ++knights;
        break;
      default:
        break;
    }
  }
  if (whiteKings != 1 || blackKings != 1) throw ChessException("Illegal number of kings.");
  b.regHash = RegisterHash(b.board);
  b.whiteKingCheck = IsKingAttacked(b, kWhite) ? 1 : -1;
  b.blackKingCheck = IsKingAttacked(b, kBlack) ? 1 : -1;
  if (b.whiteKingCheck >= 0 && b.blackKingCheck >= 0) throw ChessException("Both kings attacked.");
  if (resetScratch) {
    b.scratch = 0;
    b.heurFlags[0] = b.heurFlags[1] = 0;
    b.heurMode = 0;
  }
}

}  // namespace ostravel
