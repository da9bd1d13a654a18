#include "registers/register_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>

#include "chess/board.h"
#include "chess/fen.h"
#include "config/settings.h"
#include "registers/lz4_container.h"

namespace ostravel {

namespace {

// A file with more heuristic configurations than any run makes is not
// trusted with more: each sub-register costs a whole bucket table.
constexpr std::size_t kMaxLoadedSubRegisters = 64;
constexpr std::size_t kIoBufferBytes = std::size_t{1} << 20;
constexpr uint64_t kLimitSlack = kRecordBytes - 1;  // 0x43
// Lines after which the load log is closed (and reopened by the next line).
constexpr uint32_t kLoadLogLinesPerOpen = 65536;

uint16_t Get16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | p[1] << 8);
}
uint64_t Get64(const uint8_t* p) {
  uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = v << 8 | p[i];
  return v;
}
void Put16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
void Put64(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

void EncodeHeader(uint8_t* out, uint64_t key) {
  std::memset(out, 0xFF, 4);
  Put64(out + 4, key);
}
void EncodeRecord(uint8_t* out, const TRegisterRecord& r) {
  Put16(out, r.nMovesMate);
  Put16(out + 2, r.nMovesNoMate);
  std::memcpy(out + 4, r.board, 64);
}

// Unsigned comparisons, as the counts are stored: the larger count is n.
bool Qualifies(const TRegisterRecord& r, uint16_t n) {
  return (r.nMovesNoMate == n && r.nMovesMate <= n) || (r.nMovesMate == n && r.nMovesNoMate <= n);
}

bool LimitReached(uint64_t written, uint64_t limit) {
  return limit != 0 && written + kLimitSlack >= limit;
}

// ---------------------------------------------------------------- sinks

struct TFileSink {
  std::FILE* f;
  bool Fits(uint64_t) const { return true; }
  bool Write(const uint8_t* p, std::size_t n, uint64_t&) { return std::fwrite(p, 1, n, f) == n; }
};

struct TMemorySink {
  TMemoryStream& m;
  // The running count is the position in the buffer.
  uint64_t& pos;
  bool Fits(uint64_t n) const { return pos + n <= m.capacity; }
  bool Write(const uint8_t* p, std::size_t n, uint64_t&) {
    std::memcpy(m.data + pos, p, n);
    return true;
  }
};

// Which larger counts each part holds, so that the passes over the table
// skip the parts with nothing of the ply count in hand.
class TPresence {
 public:
  static TPresence Of(const TAggregatedTemporaryChessboardRegister& reg) {
    TPresence p;
    p.known_ = true;
    reg.ForEachRecord([&p](uint64_t key, const TRegisterRecord& r) {
      auto& bits = p.bits_[key];
      if (bits.empty()) bits.assign(1024, 0);
      const uint16_t n = std::max(r.nMovesMate, r.nMovesNoMate);
      bits[n >> 6] |= uint64_t{1} << (n & 63);
      return true;
    });
    return p;
  }
  bool Has(uint64_t key, uint16_t n) const {
    if (!known_) return true;
    const auto it = bits_.find(key);
    return it != bits_.end() && (it->second[n >> 6] >> (n & 63) & 1) != 0;
  }

 private:
  bool known_ = false;
  std::map<uint64_t, std::vector<uint64_t>> bits_;
};

enum class TPartOutcome { kDone, kLimit, kWriteError };

template <class Sink>
TPartOutcome WritePart(const TAggregatedTemporaryChessboardRegister& reg, uint64_t key, Sink& sink,
                       uint64_t limit, uint64_t& written, uint16_t n) {
  TPartOutcome outcome = TPartOutcome::kDone;
  reg.ForEachRecordOf(key, [&](uint64_t, const TRegisterRecord& r) {
    if (!Qualifies(r, n)) return true;
    if (!sink.Fits(kRecordBytes)) {
      outcome = TPartOutcome::kLimit;
      return false;
    }
    uint8_t buf[kRecordBytes];
    EncodeRecord(buf, r);
    if (!sink.Write(buf, kRecordBytes, written)) {
      outcome = TPartOutcome::kWriteError;
      return false;
    }
    written += kRecordBytes;
    if (LimitReached(written, limit)) {
      outcome = TPartOutcome::kLimit;
      return false;
    }
    return true;
  });
  return outcome;
}

// Returns false at the limit; throws on a write failure.
template <class Sink>
bool WriteHeader(Sink& sink, uint64_t key, uint64_t& written) {
  if (!sink.Fits(kSectionHeaderBytes)) return false;
  uint8_t buf[kSectionHeaderBytes];
  EncodeHeader(buf, key);
  if (!sink.Write(buf, kSectionHeaderBytes, written)) throw ChessException(kErrAggregatedSaveExact);
  written += kSectionHeaderBytes;
  return true;
}

template <class Sink>
bool WriteSections(const TAggregatedTemporaryChessboardRegister& reg, const std::vector<uint64_t>& keys,
                   Sink& sink, uint64_t limit, uint64_t& written, uint16_t n, const TPresence& presence) {
  auto part = [&](uint64_t key) {
    if (!WriteHeader(sink, key, written)) return false;
    if (!presence.Has(key, n)) return true;
    const TPartOutcome o = WritePart(reg, key, sink, limit, written, n);
    if (o == TPartOutcome::kWriteError) throw ChessException(kErrPartSaveExact);
    return o == TPartOutcome::kDone;
  };
  if (!part(0)) return false;
  for (const uint64_t key : keys)
    if (!part(key)) return false;
  return true;
}

// The whole stream, longest results first. Returns false when the limit cut
// it, with the ply count in hand in cutPlies.
template <class Sink>
bool WriteStream(const TAggregatedTemporaryChessboardRegister& reg, Sink& sink, uint64_t limit,
                 uint64_t& written, uint16_t& cutPlies, const TPresence& presence) {
  const std::vector<uint64_t> keys = reg.SubRegisterKeys();
  for (int n = FirstSavedPlies(reg.MaxPlies()); n >= 1; n -= 2) {
    if (!WriteSections(reg, keys, sink, limit, written, static_cast<uint16_t>(n), presence)) {
      cutPlies = static_cast<uint16_t>(n);
      return false;
    }
  }
  return true;
}

struct TFileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};
using TFilePtr = std::unique_ptr<std::FILE, TFileCloser>;

