#include "recovery/Framing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <optional>

namespace recovery {

namespace {

constexpr std::size_t shortestLeader = 10;  // one bits
constexpr std::size_t plainLeader = 24;     // one bits that no data are likely to hold by chance
constexpr std::size_t longLeader = 100;     // one bits that outweigh a missing end
constexpr std::size_t fewestBits = bitsPerPreset;
constexpr double fewestFirm = 0.75;  // part of a dump's bits that must be firm
constexpr double fewestFirmWithoutLeader = 0.9;
constexpr float countTrust = 0.25F;  // lengths stray less by chance than by the player's faults
constexpr float endCost = 60.0F;     // nats that it takes to believe that the end is not the end
constexpr float impossible = 1.0e9F;
constexpr int farthest = 2 * farthestSlip;  // bits that all stretches together may lose or gain
constexpr std::size_t longestCut = 64;      // bits that a fault of the recorder loses or repeats
constexpr std::size_t longestDropOut = 45;  // bits
constexpr std::size_t shortestPause = 8;    // bits without a tone that end the data
constexpr std::size_t fewestToCompare = 4;  // presets
constexpr float undecided = 4.0F;           // presets of either value that each share begins with
constexpr float likenessWeight = 0.5F;      // presets are not drawn by chance
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

class Framer {
 public:
  explicit Framer(const BitSequence& bitSequence) : sequence(bitSequence) {}

  std::vector<Take> frame() {
    for (const IndexRange& range : findToneRanges(sequence.bits)) {
      frameRange(range, range);
    }
    std::sort(takes.begin(), takes.end(), [](const Take& a, const Take& b) {
      return recordedSpan(a).start < recordedSpan(b).start;
    });
    return std::move(takes);
  }

 private:
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

  bool hasToneIn(const IndexRange& range) const {
    for (std::size_t i = range.begin; i < range.end; ++i) {
      if (sequence.bits[i].hasTone) {
        return true;
      }
    }
    return false;
  }

  /// Whether the tones end before bit `i`, at least for a pause.
  bool isPauseAt(std::size_t i) const {
    const std::vector<ReadBit>& bits = sequence.bits;
    return i > 0 && i + shortestPause <= bits.size() && bits[i - 1].hasTone &&
           !hasToneIn({i, i + shortestPause});
  }

  /// Whether the tones end at bit `i`, or pause.
  bool endsAt(std::size_t i, const IndexRange& range, const IndexRange& tones) const {
    return (range.end == tones.end && i == range.end) || (i < range.end && isPauseAt(i));
  }

  bool hasFirmZeroIn(const IndexRange& range) const {
    for (std::size_t i = range.begin; i < range.end; ++i) {
      if (!sequence.bits[i].value && sequence.bits[i].margin >= sureMargin) {
        return true;
      }
    }
    return false;
  }

  /// Whether nothing but ones follows bit `i`: a tone that goes on after the data.
  bool isToneFrom(std::size_t i, const IndexRange& range) const {
    return i < range.end && !hasFirmZeroIn({i, range.end});
  }

  /// Whether the data end at bit `i`, where a tone goes on, and not before: data that began within
  /// what is taken for the leader would end in more ones.
  bool isToneAfter(std::size_t i, const IndexRange& range) const {
    return isToneFrom(i, range) && hasFirmZeroIn({i - shortestLeader, i});
  }

