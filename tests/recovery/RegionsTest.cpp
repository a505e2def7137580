#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "recovery/Regions.h"

namespace recovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Region = std::pair<std::size_t, std::size_t>;

/// The regions of blocks of 0.05 s, so many in turn without and with tones.
std::vector<Region> regionsOf(const std::vector<int>& counts) {
  RegionFinder finder(0.05);
  std::vector<Region> regions;
  const auto append = [&regions](const std::optional<BlockRange>& region) {
    if (region) {
      regions.emplace_back(region->begin, region->end);
    }
  };
  bool hasTones = false;
  for (const int count : counts) {
    for (int i = 0; i < count; ++i) {
      append(finder.add(hasTones));
    }
    hasTones = !hasTones;
  }
  append(finder.finish());
  return regions;
}

TEST(RegionFinder, FindsRegionsOfTones) {
  // Six of twelve blocks open a region, which begins thirty before; fewer than three end it.
  EXPECT_THAT(regionsOf({100, 100, 100}), ElementsAre(Region{76, 210}));
  EXPECT_THAT(regionsOf({100, 13, 100}), IsEmpty());
  EXPECT_THAT(regionsOf({100, 14, 100}), ElementsAre(Region{76, 124}));
  EXPECT_THAT(regionsOf({100, 100, 9, 100, 100}), ElementsAre(Region{76, 319}));
  EXPECT_THAT(regionsOf({100, 100, 12, 100}), ElementsAre(Region{76, 210}, Region{210, 312}));
  // Pieces of 150 s share 40 s, more than a dump.
  EXPECT_THAT(regionsOf({0, 5000, 100}), ElementsAre(Region{0, 3000}, Region{2200, 5010}));
}

}  // namespace
}  // namespace recovery
