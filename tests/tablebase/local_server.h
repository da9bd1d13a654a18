#pragma once
// Servers on 127.0.0.1 that the tablebase tests talk to: an HTTP server
// answering "standard?fen=" from a handler, and a bare socket that misbehaves.
#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace ostravel::test {

class TLocalTablebase {
 public:
  // handler(fen with "_" for blanks, &status) returns the body.
  using THandler = std::function<std::string(const std::string& fen, int* status)>;

  explicit TLocalTablebase(THandler handler) : handler_(std::move(handler)) {
    server_.Get("/standard", [this](const httplib::Request& req, httplib::Response& res) {
      requests_.fetch_add(1);
      int status = 200;
      const std::string body = handler_(req.get_param_value("fen"), &status);
      res.status = status;
      res.set_content(body, "application/json");
    });
    port_ = server_.bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ~TLocalTablebase() {
    Release();
    server_.stop();
    thread_.join();
  }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }
  int Requests() const { return requests_.load(); }

  // For a handler that hangs: blocks until Release() (or a long time).
  void Hold() {
    std::unique_lock<std::mutex> lk(lock_);
    cv_.wait_for(lk, std::chrono::seconds(20), [this] { return released_; });
  }
  void Release() {
    std::lock_guard<std::mutex> lk(lock_);
    released_ = true;
    cv_.notify_all();
  }

 private:
  THandler handler_;
  httplib::Server server_;
  int port_ = 0;
  std::thread thread_;
  std::atomic<int> requests_{0};
  std::mutex lock_;
  std::condition_variable cv_;
  bool released_ = false;
};

// Accepts connections and answers each with `reply` (empty: closes at once).
class TRawServer {
 public:
  explicit TRawServer(std::string reply) : reply_(std::move(reply)) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t len = sizeof a;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    ::listen(fd_, 8);
    thread_ = std::thread([this] {
      for (;;) {
        const int c = ::accept(fd_, nullptr, nullptr);
        if (c < 0 || stop_.load()) {
          if (c >= 0) ::close(c);
          return;
        }
        char buf[4096];
        (void)!::recv(c, buf, sizeof buf, 0);
        if (!reply_.empty()) (void)!::send(c, reply_.data(), reply_.size(), MSG_NOSIGNAL);
        ::close(c);
      }
    });
  }
  ~TRawServer() {
    stop_.store(true);
    ::shutdown(fd_, SHUT_RDWR);
    ::close(fd_);
    thread_.join();
  }
  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }

 private:
  std::string reply_;
  int fd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// An address where nothing listens (a port that was free a moment ago).
inline std::string DeadUrl() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
  socklen_t len = sizeof a;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
  ::close(fd);
  return "http://127.0.0.1:" + std::to_string(ntohs(a.sin_port)) + "/";
}

}  // namespace ostravel::test
