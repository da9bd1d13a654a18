// Damaged register files: every flipped bit and every cut is caught or
// harmless, impossible records are refused, and a failed save keeps the
// previous file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "config/safe_file.h"
#include "registers/register_file.h"
#include "registers/test_register_file_util.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;
using test::AppendHeader;
using test::AppendRecord;
using test::Contents;
using test::NewRegister;
using test::PieceBoard;
using test::PutExact;
using test::PutSub;

constexpr uint64_t kKey = 0x0000000200000011;

std::unique_ptr<TAggregatedTemporaryChessboardRegister> SmallRegister() {
  auto reg = NewRegister();
  PutExact(*reg, 1, 11, true);
  PutExact(*reg, 2, 9, false);
  PutExact(*reg, 3, 7, true);
  PutExact(*reg, 3, 5, false);
  PutSub(*reg, kKey, 4, 5, true);
  return reg;
}

// Loads bytes; true when the load refused them as damaged or reported them
// read with errors (a container whose magic was hit reads as an unchecked
// plain stream of impossible records). Otherwise the register must hold
// exactly what the reference holds: every answer the search could get from
// it is unchanged.
bool DetectedOrHarmless(const std::vector<uint8_t>& bytes, const TAggregatedTemporaryChessboardRegister& ref,
                        const std::string& what) {
  auto reg = NewRegister();
  try {
    if (!LoadRegisterFromMemory(*reg, bytes.data(), bytes.size())) return true;
  } catch (const ChessException&) {
    return true;
  }
  EXPECT_EQ(Contents(*reg), Contents(ref)) << what;
  return false;
}

std::vector<uint8_t> Compressed(const TAggregatedTemporaryChessboardRegister& reg, const fs::path& dir) {
  TRegisterSaveOptions opt;
  opt.compress = true;
  opt.silent = true;
  opt.physicalMemoryBytes = uint64_t{64} << 20;
  SaveRegisterFile(reg, dir / "c.tmpReg", opt);
  return test::ReadBytes(dir / "c.tmpReg");
}

TEST(RegisterIntegrity, EveryBitFlipIsDetectedOrChangesNoAnswer) {
  const fs::path dir = test::MakeTempDir();
  const auto ref = SmallRegister();
  for (const std::vector<uint8_t>& good : {SaveRegisterToMemory(*ref), Compressed(*ref, dir)}) {
    ASSERT_FALSE(DetectedOrHarmless(good, *ref, "intact"));
    int undetected = 0;
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
      std::vector<uint8_t> bad = good;
      bad[bit / 8] ^= static_cast<uint8_t>(1u << (bit % 8));
      if (!DetectedOrHarmless(bad, *ref, "bit " + std::to_string(bit))) ++undetected;
    }
    // Only flips in what no reader looks at (the trailer's own marker, the
    // container's spare fields) go unnoticed.
    EXPECT_LT(undetected, 64);
  }
}

TEST(RegisterIntegrity, EveryCutIsDetected) {
  const fs::path dir = test::MakeTempDir();
  const auto ref = SmallRegister();
  for (const std::vector<uint8_t>& good : {SaveRegisterToMemory(*ref), Compressed(*ref, dir)}) {
    for (std::size_t n = 0; n < good.size(); ++n) {
      const std::vector<uint8_t> cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(n));
      auto reg = NewRegister();
      try {
        LoadRegisterFromMemory(*reg, cut.data(), cut.size());
        // Only a cut inside the lead itself reads as an (empty) unchecked stream.
        EXPECT_LT(n, kSectionHeaderBytes) << n;
      } catch (const ChessException&) {
      }
      EXPECT_EQ(reg->ElementCount(), 0u) << n;
    }
  }
}

TEST(RegisterIntegrity, DamagedFileIsNamedAndLoadsNothing) {
  const fs::path dir = test::MakeTempDir();
  const auto ref = SmallRegister();
  std::vector<uint8_t> bytes = SaveRegisterToMemory(*ref);
  bytes[12 + 12] ^= 2;  // the first record's count: mate in 11 plies becomes 9
  test::WriteBytes(dir / "bad.tmpReg", bytes);
  auto reg = NewRegister();
  const TRegisterReadResult r = ReadRegisterFile(*reg, dir / "bad.tmpReg", kSmallRegisterBuckets);
  EXPECT_FALSE(r.completed);
  EXPECT_EQ(r.error, (dir / "bad.tmpReg").string() + ": " + kErrDamaged);
  EXPECT_EQ(reg->ElementCount(), 0u);

  bytes.resize(bytes.size() - 30);
  test::WriteBytes(dir / "cut.tmpReg", bytes);
  EXPECT_EQ(ReadRegisterFile(*reg, dir / "cut.tmpReg", kSmallRegisterBuckets).error,
            (dir / "cut.tmpReg").string() + ": " + kErrCutShort);

  // A folder is no register file.
  EXPECT_FALSE(ReadRegisterFile(*reg, dir, kSmallRegisterBuckets).completed);
}

