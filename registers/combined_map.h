#pragma once
// The bucket table of a register. Each bucket is one 64-bit word:
//   bits 0-47  pointer to the bucket's storage (0: empty bucket)
//   bits 48-55 spin-lock byte (0 free, 1 held)
//   bit 56     storage kind: 0 an eight-record chunk, 1 a sorted overflow array
// Up to eight positions live in a pooled chunk searched linearly; a ninth
// turns the bucket into an array sorted by the board bytes, searched by
// bisection. A bucket never turns back into a chunk.
//
// Locking: every access to a bucket's records holds its lock byte; a thread
// holds at most one bucket lock at a time. The register's gate (held by the
// caller) keeps table-wide restructuring (RemoveIf, Clear, RelocateChunks)
// away: those run only while the caller holds the gate's exclusive side.
#include <algorithm>
#include <atomic>
#include <boost/container/options.hpp>
#include <boost/container/vector.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "registers/chunk_pool.h"
#include "registers/register_record.h"

namespace ostravel {

class TRegisterCombinedMap {
 public:
  using TOverflowArray = boost::container::vector<
      TRegisterRecord, boost::container::new_allocator<TRegisterRecord>,
      boost::container::vector_options_t<boost::container::growth_factor<boost::container::growth_factor_50>,
                                         boost::container::stored_size<uint32_t>>>;

  static_assert(sizeof(TOverflowArray) <= TChunkPool::kHeaderBytes);

  static constexpr uint64_t kPointerMask = (uint64_t{1} << 48) - 1;
  static constexpr uint64_t kLockBit = uint64_t{1} << 48;
  static constexpr uint64_t kLockByteMask = uint64_t{0xFF} << 48;
  static constexpr uint64_t kArrayBit = uint64_t{1} << 56;

  enum class TUpsert : uint8_t { kUpdated, kAdded, kDropped };

  // bucketCount must be a power of two (std::invalid_argument otherwise).
  TRegisterCombinedMap(uint32_t bucketCount, TChunkPool& pool);
  ~TRegisterCombinedMap();
  TRegisterCombinedMap(const TRegisterCombinedMap&) = delete;
  TRegisterCombinedMap& operator=(const TRegisterCombinedMap&) = delete;

  uint32_t BucketCount() const { return mask_ + 1; }
  const void* Table() const { return buckets_; }
  uint32_t ElementCount() const { return count_.load(std::memory_order_relaxed); }

  // Copies the two counts of a stored position; false when it is absent.
  bool Find(const uint8_t* board, uint32_t hash, uint16_t& first, uint16_t& second) const {
    std::atomic<uint64_t>& w = buckets_[hash & mask_];
    // An empty bucket needs no lock: a record being added to it right now is
    // not there yet.
    const uint64_t seen = w.load(std::memory_order_acquire);
    if ((seen & kPointerMask) == 0) return false;
    PrefetchStorage(seen);
    const regdetail::TBoardKey key(board);
    const uint64_t word = LockBucket(w);
    const TRegisterRecord* r = FindLocked(word, key);
    if (r != nullptr) {
      first = r->nMovesMate;
      second = r->nMovesNoMate;
    }
    UnlockBucket(w, word);
    return r != nullptr;
  }

  // Under the bucket lock, calls update(record, isNew) on the stored record of
  // the position, or, when absent and allowNew is set, on a new record with
  // both counts 0, which is then kept. `update` must not throw or touch the map.
  template <class Fn>
  TUpsert Upsert(const uint8_t* board, uint32_t hash, bool allowNew, Fn&& update) {
    std::atomic<uint64_t>& w = buckets_[hash & mask_];
    PrefetchStorage(w.load(std::memory_order_relaxed));
    const regdetail::TBoardKey key(board);
    uint64_t word = LockBucket(w);
    if (TRegisterRecord* r = FindLocked(word, key)) {
      update(*r, false);
      UnlockBucket(w, word);
      return TUpsert::kUpdated;
    }
    if (!allowNew) {
      UnlockBucket(w, word);
      return TUpsert::kDropped;
    }
    TRegisterRecord rec;
    std::memcpy(rec.board, board, 64);
    rec.nMovesMate = rec.nMovesNoMate = 0;
    update(rec, true);
    try {
      word = AddLocked(word, key, rec);
    } catch (...) {
      UnlockBucket(w, word);
      throw;
    }
    count_.fetch_add(1, std::memory_order_relaxed);
    UnlockBucket(w, word);
    return TUpsert::kAdded;
  }

