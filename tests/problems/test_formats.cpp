// The exchange formats beside ".cp": EPD lines, FEN lists, the Popeye input
// language, and the SVG diagram read back as XML.
#include <expat.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "chess/notation.h"
#include "problems/cp_file.h"
#include "problems/diagram.h"
#include "problems/epd.h"
#include "problems/popeye_format.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::vector<TProblem> SampleProblems() {
  std::ifstream in(test::SourcePath("data/sample_problems.cp"), std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  TCollectionReadResult r = ReadCollection(ss.str());
  EXPECT_TRUE(r.ok());
  EXPECT_GE(r.problems.size(), 40u);
  return r.problems;
}

void ExpectSamePosition(const TProblem& a, const TProblem& b, const std::string& what) {
  EXPECT_EQ(0, std::memcmp(a.position.initialBoard, b.position.initialBoard, 64)) << what;
  EXPECT_EQ(a.position.rootCastling, b.position.rootCastling) << what;
  EXPECT_EQ(a.position.rootEpSquare, b.position.rootEpSquare) << what;
  EXPECT_EQ(a.whiteToMove, b.whiteToMove) << what;
  EXPECT_EQ(a.moves, b.moves) << what;
}

// The first moves of the main variant's lines, in UCI.
std::vector<std::string> MainKeys(const TProblem& p) {
  std::vector<std::string> keys;
  if (const TVariant* v = p.MainVariant())
    for (const auto& line : v->lines) {
      std::vector<TMove> moves;
      if (ParseVariantLine(p, line, moves, nullptr, 1) && !moves.empty()) keys.push_back(MoveToUci(moves[0]));
    }
  return keys;
}

TChessboard Root(const TProblem& p, TTaskContext& ctx) {
  TChessboard b;
  p.MakeRoot(b, ctx);
  return b;
}

// ---------------------------------------------------------------- EPD

TEST(Epd, ReadsOpcodesAndSkipsMoveCounters) {
  TEpdRecord r;
  std::string error;
  ASSERT_TRUE(ParseEpdLine(
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1 dm 2; bm Bb3 Bc2; id \"test; one\"; c0 \"x\";", r, error))
      << error;
  EXPECT_EQ(r.fen, "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1");
  EXPECT_EQ(r.dm, 2);
  EXPECT_EQ(r.bm, (std::vector<std::string>{"Bb3", "Bc2"}));
  EXPECT_EQ(r.id, "test; one");  // a quoted ';' does not end the operation
  ASSERT_EQ(r.otherOps.size(), 1u);
  EXPECT_EQ(r.otherOps[0].first, "c0");
  // The last operation may lack its ';'.
  ASSERT_TRUE(ParseEpdLine("8/8/8/8/8/8/8/k1K5 w - - dm 3", r, error));
  EXPECT_EQ(r.dm, 3);
}

TEST(Epd, BrokenLinesAreReportedAndTheRestIsRead) {
  const std::string text =
      "# a comment\n"
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2;\n"
      "not an epd line\n"
      "8/8/8/8/8/8/8/k1K5 x - - dm 2;\n"
      "8/8/8/8/8/8/8/k1K5 w - - dm 0;\n"
      "8/8/8/8/8/8/8/k1K5 w - - dm two;\n"
      "8/8/8/8/8/8/8/k1K5 w - - id \"open;\n"
      "8/8/8/8/8/8/8/k1K5 w - - 9x 1;\n"
      "\n"
      "8/8/8/8/8/8/8/k1K5 w - - dm 1;\r\n";
  const TEpdReadResult r = ReadEpd(text);
  ASSERT_EQ(r.records.size(), 2u);
  EXPECT_EQ(r.records[0].line, 2);
  EXPECT_EQ(r.records[1].line, 10);
  ASSERT_EQ(r.errors.size(), 6u);
  EXPECT_EQ(r.errors[0].line, 3);
  EXPECT_NE(r.errors[1].message.find("side to move"), std::string::npos);
  EXPECT_NE(r.errors[2].message.find("dm needs"), std::string::npos);
  EXPECT_NE(r.errors[4].message.find("unclosed quote"), std::string::npos);
  EXPECT_NE(r.errors[5].message.find("opcode"), std::string::npos);
}

