#include "recovery/BitCount.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace recovery {

namespace {

constexpr float countTrust = 0.25F;  // lengths stray less by chance than by the player's faults
constexpr float endCost = 60.0F;     // nats that it takes to believe that the end is not the end
constexpr float prohibitive = 1.0e9F;
constexpr std::size_t fewestToCompare = 4;  // presets
constexpr float undecided = 4.0F;           // presets of either value that each share begins with
constexpr float likenessWeight = 0.5F;      // presets are not drawn by chance

/// Whether a stretch is too long to be read with more or fewer bits.
bool isUnread(const BitSequence::Stretch& stretch) {
  return stretch.readings.empty() || stretch.readings[farthestSlip].bits.empty();
}

/// What it costs to read a stretch with another number of bits.
float costOf(const BitSequence::Stretch& stretch, int slip) {
  if (slip == 0) {
    return 0.0F;
  }
  const auto index = static_cast<std::size_t>(slip + farthestSlip);
  return isUnread(stretch) || stretch.readings[index].bits.empty() ? prohibitive
                                                                   : stretch.readings[index].cost;
}

/// What it costs more to read a stretch with another slip than with this one.
float costOfOther(const BitSequence::Stretch& stretch, int slip) {
  float least = prohibitive;
  for (int other = -farthestSlip; other <= farthestSlip; ++other) {
    if (other != slip) {
      least = std::min(least, costOf(stretch, other) - costOf(stretch, slip));
    }
  }
  return least;
}

}  // namespace

BitCount::BitCount(const BitSequence& bitSequence, const IndexRange& dataRange, bool endIsKnown,
                   bool endIsFirm)
    : sequence(bitSequence), data(dataRange), endPenalty(endIsFirm ? endCost : 0.0F) {
  for (const BitSequence::Stretch& stretch : sequence.stretches) {
    if (stretch.end > data.begin && stretch.begin < data.end &&
        (!endIsKnown || stretch.end <= data.end)) {
      stretches.push_back(&stretch);
    }
  }
  likeness.assign(stretches.size() + 1, SlipCosts{});
  resolve();
}

float& BitCount::at(SlipCosts& costs, int slip) {
  return costs[static_cast<std::size_t>(slip + farthest)];
}

/// Calls `use(from, to, cost)` for each way in which a stretch may change the slip.
template <typename Use>
void BitCount::forEachStep(const BitSequence::Stretch& stretch, Use use) {
  for (int from = -farthest; from <= farthest; ++from) {
    for (int own = -farthestSlip; own <= farthestSlip; ++own) {
      if (std::abs(from + own) <= farthest) {
        use(from, from + own, costOf(stretch, own));
      }
    }
  }
}

/// The bits of the sequence between stretch `i` - 1 and stretch `i`.
IndexRange BitCount::between(std::size_t i) const {
  const std::size_t begin = i == 0 ? data.begin : std::max(data.begin, stretches[i - 1]->end);
  const std::size_t end =
      i == stretches.size() ? data.end : std::min(data.end, stretches[i]->begin);
  return {begin, std::max(begin, end)};
}

/// Chooses the slip of each stretch such that the data end where the tones end, if that is likelier
/// than that they do not, and such that the presets look alike. Finds for each place what another
/// count would cost.
void BitCount::resolve() {
  const std::size_t count = stretches.size();
  const int missing =
      static_cast<int>(dataBits) - static_cast<int>(data.end - std::min(data.end, data.begin));
  SlipCosts none;
  none.fill(prohibitive);
  std::vector<SlipCosts> upTo(count + 1, none);    // of all up to the place, by the slip there
  std::vector<SlipCosts> onward(count + 1, none);  // of all after it
  at(upTo[0], 0) = 0.0F;
  for (int slip = -farthest; slip <= farthest; ++slip) {
    at(onward[count], slip) = slip == missing ? 0.0F : endPenalty;
  }
  for (std::size_t i = 0; i < count; ++i) {
    forEachStep(*stretches[i], [&](int from, int to, float cost) {
      at(upTo[i + 1], to) =
          std::min(at(upTo[i + 1], to), at(upTo[i], from) + cost + at(likeness[i + 1], to));
    });
  }
  for (std::size_t i = count; i > 0; --i) {
    forEachStep(*stretches[i - 1], [&](int from, int to, float cost) {
      at(onward[i - 1], from) =
          std::min(at(onward[i - 1], from), cost + at(likeness[i], to) + at(onward[i], to));
    });
  }

  chooseSlips(onward);
  countMargins.assign(count + 1, prohibitive);
  for (std::size_t i = 0; i <= count; ++i) {
    for (int slip = -farthest; slip <= farthest; ++slip) {
      if (slip != slips[i]) {
        countMargins[i] =
            std::min(countMargins[i],
                     countTrust * (at(upTo[i], slip) + at(onward[i], slip) - at(onward[0], 0)));
      }
    }
  }
}

/// Takes the cheapest way, where `onward` are the costs of all that follows each place.
void BitCount::chooseSlips(std::vector<SlipCosts>& onward) {
  slips.assign(stretches.size() + 1, 0);
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    float least = prohibitive;
    static_assert(farthestSlip == 3);
    for (const int own : {0, -1, 1, -2, 2, -3, 3}) {
      const int to = slips[i] + own;
      if (std::abs(to) > farthest) {
        continue;
      }
      const float cost =
          costOf(*stretches[i], own) + at(likeness[i + 1], to) + at(onward[i + 1], to);
      if (cost < least) {
        least = cost;
        slips[i + 1] = to;
      }
    }
  }
}

