#include "precalc/combination_mapping.h"

namespace ostravel {

template class CMappingCombinationIndexIntoSet<64, 2, unsigned char, 0>;
template class CMappingCombinationIndexIntoSet<64, 3, unsigned char, 0>;
template class CMappingCombinationIndexIntoSet<64, 4, unsigned char, 0>;
template class CMappingCombinationIndexIntoSet<64, 5, unsigned char, 0>;
template class CMappingCombinationIndexIntoSet<48, 2, unsigned char, 8>;
template class CMappingCombinationIndexIntoSet<48, 3, unsigned char, 8>;
template class CMappingCombinationIndexIntoSet<48, 4, unsigned char, 8>;
template class CMappingCombinationIndexIntoSet<48, 5, unsigned char, 8>;

const CMappingCombinationIndexIntoSetBase* CombinationMapping(unsigned k, bool pawns) {
  switch (k) {
    case 2:
      return pawns
                 ? static_cast<const CMappingCombinationIndexIntoSetBase*>(&CPawnCombinations<2>::Instance())
                 : &CPieceCombinations<2>::Instance();
    case 3:
      return pawns
                 ? static_cast<const CMappingCombinationIndexIntoSetBase*>(&CPawnCombinations<3>::Instance())
                 : &CPieceCombinations<3>::Instance();
    case 4:
      return pawns
                 ? static_cast<const CMappingCombinationIndexIntoSetBase*>(&CPawnCombinations<4>::Instance())
                 : &CPieceCombinations<4>::Instance();
    case 5:
      return pawns
                 ? static_cast<const CMappingCombinationIndexIntoSetBase*>(&CPawnCombinations<5>::Instance())
                 : &CPieceCombinations<5>::Instance();
    default:
      return nullptr;
  }
}

}  // namespace ostravel
