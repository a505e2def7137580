#include "recovery/Places.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "recovery/Bits.h"

namespace recovery {

namespace {

constexpr std::size_t mostPlaces = 20;
constexpr int joinedGap = 3;      // sure bits between doubtful ones that part no places, at most
constexpr int longestPlace = 60;  // bits; what follows a doubtful count is not a place
constexpr double waveSeconds = 0.03;

const BitSequence::Stretch* stretchAt(const BitSequence& sequence, double time) {
  for (const BitSequence::Stretch& stretch : sequence.stretches) {
    if (time >= sequence.bits[stretch.begin].start && time < sequence.bits[stretch.end - 1].end) {
      return &stretch;
    }
  }
  return nullptr;
}

/// The likeliest reading of a stretch with more or fewer bits; null if each is surely worse.
const BitSequence::Stretch::Reading* likelyOtherCount(const BitSequence::Stretch& stretch) {
  const BitSequence::Stretch::Reading* likely = nullptr;
  for (std::size_t i = 0; i < stretch.readings.size(); ++i) {
    const BitSequence::Stretch::Reading& reading = stretch.readings[i];
    if (i != static_cast<std::size_t>(farthestSlip) && !reading.bits.empty() &&
        reading.cost < sureMargin && (likely == nullptr || reading.cost < likely->cost)) {
      likely = &reading;
    }
  }
  return likely;
}

/// The values of the bits recorded that lie within `span`.
template <typename Bit>
std::vector<std::int8_t> valuesOf(const std::vector<Bit>& bits, const Span& span = {-1e9, 1e9}) {
  std::vector<std::int8_t> values;
  for (const Bit& bit : bits) {
    const auto value = static_cast<std::int8_t>(bit.value);
    const double middle = (bit.start + bit.end) / 2.0;
    if (value >= 0 && middle >= span.start && middle < span.end) {
      values.push_back(value);
    }
  }
  return values;
}

/// Fills in what was read in the stretch of a place, and what nearly.
void describeReadings(DoubtfulPlace& place, const Take& take, const BitSequence& sequence,
                      const BitSequence::Stretch& stretch) {
  const std::vector<ReadBit> path(
      sequence.bits.begin() + static_cast<std::ptrdiff_t>(stretch.begin),
      sequence.bits.begin() + static_cast<std::ptrdiff_t>(stretch.end));
  // A stretch may go beyond the data.
  std::vector<std::int8_t> framed = valuesOf(take.bits, {path.front().start, path.back().end});
  std::vector<std::int8_t> cut = valuesOf(path, recordedSpan(take));
  if (framed.size() != cut.size()) {  // bits were given back, or taken
    place.countIsDoubtful = true;
    place.read = std::move(framed);
    place.nearlyRead = std::move(cut);
    return;
  }
  const BitSequence::Stretch::Reading* other = likelyOtherCount(stretch);
  place.countIsDoubtful = other != nullptr;
  place.read = valuesOf(path);
  place.nearlyRead = valuesOf(other != nullptr ? other->bits : stretch.other);
}

WavePiece waveAround(double time, const std::vector<float>& recorded, double sampleRate) {
  const double begin = std::max(0.0, time - waveSeconds / 2.0);
  const auto first = std::min(recorded.size(), static_cast<std::size_t>(begin * sampleRate));
  const auto last =
      std::min(recorded.size(), first + static_cast<std::size_t>(waveSeconds * sampleRate));
  return {static_cast<double>(first) / sampleRate, sampleRate,
          std::vector<float>(recorded.begin() + static_cast<std::ptrdiff_t>(first),
                             recorded.begin() + static_cast<std::ptrdiff_t>(last))};
}

/// The places of bits that are not sure of themselves: what is doubtful only because a bit may be
/// lost or gained elsewhere is no place.
std::vector<DoubtfulPlace> findPlaces(const Take& take, const BitSequence& sequence) {
  std::vector<DoubtfulPlace> places;
  const BitSequence::Stretch* lastStretch = nullptr;
  const int size = static_cast<int>(take.bits.size());
  for (int k = 0; k < size; ++k) {
    const BitReading& bit = take.bits[static_cast<std::size_t>(k)];
    if (bit.value < 0 || isSure(bit)) {
      continue;
    }
    const double middle = (bit.start + bit.end) / 2.0;
    const BitSequence::Stretch* stretch = stretchAt(sequence, middle);
    if (stretch == nullptr) {
      continue;
    }
    DoubtfulPlace* last = places.empty() ? nullptr : &places.back();
    if (last != nullptr && stretch == lastStretch &&
        k - (last->firstBit + last->bitCount) <= joinedGap && k - last->firstBit < longestPlace) {
      last->bitCount = k - last->firstBit + 1;
      last->margin = std::min(last->margin, bit.margin);
      last->span.end = bit.end;
    } else {
      places.push_back(
          {.span = {bit.start, bit.end}, .firstBit = k, .bitCount = 1, .margin = bit.margin});
    }
    lastStretch = stretch;
  }
  return places;
}

}  // namespace

void describePlaces(Take& take, const BitSequence& sequence, const std::vector<float>& recorded,
                    double sampleRate) {
  std::vector<DoubtfulPlace> places = findPlaces(take, sequence);
  std::stable_sort(
      places.begin(), places.end(),
      [](const DoubtfulPlace& a, const DoubtfulPlace& b) { return a.margin < b.margin; });
  places.resize(std::min(places.size(), mostPlaces));
  std::sort(places.begin(), places.end(),
            [](const DoubtfulPlace& a, const DoubtfulPlace& b) { return a.firstBit < b.firstBit; });
  for (DoubtfulPlace& place : places) {
    const double middle = (place.span.start + place.span.end) / 2.0;
    const BitSequence::Stretch* stretch = stretchAt(sequence, middle);
    if (stretch != nullptr) {
      describeReadings(place, take, sequence, *stretch);
    }
    place.wave = waveAround(middle, recorded, sampleRate);
  }
  take.doubtfulPlaces = std::move(places);
}

}  // namespace recovery
