#pragma once
// The vendor's two web services: the message service asked at start-up and
// the crash-report server. Both are used only when the settings name their
// address (MessageServiceUrl, CrashReportUrl); with the default, empty
// addresses, nothing is ever sent anywhere.
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace ostravel {

// The agent string of the program's HTTP requests.
inline constexpr const char* kInternetAgent = "InetURL:/1.0";

struct TServiceMessage {
  int id = 0;
  std::string text;
};

// "<base>/cfg/config.cfg?&type=<type>&ver=<version>".
std::string MessageServiceRequestUrl(const std::string& base, const std::string& type);

// The service's answer: one message a line, "<id><TAB><text>", a line break
// inside the text written as "\n". Other lines are skipped.
std::vector<TServiceMessage> ParseServiceMessages(const std::string& body);

// The messages to show: those above lastProcessedId (the setting
// LastProcessedMsgId), oldest first.
std::vector<TServiceMessage> NewServiceMessages(std::vector<TServiceMessage> messages, int lastProcessedId);

// Asks the service. False with *error when base is empty or the request
// failed; then *out is left empty.
bool FetchServiceMessages(const std::string& base, const std::string& type, std::vector<TServiceMessage>* out,
                          std::string* error);

// The "&type=" of the program's requests.
inline constexpr const char* kMessageServiceType = "desktop";

// The start-up check: with base set, asks the service and returns the
// messages above lastProcessedId, oldest first; with base empty nothing is
// sent anywhere and none come back. A failed request gives none, the reason
// in *error.
std::vector<TServiceMessage> CheckServiceMessages(const std::string& base, int lastProcessedId,
                                                  std::string* error = nullptr);

// The same on a thread of its own, so that a slow service never holds up
// the start; done runs on that thread (a window passes the messages on to
// its own). The destructor waits for the request (at most its time-out).
class TServiceMessageCheck {
 public:
  using TDone = std::function<void(std::vector<TServiceMessage> messages, std::string error)>;
  TServiceMessageCheck(std::string base, int lastProcessedId, TDone done);
  ~TServiceMessageCheck();
  TServiceMessageCheck(const TServiceMessageCheck&) = delete;
  TServiceMessageCheck& operator=(const TServiceMessageCheck&) = delete;

 private:
  std::thread thread_;
};

// Remembers the last message shown: LastProcessedMsgId in the options file
// (only that key changes; every other line stays) and in the settings in
// memory. Throws std::runtime_error when the file cannot be written.
void RememberProcessedServiceMessage(int id, const std::filesystem::path& optionsFile);

// Whether the crash message offers to send the report.
inline bool CrashReportOffered(const std::string& reportUrl) {
  return !reportUrl.empty();
}

// "<url>?&ver=<version>&mb=<physical memory in MB>" ("&" when url already
// has a query).
std::string CrashReportRequestUrl(const std::string& url, uint64_t physicalMemoryMB);

// Sends the crash log as the body of a POST (text/plain). False with *error
// when url is empty, the log cannot be read or the server refused it.
bool SendCrashReport(const std::string& url, const std::string& logFile, std::string* error);

}  // namespace ostravel
