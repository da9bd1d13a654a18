#include "platform/vendor_service.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "config/settings.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

// A server on 127.0.0.1 that answers each request with a fixed body and
// records what it was sent (one connection at a time is enough here).
class TLocalServer {
 public:
  explicit TLocalServer(std::string replyBody) : reply_(std::move(replyBody)) {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t len = sizeof a;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    ::listen(fd_, 4);
    thread_ = std::thread([this] { Serve(); });
  }
  ~TLocalServer() {
    ::shutdown(fd_, SHUT_RDWR);
    ::close(fd_);
    thread_.join();
  }
  std::string Base() const { return "http://127.0.0.1:" + std::to_string(port_); }

  // What the last request held.
  int Requests() {
    std::lock_guard<std::mutex> lk(lock_);
    return requests_;
  }
  std::string Last() {
    std::lock_guard<std::mutex> lk(lock_);
    return last_;
  }

 private:
  void Serve() {
    for (;;) {
      const int c = ::accept(fd_, nullptr, nullptr);
      if (c < 0) return;
      std::string req;
      char buf[4096];
      // Headers, then as much body as Content-Length says.
      std::size_t need = std::string::npos;
      while (need == std::string::npos || req.size() < need) {
        const ssize_t n = ::recv(c, buf, sizeof buf, 0);
        if (n <= 0) break;
        req.append(buf, static_cast<std::size_t>(n));
        const std::size_t end = req.find("\r\n\r\n");
        if (end != std::string::npos && need == std::string::npos) {
          std::size_t body = 0;
          const std::size_t cl = req.find("Content-Length: ");
          if (cl != std::string::npos && cl < end) body = std::stoul(req.substr(cl + 16));
          need = end + 4 + body;
        }
      }
      {
        std::lock_guard<std::mutex> lk(lock_);
        ++requests_;
        last_ = req;
      }
      const bool found = req.rfind("GET /missing", 0) != 0;
      const std::string out = std::string(found ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 Not Found") +
                              "\r\nContent-Type: text/plain\r\nConnection: close\r\nContent-Length: " +
                              std::to_string(reply_.size()) + "\r\n\r\n" + reply_;
      ::send(c, out.data(), out.size(), MSG_NOSIGNAL);
      ::close(c);
    }
  }

  std::string reply_;
  int fd_ = -1;
  int port_ = 0;
  std::thread thread_;
  std::mutex lock_;
  int requests_ = 0;
  std::string last_;
};

TEST(VendorServiceTest, MessagesAreAskedForAndOnlyNewOnesShown) {
  TLocalServer server("7\tolder\n12\tNew version\\nplease update\nnot a message\n9\tmiddle\r\n");
  EXPECT_EQ(MessageServiceRequestUrl("http://h/svc", "free"),
            "http://h/svc/cfg/config.cfg?&type=free&ver=" OSTRAVEL_VERSION);
  std::vector<TServiceMessage> got;
  std::string error;
  ASSERT_TRUE(FetchServiceMessages(server.Base() + "/svc/", "free", &got, &error)) << error;
  EXPECT_EQ(
      server.Last().rfind("GET /svc/cfg/config.cfg?&type=free&ver=" OSTRAVEL_VERSION " HTTP/1.1\r\n", 0), 0u)
      << server.Last();
  EXPECT_NE(server.Last().find("\r\nUser-Agent: InetURL:/1.0\r\n"), std::string::npos);
  ASSERT_EQ(got.size(), 3u);
  const auto fresh = NewServiceMessages(got, 8);
  ASSERT_EQ(fresh.size(), 2u);
  EXPECT_EQ(fresh[0].id, 9);
  EXPECT_EQ(fresh[0].text, "middle");
  EXPECT_EQ(fresh[1].id, 12);
  EXPECT_EQ(fresh[1].text, "New version\nplease update");

  // No address: nothing is asked.
  EXPECT_FALSE(FetchServiceMessages("", "free", &got, &error));
  EXPECT_TRUE(got.empty());
  EXPECT_EQ(server.Requests(), 1);
  // A server that is not there is an error, not a hang.
  EXPECT_FALSE(FetchServiceMessages(server.Base() + "/missing", "free", &got, &error));
  EXPECT_FALSE(error.empty());
}

// What the window does at start: ask in the background, show what is new,
// remember the last one shown so that it is not shown again.
TEST(VendorServiceTest, StartUpCheckShowsEachMessageOnce) {
  TLocalServer server("7\tolder\n12\tNew version\n9\tmiddle\n");
  {
    TServiceMessageCheck none("", 0, [](auto, auto) { ADD_FAILURE() << "nothing may be asked"; });
  }
  EXPECT_TRUE(CheckServiceMessages("", 0).empty());
  EXPECT_EQ(server.Requests(), 0);

  std::vector<TServiceMessage> got;
  std::thread::id on;
  {
    TServiceMessageCheck check(server.Base(), 8, [&](std::vector<TServiceMessage> m, std::string error) {
      EXPECT_EQ(error, "");
      got = std::move(m);
      on = std::this_thread::get_id();
    });
  }
  EXPECT_NE(on, std::this_thread::get_id());
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0].id, 9);
  EXPECT_EQ(got[1].id, 12);
  EXPECT_NE(server.Last().find("&type=" + std::string(kMessageServiceType) + "&ver="), std::string::npos);

  const fs::path options = fs::path(test::MakeTempDir()) / "options.ini";
  std::ofstream(options) << "[chess]\nLanguageId=0\nLastProcessedMsgId=3\n; kept\n";
  RememberProcessedServiceMessage(got.back().id, options);
  EXPECT_EQ(Settings().LastProcessedMsgId, 12);
  const std::string text = test::ReadTextFile(options.string());
  EXPECT_NE(text.find("LastProcessedMsgId=12"), std::string::npos) << text;
  EXPECT_EQ(text.find("LastProcessedMsgId=3"), std::string::npos) << text;
  EXPECT_NE(text.find("LanguageId=0"), std::string::npos);
  EXPECT_NE(text.find("; kept"), std::string::npos);
  EXPECT_TRUE(CheckServiceMessages(server.Base(), Settings().LastProcessedMsgId).empty());

  std::string error;
  EXPECT_TRUE(CheckServiceMessages(server.Base() + "/missing", 0, &error).empty());
  EXPECT_FALSE(error.empty());
}

