#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>
#include <sstream>

#include "chess/chessboard_id.h"
#include "chess/fen.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

using test::MessageOf;

std::string Board6(const std::string& text) {
  return MessageOf([&] {
    uint8_t b[64];
    TChessboardId::Alphanum6ToBoard(text, b);
  });
}
std::string Board5(const std::string& text) {
  return MessageOf([&] {
    uint8_t b[64];
    TChessboardId::Alphanum5ToBoard(text, b);
  });
}

constexpr uint8_t kCodes[12] = {WK, BK, WP, BP, WQ, BQ, WR, BR, WB, BB, WN, BN};

TEST(ChessboardId, EmptyBoard) {
  const uint8_t empty[64] = {};
  const TChessboardId id(empty);
  EXPECT_EQ(id.m_nBits, 64);
  EXPECT_EQ(id.ToAlphanum6(), "00000000000");  // ten full groups and one of four bits
  EXPECT_EQ(id.ToAlphanum5(), "0000000000000");
  uint8_t back[64];
  std::memset(back, 0x41, 64);
  TChessboardId::Alphanum6ToBoard("00000000000", back);
  EXPECT_EQ(std::memcmp(back, empty, 64), 0);
}

TEST(ChessboardId, BitLayoutAndCharacters) {
  uint8_t b[64] = {};
  b[0] = WK;  // 1 then index 0
  EXPECT_EQ(TChessboardId(b).m_nBits, 68);
  EXPECT_EQ(TChessboardId(b).ToAlphanum6(), "100000000000");
  b[0] = BK;  // 1 then index 1: bits 1,1 -> 3
  EXPECT_EQ(TChessboardId(b).ToAlphanum6(), "300000000000");
  b[0] = 0;
  b[63] = BN;  // bits 63..67 = 1, 1,1,0,1: group 10 holds 1,1,1 at its top -> 56, group 11 -> 2
  EXPECT_EQ(TChessboardId(b).ToAlphanum6(), "0000000000U2");
  EXPECT_EQ(TChessboardId(b).ToAlphanum5(), "000000000000o5");

  // The start position: a white rook (index 6) first.
  TTaskContext ctx;
  TChessboard start;
  ASSERT_TRUE(FenToBoard("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", start, ctx));
  const TChessboardId id(start);
  EXPECT_EQ(id.m_nBits, 64 + 32 * 4);
  const bool first[5] = {1, 0, 1, 1, 0};
  for (unsigned k = 0; k < 5; ++k) EXPECT_EQ(id.Bit(k), first[k]) << k;

  EXPECT_EQ(Alphanum6Char(62), '(');
  EXPECT_EQ(MessageOf([] { Alphanum6Char(64); }), "Error in ToAlphanum6");
}

TEST(ChessboardId, PlacementOnly) {
  TTaskContext c1, c2;
  TChessboard a, b;
  ASSERT_TRUE(FenToBoard("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1", a, c1));
  ASSERT_TRUE(FenToBoard("r3k2r/8/8/8/8/8/8/R3K2R b - - 0 1", b, c2));
  EXPECT_EQ(TChessboardId(a), TChessboardId(b));
  EXPECT_EQ(TChessboardId(a).ToAlphanum6(), TChessboardId(b).ToAlphanum6());
}

TEST(ChessboardId, BuildErrors) {
  for (uint8_t bad : {0x01, 0x40, 0x43, 0x61, 0x91, 0xC1, 0xFF}) {
    uint8_t b[64] = {};
    b[17] = bad;
    EXPECT_EQ(MessageOf([&] { TChessboardId id(b); }), "Unknown figure code") << int(bad);
  }
  TChessboardId id;
  id.AppendBits(0, 318);
  EXPECT_EQ(MessageOf([&] { id.AppendBits(0, 3); }), "Exception in TChessboardId");
  EXPECT_NO_THROW(id.AppendBits(3, 2));
  EXPECT_EQ(MessageOf([&] { id.AppendBits(0, 1); }), "Exception in TChessboardId");
  TChessboardId corrupt;
  corrupt.m_nBits = 400;
  EXPECT_EQ(MessageOf([&] { (void)corrupt.ToAlphanum6(); }), "Error in ToAlphanum6");
  EXPECT_EQ(MessageOf([&] {
              uint8_t b[64];
              corrupt.ToBoard(b);
            }),
            "Wrong chessboard id");
}

