// The temporary register: count corrections, look-up codes, sub-registers,
// clean-up order, sizing and the statistics texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "registers/register_test_util.h"
#include "registers/temporary_register.h"

namespace ostravel {
namespace {

using test::HashOf;
using test::MakeBoard;
using test::TBoardBytes;

struct TCounts {
  bool found;
  uint16_t first, second;
};

TCounts ProbeExact(TAggregatedTemporaryChessboardRegister& reg, const TBoardBytes& b) {
  TCounts c{false, 0xAAAA, 0xAAAA};
  c.found = reg.Probe(b.data(), HashOf(b), c.first, c.second);
  return c;
}

TCounts ProbeSub(TAggregatedTemporaryChessboardRegister& reg, uint64_t key, const TBoardBytes& b) {
  TCounts c{false, 0xAAAA, 0xAAAA};
  c.found = reg.ProbeSub(key, b.data(), HashOf(b), c.first, c.second);
  return c;
}

class ExactPart : public ::testing::Test {
 protected:
  void Insert(const TBoardBytes& b, uint16_t n, bool mate) { reg.Insert(n, b.data(), HashOf(b), mate); }
  TCounts Counts(const TBoardBytes& b) { return ProbeExact(reg, b); }

  TAggregatedTemporaryChessboardRegister reg{kSmallRegisterBuckets, 0};
  const TBoardBytes pos = MakeBoard(1);
};

TEST_F(ExactPart, TheRightsCompanionIsSharedAndClearedWithTheRegister) {
  // Every search on one register must find what another proved with rights.
  auto a = reg.RightsCompanion(16384, 0);
  auto b = reg.RightsCompanion(65536, 10);
  ASSERT_EQ(a, b);
  a->Insert(5, pos.data(), HashOf(pos), true);
  EXPECT_TRUE(ProbeExact(*b, pos).found);
  EXPECT_FALSE(Counts(pos).found);  // the register itself never sees it
  reg.Clear();
  EXPECT_FALSE(ProbeExact(*a, pos).found);
}

TEST_F(ExactPart, ShorterMateWinsAndNoMateIsCorrectedBelowIt) {
  reg.SetStoreShortResults(true);
  Insert(pos, 5, true);
  Insert(pos, 3, true);
  EXPECT_EQ(Counts(pos).first, 3);
  Insert(pos, 5, false);  // contradicts the mate in 3: cut to 3 - 2
  const TCounts c = Counts(pos);
  EXPECT_EQ(c.first, 3);
  EXPECT_EQ(c.second, 1);
  EXPECT_EQ(reg.ElementCount(), 1u);
}

TEST_F(ExactPart, MateInOnePlyClearsTheNoMateCount) {
  reg.SetStoreShortResults(true);
  Insert(pos, 7, false);
  Insert(pos, 1, true);
  const TCounts c = Counts(pos);
  EXPECT_EQ(c.first, 1);
  EXPECT_EQ(c.second, 0);
}

TEST_F(ExactPart, CountsOnlyImprove) {
  Insert(pos, 7, true);
  Insert(pos, 9, true);  // a longer mate tells nothing new
  Insert(pos, 5, false);
  Insert(pos, 4, false);  // a shorter no-mate neither
  TCounts c = Counts(pos);
  EXPECT_EQ(c.first, 7);
  EXPECT_EQ(c.second, 5);
  // A new mate below the no-mate count keeps the invariant first > second.
  const TBoardBytes other = MakeBoard(2);
  Insert(other, 11, false);
  Insert(other, 9, true);
  c = Counts(other);
  EXPECT_EQ(c.first, 9);
  EXPECT_EQ(c.second, 7);
}

TEST_F(ExactPart, ShortResultsAreStoredOnlyWhenAllowed) {
  Insert(pos, 1, true);
  Insert(pos, 3, false);
  Insert(pos, 0, true);
  EXPECT_FALSE(Counts(pos).found);
  EXPECT_EQ(reg.ElementCount(), 0u);
  reg.InsertSub(7, 3, pos.data(), HashOf(pos), true);
  EXPECT_EQ(reg.ElementCount(), 0u);
  EXPECT_EQ(reg.MaxPlies(), 0);

  Insert(pos, 5, true);
  EXPECT_TRUE(Counts(pos).found);
  reg.SetStoreShortResults(true);
  Insert(pos, 3, true);
  EXPECT_EQ(Counts(pos).first, 3);
  Insert(pos, 0, false);  // a count of 0 is "nothing known"
  EXPECT_EQ(Counts(pos).second, 0);
}

TEST_F(ExactPart, LookUpCodesFollowTheirOrder) {
  reg.SetStoreShortResults(true);
  Insert(pos, 7, true);
  Insert(pos, 3, false);  // (7, 3)
  const uint32_t h = HashOf(pos);
  EXPECT_EQ(reg.LookUp(1, 1, pos.data(), h), kRegNoMate);
  EXPECT_EQ(reg.LookUp(3, 9, pos.data(), h), kRegNoMate);
  EXPECT_EQ(reg.LookUp(7, 9, pos.data(), h), kRegMate);
  EXPECT_EQ(reg.LookUp(9, 1, pos.data(), h), kRegMate);
  EXPECT_EQ(reg.LookUp(5, 5, pos.data(), h), kRegLongerMate);
  EXPECT_EQ(reg.LookUp(5, 3, pos.data(), h), kRegLongerMate);
  EXPECT_EQ(reg.LookUp(5, 7, pos.data(), h), kRegUnknown);  // n below the mate, m above n
  const TBoardBytes absent = MakeBoard(99);
  EXPECT_EQ(reg.LookUp(5, 5, absent.data(), HashOf(absent)), kRegUnknown);
  uint16_t m = 77, nm = 88;
  EXPECT_FALSE(reg.Probe(absent.data(), HashOf(absent), m, nm));
  EXPECT_EQ(m + nm, 77 + 88);  // untouched

  EXPECT_EQ(reg.LookUpNoMate(3, pos.data(), h), kRegNoMate);
  EXPECT_EQ(reg.LookUpNoMate(5, pos.data(), h), kRegUnknown);
  EXPECT_EQ(reg.LookUpNoMate(1, absent.data(), HashOf(absent)), kRegUnknown);

  // A mate-only record answers nothing below its mate unless m allows it.
  const TBoardBytes mateOnly = MakeBoard(3);
  Insert(mateOnly, 9, true);
  EXPECT_EQ(reg.LookUp(7, 9, mateOnly.data(), HashOf(mateOnly)), kRegUnknown);
  EXPECT_EQ(reg.LookUpNoMate(1, mateOnly.data(), HashOf(mateOnly)), kRegUnknown);
}

static_assert(RegisterAnswer(0, 0, 5, 5) == kRegUnknown);
static_assert(RegisterAnswer(5, 3, 3, 0) == kRegNoMate);  // the no-mate test comes first
static_assert(RegisterAnswer(5, 0, 5, 0) == kRegMate);

TEST_F(ExactPart, MaxPliesFollowsEveryPartAndClearResetsIt) {
  Insert(pos, 9, false);
  Insert(MakeBoard(2), 5, true);
  EXPECT_EQ(reg.MaxPlies(), 9);
  reg.InsertSub(SubRegisterKey(4, 1), 13, pos.data(), HashOf(pos), false);
  EXPECT_EQ(reg.MaxPlies(), 13);
  reg.Clear();
  EXPECT_EQ(reg.MaxPlies(), 0);
  EXPECT_EQ(reg.ElementCount(), 0u);
  EXPECT_FALSE(Counts(pos).found);
  EXPECT_TRUE(reg.SubRegisterKeys().empty());
}

// ---------------------------------------------------------------- sub-registers

TEST(SubRegister, CountsAreRaisedIndependently) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  const TBoardBytes b = MakeBoard(5);
  const uint64_t key = SubRegisterKey(0x40000000u, 3);
  reg.InsertSub(key, 5, b.data(), HashOf(b), true);
  reg.InsertSub(key, 9, b.data(), HashOf(b), false);
  reg.InsertSub(key, 7, b.data(), HashOf(b), true);
  reg.InsertSub(key, 5, b.data(), HashOf(b), false);  // lower: ignored
  const TCounts c = ProbeSub(reg, key, b);
  ASSERT_TRUE(c.found);
  EXPECT_EQ(c.first, 7);  // no correction between the two counts
  EXPECT_EQ(c.second, 9);
  EXPECT_FALSE(ProbeExact(reg, b).found);
  EXPECT_EQ(reg.PartElementCount(key), 1u);
  EXPECT_EQ(reg.PartElementCount(0), 0u);
  EXPECT_EQ(reg.ElementCount(), 1u);
}

TEST(SubRegister, LookUpTellsMissingSubRegisterAndPosition) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  const TBoardBytes b = MakeBoard(5), other = MakeBoard(6);
  EXPECT_EQ(reg.LookUpSub(9, 5, 5, b.data(), HashOf(b)), kRegNoSubRegister);
  reg.InsertSub(9, 7, b.data(), HashOf(b), false);
  EXPECT_EQ(reg.LookUpSub(9, 5, 5, other.data(), HashOf(other)), kRegNoSubRegister);
  EXPECT_EQ(reg.LookUpSub(9, 5, 5, b.data(), HashOf(b)), kRegNoMate);
  EXPECT_EQ(reg.LookUpSub(10, 5, 5, b.data(), HashOf(b)), kRegNoSubRegister);
  // The exact part does not see it.
  EXPECT_EQ(reg.LookUp(5, 5, b.data(), HashOf(b)), kRegUnknown);
}

