// ".tmpReg" files: the exact bytes of the format, the save order and its size
// limit, round trips plain and compressed, and loads of damaged files.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "chess/fen.h"
#include "config/safe_file.h"
#include "config/settings.h"
#include "registers/lz4_container.h"
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
using test::ReadBytes;
using test::WriteBytes;

constexpr uint64_t kKeyA = SubRegisterKey(0x11, 0x2);
constexpr uint64_t kKeyB = SubRegisterKey(0x400, 0x1);

std::string Hex(const std::vector<uint8_t>& bytes) {
  static const char* digits = "0123456789abcdef";
  std::string s;
  for (uint8_t b : bytes) {
    s += digits[b >> 4];
    s += digits[b & 15];
  }
  return s;
}

// Larger counts of the records of a plain stream, in file order, with 0 for
// each header.
std::vector<int> Layout(const std::vector<uint8_t>& s) {
  std::vector<int> out;
  for (std::size_t i = 0; i < s.size();) {
    const uint16_t a = static_cast<uint16_t>(s[i] | s[i + 1] << 8);
    const uint16_t b = static_cast<uint16_t>(s[i + 2] | s[i + 3] << 8);
    if (a == 0xFFFF && b == 0xFFFF) {
      out.push_back(0);
      i += kSectionHeaderBytes;
    } else {
      out.push_back(std::max(a, b));
      i += kRecordBytes;
    }
  }
  return out;
}

class RegisterFile : public ::testing::Test {
 protected:
  fs::path Path(const std::string& name) const { return dir / name; }

  // Saves reg, loads the file into a fresh register and returns it.
  std::unique_ptr<TAggregatedTemporaryChessboardRegister> RoundTrip(
      const TAggregatedTemporaryChessboardRegister& reg, TRegisterSaveOptions opt, const std::string& name) {
    opt.physicalMemoryBytes = uint64_t{256} << 20;
    const TRegisterSaveResult s = SaveRegisterFile(reg, Path(name), opt);
    EXPECT_EQ(s.status, kSaveDone);
    EXPECT_EQ(s.compressed, opt.compress);
    auto back = NewRegister();
    const TRegisterReadResult r = ReadRegisterFile(*back, Path(name), kSmallRegisterBuckets);
    EXPECT_TRUE(r.completed) << r.error;
    EXPECT_FALSE(r.invalidPositions);
    return back;
  }

  TRegisterReadResult Read(const std::vector<uint8_t>& bytes, TAggregatedTemporaryChessboardRegister& reg) {
    WriteBytes(Path("in.tmpReg"), bytes);
    return ReadRegisterFile(reg, Path("in.tmpReg"), kSmallRegisterBuckets);
  }

  fs::path dir = test::MakeTempDir();
};

// ---------------------------------------------------------------- the format

// The 64 bytes of PieceBoard(i) for i = 1..4: White king e1, one piece on
// a3 (square 16), Black king e8.
std::string BoardHex(const char* pieceOnA3) {
  return std::string("00000000") + "41" + std::string(22, '0') + pieceOnA3 + std::string(86, '0') + "81" +
         "000000";
}

