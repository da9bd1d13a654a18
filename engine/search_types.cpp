#include "engine/search_types.h"

namespace ostravel {

int SolutionLimit(SolutionMode m) {
  switch (m) {
    case SolutionMode::kSingle:
      return 1;
    case SolutionMode::kAtMost2:
      return 2;
    case SolutionMode::kAtMost3:
      return 3;
    case SolutionMode::kAtMost4:
      return 4;
    default:
      return 0;
  }
}

}  // namespace ostravel
