#include "registers/combined_map.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>
#include <stdexcept>

namespace ostravel {

namespace {

constexpr size_t kHugePage = size_t{1} << 21;
// A converted chunk holds nine records; room for a few more before the first move.
constexpr size_t kFirstArrayCapacity = 12;

size_t RoundUp(size_t n, size_t to) {
  return (n + to - 1) / to * to;
}

}  // namespace

TRegisterCombinedMap::TRegisterCombinedMap(uint32_t bucketCount, TChunkPool& pool) : pool_(pool) {
  if (bucketCount == 0 || (bucketCount & (bucketCount - 1)) != 0)
    throw std::invalid_argument("register bucket count must be a power of two");
  mask_ = bucketCount - 1;
  const size_t bytes = size_t{bucketCount} * sizeof(uint64_t);
  const size_t align = bytes >= kHugePage ? kHugePage : 64;
  void* mem = std::aligned_alloc(align, RoundUp(bytes, align));
  if (mem == nullptr) throw std::bad_alloc();
  // Every look-up starts with a random bucket word.
  if (align == kHugePage) madvise(mem, RoundUp(bytes, align), MADV_HUGEPAGE);
  buckets_ = static_cast<std::atomic<uint64_t>*>(mem);
  for (uint32_t i = 0; i < bucketCount; ++i) new (&buckets_[i]) std::atomic<uint64_t>(0);
}

TRegisterCombinedMap::~TRegisterCombinedMap() {
  Clear();
  std::free(buckets_);
}

void TRegisterCombinedMap::Clear() {
  for (uint32_t b = 0; b <= mask_; ++b) {
    const uint64_t word = buckets_[b].load(std::memory_order_acquire);
    if ((word & kPointerMask) == 0) continue;
    if (word & kArrayBit)
      ReleaseArray(ArrayOf(word));
    else
      pool_.Release(ChunkOf(word));
    buckets_[b].store(0, std::memory_order_release);
  }
  count_.store(0, std::memory_order_relaxed);
}

uint64_t TRegisterCombinedMap::RelocateChunks(const std::vector<uint8_t*>& sortedUnits) {
  uint64_t moved = 0;
  for (uint32_t b = 0; b <= mask_; ++b) {
    const uint64_t word = buckets_[b].load(std::memory_order_acquire);
    if ((word & kPointerMask) == 0 || (word & kArrayBit) != 0) continue;
    TRegisterChunk* from = ChunkOf(word);
    if (!TChunkPool::InUnits(sortedUnits, from)) continue;
    TRegisterChunk* to = pool_.Allocate();
    std::memcpy(static_cast<void*>(to), from, sizeof(TRegisterChunk));
    buckets_[b].store(reinterpret_cast<uint64_t>(to), std::memory_order_release);
    ++moved;
  }
  return moved;
}

uint64_t TRegisterCombinedMap::RecordSlots() const {
  uint64_t slots = 0;
  for (uint32_t b = 0; b <= mask_; ++b) {
    const uint64_t word = buckets_[b].load(std::memory_order_acquire);
    if ((word & kPointerMask) != 0 && (word & kArrayBit) == 0) slots += TRegisterChunk::kCapacity;
  }
  // Array capacities come from the running byte figure (a statistic may be a moment old).
  return slots + arrayBytes_.load(std::memory_order_relaxed) / sizeof(TRegisterRecord);
}

uint64_t TRegisterCombinedMap::AddLocked(uint64_t word, const regdetail::TBoardKey& key,
                                         const TRegisterRecord& rec) {
  if ((word & kPointerMask) == 0) {
    TRegisterChunk* c = pool_.Allocate();
    c->records[0] = rec;
    c->count = 1;
    return reinterpret_cast<uint64_t>(c);  // user-space addresses fit in 48 bits
  }
  if (word & kArrayBit) {
    InsertSorted(ArrayOf(word), key, rec);
    return word;
  }
  TRegisterChunk* c = ChunkOf(word);
  if (c->count < TRegisterChunk::kCapacity) {
    c->records[c->count++] = rec;
    return word;
  }
  // A ninth position: the chunk becomes a sorted array.
  TOverflowArray* a = new (pool_.AllocateHeader()) TOverflowArray();
  try {
    a->reserve(kFirstArrayCapacity);
  } catch (...) {
    a->~TOverflowArray();
    pool_.ReleaseHeader(a);
    throw;
  }
  a->assign(c->records, c->records + TRegisterChunk::kCapacity);
  std::sort(a->begin(), a->end(), [](const TRegisterRecord& x, const TRegisterRecord& y) {
    return std::memcmp(x.board, y.board, 64) < 0;
  });
  arrayBytes_.fetch_add(a->capacity() * sizeof(TRegisterRecord), std::memory_order_relaxed);
  InsertSorted(a, key, rec);  // within the capacity reserved: cannot throw
  arrayBuckets_.fetch_add(1, std::memory_order_relaxed);
  pool_.Release(c);
  return reinterpret_cast<uint64_t>(a) | kArrayBit;
}

void TRegisterCombinedMap::InsertSorted(TOverflowArray* a, const regdetail::TBoardKey& key,
                                        const TRegisterRecord& rec) {
  auto pos = std::lower_bound(
      a->begin(), a->end(), key,
      [](const TRegisterRecord& r, const regdetail::TBoardKey& k) { return k.Compare(r.board) > 0; });
  if (a->size() == a->capacity()) {
    // Grow by an eighth: crowded buckets are where the memory goes, and the
    // copy is small beside the shift of a sorted insert.
    const size_t oldCap = a->capacity();
    const size_t index = static_cast<size_t>(pos - a->begin());
    a->reserve(oldCap + std::max<size_t>(4, oldCap / 8));
    arrayBytes_.fetch_add((a->capacity() - oldCap) * sizeof(TRegisterRecord), std::memory_order_relaxed);
    pos = a->begin() + static_cast<std::ptrdiff_t>(index);
  }
  a->insert(pos, rec);
}

void TRegisterCombinedMap::ReleaseArray(TOverflowArray* a) {
  arrayBytes_.fetch_sub(a->capacity() * sizeof(TRegisterRecord), std::memory_order_relaxed);
  arrayBuckets_.fetch_sub(1, std::memory_order_relaxed);
  a->~TOverflowArray();
  pool_.ReleaseHeader(a);
}

void TRegisterCombinedMap::ShrinkArray(TOverflowArray* a) {
  const size_t oldCap = a->capacity();
  if (oldCap - a->size() <= std::max<size_t>(8, a->size() / 4)) return;
  a->shrink_to_fit();
  arrayBytes_.fetch_sub((oldCap - a->capacity()) * sizeof(TRegisterRecord), std::memory_order_relaxed);
}

}  // namespace ostravel
