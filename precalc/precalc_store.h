#pragma once
// The precalculated results of the position types present in the data folder,
// loaded on first use and unpacked block by block within a memory budget
// (the least recently used blocks are dropped first).
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "precalc/position_index.h"
#include "precalc/precalc_file.h"

namespace ostravel {

// True for a type in which White has nothing but the king: White can never
// give check, so never mate, and no data are kept for it.
bool PrecalcTrivialNoMate(const std::string& type);

class CPrecalcStore {
 public:
  // `memoryBudget` in bytes bounds the unpacked blocks kept (packed files stay
  // in memory once loaded and count against it too).
  CPrecalcStore(std::filesystem::path folder, size_t memoryBudget);

  const std::filesystem::path& Folder() const { return folder_; }

  enum class TResult { kNoData, kIllegal, kValue };
  // Value byte of a White-to-move position given as a 64-byte board of its
  // men (no castling right, no e.p. capture: the caller's business). Safe from
  // any thread. A damaged file counts as no data (see LastError()).
  TResult Lookup(const uint8_t board[64], uint8_t& value);
  // The same for a known type and index.
  TResult LookupIndex(const std::string& type, uint64_t index, uint8_t& value);

  // Whether the folder holds a readable file for the type (loads it).
  bool Has(const std::string& type);
  // Summary of a stored type (loads it); false when absent or damaged.
  bool Summary(const std::string& type, TPrecalcSummary& out);
  // Types whose data answered at least one lookup, in first-use order.
  std::vector<std::string> UsedTypes() const;
  // Types with a file in the folder (names only, not checked), sorted.
  std::vector<std::string> FileTypes() const;
  // The last load or unpack failure (a message naming the file), or empty.
  std::string LastError() const;
  // Drops what is known of a type (after its file was rewritten).
  void Forget(const std::string& type);
  // Bytes of packed files and unpacked blocks held now.
  size_t MemoryInUse() const;

 private:
  struct TType {
    std::string type;
    std::unique_ptr<CPositionTypeIndex> index;
    std::unique_ptr<CPrecalcFile> file;  // null: no data
    std::vector<std::shared_ptr<std::vector<uint8_t>>> blocks;
    std::vector<uint64_t> lastUse;  // clock of the last read of each block
    bool used = false;
  };
  std::shared_ptr<TType> Find(const std::string& type);
  const std::shared_ptr<TType>& LoadLocked(const std::string& type);
  void TrimLocked(const TType* keepType, uint32_t keepBlock);
  // The value when its block is unpacked (notes the use either way).
  bool ReadLocked(TType& t, uint64_t index, uint8_t& value);
  TResult Unpack(const std::shared_ptr<TType>& t, uint64_t index, uint8_t& value);

  std::filesystem::path folder_;
  size_t budget_;
  mutable std::mutex lock_;
  std::unordered_map<std::string, std::shared_ptr<TType>> types_;
  uint64_t clock_ = 0;
  size_t inUse_ = 0;
  std::vector<std::string> used_;
  std::string lastError_;
};

}  // namespace ostravel
