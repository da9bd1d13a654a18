#pragma once
// The tablebase client: queries to the service, the per-problem table of
// answers and its ".lichess" cache file.
//
// A lookup takes the table's lock only to read or change the table, never
// across the request: the first thread to ask for a position marks it in
// flight, asks the service without the lock and stores the answer; threads
// asking for the same position meanwhile wait for that answer instead of
// sending a request of their own.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "chess/board.h"
#include "tablebase/http_connect.h"
#include "tablebase/lichess_answer.h"

namespace ostravel {

// Public address of the service; the setting TablebaseUrl may name a mirror.
inline constexpr const char* kDefaultTablebaseUrl = "https://tablebase.lichess.ovh/";
// The service knows positions with at most this many men.
inline constexpr int kTablebaseMaxMen = 7;

// Shown at start-up by a second running instance (WarnAboutSecondInstanceOfProgram 2).
inline constexpr const char* kSecondInstanceNote =
    "Note:\nSince it is not the first running instance of the program, it will be opened in read-only "
    "mode for .lichess files.\n\nAlso particular care should be taken while saving problem files (.cp) - "
    "although program instances warn and suggest sychronization/reload";

// Where an answer came from.
enum class TLiChessSource { kNone, kCache, kService };
const char* SourceName(TLiChessSource s);  // "none", "cache", "service"

// A text for the user, shown in a box titled "Error" or "Warning".
struct TLiChessReport {
  bool error = false;
  std::string text;
  const char* Title() const { return error ? "Error" : "Warning"; }
};

// The FEN the service is asked for: the position's placement and side to
// move, its castling rights and e.p. square, "0 1" for the move counters (so
// that the same position always has the same key).
std::string LiChessFen(const TChessboard& b);

// The cache file of a problem: <folder>/<identifier of its board>.lichess.
std::filesystem::path LiChessCacheFile(const std::filesystem::path& folder, const uint8_t board[64]);

// The answers of one problem. `cacheFile` empty keeps them in memory only;
// `readOnly` reads the file but never appends to it (a second instance).
class TLiChessTable {
 public:
  explicit TLiChessTable(std::filesystem::path cacheFile = {}, bool readOnly = false);

  const std::filesystem::path& CacheFile() const { return cacheFile_; }
  bool ReadOnly() const { return readOnly_; }

  // Reads the cache file into the table (a missing file is an empty one).
  // An entry found twice is compared with the one held: reported only when
  // warnOnRepetition (the setting WarningOnLichessDataRepetition), as a
  // warning when both are the same and as an error when they differ; the
  // first one stays. A damaged or cut file is reported as an error naming the
  // file; the records before the damage are kept, and a writing instance
  // moves the whole file aside to "<name>.damaged" and rewrites the good
  // records, so that later appends stay readable.
  std::vector<TLiChessReport> Load(bool warnOnRepetition);

  // Reports gathered by lookups (a cache file that could not be written),
  // each handed out once.
  std::vector<TLiChessReport> TakeReports();

  std::size_t Size() const;
  // The answer held for a FEN; false when none is (or it is in flight).
  bool Find(const std::string& fen, CLiChess* out) const;

 private:
  friend class CLiChessHTTP;
  std::filesystem::path cacheFile_;
  bool readOnly_ = false;
  bool writeErrorReported_ = false;
  mutable std::mutex lock_;  // the problem's lock: guards everything below
  std::condition_variable stored_;
  std::map<std::string, CLiChess> answers_;  // by LiChessTableKey
  std::set<std::string> inFlight_;           // the placeholder records
  std::vector<TLiChessReport> reports_;
};

class CLiChessHTTP {
 public:
  // `lichessLevels` is the setting LichessLevels: negative switches lookups off.
  CLiChessHTTP(HTTPConnect& connection, int lichessLevels);

  // Asks the service. *answerText, when given, receives the text of the
  // answer or of the failure ("No internet connection" when the connection
  // is not open). *answered: the service answered with status 200. An
  // unusable answer comes out as the unknown record.
  CLiChess Query(const std::string& fen, std::string* answerText = nullptr, bool* answered = nullptr);

  // The engine's entry: the answer for a FEN from the table, or else from
  // the service (then stored in the table and appended to its cache file).
  // The callback, when given, receives the record. kNone when lookups are
  // off (no callback then), the service could not be asked, or its answer
  // was unusable; unusable answers are kept for the run but never written to
  // the file, so a later run asks again.
  TLiChessSource Lookup(const std::string& fen, TLiChessTable& table,
                        const std::function<void(const CLiChess&)>& callback = {});

  // Lookups under way (from every thread).
  int Pending() const { return pending_.load(std::memory_order_relaxed); }
  int Levels() const { return levels_; }
  HTTPConnect& Connection() { return connection_; }

 private:
  HTTPConnect& connection_;
  int levels_;
  std::atomic<int> pending_{0};
};

// Appends one record to a cache file in one write, serialised process-wide
// by the writer flag. False with *error set when the file cannot be written.
bool AppendLiChessRecord(const std::filesystem::path& file, std::string_view key, const CLiChess& rec,
                         std::string* error);

// Tells a second running instance from the first: the first to lock
// "<folder>/.writer.lock" is the writer of the folder's cache files; an
// instance that finds the lock taken opens them read-only. Held for the
// object's life.
class TLiChessInstanceLock {
 public:
  explicit TLiChessInstanceLock(const std::filesystem::path& folder);
  ~TLiChessInstanceLock();
  TLiChessInstanceLock(const TLiChessInstanceLock&) = delete;
  TLiChessInstanceLock& operator=(const TLiChessInstanceLock&) = delete;
  bool First() const { return first_; }

 private:
  int fd_ = -1;
  bool first_ = false;
};

// The process's lock of a folder, shared by every user in the process: a
// second search or window of the same process is as much the writer as the
// first (a second flock on a new descriptor would fail even in one process).
std::shared_ptr<const TLiChessInstanceLock> SharedLiChessInstanceLock(const std::filesystem::path& folder);

}  // namespace ostravel
