#pragma once
// The position record and everything that changes it: piece codes, moves, the
// position stack discipline (copy-make), move makers, attack tests, move
// generation in the documented order, legality and validation.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace ostravel {

// ---------------------------------------------------------------- errors

// Errors of the chess model carry an English message text.
class ChessException : public std::runtime_error {
 public:
  explicit ChessException(const std::string& msg) : std::runtime_error(msg) {}
};

// ---------------------------------------------------------------- pieces

constexpr uint8_t kWhite = 0x40;
constexpr uint8_t kBlack = 0x80;
constexpr uint8_t kColourMask = 0xC0;
constexpr uint8_t kKindMask = 0x1F;

enum PieceKind : uint8_t { kKing = 1, kPawn = 2, kBishop = 4, kRook = 8, kQueen = 12, kKnight = 16 };

constexpr uint8_t WK = 0x41, WP = 0x42, WB = 0x44, WR = 0x48, WQ = 0x4C, WN = 0x50;
constexpr uint8_t BK = 0x81, BP = 0x82, BB = 0x84, BR = 0x88, BQ = 0x8C, BN = 0x90;

constexpr uint8_t ColourOf(uint8_t code) {
  return code & kColourMask;
}
constexpr uint8_t KindOf(uint8_t code) {
  return code & kKindMask;
}
constexpr bool IsValidPieceCode(uint8_t c) {
  const uint8_t col = c & kColourMask, k = c & kKindMask;
  return (col == kWhite || col == kBlack) && (c & 0x20) == 0 &&
         (k == kKing || k == kPawn || k == kBishop || k == kRook || k == kQueen || k == kKnight);
}

// FEN letter of a piece code ('E' for an invalid kind), upper case for White.
char PieceLetter(uint8_t code);
// Letter of a piece kind as used in move text: K Q R B N, ' ' for a pawn, 'E' otherwise.
char KindLetter(uint8_t kind);
// Kind of an upper-case or lower-case piece letter (K Q R B N P), 0 when none.
uint8_t KindFromLetter(char letter);

// ---------------------------------------------------------------- squares

constexpr int SquareOf(int file, int rank) {
  return rank * 8 + file;
}
constexpr int FileOf(int sq) {
  return sq & 7;
}
constexpr int RankOf(int sq) {
  return sq >> 3;
}
constexpr bool IsOnBoard(int sq) {
  return (sq & ~63) == 0;
}

constexpr int kA1 = 0, kB1 = 1, kC1 = 2, kD1 = 3, kE1 = 4, kF1 = 5, kG1 = 6, kH1 = 7;
constexpr int kA8 = 56, kB8 = 57, kC8 = 58, kD8 = 59, kE8 = 60, kF8 = 61, kG8 = 62, kH8 = 63;

// "e4" style text of a square; "??" off the board.
std::string SquareToString(int sq);
// Reads "e4" (file letter a-h in either case, rank 1-8); throws "Error in String2Square()".
int String2Square(const char* text);

// ---------------------------------------------------------------- moves

struct TMove {
  uint8_t from = 0;
  uint8_t to = 0;
  uint8_t promotion = 0;  // piece kind of a promotion, 0 otherwise
  uint8_t enPassant = 0;  // set by the move maker for an en-passant capture

  constexpr bool IsNull() const { return from == to; }
  constexpr bool SameAs(const TMove& o) const {
    return from == o.from && to == o.to && (promotion & kKindMask) == (o.promotion & kKindMask);
  }
  friend constexpr bool operator==(const TMove& a, const TMove& b) {
    return a.from == b.from && a.to == b.to && a.promotion == b.promotion && a.enPassant == b.enPassant;
  }
};
static_assert(sizeof(TMove) == 4);

// Longest possible list of moves of one position.
constexpr int kMaxMoves = 256;

// ---------------------------------------------------------------- task context

// Castling-right bits.
constexpr uint8_t kCastleWK = 1, kCastleWQ = 2, kCastleBK = 4, kCastleBQ = 8;

// What a whole task (a problem being solved) shares: its initial board, and
// the castling rights and en-passant square its FEN grants at the root. Every
// position of the task points here; from the root on the rights follow from the
// line of play.
struct TTaskContext {
  uint8_t initialBoard[64] = {};
  uint8_t rootCastling = 0;  // kCastle* bits granted at the root (already checked against the board)
  int8_t rootEpSquare = -1;  // e.p. target square of the root (the square passed over), -1 none
};

// ---------------------------------------------------------------- position

// Piece-count slots, in the documented order.
enum CountSlot : uint8_t {
  kCntWQ = 0,
  kCntBQ,
  kCntWR,
  kCntBR,
  kCntWB,
  kCntBB,
  kCntWN,
  kCntBN,
  kCntWP,
  kCntBP,
  kCountSlots
};
// Count slot of a piece code (kings have none: 0xFF).
uint8_t CountSlotOf(uint8_t code);

struct TChessboard {
  uint8_t board[64];

  // Search scratch, kept in step with board by every move maker:
  uint64_t occupied[2];  // occupancy masks, [0] White, [1] Black
  uint32_t regHash;      // register hash: sum of board[i] * (i + 1)^2 (unsigned, wraps)
  uint32_t scratch;      // free for the search

