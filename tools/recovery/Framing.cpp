#include "recovery/Framing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace recovery {

namespace {

constexpr std::size_t shortestLeader = 10;  // one bits
constexpr std::size_t plainLeader = 24;     // one bits that no data are likely to hold by chance
constexpr std::size_t longLeader = 100;     // one bits that outweigh a missing end
constexpr std::size_t fewestBits = bitsPerPreset;
constexpr double fewestFirm = 0.6;  // part of a dump's bits that must be firm
constexpr double fewestFirmWithoutLeader = 0.9;
constexpr float endCost = 60.0F;  // nats that it takes to believe that the end is not the end
constexpr float impossible = 1.0e9F;
constexpr int farthest = 2 * farthestSlip;  // bits that all stretches together may lose or gain
constexpr std::size_t dataBits = static_cast<std::size_t>(bitsPerBank);

/// Indices of bits that belong together, the first one and one past the last one.
struct IndexRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// Where the data of a dump may begin.
struct Beginning {
  std::size_t firstBit = 0;  // of the data; the marker is before it, if it was recorded
  std::size_t leaderOnes = 0;
  double score = 0.0;
};

/// Whether a bit at the end of the tones is a whole one, and not the beginning of one.
bool isWholeBit(const std::vector<ReadBit>& bits, std::size_t i) {
  constexpr std::size_t reach = 20;
  float usual = 0.0F;
  std::size_t count = 0;
  for (std::size_t k = i - std::min(i, reach); k < i; ++k) {
    usual += bits[k].gain;
    ++count;
  }
  return bits[i].fit >= 0.7F &&
         (count == 0 || bits[i].gain >= 0.6F * usual / static_cast<float>(count));
}

/// The parts of the sequence in which the tones sound, short gaps included.
std::vector<IndexRange> findToneRanges(const std::vector<ReadBit>& bits) {
  std::vector<IndexRange> ranges;
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (!bits[i].hasTone) {
      continue;
    }
    if (!ranges.empty() && i <= ranges.back().end + longestGap) {
      ranges.back().end = i + 1;
    } else {
      ranges.push_back({i, i + 1});
    }
  }
  for (IndexRange& range : ranges) {
    while (range.end > range.begin + 1 && !isWholeBit(bits, range.end - 1)) {
      --range.end;
    }
  }
  return ranges;
}

/// Counts of bits that stretches may lose or gain together, with their costs.
using SlipCosts = std::array<float, 2 * farthest + 1>;

float& at(SlipCosts& costs, int slip) { return costs[static_cast<std::size_t>(slip + farthest)]; }
float at(const SlipCosts& costs, int slip) {
  return costs[static_cast<std::size_t>(slip + farthest)];
}

class Framer {
 public:
  explicit Framer(const BitSequence& bitSequence) : sequence(bitSequence) {}

  std::vector<Take> frame() {
    for (const IndexRange& range : findToneRanges(sequence.bits)) {
      frameRange(range, range);
    }
    std::sort(takes.begin(), takes.end(),
              [](const Take& a, const Take& b) { return firstTime(a) < firstTime(b); });
    return std::move(takes);
  }

 private:
  static double firstTime(const Take& take) {
    for (const BitReading& bit : take.bits) {
      if (bit.value >= 0) {
        return bit.start;
      }
    }
    return 0.0;
  }

  /// Frames the best dump within `range`, then those before and after it. `tones` is where the
  /// tones begin and end.
  void frameRange(const IndexRange& range, const IndexRange& tones) {
    if (range.end - range.begin < fewestBits) {
      return;
    }
    const std::optional<Beginning> beginning = findBeginning(range, tones);
    if (!beginning) {
      return;
    }
    const std::size_t dataEnd = std::min(beginning->firstBit + dataBits, range.end);
    build(*beginning, range, tones);
    const std::size_t head =
        beginning->firstBit - std::min(beginning->firstBit, beginning->leaderOnes + 1);
    if (head > range.begin) {
      frameRange({range.begin, head}, tones);
    }
    if (dataEnd < range.end) {
      frameRange({dataEnd, range.end}, tones);
    }
  }