  /// How much a zero after `ones` one bits looks like a start marker; nothing where it is none.
  std::optional<double> markerScore(std::size_t marker, std::size_t ones, const IndexRange& range,
                                    const IndexRange& tones) const {
    const std::size_t first = marker + 1;
    const bool isWhole = range.end == tones.end;
    const std::size_t left = range.end - first;
    const bool isExact =
        endsAt(first + dataBits, range, tones) || (isWhole && isToneAfter(first + dataBits, range));
    bool fitsEnd = false;
    for (std::size_t count = dataBits - farthestSlip; count <= dataBits + farthestSlip; ++count) {
      fitsEnd = fitsEnd || endsAt(first + count, range, tones);
    }
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
    std::size_t leader = range.begin;
    std::size_t lastZero = range.begin;
    std::size_t silent = 0;
    for (std::size_t i = range.begin; i < range.end; ++i) {
      const ReadBit& bit = sequence.bits[i];
      silent = bit.hasTone ? 0 : silent + 1;
      if (!bit.value) {
        std::optional<double> score = markerScore(i, i - leader, range, tones);
        if (score) {
          *score += static_cast<double>(std::min(i - lastZero, plainLeader));
        }
        if (score && (!best || *score > best->score)) {
          best = Beginning{i + 1, i - leader, *score};
        }
        lastZero = i;
      }
      // A zero that is not firm may be a one in a drop-out.
      if (silent > longestDropOut || (!bit.value && bit.margin >= sureMargin)) {
        leader = i + 1;
      }
    }
    if (!best && range.end == tones.end && isCleanEnd(tones)) {
      // No leader is left: the data are counted back from their end.
      const std::size_t count = range.end - range.begin;
      best = Beginning{count >= dataBits ? range.end - dataBits : range.begin, 0, 0.0};
    }
    return best;
  }

  /// Where the tones end after about as many bits as data have, if they do and the recording goes
  /// on: at the end of the tones, or at a pause before other tones.
  std::optional<std::size_t> findEnd(const Beginning& beginning, const IndexRange& range,
                                     const IndexRange& tones) const {
    const std::size_t expected = beginning.firstBit + dataBits;
    const auto isNear = [expected](std::size_t i) {
      return i + longestCut >= expected && i <= expected + longestCut;
    };
    if (range.end == tones.end && isCleanEnd(tones) && isNear(range.end)) {
      return range.end;
    }
    for (std::size_t i = expected - longestCut; i < range.end && isNear(i); ++i) {
      // Tones that go on before the data can end come after a drop-out.
      if (isPauseAt(i) && !hasToneIn({i, std::min(expected, range.end)})) {
        return i;
      }
    }
    return std::nullopt;
  }

  /// Whether the tones are firm and as loud as before up to the end, and do not fade into a
  /// drop-out. The last bit has nothing after it to bear it out.
  bool isFirmBefore(std::size_t end) const {
    constexpr std::size_t firm = 6;
    constexpr std::size_t loud = 2;
    constexpr std::size_t usual = 20;
    constexpr float leastGain = 0.85F;
    constexpr float mostEcho = 0.15F;
    if (end <= usual) {
      return false;
    }
    const auto* const bits = sequence.bits.data() + end;
    const float gain =
        std::accumulate(bits - usual, bits - loud, 0.0F,
                        [](float sum, const ReadBit& bit) { return sum + bit.gain; }) /
        static_cast<float>(usual - loud);
    // Half of a bit may follow, but what goes on after that is a tone that fades.
    if (end + 1 < sequence.bits.size() && bits[1].gain > mostEcho * gain) {
      return false;
    }
    return std::all_of(bits - firm, bits - 1,
                       [](const ReadBit& bit) { return bit.margin >= sureMargin; }) &&
           std::all_of(bits - loud, bits,
                       [&](const ReadBit& bit) { return bit.gain >= leastGain * gain; });
  }

