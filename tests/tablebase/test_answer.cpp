// The answer reader on the service's answers and on odd ones, and the byte
// form of the cache records.
#include <gtest/gtest.h>

#include "chess/board.h"
#include "tablebase/lichess_answer.h"

namespace ostravel {
namespace {

// Answers in the service's format, written by hand. KQ v K, White to move
// mates at once (k7/8/1K6/8/8/8/8/7Q w - - 0 1: Qh8# mates, Qh2 stalemates),
// moves cut to three.
const char* kMateInOne =
    R"({"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,"insufficient_material":false,)"
    R"("dtz":1,"precise_dtz":1,"dtm":1,"dtw":null,"dtc":null,"category":"win","moves":[)"
    R"({"uci":"h1h8","san":"Qh8#","dtz":0,"precise_dtz":0,"dtm":0,"dtw":null,"dtc":null,"zeroing":false,)"
    R"("conversion":false,"checkmate":true,"stalemate":false,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":false,"category":"loss"},)"
    R"({"uci":"h1h5","san":"Qh5","dtz":-2,"precise_dtz":-2,"dtm":-8,"dtw":null,"dtc":null,"zeroing":false,)"
    R"("conversion":false,"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":false,"category":"loss"},)"
    R"({"uci":"h1h2","san":"Qh2","dtz":0,"precise_dtz":0,"dtm":0,"dtw":null,"dtc":null,"zeroing":false,)"
    R"("conversion":false,"checkmate":false,"stalemate":true,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":false,"category":"draw"}]})";

// The older form with numeric wdl (2 win, 1 cursed win, ... -2 loss).
const char* kOldForm =
    R"({"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,"insufficient_material":false,)"
    R"("wdl":2,"dtz":1,"dtm":1,"moves":[)"
    R"({"uci":"h1h8","san":"Qh8#","checkmate":true,"stalemate":false,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":false,"zeroing":false,"wdl":-2,"dtz":0,"dtm":0},)"
    R"({"uci":"h1h2","san":"Qh2","checkmate":false,"stalemate":true,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":false,"zeroing":false,"wdl":0,"dtz":0,"dtm":null}]})";

// Seven men: no distance to mate; a promotion; a cursed win.
const char* kSevenMen =
    R"({"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,"insufficient_material":false,)"
    R"("dtz":-101,"precise_dtz":-101,"dtm":null,"dtw":null,"dtc":null,"category":"blessed-loss","moves":[)"
    R"({"uci":"e7e8n","san":"e8=N","dtz":102,"precise_dtz":102,"dtm":null,"dtw":null,"dtc":null,"zeroing":true,)"
    R"("conversion":true,"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":false,"category":"cursed-win"}]})";

// White is mated: no moves at all.
const char* kMated =
    R"({"checkmate":true,"stalemate":false,"variant_win":false,"variant_loss":false,"insufficient_material":false,)"
    R"("dtz":0,"precise_dtz":0,"dtm":0,"dtw":null,"dtc":null,"category":"loss","moves":[]})";

// Bare kings.
const char* kBareKings =
    R"({"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,"insufficient_material":true,)"
    R"("dtz":0,"precise_dtz":0,"dtm":null,"dtw":null,"dtc":null,"category":"draw","moves":[)"
    R"({"uci":"e1d1","san":"Kd1","dtz":0,"precise_dtz":0,"dtm":null,"dtw":null,"dtc":null,"zeroing":false,)"
    R"("conversion":false,"checkmate":false,"stalemate":false,"variant_win":false,"variant_loss":false,)"
    R"("insufficient_material":true,"category":"draw"}]})";

TEST(LiChessAnswer, ServiceAnswers) {
  CLiChess r = ParseLiChessAnswer(kMateInOne);
  // Without a wdl key the category decides, and the position's dtm is dropped.
  EXPECT_EQ(r.wdl, 1);
  EXPECT_EQ(r.dtm, kDtmAbsent);
  EXPECT_EQ(r.dtz, 1);
  ASSERT_EQ(r.moveCount, 3);
  ASSERT_EQ(r.moves.size(), 3u);
  EXPECT_EQ(r.moves[0], (TLiChessMove{kH1, kH8, 0, 0, -1, 0, 0}));
  EXPECT_EQ(r.moves[1], (TLiChessMove{kH1, SquareOf(7, 4), 0, 0, -1, -8, 2}));
  EXPECT_EQ(r.moves[2].wdl, 0);

  r = ParseLiChessAnswer(kOldForm);
  EXPECT_EQ(r.wdl, 1);
  EXPECT_EQ(r.dtm, 1);
  ASSERT_EQ(r.moveCount, 2);
  EXPECT_EQ(r.moves[0].wdl, -1);
  EXPECT_EQ(r.moves[0].dtm, 0);
  EXPECT_EQ(r.moves[1].wdl, 0);
  EXPECT_EQ(r.moves[1].dtm, kDtmAbsent);

  r = ParseLiChessAnswer(kSevenMen);
  EXPECT_EQ(r.wdl, -1);  // a blessed loss is a loss
  EXPECT_EQ(r.dtz, 101);
  ASSERT_EQ(r.moveCount, 1);
  EXPECT_EQ(r.moves[0].promotion, WN);
  EXPECT_EQ(r.moves[0].wdl, 1);  // a cursed win is a win
  EXPECT_EQ(r.moves[0].dtm, kDtmAbsent);
  EXPECT_EQ(r.moves[0].dtz, 102);

  r = ParseLiChessAnswer(kMated);
  EXPECT_EQ(r.wdl, -1);
  EXPECT_EQ(r.moveCount, 0);

  r = ParseLiChessAnswer(kBareKings);
  EXPECT_EQ(r.wdl, 0);
  EXPECT_EQ(r.moveCount, 1);
}

