// The search's view of the tablebase: which answers prove or refute mate,
// which White moves are skipped, and a search that asks a local server.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>

#include "chess/fen.h"
#include "chess/notation.h"
#include "config/settings.h"
#include "engine/mate_search.h"
#include "engine/tablebase_probe.h"
#include "engine/tablebase_session.h"
#include "local_server.h"
#include "problems/problem.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

struct Task {
  TTaskContext ctx;
  TChessboard root;
  Task(const std::string& fen, int n = 1) {
    EXPECT_TRUE(FenToBoard(fen, root, ctx)) << fen;
    ValidateAndRecount(root);
    SetRootPlies(root, static_cast<uint16_t>(2 * n - 1));
  }
};

// An answer in the service's form with an entry for every legal move: the
// category and dtm given per move (UCI), "draw" and null otherwise.
std::string Answer(const TChessboard& b, const std::string& category,
                   const std::map<std::string, std::pair<std::string, std::string>>& perMove,
                   const std::set<std::string>& leaveOut = {}) {
  std::string s =
      R"({"checkmate":false,"dtz":5,"precise_dtz":5,"dtm":null,"category":")" + category + R"(","moves":[)";
  TMove moves[kMaxMoves];
  const int n = GenerateLegalMoves(b, moves);
  bool first = true;
  for (int i = 0; i < n; ++i) {
    const std::string uci = MoveToUci(moves[i]);
    if (leaveOut.count(uci)) continue;
    std::string cat = "draw", dtm = "null";
    if (auto it = perMove.find(uci); it != perMove.end()) std::tie(cat, dtm) = it->second;
    if (!first) s += ',';
    first = false;
    s += R"({"uci":")" + uci + R"(","san":"x","dtz":-4,"precise_dtz":-4,"dtm":)" + dtm + R"(,"category":")" +
         cat + "\"}";
  }
  return s + "]}";
}

const std::string kKqk = "4k3/8/4K3/8/8/8/8/7Q w - - 0 1";

TEST(TablebaseVerdict, MateLengthFromTheMoves) {
  Task t(kKqk);
  const auto verdict = [&](const std::string& text) {
    return TTablebaseProbe::Verdict(t.root, ParseLiChessAnswer(text));
  };
  // Two mates at once, one in two: the shortest counts.
  TProbeAnswer a = verdict(
      Answer(t.root, "win", {{"h1h8", {"loss", "0"}}, {"h1a8", {"loss", "0"}}, {"h1h5", {"loss", "-2"}}}));
  EXPECT_EQ(a.status, TProbeStatus::kMate);
  EXPECT_EQ(a.mateInMoves, 1);
  a = verdict(Answer(t.root, "win", {{"h1h5", {"loss", "-2"}}, {"h1g2", {"blessed-loss", "-10"}}}));
  EXPECT_EQ(a.status, TProbeStatus::kMate);
  EXPECT_EQ(a.mateInMoves, 2);
  // A cursed win is still a mate.
  EXPECT_EQ(verdict(Answer(t.root, "cursed-win", {{"h1h5", {"loss", "-2"}}})).status, TProbeStatus::kMate);

  // The length stays unknown when a winning move lacks its distance, when a
  // distance has the parity of no mate, when a move's value is unknown or a
  // move is missing: a shorter mate could hide there. Never from dtz.
  EXPECT_EQ(verdict(Answer(t.root, "win", {{"h1h5", {"loss", "null"}}})).status, TProbeStatus::kUnknown);
  EXPECT_EQ(verdict(Answer(t.root, "win", {{"h1h5", {"loss", "-3"}}})).status, TProbeStatus::kUnknown);
  EXPECT_EQ(
      verdict(Answer(t.root, "win", {{"h1h5", {"loss", "-2"}}, {"h1h2", {"maybe-loss", "null"}}})).status,
      TProbeStatus::kUnknown);
  EXPECT_EQ(verdict(Answer(t.root, "win", {{"h1h5", {"loss", "-2"}}}, {"h1h8"})).status,
            TProbeStatus::kUnknown);
  // A win with no winning move contradicts itself.
  EXPECT_EQ(verdict(Answer(t.root, "win", {})).status, TProbeStatus::kUnknown);
  // The position's own distance serves when the moves do not (older answers with wdl).
  a = verdict(R"({"wdl":2,"dtz":3,"dtm":7})");
  EXPECT_EQ(a.status, TProbeStatus::kMate);
  EXPECT_EQ(a.mateInMoves, 4);
  EXPECT_EQ(verdict(R"({"wdl":2,"dtz":3,"dtm":8})").status, TProbeStatus::kUnknown);
  EXPECT_EQ(verdict(R"({"wdl":2,"dtz":3,"dtm":null})").status, TProbeStatus::kUnknown);
}

