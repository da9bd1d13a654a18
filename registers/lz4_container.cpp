#include "registers/lz4_container.h"

#include <lz4.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <thread>
#include <vector>

#include "chess/board.h"
#include "config/safe_file.h"

namespace ostravel {

namespace {

// Blocks stay well below LZ4's own input limit.
constexpr uint64_t kMaxBlockInput = uint64_t{1} << 30;
constexpr unsigned kMaxThreads = 64;

uint32_t Get32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}

void Put32(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

[[noreturn]] void Malformed() {
  throw ChessException(kLz4DecompressionError);
}

TByteBuffer Allocate(uint64_t size) {
  TByteBuffer b;
  if (size > SIZE_MAX) return b;
  // An empty result still needs a valid pointer.
  b.bytes.reset(new (std::nothrow) uint8_t[size == 0 ? 1 : static_cast<std::size_t>(size)]);
  if (b.bytes) b.size = size;
  return b;
}

// LZ4 cannot expand a block by more than about 255 times; a size field that
// claims more is a lie, and is refused before anything is allocated.
bool PlausibleExpansion(uint64_t compressed, uint64_t uncompressed) {
  return uncompressed <= compressed * 256 + 256;
}

// Compresses one block as a one-block container into out (room:
// kLz4BlockHeaderBytes + Lz4BlockBufferBytes(size)); returns the container's
// size, 0 on failure.
uint64_t CompressBlock(const uint8_t* in, uint64_t size, uint8_t* out) {
  const uint64_t room = Lz4BlockBufferBytes(size);
  const int n = LZ4_compress_default(
      reinterpret_cast<const char*>(in), reinterpret_cast<char*>(out + kLz4BlockHeaderBytes),
      static_cast<int>(size), static_cast<int>(std::min<uint64_t>(room, LZ4_COMPRESSBOUND(size))));
  if (n <= 0) return 0;
  const uint64_t total = kLz4BlockHeaderBytes + static_cast<uint64_t>(n);
  std::memcpy(out, "LZ4 ", 4);
  Put32(out + 4, size);
  Put32(out + 8, total);
  // Offset 12 is read by no older reader of "LZ4 ": it carries the CRC-32
  // of the compressed bytes (0: unchecked).
  Put32(out + 12, Crc32(0, out + kLz4BlockHeaderBytes, static_cast<std::size_t>(n)));
  return total;
}

struct TBlockHeader {
  uint64_t uncompressed;
  uint64_t total;  // header included
  uint32_t crc;    // of the compressed bytes; 0: none
};

// Reads and checks a one-block header at p, with `available` bytes present.
TBlockHeader ReadBlockHeader(const uint8_t* p, uint64_t available) {
  if (available < kLz4BlockHeaderBytes) Malformed();
  const TLz4Magic magic = Lz4ContainerMagic(p);
  if (magic != TLz4Magic::kOneBlock && magic != TLz4Magic::kOneBlockE && magic != TLz4Magic::kOneBlock2)
    Malformed();
  TBlockHeader h;
  h.uncompressed = Get32(p + (magic == TLz4Magic::kOneBlock2 ? 12 : 4));
  h.total = Get32(p + 8);
  h.crc = magic == TLz4Magic::kOneBlock ? Get32(p + 12) : 0;
  if (h.total < kLz4BlockHeaderBytes || h.total > available) Malformed();
  if (!PlausibleExpansion(h.total - kLz4BlockHeaderBytes, h.uncompressed)) Malformed();
  if (h.uncompressed > static_cast<uint64_t>(LZ4_MAX_INPUT_SIZE) * 255) Malformed();
  return h;
}

void DecompressBlock(const uint8_t* p, const TBlockHeader& h, uint8_t* out) {
  const uint64_t compressed = h.total - kLz4BlockHeaderBytes;
  if (compressed > INT32_MAX || h.uncompressed > INT32_MAX) Malformed();
  if (h.crc != 0 && Crc32(0, p + kLz4BlockHeaderBytes, static_cast<std::size_t>(compressed)) != h.crc)
    throw ChessException(kLz4ChecksumError);
  const int n = LZ4_decompress_safe(reinterpret_cast<const char*>(p + kLz4BlockHeaderBytes),
                                    reinterpret_cast<char*>(out), static_cast<int>(compressed),
                                    static_cast<int>(h.uncompressed));
  if (n < 0 || static_cast<uint64_t>(n) != h.uncompressed) Malformed();
}

}  // namespace

TLz4Magic Lz4ContainerMagic(const uint8_t* m) {
  if (m[0] == 'L' && m[1] == 'Z' && m[2] == '4') {
    if (m[3] == ' ') return TLz4Magic::kOneBlock;
    if (m[3] == 'e') return TLz4Magic::kOneBlockE;
    if (m[3] == '2') return TLz4Magic::kOneBlock2;
  } else if (m[0] == 'l' && m[1] == 'z' && m[2] == '4') {
    if (m[3] == ' ') return TLz4Magic::kMultiBlock;
    if (m[3] == 'e') return TLz4Magic::kMultiBlockE;
  }
  return TLz4Magic::kNone;
}

TByteBuffer Lz4CompressContainer(const uint8_t* data, uint64_t size, unsigned threads) {
  if (size >= kLz4MaxContainerInput + 1) return {};
  if (threads == 0) threads = std::max(1u, std::thread::hardware_concurrency());
  threads = std::min(threads, kMaxThreads);

  if ((size < kLz4MultiBlockMinInput || threads == 1) && size <= kMaxBlockInput) {
    TByteBuffer out = Allocate(kLz4BlockHeaderBytes + Lz4BlockBufferBytes(size));
    if (!out.bytes) return {};
    out.size = CompressBlock(data, size, out.data());
    return out;
  }

  // Several blocks, at least one per thread, none above kMaxBlockInput. Each
  // is compressed into its own slot of one buffer; the slots are then closed
  // up in order.
  const uint64_t blocks = std::max<uint64_t>(threads, (size + kMaxBlockInput - 1) / kMaxBlockInput);
  const uint64_t step = (size + blocks - 1) / blocks;
  std::vector<uint64_t> inBegin(blocks + 1), slotBegin(blocks + 1), written(blocks, 0);
  uint64_t slots = kLz4MultiHeaderBytes;
  for (uint64_t i = 0; i < blocks; ++i) {
    inBegin[i] = std::min(size, i * step);
    slotBegin[i] = slots;
    slots += kLz4BlockHeaderBytes + Lz4BlockBufferBytes(std::min(size, (i + 1) * step) - inBegin[i]);
  }
  inBegin[blocks] = size;
  TByteBuffer out = Allocate(slots);
  if (!out.bytes) return {};

  std::atomic<uint64_t> next{0};
  auto worker = [&] {
    for (uint64_t i; (i = next.fetch_add(1)) < blocks;)
      written[i] = CompressBlock(data + inBegin[i], inBegin[i + 1] - inBegin[i], out.data() + slotBegin[i]);
  };
  {
    std::vector<std::jthread> pool;
    try {
      for (unsigned t = 1; t < std::min<uint64_t>(threads, blocks); ++t) pool.emplace_back(worker);
    } catch (const std::system_error&) {
      // Fewer threads than wished for: the ones running and this one share the work.
    }
    worker();
  }
  uint64_t pos = kLz4MultiHeaderBytes;
  for (uint64_t i = 0; i < blocks; ++i) {
    if (written[i] == 0) return {};
    std::memmove(out.data() + pos, out.data() + slotBegin[i], written[i]);
    pos += written[i];
  }
  std::memset(out.data(), 0, kLz4MultiHeaderBytes);
  std::memcpy(out.data(), "lz4 ", 4);
  Put32(out.data() + 4, size);
  Put32(out.data() + 12, blocks);
  out.size = pos;
  return out;
}

TByteBuffer Lz4DecompressContainer(const uint8_t* data, uint64_t size) {
  if (size < 4) Malformed();
  const TLz4Magic magic = Lz4ContainerMagic(data);
  if (magic == TLz4Magic::kNone) Malformed();

  if (magic != TLz4Magic::kMultiBlock && magic != TLz4Magic::kMultiBlockE) {
    const TBlockHeader h = ReadBlockHeader(data, size);
    TByteBuffer out = Allocate(h.uncompressed);
    if (!out.bytes) Malformed();
    DecompressBlock(data, h, out.data());
    return out;
  }

  if (size < kLz4MultiHeaderBytes) Malformed();
  const uint64_t total = Get32(data + 4);
  const uint64_t blocks = Get32(data + 12);
  if (!PlausibleExpansion(size - kLz4MultiHeaderBytes, total)) Malformed();
  // Every block has a header of its own, so the count cannot exceed what the
  // data could hold.
  if (blocks > (size - kLz4MultiHeaderBytes) / kLz4BlockHeaderBytes) Malformed();
  TByteBuffer out = Allocate(total);
  if (!out.bytes) Malformed();
  uint64_t pos = kLz4MultiHeaderBytes, filled = 0;
  for (uint64_t i = 0; i < blocks; ++i) {
    const TBlockHeader h = ReadBlockHeader(data + pos, size - pos);
    if (h.uncompressed > total - filled) Malformed();
    DecompressBlock(data + pos, h, out.data() + filled);
    filled += h.uncompressed;
    pos += h.total;
  }
  if (filled != total) Malformed();
  return out;
}

}  // namespace ostravel