TEST(LiChessAnswer, OddAnswers) {
  // Only a category: no moves, no distances.
  CLiChess r = ParseLiChessAnswer(R"({"category":"draw"})");
  EXPECT_EQ(r.wdl, 0);
  EXPECT_EQ(r.dtm, kDtmAbsent);
  EXPECT_EQ(r.moveCount, -1);
  for (const char* unknown :
       {R"({"category":"maybe-win"})", R"({"category":"unknown"})", R"({"category":5})"})
    EXPECT_EQ(ParseLiChessAnswer(unknown).wdl, kWdlUnknown) << unknown;
  EXPECT_EQ(ParseLiChessAnswer(R"({"category":"cursed-win"})").wdl, 1);
  EXPECT_EQ(ParseLiChessAnswer(R"({"category": "blessed-loss"})").wdl, -1);

  // Nothing known: the placeholder.
  for (const char* none :
       {"", "garbage", "<html>Bad gateway</html>", "{\"error\":\"bad fen\"}", "\"wdl\" : 1"})
    EXPECT_TRUE(ParseLiChessAnswer(none).IsUnknown()) << none;

  // wdl null or empty is unknown but still the position's wdl (no category).
  r = ParseLiChessAnswer(R"({"wdl":null,"dtm":5,"category":"win"})");
  EXPECT_EQ(r.wdl, kWdlUnknown);
  EXPECT_EQ(r.dtm, 5);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":,"category":"win"})").wdl, kWdlUnknown);
  // wdl that is not a number: the category decides.
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":"x","category":"loss","dtm":4})").wdl, -1);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":"x","category":"loss","dtm":4})").dtm, kDtmAbsent);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl": -7})").wdl, -1);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":	0})").wdl, 0);

  // dtz: capped, magnitude of small negatives, unknown otherwise.
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"dtz":-300})").dtz, kDtzUnknown);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"dtz":1000})").dtz, 254);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"dtz":-5})").dtz, 5);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"dtz":null})").dtz, kDtzUnknown);
  // dtm outside 16 bits is absent rather than wrapped.
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"dtm":99999999999999999999})").dtm, kDtmAbsent);
}

TEST(LiChessAnswer, MoveLists) {
  CLiChess r = ParseLiChessAnswer(R"({"wdl":1,"moves":[{"uci":"a7a8q","wdl":-2,"dtm":-4}]})");
  ASSERT_EQ(r.moveCount, 1);
  EXPECT_EQ(r.moves[0].from, 48);
  EXPECT_EQ(r.moves[0].to, 56);
  EXPECT_EQ(r.moves[0].promotion, WQ);
  EXPECT_EQ(r.moves[0].dtz, kDtzUnknown);  // no dtz key

  // A promotion letter that is no promotion ends the list as unusable.
  r = ParseLiChessAnswer(
      R"({"wdl":1,"moves":[{"uci":"a7a8q","wdl":-2,"dtm":-4},{"uci":"a7a8k","wdl":-2,"dtm":-4}]})");
  EXPECT_EQ(r.wdl, 1);
  EXPECT_EQ(r.moveCount, -1);
  EXPECT_TRUE(r.moves.empty());
  // So do a missing dtm, a short move text and squares off the board.
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"moves":[{"uci":"e2e4","wdl":0}]})").moveCount, -1);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"moves":[{"uci":"e2")").moveCount, -1);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"moves":[{"uci":"z9e4","dtm":1}]})").moveCount, -1);
  // No moves key: -1; an empty list: 0.
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1})").moveCount, -1);
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"moves":[]})").moveCount, 0);
  // A move's wdl is the next wdl key, else the next category.
  r = ParseLiChessAnswer(R"({"category":"win","moves":[{"uci":"e2e4","dtm":null,"category":"draw"}]})");
  ASSERT_EQ(r.moveCount, 1);
  EXPECT_EQ(r.moves[0].wdl, 0);

  // Keys are never borrowed across objects. A move without a category is
  // unknown, not its neighbour's loss (which would make it a mating move)...
  r = ParseLiChessAnswer(
      R"({"category":"win","moves":[{"uci":"e2e4","dtm":null},{"uci":"d2d4","dtm":-3,"category":"loss"}]})");
  ASSERT_EQ(r.moveCount, 2);
  EXPECT_EQ(r.moves[0].wdl, kWdlUnknown);
  EXPECT_EQ(r.moves[1].wdl, -1);
  // ...a move without dtm makes the list unusable rather than taking the next one's...
  EXPECT_EQ(ParseLiChessAnswer(R"({"category":"win","moves":[{"uci":"e2e4","category":"loss"},)"
                               R"({"uci":"d2d4","dtm":-3,"category":"loss"}]})")
                .moveCount,
            -1);
  // ...and a position without category or wdl is unknown, not its first
  // move's draw (which would remove every key).
  r = ParseLiChessAnswer(R"({"dtz":3,"moves":[{"uci":"e2e4","dtm":null,"category":"draw"}]})");
  EXPECT_TRUE(r.IsUnknown());
  // A position's dtm is not its move's either (it would read as a mate in 4).
  EXPECT_EQ(ParseLiChessAnswer(R"({"wdl":1,"moves":[{"uci":"e2e4","wdl":-1,"dtm":7}]})").dtm, kDtmAbsent);
}

