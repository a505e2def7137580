#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "recovery/Filter.h"

namespace recovery {

/// The length of the stretches into which a recording is cut for the search.
inline constexpr double blockSeconds = 0.05;

/// Finds, in a stream, where the two tones dominate one channel: silence, hiss and most of voice
/// and music fall away here.
class ToneDetector {
 public:
  /// For `sampleRate` samples a second.
  explicit ToneDetector(double sampleRate);

  /// Takes the next samples and appends a flag for each stretch of `blockLength()` samples that is
  /// now complete: true where the tones dominate.
  void add(const float* samples, std::size_t count, std::vector<bool>& flags);

  std::size_t blockLength() const { return length; }

 private:
  struct BandMeter {
    Biquad highPass;
    Biquad lowPass;
    double energy = 0.0;

    void add(float sample);
  };

  std::size_t length;
  std::size_t filled = 0;
  BandMeter low;
  BandMeter high;
  BandMeter whole;
  Biquad hum;  // takes off what is below all bands, for loud hum once more
};

/// A region of blocks in which a dump may lie, silence around it included.
struct BlockRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// Joins the flags of blocks, in a stream, to regions.
class RegionFinder {
 public:
  /// For blocks of `blockDuration` seconds.
  explicit RegionFinder(double blockDuration);

  /// Takes the flag of the next block. Returns the region that ended with it, if one did.
  std::optional<BlockRange> add(bool hasTones);

  /// Ends the stream. Returns the region that was open, if one was.
  std::optional<BlockRange> finish();

  /// The first block that a region which is open or may open can need.
  std::size_t firstNeeded() const;

 private:
  std::optional<BlockRange> close(std::size_t end);
  std::size_t possibleBegin() const;  // of a region that opens now

  std::size_t window;  // blocks over which flags are counted
  std::size_t lead;    // blocks before the window that opens a region that belong to it
  std::size_t longest;
  std::size_t overlap;  // of the pieces of a longer region
  std::size_t shortest;
  std::vector<bool> recent;  // a ring of the last `window` flags
  std::size_t count = 0;     // blocks so far
  std::size_t tones = 0;     // flags set in `recent`
  bool isOpen = false;
  std::size_t begin = 0;
  std::size_t lastEnd = 0;  // of the region before
  std::size_t toneBlocks = 0;
};

}  // namespace recovery
