#include "precalc/precalc_file.h"

#include <fcntl.h>
#include <lz4.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

namespace ostravel {

namespace {

constexpr char kMagic[8] = {'O', 'S', 'T', 'P', 'R', 'C', 'L', 'Z'};

uint32_t Fnv32(const uint8_t* p, size_t n) {
  uint32_t h = 2166136261u;
  for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 16777619u;
  return h;
}

uint64_t Fnv64(const uint8_t* p, size_t n) {
  uint64_t h = 14695981039346656037ull;
  for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
  return h;
}

template <class T>
void Put(std::vector<uint8_t>& out, T v) {
  for (size_t i = 0; i < sizeof(T); ++i)
    out.push_back(static_cast<uint8_t>(static_cast<uint64_t>(v) >> (8 * i)));
}

class TReader {
 public:
  TReader(const std::vector<uint8_t>& b, const std::string& name) : b_(b), name_(name) {}
  template <class T>
  T Get() {
    Need(sizeof(T));
    uint64_t v = 0;
    for (size_t i = 0; i < sizeof(T); ++i) v |= static_cast<uint64_t>(b_[pos_ + i]) << (8 * i);
    pos_ += sizeof(T);
    return static_cast<T>(v);
  }
  void Need(size_t n) {
    if (n > b_.size() - pos_) Fail("truncated header");
  }
  size_t Pos() const { return pos_; }
  void Skip(size_t n) {
    Need(n);
    pos_ += n;
  }
  [[noreturn]] void Fail(const std::string& what) const {
    throw PrecalcFileError("Damaged precalculated data file " + name_ + ": " + what);
  }

 private:
  const std::vector<uint8_t>& b_;
  const std::string& name_;
  size_t pos_ = 0;
};

}  // namespace

std::string PrecalcFileName(const std::string& type) {
  return type + ".precalc.lz4";
}

TPrecalcSummary SummarizePrecalc(const std::string& type, const std::vector<uint8_t>& values) {
  TPrecalcSummary s;
  s.type = type;
  s.entries = values.size();
  for (uint8_t v : values) {
    if (v == kPrecalcIllegal) {
      ++s.illegal;
    } else if (v == kPrecalcNoMate) {
      ++s.noMates;
    } else {
      ++s.mates;
      if (v > s.longestMate) s.longestMate = v;
    }
  }
  return s;
}

std::vector<uint8_t> PackPrecalc(const std::string& type, const std::vector<uint8_t>& values,
                                 uint32_t blockEntries) {
  const TPrecalcSummary s = SummarizePrecalc(type, values);
  const uint64_t blocks64 = (values.size() + blockEntries - 1) / blockEntries;
  const uint32_t blocks = static_cast<uint32_t>(blocks64);
  std::vector<std::vector<char>> packed(blocks);
  std::vector<uint32_t> checks(blocks);
  for (uint32_t b = 0; b < blocks; ++b) {
    const size_t first = static_cast<size_t>(b) * blockEntries;
    const int n = static_cast<int>(std::min<size_t>(blockEntries, values.size() - first));
    packed[b].resize(LZ4_compressBound(n));
    const int c = LZ4_compress_default(reinterpret_cast<const char*>(values.data() + first), packed[b].data(),
                                       n, static_cast<int>(packed[b].size()));
    if (c <= 0) throw PrecalcFileError("LZ4 compression failed for type " + type);
    packed[b].resize(c);
    checks[b] = Fnv32(values.data() + first, n);
  }
  std::vector<uint8_t> out(kMagic, kMagic + 8);
  Put<uint32_t>(out, kPrecalcFileVersion);
  Put<uint32_t>(out, static_cast<uint32_t>(type.size()));
  out.insert(out.end(), type.begin(), type.end());
  Put<uint64_t>(out, values.size());
  Put<uint32_t>(out, blockEntries);
  Put<uint32_t>(out, blocks);
  Put<uint32_t>(out, s.longestMate);
  Put<uint32_t>(out, 0);
  Put<uint64_t>(out, s.mates);
  Put<uint64_t>(out, s.noMates);
  Put<uint64_t>(out, s.illegal);
  uint64_t offset = out.size() + static_cast<uint64_t>(blocks) * 16 + 8;
  for (uint32_t b = 0; b < blocks; ++b) {
    Put<uint64_t>(out, offset);
    Put<uint32_t>(out, static_cast<uint32_t>(packed[b].size()));
    Put<uint32_t>(out, checks[b]);
    offset += packed[b].size();
  }
  Put<uint64_t>(out, Fnv64(out.data(), out.size()));
  for (const auto& p : packed) out.insert(out.end(), p.begin(), p.end());
  return out;
}

void WritePrecalcFile(const std::filesystem::path& path, const std::string& type,
                      const std::vector<uint8_t>& values) {
  const std::vector<uint8_t> bytes = PackPrecalc(type, values);
  // The process id keeps two generators of the same type apart.
  const std::filesystem::path tmp = path.string() + "." + std::to_string(::getpid()) + ".tmp";
  const int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) throw PrecalcFileError("Cannot write " + tmp.string() + ": " + std::strerror(errno));
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t w = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) {
      const int e = errno;
      ::close(fd);
      std::filesystem::remove(tmp);
      throw PrecalcFileError("Cannot write " + tmp.string() + ": " + std::strerror(e));
    }
    done += static_cast<size_t>(w);
  }
  if (::fsync(fd) != 0 || ::close(fd) != 0) {
    std::filesystem::remove(tmp);
    throw PrecalcFileError("Cannot write " + tmp.string() + ": " + std::strerror(errno));
  }
  std::error_code ec;
  std::filesystem::rename(tmp, path, ec);
  if (ec) {
    std::filesystem::remove(tmp);
    throw PrecalcFileError("Cannot rename " + tmp.string() + " to " + path.string() + ": " + ec.message());
  }
}

