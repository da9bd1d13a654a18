// The mate search beyond key sets: threats and variations replay to mate,
// promotions and stalemate, the repetition setting and the dispatcher's
// errors.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <stdexcept>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/mate_search.h"

namespace ostravel {
namespace {

struct Task {
  TTaskContext ctx;
  TChessboard root;
  Task(const std::string& fen, int n) {
    EXPECT_TRUE(FenToBoard(fen, root, ctx)) << fen;
    ValidateAndRecount(root);
    SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  }
};

std::set<std::string> Keys(const TMateSearch& s) {
  std::set<std::string> k;
  for (const auto& sol : s.Solutions()) k.insert(MoveToUci(sol.key));
  return k;
}

bool IsMate(const TChessboard& b) {
  return InCheck(b) && !HasLegalMove(b);
}

// Every variation line, replayed from the position after the key, must be
// legal and end in mate within the plies left.
void CheckVariations(const TChessboard& afterKey, const std::vector<TVariation>& vs, int pliesLeft,
                     const std::string& where) {
  for (const auto& v : vs) {
    ASSERT_TRUE(IsLegal(afterKey, v.black)) << where << " " << v.blackText;
    TChessboard b1, b2;
    PlayMove(afterKey, b1, v.black);
    ASSERT_TRUE(IsLegal(b1, v.white)) << where << " " << v.whiteText;
    PlayMove(b1, b2, v.white);
    ASSERT_GE(pliesLeft, 2) << where;
    if (v.mate) {
      EXPECT_TRUE(IsMate(b2)) << where << " " << v.blackText << " " << v.whiteText;
      EXPECT_TRUE(v.next.empty());
    } else {
      EXPECT_FALSE(v.next.empty()) << where;
      CheckVariations(b2, v.next, pliesLeft - 2, where + " " + v.whiteText);
    }
  }
}

TEST(MateSearch, ThreatsAndVariationsReplayToMate) {
  struct Case {
    const char* fen;
    int n;
  } cases[] = {
      {"8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1", 2},  // zugzwang keys
      {"8/2P5/8/8/8/8/N7/k1K5 w - - 0 1", 3},       // promotion keys
      {"1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1", 5},
      {"8/8/2K1k1B1/5N2/8/1p6/1B6/8 w - - 0 1", 5},
  };
  for (const auto& c : cases) {
    Task t(c.fen, c.n);
    TMateSearch s(TSearchSettings{});
    ASSERT_EQ(s.FindForcedMate(t.root, c.n), kResMate) << c.fen;
    s.Explain(t.root, c.n);
    for (const auto& sol : s.Solutions()) {
      TChessboard afterKey;
      PlayMove(t.root, afterKey, sol.key);
      EXPECT_GE(sol.mateIn, 1);
      EXPECT_LE(sol.mateIn, c.n);
      if (sol.mateIn > 1) {
        EXPECT_FALSE(sol.variations.empty()) << sol.keyText;
        // Every Black reply has its line (nothing was cut at these sizes).
        EXPECT_EQ(static_cast<int>(sol.variations.size()), CountLegalMoves(afterKey)) << sol.keyText;
      }
      CheckVariations(afterKey, sol.variations, 2 * sol.mateIn - 2, std::string(c.fen) + " " + sol.keyText);
      // A threat is what White would do if Black could pass.
      if (!sol.threat.empty()) {
        EXPECT_FALSE(sol.keyChecks);
        EXPECT_GE(sol.threatIn, 1);
        EXPECT_LT(sol.threatIn, c.n);
      }
    }
  }
}

TEST(MateSearch, ZugzwangKeyHasNoThreat) {
  Task t("8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1", 2);
  TMateSearch s(TSearchSettings{});
  s.FindForcedMate(t.root, 2);
  s.Explain(t.root, 2);
  ASSERT_EQ(Keys(s), (std::set<std::string>{"d1b3", "d1c2"}));
  for (const auto& sol : s.Solutions()) {
    EXPECT_FALSE(sol.keyChecks);
    EXPECT_TRUE(sol.threat.empty()) << sol.keyText;
  }
}

TEST(MateSearch, ThreatOfAQuietKey) {
  // After 1.Qd1-d7 White threatens 2.Qd7-b7# (and more); Black's king is boxed in.
  Task t("k7/8/1K6/8/8/8/8/3Q4 w - - 0 1", 2);
  TMateSearch s(TSearchSettings{});
  s.FindForcedMate(t.root, 2);
  s.Explain(t.root, 2);
  bool sawThreat = false;
  for (const auto& sol : s.Solutions())
    if (!sol.keyChecks && !sol.threat.empty()) {
      sawThreat = true;
      EXPECT_EQ(sol.threatIn, 1);
      // Each listed threat mates at once after a Black pass.
      TChessboard afterKey, passed, mated;
      PlayMove(t.root, afterKey, sol.key);
      passed = afterKey;
      passed.previous = &afterKey;
      passed.lastMove = TMove{27, 27, 0, 0};
      --passed.remainingPlies;
      TMove m;
      for (const auto& text : sol.threat) {
        ASSERT_TRUE(ParseFullMove(passed, text.c_str(), m)) << text;
        PlayMove(passed, mated, m);
        EXPECT_TRUE(IsMate(mated)) << sol.keyText << " threat " << text;
      }
    }
  EXPECT_TRUE(sawThreat);
}

TEST(MateSearch, PromotionMatesAreListedOncePerPiece) {
  Task t("k7/2P5/1K6/8/8/8/8/8 w - - 0 1", 1);
  TMateSearch s(TSearchSettings{});
  EXPECT_EQ(s.FindForcedMate(t.root, 1), kResMate);
  EXPECT_EQ(Keys(s), (std::set<std::string>{"c7c8q", "c7c8r"}));
  // Searching again (a second pass) does not list them twice.
  s.FindForcedMate(t.root, 1);
  EXPECT_EQ(s.Solutions().size(), 2u);
}

TEST(MateSearch, StalemateIsADefenceThatHolds) {
  // 1.Qb6 would be stalemate, not mate; with White's king far away there is no #1.
  Task t("k7/8/2K5/8/8/8/8/1Q6 w - - 0 1", 1);
  TMateSearch s(TSearchSettings{});
  s.FindForcedMate(t.root, 1);
  EXPECT_EQ(Keys(s), (std::set<std::string>{"b1b7"}));
  TTaskContext ctx;
  TChessboard stale;  // what 1.Qc7 would leave: Black to move, no move, no check
  ASSERT_TRUE(FenToBoard("k7/2Q5/1K6/8/8/8/8/8 b - - 0 1", stale, ctx));
  ValidateAndRecount(stale);
  EXPECT_FALSE(HasLegalMove(stale));
  EXPECT_FALSE(InCheck(stale));
  Task t2("k7/8/1K6/8/8/8/8/2Q5 w - - 0 1", 1);
  TMateSearch s2(TSearchSettings{});
  s2.FindForcedMate(t2.root, 1);
  EXPECT_EQ(Keys(s2).count("c1c7"), 0u);  // stalemate is not mate
}

TEST(MateSearch, AnUnderPromotionIsTheOnlyDefenceOfATry) {
  // 1.Qg4-g5? threatens mate everywhere, but 1...a2-a1=N+ checks the king on
  // c2: a search blind to under-promotions would list the try as a second key.
  Task t("8/8/2R5/8/6Q1/7k/p1K5/8 w - - 0 1", 2);
  TMateSearch s(TSearchSettings{});
  EXPECT_EQ(s.FindForcedMate(t.root, 2), kResMate);
  EXPECT_EQ(Keys(s), (std::set<std::string>{"c6g6"}));
  TMove tryMove;
  ASSERT_TRUE(ParseFullMove(t.root, "Qg4-g5", tryMove));
  TChessboard afterTry;
  PlayMove(t.root, afterTry, tryMove);
  TMove replies[kMaxMoves];
  const int n = GenerateLegalMoves(afterTry, replies);
  std::set<std::string> holding;
  for (int i = 0; i < n; ++i) {
    TChessboard after;
    PlayMove(afterTry, after, replies[i]);
    TMateSearch one(TSearchSettings{});
    if (one.ShortestMate(after, 1) == 0) holding.insert(MoveToUci(replies[i]));
  }
  EXPECT_EQ(holding, (std::set<std::string>{"a2a1n"}));
}

TEST(MateSearch, RepetitionCutKeepsTheKeys) {
  Task t("8/1k1K4/8/8/1pN5/1N6/8/8 w - - 0 1", 6);
  TSearchSettings cut;
  cut.cutRepetitions = true;
  TMateSearch a(cut), b(TSearchSettings{});
  a.FindForcedMate(t.root, 6);
  b.FindForcedMate(t.root, 6);
  EXPECT_EQ(Keys(a), Keys(b));
  EXPECT_EQ(Keys(a), (std::set<std::string>{"b3c5"}));
  EXPECT_TRUE(a.RepetitionSeen());
  EXPECT_FALSE(b.RepetitionSeen());
}

TEST(MateSearch, SolutionLimitStopsTheSearch) {
  Task t("k7/2P5/1K6/8/8/8/8/8 w - - 0 1", 1);
  TSearchSettings single;
  single.mode = SolutionMode::kSingle;
  TMateSearch s(single);
  EXPECT_EQ(s.FindForcedMate(t.root, 1), kResMate);
  EXPECT_EQ(s.Solutions().size(), 1u);
}

TEST(MateSearch, TemplateFamilyRejectsValuesOutsideItsSets) {
  Task t("k7/2P5/1K6/8/8/8/8/8 w - - 0 1", 1);
  auto message = [&](const std::function<void(TSearchSettings&)>& set) -> std::string {
    TSearchSettings st;
    set(st);
    TMateSearch s(st);
    try {
      DispatchFindMateFFM(s, t.root, 1);
    } catch (const std::runtime_error& e) {
      return e.what();
    }
    return "ok";
  };
  EXPECT_EQ(message([](TSearchSettings&) {}), "ok");
  EXPECT_EQ(message([](TSearchSettings& s) { s.lookForQuickerMateDepth = 9; }), "ok");
  EXPECT_EQ(message([](TSearchSettings& s) { s.verifyHeuristics = 255; }), "ok");
  EXPECT_EQ(
      message([](TSearchSettings& s) { s.lookForQuickerMateDepth = 10; }),
      "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for m_shLookForQuickerMateDepth");
  EXPECT_EQ(message([](TSearchSettings& s) { s.verifyHeuristics = 2; }),
            "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for VerifyHeuristics");
  EXPECT_EQ(message([](TSearchSettings& s) { s.allowExceptions = 2; }),
            "Error: no implementation in FindMateMultithreadingLevelThreadProcFFM for bAllowExceptions");
}

}  // namespace
}  // namespace ostravel
