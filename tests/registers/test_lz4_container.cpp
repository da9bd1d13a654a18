// The LZ4 container: the forms the writer chooses, the header fields, the
// variants only read, and containers whose fields lie.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "chess/board.h"
#include "config/safe_file.h"
#include "registers/lz4_container.h"

namespace ostravel {
namespace {

uint32_t Field(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}
void SetField(uint8_t* p, uint32_t v) {
  std::memcpy(p, &v, 4);
}

// Compressible but not trivial: register-like records with some noise.
std::vector<uint8_t> SampleData(std::size_t n, uint32_t seed = 7) {
  std::vector<uint8_t> d(n);
  std::mt19937 rng(seed);
  for (std::size_t i = 0; i < n; ++i) d[i] = (i % 68 < 4 || rng() % 8 == 0) ? static_cast<uint8_t>(rng()) : 0;
  return d;
}

std::vector<uint8_t> Compress(const std::vector<uint8_t>& in, unsigned threads) {
  const TByteBuffer b = Lz4CompressContainer(in.data(), in.size(), threads);
  return std::vector<uint8_t>(b.data(), b.data() + b.size);
}

std::vector<uint8_t> Decompress(const std::vector<uint8_t>& c) {
  const TByteBuffer b = Lz4DecompressContainer(c.data(), c.size());
  return std::vector<uint8_t>(b.data(), b.data() + b.size);
}

void ExpectMalformed(const std::vector<uint8_t>& c) {
  try {
    Decompress(c);
    ADD_FAILURE() << "a malformed container was accepted";
  } catch (const ChessException& e) {
    EXPECT_STREQ(e.what(), "An error occurred during LZ4 decompression.");
  }
}

TEST(Lz4Container, SmallInputsMakeOneBlockWithItsHeader) {
  for (std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{1000}, std::size_t{0x1FFFFF}}) {
    const std::vector<uint8_t> in = SampleData(n);
    const std::vector<uint8_t> c = Compress(in, 4);
    ASSERT_GE(c.size(), kLz4BlockHeaderBytes) << n;
    EXPECT_EQ(std::string(c.begin(), c.begin() + 4), "LZ4 ");
    EXPECT_EQ(Field(&c[4]), n);
    EXPECT_EQ(Field(&c[8]), c.size());
    // Offset 12: the CRC-32 of the compressed bytes.
    EXPECT_EQ(Field(&c[12]), Crc32(0, c.data() + kLz4BlockHeaderBytes, c.size() - kLz4BlockHeaderBytes));
    EXPECT_EQ(Decompress(c), in) << n;
  }
  EXPECT_EQ(Lz4ContainerMagic(reinterpret_cast<const uint8_t*>("lz42")), TLz4Magic::kNone);
}

TEST(Lz4Container, From2MiBSeveralThreadsMakeSeveralBlocks) {
  const std::vector<uint8_t> in = SampleData(0x200000 + 12345);
  const std::vector<uint8_t> c = Compress(in, 3);
  EXPECT_EQ(std::string(c.begin(), c.begin() + 4), "lz4 ");
  EXPECT_EQ(Field(&c[4]), in.size());
  ASSERT_EQ(Field(&c[12]), 3u);
  // The blocks follow the header, each a one-block container whose size
  // field leads to the next, and end with the data.
  std::size_t pos = kLz4MultiHeaderBytes, total = 0;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(std::string(c.begin() + pos, c.begin() + pos + 4), "LZ4 ");
    total += Field(&c[pos + 4]);
    pos += Field(&c[pos + 8]);
  }
  EXPECT_EQ(pos, c.size());
  EXPECT_EQ(total, in.size());
  EXPECT_EQ(Decompress(c), in);
  // One processor: one block whatever the size.
  const std::vector<uint8_t> one = Compress(in, 1);
  EXPECT_EQ(std::string(one.begin(), one.begin() + 4), "LZ4 ");
  EXPECT_EQ(Decompress(one), in);
}

