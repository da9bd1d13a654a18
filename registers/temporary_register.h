#pragma once
// The temporary register: the table of results the mate search has proved,
// shared by all solver threads of a problem. The exact part holds proofs
// (mate in k plies, no mate in k plies); each heuristic sub-register holds
// what was found while one set of special heuristics pruned the search
// ("doubtful" and "not doubtful" counts), which proves nothing.
//
// Thread safety: every operation may run on any thread at any time. Inserts
// and look-ups enter the register's gate on its shared side and lock one
// bucket; clear, reset, the clean-up and the creation of a sub-register take
// the exclusive side. Nothing is allocated on a look-up.
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "registers/chunk_pool.h"
#include "registers/combined_map.h"
#include "registers/register_gate.h"
#include "registers/register_record.h"

namespace ostravel {

// Clean-ups of a register under way in the process (g_bCleaningTempReg of a
// crash log, which reads it without a lock).
inline std::atomic<int> g_nCleaningTempReg{0};

// Answers of the look-ups.
constexpr uint8_t kRegNoMate = 0;            // no mate in n is proved
constexpr uint8_t kRegMate = 1;              // a mate in n plies or fewer is proved
constexpr uint8_t kRegLongerMate = 2;        // the stored mate is longer than n, and m <= n
constexpr uint8_t kRegUnknown = 0xFE;        // nothing usable, or the position is not stored
constexpr uint8_t kRegNoSubRegister = 0xFF;  // sub-register look-up: no such sub-register or position

// The answer a record with these counts gives to a look-up (n, m). The tests
// are made in this order, each only when the ones before fail.
constexpr uint8_t RegisterAnswer(uint16_t first, uint16_t second, uint16_t n, uint16_t m) {
  if (second != 0 && n <= second) return kRegNoMate;
  if (first != 0 && first <= n) return kRegMate;
  if (first != 0 && m <= n) return kRegLongerMate;
  return kRegUnknown;
}

// Key of a heuristic sub-register: heuristics set low, parameters high. 0 is the exact part.
constexpr uint64_t SubRegisterKey(uint32_t heuristics, uint32_t parameters) {
  return (uint64_t{parameters} << 32) | heuristics;
}

class TTemporaryChessboardRegisterBase {
 public:
  virtual ~TTemporaryChessboardRegisterBase() = default;
  virtual uint32_t ElementCount() const = 0;
};

// One part of the register. K = 0: the exact part, whose counts are "mate"
// and "no mate" and kept coherent (a proved mate in k plies means no mate is
// possible only below k). K = 1: a heuristic sub-register, whose "doubtful"
// and "not doubtful" counts are independent and only ever raised.
// The owner holds the gate: shared side for Insert and the look-ups,
// exclusive side for RemoveNMovers and Clear.
template <int K>
class TTemporaryChessboardRegister : public TTemporaryChessboardRegisterBase {
  static_assert(K == 0 || K == 1);

 public:
  TTemporaryChessboardRegister(uint32_t bucketCount, TChunkPool& pool) : map_(bucketCount, pool) {}

  // firstCount: K = 0 the mate flag; K = 1 "doubtful" (else "not doubtful").
  TRegisterCombinedMap::TUpsert Insert(uint16_t n, const uint8_t* board, uint32_t hash, bool firstCount,
                                       bool allowNew);
  bool Probe(const uint8_t* board, uint32_t hash, uint16_t& first, uint16_t& second) const {
    return map_.Find(board, hash, first, second);
  }
  uint8_t LookUp(uint16_t n, uint16_t m, const uint8_t* board, uint32_t hash) const {
    uint16_t first, second;
    return map_.Find(board, hash, first, second) ? RegisterAnswer(first, second, n, m) : kRegUnknown;
  }
  uint32_t ElementCount() const override { return map_.ElementCount(); }

  // Clean-up order of a record: the larger count decides (a longer result
  // cost more to find), and at equal length a heuristic result, which proves
  // nothing, ranks below a proof.
  static uint32_t CleanUpRank(const TRegisterRecord& r) {
    const uint32_t larger = r.nMovesMate > r.nMovesNoMate ? r.nMovesMate : r.nMovesNoMate;
    return 2 * larger + (K == 0 ? 1 : 0);
  }
  static constexpr uint32_t kMaxCleanUpRank = 2 * 65535 + 1;