TEST(Epd, SanIsWrittenAndReadWithDisambiguation) {
  TProblem p;
  // Two rooks reach d1; two knights reach d2 from the same file; a pawn
  // captures en passant and another promotes with check.
  ASSERT_TRUE(p.SetFen("3k4/1P6/8/3pP3/8/8/5N2/R4RK1 w - D6 0 1"));
  TTaskContext ctx;
  const TChessboard b = Root(p, ctx);
  TMove m;
  ASSERT_TRUE(ParseAnyMove(b, "Rad1", m));
  EXPECT_EQ(MoveToUci(m), "a1d1");
  EXPECT_EQ(MoveToSan(b, m), "Rad1");  // the pawn on d5 blocks the file
  ASSERT_TRUE(ParseAnyMove(b, "exd6", m));
  EXPECT_EQ(MoveToSan(b, m), "exd6");
  ASSERT_TRUE(ParseAnyMove(b, "b8=Q+", m));
  EXPECT_EQ(MoveToSan(b, m), "b8=Q+");
  ASSERT_TRUE(ParseAnyMove(b, "b8Q", m));     // marks are optional
  ASSERT_TRUE(ParseAnyMove(b, "Rf1-e1", m));  // full notation
  ASSERT_TRUE(ParseAnyMove(b, "f2e4", m));    // UCI
  EXPECT_FALSE(ParseAnyMove(b, "Rd1", m));    // ambiguous
  EXPECT_FALSE(ParseAnyMove(b, "Qd1", m));    // no queen
  EXPECT_FALSE(ParseAnyMove(b, "", m));
  TProblem castle;
  ASSERT_TRUE(castle.SetFen("4k3/8/8/8/8/8/8/R3K2R w KQ - 0 1"));
  const TChessboard c = Root(castle, ctx);
  ASSERT_TRUE(ParseAnyMove(c, "O-O-O", m));
  EXPECT_EQ(MoveToUci(m), "e1c1");
  EXPECT_EQ(MoveToSan(c, m), "O-O-O");
  ASSERT_TRUE(ParseAnyMove(c, "0-0", m));
  EXPECT_EQ(MoveToUci(m), "e1g1");
}

TEST(Epd, ProblemConversionCarriesStipulationKeysAndDescription) {
  TEpdRecord r;
  std::string error;
  ASSERT_TRUE(
      ParseEpdLine("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - dm 2; bm Bb3 Bc2; id \"Martin Väth\";", r, error));
  TProblem p;
  ASSERT_TRUE(EpdToProblem(r, p, error)) << error;
  EXPECT_EQ(p.moves, 2);
  EXPECT_EQ(p.description, "Martin Väth");
  EXPECT_EQ(MainKeys(p), (std::vector<std::string>{"d1b3", "d1c2"}));

  TEpdRecord bad = r;
  bad.dm = 0;
  EXPECT_FALSE(EpdToProblem(bad, p, error));
  EXPECT_NE(error.find("no dm"), std::string::npos);
  bad = r;
  bad.bm = {"Qh8"};
  EXPECT_FALSE(EpdToProblem(bad, p, error));
  bad = r;
  bad.fen = "8/3Q4/5k2/8/8/4B1P1/8/K2B4 b - - 0 1";
  EXPECT_FALSE(EpdToProblem(bad, p, error));
  EXPECT_NE(error.find("Black to move"), std::string::npos);
}