void WriteAll(std::FILE* f, const uint8_t* data, uint64_t size) {
  if (size != 0 && std::fwrite(data, 1, size, f) != size) throw ChessException(kErrWriting);
}

// ---------------------------------------------------------------- sources

class TSource {
 public:
  virtual ~TSource() = default;
  // Up to n bytes; fewer only at the end of the data.
  virtual std::size_t Read(uint8_t* dst, std::size_t n) = 0;
};

class TMemorySource final : public TSource {
 public:
  TMemorySource(const uint8_t* data, uint64_t size) : data_(data), size_(size) {}
  std::size_t Read(uint8_t* dst, std::size_t n) override {
    const std::size_t k = static_cast<std::size_t>(std::min<uint64_t>(n, size_ - pos_));
    if (k) std::memcpy(dst, data_ + pos_, k);
    pos_ += k;
    return k;
  }

 private:
  const uint8_t* data_;
  uint64_t size_;
  uint64_t pos_ = 0;
};

class TFileSource final : public TSource {
 public:
  explicit TFileSource(std::FILE* f) : f_(f), buf_(new uint8_t[kIoBufferBytes]) {}
  std::size_t Read(uint8_t* dst, std::size_t n) override {
    std::size_t done = 0;
    while (done < n) {
      if (pos_ == end_) {
        if (eof_) break;
        end_ = std::fread(buf_.get(), 1, kIoBufferBytes, f_);
        pos_ = 0;
        if (end_ < kIoBufferBytes) eof_ = true;
        if (end_ == 0) break;
      }
      const std::size_t k = std::min(n - done, end_ - pos_);
      std::memcpy(dst + done, buf_.get() + pos_, k);
      pos_ += k;
      done += k;
    }
    return done;
  }

 private:
  std::FILE* f_;
  std::unique_ptr<uint8_t[]> buf_;
  std::size_t pos_ = 0, end_ = 0;
  bool eof_ = false;
};

// ---------------------------------------------------------------- load log

