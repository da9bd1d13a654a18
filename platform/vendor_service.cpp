#include "platform/vendor_service.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>

#include "config/ini_file.h"
#include "config/settings.h"

namespace ostravel {

namespace {

constexpr long kConnectTimeoutSeconds = 10;
constexpr long kTimeoutSeconds = 30;
constexpr const char* kMessagePath = "cfg/config.cfg";

void GlobalInit() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

size_t Collect(char* data, size_t size, size_t count, void* user) {
  static_cast<std::string*>(user)->append(data, size * count);
  return size * count;
}

std::string Escape(const std::string& s) {
  std::string out;
  for (unsigned char c : s) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out += static_cast<char>(c);
    } else {
      static const char* hex = "0123456789ABCDEF";
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

// One request; a POST when body is given. True for a 2xx answer.
bool Request(const std::string& url, const std::string* body, std::string* reply, std::string* error) {
  GlobalInit();
  std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
  if (!curl) {
    if (error) *error = "cannot start an HTTP request";
    return false;
  }
  CURL* c = curl.get();
  curl_easy_setopt(c, CURLOPT_URL, url.c_str());
  curl_easy_setopt(c, CURLOPT_USERAGENT, kInternetAgent);
  curl_easy_setopt(c, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutSeconds);
  curl_easy_setopt(c, CURLOPT_TIMEOUT, kTimeoutSeconds);
  curl_easy_setopt(c, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(c, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(c, CURLOPT_WRITEFUNCTION, Collect);
  curl_easy_setopt(c, CURLOPT_WRITEDATA, reply);
  std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers(nullptr, curl_slist_free_all);
  if (body) {
    headers.reset(curl_slist_append(nullptr, "Content-Type: text/plain; charset=utf-8"));
    curl_easy_setopt(c, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(c, CURLOPT_POSTFIELDS, body->data());
    curl_easy_setopt(c, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
  }
  const CURLcode rc = curl_easy_perform(c);
  if (rc != CURLE_OK) {
    if (error) *error = curl_easy_strerror(rc);
    return false;
  }
  long status = 0;
  curl_easy_getinfo(c, CURLINFO_RESPONSE_CODE, &status);
  if (status < 200 || status > 299) {
    if (error) *error = "the server answered " + std::to_string(status);
    return false;
  }
  return true;
}

}  // namespace

std::string MessageServiceRequestUrl(const std::string& base, const std::string& type) {
  std::string url = base;
  if (!url.empty() && url.back() != '/') url += '/';
  return url + kMessagePath + "?&type=" + Escape(type) + "&ver=" + Escape(OSTRAVEL_VERSION);
}

std::vector<TServiceMessage> ParseServiceMessages(const std::string& body) {
  std::vector<TServiceMessage> out;
  std::istringstream in(body);
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos || tab == 0) continue;
    const std::string id = line.substr(0, tab);
    if (id.size() > 9 || !std::all_of(id.begin(), id.end(), [](char ch) { return ch >= '0' && ch <= '9'; }))
      continue;
    TServiceMessage m;
    m.id = std::stoi(id);
    for (std::size_t i = tab + 1; i < line.size(); ++i) {
      if (line[i] == '\\' && i + 1 < line.size() && line[i + 1] == 'n') {
        m.text += '\n';
        ++i;
      } else {
        m.text += line[i];
      }
    }
    out.push_back(std::move(m));
  }
  return out;
}

std::vector<TServiceMessage> NewServiceMessages(std::vector<TServiceMessage> messages, int lastProcessedId) {
  std::erase_if(messages, [&](const TServiceMessage& m) { return m.id <= lastProcessedId; });
  std::stable_sort(messages.begin(), messages.end(),
                   [](const TServiceMessage& a, const TServiceMessage& b) { return a.id < b.id; });
  return messages;
}

bool FetchServiceMessages(const std::string& base, const std::string& type, std::vector<TServiceMessage>* out,
                          std::string* error) {
  out->clear();
  if (base.empty()) {
    if (error) *error = "no message service address is set";
    return false;
  }
  std::string reply;
  if (!Request(MessageServiceRequestUrl(base, type), nullptr, &reply, error)) return false;
  *out = ParseServiceMessages(reply);
  return true;
}

std::vector<TServiceMessage> CheckServiceMessages(const std::string& base, int lastProcessedId,
                                                  std::string* error) {
  std::vector<TServiceMessage> all;
  if (base.empty()) return all;  // no address: nothing is sent
  if (!FetchServiceMessages(base, kMessageServiceType, &all, error)) return {};
  return NewServiceMessages(std::move(all), lastProcessedId);
}

TServiceMessageCheck::TServiceMessageCheck(std::string base, int lastProcessedId, TDone done) {
  if (base.empty()) return;
  thread_ = std::thread([base = std::move(base), lastProcessedId, done = std::move(done)] {
    std::string error;
    std::vector<TServiceMessage> fresh = CheckServiceMessages(base, lastProcessedId, &error);
    if (done) done(std::move(fresh), std::move(error));
  });
}

TServiceMessageCheck::~TServiceMessageCheck() {
  if (thread_.joinable()) thread_.join();
}

void RememberProcessedServiceMessage(int id, const std::filesystem::path& optionsFile) {
  TIniFile ini;
  ini.Load(optionsFile);
  ini.SetInt(kSettingsSection, "LastProcessedMsgId", id);
  std::error_code ec;
  std::filesystem::create_directories(optionsFile.parent_path(), ec);
  ini.Save(optionsFile);
  MutableSettings().LastProcessedMsgId = id;
}

std::string CrashReportRequestUrl(const std::string& url, uint64_t physicalMemoryMB) {
  return url + (url.find('?') == std::string::npos ? "?" : "") + "&ver=" + Escape(OSTRAVEL_VERSION) +
         "&mb=" + std::to_string(physicalMemoryMB);
}

bool SendCrashReport(const std::string& url, const std::string& logFile, std::string* error) {
  if (url.empty()) {
    if (error) *error = "no crash report address is set";
    return false;
  }
  std::ifstream in(logFile, std::ios::binary);
  if (!in) {
    if (error) *error = "cannot read " + logFile;
    return false;
  }
  const std::string body((std::istreambuf_iterator<char>(in)), {});
  std::string reply;
  return Request(CrashReportRequestUrl(url, PhysicalMemoryBytes() >> 20), &body, &reply, error);
}

}  // namespace ostravel