TEST(SubRegister, KeyZeroIsTheExactPart) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  const TBoardBytes b = MakeBoard(5);
  uint16_t x, y;
  EXPECT_THROW(reg.InsertSub(0, 5, b.data(), HashOf(b), true), std::invalid_argument);
  EXPECT_THROW(reg.ProbeSub(0, b.data(), HashOf(b), x, y), std::invalid_argument);
}

TEST(SubRegister, KeysAscendAndRecordsAreVisitedPartByPart) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  const uint64_t keys[] = {SubRegisterKey(8, 2), SubRegisterKey(1, 0), SubRegisterKey(8, 1)};
  for (uint32_t i = 0; i < 3; ++i) {
    const TBoardBytes b = MakeBoard(100 + i);
    reg.InsertSub(keys[i], 5, b.data(), HashOf(b), true);
    reg.InsertSub(keys[i], 7, MakeBoard(200 + i).data(), HashOf(MakeBoard(200 + i)), false);
  }
  for (uint32_t i = 0; i < 4; ++i) reg.Insert(9, MakeBoard(i).data(), HashOf(MakeBoard(i)), true);
  EXPECT_EQ(reg.SubRegisterKeys(), (std::vector<uint64_t>{keys[1], keys[2], keys[0]}));

  std::vector<uint64_t> sections;
  size_t records = 0;
  EXPECT_TRUE(reg.ForEachRecord([&](uint64_t key, const TRegisterRecord&) {
    if (sections.empty() || sections.back() != key) sections.push_back(key);
    ++records;
    return true;
  }));
  EXPECT_EQ(sections, (std::vector<uint64_t>{0, keys[1], keys[2], keys[0]}));
  EXPECT_EQ(records, 10u);

  size_t seen = 0;
  EXPECT_FALSE(reg.ForEachRecord([&](uint64_t, const TRegisterRecord&) { return ++seen < 5; }));
  EXPECT_EQ(seen, 5u);

  size_t inPart = 0;
  EXPECT_TRUE(reg.ForEachRecordOf(keys[2], [&](uint64_t key, const TRegisterRecord& r) {
    EXPECT_EQ(key, keys[2]);
    EXPECT_TRUE(r.nMovesMate == 5 || r.nMovesNoMate == 7);
    ++inPart;
    return true;
  }));
  EXPECT_EQ(inPart, 2u);
  EXPECT_TRUE(reg.ForEachRecordOf(12345, [](uint64_t, const TRegisterRecord&) { return false; }));
}