// The log is the process's: its header goes before the first line the
// process writes to it.
class TLoadLogWriter {
 public:
  static TLoadLogWriter& Instance() {
    static TLoadLogWriter w;
    return w;
  }
  void Line(const std::filesystem::path& path, const std::string& text) {
    std::lock_guard<std::mutex> lk(m_);
    if (f_ && path != path_) Close();
    if (!f_) {
      f_ = std::fopen(path.c_str(), "a");
      if (!f_) return;  // a diagnosis aid: the load goes on without it
      path_ = path;
      lines_ = 0;
      if (headerWritten_.insert(path.string()).second) std::fputs(kLoadLogHeader, f_);
    }
    std::fputs(text.c_str(), f_);
    std::fflush(f_);
    if (++lines_ >= kLoadLogLinesPerOpen) Close();
  }
  ~TLoadLogWriter() { Close(); }

 private:
  void Close() {
    if (f_) std::fclose(f_);
    f_ = nullptr;
  }
  std::mutex m_;
  std::FILE* f_ = nullptr;
  std::filesystem::path path_;
  uint32_t lines_ = 0;
  std::set<std::string> headerWritten_;
};

std::filesystem::path InFolder(const std::filesystem::path& folder, const char* name) {
  return folder.empty() ? std::filesystem::path(name) : folder / name;
}

// ---------------------------------------------------------------- load

struct TLoadState {
  TRegisterLoadStatistics* stats;
  bool invalidSeen = false;
};

bool AllZero(const uint8_t* p, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (p[i]) return false;
  return true;
}

bool IsHeader(const uint8_t* p) {
  return Get16(p) == 0xFFFF && Get16(p + 2) == 0xFFFF;
}

// What is left when the data end while a record is being completed after a
// header: nothing, or whole headers only (empty sections at the end of a
// file) end the load; anything else is a file cut inside its data.
bool OnlyWholeHeaders(const uint8_t* p, std::size_t n) {
  if (n % kSectionHeaderBytes != 0) return false;
  for (std::size_t i = 0; i < n; i += kSectionHeaderBytes)
    if (Get16(p + i) != 0xFFFF || Get16(p + i + 2) != 0xFFFF) return false;
  return true;
}

void LoadStream(TAggregatedTemporaryChessboardRegister& reg, TSource& src, TLoadState& st,
                const TRegisterLoadLog* log) {
  TRegisterLoadStatistics& stats = *st.stats;
  const std::filesystem::path logPath =
      log ? InFolder(log->logFolder, kLoadLogName) : std::filesystem::path();
  std::set<uint64_t> refusedKeys;
  uint64_t acceptedKey = 0;  // the section in hand, once let in
  uint8_t rec[kRecordBytes];
  uint64_t key = 0;
  bool firstRecord = true;
  for (;;) {
    if (src.Read(rec, kRecordBytes) < kRecordBytes) return;  // the end, or a record cut short
    if (firstRecord) {
      firstRecord = false;
      if (AllZero(rec, kRecordBytes - 2)) continue;
    }
    while (IsHeader(rec)) {
      key = Get64(rec + 4);
      std::memmove(rec, rec + kSectionHeaderBytes, kRecordBytes - kSectionHeaderBytes);
      const std::size_t got = src.Read(rec + kRecordBytes - kSectionHeaderBytes, kSectionHeaderBytes);
      if (got < kSectionHeaderBytes) {
        if (got == 0 || OnlyWholeHeaders(rec, kRecordBytes - kSectionHeaderBytes + got)) return;
        throw ChessException(kErrReadingInLoad);
      }
    }

    const uint16_t first = Get16(rec), second = Get16(rec + 2);
    const uint8_t* board = rec + 4;
    ++stats.totalRecords;
    stats.NotePlies(std::max(first, second));
    bool invalid;
    if (log) {
      const std::string fen = RecordFen(board);
      invalid = fen.find_first_of("eE") != std::string::npos;
      char head[64];
      std::snprintf(head, sizeof head, "%d,%d,%d,%d,", first, second,
                    static_cast<int>(static_cast<uint32_t>(key)),
                    static_cast<int>(static_cast<uint32_t>(key >> 32)));
      TLoadLogWriter::Instance().Line(logPath, head + fen + "\n");
    } else {
      invalid = RecordBoardInvalid(board);
    }
    if (invalid) st.invalidSeen = true;

    const uint32_t hash = RegisterHash(board);
    if (key == 0) {
      if (first != 0) {
        ++stats.exactMateRecords;
        reg.Insert(first, board, hash, true);
      }
      if (second != 0) {
        ++stats.exactNoMateRecords;
        reg.Insert(second, board, hash, false);
      }
      continue;
    }
    if (first != 0) ++stats.subFirstRecords;
    if (second != 0) ++stats.subSecondRecords;
    if (key != acceptedKey) {
      if (refusedKeys.count(key) != 0) continue;
      if (reg.PartElementCount(key) == 0 && reg.SubRegisterKeys().size() >= kMaxLoadedSubRegisters) {
        refusedKeys.insert(key);
        st.invalidSeen = true;
        continue;
      }
      acceptedKey = key;
    }
    if (first != 0) reg.InsertSub(key, first, board, hash, true);
    if (second != 0) reg.InsertSub(key, second, board, hash, false);
  }
}

