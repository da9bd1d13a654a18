#pragma once
// The file of one position type's precalculated results ("<type>.precalc.lz4").
//
// One byte per White-to-move placement of the type, addressed by the position
// index (position_index.h): 0 White cannot force mate, 1..254 White's shortest
// forced mate in that many moves, 255 not a legal position with White to move.
// The bytes are cut into blocks of equal length, each LZ4-compressed on its own
// so that one lookup decompresses one block.
//
// Layout (little-endian):
//   "OSTPRCLZ"                         magic, 8 bytes
//   u32 version                        kPrecalcFileVersion
//   u32 type length, type letters      canonical type text
//   u64 entries                        placements of the type
//   u32 block entries, u32 blocks
//   u32 longest mate, u32 reserved
//   u64 mates, u64 no-mates, u64 illegal
//   blocks x { u64 offset, u32 packed size, u32 checksum of the unpacked bytes }
//   u64 checksum of everything above
//   packed blocks
// Checksums are 32/64-bit FNV-1a; every field is checked on reading and a
// block is checked each time it is unpacked.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ostravel {

constexpr uint32_t kPrecalcFileVersion = 1;
constexpr uint8_t kPrecalcNoMate = 0;
constexpr uint8_t kPrecalcIllegal = 255;
constexpr uint8_t kPrecalcMaxMate = 254;

// Thrown for a damaged or foreign file; the message names the file.
class PrecalcFileError : public std::runtime_error {
 public:
  explicit PrecalcFileError(const std::string& msg) : std::runtime_error(msg) {}
};

struct TPrecalcSummary {
  std::string type;
  uint64_t entries = 0;
  uint32_t longestMate = 0;
  uint64_t mates = 0, noMates = 0, illegal = 0;
};

// Counts of a value array.
TPrecalcSummary SummarizePrecalc(const std::string& type, const std::vector<uint8_t>& values);

// Packs the values into the file format (in memory).
std::vector<uint8_t> PackPrecalc(const std::string& type, const std::vector<uint8_t>& values,
                                 uint32_t blockEntries = 1u << 16);

// Writes the packed values to `path` through a temporary file that is synced
// and renamed. Throws PrecalcFileError on I/O failure.
void WritePrecalcFile(const std::filesystem::path& path, const std::string& type,
                      const std::vector<uint8_t>& values);

// A file whose header and block table have been checked. Blocks are read and
// unpacked on request: a loaded file holds only its header in memory, so a
// 5-man type of hundreds of megabytes is ready at once. Thread-safe: nothing
// changes after loading.
class CPrecalcFile {
 public:
  // A whole file in memory. `name` is used in messages. `expectedType`, when
  // not empty, must match the type stored; `expectedEntries`, when not 0, the
  // entry count.
  CPrecalcFile(std::vector<uint8_t> bytes, const std::string& name, const std::string& expectedType = {},
               uint64_t expectedEntries = 0);
  ~CPrecalcFile();
  CPrecalcFile(const CPrecalcFile&) = delete;
  CPrecalcFile& operator=(const CPrecalcFile&) = delete;
  // Opens a file, reading its header only; blocks are read when unpacked.
  static std::unique_ptr<CPrecalcFile> Load(const std::filesystem::path& path,
                                            const std::string& expectedType, uint64_t expectedEntries);

  const TPrecalcSummary& Summary() const { return summary_; }
  uint32_t BlockEntries() const { return blockEntries_; }
  uint32_t BlockCount() const { return static_cast<uint32_t>(blocks_.size()); }
  // Entries held by block b (the last may be short).
  uint32_t BlockSize(uint32_t b) const;
  // Bytes held in memory: the whole file, or its header when read on demand.
  size_t PackedBytes() const { return bytes_.size(); }
  // Size of the file on disk.
  uint64_t FileBytes() const { return fileBytes_; }
  // Unpacks block b into out (BlockSize(b) bytes); throws PrecalcFileError
  // when it does not unpack to its size and checksum.
  void UnpackBlock(uint32_t b, uint8_t* out) const;
  // All values (every block unpacked and checked).
  std::vector<uint8_t> UnpackAll() const;

 private:
  struct TBlock {
    uint64_t offset;
    uint32_t packed;
    uint32_t check;
  };
  // The header of an open file (fd >= 0), checked against its size.
  CPrecalcFile(std::vector<uint8_t> header, int fd, uint64_t fileBytes, const std::string& name,
               const std::string& expectedType, uint64_t expectedEntries);
  void Parse(const std::string& expectedType, uint64_t expectedEntries);

  std::vector<uint8_t> bytes_;
  int fd_ = -1;  // the file, when blocks are read on demand
  uint64_t fileBytes_ = 0;
  std::string name_;
  TPrecalcSummary summary_;
  uint32_t blockEntries_ = 0;
  std::vector<TBlock> blocks_;
};

// File name of a type's data: "<type>.precalc.lz4".
std::string PrecalcFileName(const std::string& type);

}  // namespace ostravel
