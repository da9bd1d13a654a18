// The client against servers on 127.0.0.1: answers, failures of every kind,
// the cache file and a second instance.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "config/settings.h"
#include "local_server.h"
#include "support/test_support.h"
#include "tablebase/lichess_client.h"

namespace ostravel {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

const std::string kFen = "4k3/8/4K3/8/8/8/8/7Q w - - 0 1";
const std::string kOtherFen = "4k3/8/4K3/8/8/8/8/6Q1 w - - 0 1";
const char* kWin =
    R"({"checkmate":false,"dtz":1,"precise_dtz":1,"dtm":1,"category":"win","moves":[)"
    R"({"uci":"h1h8","san":"Qh8#","dtz":0,"precise_dtz":0,"dtm":0,"checkmate":true,"category":"loss"}]})";
const char* kDraw = R"({"checkmate":false,"dtz":0,"dtm":null,"category":"draw","moves":[]})";

THttpOptions Options(const std::string& url, int timeoutMs = 2000) {
  return THttpOptions{url, 1000, timeoutMs};
}

std::string ReadFile(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

TEST(LiChessClient, AnswersAreAskedOnceAndCached) {
  std::string askedFen;
  test::TLocalTablebase server([&](const std::string& fen, int*) {
    askedFen = fen;
    return std::string(fen.rfind("4k3/8/4K3/8/8/8/8/7Q", 0) == 0 ? kWin : kDraw);
  });
  const fs::path file = fs::path(test::MakeTempDir()) / "p.lichess";
  HTTPConnect conn(Options(server.Url()));
  CLiChessHTTP client(conn, 1);
  TLiChessTable table(file);

  CLiChess got;
  EXPECT_EQ(client.Lookup(kFen, table, [&](const CLiChess& r) { got = r; }), TLiChessSource::kService);
  EXPECT_EQ(askedFen, "4k3/8/4K3/8/8/8/8/7Q_w_-_-_0_1");  // blanks as "_"
  EXPECT_EQ(got.wdl, 1);
  EXPECT_EQ(got.moveCount, 1);
  // The same position with other move counters is the same entry.
  EXPECT_EQ(client.Lookup("4k3/8/4K3/8/8/8/8/7Q w - - 0 9", table), TLiChessSource::kCache);
  EXPECT_EQ(client.Lookup(kOtherFen, table), TLiChessSource::kService);
  EXPECT_EQ(server.Requests(), 2);
  EXPECT_EQ(client.Pending(), 0);

  // Both answers are in the file, and a fresh table serves them without the network.
  TLiChessTable again(file);
  EXPECT_TRUE(again.Load(true).empty());
  EXPECT_EQ(again.Size(), 2u);
  HTTPConnect offline(Options(""));
  CLiChessHTTP cachedOnly(offline, 1);
  CLiChess cached;
  EXPECT_EQ(cachedOnly.Lookup(kFen, again, [&](const CLiChess& r) { cached = r; }), TLiChessSource::kCache);
  EXPECT_EQ(cached, got);
  EXPECT_EQ(offline.RequestCount(), 0);
}

TEST(LiChessClient, NegativeLevelsSwitchLookupsOff) {
  test::TLocalTablebase server([](const std::string&, int*) { return std::string(kWin); });
  HTTPConnect conn(Options(server.Url()));
  CLiChessHTTP client(conn, -1);
  TLiChessTable table;
  bool called = false;
  EXPECT_EQ(client.Lookup(kFen, table, [&](const CLiChess&) { called = true; }), TLiChessSource::kNone);
  EXPECT_FALSE(called);
  EXPECT_EQ(server.Requests(), 0);
}

// Answers that are no answers: nothing is cached in the file, and the run
// goes on without them.
TEST(LiChessClient, ServerErrorsAndGarbage) {
  for (int status : {500, 429, 404}) {
    test::TLocalTablebase server([&](const std::string&, int* s) {
      *s = status;
      return std::string(kWin);  // the body of an error status is not read
    });
    const fs::path file = fs::path(test::MakeTempDir()) / "e.lichess";
    HTTPConnect conn(Options(server.Url()));
    CLiChessHTTP client(conn, 1);
    TLiChessTable table(file);
    std::string text;
    EXPECT_TRUE(client.Query(kFen, &text).IsUnknown());
    EXPECT_EQ(text, "HTTP " + std::to_string(status));
    EXPECT_EQ(client.Lookup(kFen, table), TLiChessSource::kNone);
    EXPECT_TRUE(conn.IsOpen()) << "the service is there, only this answer failed";
    EXPECT_FALSE(fs::exists(file));
  }
  test::TLocalTablebase garbage(
      [](const std::string&, int*) { return std::string("<html>Bad gateway</html>"); });
  const fs::path file = fs::path(test::MakeTempDir()) / "g.lichess";
  HTTPConnect conn(Options(garbage.Url()));
  CLiChessHTTP client(conn, 1);
  TLiChessTable table(file);
  EXPECT_EQ(client.Lookup(kFen, table), TLiChessSource::kNone);
  EXPECT_FALSE(fs::exists(file));
  // The unusable answer is kept for the run: no second request for it.
  EXPECT_EQ(client.Lookup(kFen, table), TLiChessSource::kNone);
  EXPECT_EQ(garbage.Requests(), 1);
}

// A dead, refusing or misbehaving server closes the connection at its first
// failure: later lookups send nothing and answer at once.
TEST(LiChessClient, TransportFailuresCloseTheConnection) {
  test::TRawServer closes("");
  test::TRawServer notHttp(std::string(1000, '\x01'));
  for (const std::string& url : {test::DeadUrl(), closes.Url(), notHttp.Url()}) {
    HTTPConnect conn(Options(url));
    CLiChessHTTP client(conn, 1);
    TLiChessTable table;
    std::string text;
    EXPECT_TRUE(client.Query(kFen, &text).IsUnknown()) << url;
    EXPECT_NE(text.find("Exception occurred in GetHTMLPage()"), std::string::npos) << text;
    EXPECT_FALSE(conn.IsOpen()) << url;
    EXPECT_EQ(client.Lookup(kOtherFen, table), TLiChessSource::kNone);
    client.Query(kFen, &text);
    EXPECT_EQ(text, kNoInternetConnection);
    EXPECT_EQ(conn.RequestCount(), 1) << url;
  }
}

TEST(LiChessClient, AHangingServerCostsOneTimeout) {
  std::atomic<bool> answered{false};
  test::TLocalTablebase hangs([&](const std::string&, int*) {
    hangs.Hold();
    answered = true;
    return std::string(kWin);
  });
  HTTPConnect conn(Options(hangs.Url(), 300));
  CLiChessHTTP client(conn, 1);
  TLiChessTable table;
  EXPECT_EQ(client.Lookup(kFen, table), TLiChessSource::kNone);
  EXPECT_EQ(client.Lookup(kOtherFen, table), TLiChessSource::kNone);
  // The server still holds the request: the client's timeout ended the wait.
  EXPECT_FALSE(answered.load());
  EXPECT_FALSE(conn.IsOpen());
  EXPECT_EQ(hangs.Requests(), 1);
  hangs.Release();
}

TEST(LiChessCacheFile, DuplicateEntriesAreReported) {
  const fs::path dir = test::MakeTempDir();
  const CLiChess win = ParseLiChessAnswer(kWin);
  const CLiChess draw = ParseLiChessAnswer(kDraw);
  std::string error;
  const std::string key = LiChessKey(kFen);
  ASSERT_TRUE(AppendLiChessRecord(dir / "same.lichess", key, win, &error)) << error;
  ASSERT_TRUE(AppendLiChessRecord(dir / "same.lichess", key, win, &error));
  ASSERT_TRUE(AppendLiChessRecord(dir / "differ.lichess", key, win, &error));
  // Other move counters: the same entry of the table.
  ASSERT_TRUE(AppendLiChessRecord(dir / "differ.lichess", LiChessKey("4k3/8/4K3/8/8/8/8/7Q w - - 0 7"), draw,
                                  &error));

  TLiChessTable same(dir / "same.lichess");
  auto reports = same.Load(true);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_FALSE(reports[0].error);
  EXPECT_STREQ(reports[0].Title(), "Warning");
  EXPECT_NE(reports[0].text.find("\n\nBoth entries are the same\nwhile reading file "), std::string::npos);
  EXPECT_NE(reports[0].text.find("same.lichess"), std::string::npos);

  TLiChessTable differ(dir / "differ.lichess");
  reports = differ.Load(true);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_STREQ(reports[0].Title(), "Error");
  EXPECT_NE(reports[0].text.find("\n\nEntries differ\nwhile reading file "), std::string::npos);
  CLiChess kept;
  ASSERT_TRUE(differ.Find(kFen, &kept));
  EXPECT_EQ(kept, win) << "the first entry stays";

  // WarningOnLichessDataRepetition off: silent.
  TLiChessTable quiet(dir / "differ.lichess");
  EXPECT_TRUE(quiet.Load(false).empty());
  EXPECT_EQ(quiet.Size(), 1u);
}

TEST(LiChessCacheFile, ATruncatedFileIsReportedAndRepaired) {
  const fs::path dir = test::MakeTempDir();
  const fs::path file = dir / "cut.lichess";
  std::string error;
  ASSERT_TRUE(AppendLiChessRecord(file, LiChessKey(kFen), ParseLiChessAnswer(kWin), &error));
  ASSERT_TRUE(AppendLiChessRecord(file, LiChessKey(kOtherFen), ParseLiChessAnswer(kDraw), &error));
  const std::string whole = ReadFile(file);
  fs::resize_file(file, whole.size() - 3);

  // A second instance only reads: reported, nothing touched.
  TLiChessTable reader(file, true);
  auto reports = reader.Load(false);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_TRUE(reports[0].error);
  EXPECT_NE(reports[0].text.find(file.string()), std::string::npos) << reports[0].text;
  EXPECT_EQ(reader.Size(), 1u);
  EXPECT_FALSE(fs::exists(file.string() + ".damaged"));

  // The writer keeps the damaged file aside and goes on with the good part.
  TLiChessTable writer(file);
  reports = writer.Load(false);
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_NE(reports[0].text.find(".damaged"), std::string::npos) << reports[0].text;
  EXPECT_EQ(ReadFile(file.string() + ".damaged"), whole.substr(0, whole.size() - 3));
  TLiChessTable reread(file);
  EXPECT_TRUE(reread.Load(true).empty());
  EXPECT_EQ(reread.Size(), 1u);
}

TEST(LiChessCacheFile, ASecondInstanceOpensItReadOnly) {
  const fs::path dir = test::MakeTempDir();
  TLiChessInstanceLock first(dir);
  TLiChessInstanceLock second(dir);
  EXPECT_TRUE(first.First());
  EXPECT_FALSE(second.First());

  test::TLocalTablebase server([](const std::string&, int*) { return std::string(kWin); });
  HTTPConnect conn(Options(server.Url()));
  CLiChessHTTP client(conn, 1);
  const fs::path file = dir / "p.lichess";
  TLiChessTable table(file, !second.First());
  EXPECT_EQ(client.Lookup(kFen, table), TLiChessSource::kService);
  EXPECT_FALSE(fs::exists(file));
  EXPECT_TRUE(table.TakeReports().empty());
}

TEST(LiChessCacheFile, EverySearchOfTheWritingProcessWrites) {
  // The second search of one window must not take itself for a second program.
  const fs::path dir = test::MakeTempDir();
  auto a = SharedLiChessInstanceLock(dir);
  auto b = SharedLiChessInstanceLock(dir / ".");
  EXPECT_TRUE(a->First());
  EXPECT_TRUE(b->First());
  // Another process opens the lock file anew, and is a second instance.
  EXPECT_FALSE(TLiChessInstanceLock(dir).First());
  // Once every user let go, the lock is free for the next one.
  a.reset();
  b.reset();
  TLiChessInstanceLock next(dir);
  EXPECT_TRUE(next.First());
}

TEST(LiChessCacheFile, AnUnwritableFileIsReportedOnce) {
  const fs::path dir = test::MakeTempDir();
  fs::create_directory(dir / "x.lichess");  // a folder where the file should be
  test::TLocalTablebase server([](const std::string&, int*) { return std::string(kWin); });
  HTTPConnect conn(Options(server.Url()));
  CLiChessHTTP client(conn, 1);
  TLiChessTable table(dir / "x.lichess");
  EXPECT_EQ(client.Lookup(kFen, table), TLiChessSource::kService);
  EXPECT_EQ(client.Lookup(kOtherFen, table), TLiChessSource::kService);
  const auto reports = table.TakeReports();
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].text.rfind(
                "Error writing do file " + (dir / "x.lichess").string() + "\n\nCurrent directory = ", 0),
            0u);
  EXPECT_TRUE(table.TakeReports().empty());
}

TEST(LiChessSettings, AddressAndTimeouts) {
  const TSettings defaults = ReadSettingsFrom(TIniFile::FromText(""), nullptr);
  EXPECT_EQ(defaults.TablebaseUrl, kDefaultTablebaseUrl);
  const TSettings s =
      ReadSettingsFrom(TIniFile::FromText("[chess]\nTablebaseUrl=http://127.0.0.1:9000/"
                                          "\nTablebaseTimeoutMs=0\nTablebaseConnectTimeoutMs=250\n"),
                       nullptr);
  EXPECT_EQ(s.TablebaseUrl, "http://127.0.0.1:9000/");
  // Out of its limits: the default, never 0 (libcurl would wait forever).
  EXPECT_EQ(s.TablebaseTimeoutMs, defaults.TablebaseTimeoutMs);
  EXPECT_EQ(s.TablebaseConnectTimeoutMs, 250);
}

}  // namespace
}  // namespace ostravel
