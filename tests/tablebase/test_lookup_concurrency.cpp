// Many search threads asking at once: one request per position, every thread
// gets the answer, and the file holds each answer once.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "local_server.h"
#include "support/test_support.h"
#include "tablebase/lichess_client.h"

namespace ostravel {
namespace {

const char* kWin =
    R"({"dtz":1,"precise_dtz":1,"dtm":1,"category":"win","moves":[)"
    R"({"uci":"h1h8","san":"Qh8#","dtz":0,"precise_dtz":0,"dtm":0,"checkmate":true,"category":"loss"}]})";

TEST(LiChessLookupConcurrency, OneRequestPerPosition) {
  test::TLocalTablebase server([](const std::string&, int*) {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));  // all threads arrive meanwhile
    return std::string(kWin);
  });
  const std::filesystem::path file = std::filesystem::path(test::MakeTempDir()) / "c.lichess";
  HTTPConnect conn(THttpOptions{server.Url(), 1000, 3000});
  CLiChessHTTP client(conn, 1);
  TLiChessTable table(file);
  const std::vector<std::string> fens = {"4k3/8/4K3/8/8/8/8/7Q w - - 0 1", "4k3/8/4K3/8/8/8/8/6Q1 w - - 0 1"};
  constexpr int kThreads = 8;
  std::vector<int> wins(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 3; ++round)
        for (const std::string& fen : fens)
          client.Lookup(fen, table, [&](const CLiChess& r) { wins[t] += r.wdl == 1; });
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(server.Requests(), 2);
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(wins[t], 6) << t;
  EXPECT_EQ(client.Pending(), 0);
  TLiChessTable reread(file);
  EXPECT_TRUE(reread.Load(true).empty()) << "each answer written once";
  EXPECT_EQ(reread.Size(), 2u);
}

TEST(LiChessLookupConcurrency, ADeadServiceCostsOneTimeoutWhateverTheThreads) {
  // Every thread asks about a position of its own while the service hangs:
  // only the first request goes out, the others learn its outcome.
  test::TLocalTablebase hangs([&](const std::string&, int*) {
    hangs.Hold();
    return std::string(kWin);
  });
  HTTPConnect conn(THttpOptions{hangs.Url(), 300, 300});
  CLiChessHTTP client(conn, 1);
  TLiChessTable table;
  const std::vector<std::string> fens = {"4k3/8/4K3/8/8/8/8/7Q w - - 0 1", "4k3/8/4K3/8/8/8/8/6Q1 w - - 0 1",
                                         "4k3/8/4K3/8/8/8/8/5Q2 w - - 0 1",
                                         "4k3/8/4K3/8/8/8/8/4Q3 w - - 0 1"};
  std::vector<std::thread> threads;
  std::vector<TLiChessSource> got(fens.size());
  for (size_t t = 0; t < fens.size(); ++t)
    threads.emplace_back([&, t] { got[t] = client.Lookup(fens[t], table); });
  for (auto& th : threads) th.join();
  hangs.Release();
  EXPECT_EQ(conn.RequestCount(), 1);
  for (size_t t = 0; t < fens.size(); ++t) EXPECT_EQ(got[t], TLiChessSource::kNone) << t;
  EXPECT_FALSE(conn.IsOpen());
}

}  // namespace
}  // namespace ostravel