TEST(Epd, MirrorTurnsABlackMateIntoAWhiteOne) {
  TProblem p;
  ASSERT_TRUE(p.SetFen("r3k2r/8/8/8/3pP3/8/8/6K1 b kq E3 0 1"));
  const TTaskContext m = MirrorColours(p.position);
  EXPECT_EQ(m.initialBoard[kA1], WR);
  EXPECT_EQ(m.initialBoard[kE1], WK);
  EXPECT_EQ(m.initialBoard[kG8], BK);
  EXPECT_EQ(m.rootCastling, kCastleWK | kCastleWQ);
  EXPECT_EQ(m.rootEpSquare, String2Square("e6"));
  const TTaskContext back = MirrorColours(m);
  EXPECT_EQ(0, std::memcmp(back.initialBoard, p.position.initialBoard, 64));
  EXPECT_EQ(back.rootCastling, p.position.rootCastling);
  EXPECT_EQ(back.rootEpSquare, p.position.rootEpSquare);
  EXPECT_EQ(MoveToUci(MirrorMove(MirrorMove(TMove{12, 28, 0, 0}))), "e2e4");
}

// ---------------------------------------------------------------- FEN lists

TEST(FenList, StipulationPerLineOrByDefault) {
  const std::string text =
      "8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1 #2\n"
      "8/8/8/8/8/8/8/k1K5 w - - 0 1\n"
      "8/8/8/8/8/8/8/k1K5 w - - 0 1 #x\n"
      "8/8/8/8/8/8/8/k1K5 b - - 0 1 #2\n"
      "8/8/8/8/8/8/8/k1K1K3 w - - 0 1 #2\n";
  TFenListReadResult r = ReadFenList(text);
  ASSERT_EQ(r.problems.size(), 1u);
  EXPECT_EQ(r.problems[0].moves, 2);
  ASSERT_EQ(r.errors.size(), 4u);
  EXPECT_EQ(r.errors[0].line, 2);  // no stipulation
  EXPECT_EQ(r.errors[3].message, "Illegal number of kings.");
  r = ReadFenList(text, 5);
  ASSERT_EQ(r.problems.size(), 2u);
  EXPECT_EQ(r.problems[1].moves, 5);
}

// ---------------------------------------------------------------- Popeye

TEST(Popeye, ReadsTheProblemistsInput) {
  const std::string text =
      "beginproblem\n"
      "author Sam Loyd\n"
      "origin N.Y. State Chess Association, 16.8.1894\n"
      "title Test\n"
      "remark not kept\n"
      "pieces white ke1 ra1h1 sb1 pe5 black ke8 pd5 pe4\n"
      "stip #3\n"
      "option nocast h1 enpassant d6 try\n"
      "NextProblem\n"
      "Pie White Kb1 Qd1 Black Ka8\n"
      "Sti #1\n"
      "endproblem\n";
  const TPopeyeReadResult r = ReadPopeye(text);
  ASSERT_TRUE(r.errors.empty()) << r.errors[0].Describe();
  ASSERT_EQ(r.problems.size(), 2u);
  const TProblem& p = r.problems[0];
  EXPECT_EQ(p.moves, 3);
  EXPECT_EQ(p.description, "Sam Loyd, N.Y. State Chess Association, 16.8.1894, Test");
  EXPECT_EQ(p.position.initialBoard[kB1], WN);
  EXPECT_EQ(p.position.initialBoard[kH1], WR);
  EXPECT_EQ(p.position.initialBoard[String2Square("e4")], BP);
  EXPECT_EQ(p.position.rootCastling, kCastleWQ);  // h1 lost its right; Black's rooks are not home
  EXPECT_EQ(p.position.rootEpSquare, String2Square("d6"));
  EXPECT_EQ(r.problems[1].moves, 1);
  EXPECT_EQ(r.problems[1].position.initialBoard[kD1], WQ);
  // The double step named by the square the pawn arrived on.
  const TPopeyeReadResult arrival = ReadPopeye(
      "BeginProblem Pieces White Ke1 Pe5 Black Ke8 Pd5 Stipulation #2 Option EnPassant d5 EndProblem");
  ASSERT_EQ(arrival.problems.size(), 1u);
  EXPECT_EQ(arrival.problems[0].position.rootEpSquare, String2Square("d6"));
  EXPECT_EQ(r.notes.size(), 2u);  // the remark and the option Try
}

