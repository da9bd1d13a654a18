#pragma once
// The answer of the online tablebase for one position (wdl, distances and the
// value of each move), its reading from the service's text and its binary form
// in the ".lichess" cache files.
//
// Every wdl here is seen from the side to move of the position it describes:
// a move entry's wdl is that of the position after the move, so for the
// mover 1 means the opponent wins.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ostravel {

inline constexpr int8_t kWdlUnknown = -2;
inline constexpr int16_t kDtmAbsent = -32768;
inline constexpr uint8_t kDtzUnknown = 255;
inline constexpr uint8_t kDtzCap = 254;
// More move entries than any position can have: the answer is not usable.
inline constexpr int kMaxAnswerMoves = 256;

// One move of an answer: 8 bytes in the cache file (from, to, promotion,
// reserved, wdl, dtm low, dtm high, dtz).
struct TLiChessMove {
  uint8_t from = 0;
  uint8_t to = 0;
  uint8_t promotion = 0;  // 0, or the piece code of the White queen, rook, bishop or knight
  uint8_t reserved = 0;
  int8_t wdl = kWdlUnknown;
  int16_t dtm = kDtmAbsent;
  uint8_t dtz = kDtzUnknown;

  friend bool operator==(const TLiChessMove&, const TLiChessMove&) = default;
};

// The answer record. The placeholder (the default) stands in the table while
// a lookup is in flight, and is also what an unusable answer comes out as.
struct CLiChess {
  int8_t wdl = kWdlUnknown;  // 1 win, 0 draw, -1 loss for the side to move
  int16_t dtm = kDtmAbsent;  // plies to mate as the service gives it
  uint8_t dtz = kDtzUnknown;
  int16_t moveCount = -1;  // -1: no usable move list
  std::vector<TLiChessMove> moves;

  bool IsUnknown() const {
    return wdl == kWdlUnknown && dtm == kDtmAbsent && dtz == kDtzUnknown && moveCount == -1;
  }
  friend bool operator==(const CLiChess&, const CLiChess&) = default;
};

// Reads an answer of the service. The text is scanned for the keys, not read
// as a JSON document, so that odd or cut answers come out as described in the
// header comment of the implementation rather than as an exception.
CLiChess ParseLiChessAnswer(std::string_view text);

// The FEN with every blank replaced by "_" (the cache key).
std::string LiChessKey(std::string_view fen);
// The in-memory table's key: the cache key cut at its last "_".
std::string LiChessTableKey(std::string_view cacheKey);

// One record of a ".lichess" file: L + 8 + 8 * n bytes. Returns false (and
// writes nothing) for a key longer than 255 bytes or an empty key, or a
// record whose move count does not match its moves.
bool AppendCacheRecord(std::string& out, std::string_view key, const CLiChess& rec);

struct TCacheEntry {
  std::string key;  // the cache key as stored
  CLiChess record;
};

// Reads the records of a ".lichess" file's bytes into *entries, in order.
// Stops at the first record that is cut short or damaged, sets *damage to why
// (with its byte offset) and returns false; the records before it are kept.
bool ReadCacheRecords(std::string_view bytes, std::vector<TCacheEntry>* entries, std::string* damage);

}  // namespace ostravel
