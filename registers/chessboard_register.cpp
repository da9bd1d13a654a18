#include "registers/chessboard_register.h"

#include "chess/board.h"

namespace ostravel {

template <typename T>
TChessboardRegister<T>::TChessboardRegister(uint32_t bucketCount)
    : positions_(bucketCount, pool_), defences_(bucketCount, pool_) {}

template <typename T>
uint8_t TChessboardRegister<T>::Get(const TRegisterCombinedMap& map, const uint8_t* board,
                                    uint32_t hash) const {
  uint16_t value, unused;
  TSharedGateGuard g(gate_);
  return map.Find(board, hash, value, unused) ? static_cast<uint8_t>(value) : 0xFE;
}

template <typename T>
void TChessboardRegister<T>::Put(TRegisterCombinedMap& map, const uint8_t* board, uint32_t hash, T value) {
  const auto stored = static_cast<uint16_t>(value);
  bool incoherent = false;
  {
    TSharedGateGuard g(gate_);
    // Look-up and store under one bucket lock, so two threads storing the
    // same position cannot both find it absent.
    map.Upsert(board, hash, true, [&](TRegisterRecord& r, bool isNew) {
      if (isNew)
        r.nMovesMate = stored;
      else
        incoherent = r.nMovesMate != stored;
    });
  }
  if (incoherent) throw ChessException("Incoherent information in TChessboardRegister::Insert()");
}

template <typename T>
void TChessboardRegister<T>::Clear() {
  TExclusiveGateGuard x(gate_);
  positions_.Clear();
  defences_.Clear();
  pool_.ReleaseAllUnits();
}

template <typename T>
uint64_t TChessboardRegister<T>::MemoryBytes() const {
  TSharedGateGuard g(gate_);
  return sizeof(*this) + pool_.Bytes() + positions_.TableBytes() + positions_.ArrayBytes() +
         defences_.TableBytes() + defences_.ArrayBytes();
}

template class TChessboardRegister<bool>;

}  // namespace ostravel