TEST(Popeye, WhatAnOrthodoxDirectmateCannotCarryIsAnError) {
  struct Case {
    const char* body;
    const char* message;
  };
  const Case cases[] = {
      {"pieces white ke1 gra1 black ke8 stipulation #2", "fairy piece gr"},
      {"pieces white ke1 na1 black ke8 stipulation #2", "fairy piece n"},  // N is the nightrider
      {"pieces white ke1 black ke8 stipulation h#2", "stipulation h#2"},
      {"pieces white ke1 black ke8 stipulation s#2", "stipulation s#2"},
      {"pieces white ke1 black ke8 stipulation #2 condition circe", "fairy condition circe"},
      {"pieces white ke1 black ke8 stipulation #2 twin move e1 e2", "twins"},
      {"pieces neutral ke1", "neutral"},
      {"pieces white ke1 ke1 black ke8 stipulation #2", "Square e1 already occupied."},
      {"pieces white ke1 black ke8", "Stipulation missing"},
      {"pieces white ke1 black ke8 pd7 stipulation #2 option enpassant d6", "EnPassant d6"},
      {"pieces white ke1 black ke8 stipulation #2 bogus", "keyword expected"},
      {"pieces white ke1 kd1 black ke8 stipulation #2", "Illegal number of kings."},
  };
  for (const Case& c : cases) {
    const TPopeyeReadResult r = ReadPopeye(std::string("BeginProblem\n") + c.body + "\nEndProblem\n");
    ASSERT_EQ(r.errors.size(), 1u) << c.body;
    EXPECT_NE(r.errors[0].message.find(c.message), std::string::npos) << r.errors[0].Describe();
    EXPECT_TRUE(r.problems.empty());
  }
  // A problem in error does not stop the next one.
  const TPopeyeReadResult r = ReadPopeye(
      "beginproblem\npieces white ke1 gra1 black ke8\nstipulation #2\nnextproblem\n"
      "pieces white ke1 black ke8\nstipulation #2\nendproblem\n");
  ASSERT_EQ(r.errors.size(), 1u);
  EXPECT_EQ(r.errors[0].Describe(), "Problem 1, line 2: fairy piece gr cannot be carried by a #n problem");
  EXPECT_EQ(r.problems.size(), 1u);
  EXPECT_FALSE(ReadPopeye("pieces white ke1").errors.empty());
  EXPECT_FALSE(ReadPopeye("beginproblem pieces white ke1 black ke8 stipulation #2").errors.empty());
}

TEST(Popeye, CastlingRightsAndEnPassantAreWrittenAsOptions) {
  TProblem p;
  ASSERT_TRUE(p.SetFen("r3k2r/8/8/3pP3/8/8/8/R3K2R w Kq D6 0 1"));
  p.moves = 3;
  p.description = "Kurt Schmeisser, Die Schwalbe, 1942";
  std::string text, error;
  ASSERT_TRUE(WritePopeyeProblem(p, text, error));
  EXPECT_NE(text.find("Author Kurt Schmeisser\nOrigin Die Schwalbe, 1942\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Option NoCastling a1 h8 EnPassant d6\n"), std::string::npos) << text;
  const TPopeyeReadResult r = ReadPopeye(text);
  ASSERT_EQ(r.problems.size(), 1u);
  ExpectSamePosition(p, r.problems[0], text);
  EXPECT_EQ(r.problems[0].description, p.description);
  p.whiteToMove = false;
  EXPECT_FALSE(WritePopeyeProblem(p, text, error));
}