  void build(const Beginning& beginning, const IndexRange& range, const IndexRange& tones) {
    const std::size_t expected = beginning.firstBit + dataBits;
    const std::optional<std::size_t> toneEnd = findEnd(beginning, range, tones);
    const bool endIsKnown =
        toneEnd && *toneEnd + farthest >= expected && *toneEnd <= expected + farthest;
    const std::size_t end = endIsKnown ? *toneEnd : range.end;
    const bool isWhole = endIsKnown || range.end == tones.end;
    const bool isCountedBack = beginning.leaderOnes == 0 && !isExactFromTones(beginning, range);

    countBits({beginning.firstBit, end}, endIsKnown, isCountedBack);
    const bool endAgrees =
        toneEnd && static_cast<std::ptrdiff_t>(expected - *toneEnd) == slips.back();
    const bool toneGoesOn = isToneFrom(expected, range);
    // A firm end elsewhere: a piece of the recording was lost or repeated somewhere.
    const bool countIsOff = toneEnd && !endAgrees && !toneGoesOn && isFirmBefore(*toneEnd);
    if (countIsOff) {
      std::fill(countMargins.begin(), countMargins.end(), 0.0F);
    } else if (!endAgrees || toneGoesOn) {
      doubtCutCounts(toneEnd && !toneGoesOn ? 0.1F : 0.0F);
    }
    std::vector<ReadBit> data = assemble(beginning.firstBit, end);
    const bool endIsClean = isWhole && data.size() == dataBits;
    std::size_t offset = 0;
    if (isCountedBack && data.size() < dataBits) {
      offset = dataBits - data.size();
    }
    data.resize(std::min(data.size(), dataBits));
    const bool hasEnd = endIsClean || (range.end == tones.end && isToneAfter(expected, range));
    const bool isSure = beginningIsSure(beginning, range, hasEnd);
    if (!isDump(beginning, isSure, data, end)) {
      return;
    }

    Take take;
    take.endIsClean = endIsClean;
    take.leaderOnes = static_cast<int>(beginning.leaderOnes);
    take.beginningIsSure = isSure;
    take.countIsOff = countIsOff;
    if (beginning.firstBit > range.begin && !isCountedBack) {
      placeLeader(take, beginning);
    }
    take.bits.resize(dataBits);
    for (std::size_t i = 0; i < data.size(); ++i) {
      take.bits[offset + i] = {data[i].start, data[i].end, data[i].margin,
                               static_cast<std::int8_t>(data[i].value ? 1 : 0)};
    }
    takes.push_back(std::move(take));
  }

  void placeLeader(Take& take, const Beginning& beginning) const {
    const ReadBit& marker = sequence.bits[beginning.firstBit - 1];
    take.marker = {marker.start, marker.end};
    if (beginning.leaderOnes > 0) {
      take.leader = {sequence.bits[beginning.firstBit - 1 - beginning.leaderOnes].start,
                     marker.start};
    }
  }

  /// Finds how many bits the weak stretches of the data lose or gain, and how sure that is.
  void countBits(const IndexRange& data, bool endIsKnown, bool isCountedBack) {
    stretches.clear();
    for (const BitSequence::Stretch& stretch : sequence.stretches) {
      if (stretch.end > data.begin && stretch.begin < data.end &&
          (!endIsKnown || stretch.end <= data.end)) {
        stretches.push_back(&stretch);
      }
    }
    const int missing =
        static_cast<int>(dataBits) - static_cast<int>(data.end - std::min(data.end, data.begin));
    const float endPenalty = endIsKnown && isFirmBefore(data.end) ? endCost : 0.0F;
    likeness.assign(stretches.size() + 1, SlipCosts{});
    resolve(missing, endPenalty);
    if (!isCountedBack && weighLikeness(data.begin, data.end)) {
      resolve(missing, endPenalty);
    }
  }

  /// Whether the bits are those of a dump, and not what can be made of another sound.
  bool isDump(const Beginning& beginning, bool isSure, const std::vector<ReadBit>& data,
              std::size_t end) const {
    const double fewest =
        beginning.leaderOnes >= plainLeader ? fewestFirm : fewestFirmWithoutLeader;
    return data.size() >= fewestBits && firmPart(beginning.firstBit, end) >= fewest &&
           (isSure || !isSteady(data));
  }

  /// Whether the tones begin with a few ones, a zero and then just the data.
  bool isExactFromTones(const Beginning& beginning, const IndexRange& range) const {
    return beginning.firstBit > range.begin && range.end - beginning.firstBit == dataBits &&
           !sequence.bits[beginning.firstBit - 1].value &&
           beginning.firstBit - 1 - beginning.leaderOnes == range.begin;
  }

  bool beginningIsSure(const Beginning& beginning, const IndexRange& range, bool hasEnd) const {
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
    if (least < sureMargin) {
      return false;
    }
    if (hasEnd) {
      return beginning.leaderOnes >= shortestLeader || isExactFromTones(beginning, range);
    }
    return beginning.leaderOnes >= longLeader ||
           (beginning.leaderOnes >= plainLeader && isAtStart && sequence.beginsInSilence);
  }