TEST_F(RegisterFile, SmallRegisterHasFixedBytes) {
  auto reg = NewRegister();
  PutExact(*reg, 1, 3, true);  // knight: mate in 3 plies
  PutExact(*reg, 2, 5, true);  // bishop: mate in 5 plies, no mate in 3
  PutExact(*reg, 2, 3, false);
  PutExact(*reg, 3, 7, false);      // rook: no mate in 7 plies
  PutSub(*reg, kKeyA, 4, 5, true);  // queen: doubtful 5 under heuristics 0x11, parameters 2
  const std::string exactHeader =
      "ffffffff"
      "0000000000000000";
  const std::string subHeader =
      "ffffffff"
      "11000000"
      "02000000";
  const std::string lead =
      "ffffffff"
      "5452564c43484b31";  // "TRVLCHK1"
  const std::string expected = lead +
                               // n = 7
                               exactHeader +
                               "0000"
                               "0700" +
                               BoardHex("48") + subHeader +
                               // n = 5
                               exactHeader +
                               "0500"
                               "0300" +
                               BoardHex("44") + subHeader +
                               "0500"
                               "0000" +
                               BoardHex("4c") +
                               // n = 3
                               exactHeader +
                               "0300"
                               "0000" +
                               BoardHex("50") + subHeader +
                               // n = 1
                               exactHeader + subHeader;
  const std::vector<uint8_t> bytes = SaveRegisterToMemory(*reg);
  ASSERT_EQ(bytes.size(), expected.size() / 2 + kIntegrityTrailerBytes);
  // The trailer: its header, then the CRC-32 of all before it and version 1.
  const uint32_t crc = Crc32(0, bytes.data(), bytes.size() - kIntegrityTrailerBytes);
  char crcHex[9];
  std::snprintf(crcHex, sizeof crcHex, "%02x%02x%02x%02x", crc & 0xFF, crc >> 8 & 0xFF, crc >> 16 & 0xFF,
                crc >> 24);
  EXPECT_EQ(Hex(bytes), expected + "ffffffff5452564c52434431ffffffff" + crcHex + "01000000");

  // The file form writes the same bytes, and they load back to the register.
  const TRegisterSaveResult s = SaveRegisterFile(*reg, Path("small.tmpReg"));
  EXPECT_EQ(s.status, kSaveDone);
  EXPECT_EQ(ReadBytes(Path("small.tmpReg")), bytes);
  auto back = NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*back, Path("small.tmpReg"), kSmallRegisterBuckets).completed);
  EXPECT_EQ(Contents(*back), Contents(*reg));
}

TEST_F(RegisterFile, LongestResultsComeFirstAndEvenCountsAreNeverWritten) {
  EXPECT_EQ(FirstSavedPlies(0), -1);
  EXPECT_EQ(FirstSavedPlies(1), 1);
  EXPECT_EQ(FirstSavedPlies(9), 9);
  EXPECT_EQ(FirstSavedPlies(10), 9);
  auto reg = NewRegister();
  uint32_t i = 0;
  for (uint16_t n : {5, 9, 3, 7, 9, 5}) PutExact(*reg, ++i, n, true);
  PutExact(*reg, ++i, 10, true);  // even: the largest count, yet not written
  PutExact(*reg, ++i, 6, false);
  PutSub(*reg, kKeyB, ++i, 7, false);
  PutSub(*reg, kKeyA, ++i, 3, true);
  PutSub(*reg, kKeyA, i, 9, false);  // independent counts: written under 9
  const std::vector<int> layout = Layout(SaveRegisterToMemory(*reg));
  // Per n from 9 down: exact header and records, then the sub-registers'
  // in ascending key order (kKeyB's parameters 1 sort before kKeyA's 2).
  static_assert(kKeyB < kKeyA);
  const std::vector<int> expected = {0,                 // the integrity lead
                                     0, 9, 9, 0, 0, 9,  // n = 9
                                     0, 7, 0, 7, 0,     // n = 7
                                     0, 5, 5, 0, 0,     // n = 5
                                     0, 3, 0, 0,        // n = 3
                                     0, 0, 0,           // n = 1
                                     0, 0};             // the trailer
  EXPECT_EQ(layout, expected);
}

TEST_F(RegisterFile, ByteLimitStopsAfterTheRecordThatReachesItLess67) {
  auto reg = NewRegister();
  for (uint32_t i = 1; i <= 10; ++i) PutExact(*reg, i, 5, true);
  std::vector<uint8_t> buf(4096);
  // After the header and three records 216 bytes are written: 216 + 67
  // reaches a limit of 283 but not one of 284.
  for (const auto& [limit, records] : {std::pair<uint64_t, uint64_t>{283, 3}, {284, 4}}) {
    TMemoryStream ms{buf.data(), buf.size()};
    uint64_t written = 0;
    EXPECT_FALSE(SaveExact(*reg, ms, limit, written, 5));
    EXPECT_EQ(written, kSectionHeaderBytes + records * kRecordBytes) << limit;

    std::FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    uint64_t fileWritten = 0;
    EXPECT_FALSE(SaveExact(*reg, f, limit, fileWritten, 5));
    EXPECT_EQ(fileWritten, written);
    EXPECT_EQ(static_cast<uint64_t>(std::ftell(f)), written);
    std::fclose(f);
  }
  // A memory buffer smaller than the limit stops before overflowing.
  TMemoryStream tiny{buf.data(), 100};
  uint64_t written = 0;
  EXPECT_FALSE(SaveExactPart(*reg, 0, tiny, 0, written, 5));
  EXPECT_EQ(written, kRecordBytes);
  // No limit: all ten, and SaveExact is true.
  TMemoryStream ms{buf.data(), buf.size()};
  written = 0;
  EXPECT_TRUE(SaveExact(*reg, ms, 0, written, 5));
  EXPECT_EQ(written, kSectionHeaderBytes * 1 + 10 * kRecordBytes);
}