TEST(ChessboardId, MalformedText) {
  const std::string wrong = "Wrong chessboard id";
  EXPECT_EQ(Board6(""), wrong);
  EXPECT_EQ(Board6("0000000000"), wrong);    // 60 bits: squares missing
  EXPECT_EQ(Board6("000000000000"), wrong);  // a whole character of padding
  EXPECT_EQ(Board6("0000000000g"), wrong);   // padding bit set (value 16)
  EXPECT_EQ(Board6("00000 000000"), wrong);
  EXPECT_EQ(Board6("0000000000-"), wrong);
  EXPECT_EQ(Board6("0000000000\xc3"), wrong);
  EXPECT_EQ(Board6(std::string(200, '0')), wrong);
  EXPECT_EQ(Board6(std::string(54, ')')), wrong);  // bits beyond the capacity
  EXPECT_EQ(Board6(std::string(53, ')') + "3"), "Unknown figure short code");
  EXPECT_EQ(Board5("000000000000A"), wrong);  // upper case is not in the five-bit alphabet
  EXPECT_EQ(Board5("000000000000w"), wrong);  // 'w' is 32
  EXPECT_EQ(Board5("00000000000002"), wrong);
  // a1 with figure index 12: bits 1, 0,0,1,1 -> 25.
  EXPECT_EQ(Board6("p00000000000"), "Unknown figure short code");
  EXPECT_EQ(Board6("1000000000000"), wrong);
  EXPECT_EQ(Board6("100000000000"), "(no exception)");
  EXPECT_EQ(MessageOf([] { TChessboardId::FromAlphanum5("100000000000"); }), wrong);
  EXPECT_EQ(Board5("0000000000000"), "(no exception)");
  // A bit string whose count does not end at the 64th square.
  TChessboardId id;
  id.AppendBits(0, 63);
  EXPECT_EQ(MessageOf([&] {
              uint8_t b[64];
              id.ToBoard(b);
            }),
            wrong);
  id.AppendBits(0, 1);
  id.AppendBits(1, 1);
  EXPECT_EQ(MessageOf([&] {
              uint8_t b[64];
              id.ToBoard(b);
            }),
            wrong);
}

void ExpectRoundTrip(const uint8_t board[64]) {
  const TChessboardId id(board);
  const std::string t6 = id.ToAlphanum6(), t5 = id.ToAlphanum5();
  EXPECT_EQ(t6.size(), (id.m_nBits + 5u) / 6);
  EXPECT_EQ(t5.size(), (id.m_nBits + 4u) / 5);
  uint8_t b6[64], b5[64], bb[64];
  TChessboardId::Alphanum6ToBoard(t6, b6);
  TChessboardId::Alphanum5ToBoard(t5, b5);
  id.ToBoard(bb);
  EXPECT_EQ(std::memcmp(b6, board, 64), 0) << t6;
  EXPECT_EQ(std::memcmp(b5, board, 64), 0) << t5;
  EXPECT_EQ(std::memcmp(bb, board, 64), 0);
}

TEST(ChessboardId, RoundTripRandomAndFullBoards) {
  std::mt19937 rng(99);
  for (int t = 0; t < 3000; ++t) {
    uint8_t b[64];
    const unsigned density = rng() % 101;
    for (int sq = 0; sq < 64; ++sq) b[sq] = (rng() % 100 < density) ? kCodes[rng() % 12] : 0;
    ExpectRoundTrip(b);
  }
  uint8_t full[64];
  for (int sq = 0; sq < 64; ++sq) full[sq] = BN;  // 320 bits: the last character is half padding
  EXPECT_EQ(TChessboardId(full).ToAlphanum6().size(), 54u);
  EXPECT_EQ(TChessboardId(full).ToAlphanum5().size(), 64u);
  ExpectRoundTrip(full);
}

TEST(ChessboardId, RoundTripRealPositions) {
  int n = 0;
  std::ifstream epd(test::SharedData("perft.epd"));
  std::ifstream tsv(test::SharedData("directmates.tsv"));
  std::vector<std::string> fens;
  for (std::string line; std::getline(epd, line);)
    if (!line.empty() && line[0] != '#') fens.push_back(line.substr(0, line.find(';')));
  for (std::string line; std::getline(tsv, line);) {
    std::istringstream cols(line);
    std::string id, fen;
    if (std::getline(cols, id, '\t') && std::getline(cols, fen, '\t') && fen.find('/') != std::string::npos)
      fens.push_back(fen);
  }
  for (const std::string& fen : fens) {
    TTaskContext ctx;
    TChessboard b;
    ASSERT_TRUE(FenToBoard(fen, b, ctx)) << fen;
    ExpectRoundTrip(b.board);
    EXPECT_EQ(TChessboardId::FromAlphanum6(TChessboardId(b).ToAlphanum6()), TChessboardId(b));
    ++n;
  }
  EXPECT_GT(n, 400);
}

}  // namespace
}  // namespace ostravel