// ---------------------------------------------------------------- crowded buckets

TEST(CrowdedBucket, NinthPositionTurnsTheChunkIntoASortedArray) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  constexpr uint32_t kSameHash = 12345;
  // Arrival order unrelated to board order, so the array must sort.
  const uint32_t ids[] = {900, 17, 450, 3, 77, 612, 250, 999, 1};
  for (uint32_t k = 0; k < 9; ++k) {
    reg.Insert(static_cast<uint16_t>(5 + 2 * k), MakeBoard(ids[k]).data(), kSameHash, k % 2 == 0);
    EXPECT_EQ(reg.ElementCount(), k + 1);
  }
  for (uint32_t k = 0; k < 9; ++k) {
    uint16_t m = 0, nm = 0;
    ASSERT_TRUE(reg.Probe(MakeBoard(ids[k]).data(), kSameHash, m, nm)) << k;
    EXPECT_EQ(k % 2 == 0 ? m : nm, 5 + 2 * k) << k;
  }
  uint16_t m, nm;
  EXPECT_FALSE(reg.Probe(MakeBoard(500).data(), kSameHash, m, nm));

  std::vector<TBoardBytes> order;
  reg.ForEachRecord([&](uint64_t, const TRegisterRecord& r) {
    TBoardBytes b;
    std::memcpy(b.data(), r.board, 64);
    order.push_back(b);
    return true;
  });
  ASSERT_EQ(order.size(), 9u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));  // byte-string order

  // Updates after the conversion reach the right record.
  reg.Insert(3 + 0, MakeBoard(ids[0]).data(), kSameHash, true);  // below 4 plies: off
  reg.Insert(21, MakeBoard(ids[3]).data(), kSameHash, false);
  ASSERT_TRUE(reg.Probe(MakeBoard(ids[3]).data(), kSameHash, m, nm));
  EXPECT_EQ(nm, 21);
  EXPECT_EQ(reg.ElementCount(), 9u);
}