  // Exclusive side only. Removes the records ranked below rankLimit, and up to
  // quotaAtLimit of those ranked at it (the quota is consumed).
  uint64_t RemoveNMovers(uint32_t rankLimit, uint64_t& quotaAtLimit);
  void Clear() { map_.Clear(); }

  TRegisterCombinedMap& Map() { return map_; }
  const TRegisterCombinedMap& Map() const { return map_; }

 private:
  TRegisterCombinedMap map_;
};

// Figures of a register file load (filled by the reader of ".tmpReg" files).
struct TRegisterLoadStatistics {
  uint64_t totalRecords = 0;
  uint64_t subFirstRecords = 0;   // sub-register records with a first ("doubtful") count
  uint64_t subSecondRecords = 0;  // sub-register records with a second ("not doubtful") count
  uint64_t exactMateRecords = 0;
  uint64_t exactNoMateRecords = 0;
  uint64_t refusedRecords = 0;  // records that could not be true (not inserted)
  bool verified = false;        // the stream carried an integrity check, and it held
  uint16_t minPlies = 65535;    // least and greatest larger count seen (0 ignored)
  uint16_t maxPlies = 0;

  void NotePlies(uint16_t plies) {
    if (plies == 0) return;
    if (plies < minPlies) minPlies = plies;
    if (plies > maxPlies) maxPlies = plies;
  }
  // The report lines shown after a load.
  std::string Text() const;
};

class TAggregatedTemporaryChessboardRegister {
 public:
  // bucketCount: a power of two; elementLimit: 0 for none.
  TAggregatedTemporaryChessboardRegister(uint32_t bucketCount, uint32_t elementLimit);
  ~TAggregatedTemporaryChessboardRegister();
  TAggregatedTemporaryChessboardRegister(const TAggregatedTemporaryChessboardRegister&) = delete;
  TAggregatedTemporaryChessboardRegister& operator=(const TAggregatedTemporaryChessboardRegister&) = delete;

  // ---- exact part (hash = RegisterHash(board), computed once by the caller)

  // Records a mate in n plies (mate set) or a proof of no mate in n plies.
  void Insert(uint16_t n, const uint8_t* board, uint32_t hash, bool mate);
  // kRegNoMate, kRegMate, kRegLongerMate or kRegUnknown; see RegisterAnswer.
  uint8_t LookUp(uint16_t n, uint16_t m, const uint8_t* board, uint32_t hash);
  // kRegNoMate when no mate in n plies is proved, else kRegUnknown.
  uint8_t LookUpNoMate(uint16_t n, const uint8_t* board, uint32_t hash);
  // Both counts in one visit; false (counts untouched) when the position is absent.
  bool Probe(const uint8_t* board, uint32_t hash, uint16_t& nMovesMate, uint16_t& nMovesNoMate);
  // Starts fetching the exact part's bucket word of a position that will be
  // looked up soon (say, right after its move is made): a look-up in a large
  // register waits mostly for memory. No gate, no lock; a hint only.
  void Prefetch(uint32_t hash) const {
    const auto* table = static_cast<const uint64_t*>(prefetchTable_.load(std::memory_order_relaxed));
    __builtin_prefetch(table + (hash & prefetchMask_.load(std::memory_order_relaxed)));
  }

  // ---- heuristic sub-registers (key != 0; std::invalid_argument otherwise)

  // Raises the doubtful (first) or not-doubtful (second) count to n; the
  // sub-register is created on first use.
  void InsertSub(uint64_t key, uint16_t n, const uint8_t* board, uint32_t hash, bool doubtful);
  // The sub-register's answer by the tests of RegisterAnswer, or
  // kRegNoSubRegister when the sub-register or the position is absent.
  uint8_t LookUpSub(uint64_t key, uint16_t n, uint16_t m, const uint8_t* board, uint32_t hash);
  bool ProbeSub(uint64_t key, const uint8_t* board, uint32_t hash, uint16_t& doubtful, uint16_t& notDoubtful);
  // Keys of the existing sub-registers, ascending.
  std::vector<uint64_t> SubRegisterKeys() const;
  // Records of one part (0: the exact part); 0 when it does not exist.
  uint32_t PartElementCount(uint64_t key) const;

  // ---- the whole register

