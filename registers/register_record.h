#pragma once
// The record of the temporary register and the board comparisons its table
// is built on.
#include <cstdint>
#include <cstring>

namespace ostravel {

// One analysed position: the 64 piece-code bytes and two ply counts. Packed so
// that a chunk of eight records stays at 544 bytes and millions of records fit.
#pragma pack(push, 1)
struct TRegisterRecord {
  uint8_t board[64];
  uint16_t nMovesMate;  // exact part: shortest proved mate in plies (0 none); sub-register: "doubtful"
  uint16_t
      nMovesNoMate;  // exact part: longest proved no-mate in plies (0 none); sub-register: "not doubtful"
};
#pragma pack(pop)
static_assert(sizeof(TRegisterRecord) == 68);

// Bucket counts a register is created with (small, medium and large problems).
constexpr uint32_t kSmallRegisterBuckets = 16384;
constexpr uint32_t kMediumRegisterBuckets = 524288;
constexpr uint32_t kLargeRegisterBuckets = 4194304;

namespace regdetail {

inline uint64_t LoadWord(const uint8_t* p) {
  uint64_t w;
  std::memcpy(&w, p, 8);
  return w;
}

// The 64 bytes of a probed board, loaded once and compared against many records.
struct TBoardKey {
  uint64_t w[8];
  explicit TBoardKey(const uint8_t* board) {
    for (int i = 0; i < 8; ++i) w[i] = LoadWord(board + 8 * i);
  }
  // Branch-free: all eight words are cheaper to compare than to predict.
  bool Equals(const uint8_t* board) const {
    uint64_t diff = 0;
    for (int i = 0; i < 8; ++i) diff |= w[i] ^ LoadWord(board + 8 * i);
    return diff == 0;
  }
  // Byte-string order (as memcmp), the order of the overflow arrays.
  int Compare(const uint8_t* board) const {
    for (int i = 0; i < 8; ++i) {
      const uint64_t b = LoadWord(board + 8 * i);
      if (w[i] != b) return __builtin_bswap64(w[i]) < __builtin_bswap64(b) ? -1 : 1;
    }
    return 0;
  }
};

}  // namespace regdetail
}  // namespace ostravel
