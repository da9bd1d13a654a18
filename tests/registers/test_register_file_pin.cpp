// Registers pinned to problems of a collection: numbering, the "//@tmpreg="
// line, loading before an analysis, unpinning, and collections that must not
// be rewritten.
#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "problems/cp_file.h"
#include "registers/register_file_pin.h"
#include "registers/test_register_file_util.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

TProblem Problem(const char* fen, uint16_t moves, const char* description) {
  TProblem p;
  p.moves = moves;
  p.description = description;
  EXPECT_TRUE(p.SetFen(fen));
  return p;
}

class PinnedRegister : public ::testing::Test {
 protected:
  void SetUp() override {
    SaveCollectionFile(cp, {Problem("1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1", 5, "first"),
                            Problem("8/8/2K1k1B1/5N2/8/1p6/1B6/8 w - - 0 1", 5, "second")});
    fs::create_directories(folder);
    for (uint32_t i = 1; i <= 300; ++i)
      test::PutExact(*reg, i, static_cast<uint16_t>(3 + 2 * (i % 4)), i % 2 != 0);
  }

  std::vector<TProblem> Problems() const { return LoadCollectionFile(cp).problems; }

  fs::path dir = test::MakeTempDir();
  fs::path cp = dir / "mine.cp";
  fs::path folder = dir / "SavedTmpRegisterData";
  std::unique_ptr<TAggregatedTemporaryChessboardRegister> reg = test::NewRegister();
};

TEST_F(PinnedRegister, PinningNumbersTheFileAndWritesTheLine) {
  TRegisterSaveOptions opt;
  opt.compress = true;
  opt.physicalMemoryBytes = uint64_t{64} << 20;
  const TPinResult first = PinRegister(cp, 1, *reg, opt, folder);
  EXPECT_EQ(first.number, 1u);
  EXPECT_EQ(first.file, folder / "1.tmpReg");
  EXPECT_TRUE(first.save.compressed);
  EXPECT_TRUE(fs::exists(first.file));
  std::vector<TProblem> ps = Problems();
  EXPECT_FALSE(ps[0].tmpRegFile.has_value());
  EXPECT_EQ(ps[1].tmpRegFile, 1u);
  EXPECT_EQ(PinnedRegisterPath(ps[1], folder), folder / "1.tmpReg");
  EXPECT_FALSE(PinnedRegisterPath(ps[0], folder).has_value());
  EXPECT_NE(WriteCollection(ps).find("//@tmpreg=1\n"), std::string::npos);

  // A new pin takes a number above those of the collection and the folder.
  test::WriteBytes(folder / "7.tmpReg", {1, 2, 3, 4});
  EXPECT_EQ(PinRegister(cp, 0, *reg, {}, folder).number, 8u);
  // A pinned problem keeps its number; its file is replaced.
  test::PutExact(*reg, 5000, 11, true);
  EXPECT_EQ(PinRegister(cp, 1, *reg, {}, folder).number, 1u);
  ps = Problems();
  EXPECT_EQ(ps[0].tmpRegFile, 8u);
  EXPECT_EQ(ps[1].tmpRegFile, 1u);

  auto loaded = test::NewRegister();
  const auto r = LoadPinnedRegister(ps[1], *loaded, folder);
  ASSERT_TRUE(r.has_value());
  EXPECT_TRUE(r->completed) << r->error;
  EXPECT_EQ(test::Contents(*loaded), test::Contents(*reg));
}

TEST_F(PinnedRegister, UnpinningRemovesTheLineAndKeepsTheFile) {
  PinRegister(cp, 0, *reg, {}, folder);
  EXPECT_EQ(UnpinRegister(cp, 0), 1u);
  EXPECT_FALSE(Problems()[0].tmpRegFile.has_value());
  EXPECT_TRUE(fs::exists(folder / "1.tmpReg"));
  EXPECT_FALSE(UnpinRegister(cp, 0).has_value());
  auto none = test::NewRegister();
  EXPECT_FALSE(LoadPinnedRegister(Problems()[0], *none, folder).has_value());
}

TEST_F(PinnedRegister, MissingPinnedFileIsAnErrorOfTheLoad) {
  TProblem p = Problems()[0];
  p.tmpRegFile = 42;
  auto r = LoadPinnedRegister(p, *reg, folder);
  ASSERT_TRUE(r.has_value());
  EXPECT_FALSE(r->opened);
  EXPECT_EQ(r->error,
            "Error opening file " + (folder / "42.tmpReg").string() + ": No such file or directory");
}

TEST_F(PinnedRegister, CollectionsThatCannotBeRewrittenWholeAreLeftAlone) {
  EXPECT_THROW(PinRegister(cp, 2, *reg, {}, folder), std::runtime_error);
  EXPECT_THROW(UnpinRegister(cp, 5), std::runtime_error);
  // A record in error would be lost by the rewrite.
  const std::string text = WriteCollection(Problems()) + "\n#3\n{\n  FEN: not a position\n}\n";
  test::WriteBytes(cp, std::vector<uint8_t>(text.begin(), text.end()));
  EXPECT_THROW(PinRegister(cp, 0, *reg, {}, folder), std::runtime_error);
  const std::vector<uint8_t> after = test::ReadBytes(cp);
  EXPECT_EQ(std::string(after.begin(), after.end()), text);
  EXPECT_FALSE(fs::exists(folder / "1.tmpReg"));
}

}  // namespace
}  // namespace ostravel