  // Records in all parts together; the element limit applies to this figure.
  uint32_t ElementCount() const { return total_.load(std::memory_order_relaxed); }
  uint32_t ElementLimit() const { return limit_.load(std::memory_order_relaxed); }
  void SetElementLimit(uint32_t limit) { limit_.store(limit, std::memory_order_relaxed); }
  // Whether counts below 4 plies are stored (off: such inserts do nothing).
  void SetStoreShortResults(bool on) { storeShort_.store(on, std::memory_order_relaxed); }
  bool StoreShortResults() const { return storeShort_.load(std::memory_order_relaxed); }
  // Largest ply count stored in any part since the last clear.
  uint16_t MaxPlies() const { return maxPlies_.load(std::memory_order_relaxed); }
  uint32_t BucketCount() const;

  // Drops every record and every sub-register (exclusive).
  void Clear();

  // The companion register of the positions with castling rights or an e.p.
  // right (their boards carry the rights, so they never meet this one's),
  // made on first use and shared by every search that uses this register:
  // the passes of a run and the work units of a split one prove them once.
  // Cleared with this register; not saved to files.
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> RightsCompanion(uint32_t bucketCount,
                                                                          uint32_t elementLimit);
  // Clear, and give every part bucketCount buckets from now on (exclusive).
  void Reset(uint32_t bucketCount);

  // The clean-up: removes records until at most targetCount remain, cheapest
  // first (see CleanUpRank). Runs on the exclusive side; returns how many went.
  // Inserts call it with three quarters of the limit when the limit is reached.
  uint64_t RemoveNMovers(uint32_t targetCount);

  // Gives back the pool units left mostly idle by buckets that became arrays
  // (exclusive; inserts call it when a quarter of the chunks wait unused).
  void CompactChunks();

  // "Buckets count =" ... "Memory in use =" lines.
  std::string StatisticsText() const;
  // Bytes held by the register: bucket tables, pool units (chunks and array
  // headers) and the records of the overflow arrays.
  uint64_t MemoryBytes() const;

  // Visits every record, the exact part (section key 0) first, then each
  // sub-register in ascending key order, each bucket under its lock. The
  // visitor returns false to stop (ForEachRecord then returns false). It must
  // not call into the register.
  using TRecordVisitor = std::function<bool(uint64_t sectionKey, const TRegisterRecord& record)>;
  bool ForEachRecord(const TRecordVisitor& visit) const;
  // The same for one part; true when the part does not exist.
  bool ForEachRecordOf(uint64_t sectionKey, const TRecordVisitor& visit) const;

  // Holding the exclusive side makes a series of operations one step (the
  // holder may call any of them). Never insert while holding the shared side:
  // a clean-up due at that moment would wait for the caller itself.
  TRegisterGate& Gate() const { return gate_; }

 private:
  using TSub = TTemporaryChessboardRegister<1>;

  // Runs the clean-up when the limit is reached; false when there is still no room.
  bool MakeRoom();
  void NoteStored(TRegisterCombinedMap::TUpsert r, uint16_t n);
  bool ShortRejected(uint16_t n) const { return n == 0 || (n < 4 && !StoreShortResults()); }
  TSub* FindSub(uint64_t key) const;

  mutable TRegisterGate gate_;
  TChunkPool pool_;  // declared before the parts: they hand their chunks back on destruction
  uint32_t bucketCount_;
  std::unique_ptr<TTemporaryChessboardRegister<0>> exact_;
  std::map<uint64_t, std::unique_ptr<TSub>> subs_;  // changed only on the exclusive side
  std::atomic<uint32_t> total_{0};
  std::mutex companionLock_;
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> companion_;
  std::atomic<uint32_t> limit_;
  std::atomic<bool> storeShort_{false};
  std::atomic<uint16_t> maxPlies_{0};
  // The exact part's table for Prefetch, which reads it without the gate
  // (prefetching a stale address after a Reset is harmless).
  std::atomic<const void*> prefetchTable_{nullptr};
  std::atomic<uint32_t> prefetchMask_{0};
};

// Element limit for a memory budget in MB: what the budget holds after the
// bucket table, at the worst bytes per record of a filled register.
uint32_t TempRegElementLimit(uint64_t budgetMB, uint32_t bucketCount);
// The same for the temporary register limit of the settings
// (MaxMemRatioForTempReg per cent of physical memory).
uint32_t TempRegElementLimitFromSettings(uint32_t bucketCount);

// Bucket count for a problem: 16,384 normally or when forced small;
// 524,288 from a size figure of 15 (plies of the root bound); 4,194,304 from
// 23 when the register may use more than 8,192 MB.
uint32_t ChooseRegisterBucketCount(uint32_t sizeFigure, uint64_t tempRegLimitMB, bool forceSmall);

}  // namespace ostravel