  bool isCleanEnd(const IndexRange& tones) const {
    // The recording goes on after the tones.
    return tones.end + 3 < sequence.bits.size();
  }

  /// How much a zero after `ones` one bits looks like a start marker; nothing where it is none.
  std::optional<double> markerScore(std::size_t marker, std::size_t ones, const IndexRange& range,
                                    const IndexRange& tones) const {
    const bool isWhole = range.end == tones.end;
    const std::size_t left = range.end - (marker + 1);
    const bool fitsEnd =
        isWhole && left + farthestSlip >= dataBits && left <= dataBits + farthestSlip;
    const bool isExact = isWhole && left == dataBits;
    const bool isFirst = marker - ones == range.begin;
    // Tones that end too soon for all data more likely lack the beginning than the end.
    const bool endsTooSoon = isWhole && isCleanEnd(tones) && left + farthestSlip < dataBits;
    const bool isLeader = endsTooSoon ? ones >= longLeader || (isFirst && ones >= plainLeader)
                                      : ones >= shortestLeader;
    if (left == 0 || (!isLeader && !(isExact && isFirst))) {
      return std::nullopt;
    }
    const double leader = static_cast<double>(std::min<std::size_t>(ones, 400)) / 2.0;
    const double data = left >= dataBits ? 100.0 : 60.0 * static_cast<double>(left) / dataBits;
    const double end = isExact ? 160.0 : fitsEnd ? 110.0 : 0.0;
    return leader + data + end +
           static_cast<double>(std::min(sequence.bits[marker].margin, sureMargin));
  }

  std::optional<Beginning> findBeginning(const IndexRange& range, const IndexRange& tones) const {
    std::optional<Beginning> best;
    std::size_t ones = 0;
    for (std::size_t i = range.begin; i < range.end; ++i) {
      if (sequence.bits[i].value) {
        ++ones;
        continue;
      }
      const std::optional<double> score = markerScore(i, ones, range, tones);
      if (score && (!best || *score > best->score)) {
        best = Beginning{i + 1, ones, *score};
      }
      ones = 0;
    }
    if (!best && range.end == tones.end && isCleanEnd(tones)) {
      // No leader is left: the data are counted back from their end.
      const std::size_t count = range.end - range.begin;
      best = Beginning{count >= dataBits ? range.end - dataBits : range.begin, 0, 0.0};
    }
    return best;
  }

  void build(const Beginning& beginning, const IndexRange& range, const IndexRange& tones) {
    Stretches stretches;
    for (const BitSequence::Stretch& stretch : sequence.stretches) {
      if (stretch.end > beginning.firstBit && stretch.begin < range.end) {
        stretches.push_back(&stretch);
      }
    }
    const bool isWhole = range.end == tones.end;
    const int missing = static_cast<int>(dataBits) -
                        static_cast<int>(std::min(range.end - beginning.firstBit, 2 * dataBits));
    const bool canFit = isWhole && std::abs(missing) <= farthest;
    const bool isCountedBack = beginning.leaderOnes == 0 && !isExactFromTones(beginning, range);
    const float endPenalty = canFit && isCleanEnd(tones) ? endCost : 0.0F;

    resolve(stretches, missing, endPenalty);
    std::vector<ReadBit> data = assemble(beginning.firstBit, range.end, stretches);
    const bool endIsClean = isWhole && data.size() == dataBits;
    std::size_t offset = 0;
    if (isCountedBack && data.size() < dataBits) {
      offset = dataBits - data.size();
    }
    data.resize(std::min(data.size(), dataBits));
    const double firm = firmPart(beginning.firstBit, range.end);
    if (data.size() < fewestBits ||
        firm < (beginning.leaderOnes >= plainLeader ? fewestFirm : fewestFirmWithoutLeader)) {
      return;
    }

    Take take;
    take.endIsClean = endIsClean;
    take.leaderOnes = static_cast<int>(beginning.leaderOnes);
    take.beginningIsSure = beginningIsSure(beginning, range, endIsClean);
    const auto bitAt = [this](std::size_t i) { return sequence.bits[i]; };
    if (beginning.firstBit > range.begin && !isCountedBack) {
      take.marker = {bitAt(beginning.firstBit - 1).start, bitAt(beginning.firstBit - 1).end};
      if (beginning.leaderOnes > 0) {
        take.leader = {bitAt(beginning.firstBit - 1 - beginning.leaderOnes).start,
                       take.marker.start};
      }
    }
    take.bits.resize(dataBits);
    for (std::size_t i = 0; i < data.size(); ++i) {
      take.bits[offset + i] = {data[i].start, data[i].end, data[i].margin,
                               static_cast<std::int8_t>(data[i].value ? 1 : 0)};
    }
    takes.push_back(std::move(take));
  }

