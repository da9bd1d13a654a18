#pragma once
// The LZ4 container of ".tmpReg" files: LZ4 blocks (block format, not the
// LZ4 frame format) behind a small header of the program's own.
//
// One-block container, 16-byte header, then the block:
//   0  magic "LZ4 " ("LZ4e" and "LZ42" are read too)
//   4  uncompressed size      ("LZ42": taken from offset 12 instead)
//   8  total size of this block, header included
//   12 CRC-32 of the compressed bytes, 0 when unchecked
//                             ("LZ42": the uncompressed size)
// Several-block container, 32-byte header, then one-block containers one
// after another, each one's offset-8 field giving the distance to the next:
//   0  magic "lz4 " ("lz4e" is read too)
//   4  total uncompressed size
//   12 number of blocks
// All integers little-endian, 32 bits. The decompressed blocks are
// concatenated in file order.
#include <cstddef>
#include <cstdint>
#include <memory>

namespace ostravel {

inline constexpr std::size_t kLz4BlockHeaderBytes = 16;
inline constexpr std::size_t kLz4MultiHeaderBytes = 32;
// Inputs from this size on are split into several blocks compressed on
// several threads (when more than one processor is available).
inline constexpr uint64_t kLz4MultiBlockMinInput = 0x200000;
// Sizes are 32-bit fields: larger inputs are not compressed.
inline constexpr uint64_t kLz4MaxContainerInput = (uint64_t{1} << 32) - 1;

inline constexpr const char* kLz4DecompressionError = "An error occurred during LZ4 decompression.";
inline constexpr const char* kLz4ChecksumError = "The file is damaged: a compressed block fails its check.";

enum class TLz4Magic : uint8_t {
  kNone,
  kOneBlock,    // "LZ4 "
  kOneBlockE,   // "LZ4e": read only
  kOneBlock2,   // "LZ42": read only, uncompressed size at offset 12
  kMultiBlock,  // "lz4 "
  kMultiBlockE  // "lz4e": read only
};

// What the first four bytes of a file say (kNone: not a container).
TLz4Magic Lz4ContainerMagic(const uint8_t* first4);

// Output buffer of one block: input length x 105 / 100 + 16 (more than
// LZ4's own worst case).
constexpr uint64_t Lz4BlockBufferBytes(uint64_t inputBytes) {
  return inputBytes * 105 / 100 + 16;
}

// An uninitialised byte buffer: large outputs are not zeroed before use.
struct TByteBuffer {
  std::unique_ptr<uint8_t[]> bytes;
  uint64_t size = 0;

  const uint8_t* data() const { return bytes.get(); }
  uint8_t* data() { return bytes.get(); }
  bool empty() const { return size == 0; }
};

// Compresses size bytes into a container: "LZ4 " below kLz4MultiBlockMinInput
// or with one thread, "lz4 " otherwise. threads: 0 = the processors
// available. Returns an empty buffer ("produced nothing") when the input is
// 4 GiB or more, when memory runs short, or when LZ4 fails.
TByteBuffer Lz4CompressContainer(const uint8_t* data, uint64_t size, unsigned threads = 0);

// Decompresses a whole container (size bytes starting with one of the
// magics). Every size field is checked against the data actually present
// before anything is allocated; a malformed container throws ChessException
// with kLz4DecompressionError.
TByteBuffer Lz4DecompressContainer(const uint8_t* data, uint64_t size);

}  // namespace ostravel
