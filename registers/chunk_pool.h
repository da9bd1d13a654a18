#pragma once
// Fixed-size chunks of eight records for the register's buckets, cut from
// large allocation units of the register's own. Freed chunks are kept for
// reuse: a register that was cleaned up fills again at once.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "registers/register_record.h"

namespace ostravel {

struct TRegisterChunk {
  static constexpr uint32_t kCapacity = 8;
  TRegisterRecord records[kCapacity];  // in arrival order
  uint64_t count;                      // records in use
};
static_assert(sizeof(TRegisterChunk) == 552);

class TChunkPool {
 public:
  // 2 MiB units, aligned so that the system can back each with one huge page.
  static constexpr size_t kUnitBytes = size_t{1} << 21;
  static constexpr uint32_t kChunksPerUnit = static_cast<uint32_t>(kUnitBytes / sizeof(TRegisterChunk));

  struct TStatistics {
    uint64_t chunksInUse = 0;
    uint64_t freeChunks = 0;  // released and waiting for reuse
    uint64_t units = 0;
    uint64_t freeUnits = 0;  // units none of whose chunks is in use
    uint64_t bytes = 0;
  };

  TChunkPool() = default;
  ~TChunkPool();
  TChunkPool(const TChunkPool&) = delete;
  TChunkPool& operator=(const TChunkPool&) = delete;

  // A chunk with count 0. Throws std::bad_alloc when the system has no memory.
  TRegisterChunk* Allocate();
  void Release(TRegisterChunk* chunk);
  // Gives every unit back to the system; only when no chunk is in use.
  void ReleaseAllUnits();

  // Buckets that turn into arrays free their chunks all over the units, so
  // that hardly a unit ever empties by itself. Evacuation moves the chunks of
  // the least used units into the free room of the others and gives those
  // units back. Only while nothing else uses the pool:
  // - BeginEvacuation picks the units (sorted; empty when none can go) and
  //   takes their free chunks out of reuse;
  // - the owner moves every chunk of those units (Allocate, copy, repoint);
  // - EndEvacuation releases the units, whose `moved` chunks are abandoned.
  std::vector<uint8_t*> BeginEvacuation();
  static bool InUnits(const std::vector<uint8_t*>& sortedUnits, const void* chunk);
  void EndEvacuation(const std::vector<uint8_t*>& units, uint64_t moved);
  // True when a quarter of the chunks, and at least two units' worth, wait unused.
  bool WorthEvacuating() const {
    const uint64_t free = freeCount_.load(std::memory_order_relaxed);
    return free >= 2 * uint64_t{kChunksPerUnit} &&
           4 * free >= unitCount_.load(std::memory_order_relaxed) * kChunksPerUnit;
  }

  // 16-byte slots for the headers of overflow arrays, kept dense (on huge
  // pages) so that the header of a crowded bucket is likely to be cached:
  // every look-up in such a bucket reads it before the array itself.
  static constexpr size_t kHeaderBytes = 16;
  void* AllocateHeader();
  void ReleaseHeader(void* header);

  uint64_t Bytes() const;  // all units, chunks and headers
  uint64_t ChunksInUse() const;
  TStatistics Statistics() const;

 private:
  mutable std::mutex mutex_;
  std::vector<uint8_t*> units_;
  uint8_t* bump_ = nullptr;  // next never-used chunk of the newest unit
  uint32_t bumpLeft_ = 0;
  TRegisterChunk* freeList_ = nullptr;  // linked through the first bytes of each chunk
  std::atomic<uint64_t> freeCount_{0};  // read without the mutex by WorthEvacuating
  std::atomic<uint64_t> unitCount_{0};
  uint64_t inUse_ = 0;
  std::vector<uint8_t*> headerUnits_;
  uint8_t* headerBump_ = nullptr;
  uint32_t headerBumpLeft_ = 0;
  void* headerFree_ = nullptr;
  uint64_t headersInUse_ = 0;
};

}  // namespace ostravel