CPrecalcFile::CPrecalcFile(std::vector<uint8_t> bytes, const std::string& name,
                           const std::string& expectedType, uint64_t expectedEntries)
    : bytes_(std::move(bytes)), fileBytes_(bytes_.size()), name_(name) {
  Parse(expectedType, expectedEntries);
}

CPrecalcFile::CPrecalcFile(std::vector<uint8_t> header, int fd, uint64_t fileBytes, const std::string& name,
                           const std::string& expectedType, uint64_t expectedEntries)
    : bytes_(std::move(header)), fd_(fd), fileBytes_(fileBytes), name_(name) {
  try {
    Parse(expectedType, expectedEntries);
  } catch (...) {
    ::close(fd_);
    fd_ = -1;
    throw;
  }
}

CPrecalcFile::~CPrecalcFile() {
  if (fd_ >= 0) ::close(fd_);
}

void CPrecalcFile::Parse(const std::string& expectedType, uint64_t expectedEntries) {
  TReader r(bytes_, name_);
  r.Need(8);
  if (std::memcmp(bytes_.data(), kMagic, 8) != 0) r.Fail("not a precalculated data file");
  r.Skip(8);
  const uint32_t version = r.Get<uint32_t>();
  if (version != kPrecalcFileVersion)
    r.Fail("version " + std::to_string(version) + ", expected " + std::to_string(kPrecalcFileVersion));
  const uint32_t typeLen = r.Get<uint32_t>();
  if (typeLen == 0 || typeLen > 32) r.Fail("bad type length");
  r.Need(typeLen);
  summary_.type.assign(reinterpret_cast<const char*>(bytes_.data() + r.Pos()), typeLen);
  r.Skip(typeLen);
  if (!expectedType.empty() && summary_.type != expectedType)
    r.Fail("holds type " + summary_.type + ", expected " + expectedType);
  summary_.entries = r.Get<uint64_t>();
  if (expectedEntries && summary_.entries != expectedEntries) r.Fail("wrong entry count");
  blockEntries_ = r.Get<uint32_t>();
  const uint32_t blocks = r.Get<uint32_t>();
  if (blockEntries_ == 0 || blockEntries_ > (1u << 24)) r.Fail("bad block size");
  if (blocks != (summary_.entries + blockEntries_ - 1) / blockEntries_) r.Fail("bad block count");
  summary_.longestMate = r.Get<uint32_t>();
  r.Get<uint32_t>();
  summary_.mates = r.Get<uint64_t>();
  summary_.noMates = r.Get<uint64_t>();
  summary_.illegal = r.Get<uint64_t>();
  if (summary_.longestMate > kPrecalcMaxMate) r.Fail("bad longest mate");
  r.Need(static_cast<size_t>(blocks) * 16 + 8);
  blocks_.resize(blocks);
  for (auto& b : blocks_) {
    b.offset = r.Get<uint64_t>();
    b.packed = r.Get<uint32_t>();
    b.check = r.Get<uint32_t>();
  }
  const size_t headerEnd = r.Pos();
  const uint64_t check = r.Get<uint64_t>();
  if (check != Fnv64(bytes_.data(), headerEnd)) r.Fail("header checksum mismatch");
  for (uint32_t i = 0; i < blocks; ++i) {
    const TBlock& b = blocks_[i];
    if (b.offset < r.Pos() || b.offset > fileBytes_ || b.packed > fileBytes_ - b.offset ||
        b.packed > static_cast<uint32_t>(LZ4_compressBound(static_cast<int>(blockEntries_))))
      r.Fail("block " + std::to_string(i) + " lies outside the file");
  }
}