TEST(Lz4Container, ReadOnlyVariantsDecompressAsPlainBlocks) {
  const std::vector<uint8_t> in = SampleData(5000);
  std::vector<uint8_t> e = Compress(in, 1);
  e[3] = 'e';
  EXPECT_EQ(Decompress(e), in);

  // "LZ42": the size is read at offset 12; offset 4 no longer counts.
  std::vector<uint8_t> two = Compress(in, 1);
  two[3] = '2';
  SetField(&two[12], static_cast<uint32_t>(in.size()));
  SetField(&two[4], 77);
  EXPECT_EQ(Decompress(two), in);

  const std::vector<uint8_t> big = SampleData(0x200000);
  std::vector<uint8_t> multi = Compress(big, 2);
  multi[3] = 'e';
  EXPECT_EQ(Decompress(multi), big);
}

TEST(Lz4Container, SizesThatLieAreRefused) {
  const std::vector<uint8_t> in = SampleData(5000);
  const std::vector<uint8_t> good = Compress(in, 1);

  std::vector<uint8_t> c = good;
  SetField(&c[8], static_cast<uint32_t>(c.size() + 1));  // block longer than the file
  ExpectMalformed(c);
  c = good;
  SetField(&c[8], 15);  // shorter than its own header
  ExpectMalformed(c);
  c = good;
  SetField(&c[4], static_cast<uint32_t>(in.size() + 1));  // more output than the block gives
  ExpectMalformed(c);
  c = good;
  SetField(&c[4], 0xFFFFFFF0u);  // far beyond what LZ4 can expand to: refused before allocating
  ExpectMalformed(c);
  ExpectMalformed(std::vector<uint8_t>(good.begin(), good.begin() + 10));  // header cut
  ExpectMalformed(std::vector<uint8_t>(good.begin(), good.end() - 1));     // body cut

  const std::vector<uint8_t> big = SampleData(0x200000);
  const std::vector<uint8_t> multi = Compress(big, 2);
  c = multi;
  SetField(&c[12], 3);  // a block more than present
  ExpectMalformed(c);
  c = multi;
  SetField(&c[12], 0x7FFFFFFF);
  ExpectMalformed(c);
  c = multi;
  SetField(&c[4], static_cast<uint32_t>(big.size() - 1));  // total below the blocks' sum
  ExpectMalformed(c);
  c = multi;
  SetField(&c[4], static_cast<uint32_t>(big.size() + 1));  // and above
  ExpectMalformed(c);
  c = multi;
  c[kLz4MultiHeaderBytes] = 'l';  // an inner block that is not a one-block container
  ExpectMalformed(c);
  ExpectMalformed(std::vector<uint8_t>(multi.begin(), multi.begin() + 20));
}

TEST(Lz4Container, CorruptBlockDataIsAnError) {
  const std::vector<uint8_t> in = SampleData(5000);
  std::vector<uint8_t> c = Compress(in, 1);
  // Literal lengths running past the end of the block: the block's CRC
  // catches it first; without the CRC (an older file) LZ4 itself does.
  std::fill(c.begin() + kLz4BlockHeaderBytes, c.end(), 0xFF);
  try {
    Decompress(c);
    ADD_FAILURE() << "a damaged block was accepted";
  } catch (const ChessException& e) {
    EXPECT_STREQ(e.what(), kLz4ChecksumError);
  }
  std::fill(c.begin() + 12, c.begin() + 16, 0);
  ExpectMalformed(c);
}

TEST(Lz4Container, EveryBitFlipOfTheCompressedBytesIsCaught) {
  const std::vector<uint8_t> in = SampleData(300);
  const std::vector<uint8_t> c = Compress(in, 1);
  for (std::size_t bit = kLz4BlockHeaderBytes * 8; bit < c.size() * 8; ++bit) {
    std::vector<uint8_t> d = c;
    d[bit / 8] ^= static_cast<uint8_t>(1u << (bit % 8));
    EXPECT_THROW(Decompress(d), ChessException) << bit;
  }
}

}  // namespace
}  // namespace ostravel
