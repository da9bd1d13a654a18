// Choosing a format and reading or writing problems through it, as every
// front end does for files and standard input.
#include <gtest/gtest.h>

#include "problems/formats.h"

namespace ostravel {
namespace {

const char* kTwoKeys = "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1";

TEST(ProblemFormats, ChosenByNameExtensionOrText) {
  EXPECT_EQ(FormatByName("inp"), TFormat::kPopeye);
  EXPECT_EQ(FormatByName("pgn"), TFormat::kUnknown);
  EXPECT_STREQ(FormatName(TFormat::kEpd), "epd");
  EXPECT_EQ(FormatOfPath("/a/b.CP"), TFormat::kCp);
  EXPECT_EQ(FormatOfPath("x.pop"), TFormat::kPopeye);
  EXPECT_EQ(FormatOfPath("x.fen"), TFormat::kFen);
  EXPECT_EQ(FormatOfPath("x.txt"), TFormat::kUnknown);
  EXPECT_EQ(FormatOfPath("fen"), TFormat::kUnknown);  // a name, not an extension
  EXPECT_EQ(FormatOfText("  beginproblem\npieces white ke1\n"), TFormat::kPopeye);
  EXPECT_EQ(FormatOfText("#2\n{\n FEN: 8/8/8/8/8/8/8/K6k w - - 0 1\n}\n"), TFormat::kCp);
  EXPECT_EQ(FormatOfText("8/8/8/8/8/8/8/K6k w - - dm 2;\n"), TFormat::kEpd);
  EXPECT_EQ(FormatOfText("8/8/8/8/8/8/8/K6k w - - 0 1 #2\n"), TFormat::kFen);
  EXPECT_EQ(FormatOfText(""), TFormat::kFen);
}

TEST(ProblemFormats, EveryFormatReadsTheSameProblem) {
  const std::string texts[] = {
      "#2\n{\n  D: two keys\n  FEN: " + std::string(kTwoKeys) + "\n}\n",
      "BeginProblem\nTitle two keys\nPieces White Ka1 Qd7 Bd1 Be3 Pg3 Black Kf6\nStipulation "
      "#2\nEndProblem\n",
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; id \"two keys\";\n",
      std::string(kTwoKeys) + " #2\n",
  };
  for (const std::string& t : texts) {
    const TProblemsRead r = ReadProblems(t, FormatOfText(t));
    ASSERT_EQ(r.problems.size(), 1u) << t;
    EXPECT_TRUE(r.errors.empty()) << t << r.errors.front();
    EXPECT_EQ(r.problems[0].Fen(), kTwoKeys) << t;
    EXPECT_EQ(r.problems[0].moves, 2) << t;
  }
}

TEST(ProblemFormats, LinesWithoutStipulationTakeTheDefaultOrFail) {
  const std::string fen = std::string(kTwoKeys) + "\n";
  EXPECT_EQ(ReadProblems(fen, TFormat::kFen).errors.size(), 1u);
  const TProblemsRead fenRead = ReadProblems(fen, TFormat::kFen, 3);
  ASSERT_EQ(fenRead.problems.size(), 1u);
  EXPECT_EQ(fenRead.problems[0].moves, 3);
  const std::string epd = "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - id \"x\";\nbroken\n";
  const TProblemsRead none = ReadProblems(epd, TFormat::kEpd);
  EXPECT_TRUE(none.problems.empty());
  ASSERT_EQ(none.errors.size(), 2u);  // the broken line, and the line without dm
  const TProblemsRead withDefault = ReadProblems(epd, TFormat::kEpd, 4);
  ASSERT_EQ(withDefault.problems.size(), 1u);
  EXPECT_EQ(withDefault.problems[0].moves, 4);
  EXPECT_EQ(withDefault.errors.size(), 1u);
  EXPECT_EQ(ReadProblems(fen, TFormat::kUnknown).errors, std::vector<std::string>{"unknown format"});
}

TEST(ProblemFormats, WritingSaysWhatIsLostAndRefusesWhatCannotBeCarried) {
  TProblem p;
  ASSERT_TRUE(p.SetFen(kTwoKeys));
  p.tags = {"StopOnDual"};
  p.variants = {{"Main", {{"Bd1-b3"}, {"Bd1-c2"}}}};
  TProblem q = p;
  q.tags.clear();
  q.variants.clear();
  std::string out, error;
  std::vector<std::string> notes;
  ASSERT_TRUE(WriteProblems({p, q}, TFormat::kEpd, out, error, &notes)) << error;
  EXPECT_NE(out.find("bm Bb3 Bc2;"), std::string::npos) << out;
  ASSERT_EQ(notes.size(), 2u);
  EXPECT_EQ(notes[0], "1 problem(s) lose their tags (epd has none)");
  EXPECT_NE(notes[1].find("the main variant's keys become bm"), std::string::npos);
  notes.clear();
  ASSERT_TRUE(WriteProblems({p}, TFormat::kCp, out, error, &notes));
  EXPECT_TRUE(notes.empty());  // a collection keeps everything
  const TProblemsRead back = ReadProblems(out, TFormat::kCp);
  ASSERT_EQ(back.problems.size(), 1u);
  EXPECT_EQ(back.problems[0], p);

  // Black to move is a defence task: only a collection holds one.
  TProblem black;
  ASSERT_TRUE(black.SetFen("8/3Q4/5k2/8/8/4B1P1/8/K2B4 b - - 0 1"));
  for (TFormat f : {TFormat::kPopeye, TFormat::kEpd, TFormat::kFen}) {
    EXPECT_FALSE(WriteProblems({q, black}, f, out, error)) << FormatName(f);
    EXPECT_EQ(error.rfind("problem 2: ", 0), 0u) << error;
  }
  EXPECT_TRUE(WriteProblems({q, black}, TFormat::kCp, out, error));
}

}  // namespace
}  // namespace ostravel