  /// Whether the tones begin with a few ones, a zero and then just the data.
  bool isExactFromTones(const Beginning& beginning, const IndexRange& range) const {
    return beginning.firstBit > range.begin && range.end - beginning.firstBit == dataBits &&
           !sequence.bits[beginning.firstBit - 1].value &&
           beginning.firstBit - 1 - beginning.leaderOnes == range.begin;
  }

  bool beginningIsSure(const Beginning& beginning, const IndexRange& range, bool endIsClean) const {
    if (beginning.firstBit == range.begin) {
      return false;
    }
    const std::size_t marker = beginning.firstBit - 1;
    const bool isAtStart = marker - beginning.leaderOnes == range.begin;
    float least = sequence.bits[marker].margin;
    for (std::size_t i = marker - std::min<std::size_t>(beginning.leaderOnes, shortestLeader);
         i < marker; ++i) {
      least = std::min(least, sequence.bits[i].margin);
    }
    if (endIsClean) {
      return beginning.leaderOnes >= shortestLeader ||
             (least >= sureMargin && isExactFromTones(beginning, range));
    }
    return least >= sureMargin &&
           (beginning.leaderOnes >= longLeader ||
            (beginning.leaderOnes >= plainLeader && isAtStart && sequence.beginsInSilence));
  }

  /// The part of the bits from `begin` to `end`, or as many as data has, that are firm by
  /// themselves.
  double firmPart(std::size_t begin, std::size_t end) const {
    const std::size_t last = std::min(end, begin + dataBits);
    const auto firm =
        std::count_if(sequence.bits.begin() + static_cast<std::ptrdiff_t>(begin),
                      sequence.bits.begin() + static_cast<std::ptrdiff_t>(last),
                      [](const ReadBit& bit) { return bit.hasTone && bit.margin >= sureMargin; });
    return static_cast<double>(firm) / static_cast<double>(last - begin);
  }

  using Stretches = std::vector<const BitSequence::Stretch*>;

  /// What it costs that the stretches before, or from each on, lose or gain so many bits together.
  static SlipCosts withStretch(const SlipCosts& costs, const BitSequence::Stretch& stretch) {
    SlipCosts sum;
    sum.fill(impossible);
    for (int slip = -farthest; slip <= farthest; ++slip) {
      for (int own = -farthestSlip; own <= farthestSlip; ++own) {
        const int total = slip + own;
        if (std::abs(total) <= farthest) {
          at(sum, total) = std::min(at(sum, total), at(costs, slip) + costOf(stretch, own));
        }
      }
    }
    return sum;
  }