  /// Whether the bits are hardly more than one tone and then the other, as notes are.
  static bool isSteady(const std::vector<ReadBit>& bits) {
    constexpr std::size_t few = 12;  // one change in so many bits
    std::size_t changes = 0;
    for (std::size_t i = 1; i < bits.size(); ++i) {
      changes += bits[i].value != bits[i - 1].value ? 1 : 0;
    }
    return changes * few < bits.size();
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

  /// The bits of the sequence between stretch `i` - 1 and stretch `i`.
  IndexRange between(std::size_t i, std::size_t first, std::size_t end) const {
    const std::size_t begin = i == 0 ? first : std::max(first, stretches[i - 1]->end);
    const std::size_t stop = i == stretches.size() ? end : std::min(end, stretches[i]->begin);
    return {begin, std::max(begin, stop)};
  }

  /// Chooses the slip of each stretch such that the data end where the tones end, `missing` bits
  /// from now, if that is likelier than that they do not, and such that the presets look alike.
  /// Finds for each place what another count would cost.
  void resolve(int missing, float endPenalty) {
    const std::size_t count = stretches.size();
    SlipCosts none;
    none.fill(impossible);
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

    slips.assign(count + 1, 0);
    for (std::size_t i = 0; i < count; ++i) {
      float least = impossible;
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
    countMargins.assign(count + 1, impossible);
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

  /// Where no end tells how many bits there are, takes no count for sure after a stretch that is
  /// too long to tell, or that looks like a cut and might well have another count.
  void doubtCutCounts(float cutTrust) {
    for (std::size_t i = 0; i < stretches.size(); ++i) {
      const BitSequence::Stretch& stretch = *stretches[i];
      if (isUnread(stretch) ||
          (looksCut(stretch) &&
           cutTrust * costOfOther(stretch, slips[i + 1] - slips[i]) < sureMargin)) {
        std::fill(countMargins.begin() + static_cast<std::ptrdiff_t>(i) + 1, countMargins.end(),
                  0.0F);
        return;
      }
    }
  }

  /// What it costs more to read a stretch with another slip than with this one.
  static float costOfOther(const BitSequence::Stretch& stretch, int slip) {
    float least = impossible;
    for (int other = -farthestSlip; other <= farthestSlip; ++other) {
      if (other != slip) {
        least = std::min(least, costOf(stretch, other) - costOf(stretch, slip));
      }
    }
    return least;
  }

  /// Whether a weak stretch is loud where it fits no wave: no drop-out, but a jump.
  bool looksCut(const BitSequence::Stretch& stretch) const {
    constexpr float mostFit = 0.6F;
    constexpr float leastLevel = 0.5F;
    return std::any_of(
        sequence.bits.begin() + static_cast<std::ptrdiff_t>(stretch.begin),
        sequence.bits.begin() + static_cast<std::ptrdiff_t>(stretch.end),
        [](const ReadBit& bit) { return bit.fit < mostFit && bit.level > leastLevel; });
  }

  /// Calls `use(from, to, cost)` for each way in which a stretch may change the slip.
  template <typename Use>
  static void forEachStep(const BitSequence::Stretch& stretch, Use use) {
    for (int from = -farthest; from <= farthest; ++from) {
      for (int own = -farthestSlip; own <= farthestSlip; ++own) {
        if (std::abs(from + own) <= farthest) {
          use(from, from + own, costOf(stretch, own));
        }
      }
    }
  }

  /// How often each bit of a preset is a one in this bank.
  struct Columns {
    std::array<float, bitsPerPreset> ones{};
    std::array<float, bitsPerPreset> counts{};

    void add(std::size_t column, bool value, float times) {
      counts[column] += times;
      ones[column] += value ? times : 0.0F;
    }

    float shareOf(std::size_t column, bool value) const {
      const float share = (ones[column] + undecided) / (counts[column] + 2.0F * undecided);
      return value ? share : 1.0F - share;
    }
  };

  bool isCountSure(std::size_t place) const { return countMargins[place] >= sureMargin; }

  /// Counts the bits of which it is known where they belong; nothing where too few presets tell.
  std::optional<Columns> countColumns(std::size_t first, std::size_t end) const {
    Columns columns;
    std::size_t all = 0;
    for (std::size_t i = 0; i <= stretches.size(); ++i) {
      if (isCountSure(i)) {
        forEachBit(between(i, first, end), first, slips[i], [&](std::size_t column, bool value) {
          columns.add(column, value, 1.0F);
          ++all;
        });
      }
    }
    return all < fewestToCompare * bitsPerPreset ? std::nullopt : std::optional(columns);
  }

  /// Calls `use(column, value)` for each firm bit of a range that lies within the data.
  template <typename Use>
  void forEachBit(const IndexRange& range, std::size_t first, int slip, Use use) const {
    for (std::size_t k = range.begin; k < range.end; ++k) {
      const std::ptrdiff_t index = static_cast<std::ptrdiff_t>(k - first) + slip;
      if (index >= 0 && index < static_cast<std::ptrdiff_t>(dataBits) &&
          sequence.bits[k].margin >= sureMargin) {
        use(static_cast<std::size_t>(index) % bitsPerPreset, sequence.bits[k].value);
      }
    }
  }

  /// Finds what the likeness of the presets in a bank says about each count of bits. Returns
  /// whether it says anything.
  bool weighLikeness(std::size_t first, std::size_t end) {
    const bool isInDoubt = std::any_of(countMargins.begin(), countMargins.end(),
                                       [](float margin) { return margin < sureMargin; });
    std::optional<Columns> columns = isInDoubt ? countColumns(first, end) : std::nullopt;
    if (!columns) {
      return false;
    }
    for (std::size_t i = 0; i < likeness.size(); ++i) {
      for (int slip = -farthest; slip <= farthest; ++slip) {
        // No bit bears witness for itself.
        const float self = isCountSure(i) && slip == slips[i] ? 1.0F : 0.0F;
        float cost = 0.0F;
        forEachBit(between(i, first, end), first, slip, [&](std::size_t column, bool value) {
          columns->add(column, value, -self);
          cost -= likenessWeight * std::log(columns->shareOf(column, value));
          columns->add(column, value, self);
        });
        at(likeness[i], slip) = cost;
      }
    }
    return true;
  }

  /// Whether a stretch is too long to be read with more or fewer bits.
  static bool isUnread(const BitSequence::Stretch& stretch) {
    return stretch.readings.empty() || stretch.readings[farthestSlip].bits.empty();
  }

  static float costOf(const BitSequence::Stretch& stretch, int slip) {
    if (slip == 0) {
      return 0.0F;
    }
    const auto index = static_cast<std::size_t>(slip + farthestSlip);
    return isUnread(stretch) || stretch.readings[index].bits.empty() ? impossible
                                                                     : stretch.readings[index].cost;
  }

  /// The data bits from `first` on with the chosen slips; margins take in what the count costs.
  std::vector<ReadBit> assemble(std::size_t first, std::size_t end) const {
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
      const int own = slips[k + 1] - slips[k];
      if (own != 0) {
        const auto& reading = stretch.readings[static_cast<std::size_t>(own + farthestSlip)];
        // What lies before the data is the marker and the leader, whatever follows.
        for (std::size_t n = first - std::min(first, stretch.begin); n < reading.bits.size(); ++n) {
          data.push_back(reading.bits[n]);
          data.back().margin = 0.0F;
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

  // Of the dump at hand. The places are before each stretch, and after the last one.
  std::vector<const BitSequence::Stretch*> stretches;
  std::vector<SlipCosts> likeness;  // of the bits at each place, by the slip there
  std::vector<int> slips;           // bits gained before each place
  std::vector<float> countMargins;  // of each place
};

}  // namespace

std::vector<Take> frameDumps(const BitSequence& sequence) { return Framer(sequence).frame(); }

}  // namespace recovery