TEST(CrowdedBucket, HundredsInOneBucketStayFindable) {
  TAggregatedTemporaryChessboardRegister reg(16, 0);
  std::vector<uint32_t> ids(600);
  for (uint32_t i = 0; i < ids.size(); ++i) ids[i] = (i * 7919u) % 10007u;
  for (uint32_t id : ids) reg.Insert(7, MakeBoard(id).data(), 3, true);  // all in bucket 3
  EXPECT_EQ(reg.ElementCount(), ids.size());
  for (uint32_t id : ids) EXPECT_EQ(reg.LookUp(7, 7, MakeBoard(id).data(), 3), kRegMate) << id;
  for (uint32_t id = 10007; id < 10050; ++id)
    EXPECT_EQ(reg.LookUp(7, 7, MakeBoard(id).data(), 3), kRegUnknown);
}

TEST(CrowdedBucket, ChunksMoveOutOfUnitsThatAreGivenBack) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  constexpr uint32_t kBuckets = 12000;
  // Every bucket gets a chunk; then all but every tenth turn into arrays, so
  // the chunks left are spread over all units and must move to let units go.
  for (uint32_t b = 0; b < kBuckets; ++b)
    for (uint32_t k = 0; k < 8; ++k) reg.Insert(5, MakeBoard(b * 16 + k).data(), b, true);
  for (uint32_t b = 0; b < kBuckets; ++b)
    if (b % 10 != 0) reg.Insert(9, MakeBoard(b * 16 + 8).data(), b, true);
  const std::string stats = reg.StatisticsText();
  EXPECT_NE(stats.find("Number of allocated chunks = 1200\n"), std::string::npos) << stats;
  // Four units at first; evacuation stops once fewer than two units' worth
  // of chunks wait unused.
  EXPECT_NE(stats.find("Total allocation units      = 2\n"), std::string::npos) << stats;
  for (uint32_t b = 0; b < kBuckets; ++b)
    for (uint32_t k = 0; k < (b % 10 != 0 ? 9u : 8u); ++k)
      ASSERT_EQ(reg.LookUp(9, 9, MakeBoard(b * 16 + k).data(), b), kRegMate) << b << " " << k;
}

// ---------------------------------------------------------------- clean-up

class CleanUp : public ::testing::Test {
 protected:
  void Exact(uint32_t first, uint32_t count, uint16_t n, bool mate = true) {
    for (uint32_t i = first; i < first + count; ++i)
      reg.Insert(n, MakeBoard(i).data(), HashOf(MakeBoard(i)), mate);
  }
  void Sub(uint64_t key, uint32_t first, uint32_t count, uint16_t n) {
    for (uint32_t i = first; i < first + count; ++i)
      reg.InsertSub(key, n, MakeBoard(i).data(), HashOf(MakeBoard(i)), true);
  }
  uint32_t ExactFound(uint32_t first, uint32_t count) {
    uint32_t found = 0;
    for (uint32_t i = first; i < first + count; ++i) found += ProbeExact(reg, MakeBoard(i)).found;
    return found;
  }
  uint32_t SubFound(uint64_t key, uint32_t first, uint32_t count) {
    uint32_t found = 0;
    for (uint32_t i = first; i < first + count; ++i) found += ProbeSub(reg, key, MakeBoard(i)).found;
    return found;
  }
  uint32_t Visited() {
    uint32_t n = 0;
    reg.ForEachRecord([&](uint64_t, const TRegisterRecord&) { return ++n, true; });
    return n;
  }

