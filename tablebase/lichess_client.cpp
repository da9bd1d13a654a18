#include "tablebase/lichess_client.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "chess/chessboard_id.h"
#include "chess/fen.h"

namespace ostravel {

namespace {

// One writer of cache files at a time in the process.
std::atomic<bool> g_bLichessWriterActive{false};

class TWriterFlag {
 public:
  TWriterFlag() {
    int spins = 0;
    while (g_bLichessWriterActive.exchange(true, std::memory_order_acquire)) {
      if (++spins >= 4000) {
        std::this_thread::yield();
        spins = 0;
      }
    }
  }
  ~TWriterFlag() { g_bLichessWriterActive.store(false, std::memory_order_release); }
};

// Counts a lookup as pending for as long as it runs.
class TPending {
 public:
  explicit TPending(std::atomic<int>& n) : n_(n) { n_.fetch_add(1, std::memory_order_relaxed); }
  ~TPending() { n_.fetch_sub(1, std::memory_order_relaxed); }

 private:
  std::atomic<int>& n_;
};

std::string WriteErrorText(const std::filesystem::path& file) {
  std::error_code ec;
  const std::string cwd = std::filesystem::current_path(ec).string();
  return "Error writing do file " + file.string() + "\n\nCurrent directory = " + cwd;
}

bool WriteAll(int fd, const char* p, std::size_t n) {
  while (n) {
    const ssize_t w = ::write(fd, p, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

// Writes bytes to file through a synced temporary file and a rename.
bool ReplaceFile(const std::filesystem::path& file, std::string_view bytes) {
  const std::filesystem::path tmp = file.string() + ".tmp";
  const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  const bool ok = WriteAll(fd, bytes.data(), bytes.size()) && ::fsync(fd) == 0;
  ::close(fd);
  if (!ok) return false;
  std::error_code ec;
  std::filesystem::rename(tmp, file, ec);
  return !ec;
}

}  // namespace

const char* SourceName(TLiChessSource s) {
  switch (s) {
    case TLiChessSource::kCache:
      return "cache";
    case TLiChessSource::kService:
      return "service";
    default:
      return "none";
  }
}

std::string LiChessFen(const TChessboard& b) {
  std::string s = BoardToFen(b, true);
  s += b.WhiteToMove() ? " w " : " b ";
  const uint8_t rights = CastlingRights(b);
  if (!rights) s += '-';
  if (rights & kCastleWK) s += 'K';
  if (rights & kCastleWQ) s += 'Q';
  if (rights & kCastleBK) s += 'k';
  if (rights & kCastleBQ) s += 'q';
  const int ep = EnPassantTarget(b);
  if (ep >= 0) {
    s += ' ';
    s += static_cast<char>('a' + (ep & 7));
    s += static_cast<char>('1' + (ep >> 3));
  } else {
    s += " -";
  }
  s += " 0 1";
  return s;
}

std::filesystem::path LiChessCacheFile(const std::filesystem::path& folder, const uint8_t board[64]) {
  return folder / (TChessboardId(board).ToAlphanum6() + ".lichess");
}

// ---------------------------------------------------------------- table

TLiChessTable::TLiChessTable(std::filesystem::path cacheFile, bool readOnly)
    : cacheFile_(std::move(cacheFile)), readOnly_(readOnly) {}

std::vector<TLiChessReport> TLiChessTable::Load(bool warnOnRepetition) {
  std::vector<TLiChessReport> reports;
  if (cacheFile_.empty()) return reports;
  std::ifstream in(cacheFile_, std::ios::binary);
  if (!in) return reports;  // no answers cached yet
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) {
    reports.push_back({true, "Cannot read file " + cacheFile_.string()});
    return reports;
  }
  std::vector<TCacheEntry> entries;
  std::string damage;
  const bool whole = ReadCacheRecords(bytes, &entries, &damage);
  {
    std::lock_guard<std::mutex> lk(lock_);
    for (const TCacheEntry& e : entries) {
      const std::string key = LiChessTableKey(e.key);
      auto it = answers_.find(key);
      if (it == answers_.end()) {
        answers_.emplace(key, e.record);
        continue;
      }
      if (!warnOnRepetition) continue;
      const bool same = it->second == e.record;
      reports.push_back({!same, "Key " + e.key +
                                    (same ? "\n\nBoth entries are the same" : "\n\nEntries differ") +
                                    "\nwhile reading file " + cacheFile_.string()});
    }
  }
  if (!whole) {
    std::string text = "Damaged tablebase cache file " + cacheFile_.string() + ": " + damage + "; " +
                       std::to_string(entries.size()) + " records before it were read.";
    if (!readOnly_) {
      // Later appends would land behind the damage, out of reach: keep the
      // whole file aside and go on with its readable part.
      std::string good;
      for (const TCacheEntry& e : entries) AppendCacheRecord(good, e.key, e.record);
      const std::filesystem::path aside = cacheFile_.string() + ".damaged";
      bool repaired = false;
      {
        const TWriterFlag writer;
        repaired = ReplaceFile(aside, bytes) && ReplaceFile(cacheFile_, good);
      }
      if (repaired) {
        text += " The file was kept as " + aside.string() + " and rewritten with the readable records.";
      } else {
        text += " It could not be repaired; new answers will not be saved to it.";
        readOnly_ = true;
      }
    }
    reports.push_back({true, text});
  }
  return reports;
}

std::vector<TLiChessReport> TLiChessTable::TakeReports() {
  std::lock_guard<std::mutex> lk(lock_);
  return std::exchange(reports_, {});
}

std::size_t TLiChessTable::Size() const {
  std::lock_guard<std::mutex> lk(lock_);
  return answers_.size();
}

bool TLiChessTable::Find(const std::string& fen, CLiChess* out) const {
  const std::string key = LiChessTableKey(LiChessKey(fen));
  std::lock_guard<std::mutex> lk(lock_);
  auto it = answers_.find(key);
  if (it == answers_.end()) return false;
  *out = it->second;
  return true;
}

// ---------------------------------------------------------------- client

CLiChessHTTP::CLiChessHTTP(HTTPConnect& connection, int lichessLevels)
    : connection_(connection), levels_(lichessLevels) {}

CLiChess CLiChessHTTP::Query(const std::string& fen, std::string* answerText, bool* answered) {
  std::string text;
  const TFetchStatus st = connection_.GetHTMLPage("standard?fen=" + LiChessKey(fen), &text);
  if (answered) *answered = st == TFetchStatus::kOk;
  CLiChess rec = st == TFetchStatus::kOk ? ParseLiChessAnswer(text) : CLiChess{};
  if (answerText) *answerText = std::move(text);
  return rec;
}

TLiChessSource CLiChessHTTP::Lookup(const std::string& fen, TLiChessTable& table,
                                    const std::function<void(const CLiChess&)>& callback) {
  if (levels_ < 0) return TLiChessSource::kNone;
  const TPending pending(pending_);
  const std::string cacheKey = LiChessKey(fen);
  const std::string key = LiChessTableKey(cacheKey);
  std::unique_lock<std::mutex> lk(table.lock_);
  for (;;) {
    auto it = table.answers_.find(key);
    if (it != table.answers_.end()) {
      const CLiChess rec = it->second;
      lk.unlock();
      if (callback) callback(rec);
      return rec.IsUnknown() ? TLiChessSource::kNone : TLiChessSource::kCache;
    }
    if (!table.inFlight_.count(key)) break;
    table.stored_.wait(lk);  // another thread is asking the service for it
  }
  table.inFlight_.insert(key);
  lk.unlock();

  bool answered = false;
  CLiChess rec;
  try {
    rec = Query(fen, nullptr, &answered);
  } catch (...) {
    // Whatever failed, the waiting threads must not wait forever.
    lk.lock();
    table.inFlight_.erase(key);
    table.stored_.notify_all();
    throw;
  }
  const bool usable = answered && !rec.IsUnknown();
  bool append = false;
  lk.lock();
  table.answers_[key] = rec;
  table.inFlight_.erase(key);
  table.stored_.notify_all();
  append = usable && !table.readOnly_ && !table.cacheFile_.empty();
  lk.unlock();

  if (append) {
    std::string error;
    if (!AppendLiChessRecord(table.cacheFile_, cacheKey, rec, &error)) {
      lk.lock();
      if (!table.writeErrorReported_) {
        table.writeErrorReported_ = true;
        table.reports_.push_back({true, error});
      }
      lk.unlock();
    }
  }
  if (callback) callback(rec);
  return usable ? TLiChessSource::kService : TLiChessSource::kNone;
}

bool AppendLiChessRecord(const std::filesystem::path& file, std::string_view key, const CLiChess& rec,
                         std::string* error) {
  std::string bytes;
  if (!AppendCacheRecord(bytes, key, rec)) {
    *error = "Tablebase key too long for the cache file: " + std::string(key);
    return false;
  }
  const TWriterFlag writer;
  std::error_code ec;
  if (file.has_parent_path()) std::filesystem::create_directories(file.parent_path(), ec);
  std::FILE* f = std::fopen(file.c_str(), "ab");
  if (!f) {
    *error = WriteErrorText(file);
    return false;
  }
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  const bool closed = std::fclose(f) == 0;
  if (!ok || !closed) {
    *error = WriteErrorText(file);
    return false;
  }
  return true;
}

// ---------------------------------------------------------------- instances

TLiChessInstanceLock::TLiChessInstanceLock(const std::filesystem::path& folder) {
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  fd_ = ::open((folder / ".writer.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  // A folder that cannot hold the lock cannot hold the cache either: read-only.
  first_ = fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) == 0;
}

TLiChessInstanceLock::~TLiChessInstanceLock() {
  if (fd_ >= 0) ::close(fd_);
}

std::shared_ptr<const TLiChessInstanceLock> SharedLiChessInstanceLock(const std::filesystem::path& folder) {
  static std::mutex lock;
  static std::map<std::string, std::weak_ptr<const TLiChessInstanceLock>> held;
  std::lock_guard<std::mutex> g(lock);
  std::error_code ec;
  const std::filesystem::path key = std::filesystem::weakly_canonical(folder, ec);
  auto& slot = held[(ec ? folder : key).string()];
  if (auto l = slot.lock()) return l;
  auto l = std::make_shared<const TLiChessInstanceLock>(folder);
  slot = l;
  return l;
}

}  // namespace ostravel
