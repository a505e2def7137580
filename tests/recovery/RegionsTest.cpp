#include <gtest/gtest.h>

#include "recovery/Regions.h"

namespace recovery {
namespace {

TEST(RegionFinder, CutsLongTonesIntoPiecesThatShareMoreThanADump) {
  RegionFinder finder(0.05);
  BlockRange before;
  int pieces = 0;
  for (int i = 0; i < 600 * 20; ++i) {
    if (const auto piece = finder.add(true)) {
      EXPECT_TRUE(pieces == 0 || before.end - piece->begin > 33 * 20);
      before = *piece;
      ++pieces;
    }
  }
  EXPECT_GT(pieces, 2);
}

}  // namespace
}  // namespace recovery