  TAggregatedTemporaryChessboardRegister reg{1024, 100};
};

TEST_F(CleanUp, ReachingTheLimitDropsTheShortestResultsFirst) {
  Exact(0, 50, 5);
  Exact(1000, 30, 9, false);
  Exact(2000, 20, 13);
  ASSERT_EQ(reg.ElementCount(), 100u);
  Exact(3000, 1, 15);  // at the limit: room is made down to 75 first
  EXPECT_EQ(reg.ElementCount(), 76u);
  EXPECT_EQ(Visited(), 76u);
  EXPECT_EQ(ExactFound(0, 50), 25u);
  EXPECT_EQ(ExactFound(1000, 30), 30u);
  EXPECT_EQ(ExactFound(2000, 20), 20u);
  EXPECT_EQ(ExactFound(3000, 1), 1u);
  EXPECT_NE(reg.StatisticsText().find("Max. elements count = 100\n"), std::string::npos);
}

TEST_F(CleanUp, AtEqualLengthDoubtfulEntriesGoFirst) {
  Exact(0, 50, 7);
  Sub(11, 100, 50, 7);
  Exact(500, 1, 7);
  EXPECT_EQ(ExactFound(0, 50), 50u);
  EXPECT_EQ(SubFound(11, 100, 50), 25u);
}

TEST_F(CleanUp, ALongerDoubtfulResultOutlivesAShorterProof) {
  Sub(11, 100, 50, 9);
  Exact(0, 50, 7, false);
  Exact(500, 1, 7);
  EXPECT_EQ(SubFound(11, 100, 50), 50u);
  EXPECT_EQ(ExactFound(0, 50), 25u);
}

TEST_F(CleanUp, EmptiedSubRegistersAreDropped) {
  Sub(11, 100, 20, 5);
  Sub(12, 200, 10, 5);
  Exact(0, 70, 11);
  EXPECT_EQ(reg.SubRegisterKeys().size(), 2u);
  reg.SetElementLimit(0);
  EXPECT_EQ(reg.RemoveNMovers(70), 30u);
  EXPECT_TRUE(reg.SubRegisterKeys().empty());
  EXPECT_EQ(reg.RemoveNMovers(70), 0u);  // nothing to do below the target
  EXPECT_EQ(reg.ElementCount(), 70u);
  EXPECT_EQ(ExactFound(0, 70), 70u);
  // The sub-register comes back on demand.
  Sub(11, 100, 1, 5);
  EXPECT_EQ(reg.PartElementCount(11), 1u);
}

// ---------------------------------------------------------------- whole register

TEST(WholeRegister, ResetChangesTheBucketCountAndEmpties) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  const TBoardBytes b = MakeBoard(1);
  reg.Insert(5, b.data(), HashOf(b), true);
  reg.InsertSub(3, 5, b.data(), HashOf(b), true);
  reg.Reset(kMediumRegisterBuckets);
  EXPECT_EQ(reg.BucketCount(), kMediumRegisterBuckets);
  EXPECT_EQ(reg.ElementCount(), 0u);
  EXPECT_FALSE(ProbeExact(reg, b).found);
  EXPECT_TRUE(reg.SubRegisterKeys().empty());
  reg.Insert(5, b.data(), HashOf(b), true);
  EXPECT_TRUE(ProbeExact(reg, b).found);
  EXPECT_THROW(reg.Reset(1000), std::invalid_argument);
  EXPECT_TRUE(ProbeExact(reg, b).found);
  EXPECT_THROW(TAggregatedTemporaryChessboardRegister(0, 0), std::invalid_argument);
}