TEST_F(RegisterFile, FileCutAtTheLimitKeepsTheLongestResults) {
  auto reg = NewRegister();
  uint32_t i = 0;
  for (uint16_t n : {9, 7, 5, 3})
    for (int k = 0; k < 11000; ++k) PutExact(*reg, ++i, n, (k & 1) != 0);
  TRegisterSaveOptions opt;
  opt.limitMB = 2;  // the counts 9 and 7 fit, 5 only in part (2 MiB hold 30840 records)
  const TRegisterSaveResult s = SaveRegisterFile(*reg, Path("cut.tmpReg"), opt);
  EXPECT_EQ(s.status, kSaveDone);
  EXPECT_TRUE(s.cutAtLimit);
  EXPECT_EQ(s.cutPlies, 5);
  EXPECT_LE(s.fileBytes, uint64_t{2} << 20);
  ASSERT_EQ(s.messages.size(), 1u);
  EXPECT_EQ(s.messages[0].title, "Information");
  EXPECT_EQ(s.messages[0].text, "File created: " + Path("cut.tmpReg").string() +
                                    "\n\nPositions that fitted in the required size start from #3");
  auto back = NewRegister();
  const TRegisterReadResult r = ReadRegisterFile(*back, Path("cut.tmpReg"), kSmallRegisterBuckets);
  ASSERT_TRUE(r.completed);
  EXPECT_EQ(r.stats.minPlies, 5);
  EXPECT_EQ(r.stats.maxPlies, 9);
  EXPECT_GT(back->ElementCount(), 22000u);
  EXPECT_LT(back->ElementCount(), 33000u);

  // Compressed, the limit holds five times as much stream: nothing is cut.
  opt.compress = true;
  opt.physicalMemoryBytes = uint64_t{1} << 30;
  const TRegisterSaveResult c = SaveRegisterFile(*reg, Path("cut-lz4.tmpReg"), opt);
  EXPECT_TRUE(c.compressed);
  EXPECT_FALSE(c.cutAtLimit);
  EXPECT_EQ(c.messages.at(0).text, "File created: " + Path("cut-lz4.tmpReg").string());
}

// ---------------------------------------------------------------- round trips

TEST_F(RegisterFile, PlainAndCompressedFilesLoadBackToTheSameRegister) {
  auto reg = NewRegister();
  for (uint32_t i = 1; i <= 40000; ++i) {
    const uint16_t n = static_cast<uint16_t>(1 + 2 * (i % 9));
    PutExact(*reg, i, n, (i & 1) != 0);
    if (i % 3 == 0) PutExact(*reg, i, n + 4, false);  // a mate corrects the no-mate below it
    if (i % 5 == 0) PutSub(*reg, kKeyA, i, n, (i & 2) != 0);
    if (i % 7 == 0) PutSub(*reg, kKeyB, i, n, true), PutSub(*reg, kKeyB, i, n + 2, false);
  }
  const auto original = Contents(*reg);
  TRegisterSaveOptions opt;
  EXPECT_EQ(Contents(*RoundTrip(*reg, opt, "plain.tmpReg")), original);
  opt.compress = true;
  opt.threads = 1;
  EXPECT_EQ(Contents(*RoundTrip(*reg, opt, "one.tmpReg")), original);
  EXPECT_EQ(ReadBytes(Path("one.tmpReg"))[0], 'L');
  opt.threads = 2;  // the stream is above 2 MiB: several blocks
  EXPECT_EQ(Contents(*RoundTrip(*reg, opt, "several.tmpReg")), original);
  EXPECT_EQ(ReadBytes(Path("several.tmpReg"))[0], 'l');
  EXPECT_LT(fs::file_size(Path("several.tmpReg")), fs::file_size(Path("plain.tmpReg")) / 2);
}