  TChessboard* previous;  // position this one was reached from; null at the root of a line
  const TTaskContext* context;
  TMove lastMove;
  uint16_t remainingPlies;  // odd: White to move
  uint16_t initialPlies;
  uint16_t heurFlags[2];
  uint8_t heurMode;
  int8_t whiteKingFile, whiteKingRank;
  int8_t blackKingFile, blackKingRank;
  int8_t whiteKingCheck, blackKingCheck;  // negative when not in check
  uint8_t counts[kCountSlots];
  uint8_t firstWhitePieces[7];  // rooks x2, bishops x2, knights x2, queen
  uint8_t noPromotion;

  bool WhiteToMove() const { return (remainingPlies & 1) != 0; }
  uint8_t MoverColour() const { return WhiteToMove() ? kWhite : kBlack; }
  int WhiteKingSquare() const { return whiteKingRank * 8 + whiteKingFile; }
  int BlackKingSquare() const { return blackKingRank * 8 + blackKingFile; }
  int KingSquare(uint8_t colour) const { return colour == kWhite ? WhiteKingSquare() : BlackKingSquare(); }
  int FullMoveNumber() const { return (initialPlies - remainingPlies) / 2 + 1; }
};
static_assert(std::is_trivially_copyable_v<TChessboard>);
static_assert(std::is_standard_layout_v<TChessboard>);
static_assert(offsetof(TChessboard, board) == 0);

// An empty record: empty board, no links, no plies.
void ClearBoard(TChessboard& b);

// Recomputes everything derived from board[] (occupancy, hash, kings, counts);
// no validation. For editing code that writes board[] directly.
void RecomputeDerived(TChessboard& b);

// Register hash of a 64-byte board.
uint32_t RegisterHash(const uint8_t board[64]);

// Sets remainingPlies and initialPlies to n (bit 0 gives the side to move).
inline void SetRootPlies(TChessboard& b, uint16_t n) {
  b.remainingPlies = b.initialPlies = n;
}

// ---------------------------------------------------------------- castling and e.p.

// Castling rights of the position, derived from the board, the task's initial
// board and root rights, and the line of play (kCastle* bits).
uint8_t CastlingRights(const TChessboard& b);

// The square a pawn of the side to move may capture onto en passant, or -1.
// During play it follows from the last move (a double step of the opposing
// pawn); at the root of the task it comes from the task's FEN.
int EnPassantTarget(const TChessboard& b);

// ---------------------------------------------------------------- attacks

bool IsSquareAttackedByWhite(const TChessboard& b, int file, int rank);
bool IsSquareAttackedByBlack(const TChessboard& b, int file, int rank);
bool IsSquareAttackedBy(const TChessboard& b, int sq, uint8_t colour);
// Squares of the White pieces attacking a square; returns their number.
int WhiteAttackers(const TChessboard& b, int file, int rank, uint8_t* outSquares);
// True when the king of the given colour is attacked.
bool IsKingAttacked(const TChessboard& b, uint8_t colour);
inline bool InCheck(const TChessboard& b) {
  return IsKingAttacked(b, b.MoverColour());
}

// ---------------------------------------------------------------- move generation

// Pseudo-legal moves of the piece on sq, in the documented order (White's and
// Black's generator alike; 0 when sq holds no piece of that colour).
int GenerateWhitePieceMoves(const TChessboard& b, int sq, TMove* out);
int GenerateBlackPieceMoves(const TChessboard& b, int sq, TMove* out);
// All pseudo-legal moves of the side to move, square by square from a1 up.
int GeneratePseudoLegalMoves(const TChessboard& b, TMove* out);
// All legal moves of the side to move (same order as the pseudo-legal list).
int GenerateLegalMoves(const TChessboard& b, TMove* out);
// Number of legal moves of the side to move (fast path, no move is made).
int CountLegalMoves(const TChessboard& b);
// True when the side to move has at least one legal move.
bool HasLegalMove(const TChessboard& b);
// True when the side to move is checkmated.
inline bool IsCheckmate(const TChessboard& b) {
  return InCheck(b) && !HasLegalMove(b);
}

// ---------------------------------------------------------------- making moves

// Plays m on `next`, which the caller has filled with a copy of `prev`;
// returns a value below 1 when the move was refused (then `next` is unusable).
int8_t MakeWhiteMove(TChessboard& next, const TMove& m);
int8_t MakeBlackMove(TChessboard& next, const TMove& m);

// The copy-make step of the position stack: copies `from` into `to`, links
// previous and plays m with the side's move maker. Returns the maker's value.
inline int8_t PlayMove(const TChessboard& from, TChessboard& to, const TMove& m) {
  std::memcpy(static_cast<void*>(&to), &from, sizeof(TChessboard));
  to.previous = const_cast<TChessboard*>(&from);
  return from.WhiteToMove() ? MakeWhiteMove(to, m) : MakeBlackMove(to, m);
}

// Legality of a move of the side to move (it is generated and does not leave
// the mover's king attacked). `scratch` is the stack slot used to play it.
bool IsLegal(const TChessboard& b, const TMove& m, TChessboard& scratch);
bool IsLegal(const TChessboard& b, const TMove& m);

// ---------------------------------------------------------------- validation

// Validate and recount: counts, kings, check indicators, first White pieces and
// the no-promotion flag. Throws ChessException with the documented messages.
// With resetScratch the search scratch fields are reset as well.
void ValidateAndRecount(TChessboard& b, bool resetScratch = true);

// Copies a whole position record; kept for symmetry with the C-style API.
inline void CopyBoard(TChessboard& dst, const TChessboard& src) {
  std::memcpy(static_cast<void*>(&dst), &src, sizeof(TChessboard));
}

}  // namespace ostravel
