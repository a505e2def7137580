#include "recovery/Framing.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "recovery/BitCount.h"
#include "recovery/DumpEdges.h"

namespace recovery {

namespace {

constexpr std::size_t fewestBits = bitsPerPreset;
constexpr double fewestFirm = 0.75;  // part of a dump's bits that must be firm
constexpr double fewestFirmWithoutLeader = 0.9;
constexpr std::size_t longestNotes = 2000;  // bits: 7 s
constexpr float cutTrust = 0.1F;  // in a count across a place like a cut, before a doubtful end

class Framer {
 public:
  explicit Framer(const BitSequence& bitSequence) : sequence(bitSequence) {}

  std::vector<Take> frame() {
    for (const IndexRange& range : findToneRanges(sequence.bits)) {
      frameRange(range, range.end, 0);
    }
    std::sort(takes.begin(), takes.end(), [](const Take& a, const Take& b) {
      return recordedSpan(a).start < recordedSpan(b).start;
    });
    return std::move(takes);
  }

 private:
  /// Frames the best dump within `range`, then those before and after it. `toneEnd` is where its
  /// tones end. The `onesAfter` bits after it were taken for a leader, but may be the end of data.
  void frameRange(IndexRange range, std::size_t toneEnd, std::size_t onesAfter) {
    if (range.end - range.begin < fewestBits) {
      return;
    }
    const std::optional<Beginning> beginning = DumpEdges(sequence, range, toneEnd).findBeginning();
    if (!beginning) {
      return;
    }
    const std::size_t expected = beginning->firstBit + dataBits;
    if (expected <= range.end + onesAfter) {
      range.end = std::max(range.end, expected);
    }
    const std::size_t dataEnd = std::min(expected, range.end);
    build(*beginning, DumpEdges(sequence, range, toneEnd), range);
    const std::size_t head =
        beginning->firstBit - std::min(beginning->firstBit, beginning->leaderOnes + 1);
    if (head > range.begin) {
      frameRange({range.begin, head}, toneEnd, std::min(beginning->leaderOnes, plainLeader));
    }
    if (dataEnd < range.end) {
      frameRange({dataEnd, range.end}, toneEnd, onesAfter);
    }
  }

  void build(const Beginning& beginning, const DumpEdges& edges, const IndexRange& range) {
    const std::size_t first = beginning.firstBit;
    const std::size_t expected = first + dataBits;
    const std::optional<std::size_t> toneEnd = edges.findEnd(beginning);
    const bool endIsFirm = toneEnd && edges.isFirmBefore(*toneEnd);
    const bool endIsKnown = toneEnd && *toneEnd + BitCount::farthest >= expected &&
                            *toneEnd <= expected + BitCount::farthest;
    const std::size_t end =
        endIsKnown ? *toneEnd : std::min(range.end, expected + 2 * BitCount::farthest);
    const bool isCountedBack = edges.isCountedBack(beginning);

    BitCount count(sequence, {first, end}, endIsKnown, endIsKnown && endIsFirm);
    if (!isCountedBack) {
      count.weighLikeness();
    }
    const bool endAgrees =
        toneEnd && static_cast<std::ptrdiff_t>(expected) - static_cast<std::ptrdiff_t>(*toneEnd) ==
                       count.slip();
    const bool toneGoesOn = edges.hasNoFirmZero({expected, toneEnd.value_or(range.end)});
    const bool endTells = toneEnd && !toneGoesOn;
    const bool countIsOff = endTells && endIsFirm && !endAgrees;
    if (countIsOff) {
      count.doubtAll();
    } else if (!endTells || !endAgrees) {
      count.doubtAfterCuts(endTells ? cutTrust : 0.0F);
    }
    std::vector<ReadBit> data = count.assemble();
    const bool endIsClean = (endIsKnown || edges.reachesToneEnd()) && data.size() == dataBits;
    data.resize(std::min(data.size(), dataBits));
    const bool isSure = edges.isSure(beginning, endIsClean);
    if (!isDump(beginning, isSure, data, end)) {
      return;
    }

    Take take;
    take.endIsClean = endIsClean;
    take.leaderOnes = static_cast<int>(beginning.leaderOnes);
    take.beginningIsSure = isSure;
    take.countIsOff = countIsOff;
    if (first > range.begin && !isCountedBack) {
      placeLeader(take, beginning);
    }
    take.bits.resize(dataBits);
    const std::size_t offset = isCountedBack ? dataBits - data.size() : 0;
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

  /// Whether the bits are those of a dump, and not what can be made of another sound.
  bool isDump(const Beginning& beginning, bool isSure, const std::vector<ReadBit>& data,
              std::size_t end) const {
    const double fewest =
        beginning.leaderOnes >= plainLeader ? fewestFirm : fewestFirmWithoutLeader;
    return data.size() >= fewestBits && firmPart(beginning.firstBit, end) >= fewest &&
           (!isSteady(data) || (isSure && data.size() > longestNotes));
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

  const BitSequence& sequence;
  std::vector<Take> takes;
};

}  // namespace

std::vector<Take> frameDumps(const BitSequence& sequence) { return Framer(sequence).frame(); }

}  // namespace recovery