TEST_F(RegisterFile, LoadingTwiceLeavesTheRegisterAsAfterTheFirstLoad) {
  auto reg = NewRegister();
  for (uint32_t i = 1; i <= 500; ++i) PutExact(*reg, i, static_cast<uint16_t>(5 + 2 * (i % 3)), i % 2 != 0);
  PutSub(*reg, kKeyA, 1, 7, true);
  ASSERT_EQ(SaveRegisterFile(*reg, Path("twice.tmpReg")).status, kSaveDone);
  auto back = NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*back, Path("twice.tmpReg"), kSmallRegisterBuckets).completed);
  const auto once = Contents(*back);
  const TRegisterReadResult again = ReadRegisterFile(*back, Path("twice.tmpReg"), kSmallRegisterBuckets);
  ASSERT_TRUE(again.completed);
  EXPECT_EQ(again.stats.totalRecords, 501u);
  EXPECT_EQ(Contents(*back), once);
  EXPECT_EQ(once, Contents(*reg));
}

TEST_F(RegisterFile, EmptyRegisterGivesAValidFileOfNoRecords) {
  auto reg = NewRegister();
  EXPECT_EQ(SaveRegisterFile(*reg, Path("empty.tmpReg")).status, kSaveDone);
  // The integrity lead and trailer only.
  EXPECT_EQ(fs::file_size(Path("empty.tmpReg")), kSectionHeaderBytes + kIntegrityTrailerBytes);
  const TRegisterReadResult r = ReadRegisterFile(*reg, Path("empty.tmpReg"), kSmallRegisterBuckets);
  EXPECT_TRUE(r.completed) << r.error;
  EXPECT_TRUE(r.verified);
  EXPECT_EQ(r.stats.totalRecords, 0u);
  WriteBytes(Path("zero.tmpReg"), {});
  EXPECT_EQ(ReadRegisterFile(*reg, Path("zero.tmpReg"), kSmallRegisterBuckets).error,
            Path("zero.tmpReg").string() + ": Error - data file is empty.");
  WriteBytes(Path("three.tmpReg"), {1, 2, 3});
  EXPECT_EQ(ReadRegisterFile(*reg, Path("three.tmpReg"), kSmallRegisterBuckets).error,
            Path("three.tmpReg").string() + ": Error - data file is empty.");
  // Compressed, an empty stream is a valid container of nothing.
  TRegisterSaveOptions opt;
  opt.compress = true;
  opt.physicalMemoryBytes = uint64_t{64} << 20;
  EXPECT_EQ(SaveRegisterFile(*reg, Path("empty-lz4.tmpReg"), opt).status, kSaveDone);
  const TRegisterReadResult c = ReadRegisterFile(*reg, Path("empty-lz4.tmpReg"), kSmallRegisterBuckets);
  EXPECT_TRUE(c.completed) << c.error;
  EXPECT_EQ(c.stats.totalRecords, 0u);
}

// ---------------------------------------------------------------- reading

TEST_F(RegisterFile, OddlyShapedButSoundStreamsLoad) {
  std::vector<uint8_t> s(kRecordBytes, 0);  // a leading record zero in its first 66 bytes is skipped
  s[66] = s[67] = 0x5A;
  AppendHeader(s, 0);
  AppendRecord(s, 5, 0, PieceBoard(1));
  AppendRecord(s, 0, 0, PieceBoard(2));                             // counted, nothing to insert
  for (int k = 0; k < 7; ++k) AppendHeader(s, k == 3 ? kKeyA : 0);  // empty sections in a row
  AppendRecord(s, 0, 9, PieceBoard(3));
  for (int k = 0; k < 9; ++k) AppendHeader(s, kKeyB);  // empty sections at the end
  auto reg = NewRegister();
  const TRegisterReadResult r = Read(s, *reg);
  ASSERT_TRUE(r.completed) << r.error;
  EXPECT_EQ(r.stats.totalRecords, 3u);
  EXPECT_EQ(r.stats.exactMateRecords, 1u);
  EXPECT_EQ(r.stats.exactNoMateRecords, 1u);
  EXPECT_EQ(reg->ElementCount(), 2u);

  // Headers only, few or many.
  for (int headers : {1, 5, 6, 20}) {
    std::vector<uint8_t> h;
    for (int k = 0; k < headers; ++k) AppendHeader(h, static_cast<uint64_t>(k));
    auto empty = NewRegister();
    const TRegisterReadResult e = Read(h, *empty);
    EXPECT_TRUE(e.completed) << headers << ": " << e.error;
    EXPECT_EQ(e.stats.totalRecords, 0u);
    EXPECT_NE(e.report.find("Total number of positions: 0"), std::string::npos);
  }
}