TEST(Popeye, DescriptionIsWrittenAsAuthorOriginAndTitle) {
  TProblem p;
  ASSERT_TRUE(p.SetFen("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1"));
  // Description, the lines written, and what reads back.
  const struct {
    const char* description;
    const char* lines;
    const char* back;
  } cases[] = {
      {"Sample", "BeginProblem\nPieces\n", ""},  // unattributed: no author
      {"Sam Loyd, \"Excelsior\"", "Author Sam Loyd\nTitle \"Excelsior\"\nPieces", nullptr},
      {"Sam Loyd, London Era, 1861, \"Excelsior\"",
       "Author Sam Loyd\nOrigin London Era, 1861\nTitle \"Excelsior\"\n", nullptr},
      {"\"Excelsior\"", "BeginProblem\nTitle \"Excelsior\"\nPieces", nullptr},
      // Quotes inside the text, or not after ", ", make no title.
      {"A \"quoted\" word", "Author A \"quoted\" word\n", nullptr},
      {"Loyd,\"X\"", "Author Loyd,\"X\"\n", nullptr},
      {"Loyd ,  \"X\"", "Author Loyd ,  \"X\"\n", "Loyd ,  \"X\""},
  };
  for (const auto& c : cases) {
    p.description = c.description;
    std::string text, error;
    ASSERT_TRUE(WritePopeyeProblem(p, text, error));
    EXPECT_NE(text.find(c.lines), std::string::npos) << text;
    const TPopeyeReadResult r = ReadPopeye(text);
    ASSERT_EQ(r.problems.size(), 1u) << text;
    EXPECT_EQ(r.problems[0].description, c.back ? c.back : c.description) << text;
  }
}

// ---------------------------------------------------------------- round trips

TEST(FormatRoundTrip, EveryProblemOfTheSampleCollection) {
  for (const TProblem& p : SampleProblems()) {
    const std::string what = p.Fen() + " " + p.description;
    std::string text, error;
    // Popeye: position, stipulation, description.
    ASSERT_TRUE(WritePopeyeProblem(p, text, error)) << what << error;
    const TPopeyeReadResult pop = ReadPopeye(text);
    ASSERT_EQ(pop.problems.size(), 1u) << text;
    ExpectSamePosition(p, pop.problems[0], what);
    EXPECT_EQ(pop.problems[0].description, p.description == kUnattributedDescription ? "" : p.description)
        << text;
    // EPD: position, stipulation, description, keys.
    TEpdRecord rec;
    ASSERT_TRUE(ProblemToEpd(p, rec, error)) << what << error;
    const TEpdReadResult epd = ReadEpd(WriteEpdLine(rec));
    ASSERT_EQ(epd.records.size(), 1u) << WriteEpdLine(rec);
    TProblem back;
    ASSERT_TRUE(EpdToProblem(epd.records[0], back, error)) << what << error;
    ExpectSamePosition(p, back, what);
    std::string id = p.description;
    std::replace(id.begin(), id.end(), '"', '\'');
    EXPECT_EQ(back.description, id);
    EXPECT_EQ(MainKeys(back), MainKeys(p)) << what;
    // FEN list: the position; the stipulation comes from the reader.
    const TFenListReadResult fen = ReadFenList(WriteFenList({p}), p.moves);
    ASSERT_EQ(fen.problems.size(), 1u);
    ExpectSamePosition(p, fen.problems[0], what);
  }
}

// ---------------------------------------------------------------- diagrams

struct TSvgRead {
  std::map<std::string, char> pieces;  // square -> FEN letter
  std::vector<std::string> texts;      // character data of the caption
  bool inCaption = false;
};

void XMLCALL StartElement(void* data, const XML_Char* name, const XML_Char** atts) {
  auto* r = static_cast<TSvgRead*>(data);
  std::string cls, piece, square;
  for (int i = 0; atts[i]; i += 2) {
    if (!std::strcmp(atts[i], "class")) cls = atts[i + 1];
    if (!std::strcmp(atts[i], "data-piece")) piece = atts[i + 1];
    if (!std::strcmp(atts[i], "data-square")) square = atts[i + 1];
  }
  if (cls == "piece") {
    EXPECT_EQ(piece.size(), 1u);
    EXPECT_EQ(r->pieces.count(square), 0u) << square;
    r->pieces[square] = piece.empty() ? '?' : piece[0];
  }
  if (!std::strcmp(name, "text") && (cls == "description" || cls == "stipulation" || cls == "count")) {
    r->texts.emplace_back();
    r->inCaption = true;
  }
}

void XMLCALL EndElement(void* data, const XML_Char*) {
  static_cast<TSvgRead*>(data)->inCaption = false;
}

void XMLCALL CharData(void* data, const XML_Char* s, int len) {
  auto* r = static_cast<TSvgRead*>(data);
  if (r->inCaption) r->texts.back().append(s, static_cast<size_t>(len));
}

