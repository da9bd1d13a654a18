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

  bool Open(const std::string& path);
  bool IsOpen() const { return file_ != nullptr; }
  void Close();

  // A node's move: plies played since the root (1 = the root's White move).
  void Move(int pliesPlayed, const TMove& m, uint8_t pieceCode);
  // A node's result.
  void Result(int pliesPlayed, uint8_t code);
  void NextLevel();
  void Line(const std::string& text);

 private:
  void Indent(int plies);
  std::FILE* file_ = nullptr;
};

}  // namespace ostravel