TEST_F(RegisterFile, FileEndingInsideARecordKeepsWhatCameBefore) {
  std::vector<uint8_t> s;
  AppendHeader(s, 0);
  AppendRecord(s, 7, 0, PieceBoard(1));
  AppendRecord(s, 0, 5, PieceBoard(2));
  for (std::size_t cut : {std::size_t{1}, std::size_t{30}, std::size_t{67}}) {
    std::vector<uint8_t> t = s;
    t.resize(s.size() - cut);
    auto reg = NewRegister();
    const TRegisterReadResult r = Read(t, *reg);
    EXPECT_TRUE(r.completed) << cut;
    EXPECT_EQ(r.stats.totalRecords, 1u);
    EXPECT_EQ(reg->ElementCount(), 1u);
  }
}

TEST_F(RegisterFile, FileCutWhileARecordIsCompletedAfterAHeaderIsAnError) {
  std::vector<uint8_t> s;
  AppendHeader(s, 0);
  AppendRecord(s, 7, 0, PieceBoard(1));
  AppendHeader(s, kKeyA);
  AppendRecord(s, 5, 0, PieceBoard(2));
  s.resize(s.size() - 8);  // the 12 bytes after the header come short
  auto reg = NewRegister();
  const TRegisterReadResult r = Read(s, *reg);
  EXPECT_FALSE(r.completed);
  EXPECT_EQ(r.error, Path("in.tmpReg").string() +
                         ": Error reading file in TAggregatedTemporaryChessboardRegister::Load");
  EXPECT_EQ(r.stats.totalRecords, 1u);
  EXPECT_EQ(reg->ElementCount(), 1u);  // kept
}

TEST_F(RegisterFile, InvalidBoardsAreLoadedAndReported) {
  // The load's test agrees with the FEN writer for every byte value.
  for (int code = 0; code < 256; ++code) {
    test::TBoardBytes b = PieceBoard(0);
    b[30] = static_cast<uint8_t>(code);
    const std::string fen = RecordFen(b.data());
    EXPECT_EQ(RecordBoardInvalid(b.data()), fen.find_first_of("eE") != std::string::npos) << code;
  }
  test::TBoardBytes bad = PieceBoard(5);
  bad[33] = 0x43;  // no piece has kind 3
  EXPECT_EQ(RecordFen(bad.data()), "4k3/8/8/1E6/8/n7/8/4K3 w - - 0 1");
  std::vector<uint8_t> s;
  AppendHeader(s, 0);
  AppendRecord(s, 5, 0, PieceBoard(1));
  AppendRecord(s, 7, 0, bad);
  auto reg = NewRegister();
  const TRegisterReadResult r = Read(s, *reg);
  ASSERT_TRUE(r.completed);
  EXPECT_TRUE(r.invalidPositions);
  // The invalid board cannot be a position met by a search: refused.
  EXPECT_EQ(reg->ElementCount(), 1u);
  EXPECT_EQ(r.stats.refusedRecords, 1u);
  EXPECT_EQ(r.report.rfind("File has been read with errors: ", 0), 0u);
  EXPECT_NE(r.report.find("\n\nNOTE: invalid positions were detected - invalid data?"), std::string::npos);
  EXPECT_NE(r.report.find("records that cannot be true were refused: 1"), std::string::npos);
}