uint64_t RealFileSize(std::FILE* f, uint64_t claimed) {
  struct stat sb {};
  if (::fstat(::fileno(f), &sb) == 0 && S_ISREG(sb.st_mode)) return static_cast<uint64_t>(sb.st_size);
  return claimed;
}

bool LoadImpl(TAggregatedTemporaryChessboardRegister& reg, std::FILE* f, uint32_t bucketCount,
              uint64_t fileSize, TRegisterLoadStatistics* stats, const TRegisterLoadLog* log) {
  TRegisterLoadStatistics local;
  TLoadState st{stats ? stats : &local};
  if (reg.ElementCount() == 0 && bucketCount != 0 && (bucketCount & (bucketCount - 1)) == 0 &&
      reg.BucketCount() != bucketCount)
    reg.Reset(bucketCount);

  uint8_t magic[4];
  if (std::fread(magic, 1, 4, f) < 4) throw ChessException(kErrEmptyFile);
  if (Lz4ContainerMagic(magic) == TLz4Magic::kNone) {
    if (std::fseek(f, -4, SEEK_CUR) != 0) throw ChessException(kErrReading);
    TFileSource src(f);
    LoadStream(reg, src, st, log);
    return !st.invalidSeen;
  }

  // The size is that of the file as it stands, whatever the caller thought;
  // the caller's figure counts only where the system cannot tell.
  const uint64_t size = std::max<uint64_t>(4, RealFileSize(f, fileSize));
  TByteBuffer raw;
  raw.bytes.reset(new (std::nothrow) uint8_t[size + 16]);
  if (!raw.bytes) throw ChessException(kErrAllocating);
  std::memcpy(raw.data(), magic, 4);
  if (std::fread(raw.data() + 4, 1, size - 4, f) != size - 4) throw ChessException(kErrReading);
  TByteBuffer plain = Lz4DecompressContainer(raw.data(), size);
  raw.bytes.reset();
  if (log) {
    if (std::FILE* dump = std::fopen(InFolder(log->dumpFolder, kLoadDumpName).c_str(), "wb")) {
      std::fwrite(plain.data(), 1, plain.size, dump);
      std::fclose(dump);
    }
  }
  TMemorySource src(plain.data(), plain.size);
  LoadStream(reg, src, st, log);
  return !st.invalidSeen;
}

std::string TrimTrailingNewlines(std::string s) {
  while (!s.empty() && s.back() == '\n') s.pop_back();
  return s;
}

}  // namespace

// ---------------------------------------------------------------- SaveExact

bool SaveExactPart(const TAggregatedTemporaryChessboardRegister& reg, uint64_t sectionKey, std::FILE* out,
                   uint64_t byteLimit, uint64_t& written, uint16_t n) {
  TFileSink sink{out};
  const TPartOutcome o = WritePart(reg, sectionKey, sink, byteLimit, written, n);
  if (o == TPartOutcome::kWriteError) throw ChessException(kErrPartSaveExact);
  return o == TPartOutcome::kDone;
}

bool SaveExactPart(const TAggregatedTemporaryChessboardRegister& reg, uint64_t sectionKey, TMemoryStream& out,
                   uint64_t byteLimit, uint64_t& written, uint16_t n) {
  TMemorySink sink{out, written};
  return WritePart(reg, sectionKey, sink, byteLimit, written, n) == TPartOutcome::kDone;
}

bool SaveExact(const TAggregatedTemporaryChessboardRegister& reg, std::FILE* out, uint64_t byteLimit,
               uint64_t& written, uint16_t n) {
  TFileSink sink{out};
  return WriteSections(reg, reg.SubRegisterKeys(), sink, byteLimit, written, n, TPresence());
}

bool SaveExact(const TAggregatedTemporaryChessboardRegister& reg, TMemoryStream& out, uint64_t byteLimit,
               uint64_t& written, uint16_t n) {
  TMemorySink sink{out, written};
  return WriteSections(reg, reg.SubRegisterKeys(), sink, byteLimit, written, n, TPresence());
}

