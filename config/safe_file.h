#pragma once
// Saving files so that a failure never costs the previous file: the data go
// to a temporary file in the target's folder, are flushed and synced, and
// only then renamed over the target (and the folder synced, so the rename
// itself survives a power cut). A target that is a symbolic link is written
// through to the file it points to, so the link stays a link.
//
// Every file the program writes goes through TSafeFileWriter: registers,
// collections and their ".BAK" copies, options.ini and the auto-save
// companion.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostravel {

// A failed save: the text names the file and the reason (the system's
// strerror), e.g. "Cannot write file /a/b.tmpReg: No space left on device".
class SafeFileError : public std::runtime_error {
 public:
  SafeFileError(const std::string& msg, int err) : std::runtime_error(msg), error(err) {}
  int error;  // the errno
};

// "<what> <path>: <strerror(err)>".
std::string FileErrorText(std::string_view what, const std::filesystem::path& path, int err);

// Fault injection for tests: every writer made after this call fails with
// ENOSPC once it has written `bytes` bytes in total (across writers, so
// that a save that writes two files can be cut in either). A negative value
// switches the fault off. Process-wide.
void SetSafeFileFailAfterBytes(int64_t bytes);

class TSafeFileWriter {
 public:
  // Creates the temporary file beside the target (after following a link).
  // Throws SafeFileError when it cannot.
  explicit TSafeFileWriter(const std::filesystem::path& target);
  // Removes the temporary file unless Commit() succeeded.
  ~TSafeFileWriter();
  TSafeFileWriter(const TSafeFileWriter&) = delete;
  TSafeFileWriter& operator=(const TSafeFileWriter&) = delete;

  // Appends; throws SafeFileError with the target's name on failure.
  void Write(const void* data, std::size_t size);
  void Write(std::string_view text) { Write(text.data(), text.size()); }
  uint64_t BytesWritten() const { return written_; }

  // Flushes and syncs the data written so far (the target untouched), so
  // that a full disk shows before anything else is done.
  void Sync();

  // Flushes, syncs and renames over the target. Throws SafeFileError (the
  // target untouched) on failure.
  void Commit();

  // The file really written (the link's target) and the name asked for.
  const std::filesystem::path& Target() const { return target_; }
  const std::filesystem::path& Requested() const { return requested_; }

 private:
  void FlushBuffer();
  [[noreturn]] void Fail(std::string_view what, int err);

  std::filesystem::path requested_, target_, tmp_;
  int fd_ = -1;
  bool committed_ = false;
  uint64_t written_ = 0;
  std::string buffer_;
};

// The whole of `content` to path, safely.
void SafeWriteFile(const std::filesystem::path& path, std::string_view content);
// A safe copy of an existing file (for ".BAK" copies): a failure leaves the
// previous copy as it was.
void SafeCopyFile(const std::filesystem::path& from, const std::filesystem::path& to);

// What identifies the state of a file: if any of these changed since a
// read, someone else wrote the file.
struct TFileStamp {
  bool exists = false;
  uint64_t size = 0;
  int64_t mtimeNs = 0;
  uint64_t contentHash = 0;
  friend bool operator==(const TFileStamp&, const TFileStamp&) = default;
};
// The stamp of the file at path as it stands; content is hashed in full.
TFileStamp StampOfFile(const std::filesystem::path& path);
// The stamp of data just read from path (hashing the data read, not the
// file again); size and time are the file's.
TFileStamp StampOfRead(const std::filesystem::path& path, std::string_view content);

// CRC-32 (zlib's), for the integrity checks of the files the program writes.
uint32_t Crc32(uint32_t crc, const void* data, std::size_t size);

}  // namespace ostravel
