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
#include "config/safe_file.h"
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

// A save's file: the safe writer, with the CRC of all that went through.
// Its failures throw SafeFileError (the file's name and the reason).
struct TSafeSink {
  TSafeFileWriter& w;
  uint32_t crc = 0;
  bool Fits(uint64_t) const { return true; }
  bool Write(const uint8_t* p, std::size_t n, uint64_t&) {
    w.Write(p, n);
    crc = Crc32(crc, p, n);
    return true;
  }
};

void EncodeTrailer(uint8_t* out, uint32_t crc) {
  EncodeHeader(out, kIntegrityTrailerKey);
  EncodeHeader(out + kSectionHeaderBytes, uint64_t{kIntegrityVersion} << 32 | crc);
}

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

// The whole stream, longest results first, behind the integrity lead (the
// trailer is the caller's: it covers what the sink saw). Returns false when
// the limit cut it, with the ply count in hand in cutPlies.
template <class Sink>
bool WriteStream(const TAggregatedTemporaryChessboardRegister& reg, Sink& sink, uint64_t limit,
                 uint64_t& written, uint16_t& cutPlies, const TPresence& presence) {
  if (!WriteHeader(sink, kIntegrityLeadKey, written)) {
    cutPlies = static_cast<uint16_t>(std::max(1, FirstSavedPlies(reg.MaxPlies())));
    return false;
  }
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

void WriteAll(TSafeFileWriter& f, const uint8_t* data, uint64_t size) {
  if (size != 0) f.Write(data, static_cast<std::size_t>(size));
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
  // Reads at most `limit` bytes (the stream before its trailer).
  explicit TFileSource(std::FILE* f, uint64_t limit = UINT64_MAX)
      : f_(f), buf_(new uint8_t[kIoBufferBytes]), left_(limit) {}
  std::size_t Read(uint8_t* dst, std::size_t n) override {
    n = static_cast<std::size_t>(std::min<uint64_t>(n, left_));
    left_ -= n;
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
  uint64_t left_;
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
  bool verified = false;
};

bool IsHeader(const uint8_t* p) {
  return Get16(p) == 0xFFFF && Get16(p + 2) == 0xFFFF;
}

bool IsHeaderWithKey(const uint8_t* p, uint64_t key) {
  return Get16(p) == 0xFFFF && Get16(p + 2) == 0xFFFF && Get64(p + 4) == key;
}

// What the ends of a stream say. `dataBytes` is where the trailer starts
// (the whole size when there is none); the CRC is then checked over it.
struct TStreamEnds {
  bool lead = false;
  bool trailer = false;
  uint32_t crc = 0;
  uint64_t dataBytes = 0;
};

TStreamEnds ReadEnds(const uint8_t* head, std::size_t headBytes, const uint8_t* tail, std::size_t tailBytes,
                     uint64_t size) {
  TStreamEnds e;
  e.dataBytes = size;
  e.lead = headBytes >= kSectionHeaderBytes && IsHeaderWithKey(head, kIntegrityLeadKey);
  if (tailBytes >= kIntegrityTrailerBytes && IsHeaderWithKey(tail, kIntegrityTrailerKey) &&
      IsHeader(tail + kSectionHeaderBytes)) {
    const uint64_t word = Get64(tail + kSectionHeaderBytes + 4);
    if (word >> 32 != kIntegrityVersion) throw ChessException(kErrUnknownCheck);
    e.trailer = true;
    e.crc = static_cast<uint32_t>(word);
    e.dataBytes = size - kIntegrityTrailerBytes;
  }
  if (e.lead && !e.trailer) throw ChessException(kErrCutShort);
  return e;
}

TStreamEnds CheckMemoryStream(const uint8_t* data, uint64_t size) {
  const std::size_t tail = static_cast<std::size_t>(std::min<uint64_t>(size, kIntegrityTrailerBytes));
  const TStreamEnds e =
      ReadEnds(data, static_cast<std::size_t>(std::min<uint64_t>(size, 12)), data + size - tail, tail, size);
  if (e.trailer && Crc32(0, data, static_cast<std::size_t>(e.dataBytes)) != e.crc)
    throw ChessException(kErrDamaged);
  return e;
}

bool AllZero(const uint8_t* p, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i)
    if (p[i]) return false;
  return true;
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
    // A register is a proof cache: a record that cannot be true would turn
    // into a wrong answer, so it is refused, not stored.
    if (!RecordPossible(key == 0, first, second, board)) {
      ++stats.refusedRecords;
      st.invalidSeen = true;
      continue;
    }

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

// Checks a plain file (positioned at its start, left there): its ends, and
// the CRC over all before the trailer, in a first pass that inserts nothing.
TStreamEnds CheckPlainFile(std::FILE* f, uint64_t size) {
  const long start = std::ftell(f);
  uint8_t head[kSectionHeaderBytes] = {}, tail[kIntegrityTrailerBytes] = {};
  const std::size_t headBytes = std::fread(head, 1, sizeof head, f);
  std::size_t tailBytes = 0;
  if (size >= kIntegrityTrailerBytes &&
      std::fseek(f, start + static_cast<long>(size - kIntegrityTrailerBytes), SEEK_SET) == 0)
    tailBytes = std::fread(tail, 1, sizeof tail, f);
  const TStreamEnds e = ReadEnds(head, headBytes, tail, tailBytes, size);
  if (std::fseek(f, start, SEEK_SET) != 0) throw ChessException(kErrReading);
  if (e.trailer) {
    TFileSource src(f, e.dataBytes);
    std::unique_ptr<uint8_t[]> buf(new uint8_t[kIoBufferBytes]);
    uint32_t crc = 0;
    uint64_t seen = 0;
    for (std::size_t n; (n = src.Read(buf.get(), kIoBufferBytes)) > 0; seen += n)
      crc = Crc32(crc, buf.get(), n);
    if (seen != e.dataBytes || crc != e.crc) throw ChessException(kErrDamaged);
    if (std::fseek(f, start, SEEK_SET) != 0) throw ChessException(kErrReading);
  }
  return e;
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
    const TStreamEnds ends = CheckPlainFile(f, RealFileSize(f, fileSize));
    st.verified = ends.trailer;
    st.stats->verified = ends.trailer;
    TFileSource src(f, ends.dataBytes);
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
  const TStreamEnds ends = CheckMemoryStream(plain.data(), plain.size);
  st.stats->verified = ends.trailer;
  TMemorySource src(plain.data(), ends.dataBytes);
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
  // Written beside the old file and renamed over it only when complete and
  // synced: a failed save leaves the previous file as it was.
  std::unique_ptr<TSafeFileWriter> file;
  try {
    file = std::make_unique<TSafeFileWriter>(path);
  } catch (const SafeFileError& e) {
    result.error = kMsgErrorOpeningFile + path.string() + ": " + std::strerror(e.error);
    if (!options.silent) result.messages.push_back({kTitleInformation, result.error});
    return result;
  }
  const uint64_t limitMB = std::min<uint64_t>(options.limitMB, uint64_t{1} << 40);
  const TPresence presence = TPresence::Of(reg);
  uint8_t trailer[kIntegrityTrailerBytes];

  bool done = false;
  if (options.compress) {
    const uint64_t memory = options.physicalMemoryBytes ? options.physicalMemoryBytes : PhysicalMemoryBytes();
    uint64_t bufferBytes = memory / 4;
    if (limitMB != 0) bufferBytes = std::min(bufferBytes, limitMB * 0x500000);
    bufferBytes = std::max<uint64_t>(bufferBytes, 4 * kIntegrityTrailerBytes);
    // Left uninitialised: only the part the stream fills is ever touched.
    std::unique_ptr<uint8_t[]> buffer(bufferBytes <= SIZE_MAX / 2 ? new (std::nothrow) uint8_t[bufferBytes]
                                                                  : nullptr);
    if (buffer) {
      // Room is kept for the trailer.
      TMemoryStream ms{buffer.get(), bufferBytes - kIntegrityTrailerBytes};
      uint64_t written = 0;
      TMemorySink sink{ms, written};
      uint16_t cut = 0;
      const bool complete = WriteStream(reg, sink, ms.capacity, written, cut, presence);
      EncodeTrailer(buffer.get() + written, Crc32(0, buffer.get(), static_cast<std::size_t>(written)));
      written += kIntegrityTrailerBytes;
      const TByteBuffer container = Lz4CompressContainer(buffer.get(), written, options.threads);
      buffer.reset();
      if (!container.empty()) {
        WriteAll(*file, container.data(), container.size);
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
    TSafeSink sink{*file};
    uint64_t written = 0;
    uint16_t cut = 0;
    const bool complete = WriteStream(reg, sink, limitMB << 20, written, cut, presence);
    EncodeTrailer(trailer, sink.crc);
    file->Write(trailer, sizeof trailer);
    written += kIntegrityTrailerBytes;
    if (!options.compress) result.status = kSaveDone;
    result.cutAtLimit = !complete;
    result.cutPlies = complete ? 0 : cut;
    result.streamBytes = result.fileBytes = written;
  }
  file->Commit();
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
  bytes += kSectionHeaderBytes + kIntegrityTrailerBytes;
  std::vector<uint8_t> out(static_cast<std::size_t>(bytes));
  TMemoryStream ms{out.data(), out.size() - kIntegrityTrailerBytes};
  uint64_t written = 0;
  TMemorySink sink{ms, written};
  uint16_t cut = 0;
  WriteStream(reg, sink, 0, written, cut, TPresence::Of(reg));
  EncodeTrailer(out.data() + written, Crc32(0, out.data(), static_cast<std::size_t>(written)));
  out.resize(static_cast<std::size_t>(written + kIntegrityTrailerBytes));
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
    const TStreamEnds ends = CheckMemoryStream(data, size);
    st.stats->verified = ends.trailer;
    TMemorySource src(data, ends.dataBytes);
    LoadStream(reg, src, st, nullptr);
  } else {
    const TByteBuffer plain = Lz4DecompressContainer(data, size);
    const TStreamEnds ends = CheckMemoryStream(plain.data(), plain.size);
    st.stats->verified = ends.trailer;
    TMemorySource src(plain.data(), ends.dataBytes);
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

uint32_t LoadBucketCount(uint32_t sizeFigure, uint64_t tempRegLimitMB) {
  return ChooseRegisterBucketCount(sizeFigure, tempRegLimitMB, false);
}

TRegisterReadOptions RegisterReadOptionsFrom(const TSettings& settings) {
  TRegisterReadOptions o;
  o.logged = settings.LogToFileTmpRegLoad != 0;
  o.clearOnStartNote = settings.ClearRegisterOnStartSolving != 0;
  o.tempRegLimitMB = settings.tempRegLimitMB;
  return o;
}

bool RecordPossible(bool exactPart, uint16_t first, uint16_t second, const uint8_t board[64]) {
  auto countOk = [](uint16_t n) { return n == 0 || (n % 2 == 1 && n <= kMaxRecordPlies); };
  if (!countOk(first) || !countOk(second) || (first == 0 && second == 0)) return false;
  if (exactPart && first != 0 && second != 0 && first <= second) return false;
  int whiteKings = 0, blackKings = 0;
  for (int sq = 0; sq < 64; ++sq) {
    const uint8_t c = board[sq];
    if (c == 0) continue;
    if (!IsValidPieceCode(c)) return false;
    if (c == WK) ++whiteKings;
    if (c == BK) ++blackKings;
    if ((c == WP || c == BP) && (sq < 8 || sq >= 56)) return false;
  }
  return whiteKings == 1 && blackKings == 1;
}

std::string LoadReportText(const std::string& path, const TRegisterLoadStatistics& stats,
                           bool invalidPositions, bool clearOnStartOption) {
  std::string s = (invalidPositions ? kMsgFileReadWithErrors : kMsgFileRead) + path + "\n\n";
  s += TrimTrailingNewlines(stats.Text());
  if (invalidPositions) s += kMsgInvalidPositions;
  if (stats.refusedRecords) s += kMsgRefusedRecords + std::to_string(stats.refusedRecords);
  if (clearOnStartOption) s += kMsgClearOnStartNote;
  return s;
}

TRegisterReadResult ReadRegisterFile(TAggregatedTemporaryChessboardRegister& reg,
                                     const std::filesystem::path& path, uint32_t bucketCount,
                                     const TRegisterReadOptions& options) {
  TRegisterReadResult r;
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) {
    r.error = path.string() + ": " + kErrReading + " (a folder)";
    return r;
  }
  TFilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    r.error = kMsgErrorOpeningFile + path.string() + ": " + std::strerror(errno);
    return r;
  }
  r.opened = true;
  try {
    const uint64_t size = RealFileSize(file.get(), 0);
    const bool valid = options.logged
                           ? LoadRegisterLogged(reg, file.get(), bucketCount, size, &r.stats, options.log)
                           : LoadRegister(reg, file.get(), bucketCount, size, &r.stats);
    r.completed = true;
    r.invalidPositions = !valid;
    r.verified = r.stats.verified;
    r.report = LoadReportText(path.string(), r.stats, r.invalidPositions, options.clearOnStartNote);
    if (!r.verified) {
      r.warning = kMsgUnchecked + path.string();
      r.report += "\n\n" + r.warning;
    }
  } catch (const std::bad_alloc&) {
    r.error = path.string() + ": " + kErrAllocating;
  } catch (const std::exception& e) {
    r.error = path.string() + ": " + e.what();
  }
  return r;
}

}  // namespace ostravel