TEST(LiChessAnswer, Keys) {
  EXPECT_EQ(LiChessKey("8/8/8 w - - 0 1"), "8/8/8_w_-_-_0_1");
  EXPECT_EQ(LiChessTableKey("8/8/8_w_-_-_0_1"), "8/8/8_w_-_-_0");
  EXPECT_EQ(LiChessTableKey("nokey"), "nokey");
}

TEST(LiChessCacheRecord, Layout) {
  CLiChess none;
  none.wdl = 0;
  none.dtz = 3;
  none.moveCount = -1;
  std::string bytes;
  ASSERT_TRUE(AppendCacheRecord(bytes, "abc", none));
  EXPECT_EQ(bytes.size(), 3u + 8u);  // no moves: L + 8 bytes
  EXPECT_EQ(bytes, std::string("\x03\xFF"
                               "abc"
                               "\x00\x00\x80\x03\xFF\xFF",
                               11));

  CLiChess r = ParseLiChessAnswer(kMateInOne);
  bytes.clear();
  ASSERT_TRUE(AppendCacheRecord(bytes, "k", r));
  ASSERT_EQ(bytes.size(), 1u + 8u + 8u * 3u);
  EXPECT_EQ(static_cast<unsigned char>(bytes[1]), 3u);
  // The second move: h1 (7), h5 (39), no promotion, reserved, wdl -1, dtm -8, dtz 2.
  EXPECT_EQ(bytes.substr(9 + 8, 8), std::string("\x07\x27\x00\x00\xFF\xF8\xFF\x02", 8));

  EXPECT_FALSE(AppendCacheRecord(bytes, std::string(256, 'x'), r));
  EXPECT_FALSE(AppendCacheRecord(bytes, "", r));
}

TEST(LiChessCacheRecord, ReadBack) {
  std::string bytes;
  const CLiChess a = ParseLiChessAnswer(kMateInOne);
  const CLiChess b = ParseLiChessAnswer(R"({"category":"draw"})");
  AppendCacheRecord(bytes, "first_w", a);
  AppendCacheRecord(bytes, "second_b", b);
  std::vector<TCacheEntry> got;
  std::string damage;
  ASSERT_TRUE(ReadCacheRecords(bytes, &got, &damage)) << damage;
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0].key, "first_w");
  EXPECT_EQ(got[0].record, a);
  EXPECT_EQ(got[1].record, b);

  // Every cut inside the second record keeps the first and says where.
  const std::size_t firstSize = 7 + 8 + 24;
  for (std::size_t cut = firstSize + 1; cut < bytes.size(); ++cut) {
    got.clear();
    EXPECT_FALSE(ReadCacheRecords(std::string_view(bytes).substr(0, cut), &got, &damage)) << cut;
    EXPECT_EQ(got.size(), 1u);
    EXPECT_NE(damage.find("at byte 39"), std::string::npos) << damage;
  }
  // A move count that disagrees with its low byte, a square off the board.
  std::string bad = bytes;
  bad[1] = 4;
  got.clear();
  EXPECT_FALSE(ReadCacheRecords(bad, &got, &damage));
  EXPECT_TRUE(got.empty());
  bad = bytes;
  bad[2 + 7 + 6 + 1] = 64;
  got.clear();
  EXPECT_FALSE(ReadCacheRecords(bad, &got, &damage));
  EXPECT_NE(damage.find("damaged"), std::string::npos);
}

}  // namespace
}  // namespace ostravel
