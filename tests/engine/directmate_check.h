#pragma once
// Solves rows of the reference table and compares the key sets exactly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "chess/fen.h"
#include "chess/notation.h"
#include "engine/mate_search.h"
#include "problems/reference_table.h"
#include "support/test_support.h"

namespace ostravel {
// Test names show the problem's id rather than its bytes.
inline void PrintTo(const TReferenceProblem& p, std::ostream* os) {
  *os << p.id << " #" << p.moves;
}
}  // namespace ostravel

namespace ostravel::test {

// The root of "#moves" from a FEN, White to move; ctx must outlive it.
inline TChessboard RootOf(const std::string& fen, int moves, TTaskContext& ctx) {
  TChessboard root;
  EXPECT_TRUE(FenToBoard(fen, root, ctx)) << fen;
  ValidateAndRecount(root);
  SetRootPlies(root, static_cast<uint16_t>(2 * moves - 1));
  return root;
}

// The rows whose key sets are proved complete.
inline std::vector<TReferenceProblem> CompleteRows() {
  std::vector<TReferenceProblem> rows;
  for (auto& p : ReadReferenceTable(SharedData("directmates.tsv")))
    if (p.complete) rows.push_back(p);
  return rows;
}

inline std::set<std::string> UciSet(const std::vector<TMove>& moves) {
  std::set<std::string> out;
  for (const TMove& m : moves) out.insert(MoveToUci(m));
  return out;
}

inline std::set<std::string> SolveKeys(const TReferenceProblem& p, int threads = 1) {
  TTaskContext ctx;
  const TChessboard root = RootOf(p.fen, p.moves, ctx);
  TSearchSettings st;
  st.threads = threads;
  st.computeVariations = false;
  TMateSearch search(st);
  search.FindForcedMate(root, p.moves);
  std::set<std::string> keys;
  for (const auto& s : search.Solutions()) keys.insert(MoveToUci(s.key));
  return keys;
}

// A row's id as a test name (letters and digits only).
inline std::string RowTestName(const ::testing::TestParamInfo<TReferenceProblem>& info) {
  std::string name = info.param.id;
  for (char& c : name)
    if (!isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
}

// Every complete row with minMoves <= n <= maxMoves must give exactly its keys.
inline void CheckCompleteRows(int minMoves, int maxMoves, int threads = 1) {
  const auto table = ReadReferenceTable(SharedData("directmates.tsv"));
  int checked = 0;
  for (const auto& p : table) {
    if (!p.complete || p.moves < minMoves || p.moves > maxMoves) continue;
    const std::set<std::string> want(p.keys.begin(), p.keys.end());
    EXPECT_EQ(SolveKeys(p, threads), want) << p.id << " #" << p.moves << " " << p.fen;
    ++checked;
  }
  EXPECT_GT(checked, 0);
}

}  // namespace ostravel::test