TEST(TablebaseVerdict, DrawsAndLossesHaveNoMate) {
  Task t(kKqk);
  for (const char* cat : {"draw", "loss", "blessed-loss"})
    EXPECT_EQ(TTablebaseProbe::Verdict(t.root, ParseLiChessAnswer(Answer(t.root, cat, {}))).status,
              TProbeStatus::kNoMate)
        << cat;
  // An unknown value on top, but every move known and none winning.
  EXPECT_EQ(TTablebaseProbe::Verdict(t.root, ParseLiChessAnswer(Answer(t.root, "maybe-win", {}))).status,
            TProbeStatus::kNoMate);
  EXPECT_EQ(TTablebaseProbe::Verdict(t.root, CLiChess{}).status, TProbeStatus::kUnknown);
}

TEST(TablebaseVerdict, MovesWithoutMate) {
  Task t("4k3/P7/4K3/8/8/8/8/8 w - - 0 1");
  const CLiChess rec = ParseLiChessAnswer(
      Answer(t.root, "win",
             {{"a7a8q", {"loss", "-8"}}, {"a7a8r", {"loss", "-12"}}, {"e6d6", {"maybe-win", "null"}}}));
  TMove out[kMaxMoves];
  const int n = TTablebaseProbe::MovesWithoutMate(t.root, rec, out, kMaxMoves);
  std::set<std::string> skipped;
  for (int i = 0; i < n; ++i) skipped.insert(MoveToUci(out[i]));
  EXPECT_TRUE(skipped.count("a7a8b") && skipped.count("a7a8n") && skipped.count("e6f6"));
  EXPECT_FALSE(skipped.count("a7a8q") || skipped.count("a7a8r")) << "winning promotions stay";
  EXPECT_FALSE(skipped.count("e6d6")) << "an unknown value is no proof";
  TMove legal[kMaxMoves];
  EXPECT_EQ(n, GenerateLegalMoves(t.root, legal) - 3);
  // A drawn position: every move; the capacity is respected.
  const CLiChess draw = ParseLiChessAnswer(R"({"category":"draw"})");
  EXPECT_EQ(TTablebaseProbe::MovesWithoutMate(t.root, draw, out, kMaxMoves),
            GenerateLegalMoves(t.root, legal));
  EXPECT_EQ(TTablebaseProbe::MovesWithoutMate(t.root, draw, out, 2), 2);
}

TEST(TablebaseProbe, LevelsMenAndCastlingLimitTheLookups) {
  test::TLocalTablebase server(
      [](const std::string&, int*) { return std::string(R"({"category":"draw"})"); });
  HTTPConnect conn(THttpOptions{server.Url(), 1000, 2000});
  TLiChessTable table;
  Task t(kKqk);
  TMove out[kMaxMoves];
  {
    CLiChessHTTP client(conn, 1);  // the root only
    TTablebaseProbe probe(client, table);
    EXPECT_GT(probe.MovesWithoutMate(t.root, 0, out, kMaxMoves), 0);
    EXPECT_EQ(probe.Probe(t.root, 2).status, TProbeStatus::kUnknown);
    EXPECT_EQ(server.Requests(), 1);
  }
  {
    CLiChessHTTP client(conn, 0);
    TTablebaseProbe probe(client, table);
    EXPECT_EQ(probe.MovesWithoutMate(t.root, 0, out, kMaxMoves), 0);
  }
  {
    CLiChessHTTP client(conn, 2);
    TTablebaseProbe probe(client, table);
    Task other("4k3/8/4K3/8/8/8/8/6Q1 w - - 0 1");
    EXPECT_EQ(probe.Probe(other.root, 2).status, TProbeStatus::kNoMate);
    EXPECT_EQ(server.Requests(), 2);
    Task eight("r3k3/pppp4/4K3/8/8/8/8/7Q w q - 0 1");  // castling right, 8 men
    EXPECT_EQ(probe.Probe(eight.root, 2).status, TProbeStatus::kUnknown);
    Task castling("r3k3/8/4K3/8/8/8/8/7Q w q - 0 1");
    EXPECT_EQ(probe.Probe(castling.root, 2).status, TProbeStatus::kUnknown);
    EXPECT_EQ(server.Requests(), 2);
    EXPECT_EQ(probe.Answers(), 1);
  }
}

std::set<std::string> Keys(const TMateSearch& s) {
  std::set<std::string> k;
  for (const auto& sol : s.Solutions()) k.insert(MoveToUci(sol.key));
  return k;
}

std::set<std::string> Solve(const std::string& fen, int n, IPositionProbe* probe) {
  Task t(fen, n);
  TSearchSettings ss;
  ss.probe = probe;
  ss.computeVariations = false;
  TMateSearch s(ss);
  s.FindForcedMate(t.root, n);
  return Keys(s);
}