TEST_F(RegisterFile, LoadReportTextAndTheClearOnStartNote) {
  TRegisterLoadStatistics st;
  st.totalRecords = 3;
  st.exactMateRecords = 2;
  st.subSecondRecords = 1;
  st.NotePlies(5);
  st.NotePlies(9);
  EXPECT_EQ(LoadReportText("x.tmpReg", st, false, false),
            "File has been read: x.tmpReg\n\n"
            "Total number of positions: 3\n"
            "#n range: #3-#5\n"
            "Total number of 'mate' positions: 2\n"
            "Total number of 'no mate' positions: 0\n"
            "Total number of 'mate doubtful' positions: 0\n"
            "Total number of 'mate not doubtful' positions: 1");
  EXPECT_EQ(LoadReportText("x.tmpReg", st, true, true).substr(0, 32), "File has been read with errors: ");
  const std::string both = LoadReportText("x.tmpReg", st, true, true);
  const std::string notes =
      "\n\nNOTE: invalid positions were detected - invalid data?"
      "\n\nNote: Option to clear temporary data on start of analysis (first move) is on";
  ASSERT_GT(both.size(), notes.size());
  EXPECT_EQ(both.substr(both.size() - notes.size()), notes);

  // The file reading entry adds the note when the option is on.
  auto reg = NewRegister();
  PutExact(*reg, 1, 5, true);
  SaveRegisterFile(*reg, Path("note.tmpReg"));
  TSettings settings;
  settings.ClearRegisterOnStartSolving = 1;
  const TRegisterReadResult r =
      ReadRegisterFile(*reg, Path("note.tmpReg"), kSmallRegisterBuckets, RegisterReadOptionsFrom(settings));
  EXPECT_NE(r.report.find("is on"), std::string::npos);
}

TEST_F(RegisterFile, CorruptContainerIsAnErrorWithItsText) {
  auto reg = NewRegister();
  for (uint32_t i = 1; i <= 100; ++i) PutExact(*reg, i, 5, true);
  TRegisterSaveOptions opt;
  opt.compress = true;
  opt.physicalMemoryBytes = uint64_t{64} << 20;
  SaveRegisterFile(*reg, Path("c.tmpReg"), opt);
  std::vector<uint8_t> bytes = ReadBytes(Path("c.tmpReg"));
  std::fill(bytes.begin() + kLz4BlockHeaderBytes, bytes.end(), 0xFF);
  std::fill(bytes.begin() + 12, bytes.begin() + 16, 0);  // the block's CRC off: LZ4 itself finds it
  auto back = NewRegister();
  const TRegisterReadResult r = Read(bytes, *back);
  EXPECT_FALSE(r.completed);
  EXPECT_EQ(r.error, Path("in.tmpReg").string() + ": An error occurred during LZ4 decompression.");
  EXPECT_EQ(back->ElementCount(), 0u);
}

TEST_F(RegisterFile, LoggedLoadWritesTheStreamAndOneLinePerRecord) {
  auto reg = NewRegister();
  PutExact(*reg, 1, 5, true);
  PutSub(*reg, SubRegisterKey(0xFFFFFFFF, 3), 2, 7, false);
  TRegisterSaveOptions opt;
  opt.compress = true;
  opt.physicalMemoryBytes = uint64_t{64} << 20;
  SaveRegisterFile(*reg, Path("log.tmpReg"), opt);
  TRegisterReadOptions ro;
  ro.logged = 1;
  ro.log.dumpFolder = dir;
  ro.log.logFolder = dir;
  auto back = NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*back, Path("log.tmpReg"), kSmallRegisterBuckets, ro).completed);
  EXPECT_EQ(ReadBytes(dir / "UncompressedTmpRegLoadData.tmpReg"), SaveRegisterToMemory(*reg));
  ASSERT_TRUE(ReadRegisterFile(*back, Path("log.tmpReg"), kSmallRegisterBuckets, ro).completed);
  std::ifstream in(dir / "TmpRegLoad.log");
  std::stringstream text;
  text << in.rdbuf();
  const std::string line1 = "0,7,-1,3," + RecordFen(PieceBoard(2).data()) + "\n";
  const std::string line2 = "5,0,0,0," + RecordFen(PieceBoard(1).data()) + "\n";
  // The header once for the process, then both loads' lines.
  EXPECT_EQ(text.str(),
            std::string("nMovesMate/Doubtful,nMovesNoMate/NotDoubtful,Heuristics,HeurParams,FEN\n") + line1 +
                line2 + line1 + line2);
}

