#include "config/safe_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace ostravel {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
std::atomic<int64_t> g_failAfter{-1};

fs::path FollowLinks(const fs::path& path) {
  std::error_code ec;
  if (!fs::is_symlink(path, ec)) return path;
  // A dangling link still names where the file is to be: resolve as far as
  // possible.
  const fs::path target = fs::weakly_canonical(path, ec);
  return ec ? path : target;
}

void SyncFolder(const fs::path& dir) {
  const int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dfd >= 0) {
    (void)::fsync(dfd);
    ::close(dfd);
  }
}

fs::path FolderOf(const fs::path& p) {
  return p.has_parent_path() ? p.parent_path() : fs::path(".");
}

}  // namespace

std::string FileErrorText(std::string_view what, const fs::path& path, int err) {
  std::string s(what);
  s.append(" ").append(path.string()).append(": ").append(std::strerror(err));
  return s;
}

void SetSafeFileFailAfterBytes(int64_t bytes) {
  g_failAfter.store(bytes);
}

uint32_t Crc32(uint32_t crc, const void* data, std::size_t size) {
  const auto* p = static_cast<const Bytef*>(data);
  while (size > 0) {
    const uInt n = static_cast<uInt>(std::min<std::size_t>(size, 1u << 30));
    crc = static_cast<uint32_t>(::crc32(crc, p, n));
    p += n;
    size -= n;
  }
  return crc;
}

TSafeFileWriter::TSafeFileWriter(const fs::path& target) : requested_(target), target_(FollowLinks(target)) {
  static std::atomic<unsigned> s_counter{0};
  const fs::path dir = FolderOf(target_);
  for (int attempt = 0; attempt < 100 && fd_ < 0; ++attempt) {
    // Built by appending: GCC 12 warns falsely (-Wrestrict) on literal + string.
    std::string name(1, '.');
    name.append(target_.filename().string()).append(".tmp").append(std::to_string(::getpid()));
    name.append("_").append(std::to_string(s_counter.fetch_add(1)));
    tmp_ = dir / name;
    // 0666 lets the umask decide, as for any new file.
    fd_ = ::open(tmp_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd_ < 0 && errno != EEXIST) {
      const int err = errno;
      throw SafeFileError(FileErrorText("Cannot write file", requested_, err), err);
    }
  }
  if (fd_ < 0) throw SafeFileError(FileErrorText("Cannot write file", requested_, EEXIST), EEXIST);
  struct stat st {};
  if (::stat(target_.c_str(), &st) == 0) (void)::fchmod(fd_, st.st_mode & 07777);
  buffer_.reserve(kBufferBytes);
}

TSafeFileWriter::~TSafeFileWriter() {
  if (fd_ >= 0) ::close(fd_);
  if (!committed_ && !tmp_.empty()) ::unlink(tmp_.c_str());
}

void TSafeFileWriter::Fail(std::string_view what, int err) {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  ::unlink(tmp_.c_str());
  tmp_.clear();
  throw SafeFileError(FileErrorText(what, requested_, err), err);
}

void TSafeFileWriter::FlushBuffer() {
  std::size_t done = 0;
  while (done < buffer_.size()) {
    std::size_t want = buffer_.size() - done;
    // The injected fault: the disk is full after so many bytes.
    const int64_t budget = g_failAfter.load();
    if (budget >= 0) {
      if (budget == 0) Fail("Cannot write file", ENOSPC);
      want = std::min<std::size_t>(want, static_cast<std::size_t>(budget));
    }
    const ssize_t n = ::write(fd_, buffer_.data() + done, want);
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail("Cannot write file", errno);
    }
    if (budget >= 0) g_failAfter.fetch_sub(n);
    done += static_cast<std::size_t>(n);
  }
  buffer_.clear();
}

void TSafeFileWriter::Write(const void* data, std::size_t size) {
  if (fd_ < 0) Fail("Cannot write file", EBADF);
  const auto* p = static_cast<const char*>(data);
  written_ += size;
  while (size > 0) {
    const std::size_t k = std::min(size, kBufferBytes - buffer_.size());
    buffer_.append(p, k);
    p += k;
    size -= k;
    if (buffer_.size() == kBufferBytes) FlushBuffer();
  }
}

void TSafeFileWriter::Sync() {
  if (fd_ < 0) Fail("Cannot write file", EBADF);
  FlushBuffer();
  if (::fsync(fd_) != 0) Fail("Cannot write file", errno);
}

void TSafeFileWriter::Commit() {
  if (fd_ < 0) Fail("Cannot write file", EBADF);
  FlushBuffer();
  if (::fsync(fd_) != 0) Fail("Cannot write file", errno);
  const int fd = fd_;
  fd_ = -1;
  if (::close(fd) != 0) {
    const int err = errno;
    ::unlink(tmp_.c_str());
    tmp_.clear();
    throw SafeFileError(FileErrorText("Cannot write file", requested_, err), err);
  }
  if (::rename(tmp_.c_str(), target_.c_str()) != 0) {
    const int err = errno;
    ::unlink(tmp_.c_str());
    tmp_.clear();
    throw SafeFileError(FileErrorText("Cannot replace file", requested_, err), err);
  }
  committed_ = true;
  SyncFolder(FolderOf(target_));
}

void SafeWriteFile(const fs::path& path, std::string_view content) {
  TSafeFileWriter w(path);
  w.Write(content);
  w.Commit();
}

void SafeCopyFile(const fs::path& from, const fs::path& to) {
  const int fd = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    const int err = errno;
    throw SafeFileError(FileErrorText("Cannot read file", from, err), err);
  }
  TSafeFileWriter w(to);
  std::string buf(kBufferBytes, '\0');
  for (;;) {
    const ssize_t n = ::read(fd, buf.data(), buf.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      const int err = errno;
      ::close(fd);
      throw SafeFileError(FileErrorText("Cannot read file", from, err), err);
    }
    if (n == 0) break;
    try {
      w.Write(buf.data(), static_cast<std::size_t>(n));
    } catch (...) {
      ::close(fd);
      throw;
    }
  }
  ::close(fd);
  w.Commit();
}

namespace {

uint64_t HashOf(std::string_view content) {
  const uint64_t crc = Crc32(0, content.data(), content.size());
  uLong adler = ::adler32(0, nullptr, 0);
  std::size_t done = 0;
  while (done < content.size()) {
    const uInt n = static_cast<uInt>(std::min<std::size_t>(content.size() - done, 1u << 30));
    adler = ::adler32(adler, reinterpret_cast<const Bytef*>(content.data() + done), n);
    done += n;
  }
  return crc << 32 | static_cast<uint32_t>(adler);
}

TFileStamp StatOnly(const fs::path& path) {
  TFileStamp s;
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return s;
  s.exists = true;
  s.size = static_cast<uint64_t>(st.st_size);
  s.mtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
  return s;
}

}  // namespace

TFileStamp StampOfFile(const fs::path& path) {
  TFileStamp s = StatOnly(path);
  if (!s.exists) return s;
  std::ifstream in(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  s.contentHash = HashOf(text);
  return s;
}

TFileStamp StampOfRead(const fs::path& path, std::string_view content) {
  TFileStamp s = StatOnly(path);
  if (s.exists) s.contentHash = HashOf(content);
  return s;
}

}  // namespace ostravel
