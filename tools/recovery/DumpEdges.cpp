#include "recovery/DumpEdges.h"

#include <algorithm>
#include <numeric>

#include "recovery/Bits.h"

namespace recovery {

namespace {

constexpr std::size_t longestCut = 64;      // bits that a fault of the recorder loses or repeats
constexpr std::size_t longestDropOut = 45;  // bits
constexpr std::size_t shortestPause = 8;    // bits without a tone that end the data

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

/// Whether data that begin at `firstBit` end about at bit `i`, perhaps after a cut.
bool endsNear(std::size_t firstBit, std::size_t i) {
  const std::size_t expected = firstBit + dataBits;
  return i + longestCut >= expected && i <= expected + longestCut;
}

}  // namespace

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

DumpEdges::DumpEdges(const BitSequence& bitSequence, const IndexRange& rangeToSearch,
                     std::size_t endOfTones)
    : bits(bitSequence.bits), range(rangeToSearch), toneEnd(endOfTones), firmZerosEnd(range.end) {
  while (firmZerosEnd > range.begin && !isFirmZero(firmZerosEnd - 1)) {
    --firmZerosEnd;
  }
}

/// Whether the tones begin with the range, and not before it.
bool DumpEdges::beginsInSilence() const {
  return range.begin >= silentBits && !hasToneIn({range.begin - silentBits, range.begin});
}

/// Whether the tones end with the range, and do not just cease to be read.
bool DumpEdges::endsInSilence() const {
  return reachesToneEnd() && toneEnd + silentBits <= bits.size();
}

/// Whether the tones end before data that begin at `firstBit` can: they more likely lack the
/// beginning than the end, and what looks like a short leader is data.
bool DumpEdges::endsTooSoon(std::size_t firstBit) const {
  return endsInSilence() && range.end - firstBit + farthestSlip < dataBits;
}

bool DumpEdges::hasToneIn(const IndexRange& part) const {
  return std::any_of(bits.begin() + static_cast<std::ptrdiff_t>(part.begin),
                     bits.begin() + static_cast<std::ptrdiff_t>(part.end),
                     [](const ReadBit& bit) { return bit.hasTone; });
}

/// Whether the tones end before bit `i`, at least for a pause.
bool DumpEdges::isPauseAt(std::size_t i) const {
  return i > 0 && i + shortestPause <= bits.size() && bits[i - 1].hasTone &&
         !hasToneIn({i, i + shortestPause});
}

/// Whether the tones end at bit `i`, or pause.
bool DumpEdges::endsAt(std::size_t i) const {
  return (reachesToneEnd() && i == range.end) || (i < range.end && isPauseAt(i));
}

bool DumpEdges::isFirmZero(std::size_t i) const {
  return !bits[i].value && bits[i].margin >= sureMargin;
}

bool DumpEdges::hasNoFirmZero(const IndexRange& part) const {
  for (std::size_t i = part.begin; i < part.end; ++i) {
    if (isFirmZero(i)) {
      return false;
    }
  }
  return part.begin < part.end;
}

/// Whether the data end at bit `i`, where a tone goes on, and not before: data that began within
/// what is taken for the leader would end in more ones.
bool DumpEdges::isToneAfter(std::size_t i) const {
  return reachesToneEnd() && i < range.end && i >= firmZerosEnd &&
         i < firmZerosEnd + shortestLeader;
}

/// How much a zero looks like the start marker of a leader that began at bit `leader`; nothing
/// where it is none.
std::optional<double> DumpEdges::markerScore(std::size_t marker, std::size_t leader,
                                             std::size_t onesBefore) const {
  const std::size_t first = marker + 1;
  const std::size_t ones = marker - leader;
  const std::size_t left = range.end - first;
  const bool isFirst = leader == range.begin;
  const bool isLeader = endsTooSoon(first) ? ones >= longLeader || (isFirst && ones >= plainLeader)
                                           : ones >= shortestLeader;
  const bool isExact = endsAt(first + dataBits) || isToneAfter(first + dataBits);
  if (left == 0 || (!isLeader && !(isExact && isFirst))) {
    return std::nullopt;
  }
  bool fitsEnd = false;
  for (std::size_t count = dataBits - farthestSlip; count <= dataBits + farthestSlip; ++count) {
    fitsEnd = fitsEnd || endsAt(first + count);
  }
  // Points are half ones of a leader: whole data and a fitting end outweigh a leader's length.
  const double length = static_cast<double>(std::min<std::size_t>(ones, 400)) / 2.0;
  const double data = left >= dataBits ? 100.0 : 60.0 * static_cast<double>(left) / dataBits;
  const bool isNearEnd = endsInSilence() && endsNear(first, range.end);
  const double end = isExact ? 160.0 : fitsEnd ? 110.0 : isNearEnd ? 60.0 : 0.0;
  return length + data + end + static_cast<double>(std::min(onesBefore, plainLeader)) +
         static_cast<double>(std::min(bits[marker].margin, sureMargin));
}

std::optional<Beginning> DumpEdges::findBeginning() const {
  std::optional<Beginning> best;
  std::size_t leader = range.begin;
  std::size_t ones = 0;
  std::size_t silent = 0;
  for (std::size_t i = range.begin; i < range.end; ++i) {
    const ReadBit& bit = bits[i];
    silent = bit.hasTone ? 0 : silent + 1;
    if (bit.value) {
      ++ones;
    } else {
      const std::optional<double> score = markerScore(i, leader, ones);
      if (score && (!best || *score > best->score)) {
        best = Beginning{i + 1, i - leader, *score};
      }
      ones = 0;
    }
    // A doubtful zero may be a one in a drop-out, and does not end the leader; a pause does.
    const bool isPause = silent > longestDropOut ||
                         (silent >= shortestPause && leader + plainLeader + silent > i + 1);
    if (isPause || isFirmZero(i)) {
      leader = i + 1;
    }
  }
  if (!best && endsInSilence()) {
    // No leader is left: the data are counted back from their end.
    const std::size_t count = range.end - range.begin;
    best = Beginning{count >= dataBits ? range.end - dataBits : range.begin, 0, 0.0};
  }
  return best;
}

std::optional<std::size_t> DumpEdges::findEnd(const Beginning& beginning) const {
  const std::size_t expected = beginning.firstBit + dataBits;
  if (endsInSilence() && endsNear(beginning.firstBit, range.end)) {
    return range.end;
  }
  for (std::size_t i = expected - longestCut; i < range.end && endsNear(beginning.firstBit, i);
       ++i) {
    // A pause before the data can end is a drop-out if tones follow in time.
    if (isPauseAt(i) && (i >= expected || !hasToneIn({i, std::min(expected, range.end)}))) {
      return i;
    }
  }
  return std::nullopt;
}

bool DumpEdges::isFirmBefore(std::size_t end) const {
  constexpr std::size_t firm = 6;
  constexpr std::size_t loud = 2;
  constexpr std::size_t usual = 20;
  constexpr float leastGain = 0.85F;
  constexpr float mostEcho = 0.15F;
  if (end <= usual) {
    return false;
  }
  const auto* const last = bits.data() + end;
  const float gain = std::accumulate(last - usual, last - loud, 0.0F,
                                     [](float sum, const ReadBit& bit) { return sum + bit.gain; }) /
                     static_cast<float>(usual - loud);
  // Half of a bit may follow, but what goes on after that is a tone that fades.
  if (end + 1 < bits.size() && last[1].gain > mostEcho * gain) {
    return false;
  }
  // The last bit has nothing after it to bear it out.
  return std::all_of(last - firm, last - 1,
                     [](const ReadBit& bit) { return bit.margin >= sureMargin; }) &&
         std::all_of(last - loud, last,
                     [&](const ReadBit& bit) { return bit.gain >= leastGain * gain; });
}

/// Whether the tones begin with a few ones, a zero and then just the data.
bool DumpEdges::isExactFromTones(const Beginning& beginning) const {
  return beginning.firstBit > range.begin && range.end - beginning.firstBit == dataBits &&
         !bits[beginning.firstBit - 1].value &&
         beginning.firstBit - 1 - beginning.leaderOnes == range.begin;
}

bool DumpEdges::isCountedBack(const Beginning& beginning) const {
  return beginning.leaderOnes == 0 && !isExactFromTones(beginning);
}

bool DumpEdges::isSure(const Beginning& beginning, bool endIsClean) const {
  if (beginning.firstBit == range.begin) {
    return false;
  }
  const std::size_t marker = beginning.firstBit - 1;
  const std::size_t ones = beginning.leaderOnes;
  for (std::size_t i = marker - std::min(ones, shortestLeader); i <= marker; ++i) {
    if (bits[i].margin < sureMargin) {
      return false;
    }
  }
  if (endIsClean || isToneAfter(beginning.firstBit + dataBits)) {
    return ones >= shortestLeader || isExactFromTones(beginning);
  }
  return ones >= longLeader || (ones >= plainLeader && marker - ones == range.begin &&
                                beginsInSilence() && !endsTooSoon(beginning.firstBit));
}

}  // namespace recovery