  /// Chooses the slip of each stretch such that the data end where the tones end, if that is
  /// likelier than that they do not, and finds for each place what another count would cost.
  void resolve(const Stretches& stretches, int missing, float endPenalty) {
    const std::size_t count = stretches.size();
    SlipCosts none;
    none.fill(impossible);
    at(none, 0) = 0.0F;
    std::vector<SlipCosts> before(count + 1, none);
    std::vector<SlipCosts> after(count + 1, none);
    for (std::size_t i = 0; i < count; ++i) {
      before[i + 1] = withStretch(before[i], *stretches[i]);
    }
    for (std::size_t i = count; i > 0; --i) {
      after[i - 1] = withStretch(after[i], *stretches[i - 1]);
    }

    const auto penalty = [&](int total) { return total == missing ? 0.0F : endPenalty; };
    int bestTotal = 0;
    for (int total = -farthest; total <= farthest; ++total) {
      if (at(before[count], total) + penalty(total) <
          at(before[count], bestTotal) + penalty(bestTotal)) {
        bestTotal = total;
      }
    }
    const float bestCost = at(before[count], bestTotal) + penalty(bestTotal);
    chooseSlips(stretches, before, bestTotal);

    countMargins.assign(count + 1, impossible);
    int chosen = 0;
    for (std::size_t i = 0; i <= count; ++i) {
      for (int head = -farthest; head <= farthest; ++head) {
        for (int tail = -farthest; head != chosen && tail <= farthest; ++tail) {
          countMargins[i] = std::min(countMargins[i], at(before[i], head) + at(after[i], tail) +
                                                          penalty(head + tail) - bestCost);
        }
      }
      chosen += i < count ? slips[i] : 0;
    }
  }

  /// Follows the costs back from the total that was chosen.
  void chooseSlips(const Stretches& stretches, const std::vector<SlipCosts>& before, int total) {
    slips.assign(stretches.size(), 0);
    for (std::size_t i = stretches.size(); i > 0; --i) {
      for (const int own : {0, -1, 1, -2, 2, -3, 3}) {
        if (std::abs(total - own) <= farthest &&
            at(before[i - 1], total - own) + costOf(*stretches[i - 1], own) <=
                at(before[i], total)) {
          slips[i - 1] = own;
          total -= own;
          break;
        }
      }
    }
  }

  static float costOf(const BitSequence::Stretch& stretch, int slip) {
    if (stretch.readings.empty()) {
      return 0.0F;  // too long to tell
    }
    const auto& reading = stretch.readings[static_cast<std::size_t>(slip + farthestSlip)];
    if (slip == 0) {
      return 0.0F;
    }
    return reading.bits.empty() ? impossible : reading.cost;
  }

  /// The data bits from `first` on with the chosen slips; margins take in what the count costs.
  std::vector<ReadBit> assemble(std::size_t first, std::size_t end,
                                const Stretches& stretches) const {
    std::vector<ReadBit> data;
    std::size_t i = first;
    std::size_t passed = 0;
    const auto append = [&](ReadBit bit) {
      bit.margin = std::min(bit.margin, countMargins[passed]);
      data.push_back(bit);
    };
    for (std::size_t k = 0; k < stretches.size(); ++k) {
      const BitSequence::Stretch& stretch = *stretches[k];
      while (i < std::min(stretch.begin, end)) {
        append(sequence.bits[i++]);
      }
      const float countMargin = std::min(countMargins[k], countMargins[k + 1]);
      if (slips[k] != 0 && stretch.begin >= first) {
        const auto& reading = stretch.readings[static_cast<std::size_t>(slips[k] + farthestSlip)];
        for (ReadBit bit : reading.bits) {
          bit.margin = 0.0F;
          data.push_back(bit);
        }
        i = std::max(i, stretch.end);
      } else {
        while (i < std::min(stretch.end, end)) {
          ReadBit bit = sequence.bits[i++];
          bit.margin = std::min(bit.margin, countMargin);
          data.push_back(bit);
        }
      }
      passed = k + 1;
    }
    while (i < end) {
      append(sequence.bits[i++]);
    }
    return data;
  }

  const BitSequence& sequence;
  std::vector<Take> takes;
  std::vector<int> slips;           // of the stretches
  std::vector<float> countMargins;  // before each stretch, and after the last one
};

}  // namespace

std::vector<Take> frameDumps(const BitSequence& sequence) { return Framer(sequence).frame(); }

}  // namespace recovery