void BitCount::doubtAll() { std::fill(countMargins.begin(), countMargins.end(), 0.0F); }

void BitCount::doubtAfterCuts(float trust) {
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    const BitSequence::Stretch& stretch = *stretches[i];
    if (isUnread(stretch) ||
        (looksCut(stretch) && trust * costOfOther(stretch, slips[i + 1] - slips[i]) < sureMargin)) {
      std::fill(countMargins.begin() + static_cast<std::ptrdiff_t>(i) + 1, countMargins.end(),
                0.0F);
      return;
    }
  }
}

/// Whether a weak stretch is loud where it fits no wave: no drop-out, but a jump.
bool BitCount::looksCut(const BitSequence::Stretch& stretch) const {
  constexpr float mostFit = 0.6F;
  constexpr float leastLevel = 0.5F;
  return std::any_of(
      sequence.bits.begin() + static_cast<std::ptrdiff_t>(stretch.begin),
      sequence.bits.begin() + static_cast<std::ptrdiff_t>(stretch.end),
      [](const ReadBit& bit) { return bit.fit < mostFit && bit.level > leastLevel; });
}

void BitCount::Columns::add(std::size_t column, bool value, float times) {
  counts[column] += times;
  ones[column] += value ? times : 0.0F;
}

float BitCount::Columns::shareOf(std::size_t column, bool value) const {
  const float share = (ones[column] + undecided) / (counts[column] + 2.0F * undecided);
  return value ? share : 1.0F - share;
}

bool BitCount::isCountSure(std::size_t place) const { return countMargins[place] >= sureMargin; }

/// Counts the bits of which it is known where they belong; nothing where too few presets tell.
std::optional<BitCount::Columns> BitCount::countColumns() const {
  Columns columns;
  std::size_t all = 0;
  for (std::size_t i = 0; i <= stretches.size(); ++i) {
    if (isCountSure(i)) {
      forEachBit(between(i), slips[i], [&](std::size_t column, bool value) {
        columns.add(column, value, 1.0F);
        ++all;
      });
    }
  }
  return all < fewestToCompare * bitsPerPreset ? std::nullopt : std::optional(columns);
}

/// Calls `use(column, value)` for each firm bit of a range that lies within the data.
template <typename Use>
void BitCount::forEachBit(const IndexRange& range, int slip, Use use) const {
  for (std::size_t k = range.begin; k < range.end; ++k) {
    const std::ptrdiff_t index = static_cast<std::ptrdiff_t>(k - data.begin) + slip;
    if (index >= 0 && index < static_cast<std::ptrdiff_t>(dataBits) &&
        sequence.bits[k].margin >= sureMargin) {
      use(static_cast<std::size_t>(index) % bitsPerPreset, sequence.bits[k].value);
    }
  }
}

void BitCount::weighLikeness() {
  const bool isInDoubt = std::any_of(countMargins.begin(), countMargins.end(),
                                     [](float margin) { return margin < sureMargin; });
  std::optional<Columns> columns = isInDoubt ? countColumns() : std::nullopt;
  if (!columns) {
    return;
  }
  for (std::size_t i = 0; i < likeness.size(); ++i) {
    for (int slip = -farthest; slip <= farthest; ++slip) {
      // No bit bears witness for itself.
      const float self = isCountSure(i) && slip == slips[i] ? 1.0F : 0.0F;
      float cost = 0.0F;
      forEachBit(between(i), slip, [&](std::size_t column, bool value) {
        columns->add(column, value, -self);
        cost -= likenessWeight * std::log(columns->shareOf(column, value));
        columns->add(column, value, self);
      });
      at(likeness[i], slip) = cost;
    }
  }
  resolve();
}

std::vector<ReadBit> BitCount::assemble() const {
  std::vector<ReadBit> assembled;
  std::size_t i = data.begin;
  const auto appendUpTo = [&](std::size_t end, float countMargin) {
    for (; i < end; ++i) {
      assembled.push_back(sequence.bits[i]);
      assembled.back().margin = std::min(assembled.back().margin, countMargin);
    }
  };
  for (std::size_t k = 0; k < stretches.size(); ++k) {
    const BitSequence::Stretch& stretch = *stretches[k];
    appendUpTo(std::min(stretch.begin, data.end), countMargins[k]);
    const int own = slips[k + 1] - slips[k];
    if (own == 0) {
      appendUpTo(std::min(stretch.end, data.end), std::min(countMargins[k], countMargins[k + 1]));
      continue;
    }
    const auto& reading = stretch.readings[static_cast<std::size_t>(own + farthestSlip)];
    // What lies before the data is the marker and the leader, whatever follows.
    for (std::size_t n = data.begin - std::min(data.begin, stretch.begin); n < reading.bits.size();
         ++n) {
      assembled.push_back(reading.bits[n]);
      assembled.back().margin = 0.0F;
    }
    i = std::max(i, stretch.end);
  }
  appendUpTo(data.end, countMargins.back());
  return assembled;
}

}  // namespace recovery
