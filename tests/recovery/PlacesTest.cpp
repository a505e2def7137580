#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "recovery/Bits.h"
#include "recovery/Places.h"

namespace recovery {
namespace {

using testing::ElementsAre;
using Place = std::pair<int, int>;  // the first bit, and how many

/// The doubtful places of a take of ones, of which some bits have such margins, where a bit more
/// costs so many nats. The take was given back so many bits that the sequence has lost.
std::vector<DoubtfulPlace> placesOf(const std::map<int, float>& margins, float cost, int lost = 0) {
  BitSequence sequence;
  Take take;
  for (int i = 0; i < bitsPerBank; ++i) {
    const double start = 0.0035 * i;
    sequence.bits.push_back({.start = start, .end = start + 0.0035, .value = true});
    take.bits.push_back({start, start + 0.0035, margins.contains(i) ? margins.at(i) : 1000.0F, 1});
  }
  sequence.bits.erase(sequence.bits.begin() + 500, sequence.bits.begin() + 500 + lost);
  BitSequence::Stretch stretch{
      .begin = 100, .end = static_cast<std::size_t>(1000 - lost), .readings = {}, .other = {}};
  stretch.other.assign(3, ReadBit{});
  stretch.readings.resize(2 * farthestSlip + 1);
  stretch.readings[farthestSlip + 1] = {cost, std::vector<ReadBit>(4)};
  sequence.stretches.push_back(stretch);
  describePlaces(take, sequence, std::vector<float>(30 * 8000), 8000.0);
  return take.doubtfulPlaces;
}

TEST(DoubtfulPlaces, AreOfADoubtfulCountWhereAnotherIsLikelyOrWasChosen) {
  const struct {
    float cost;
    int lost;
    bool countIsDoubtful;
    std::size_t nearlyRead;
  } rows[] = {{1.0F, 0, true, 4}, {100.0F, 0, false, 3}, {100.0F, 1, true, 899}};
  for (const auto& [cost, lost, countIsDoubtful, nearlyRead] : rows) {
    const DoubtfulPlace place = placesOf({{100, 1.0F}}, cost, lost).at(0);
    EXPECT_EQ(place.read, std::vector<std::int8_t>(900, 1));
    EXPECT_EQ(place.countIsDoubtful, countIsDoubtful);
    EXPECT_EQ(place.nearlyRead.size(), nearlyRead);
    EXPECT_NEAR(place.wave.start, 100.5 * 0.0035 - 0.015, 0.001);
    EXPECT_EQ(place.wave.samples.size(), 240U);
  }
}

TEST(DoubtfulPlaces, AreTheWorstTwenty) {
  std::map<int, float> margins = {{50, 0.0F}, {300, 2.0F}, {304, 1.0F}, {309, 3.0F}};
  for (int i = 0; i < 61; ++i) {
    margins[400 + i] = 1.0F;
  }
  for (int i = 0; i < 30; ++i) {
    margins[600 + 10 * i] = 10.0F - 0.1F * static_cast<float>(i);
  }
  const std::vector<DoubtfulPlace> places = placesOf(margins, 1.0F);
  std::vector<Place> spans;
  for (const DoubtfulPlace& place : places) {
    spans.emplace_back(place.firstBit, place.bitCount);
  }
  spans.resize(6);
  EXPECT_EQ(places.size(), 20U);
  EXPECT_THAT(spans, ElementsAre(Place{300, 5}, Place{309, 1}, Place{400, 60}, Place{460, 1},
                                 Place{740, 1}, Place{750, 1}));
  EXPECT_EQ(places[0].margin, 1.0F);
}

}  // namespace
}  // namespace recovery