// The search takes the service's word: answers made up for the test (a draw
// where there is a mate) show that they reach the search at the root and at
// White nodes below it, and the answers end up in the cache file.
TEST(TablebaseProbe, TheSearchUsesTheAnswers) {
  const std::string root = "4k3/8/4K3/8/8/8/8/7Q_w_-_-_0_1";
  test::TLocalTablebase server([&](const std::string& fen, int*) {
    return std::string(fen == root ? R"({"category":"win","moves":[]})" : R"({"category":"draw"})");
  });
  const std::set<std::string> exact = Solve(kKqk, 3, nullptr);
  const std::set<std::string> mateInOne = Solve(kKqk, 1, nullptr);
  ASSERT_GT(exact.size(), mateInOne.size());

  const std::filesystem::path file = std::filesystem::path(test::MakeTempDir()) / "s.lichess";
  HTTPConnect conn(THttpOptions{server.Url(), 1000, 2000});
  TLiChessTable table(file);
  {
    // The root's answer: a win, but no move list: no move is skipped.
    CLiChessHTTP client(conn, 1);
    TTablebaseProbe probe(client, table);
    EXPECT_EQ(Solve(kKqk, 3, &probe), exact);
    EXPECT_EQ(server.Requests(), 1);
  }
  {
    // Two levels: every position after White's first move and Black's reply
    // is "a draw", so only the mates in one are left.
    CLiChessHTTP client(conn, 2);
    TTablebaseProbe probe(client, table);
    EXPECT_EQ(Solve(kKqk, 3, &probe), mateInOne);
    EXPECT_GT(server.Requests(), 1);
  }
  {
    // A drawn root: every key is skipped.
    test::TLocalTablebase draws(
        [](const std::string&, int*) { return std::string(R"({"category":"draw"})"); });
    HTTPConnect c2(THttpOptions{draws.Url(), 1000, 2000});
    CLiChessHTTP client(c2, 1);
    TLiChessTable t2;
    TTablebaseProbe probe(client, t2);
    EXPECT_TRUE(Solve(kKqk, 3, &probe).empty());
  }
  TLiChessTable reread(file);
  EXPECT_TRUE(reread.Load(true).empty());
  EXPECT_EQ(reread.Size(), table.Size());
  CLiChess rootAnswer;
  EXPECT_TRUE(reread.Find(kKqk, &rootAnswer));
  EXPECT_EQ(rootAnswer.wdl, 1);
}

// No network: the search finishes with the answers it would give without a
// tablebase, after a single failed request.
TEST(TablebaseProbe, ADeadServiceLeavesTheSearchAlone) {
  HTTPConnect conn(THttpOptions{test::DeadUrl(), 1000, 2000});
  CLiChessHTTP client(conn, 3);
  TLiChessTable table;
  TTablebaseProbe probe(client, table);
  EXPECT_EQ(Solve(kKqk, 3, &probe), Solve(kKqk, 3, nullptr));
  EXPECT_EQ(conn.RequestCount(), 1);
}

// The session a front end holds: off by the choice or the setting, else one
// probe per problem whose answers are cached in the data folder, so that a
// second run of the same problem asks nobody.
TEST(TablebaseSession, AttachesAProbeAndKeepsItsAnswers) {
  setenv("OSTRAVEL_HOME", test::MakeTempDir().c_str(), 1);
  test::TLocalTablebase server(
      [](const std::string&, int*) { return std::string(R"({"category":"draw"})"); });
  TProblem p;
  ASSERT_TRUE(p.SetFen(kKqk));
  p.moves = 3;
  TSettings settings;
  settings.TablebaseUrl = server.Url();

  auto run = [&](const TTablebaseChoice& choice, const TSettings& s) {
    std::vector<std::string> notes;
    TTablebaseSession session(choice, s, &notes);
    TSolveRequest r = RequestFromProblem(p, s, 1);
    session.Attach(r, &notes);
    const bool attached = r.probe != nullptr;
    const std::set<std::string> keys = Solve(kKqk, 3, r.probe);
    std::vector<std::string> lines = session.Conclude();
    return std::make_tuple(attached, keys, lines);
  };

  TSettings noLevels = settings;
  noLevels.LichessLevels = 0;
  for (const auto& [choice, s] :
       {std::pair{TTablebaseChoice{true, {}}, settings}, std::pair{TTablebaseChoice{}, noLevels}}) {
    const auto [attached, keys, lines] = run(choice, s);
    EXPECT_FALSE(attached);
    EXPECT_TRUE(lines.empty());
  }
  EXPECT_EQ(server.Requests(), 0);

  // The made-up drawn root removes every key: the answer reached the search.
  const auto [attached, keys, lines] = run(TTablebaseChoice{}, settings);
  EXPECT_TRUE(attached);
  EXPECT_TRUE(keys.empty());
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], "Tablebase: 1 answer(s) used, 1 request(s) to " + server.Url());

  const auto [again, keys2, lines2] = run(TTablebaseChoice{}, settings);
  EXPECT_TRUE(keys2.empty());
  EXPECT_EQ(server.Requests(), 1);
  ASSERT_EQ(lines2.size(), 1u);
  EXPECT_EQ(lines2[0], "Tablebase: 1 answer(s) used, 0 request(s) to " + server.Url());
}

}  // namespace
}  // namespace ostravel
