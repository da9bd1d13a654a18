// The pieces under the temporary register: the defence register, the gate
// and the chunk pool.
#include <gtest/gtest.h>

#include <string>

#include "registers/chessboard_register.h"
#include "registers/chunk_pool.h"
#include "registers/register_gate.h"
#include "registers/register_test_util.h"

namespace ostravel {
namespace {

using test::HashOf;
using test::MakeBoard;

TEST(DefenceRegister, StoresOnceAndRefusesAContradiction) {
  TChessboardRegister<bool> reg;
  const auto b = MakeBoard(1);
  EXPECT_EQ(reg.LookUp(b.data(), HashOf(b)), 0xFE);
  reg.Insert(b.data(), HashOf(b), true);
  EXPECT_EQ(reg.LookUp(b.data(), HashOf(b)), 1);
  EXPECT_NO_THROW(reg.Insert(b.data(), HashOf(b), true));  // the same again is coherent
  try {
    reg.Insert(b.data(), HashOf(b), false);
    FAIL() << "no exception";
  } catch (const ChessException& e) {
    EXPECT_STREQ(e.what(), "Incoherent information in TChessboardRegister::Insert()");
  }
  EXPECT_EQ(reg.LookUp(b.data(), HashOf(b)), 1);  // the stored value stays
  EXPECT_EQ(reg.ElementCount(), 1u);
}

TEST(DefenceRegister, DefencesAreKeptApartFromWhiteMoves) {
  TChessboardRegister<bool> reg;
  const auto b = MakeBoard(2);
  reg.Insert(b.data(), HashOf(b), false);
  EXPECT_EQ(reg.LookUpDefence(b.data(), HashOf(b)), 0xFE);
  EXPECT_NO_THROW(reg.InsertDefence(b.data(), HashOf(b), true));
  EXPECT_EQ(reg.LookUpDefence(b.data(), HashOf(b)), 1);
  EXPECT_EQ(reg.LookUp(b.data(), HashOf(b)), 0);
  EXPECT_THROW(reg.InsertDefence(b.data(), HashOf(b), false), ChessException);
  EXPECT_EQ(reg.ElementCount(), 2u);
  EXPECT_GT(reg.MemoryBytes(), 0u);
  reg.Clear();
  EXPECT_EQ(reg.ElementCount(), 0u);
  EXPECT_EQ(reg.LookUp(b.data(), HashOf(b)), 0xFE);
}

TEST(Gate, TheExclusiveHolderMayEnterAgain) {
  TRegisterGate gate;
  EXPECT_FALSE(gate.HeldExclusivelyByMe());
  gate.EnterExclusive();
  EXPECT_TRUE(gate.HeldExclusivelyByMe());
  gate.EnterShared();  // would wait forever without the owner's re-entry
  EXPECT_EQ(gate.Readers(), 1u);
  gate.EnterExclusive();
  gate.LeaveExclusive();
  EXPECT_TRUE(gate.HeldExclusivelyByMe());
  gate.LeaveShared();
  gate.LeaveExclusive();
  EXPECT_FALSE(gate.HeldExclusivelyByMe());
  EXPECT_EQ(gate.Readers(), 0u);
  // Readers enter freely once the writer has gone.
  gate.EnterShared();
  gate.EnterShared();
  EXPECT_EQ(gate.Readers(), 2u);
  gate.LeaveShared();
  gate.LeaveShared();
}

TEST(ChunkPool, FreedChunksAreReusedBeforeNewOnes) {
  TChunkPool pool;
  EXPECT_EQ(pool.Bytes(), 0u);
  TRegisterChunk* a = pool.Allocate();
  TRegisterChunk* b = pool.Allocate();
  EXPECT_NE(a, b);
  EXPECT_EQ(a->count, 0u);
  a->count = 5;
  pool.Release(a);
  TChunkPool::TStatistics st = pool.Statistics();
  EXPECT_EQ(st.chunksInUse, 1u);
  EXPECT_EQ(st.freeChunks, 1u);
  EXPECT_EQ(st.units, 1u);
  EXPECT_EQ(st.freeUnits, 0u);
  TRegisterChunk* c = pool.Allocate();
  EXPECT_EQ(c, a);
  EXPECT_EQ(c->count, 0u);
  pool.Release(b);
  pool.Release(c);
  st = pool.Statistics();
  EXPECT_EQ(st.freeUnits, 1u);
  pool.ReleaseAllUnits();
  EXPECT_EQ(pool.Bytes(), 0u);
}

}  // namespace
}  // namespace ostravel