TSvgRead ParseSvg(const std::string& svg) {
  TSvgRead r;
  XML_Parser parser = XML_ParserCreate("UTF-8");
  XML_SetUserData(parser, &r);
  XML_SetElementHandler(parser, StartElement, EndElement);
  XML_SetCharacterDataHandler(parser, CharData);
  const bool ok = XML_Parse(parser, svg.data(), static_cast<int>(svg.size()), 1) == XML_STATUS_OK;
  EXPECT_TRUE(ok) << XML_ErrorString(XML_GetErrorCode(parser)) << " at line "
                  << XML_GetCurrentLineNumber(parser);
  XML_ParserFree(parser);
  return r;
}

TEST(Diagram, EverySampleDiagramIsXmlWithThePiecesOnTheirSquares) {
  for (const TProblem& p : SampleProblems()) {
    const TSvgRead r = ParseSvg(DiagramSvg(p));
    std::map<std::string, char> want;
    for (int sq = 0; sq < 64; ++sq)
      if (p.position.initialBoard[sq]) want[SquareToString(sq)] = PieceLetter(p.position.initialBoard[sq]);
    EXPECT_EQ(r.pieces, want) << p.Fen();
    ASSERT_FALSE(r.texts.empty());
    const std::string stipulation = std::string(1, '#') + std::to_string(p.moves);
    EXPECT_EQ(r.texts[r.texts.size() - 2], stipulation);
  }
}

TEST(Diagram, CaptionIsEscapedAndWrapped) {
  TProblem p;
  ASSERT_TRUE(p.SetFen("4k3/8/8/8/8/8/8/R3K3 w Q - 0 1"));
  p.moves = 3;
  p.description = "A <b>&amp; \"quoted\" 'text' \x01 and \xff bytes, " + std::string(200, 'x') + " end";
  const TSvgRead r = ParseSvg(DiagramSvg(p));
  ASSERT_GE(r.texts.size(), 4u);  // the long description takes several lines
  EXPECT_EQ(r.texts[0].substr(0, 22), "A <b>&amp; \"quoted\" 't");
  EXPECT_NE(r.texts[0].find("\xEF\xBF\xBD"), std::string::npos);  // the stray byte, replaced
  EXPECT_EQ(r.texts.back(), "(2+1)");
  EXPECT_EQ(r.pieces.size(), 3u);
  TDiagramOptions bare;
  bare.showDescription = bare.showStipulation = false;
  EXPECT_TRUE(ParseSvg(DiagramSvg(p, bare)).texts.empty());
}

TEST(Diagram, PngIsRenderedAtTheSvgsSize) {
  std::string error;
  if (!DiagramPngAvailable()) {
    EXPECT_TRUE(SvgToPng(DiagramSvg(SampleProblems().front()), error).empty());
    EXPECT_FALSE(error.empty());
    GTEST_SKIP() << "built without PNG output";
  }
  EXPECT_TRUE(SvgToPng("<svg", error).empty());
  EXPECT_FALSE(error.empty());
#ifdef OSTRAVEL_SANITIZED
  GTEST_SKIP() << "fontconfig keeps its caches for the life of the process";
#endif
  TDiagramOptions opt;
  opt.squareSize = 20;
  const std::string svg = DiagramSvg(SampleProblems().front(), opt);
  error.clear();
  const std::string png = SvgToPng(svg, error);
  ASSERT_GT(png.size(), 24u) << error;
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  // The header's width, big-endian after "IHDR", is the SVG's.
  const auto be32 = [&](size_t at) {
    uint32_t v = 0;
    for (size_t i = at; i < at + 4; ++i) v = v << 8 | static_cast<unsigned char>(png[i]);
    return v;
  };
  const size_t w = svg.find("width=\"");
  ASSERT_NE(w, std::string::npos);
  EXPECT_EQ(be32(16), static_cast<uint32_t>(std::stoul(svg.substr(w + 7))));
}

}  // namespace
}  // namespace ostravel