// ---------------------------------------------------------------- save

TRegisterSaveResult SaveRegisterFile(const TAggregatedTemporaryChessboardRegister& reg,
                                     const std::filesystem::path& path, const TRegisterSaveOptions& options) {
  TRegisterSaveResult result;
  TFilePtr file(std::fopen(path.c_str(), "wb"));
  if (!file) {
    if (!options.silent) result.messages.push_back({kTitleInformation, kMsgErrorOpeningFile + path.string()});
    return result;
  }
  std::setvbuf(file.get(), nullptr, _IOFBF, kIoBufferBytes);
  const uint64_t limitMB = std::min<uint64_t>(options.limitMB, uint64_t{1} << 40);
  const TPresence presence = TPresence::Of(reg);

  bool done = false;
  if (options.compress) {
    const uint64_t memory = options.physicalMemoryBytes ? options.physicalMemoryBytes : PhysicalMemoryBytes();
    uint64_t bufferBytes = memory / 4;
    if (limitMB != 0) bufferBytes = std::min(bufferBytes, limitMB * 0x500000);
    // Left uninitialised: only the part the stream fills is ever touched.
    std::unique_ptr<uint8_t[]> buffer(bufferBytes <= SIZE_MAX / 2 ? new (std::nothrow) uint8_t[bufferBytes]
                                                                  : nullptr);
    if (buffer) {
      TMemoryStream ms{buffer.get(), bufferBytes};
      uint64_t written = 0;
      TMemorySink sink{ms, written};
      uint16_t cut = 0;
      const bool complete = WriteStream(reg, sink, bufferBytes, written, cut, presence);
      const TByteBuffer container = Lz4CompressContainer(buffer.get(), written, options.threads);
      buffer.reset();
      if (!container.empty()) {
        WriteAll(file.get(), container.data(), container.size);
        done = true;
        result.status = kSaveDone;
        result.compressed = true;
        result.cutAtLimit = !complete;
        result.cutPlies = complete ? 0 : cut;
        result.streamBytes = written;
        result.fileBytes = container.size;
      }
    }
    if (!done) {
      if (!options.silent) result.messages.push_back({kTitleInformation, kMsgCompressionSkipped});
      result.status = kSaveCompressionSkipped;
    }
  }
  if (!done) {
    TFileSink sink{file.get()};
    uint64_t written = 0;
    uint16_t cut = 0;
    const bool complete = WriteStream(reg, sink, limitMB << 20, written, cut, presence);
    if (!options.compress) result.status = kSaveDone;
    result.cutAtLimit = !complete;
    result.cutPlies = complete ? 0 : cut;
    result.streamBytes = result.fileBytes = written;
  }
  if (std::fflush(file.get()) != 0 || std::ferror(file.get())) throw ChessException(kErrWriting);
  if (options.syncToDisk && ::fsync(::fileno(file.get())) != 0) throw ChessException(kErrWriting);
  if (std::fclose(file.release()) != 0) throw ChessException(kErrWriting);
  if (!options.silent) result.messages.push_back({kTitleInformation, SaveReportText(path.string(), result)});
  return result;
}

std::vector<uint8_t> SaveRegisterToMemory(const TAggregatedTemporaryChessboardRegister& reg) {
  // Sized from a first pass; records that arrive meanwhile may be left out.
  uint64_t bytes = 0;
  reg.ForEachRecord([&](uint64_t, const TRegisterRecord&) {
    bytes += kRecordBytes;
    return true;
  });
  const uint64_t sections = reg.SubRegisterKeys().size() + 1;
  bytes += sections * kSectionHeaderBytes * static_cast<uint64_t>((reg.MaxPlies() + 1) / 2);
  std::vector<uint8_t> out(static_cast<std::size_t>(bytes));
  TMemoryStream ms{out.data(), out.size()};
  uint64_t written = 0;
  TMemorySink sink{ms, written};
  uint16_t cut = 0;
  WriteStream(reg, sink, 0, written, cut, TPresence::Of(reg));
  out.resize(static_cast<std::size_t>(written));
  return out;
}

std::string SaveReportText(const std::string& path, const TRegisterSaveResult& result) {
  std::string s = kMsgFileCreated + path;
  if (result.cutAtLimit) s += kMsgStartFrom + std::to_string(result.cutPlies / 2 + 1);
  return s;
}