TEST_F(RegisterFile, BucketCountIsSetOnAnEmptyRegisterOnly) {
  EXPECT_EQ(SizeFigureForFile(0), 0u);
  EXPECT_EQ(SizeFigureForFile(1 << 20), 15u);
  EXPECT_EQ(SizeFigureForFile(uint64_t{128} << 20), 23u);
  auto reg = NewRegister();
  PutExact(*reg, 1, 5, true);
  SaveRegisterFile(*reg, Path("b.tmpReg"));
  auto empty = NewRegister();
  ASSERT_TRUE(ReadRegisterFile(*empty, Path("b.tmpReg"), kMediumRegisterBuckets).completed);
  EXPECT_EQ(empty->BucketCount(), kMediumRegisterBuckets);
  ASSERT_TRUE(ReadRegisterFile(*reg, Path("b.tmpReg"), kMediumRegisterBuckets).completed);
  EXPECT_EQ(reg->BucketCount(), kSmallRegisterBuckets);  // its records stay where they are
}

TEST_F(RegisterFile, LoadRespectsTheElementLimitAndBoundsSubRegisters) {
  auto reg = NewRegister();
  for (uint32_t i = 1; i <= 1000; ++i) PutExact(*reg, i, 5, true);
  SaveRegisterFile(*reg, Path("many.tmpReg"));
  auto small = NewRegister(100);
  const TRegisterReadResult r = ReadRegisterFile(*small, Path("many.tmpReg"), kSmallRegisterBuckets);
  EXPECT_TRUE(r.completed);
  EXPECT_EQ(r.stats.totalRecords, 1000u);
  EXPECT_LE(small->ElementCount(), 100u);

  // A file naming more heuristic configurations than any run makes.
  std::vector<uint8_t> s;
  for (uint64_t k = 1; k <= 100; ++k) {
    AppendHeader(s, k);
    AppendRecord(s, 5, 0, PieceBoard(static_cast<uint32_t>(k)));
  }
  auto subs = NewRegister();
  const TRegisterReadResult many = Read(s, *subs);
  EXPECT_TRUE(many.completed);
  EXPECT_TRUE(many.invalidPositions);
  EXPECT_EQ(subs->SubRegisterKeys().size(), 64u);
}

TEST_F(RegisterFile, SaveFailuresAreReportedUnlessSilent) {
  auto reg = NewRegister();
  PutExact(*reg, 1, 5, true);
  const fs::path nowhere = dir / "missing" / "x.tmpReg";
  TRegisterSaveResult s = SaveRegisterFile(*reg, nowhere);
  EXPECT_EQ(s.status, 0);
  ASSERT_EQ(s.messages.size(), 1u);
  EXPECT_EQ(s.messages[0].title, "Information");
  EXPECT_EQ(s.messages[0].text, "Error opening file " + nowhere.string() + ": No such file or directory");
  EXPECT_EQ(s.error, s.messages[0].text);
  TRegisterSaveOptions silent;
  silent.silent = true;
  s = SaveRegisterFile(*reg, nowhere, silent);
  EXPECT_EQ(s.status, 0);
  EXPECT_TRUE(s.messages.empty());
  EXPECT_FALSE(s.error.empty());
  EXPECT_TRUE(SaveRegisterFile(*reg, Path("ok.tmpReg"), silent).messages.empty());
}

TEST_F(RegisterFile, CompressionWithoutItsBufferSavesPlain) {
#ifdef OSTRAVEL_SANITIZED
  GTEST_SKIP() << "sanitizers abort on the impossible allocation instead of failing it";
#else
  auto reg = NewRegister();
  for (uint32_t i = 1; i <= 100; ++i) PutExact(*reg, i, 5, true);
  TRegisterSaveOptions opt;
  opt.compress = true;
  opt.physicalMemoryBytes = uint64_t{1} << 62;  // a quarter of it cannot be had
  const TRegisterSaveResult s = SaveRegisterFile(*reg, Path("skip.tmpReg"), opt);
  EXPECT_EQ(s.status, kSaveCompressionSkipped);
  EXPECT_FALSE(s.compressed);
  ASSERT_EQ(s.messages.size(), 2u);
  EXPECT_EQ(s.messages[0].text, "Compression will be skipped - not enough memory to allocate buffer.");
  EXPECT_EQ(ReadBytes(Path("skip.tmpReg")), SaveRegisterToMemory(*reg));
#endif
}

}  // namespace
}  // namespace ostravel