TEST(VendorServiceTest, CrashReportIsSentOnlyToASetAddress) {
  TLocalServer server("ok");
  const std::string log = test::MakeTempDir() + "/crash_log_2026-01-02_03-04-05.log";
  std::ofstream(log) << "Process File Name: /x\nException Code: 0xC0000005 (Access Violation)\n";
  std::string error;
  EXPECT_FALSE(CrashReportOffered(""));
  EXPECT_FALSE(SendCrashReport("", log, &error));
  EXPECT_EQ(server.Requests(), 0);

  ASSERT_TRUE(CrashReportOffered(server.Base() + "/report"));
  ASSERT_TRUE(SendCrashReport(server.Base() + "/report", log, &error)) << error;
  EXPECT_EQ(server.Requests(), 1);
  const std::string req = server.Last();
  EXPECT_EQ(req.rfind("POST /report?&ver=" OSTRAVEL_VERSION "&mb=", 0), 0u) << req;
  EXPECT_NE(req.find("\r\nUser-Agent: InetURL:/1.0\r\n"), std::string::npos);
  const std::string mb =
      req.substr(req.find("&mb=") + 4, req.find(' ', req.find("&mb=")) - req.find("&mb=") - 4);
  EXPECT_GT(std::stoull(mb), 0u);
  EXPECT_EQ(req.substr(req.find("\r\n\r\n") + 4),
            "Process File Name: /x\nException Code: 0xC0000005 (Access Violation)\n");
  EXPECT_EQ(CrashReportRequestUrl("http://h/r?id=1", 512), "http://h/r?id=1&ver=" OSTRAVEL_VERSION "&mb=512");
  EXPECT_FALSE(SendCrashReport(server.Base() + "/report", log + ".missing", &error));
}

}  // namespace
}  // namespace ostravel