  // Visits every record, each bucket under its lock; fn(const TRegisterRecord&)
  // returns false to stop (then ForEach returns false). fn must not call the map.
  template <class Fn>
  bool ForEach(Fn&& fn) const {
    for (uint32_t b = 0; b <= mask_; ++b) {
      std::atomic<uint64_t>& w = buckets_[b];
      if ((w.load(std::memory_order_acquire) & kPointerMask) == 0) continue;
      const uint64_t word = LockBucket(w);
      struct Unlock {
        std::atomic<uint64_t>& w;
        uint64_t word;
        ~Unlock() { UnlockBucket(w, word); }
      } unlock{w, word};
      const auto [recs, n] = Records(word);
      for (uint32_t i = 0; i < n; ++i)
        if (!fn(static_cast<const TRegisterRecord&>(recs[i]))) return false;
    }
    return true;
  }

  // Exclusive use only. Removes the records for which pred(record) holds (in
  // bucket order, so a predicate may count and stop); returns how many went.
  template <class Pred>
  uint64_t RemoveIf(Pred&& pred) {
    uint64_t removed = 0;
    for (uint32_t b = 0; b <= mask_; ++b) {
      std::atomic<uint64_t>& w = buckets_[b];
      const uint64_t word = w.load(std::memory_order_acquire);
      if ((word & kPointerMask) == 0) continue;
      if (word & kArrayBit) {
        TOverflowArray* a = ArrayOf(word);
        const size_t before = a->size();
        a->erase(std::remove_if(a->begin(), a->end(), [&](const TRegisterRecord& r) { return pred(r); }),
                 a->end());
        removed += before - a->size();
        if (a->empty()) {
          ReleaseArray(a);
          w.store(0, std::memory_order_release);
        } else {
          ShrinkArray(a);
        }
      } else {
        TRegisterChunk* c = ChunkOf(word);
        uint32_t kept = 0;
        for (uint32_t i = 0; i < c->count; ++i) {
          if (pred(static_cast<const TRegisterRecord&>(c->records[i]))) {
            ++removed;
          } else {
            if (kept != i) c->records[kept] = c->records[i];
            ++kept;
          }
        }
        c->count = kept;
        if (kept == 0) {
          pool_.Release(c);
          w.store(0, std::memory_order_release);
        }
      }
    }
    count_.fetch_sub(static_cast<uint32_t>(removed), std::memory_order_relaxed);
    return removed;
  }

  // Exclusive use only: drops every record; chunks go back to the pool.
  void Clear();
  // Exclusive use only: moves the chunks that lie in the given pool units (an
  // evacuation, see TChunkPool) to new places; returns how many moved. The
  // pool counted room for them, so no new unit is needed.
  uint64_t RelocateChunks(const std::vector<uint8_t*>& sortedUnits);

  // Bytes of the bucket table and of the overflow arrays' records (chunks and
  // array headers are the pool's).
  uint64_t TableBytes() const { return uint64_t{BucketCount()} * sizeof(uint64_t); }
  uint64_t ArrayBytes() const { return arrayBytes_.load(std::memory_order_relaxed); }
  // Record slots allocated: eight per chunk plus the arrays' capacities.
  uint64_t RecordSlots() const;
  uint32_t ArrayBuckets() const { return arrayBuckets_.load(std::memory_order_relaxed); }

 private:
  struct TSpan {
    TRegisterRecord* recs;
    uint32_t n;
  };