namespace {

// Reads exactly n bytes at offset; false on a short read or an error.
bool ReadAt(int fd, uint8_t* out, size_t n, uint64_t offset) {
  while (n) {
    const ssize_t got = ::pread(fd, out, n, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out += got;
    n -= static_cast<size_t>(got);
    offset += static_cast<uint64_t>(got);
  }
  return true;
}

}  // namespace

std::unique_ptr<CPrecalcFile> CPrecalcFile::Load(const std::filesystem::path& path,
                                                 const std::string& expectedType, uint64_t expectedEntries) {
  const std::string name = path.string();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw PrecalcFileError("Cannot open precalculated data file " + name);
  struct stat st {};
  if (::fstat(fd, &st) != 0) {
    ::close(fd);
    throw PrecalcFileError("Cannot read precalculated data file " + name);
  }
  const uint64_t size = static_cast<uint64_t>(st.st_size);
  // The header's length follows from the type length and the block count,
  // both near the start: read that far, then the whole header.
  std::vector<uint8_t> head(static_cast<size_t>(std::min<uint64_t>(size, 4096)));
  if (!ReadAt(fd, head.data(), head.size(), 0)) {
    ::close(fd);
    throw PrecalcFileError("Cannot read precalculated data file " + name);
  }
  uint64_t headerBytes = size;
  if (head.size() >= 16) {
    uint32_t typeLen = 0;
    for (int i = 0; i < 4; ++i) typeLen |= static_cast<uint32_t>(head[12 + i]) << (8 * i);
    const uint64_t blocksAt = 16 + uint64_t{typeLen} + 8 + 4;
    if (typeLen <= 32 && blocksAt + 4 <= head.size()) {
      uint32_t blocks = 0;
      for (int i = 0; i < 4; ++i) blocks |= static_cast<uint32_t>(head[blocksAt + i]) << (8 * i);
      headerBytes = std::min<uint64_t>(size, blocksAt + 4 + 4 + 4 + 24 + uint64_t{blocks} * 16 + 8);
    }
  }
  std::vector<uint8_t> header(static_cast<size_t>(headerBytes));
  if (!ReadAt(fd, header.data(), header.size(), 0)) {
    ::close(fd);
    throw PrecalcFileError("Cannot read precalculated data file " + name);
  }
  return std::unique_ptr<CPrecalcFile>(
      new CPrecalcFile(std::move(header), fd, size, name, expectedType, expectedEntries));
}

uint32_t CPrecalcFile::BlockSize(uint32_t b) const {
  const uint64_t first = static_cast<uint64_t>(b) * blockEntries_;
  return static_cast<uint32_t>(std::min<uint64_t>(blockEntries_, summary_.entries - first));
}

void CPrecalcFile::UnpackBlock(uint32_t b, uint8_t* out) const {
  const TBlock& blk = blocks_[b];
  const int n = static_cast<int>(BlockSize(b));
  const uint8_t* packed = nullptr;
  std::vector<uint8_t> read;
  if (fd_ >= 0) {
    read.resize(blk.packed);
    if (!ReadAt(fd_, read.data(), read.size(), blk.offset))
      throw PrecalcFileError("Cannot read precalculated data file " + name_ + ": block " + std::to_string(b));
    packed = read.data();
  } else {
    packed = bytes_.data() + blk.offset;
  }
  const int got = LZ4_decompress_safe(reinterpret_cast<const char*>(packed), reinterpret_cast<char*>(out),
                                      static_cast<int>(blk.packed), n);
  if (got != n || Fnv32(out, n) != blk.check)
    throw PrecalcFileError("Damaged precalculated data file " + name_ + ": block " + std::to_string(b) +
                           " does not unpack");
}

std::vector<uint8_t> CPrecalcFile::UnpackAll() const {
  std::vector<uint8_t> v(summary_.entries);
  for (uint32_t b = 0; b < BlockCount(); ++b)
    UnpackBlock(b, v.data() + static_cast<size_t>(b) * blockEntries_);
  return v;
}

}  // namespace ostravel
