#pragma once
// The HTTP connection of the tablebase client (libcurl). It is "open" while it
// has a base address and no request to it has failed at the transport level:
// the first refused, unresolved, reset or timed-out request closes it for the
// rest of the run, so a dead service costs at most one timeout and the search
// goes on without it. Requests never hold the connection's lock while they
// wait on the network; the lock guards the state and the pool of idle curl
// handles (which keep their connections alive between requests).
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace ostravel {

struct THttpOptions {
  std::string baseUrl;  // "/" is added when missing; empty: never open
  int connectTimeoutMs = 3000;
  int timeoutMs = 5000;  // the whole request
};

enum class TFetchStatus {
  kOk,            // an answer with status 200
  kNotOpen,       // nothing was sent: no address, or the service was found unreachable
  kNetworkError,  // the transport failed; the connection is now closed
  kHttpError,     // the service answered with another status
};

class HTTPConnect {
 public:
  explicit HTTPConnect(THttpOptions options);
  ~HTTPConnect();
  HTTPConnect(const HTTPConnect&) = delete;
  HTTPConnect& operator=(const HTTPConnect&) = delete;

  bool IsOpen() const { return open_.load(std::memory_order_acquire); }
  // Marks the connection "not open" (what a transport failure does).
  void Close();
  // Opens it again on the same address (a new run may try the service again).
  void Reopen();
  const THttpOptions& Options() const { return options_; }

  // GET base address + path. *text receives the body (status 200) or a
  // message: "No internet connection" when not open, the transport's error, or
  // "HTTP <status>". *httpStatus, when given, receives the status (0 none).
  TFetchStatus GetHTMLPage(const std::string& path, std::string* text, long* httpStatus = nullptr);

  // Requests sent so far (for reports and tests).
  long RequestCount() const { return requests_.load(std::memory_order_relaxed); }

 private:
  void* TakeHandle();
  void GiveBack(void* handle);

  THttpOptions options_;
  std::atomic<bool> open_{false};
  std::atomic<long> requests_{0};
  std::mutex lock_;          // guards idle_
  std::vector<void*> idle_;  // CURL* handles not in use
  // Until one request has gone through, requests go one at a time, so that
  // a dead service costs the run one timeout, not one per searching thread.
  std::mutex firstLock_;
  std::atomic<bool> proven_{false};
};

inline constexpr const char* kNoInternetConnection = "No internet connection";

}  // namespace ostravel
