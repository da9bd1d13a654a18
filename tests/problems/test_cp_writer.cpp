// The canonical writer, the round trip of the sample collection and the
// sample's content against the reference data it was taken from.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "chess/notation.h"
#include "problems/cp_file.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

TProblem Sample() {
  TProblem p;
  p.moves = 3;
  EXPECT_TRUE(p.SetFen("8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1"));
  p.description = "Test";
  return p;
}

TEST(CpWriter, WorkedExampleLayout) {
  TProblem p = Sample();
  p.tmpRegFile = 12;
  EXPECT_EQ(WriteProblem(p),
            "#3\n//@tmpreg=12\n{\n  Description: Test\n  FEN: 8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1\n}\n");
  EXPECT_EQ(WriteCollection({p, p}), WriteProblem(p) + "\n" + WriteProblem(p));
}

TEST(CpWriter, FullRecordOrderAndBlocks) {
  TProblem p = Sample();
  p.tags = {"castling", "", "miniature"};
  p.variants = {{"Main", {{"Qe2-e4"}}}, {"Tries", {{"0-0-0", "Bg2-f3"}, {"Rf2-f1"}}}, {"Empty", {}}};
  p.sortIndications = "Qe2-e4 Rf2-f1";
  p.tmpRegFile = 0;
  EXPECT_EQ(WriteProblem(p),
            "#3\n//#TAGS\n//#castling\n//#miniature\n"
            "//!VARIANTS\n//!Main: Qe2-e4\n//!Tries: 0-0-0 Bg2-f3; Rf2-f1\n//!Empty: none\n//!ENDVARIANTS\n"
            "//@SortIndications: Qe2-e4 Rf2-f1\n//@tmpreg=0\n"
            "{\n  Description: Test\n  FEN: 8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1\n}\n");
  const TCollectionReadResult r = ReadCollection(WriteProblem(p));
  ASSERT_TRUE(r.ok());
  p.tags = {"castling", "miniature"};  // the empty tag is not written
  EXPECT_EQ(r.problems.at(0), p);
}

TEST(CpWriter, TextsThatWouldBreakTheFormat) {
  TProblem p = Sample();
  p.description = "two\nlines";
  p.variants = {{"a:b", {{"Qe2-e4"}}}};
  const std::string text = WriteProblem(p);
  EXPECT_NE(text.find("  Description: two lines\n"), std::string::npos);
  EXPECT_NE(text.find("//!a-b: Qe2-e4\n"), std::string::npos);
  EXPECT_TRUE(ReadCollection(text).ok());
}

TEST(CpWriter, MoveCountPhrase) {
  EXPECT_EQ(NormalizeMoveCountPhrases("After 3 moves: Qh5"), "After 3 move(s): Qh5");
  EXPECT_EQ(NormalizeMoveCountPhrases("x After 12 move(s): y, After 007 moves: z"),
            "x After 12 move(s): y, After 7 move(s): z");
  for (const char* same : {"After many moves: x", "After 3 moves:x", "after 3 moves: x", "After ", "After 3",
                           "After After 2 moves"})
    EXPECT_EQ(NormalizeMoveCountPhrases(same), same);
  TProblem p = Sample();
  p.description = "Found. After 2 moves: Qe4";
  EXPECT_NE(WriteProblem(p).find("Description: Found. After 2 move(s): Qe4\n"), std::string::npos);
}

TEST(SampleCollection, RoundTripsByteForByte) {
  const std::string text = ReadFile(test::SourcePath("data/sample_problems.cp"));
  ASSERT_FALSE(text.empty());
  const TCollectionReadResult r = ReadCollection(text);
  ASSERT_TRUE(r.ok()) << r.errors.front().Describe();
  EXPECT_GE(r.problems.size(), 30u);
  EXPECT_LE(r.problems.size(), 50u);
  EXPECT_EQ(WriteCollection(r.problems), text);
}

std::vector<std::string> Split(const std::string& s, char sep) {
  std::vector<std::string> out;
  std::string item;
  std::istringstream in(s);
  while (std::getline(in, item, sep)) out.push_back(item);
  return out;
}

// Every sample problem has its source row (data/sample_problems_sources.tsv
// names it by the record's number); its position, stipulation and main
// variant (the keys, or none) must be those of the row.
TEST(SampleCollection, MatchesTheReferenceData) {
  std::map<std::string, std::vector<std::string>> rows;
  {
    std::ifstream in(test::SharedData("directmates.tsv"));
    std::string line;
    while (std::getline(in, line)) {
      auto f = Split(line, '\t');
      if (f.size() >= 4) rows[f[0]] = f;
    }
  }
  ASSERT_FALSE(rows.empty());
  std::vector<std::string> ids;
  {
    std::ifstream in(test::SourcePath("data/sample_problems_sources.tsv"));
    std::string line;
    std::getline(in, line);  // the header
    while (std::getline(in, line)) ids.push_back(Split(line, '\t').at(1));
  }
  const TCollectionReadResult r = ReadCollection(ReadFile(test::SourcePath("data/sample_problems.cp")));
  ASSERT_EQ(ids.size(), r.problems.size());
  size_t record = 0;
  bool castlingKey = false, enPassantKey = false, promotionKey = false, noSolution = false,
       severalKeys = false;
  int longOnes = 0;
  for (const TProblem& p : r.problems) {
    const std::string id = ids[record++];
    ASSERT_TRUE(rows.count(id)) << p.description;
    const auto& row = rows[id];
    SCOPED_TRACE(id);
    EXPECT_EQ(std::to_string(p.moves), row[2]);
    TProblem expected;
    ASSERT_TRUE(expected.SetFen(row[1]));
    EXPECT_EQ(p.Fen(), expected.Fen());
    ASSERT_NE(p.MainVariant(), nullptr);
    std::string error;
    const std::vector<TMove> keys = FirstWhiteMoves(p, false, &error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(keys.size(), p.MainVariant()->lines.size());
    std::vector<std::string> uci;
    for (const TMove& m : keys) uci.push_back(MoveToUci(m));
    EXPECT_EQ(uci.empty() ? std::vector<std::string>{"none"} : uci, Split(row[3], ','));
    TChessboard root;
    TTaskContext ctx;
    p.MakeRoot(root, ctx);
    for (const TMove& m : keys) {
      const std::string text = MoveToText(root, m);
      castlingKey |= text[0] == '0';
      enPassantKey |=
          KindOf(root.board[m.from]) == kPawn && FileOf(m.from) != FileOf(m.to) && !root.board[m.to];
      promotionKey |= m.promotion != 0;
    }
    noSolution |= keys.empty();
    severalKeys |= keys.size() > 1;
    longOnes += p.moves >= 5;
  }
  EXPECT_TRUE(castlingKey && enPassantKey && promotionKey && noSolution && severalKeys);
  EXPECT_GE(longOnes, 3);
}

}  // namespace
}  // namespace ostravel
