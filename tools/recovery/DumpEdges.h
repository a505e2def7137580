#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "recovery/BitSequence.h"

namespace recovery {

/// Lengths of leaders, in one bits.
inline constexpr std::size_t shortestLeader = 10;  // a zero after them may be a start marker
inline constexpr std::size_t plainLeader = 24;     // no data are likely to hold so many by chance
inline constexpr std::size_t longLeader = 100;     // outweighs a missing end

/// Where the data of a dump may begin.
struct Beginning {
  std::size_t firstBit = 0;    // of the data; the marker is before it, if it was recorded
  std::size_t leaderOnes = 0;  // bits of the leader, misread ones included
  double score = 0.0;
};

/// The parts of a sequence in which the tones sound, short gaps included.
std::vector<IndexRange> findToneRanges(const std::vector<ReadBit>& bits);

/// Looks for where a dump begins and ends within a part of a sequence of bits.
class DumpEdges {
 public:
  /// The tones that sound in `rangeToSearch` end at the bit `endOfTones`. `bitSequence` must
  /// outlive this object.
  DumpEdges(const BitSequence& bitSequence, const IndexRange& rangeToSearch,
            std::size_t endOfTones);

  /// The likeliest beginning of a dump, or nothing where there is neither a leader nor an end.
  std::optional<Beginning> findBeginning() const;

  /// Where the tones end after about as many bits as data have, if they do: at the end of the
  /// tones, or at a pause before other tones.
  std::optional<std::size_t> findEnd(const Beginning& beginning) const;

  /// Whether the range reaches to where the tones end.
  bool reachesToneEnd() const { return range.end == toneEnd; }

  /// Whether there are bits in a part, and no firm zero among them.
  bool hasNoFirmZero(const IndexRange& part) const;

  /// Whether the tones are firm and as loud as before up to the end, and do not fade into a
  /// drop-out.
  bool isFirmBefore(std::size_t end) const;

  /// Whether the data are counted back from their end, as no leader is left.
  bool isCountedBack(const Beginning& beginning) const;

  /// Whether it is sure that the data begin there. `endIsClean` says that just the 7,680 bits lie
  /// before the end of the tones.
  bool isSure(const Beginning& beginning, bool endIsClean) const;

 private:
  bool beginsInSilence() const;
  bool endsInSilence() const;
  bool endsTooSoon(std::size_t firstBit) const;
  bool hasToneIn(const IndexRange& part) const;
  bool isFirmZero(std::size_t i) const;
  bool isPauseAt(std::size_t i) const;
  bool endsAt(std::size_t i) const;
  bool isToneAfter(std::size_t i) const;
  bool isExactFromTones(const Beginning& beginning) const;
  std::optional<double> markerScore(std::size_t marker, std::size_t leader,
                                    std::size_t onesBefore) const;

  const std::vector<ReadBit>& bits;
  IndexRange range;
  std::size_t toneEnd;
  std::size_t firmZerosEnd;  // one past the last firm zero of the range
};

}  // namespace recovery
