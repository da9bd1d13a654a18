#include "tablebase/http_connect.h"

#include <curl/curl.h>

#include <mutex>

namespace ostravel {

namespace {

// libcurl's global set-up is not thread-safe; do it once for the process.
void GlobalInit() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// An answer is a few kilobytes; anything far larger is not the tablebase.
constexpr size_t kMaxBody = 4u << 20;

size_t Collect(char* data, size_t size, size_t count, void* user) {
  auto* body = static_cast<std::string*>(user);
  if (body->size() + size * count > kMaxBody) return 0;  // aborts the transfer
  body->append(data, size * count);
  return size * count;
}

}  // namespace

HTTPConnect::HTTPConnect(THttpOptions options) : options_(std::move(options)) {
  GlobalInit();
  // The base is a folder: "standard?fen=" is appended to it.
  if (!options_.baseUrl.empty() && options_.baseUrl.back() != '/') options_.baseUrl += '/';
  open_.store(!options_.baseUrl.empty(), std::memory_order_release);
}

HTTPConnect::~HTTPConnect() {
  for (void* h : idle_) curl_easy_cleanup(static_cast<CURL*>(h));
}

void HTTPConnect::Close() {
  open_.store(false, std::memory_order_release);
}

void HTTPConnect::Reopen() {
  proven_.store(false, std::memory_order_release);
  open_.store(!options_.baseUrl.empty(), std::memory_order_release);
}

void* HTTPConnect::TakeHandle() {
  {
    std::lock_guard<std::mutex> lk(lock_);
    if (!idle_.empty()) {
      void* h = idle_.back();
      idle_.pop_back();
      return h;
    }
  }
  return curl_easy_init();
}

void HTTPConnect::GiveBack(void* handle) {
  std::lock_guard<std::mutex> lk(lock_);
  idle_.push_back(handle);
}

TFetchStatus HTTPConnect::GetHTMLPage(const std::string& path, std::string* text, long* httpStatus) {
  if (httpStatus) *httpStatus = 0;
  text->clear();
  if (!IsOpen()) {
    *text = kNoInternetConnection;
    return TFetchStatus::kNotOpen;
  }
  std::unique_lock<std::mutex> first;
  if (!proven_.load(std::memory_order_acquire)) {
    first = std::unique_lock<std::mutex>(firstLock_);
    if (!IsOpen()) {  // the request ahead failed
      *text = kNoInternetConnection;
      return TFetchStatus::kNotOpen;
    }
    if (proven_.load(std::memory_order_acquire)) first.unlock();
  }
  CURL* h = static_cast<CURL*>(TakeHandle());
  if (!h) {
    *text = "Cannot create an HTTP request";
    return TFetchStatus::kNetworkError;
  }
  const std::string url = options_.baseUrl + path;
  std::string body;
  curl_easy_reset(h);
  curl_easy_setopt(h, CURLOPT_URL, url.c_str());
  curl_easy_setopt(h, CURLOPT_USERAGENT, "InetURL:/1.0");
  curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);  // timeouts without SIGALRM: many threads ask
  curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options_.connectTimeoutMs));
  curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, static_cast<long>(options_.timeoutMs));
  curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(h, CURLOPT_MAXREDIRS, 3L);
  curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, Collect);
  curl_easy_setopt(h, CURLOPT_WRITEDATA, &body);
  requests_.fetch_add(1, std::memory_order_relaxed);
  const CURLcode rc = curl_easy_perform(h);
  long status = 0;
  if (rc == CURLE_OK) {
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
    proven_.store(true, std::memory_order_release);
  }
  GiveBack(h);
  if (rc != CURLE_OK) {
    Close();
    *text = std::string("Exception occurred in GetHTMLPage(): ") + curl_easy_strerror(rc);
    return TFetchStatus::kNetworkError;
  }
  if (httpStatus) *httpStatus = status;
  if (status != 200) {
    *text = "HTTP " + std::to_string(status);
    return TFetchStatus::kHttpError;
  }
  *text = std::move(body);
  return TFetchStatus::kOk;
}

}  // namespace ostravel