  static TRegisterChunk* ChunkOf(uint64_t word) {
    return reinterpret_cast<TRegisterChunk*>(word & kPointerMask);
  }
  static TOverflowArray* ArrayOf(uint64_t word) {
    return reinterpret_cast<TOverflowArray*>(word & kPointerMask);
  }
  static TSpan Records(uint64_t word) {
    if ((word & kPointerMask) == 0) return {nullptr, 0};
    if (word & kArrayBit) {
      TOverflowArray* a = ArrayOf(word);
      return {a->data(), static_cast<uint32_t>(a->size())};
    }
    TRegisterChunk* c = ChunkOf(word);
    return {c->records, static_cast<uint32_t>(c->count)};
  }

  // Sets the lock byte (atomic bit-test-and-set on the word) until it was
  // free; returns the word as it stands, lock byte clear.
  static uint64_t LockBucket(std::atomic<uint64_t>& w) {
    for (;;) {
      const uint64_t old = w.fetch_or(kLockBit, std::memory_order_acquire);
      if ((old & kLockBit) == 0) return old;
      // A holder that lost its core (more search threads than cores) keeps
      // the lock for a whole time slice: after a short spin, give way.
      for (uint32_t spins = 0; w.load(std::memory_order_relaxed) & kLockBit; ++spins) {
        if (spins < 128) {
#if defined(__x86_64__) || defined(__i386__)
          __builtin_ia32_pause();
#endif
        } else {
          std::this_thread::yield();
        }
      }
    }
  }
  // Publishes the (possibly new) storage word with the lock byte 0.
  static void UnlockBucket(std::atomic<uint64_t>& w, uint64_t word) {
    w.store(word & ~kLockByteMask, std::memory_order_release);
  }

  // Starts the fetch of what the search of a bucket reads first, so that it
  // overlaps the taking of the lock: the first lines of a chunk and the line
  // of its count, or an array's header.
  static void PrefetchStorage(uint64_t word) {
    const auto* p = reinterpret_cast<const char*>(word & kPointerMask);
    if (p == nullptr) return;
    __builtin_prefetch(p);
    if (word & kArrayBit) return;
    __builtin_prefetch(p + 64);
    __builtin_prefetch(p + 128);
    __builtin_prefetch(p + 192);
    __builtin_prefetch(p + offsetof(TRegisterChunk, count));
  }

  static TRegisterRecord* FindLocked(uint64_t word, const regdetail::TBoardKey& key) {
    if ((word & kPointerMask) == 0) return nullptr;
    if (word & kArrayBit) {
      TOverflowArray* a = ArrayOf(word);
      size_t n = a->size();
      if (n == 0) return nullptr;
      // Bisection to the last record not above the key. Both records the
      // next step may read are fetched while this one is compared.
      TRegisterRecord* base = a->data();
      while (n > 1) {
        const size_t half = n / 2;
        __builtin_prefetch(base + half / 2);
        __builtin_prefetch(base + half + half / 2);
        if (key.Compare(base[half].board) >= 0) base += half;
        n -= half;
      }
      return key.Equals(base->board) ? base : nullptr;
    }
    TRegisterChunk* c = ChunkOf(word);
    const uint32_t n = static_cast<uint32_t>(c->count);
    for (uint32_t i = 0; i < n; ++i)
      if (key.Equals(c->records[i].board)) return &c->records[i];
    return nullptr;
  }

  // Adds a record known to be absent; returns the bucket's new word.
  uint64_t AddLocked(uint64_t word, const regdetail::TBoardKey& key, const TRegisterRecord& rec);
  void InsertSorted(TOverflowArray* a, const regdetail::TBoardKey& key, const TRegisterRecord& rec);
  void ReleaseArray(TOverflowArray* a);
  void ShrinkArray(TOverflowArray* a);

  TChunkPool& pool_;
  std::atomic<uint64_t>* buckets_ = nullptr;
  uint32_t mask_ = 0;
  std::atomic<uint32_t> count_{0};
  std::atomic<uint64_t> arrayBytes_{0};
  std::atomic<uint32_t> arrayBuckets_{0};
};

}  // namespace ostravel
