#include "registers/temporary_register.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <stdexcept>

#include "config/settings.h"

namespace ostravel {

namespace {

using TUpsert = TRegisterCombinedMap::TUpsert;

// Sizing of the element limit. A record in a crowded bucket costs its 68
// bytes plus the slack of its array (growth by an eighth) and its share of the
// array header; a bucket of a few records pays for a whole chunk. The limit
// reserves one chunk per bucket and counts every record at the array cost, or,
// for budgets too small for that, one chunk per record: either way the
// register stays inside its budget.
constexpr uint64_t kArrayBytesPerRecord = 80;

std::string Format(const char* fmt, auto... args) {
  char buf[256];
  const int n = std::snprintf(buf, sizeof buf, fmt, args...);
  return std::string(buf, n < 0 ? 0 : std::min<size_t>(static_cast<size_t>(n), sizeof buf - 1));
}

double Megabytes(uint64_t bytes) {
  return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

void CheckSubKey(uint64_t key) {
  if (key == 0) throw std::invalid_argument("key 0 is the exact part, not a sub-register");
}

}  // namespace

// ---------------------------------------------------------------- one part

template <int K>
TUpsert TTemporaryChessboardRegister<K>::Insert(uint16_t n, const uint8_t* board, uint32_t hash,
                                                bool firstCount, bool allowNew) {
  return map_.Upsert(board, hash, allowNew, [n, firstCount](TRegisterRecord& r, bool) {
    if constexpr (K == 0) {
      // Counts only improve: the mate gets shorter, the no-mate longer.
      if (firstCount) {
        if (r.nMovesMate == 0 || n < r.nMovesMate) r.nMovesMate = n;
      } else if (n > r.nMovesNoMate) {
        r.nMovesNoMate = n;
      }
      // A mate in k plies leaves room for "no mate" only below k.
      if (r.nMovesMate != 0 && r.nMovesMate <= r.nMovesNoMate)
        r.nMovesNoMate = r.nMovesMate >= 2 ? static_cast<uint16_t>(r.nMovesMate - 2) : 0;
    } else {
      if (firstCount) {
        if (n > r.nMovesMate) r.nMovesMate = n;
      } else if (n > r.nMovesNoMate) {
        r.nMovesNoMate = n;
      }
    }
  });
}

template <int K>
uint64_t TTemporaryChessboardRegister<K>::RemoveNMovers(uint32_t rankLimit, uint64_t& quotaAtLimit) {
  return map_.RemoveIf([&](const TRegisterRecord& r) {
    const uint32_t rank = CleanUpRank(r);
    if (rank < rankLimit) return true;
    if (rank == rankLimit && quotaAtLimit > 0) {
      --quotaAtLimit;
      return true;
    }
    return false;
  });
}

template class TTemporaryChessboardRegister<0>;
template class TTemporaryChessboardRegister<1>;

// ---------------------------------------------------------------- load statistics

std::string TRegisterLoadStatistics::Text() const {
  std::string s;
  s += Format("Total number of positions: %llu\n", static_cast<unsigned long long>(totalRecords));
  if (maxPlies == 0)
    s += "#n range: #-\n";
  else  // plies to moves: 2k-1 plies is a mate in k
    s += Format("#n range: #%u-#%u\n", (minPlies + 1u) / 2, (maxPlies + 1u) / 2);
  s += Format("Total number of 'mate' positions: %llu\n", static_cast<unsigned long long>(exactMateRecords));
  s += Format("Total number of 'no mate' positions: %llu\n",
              static_cast<unsigned long long>(exactNoMateRecords));
  s += Format("Total number of 'mate doubtful' positions: %llu\n",
              static_cast<unsigned long long>(subFirstRecords));
  s += Format("Total number of 'mate not doubtful' positions: %llu\n",
              static_cast<unsigned long long>(subSecondRecords));
  return s;
}

// ---------------------------------------------------------------- aggregated register

TAggregatedTemporaryChessboardRegister::TAggregatedTemporaryChessboardRegister(uint32_t bucketCount,
                                                                               uint32_t elementLimit)
    : bucketCount_(bucketCount),
      exact_(std::make_unique<TTemporaryChessboardRegister<0>>(bucketCount, pool_)),
      limit_(elementLimit),
      prefetchTable_(exact_->Map().Table()),
      prefetchMask_(bucketCount - 1) {}

TAggregatedTemporaryChessboardRegister::~TAggregatedTemporaryChessboardRegister() = default;

uint32_t TAggregatedTemporaryChessboardRegister::BucketCount() const {
  TSharedGateGuard g(gate_);
  return bucketCount_;
}

bool TAggregatedTemporaryChessboardRegister::MakeRoom() {
  const uint32_t limit = ElementLimit();
  if (limit == 0 || total_.load(std::memory_order_relaxed) < limit) return true;
  RemoveNMovers(limit - limit / 4);
  return total_.load(std::memory_order_relaxed) < limit;
}

void TAggregatedTemporaryChessboardRegister::NoteStored(TUpsert r, uint16_t n) {
  if (r == TUpsert::kDropped) return;
  if (r == TUpsert::kAdded) total_.fetch_add(1, std::memory_order_relaxed);
  uint16_t cur = maxPlies_.load(std::memory_order_relaxed);
  while (n > cur && !maxPlies_.compare_exchange_weak(cur, n, std::memory_order_relaxed)) {
  }
}

void TAggregatedTemporaryChessboardRegister::Insert(uint16_t n, const uint8_t* board, uint32_t hash,
                                                    bool mate) {
  if (ShortRejected(n)) return;
  const bool allowNew = MakeRoom();
  {
    TSharedGateGuard g(gate_);
    NoteStored(exact_->Insert(n, board, hash, mate, allowNew), n);
  }
  if (pool_.WorthEvacuating()) CompactChunks();
}

uint8_t TAggregatedTemporaryChessboardRegister::LookUp(uint16_t n, uint16_t m, const uint8_t* board,
                                                       uint32_t hash) {
  TSharedGateGuard g(gate_);
  return exact_->LookUp(n, m, board, hash);
}

uint8_t TAggregatedTemporaryChessboardRegister::LookUpNoMate(uint16_t n, const uint8_t* board,
                                                             uint32_t hash) {
  uint16_t first, second;
  TSharedGateGuard g(gate_);
  if (exact_->Probe(board, hash, first, second) && second != 0 && n <= second) return kRegNoMate;
  return kRegUnknown;
}

bool TAggregatedTemporaryChessboardRegister::Probe(const uint8_t* board, uint32_t hash, uint16_t& nMovesMate,
                                                   uint16_t& nMovesNoMate) {
  TSharedGateGuard g(gate_);
  return exact_->Probe(board, hash, nMovesMate, nMovesNoMate);
}

TAggregatedTemporaryChessboardRegister::TSub* TAggregatedTemporaryChessboardRegister::FindSub(
    uint64_t key) const {
  const auto it = subs_.find(key);
  return it == subs_.end() ? nullptr : it->second.get();
}

void TAggregatedTemporaryChessboardRegister::InsertSub(uint64_t key, uint16_t n, const uint8_t* board,
                                                       uint32_t hash, bool doubtful) {
  CheckSubKey(key);
  if (ShortRejected(n)) return;
  const bool allowNew = MakeRoom();
  for (;;) {
    {
      TSharedGateGuard g(gate_);
      if (TSub* sub = FindSub(key)) {
        NoteStored(sub->Insert(n, board, hash, doubtful, allowNew), n);
        break;
      }
    }
    if (!allowNew) return;
    // The map of sub-registers changes only on the exclusive side, so readers
    // walk it without a lock of their own.
    TExclusiveGateGuard x(gate_);
    if (FindSub(key) == nullptr) subs_.emplace(key, std::make_unique<TSub>(bucketCount_, pool_));
  }
  if (pool_.WorthEvacuating()) CompactChunks();
}

void TAggregatedTemporaryChessboardRegister::CompactChunks() {
  TExclusiveGateGuard x(gate_);
  if (!pool_.WorthEvacuating()) return;  // another thread has done it meanwhile
  const std::vector<uint8_t*> units = pool_.BeginEvacuation();
  if (units.empty()) return;
  uint64_t moved = exact_->Map().RelocateChunks(units);
  for (const auto& [key, sub] : subs_) moved += sub->Map().RelocateChunks(units);
  pool_.EndEvacuation(units, moved);
}

uint8_t TAggregatedTemporaryChessboardRegister::LookUpSub(uint64_t key, uint16_t n, uint16_t m,
                                                          const uint8_t* board, uint32_t hash) {
  uint16_t first, second;
  if (!ProbeSub(key, board, hash, first, second)) return kRegNoSubRegister;
  return RegisterAnswer(first, second, n, m);
}

bool TAggregatedTemporaryChessboardRegister::ProbeSub(uint64_t key, const uint8_t* board, uint32_t hash,
                                                      uint16_t& doubtful, uint16_t& notDoubtful) {
  CheckSubKey(key);
  TSharedGateGuard g(gate_);
  const TSub* sub = FindSub(key);
  return sub != nullptr && sub->Probe(board, hash, doubtful, notDoubtful);
}

std::vector<uint64_t> TAggregatedTemporaryChessboardRegister::SubRegisterKeys() const {
  TSharedGateGuard g(gate_);
  std::vector<uint64_t> keys;
  keys.reserve(subs_.size());
  for (const auto& [key, sub] : subs_) keys.push_back(key);
  return keys;
}

uint32_t TAggregatedTemporaryChessboardRegister::PartElementCount(uint64_t key) const {
  TSharedGateGuard g(gate_);
  if (key == 0) return exact_->ElementCount();
  const TSub* sub = FindSub(key);
  return sub == nullptr ? 0 : sub->ElementCount();
}

void TAggregatedTemporaryChessboardRegister::Clear() {
  {
    TExclusiveGateGuard x(gate_);
    exact_->Clear();
    subs_.clear();
    total_.store(0);
    maxPlies_.store(0);
    pool_.ReleaseAllUnits();
  }
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> companion;
  {
    std::lock_guard<std::mutex> lk(companionLock_);
    companion = companion_;
  }
  if (companion) companion->Clear();
}

std::shared_ptr<TAggregatedTemporaryChessboardRegister>
TAggregatedTemporaryChessboardRegister::RightsCompanion(uint32_t bucketCount, uint32_t elementLimit) {
  std::lock_guard<std::mutex> lk(companionLock_);
  if (!companion_)
    companion_ = std::make_shared<TAggregatedTemporaryChessboardRegister>(bucketCount, elementLimit);
  return companion_;
}

void TAggregatedTemporaryChessboardRegister::Reset(uint32_t bucketCount) {
  if (bucketCount == 0 || (bucketCount & (bucketCount - 1)) != 0)
    throw std::invalid_argument("register bucket count must be a power of two");
  TExclusiveGateGuard x(gate_);
  exact_.reset();
  subs_.clear();
  total_.store(0);
  maxPlies_.store(0);
  pool_.ReleaseAllUnits();
  bucketCount_ = bucketCount;
  exact_ = std::make_unique<TTemporaryChessboardRegister<0>>(bucketCount, pool_);
  // A prefetch that pairs the old table with the new mask only fetches a
  // useless line: prefetching never faults.
  prefetchTable_.store(exact_->Map().Table(), std::memory_order_relaxed);
  prefetchMask_.store(bucketCount - 1, std::memory_order_relaxed);
}

// Clean-up policy. The register is a cache of proofs: a dropped record costs
// the time to prove it again, never a wrong answer, and searches copy counts
// out under the bucket lock rather than keep pointers, so the exclusive side
// is all the safety needed. What a record is worth is the depth of the search
// that produced it, so records go in order of their larger ply count, short
// ones first (the n-movers); at equal length a heuristic sub-register's
// record, which proves nothing, goes before an exact one. The ranks below the
// cut go entirely, the rank at the cut as far as needed. Inserts ask for room
// down to three quarters of the limit, so that the table walk is paid once
// per quarter of the limit and not on every insert.
uint64_t TAggregatedTemporaryChessboardRegister::RemoveNMovers(uint32_t targetCount) {
  TExclusiveGateGuard x(gate_);
  const uint32_t count = total_.load();
  if (count <= targetCount) return 0;  // another thread has made room meanwhile
  struct TCleaning {
    TCleaning() { ++g_nCleaningTempReg; }
    ~TCleaning() { --g_nCleaningTempReg; }
  } cleaning;
  const uint64_t toRemove = count - targetCount;

  constexpr uint32_t kRanks = TTemporaryChessboardRegister<0>::kMaxCleanUpRank + 1;
  std::vector<uint64_t> histogram(kRanks, 0);
  exact_->Map().ForEach([&](const TRegisterRecord& r) {
    ++histogram[TTemporaryChessboardRegister<0>::CleanUpRank(r)];
    return true;
  });
  for (const auto& [key, sub] : subs_) {
    sub->Map().ForEach([&](const TRegisterRecord& r) {
      ++histogram[TSub::CleanUpRank(r)];
      return true;
    });
  }
  uint32_t cutRank = kRanks - 1;
  uint64_t quota = 0, below = 0;
  for (uint32_t rank = 0; rank < kRanks; ++rank) {
    if (below + histogram[rank] >= toRemove) {
      cutRank = rank;
      quota = toRemove - below;
      break;
    }
    below += histogram[rank];
  }

  uint64_t removed = exact_->RemoveNMovers(cutRank, quota);
  for (auto it = subs_.begin(); it != subs_.end();) {
    removed += it->second->RemoveNMovers(cutRank, quota);
    // An empty sub-register gives its bucket table back; it returns on demand.
    it = it->second->ElementCount() == 0 ? subs_.erase(it) : std::next(it);
  }
  total_.fetch_sub(static_cast<uint32_t>(removed));
  return removed;
}

uint64_t TAggregatedTemporaryChessboardRegister::MemoryBytes() const {
  TSharedGateGuard g(gate_);
  uint64_t bytes = sizeof(*this) + pool_.Bytes() + exact_->Map().TableBytes() + exact_->Map().ArrayBytes();
  for (const auto& [key, sub] : subs_)
    bytes += sizeof(TSub) + 64 /* map node */ + sub->Map().TableBytes() + sub->Map().ArrayBytes();
  return bytes;
}

std::string TAggregatedTemporaryChessboardRegister::StatisticsText() const {
  uint64_t mate = 0, noMate = 0, doubtful = 0, notDoubtful = 0, slots = 0, buckets = 0;
  uint32_t exactBuckets;
  {
    TSharedGateGuard g(gate_);
    exactBuckets = bucketCount_;
    exact_->Map().ForEach([&](const TRegisterRecord& r) {
      mate += r.nMovesMate != 0;
      noMate += r.nMovesNoMate != 0;
      return true;
    });
    slots += exact_->Map().RecordSlots();
    buckets += exact_->Map().BucketCount();
    for (const auto& [key, sub] : subs_) {
      sub->Map().ForEach([&](const TRegisterRecord& r) {
        doubtful += r.nMovesMate != 0;
        notDoubtful += r.nMovesNoMate != 0;
        return true;
      });
      slots += sub->Map().RecordSlots();
      buckets += sub->Map().BucketCount();
    }
  }
  const uint32_t count = ElementCount();
  const TChunkPool::TStatistics pool = pool_.Statistics();
  std::string s;
  s += Format("Buckets count = %u\n", exactBuckets);
  s += Format("Elements count = %u (%.2f elems per bucket)\n", count,
              buckets == 0 ? 0.0 : static_cast<double>(count) / static_cast<double>(buckets));
  s += Format("Current capacity = %llu\n", static_cast<unsigned long long>(slots));
  s += Format("Max. elements count = %u\n", ElementLimit());
  s += Format("Mate elements = %llu\n", static_cast<unsigned long long>(mate));
  s += Format("No mate elements = %llu\n", static_cast<unsigned long long>(noMate));
  s += Format("Doubtful elements = %llu\n", static_cast<unsigned long long>(doubtful));
  s += Format("Not doubtful elements = %llu\n", static_cast<unsigned long long>(notDoubtful));
  s += Format("Number of allocated chunks = %llu\n", static_cast<unsigned long long>(pool.chunksInUse));
  s += Format("Number of unused chunks waiting to deallocate = %llu\n",
              static_cast<unsigned long long>(pool.freeChunks));
  s += Format("Total allocation units      = %llu\n", static_cast<unsigned long long>(pool.units));
  s += Format("Total free allocation units = %llu (usage=%.2f MB)\n",
              static_cast<unsigned long long>(pool.freeUnits), Megabytes(pool.bytes));
  s += Format("Memory in use = %.2f MB\n", Megabytes(MemoryBytes()));
  return s;
}

bool TAggregatedTemporaryChessboardRegister::ForEachRecord(const TRecordVisitor& visit) const {
  TSharedGateGuard g(gate_);
  if (!exact_->Map().ForEach([&](const TRegisterRecord& r) { return visit(0, r); })) return false;
  for (const auto& [key, sub] : subs_) {
    const uint64_t k = key;
    if (!sub->Map().ForEach([&](const TRegisterRecord& r) { return visit(k, r); })) return false;
  }
  return true;
}

bool TAggregatedTemporaryChessboardRegister::ForEachRecordOf(uint64_t sectionKey,
                                                             const TRecordVisitor& visit) const {
  TSharedGateGuard g(gate_);
  const TRegisterCombinedMap* map = nullptr;
  if (sectionKey == 0) {
    map = &exact_->Map();
  } else if (const TSub* sub = FindSub(sectionKey)) {
    map = &sub->Map();
  } else {
    return true;
  }
  return map->ForEach([&](const TRegisterRecord& r) { return visit(sectionKey, r); });
}

// ---------------------------------------------------------------- sizing

uint32_t TempRegElementLimit(uint64_t budgetMB, uint32_t bucketCount) {
  const uint64_t budget = std::min<uint64_t>(budgetMB, uint64_t{1} << 40) << 20;
  const uint64_t table = uint64_t{bucketCount} * sizeof(uint64_t);
  const uint64_t chunks = uint64_t{bucketCount} * sizeof(TRegisterChunk);
  uint64_t n = 0;
  if (budget > table + chunks) n = (budget - table - chunks) / kArrayBytesPerRecord;
  if (budget > table) n = std::max<uint64_t>(n, (budget - table) / sizeof(TRegisterChunk));
  // 0 would mean "no limit".
  return static_cast<uint32_t>(std::clamp<uint64_t>(n, 1, std::numeric_limits<uint32_t>::max() - 1));
}

uint32_t TempRegElementLimitFromSettings(uint32_t bucketCount) {
  return TempRegElementLimit(Settings().tempRegLimitMB, bucketCount);
}

uint32_t ChooseRegisterBucketCount(uint32_t sizeFigure, uint64_t tempRegLimitMB, bool forceSmall) {
  if (forceSmall || sizeFigure < 15) return kSmallRegisterBuckets;
  if (sizeFigure >= 23 && tempRegLimitMB > 8192) return kLargeRegisterBuckets;
  return kMediumRegisterBuckets;
}

}  // namespace ostravel