TEST(RegisterIntegrity, FileWithoutTheCheckLoadsWithAWarning) {
  const fs::path dir = test::MakeTempDir();
  std::vector<uint8_t> s;
  AppendHeader(s, 0);
  AppendRecord(s, 7, 0, PieceBoard(1));
  test::WriteBytes(dir / "old.tmpReg", s);
  auto reg = NewRegister();
  const TRegisterReadResult r = ReadRegisterFile(*reg, dir / "old.tmpReg", kSmallRegisterBuckets);
  ASSERT_TRUE(r.completed) << r.error;
  EXPECT_FALSE(r.verified);
  EXPECT_EQ(r.warning, kMsgUnchecked + (dir / "old.tmpReg").string());
  EXPECT_NE(r.report.find(r.warning), std::string::npos);
  EXPECT_EQ(reg->ElementCount(), 1u);

  SaveRegisterFile(*reg, dir / "new.tmpReg");
  const TRegisterReadResult n = ReadRegisterFile(*reg, dir / "new.tmpReg", kSmallRegisterBuckets);
  EXPECT_TRUE(n.verified);
  EXPECT_TRUE(n.warning.empty());
}

TEST(RegisterIntegrity, RecordsThatCannotBeTrueAreRefused) {
  const test::TBoardBytes good = PieceBoard(1);
  EXPECT_TRUE(RecordPossible(true, 11, 9, good.data()));
  EXPECT_TRUE(RecordPossible(false, 5, 9, good.data()));  // sub-register counts are independent
  EXPECT_FALSE(RecordPossible(true, 9, 9, good.data()));  // mate and no mate at once
  EXPECT_FALSE(RecordPossible(true, 0xFFFE, 0xFFFE, good.data()));
  EXPECT_FALSE(RecordPossible(true, 10, 0, good.data()));  // even
  EXPECT_FALSE(RecordPossible(true, 0, 0, good.data()));
  EXPECT_FALSE(RecordPossible(true, 65535, 0, good.data()));
  test::TBoardBytes noKing = good;
  noKing[4] = 0;
  EXPECT_FALSE(RecordPossible(true, 5, 0, noKing.data()));
  test::TBoardBytes pawn = good;
  pawn[63] = WP;
  EXPECT_FALSE(RecordPossible(true, 5, 0, pawn.data()));

  // Ten FFFE/FFFE records among sound ones: only the sound ones load.
  std::vector<uint8_t> s;
  AppendHeader(s, 0);
  AppendRecord(s, 11, 0, PieceBoard(1));
  for (uint32_t i = 2; i < 12; ++i) AppendRecord(s, 0xFFFE, 0xFFFE, PieceBoard(i));
  auto reg = NewRegister();
  TRegisterLoadStatistics st;
  EXPECT_FALSE(LoadRegisterFromMemory(*reg, s.data(), s.size(), &st));
  EXPECT_EQ(st.refusedRecords, 10u);
  EXPECT_EQ(reg->ElementCount(), 1u);
}

// A full disk at any point of a save over an existing file: the old file
// stays whole, no temporary file is left, and the error names file and cause.
TEST(RegisterIntegrity, FailedSaveKeepsThePreviousFile) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "r.tmpReg";
  const auto ref = SmallRegister();
  SaveRegisterFile(*ref, file);
  const std::vector<uint8_t> before = test::ReadBytes(file);
  auto bigger = SmallRegister();
  for (uint32_t i = 10; i < 200; ++i) PutExact(*bigger, i, 9, true);
  for (bool compress : {false, true}) {
    for (int64_t cut : {0, 1, 40, 300}) {
      TRegisterSaveOptions opt;
      opt.compress = compress;
      opt.physicalMemoryBytes = uint64_t{64} << 20;
      SetSafeFileFailAfterBytes(cut);
      try {
        SaveRegisterFile(*bigger, file, opt);
        ADD_FAILURE() << "no error at " << cut;
      } catch (const SafeFileError& e) {
        const std::string what = e.what();
        EXPECT_NE(what.find(file.string()), std::string::npos) << what;
        EXPECT_NE(what.find("No space left on device"), std::string::npos) << what;
      }
      SetSafeFileFailAfterBytes(-1);
      EXPECT_EQ(test::ReadBytes(file), before) << cut;
      EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    }
  }
  // A link is written through: it stays a link to the new data.
  fs::create_symlink("r.tmpReg", dir / "link.tmpReg");
  SaveRegisterFile(*bigger, dir / "link.tmpReg");
  EXPECT_TRUE(fs::is_symlink(dir / "link.tmpReg"));
  auto back = NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*back, file, kSmallRegisterBuckets).completed);
  EXPECT_EQ(Contents(*back), Contents(*bigger));
}

}  // namespace
}  // namespace ostravel
