// The file of a type's results: round trip, damage found on reading, the
// lookup within a small memory budget.
#include <gtest/gtest.h>

#include <fstream>

#include "precalc/precalc_file.h"
#include "precalc/precalc_store.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::vector<uint8_t> Sample(size_t n) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(i % 97 == 0 ? 255 : (i * 7) % 13);
  return v;
}

TEST(PrecalcFile, RoundTripWithAShortLastBlock) {
  const auto values = Sample(10000);
  const auto bytes = PackPrecalc("KQk", values, 4096);
  CPrecalcFile f(bytes, "mem", "KQk", 10000);
  EXPECT_EQ(f.BlockCount(), 3u);
  EXPECT_EQ(f.BlockSize(2), 10000u - 8192u);
  EXPECT_EQ(f.UnpackAll(), values);
  const TPrecalcSummary s = f.Summary();
  EXPECT_EQ(s.type, "KQk");
  EXPECT_EQ(s.longestMate, 12u);
  EXPECT_EQ(s.mates + s.noMates + s.illegal, 10000u);
}

TEST(PrecalcFile, DamageIsReportedWithTheFileName) {
  const auto good = PackPrecalc("KRk", Sample(5000), 1024);
  auto failsOn = [](std::vector<uint8_t> bytes) {
    try {
      CPrecalcFile f(std::move(bytes), "the/file", "KRk", 5000);
      f.UnpackAll();
    } catch (const PrecalcFileError& e) {
      return std::string(e.what()).find("the/file") != std::string::npos;
    }
    return false;
  };
  EXPECT_FALSE(failsOn(good));
  for (size_t at : {size_t{0}, size_t{9}, size_t{20}, size_t{40}, good.size() / 2, good.size() - 1}) {
    auto bad = good;
    bad[at] ^= 0x5A;
    EXPECT_TRUE(failsOn(bad)) << "byte " << at;
  }
  EXPECT_TRUE(failsOn({good.begin(), good.begin() + 30}));
  EXPECT_TRUE(failsOn({good.begin(), good.end() - 1}));
  EXPECT_TRUE(failsOn({}));
  // Another type's file, or the wrong size for the type.
  EXPECT_THROW(CPrecalcFile(good, "x", "KQk", 5000), PrecalcFileError);
  EXPECT_THROW(CPrecalcFile(good, "x", "KRk", 5001), PrecalcFileError);
}

TEST(PrecalcFile, WrittenFileIsFoundAndReadWithinABudget) {
  const std::string dir = test::MakeTempDir();
  const uint64_t n = 64 * 64 * 64;
  std::vector<uint8_t> values(n);
  for (uint64_t i = 0; i < n; ++i) values[i] = static_cast<uint8_t>(i * 31 % 251);
  WritePrecalcFile(std::filesystem::path(dir) / PrecalcFileName("KNk"), "KNk", values);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
  // A budget of a few blocks: lookups all over the range keep unpacking.
  CPrecalcStore store(dir, 200000);
  EXPECT_EQ(store.FileTypes(), std::vector<std::string>{"KNk"});
  for (uint64_t i = 0; i < n; i += 4099) {
    uint8_t v = 0;
    ASSERT_NE(store.LookupIndex("KNk", i, v), CPrecalcStore::TResult::kNoData);
    ASSERT_EQ(v, values[i]) << i;
  }
  EXPECT_LE(store.MemoryInUse(), 200000u + (1u << 16));
  EXPECT_EQ(store.UsedTypes(), std::vector<std::string>{"KNk"});
  uint8_t v = 0;
  EXPECT_EQ(store.LookupIndex("KQk", 0, v), CPrecalcStore::TResult::kNoData);
}

TEST(PrecalcFile, AnOpenFileReadsItsBlocksOnDemand) {
  const std::string dir = test::MakeTempDir();
  const auto path = std::filesystem::path(dir) / PrecalcFileName("KRk");
  const uint64_t n = 64 * 64 * 64;
  std::vector<uint8_t> values(n);
  for (uint64_t i = 0; i < n; ++i) values[i] = static_cast<uint8_t>(i * 17 % 251);
  WritePrecalcFile(path, "KRk", values);
  const auto f = CPrecalcFile::Load(path, "KRk", n);
  // Only the header is held; the blocks come from the file.
  EXPECT_LT(f->PackedBytes(), f->FileBytes() / 10);
  EXPECT_EQ(f->UnpackAll(), values);
  // A block damaged after loading is caught when it is read, by name.
  const uint64_t size = std::filesystem::file_size(path);
  {
    std::fstream io(path, std::ios::in | std::ios::out | std::ios::binary);
    io.seekp(static_cast<std::streamoff>(size - 100));
    io.put('\x55').put('\x55').put('\x55');
  }
  try {
    f->UnpackAll();
    FAIL() << "a damaged block unpacked";
  } catch (const PrecalcFileError& e) {
    EXPECT_NE(std::string(e.what()).find(path.string()), std::string::npos) << e.what();
  }
  // A file cut short is refused at once.
  std::filesystem::resize_file(path, size / 2);
  EXPECT_THROW(CPrecalcFile::Load(path, "KRk", n), PrecalcFileError);
}

TEST(PrecalcFile, DamagedFileCountsAsNoDataAndIsNamed) {
  const std::string dir = test::MakeTempDir();
  const auto path = std::filesystem::path(dir) / PrecalcFileName("KQk");
  WritePrecalcFile(path, "KQk", std::vector<uint8_t>(64 * 64 * 64, 3));
  {
    std::fstream f(path, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(12);
    f.put('\x7f');
  }
  CPrecalcStore store(dir, 1u << 20);
  EXPECT_FALSE(store.Has("KQk"));
  EXPECT_NE(store.LastError().find(path.string()), std::string::npos) << store.LastError();
}

}  // namespace
}  // namespace ostravel