TEST(WholeRegister, StatisticsCountEachKindOfRecord) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 1000);
  const TBoardBytes a = MakeBoard(1), b = MakeBoard(2), c = MakeBoard(3);
  reg.Insert(9, a.data(), HashOf(a), true);
  reg.Insert(5, a.data(), HashOf(a), false);
  reg.Insert(7, b.data(), HashOf(b), true);
  reg.InsertSub(5, 7, c.data(), HashOf(c), false);
  const std::string s = reg.StatisticsText();
  for (const char* line :
       {"Buckets count = 16384\n", "Elements count = 3 (", "elems per bucket)\n",
        "Max. elements count = 1000\n", "Mate elements = 2\n", "No mate elements = 1\n",
        "Doubtful elements = 0\n", "Not doubtful elements = 1\n", "Number of allocated chunks = 3\n",
        "Number of unused chunks waiting to deallocate = 0\n", "Total allocation units      = 1\n",
        "Total free allocation units = 0 (usage=2.00 MB)\n", "Memory in use = "})
    EXPECT_NE(s.find(line), std::string::npos) << line << "\n" << s;
}

TEST(WholeRegister, MemoryFollowsTheContents) {
  TAggregatedTemporaryChessboardRegister reg(kSmallRegisterBuckets, 0);
  const uint64_t empty = reg.MemoryBytes();
  EXPECT_GE(empty, uint64_t{kSmallRegisterBuckets} * 8);
  for (uint32_t i = 0; i < 20000; ++i) reg.Insert(5, MakeBoard(i).data(), HashOf(MakeBoard(i)), true);
  const uint64_t full = reg.MemoryBytes();
  EXPECT_GE(full, empty + 20000ull * sizeof(TRegisterRecord));
  // At worst a chunk per record, plus the pool's unit rounding.
  EXPECT_LE(full, empty + 20000ull * sizeof(TRegisterChunk) + TChunkPool::kUnitBytes);
  reg.Clear();
  EXPECT_EQ(reg.MemoryBytes(), empty);  // the pool gives its units back
}

TEST(LoadStatistics, TextShowsMovesNotPlies) {
  TRegisterLoadStatistics st;
  st.totalRecords = 12;
  st.exactMateRecords = 5;
  st.exactNoMateRecords = 4;
  st.subFirstRecords = 2;
  st.subSecondRecords = 1;
  st.NotePlies(0);
  st.NotePlies(15);
  st.NotePlies(5);
  EXPECT_EQ(st.Text(),
            "Total number of positions: 12\n#n range: #3-#8\nTotal number of 'mate' positions: 5\n"
            "Total number of 'no mate' positions: 4\nTotal number of 'mate doubtful' positions: 2\n"
            "Total number of 'mate not doubtful' positions: 1\n");
  EXPECT_NE(TRegisterLoadStatistics().Text().find("#n range: #-\n"), std::string::npos);
}

TEST(Sizing, ElementLimitKeepsTheRegisterInsideItsBudget) {
  // 1 GiB with a medium table: what remains after the table and the worst
  // case of one chunk per bucket holds records at their array cost.
  const uint32_t limit = TempRegElementLimit(1024, kMediumRegisterBuckets);
  EXPECT_GT(limit, 8'000'000u);
  EXPECT_LT(limit, 14'000'000u);
  EXPECT_LT(TempRegElementLimit(512, kMediumRegisterBuckets), limit);
  EXPECT_GE(TempRegElementLimit(1, kLargeRegisterBuckets), 1u);  // never 0, which means no limit
  EXPECT_EQ(TempRegElementLimit(uint64_t{1} << 40, kSmallRegisterBuckets), 0xFFFFFFFEu);
}

TEST(Sizing, BucketCountFollowsTheProblemAndTheMemory) {
  EXPECT_EQ(ChooseRegisterBucketCount(14, 100000, false), kSmallRegisterBuckets);
  EXPECT_EQ(ChooseRegisterBucketCount(15, 100000, false), kMediumRegisterBuckets);
  EXPECT_EQ(ChooseRegisterBucketCount(22, 100000, false), kMediumRegisterBuckets);
  EXPECT_EQ(ChooseRegisterBucketCount(23, 8192, false), kMediumRegisterBuckets);
  EXPECT_EQ(ChooseRegisterBucketCount(23, 8193, false), kLargeRegisterBuckets);
  EXPECT_EQ(ChooseRegisterBucketCount(41, 100000, true), kSmallRegisterBuckets);
}

}  // namespace
}  // namespace ostravel
