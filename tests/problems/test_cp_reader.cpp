// The ".cp" reader: the grammar of a record, its messages, the header lines,
// default clauses and the recovery after a record in error.
#include <gtest/gtest.h>

#include "chess/fen.h"
#include "problems/cp_file.h"

namespace ostravel {
namespace {

constexpr const char* kFen = "4k3/8/8/8/8/8/8/4K2R w K - 0 1";

// The single error of a text, or a failure when there is not exactly one.
TCollectionReadError OnlyError(const std::string& text) {
  const TCollectionReadResult r = ReadCollection(text);
  EXPECT_EQ(r.errors.size(), 1u) << text;
  return r.errors.empty() ? TCollectionReadError{} : r.errors.front();
}

std::string Message(const std::string& text) {
  return OnlyError(text).message;
}

TProblem OnlyProblem(const std::string& text) {
  const TCollectionReadResult r = ReadCollection(text);
  EXPECT_TRUE(r.ok()) << (r.errors.empty() ? "" : r.errors.front().Describe());
  EXPECT_EQ(r.problems.size(), 1u);
  return r.problems.empty() ? TProblem{} : r.problems.front();
}

TEST(CpReader, MinimalRecordWithFen) {
  const TProblem p = OnlyProblem(std::string("#3\n{\n  Description: A study\n  FEN: ") + kFen + "\n}\n");
  EXPECT_EQ(p.moves, 3);
  EXPECT_EQ(p.RootPlies(), 5);
  EXPECT_EQ(p.description, "A study");
  EXPECT_EQ(p.Fen(), kFen);
  EXPECT_TRUE(p.tags.empty());
  EXPECT_TRUE(p.variants.empty());
  EXPECT_FALSE(p.tmpRegFile.has_value());
  // "#1" is White's mating move only.
  const TProblem one = OnlyProblem(std::string("#1 { D: x\nFEN: ") + kFen + "\n}");
  TChessboard b;
  TTaskContext ctx;
  one.MakeRoot(b, ctx);
  EXPECT_EQ(b.remainingPlies, 1);
  EXPECT_EQ(b.initialPlies, 1);
}

TEST(CpReader, IdentifiersIgnoreCaseAndAcceptEveryForm) {
  for (const char* d : {"D", "desc", "Description", "DESCRIPTION"}) {
    const TProblem p = OnlyProblem(std::string("#2\n{\n") + d + ": text\nfen: " + kFen + "\n}");
    EXPECT_EQ(p.description, "text") << d;
  }
  for (const char* w : {"W", "WH", "white"})
    for (const char* b : {"B", "bl", "BLACK"}) {
      const TProblem p = OnlyProblem(std::string("#2 {\n") + w + ": Ke1\n" + b + ": Ke8\n}");
      EXPECT_EQ(p.position.initialBoard[kE1], WK);
      EXPECT_EQ(p.position.initialBoard[kE8], BK);
    }
}

TEST(CpReader, FigureLists) {
  const TProblem p =
      OnlyProblem("#2\n{\n D: lists\n W: Ke1, Ra1, Rh1, e2, Pf2, Qd1, Nb1, Bc1\n B: Ke8, Pd7, nb8\n}");
  const uint8_t* b = p.position.initialBoard;
  EXPECT_EQ(b[kE1], WK);
  EXPECT_EQ(b[kA1], WR);
  EXPECT_EQ(b[12], WP);  // e2: a pawn by its square alone
  EXPECT_EQ(b[13], WP);  // Pf2
  EXPECT_EQ(b[kD1], WQ);
  EXPECT_EQ(b[51], BP);  // d7
  EXPECT_EQ(b[kB8], BN);
  EXPECT_TRUE(p.whiteToMove);
  // A bare board grants the rights its king and rooks allow.
  EXPECT_EQ(p.position.rootCastling, kCastleWK | kCastleWQ);
  EXPECT_EQ(p.Fen(), "1n2k3/3p4/8/8/8/8/4PP2/RNBQK2R w KQ - 0 1");
  // Empty lists are allowed (the position is checked when it is solved).
  EXPECT_EQ(OnlyProblem("#2 { W: B: Ke8 }").position.initialBoard[kE8], BK);
  EXPECT_EQ(OnlyProblem("#2 { W: Ke1 B: }").position.initialBoard[kE1], WK);
}

TEST(CpReader, FigureListMessages) {
  EXPECT_EQ(Message("#2 { W: Xe1 B: Ke8 }"), "White figure specification is invalid: Xe1");
  EXPECT_EQ(Message("#2 { W: Ke9 B: Ke8 }"), "White figure position is invalid: Ke9");
  EXPECT_EQ(Message("#2 { W: Ki1 B: Ke8 }"), "White figure position is invalid: Ki1");
  EXPECT_EQ(Message("#2 { W: K B: Ke8 }"), "White figure position is invalid: K");
  EXPECT_EQ(Message("#2 { W: Ke1 B: Ze8 }"), "Black figure specification is invalid: Ze8");
  EXPECT_EQ(Message("#2 { W: Ke1 B: Ke18 }"), "Black figure position is invalid: Ke18");
  EXPECT_EQ(Message("#2 { W: Ke1, Qe1 B: Ke8 }"), "Square e1 already occupied.");
  EXPECT_EQ(Message("#2 { W: Ke1, d4 B: Ke8, Pd4 }"), "Square d4 already occupied.");
  EXPECT_EQ(Message("#2 { W: Ke1, , d4 B: Ke8 }"), "Alphanumeric identifier expected. Found: ,");
}

TEST(CpReader, IdentifierAndColonMessages) {
  EXPECT_EQ(Message("#2 { WHI: Ke1 B: Ke8 }"), "White figures identifier expected (W, WH or WHITE).");
  EXPECT_EQ(Message("#2 { W: Ke1 BLA: Ke8 }"), "Black figures identifier expected (B, BL or BLACK).");
  EXPECT_EQ(Message("#2 { Description x\n W: Ke1 B: Ke8 }"),
            "Colon ':' expected after description identifier.");
  EXPECT_EQ(Message("#2 { FEN 4k3/8/8/8/8/8/8/4K3 w - - 0 1\n}"), "Colon ':' expected after FEN identifier.");
  EXPECT_EQ(Message("#2 { W Ke1 B: Ke8 }"), "Colon ':' expected after white figures identifier.");
  EXPECT_EQ(Message("#2 { W: Ke1 B Ke8 }"), "Colon expected after black figures identifier.");
  EXPECT_EQ(Message("#2 { : x }"), "Alphanumeric identifier expected. Found: :");
  EXPECT_EQ(Message("#x2 { W: Ke1 B: Ke8 }"), "Invalid data");
  EXPECT_EQ(Message("#{ W: Ke1 B: Ke8 }"), "Alphanumeric identifier expected. Found: {");
}

TEST(CpReader, BracketMessages) {
  EXPECT_EQ(Message("#2 W: Ke1 B: Ke8 }"), "Opening bracket expected.");
  EXPECT_EQ(Message("#2 { W: Ke1 B: Ke8"), "Unexpected end of file.");
  EXPECT_EQ(Message("#2 { W: Ke1 B: Ke8 ]"), "Closing bracket expected.");
  EXPECT_EQ(Message("#2"), "Unexpected end of file.");
}

TEST(CpReader, LexicalErrors) {
  const TCollectionReadError e = OnlyError("#2 { W: Ke1 B: Ke8 }\n/* never closed\n#3\n");
  EXPECT_EQ(e.message, "Unexpected end of file before comment closed.");
  EXPECT_EQ(e.record, 2);
  EXPECT_EQ(e.line, 2);
  EXPECT_EQ(Message("#2 { W: Ke1 / B: Ke8 }"), "Unexpected lexem (slash).");
  // Comments of both kinds are skipped; a closed block comment may span lines.
  const TProblem p = OnlyProblem("// a collection\n#2 /* two\nlines */ { // open\n W: Ke1 B: Ke8 }");
  EXPECT_EQ(p.moves, 2);
}

TEST(CpReader, InvalidFenAndStipulation) {
  EXPECT_EQ(Message("#2 { D: x\n FEN: not a fen\n}"), "Invalid data");
  EXPECT_EQ(Message("#0 { W: Ke1 B: Ke8 }"), "Invalid data");
  EXPECT_EQ(Message("#126 { W: Ke1 B: Ke8 }"), "Invalid data");
  EXPECT_EQ(Message("#32767 { W: Ke1 B: Ke8 }"), "Invalid data");
  EXPECT_EQ(OnlyProblem("#125 { W: Ke1 B: Ke8 }").moves, 125);
}

TEST(CpReader, HeaderLines) {
  const TProblem p = OnlyProblem(
      "#4\n//@tmpreg=12\n//#TAGS\n//#castling\n//#  two words  \n"
      "//@SortIndications: Rh1-h8, Ke1-f2  \n"
      "//!VARIANTS\n//!Main: Rh1-h8 Ke8-d7 Rh8-h7; 0-0\n//!Try: none\n//!Cut: ;none\n//!ENDVARIANTS\n"
      "{ D: x\nFEN: " +
      std::string(kFen) + "\n}");
  EXPECT_EQ(p.tmpRegFile, 12u);
  EXPECT_EQ(p.tags, (std::vector<std::string>{"castling", "two words"}));
  EXPECT_EQ(p.sortIndications, "Rh1-h8, Ke1-f2");
  ASSERT_EQ(p.variants.size(), 3u);
  EXPECT_EQ(p.variants[0].name, "Main");
  EXPECT_EQ(p.variants[0].lines,
            (std::vector<std::vector<std::string>>{{"Rh1-h8", "Ke8-d7", "Rh8-h7"}, {"0-0"}}));
  EXPECT_EQ(p.variants[1].name, "Try");
  EXPECT_TRUE(p.variants[1].lines.empty());
  // "none" as one of the lines is no line: written back, it reads the same.
  EXPECT_TRUE(p.variants[2].lines.empty());
}

TEST(CpReader, MalformedHeaderLines) {
  const std::string body = " { W: Ke1 B: Ke8 }";
  EXPECT_EQ(Message("#2\n//#castling\n" + body), "Invalid data");  // tag outside a tag block
  EXPECT_EQ(Message("#2\n//!VARIANTS\n//!Main e2-e4\n//!ENDVARIANTS\n" + body), "Invalid data");
  EXPECT_EQ(Message("#2\n//!VARIANTS\n//!Main: e2-e4\n" + body), "Invalid data");
  EXPECT_EQ(Message("#2\n//!VARIANTS\n//!Main: e2-e4\n"), "Unexpected end of file.");
  EXPECT_EQ(Message("#2\n//!Main: e2-e4\n" + body), "Invalid data");
  EXPECT_EQ(Message("#2\n//@tmpreg=x1\n" + body), "Invalid data");
  EXPECT_EQ(Message("#2\n//@tmpreg=-1\n" + body), "Alphanumeric identifier expected. Found: -1");
  EXPECT_EQ(Message("#2\n//@tmpreg=1\n//@tmpreg=2\n" + body), "Invalid data");
  EXPECT_EQ(Message("#2\n//@SortIndications e2-e4\n" + body), "Invalid data");
}

TEST(CpReader, BlackToMoveKeepsWhitesMoves) {
  const TProblem p = OnlyProblem("#2 { D: x\nFEN: 4k3/8/8/8/8/8/8/4K3 b - - 0 1\n}");
  EXPECT_FALSE(p.whiteToMove);
  EXPECT_EQ(p.RootPlies(), 4);
  EXPECT_EQ(p.Fen(), "4k3/8/8/8/8/8/8/4K3 b - - 0 1");
}

TEST(CpReader, CrLfBomAndUtf8Text) {
  const TProblem p =
      OnlyProblem("\xEF\xBB\xBF#2\r\n{\r\n  Description: Martin V\xC3\xA4th\r\n  FEN: " + std::string(kFen) +
                  "\r\n}\r\n");
  EXPECT_EQ(p.description, "Martin V\xC3\xA4th");
  EXPECT_EQ(p.Fen(), kFen);
}

TEST(CpReaderDefaults, StipulationAndDescriptionPrefix) {
  const TCollectionReadResult r = ReadCollection(
      "//!default #5\n{ D: one\n W: Ke1 B: Ke8 }\n#2 { W: Ke1 B: Ke8 }\n"
      "//!default Description: Sample\n{ D: three\n W: Ke1 B: Ke8 }\n{ W: Ke1 B: Ke8 }\n"
      "//!default none\n#3 { D: five\n W: Ke1 B: Ke8 }\n");
  ASSERT_TRUE(r.ok()) << r.errors.front().Describe();
  ASSERT_EQ(r.problems.size(), 5u);
  EXPECT_EQ(r.problems[0].moves, 5);
  EXPECT_EQ(r.problems[1].moves, 2);
  EXPECT_EQ(r.problems[2].description, "Sample three");
  EXPECT_EQ(r.problems[3].description, "Sample");
  EXPECT_EQ(r.problems[3].moves, 5);
  EXPECT_EQ(r.problems[4].description, "five");
  // Without a default stipulation a record must start with "#".
  EXPECT_EQ(Message("//!default none\n{ W: Ke1 B: Ke8 }"), "Invalid data");
}

TEST(CpReaderDefaults, Messages) {
  for (const char* bad : {"//!default", "//!default #", "//!default #x", "//!default Stip: 3",
                          "//!default Description x", "//!defaultnone"}) {
    const TCollectionReadError e = OnlyError(std::string(bad) + "\n#2 { W: Ke1 B: Ke8 }");
    EXPECT_EQ(e.message, "Incorrect 'default' clause.") << bad;
    EXPECT_EQ(e.record, 0);
    EXPECT_EQ(e.line, 1);
  }
  EXPECT_EQ(Message("//!default #0\n#2 { W: Ke1 B: Ke8 }"), "Error in 'default' clause.");
  EXPECT_EQ(Message("//!default #40000\n#2 { W: Ke1 B: Ke8 }"), "Error in 'default' clause.");
  EXPECT_EQ(Message("#2\n//!default #3\n{ W: Ke1 B: Ke8 }"), "Error in 'default' clause.");
}

TEST(CpReaderRecovery, EveryRecordInErrorIsReported) {
  const std::string text =
      "#2\n{ D: good one\n W: Ke1 B: Ke8 }\n"  // record 1, lines 1-3
      "\n"
      "#2\n{ D: no closing bracket\n W: Ke1 B: Ke8\n"    // record 2, lines 5-7
      "#3\n{ D: good two\n W: Ke1 B: Ke8 }\n"            // record 3, lines 8-10
      "#2\n{ D: bad figure\n W: Ke1, Xx3\n B: Ke8\n}\n"  // record 4, lines 11-15
      "#4\n{ D: good three\n W: Ke1 B: Ke8 }\n";         // record 5, lines 16-18
  const TCollectionReadResult r = ReadCollection(text);
  ASSERT_EQ(r.problems.size(), 3u);
  EXPECT_EQ(r.problems[0].description, "good one");
  EXPECT_EQ(r.problems[1].description, "good two");
  EXPECT_EQ(r.problems[2].description, "good three");
  ASSERT_EQ(r.errors.size(), 2u);
  EXPECT_EQ(r.errors[0].record, 2);
  EXPECT_EQ(r.errors[0].line, 8);
  EXPECT_EQ(r.errors[0].message, "Closing bracket expected.");
  EXPECT_EQ(r.errors[0].recordText, "#2\n{ D: no closing bracket\n W: Ke1 B: Ke8");
  EXPECT_EQ(r.errors[1].record, 4);
  EXPECT_EQ(r.errors[1].line, 13);
  EXPECT_EQ(r.errors[1].message, "White figure specification is invalid: Xx3");
  EXPECT_EQ(r.errors[1].recordText, "#2\n{ D: bad figure\n W: Ke1, Xx3\n B: Ke8\n}");
  EXPECT_EQ(r.errors[1].Describe(), "Record 4, line 13: White figure specification is invalid: Xx3");
}

TEST(CpReaderRecovery, StrayTextAndCommentsBetweenRecords) {
  const TCollectionReadResult r = ReadCollection(
      "garbage here\nmore # garbage\n#2 { W: Ke1 B: Ke8 }\n/* #9 in a comment */\n} stray\n#3 { W: Ke1 B: "
      "Ke8 }");
  ASSERT_EQ(r.problems.size(), 2u);
  EXPECT_EQ(r.problems[1].moves, 3);
  ASSERT_EQ(r.errors.size(), 2u);
  EXPECT_EQ(r.errors[0].record, 1);
  EXPECT_EQ(r.errors[0].recordText, "garbage here\nmore # garbage");
  EXPECT_EQ(r.errors[1].record, 3);
  EXPECT_EQ(r.errors[1].line, 5);
}

}  // namespace
}  // namespace ostravel

namespace ostravel {
namespace {

// A huge file of broken records keeps only the first errors, counts the rest,
// and never quotes a whole line of junk.
TEST(CpReaderLimits, ErrorsAreCappedAndJunkIsShownShort) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += "#2\n";
  const TCollectionReadResult r = ReadCollection(text);
  EXPECT_EQ(r.errors.size(), kMaxKeptReadErrors);
  EXPECT_EQ(r.errors.size() + r.moreErrors, 5000u);
  EXPECT_EQ(r.MoreErrorsText(), "... and 4900 more errors");
  EXPECT_TRUE(
      ReadCollection("#1\n{ D: x\n FEN: 4k3/8/8/8/8/8/8/4KQ2 w - - 0 1\n}\n").MoreErrorsText().empty());

  const TCollectionReadResult junk = ReadCollection("#2 {\n" + std::string(10000, '\x01') + "\n}\n");
  ASSERT_FALSE(junk.errors.empty());
  EXPECT_LT(junk.errors[0].message.size(), 200u);
  EXPECT_EQ(junk.errors[0].message.find('\x01'), std::string::npos);
}

}  // namespace
}  // namespace ostravel
