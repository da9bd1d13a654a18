#pragma once
// The register of the search for Black's best defence: one result per
// position, which never changes once stored. Positions reached after a White
// move (Insert) and positions reached after a Black defence (InsertDefence)
// are kept apart, since the board alone does not tell who is to move.
#include <cstdint>
#include <type_traits>

#include "registers/chunk_pool.h"
#include "registers/combined_map.h"
#include "registers/register_gate.h"
#include "registers/register_record.h"

namespace ostravel {

template <typename T>
class TChessboardRegister {
  static_assert(std::is_integral_v<T> && sizeof(T) <= 2, "the value is kept in a 16-bit count");

 public:
  explicit TChessboardRegister(uint32_t bucketCount = kSmallRegisterBuckets);

  // The stored value, or 0xFE when the position is absent.
  uint8_t LookUp(const uint8_t* board, uint32_t hash) const { return Get(positions_, board, hash); }
  uint8_t LookUpDefence(const uint8_t* board, uint32_t hash) const { return Get(defences_, board, hash); }

  // Stores the value of an absent position; a position already stored with
  // another value throws ChessException "Incoherent information in
  // TChessboardRegister::Insert()" (the same value again is accepted).
  void Insert(const uint8_t* board, uint32_t hash, T value) { Put(positions_, board, hash, value); }
  void InsertDefence(const uint8_t* board, uint32_t hash, T value) { Put(defences_, board, hash, value); }

  uint32_t ElementCount() const { return positions_.ElementCount() + defences_.ElementCount(); }
  void Clear();
  uint64_t MemoryBytes() const;

 private:
  uint8_t Get(const TRegisterCombinedMap& map, const uint8_t* board, uint32_t hash) const;
  void Put(TRegisterCombinedMap& map, const uint8_t* board, uint32_t hash, T value);

  mutable TRegisterGate gate_;
  TChunkPool pool_;
  TRegisterCombinedMap positions_;
  TRegisterCombinedMap defences_;
};

extern template class TChessboardRegister<bool>;

}  // namespace ostravel
