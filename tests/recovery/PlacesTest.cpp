#include <gtest/gtest.h>

#include <vector>

#include "recovery/Places.h"

namespace recovery {
namespace {

TEST(DoubtfulPlaces, AreOfADoubtfulCountWhereAnotherIsLikely) {
  for (const float cost : {1.0F, 100.0F}) {
    BitSequence sequence;
    Take take;
    for (int i = 0; i < bitsPerBank; ++i) {
      const double start = 0.0035 * i;
      const bool isWeak = i >= 100 && i < 103;
      sequence.bits.push_back({.start = start, .end = start + 0.0035, .value = true});
      take.bits.push_back({start, start + 0.0035, isWeak ? 1.0F : 1000.0F, 1});
    }
    BitSequence::Stretch stretch{.begin = 100, .end = 103, .readings = {}, .other = {}};
    stretch.other.assign(3, ReadBit{});
    stretch.readings.resize(2 * farthestSlip + 1);
    stretch.readings[farthestSlip + 1] = {cost, std::vector<ReadBit>(4)};
    sequence.stretches.push_back(stretch);
    describePlaces(take, sequence, std::vector<float>(30 * 8000), 8000.0);
    ASSERT_EQ(take.doubtfulPlaces.size(), 1U);
    const DoubtfulPlace& place = take.doubtfulPlaces[0];
    EXPECT_EQ(place.firstBit, 100);
    EXPECT_EQ(place.bitCount, 3);
    EXPECT_EQ(place.read, (std::vector<std::int8_t>{1, 1, 1}));
    EXPECT_EQ(place.countIsDoubtful, cost < 10.0F);
    EXPECT_EQ(place.nearlyRead.size(), cost < 10.0F ? 4U : 3U);
  }
}

}  // namespace
}  // namespace recovery
