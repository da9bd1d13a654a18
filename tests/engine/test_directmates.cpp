// The bar of the mate search: published problems whose complete key sets are
// known, up to #4, each solved for all keys.
#include "engine/directmate_check.h"

namespace ostravel {
namespace {

TEST(Directmates, TwoMoversGiveExactKeySets) {
  test::CheckCompleteRows(1, 2);
}
TEST(Directmates, ThreeMoversGiveExactKeySets) {
  test::CheckCompleteRows(3, 3);
}
TEST(Directmates, FourMoversGiveExactKeySets) {
  test::CheckCompleteRows(4, 4);
}

}  // namespace
}  // namespace ostravel
