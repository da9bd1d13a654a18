#pragma once
// The search log of LogMoves: every node's move and result, indented by ply.
// Slow by nature; written under one process-wide lock.
#include <cstdint>
#include <cstdio>
#include <string>

#include "chess/board.h"

namespace ostravel {

class TSearchLog {
 public:
  TSearchLog() = default;
  ~TSearchLog();
  TSearchLog(const TSearchLog&) = delete;
  TSearchLog& operator=(const TSearchLog&) = delete;

  // Opens the run's log; `truncate` at the run's first search, appending for
  // the searches of its later passes.
  bool Open(const std::string& path, bool truncate = true);
  bool IsOpen() const { return file_ != nullptr; }
  void Close();

  // A node's move: plies played since the root (1 = the root's White move).
  void Move(int pliesPlayed, const TMove& m, uint8_t pieceCode);
  // A node's result; `registerPlies` >= 0 when the temporary register gave
  // it (the bound stored there).
  void Result(int pliesPlayed, uint8_t code, int registerPlies = -1);
  void NextLevel();
  void Line(const std::string& text);
  void Flush();

 private:
  void Indent(int plies);
  std::FILE* file_ = nullptr;
};

}  // namespace ostravel
