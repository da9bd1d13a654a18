#include "registers/chunk_pool.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <unordered_map>

namespace ostravel {

namespace {

TRegisterChunk* NextFree(TRegisterChunk* c) {
  TRegisterChunk* next;
  std::memcpy(&next, c->records[0].board, sizeof next);
  return next;
}

void SetNextFree(TRegisterChunk* c, TRegisterChunk* next) {
  std::memcpy(c->records[0].board, &next, sizeof next);
}

uint8_t* NewUnit() {
  void* unit = std::aligned_alloc(TChunkPool::kUnitBytes, TChunkPool::kUnitBytes);
  if (unit == nullptr) throw std::bad_alloc();
  // Look-ups touch random chunks; huge pages spare a TLB miss on each.
  madvise(unit, TChunkPool::kUnitBytes, MADV_HUGEPAGE);
  return static_cast<uint8_t*>(unit);
}

}  // namespace

TChunkPool::~TChunkPool() {
  for (uint8_t* u : units_) std::free(u);
  for (uint8_t* u : headerUnits_) std::free(u);
}

void* TChunkPool::AllocateHeader() {
  std::lock_guard<std::mutex> lock(mutex_);
  void* h;
  if (headerFree_ != nullptr) {
    h = headerFree_;
    std::memcpy(&headerFree_, h, sizeof headerFree_);
  } else {
    if (headerBumpLeft_ == 0) {
      headerUnits_.push_back(NewUnit());
      headerBump_ = headerUnits_.back();
      headerBumpLeft_ = kUnitBytes / kHeaderBytes;
    }
    h = headerBump_;
    headerBump_ += kHeaderBytes;
    --headerBumpLeft_;
  }
  ++headersInUse_;
  return h;
}

void TChunkPool::ReleaseHeader(void* header) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::memcpy(header, &headerFree_, sizeof headerFree_);
  headerFree_ = header;
  --headersInUse_;
}

TRegisterChunk* TChunkPool::Allocate() {
  std::lock_guard<std::mutex> lock(mutex_);
  TRegisterChunk* c;
  if (freeList_ != nullptr) {
    c = freeList_;
    freeList_ = NextFree(c);
    --freeCount_;
  } else {
    if (bumpLeft_ == 0) {
      units_.push_back(NewUnit());
      unitCount_.store(units_.size(), std::memory_order_relaxed);
      bump_ = units_.back();
      bumpLeft_ = kChunksPerUnit;
    }
    c = reinterpret_cast<TRegisterChunk*>(bump_);
    bump_ += sizeof(TRegisterChunk);
    --bumpLeft_;
  }
  c->count = 0;
  ++inUse_;
  return c;
}

void TChunkPool::Release(TRegisterChunk* chunk) {
  std::lock_guard<std::mutex> lock(mutex_);
  SetNextFree(chunk, freeList_);
  freeList_ = chunk;
  ++freeCount_;
  --inUse_;
}

void TChunkPool::ReleaseAllUnits() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (inUse_ != 0 || headersInUse_ != 0) return;
  for (uint8_t* u : headerUnits_) std::free(u);
  headerUnits_.clear();
  headerBump_ = nullptr;
  headerBumpLeft_ = 0;
  headerFree_ = nullptr;
  for (uint8_t* u : units_) std::free(u);
  units_.clear();
  unitCount_.store(0, std::memory_order_relaxed);
  bump_ = nullptr;
  bumpLeft_ = 0;
  freeList_ = nullptr;
  freeCount_ = 0;
}

bool TChunkPool::InUnits(const std::vector<uint8_t*>& sortedUnits, const void* chunk) {
  const auto base =
      reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(chunk) & ~(uintptr_t{kUnitBytes} - 1));
  return std::binary_search(sortedUnits.begin(), sortedUnits.end(), base);
}

std::vector<uint8_t*> TChunkPool::BeginEvacuation() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<uint8_t*> evacuate;
  if (units_.size() < 2) return evacuate;
  std::unordered_map<uint8_t*, uint32_t> freePerUnit;
  for (TRegisterChunk* c = freeList_; c != nullptr; c = NextFree(c))
    ++freePerUnit[reinterpret_cast<uint8_t*>(reinterpret_cast<uintptr_t>(c) & ~(uintptr_t{kUnitBytes} - 1))];
  // The newest unit, still being cut, stays; its uncut chunks are free room.
  const uint64_t room = freeCount_ + bumpLeft_;
  std::vector<std::pair<uint32_t, uint8_t*>> byFree;
  for (size_t u = 0; u + 1 < units_.size(); ++u) byFree.emplace_back(freePerUnit[units_[u]], units_[u]);
  std::sort(byFree.begin(), byFree.end(), std::greater<>());
  // Every unit that goes takes its free chunks out of the room and puts its
  // used ones into it: k units can go while the room holds k whole units.
  const uint64_t canGo = std::min<uint64_t>(room / kChunksPerUnit, byFree.size());
  for (uint64_t k = 0; k < canGo; ++k) evacuate.push_back(byFree[k].second);
  std::sort(evacuate.begin(), evacuate.end());
  if (evacuate.empty()) return evacuate;
  // Only chunks of the staying units remain for reuse.
  TRegisterChunk* kept = nullptr;
  uint64_t keptCount = 0;
  for (TRegisterChunk* c = freeList_; c != nullptr;) {
    TRegisterChunk* next = NextFree(c);
    if (!InUnits(evacuate, c)) {
      SetNextFree(c, kept);
      kept = c;
      ++keptCount;
    }
    c = next;
  }
  freeList_ = kept;
  freeCount_ = keptCount;
  return evacuate;
}

void TChunkPool::EndEvacuation(const std::vector<uint8_t*>& units, uint64_t moved) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (uint8_t* u : units) std::free(u);
  std::erase_if(units_, [&](uint8_t* u) { return std::binary_search(units.begin(), units.end(), u); });
  unitCount_.store(units_.size(), std::memory_order_relaxed);
  inUse_ -= moved;
}

uint64_t TChunkPool::Bytes() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return (units_.size() + headerUnits_.size()) * kUnitBytes;
}

uint64_t TChunkPool::ChunksInUse() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return inUse_;
}

TChunkPool::TStatistics TChunkPool::Statistics() const {
  std::lock_guard<std::mutex> lock(mutex_);
  TStatistics s;
  s.chunksInUse = inUse_;
  s.freeChunks = freeCount_;
  s.units = units_.size();
  s.bytes = units_.size() * kUnitBytes;
  // A unit is free when all its chunks are either released or never handed out.
  std::unordered_map<uintptr_t, uint32_t> freePerUnit;
  for (TRegisterChunk* c = freeList_; c != nullptr; c = NextFree(c))
    ++freePerUnit[reinterpret_cast<uintptr_t>(c) & ~(uintptr_t{kUnitBytes} - 1)];
  if (!units_.empty()) freePerUnit[reinterpret_cast<uintptr_t>(units_.back())] += bumpLeft_;
  for (const auto& [unit, n] : freePerUnit)
    if (n == kChunksPerUnit) ++s.freeUnits;
  return s;
}

}  // namespace ostravel