// ---------------------------------------------------------------- load

bool LoadRegister(TAggregatedTemporaryChessboardRegister& reg, std::FILE* f, uint32_t bucketCount,
                  uint64_t fileSize, TRegisterLoadStatistics* stats) {
  return LoadImpl(reg, f, bucketCount, fileSize, stats, nullptr);
}

bool LoadRegisterLogged(TAggregatedTemporaryChessboardRegister& reg, std::FILE* f, uint32_t bucketCount,
                        uint64_t fileSize, TRegisterLoadStatistics* stats, const TRegisterLoadLog& log) {
  return LoadImpl(reg, f, bucketCount, fileSize, stats, &log);
}

bool LoadRegisterFromMemory(TAggregatedTemporaryChessboardRegister& reg, const uint8_t* data, uint64_t size,
                            TRegisterLoadStatistics* stats) {
  TRegisterLoadStatistics local;
  TLoadState st{stats ? stats : &local};
  if (size < 4) throw ChessException(kErrEmptyFile);
  if (Lz4ContainerMagic(data) == TLz4Magic::kNone) {
    TMemorySource src(data, size);
    LoadStream(reg, src, st, nullptr);
  } else {
    const TByteBuffer plain = Lz4DecompressContainer(data, size);
    TMemorySource src(plain.data(), plain.size);
    LoadStream(reg, src, st, nullptr);
  }
  return !st.invalidSeen;
}

std::string RecordFen(const uint8_t board[64]) {
  TChessboard b;
  ClearBoard(b);
  std::memcpy(b.board, board, 64);
  RecomputeDerived(b);
  SetRootPlies(b, 1);  // the register holds positions with White to move
  return BoardToFen(b);
}

bool RecordBoardInvalid(const uint8_t board[64]) {
  // The FEN writer's letters, looked up once per code rather than per square.
  static const std::array<bool, 256> kInvalid = [] {
    std::array<bool, 256> t{};
    for (int c = 1; c < 256; ++c) {
      const char letter = PieceLetter(static_cast<uint8_t>(c));
      t[c] = letter == 'E' || letter == 'e';
    }
    return t;
  }();
  bool invalid = false;
  for (int i = 0; i < 64; ++i) invalid |= kInvalid[board[i]];
  return invalid;
}

uint32_t SizeFigureForFile(uint64_t fileBytes) {
  if (fileBytes >= (uint64_t{128} << 20)) return 23;
  if (fileBytes >= (uint64_t{1} << 20)) return 15;
  return 0;
}

uint32_t LoadBucketCount(uint32_t sizeFigure) {
  return ChooseRegisterBucketCount(sizeFigure, Settings().tempRegLimitMB, false);
}

std::string LoadReportText(const std::string& path, const TRegisterLoadStatistics& stats,
                           bool invalidPositions, bool clearOnStartOption) {
  std::string s = (invalidPositions ? kMsgFileReadWithErrors : kMsgFileRead) + path + "\n\n";
  s += TrimTrailingNewlines(stats.Text());
  if (invalidPositions) s += kMsgInvalidPositions;
  if (clearOnStartOption) s += kMsgClearOnStartNote;
  return s;
}

TRegisterReadResult ReadRegisterFile(TAggregatedTemporaryChessboardRegister& reg,
                                     const std::filesystem::path& path, uint32_t bucketCount,
                                     const TRegisterReadOptions& options) {
  TRegisterReadResult r;
  TFilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    r.error = kMsgErrorOpeningFile + path.string();
    return r;
  }
  r.opened = true;
  const bool logged = options.logged < 0 ? Settings().LogToFileTmpRegLoad != 0 : options.logged != 0;
  try {
    const uint64_t size = RealFileSize(file.get(), 0);
    const bool valid = logged ? LoadRegisterLogged(reg, file.get(), bucketCount, size, &r.stats, options.log)
                              : LoadRegister(reg, file.get(), bucketCount, size, &r.stats);
    r.completed = true;
    r.invalidPositions = !valid;
    r.report = LoadReportText(path.string(), r.stats, r.invalidPositions,
                              Settings().ClearRegisterOnStartSolving != 0);
  } catch (const std::bad_alloc&) {
    r.error = kErrAllocating;
  } catch (const std::exception& e) {
    r.error = e.what();
  }
  return r;
}

}  // namespace ostravel
