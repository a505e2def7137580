#include "recovery/Regions.h"

#include <algorithm>
#include <cmath>

namespace recovery {

namespace {

constexpr double tonesPart = 0.66;  // of a block's energy that the two bands must hold
constexpr double lowest = 250.0;    // hertz of what the bands' part is taken of
constexpr double highest = 6000.0;
constexpr double quietest = 1.0e-14;   // mean square below which a block is silence: -140 dBFS
constexpr double windowSeconds = 0.6;  // over which tones are counted
constexpr double openPart = 0.5;       // of the window that opens a region
constexpr double closePart = 0.2;      // of the window under which it ends
constexpr double leadSeconds = 0.9;    // kept before the window that opens a region
constexpr double longestSeconds = 150.0;
constexpr double overlapSeconds = 40.0;  // of the pieces of a longer region: more than a dump
constexpr double shortestSeconds = 0.7;  // of tones in all, about a preset

/// How many stretches of `ofSeconds` are `seconds`, at least one.
std::size_t countOf(double seconds, double ofSeconds) {
  return std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(seconds / ofSeconds)));
}

}  // namespace

void ToneDetector::BandMeter::add(float sample) {
  const auto value = static_cast<double>(lowPass.next(highPass.next(sample)));
  energy += value * value;
}

ToneDetector::ToneDetector(double sampleRate)
    : length(countOf(blockSeconds, 1.0 / sampleRate)),
      low{Biquad::highPass(lowTone.from, sampleRate), Biquad::lowPass(lowTone.to, sampleRate)},
      high{Biquad::highPass(highTone.from, sampleRate), Biquad::lowPass(highTone.to, sampleRate)},
      whole{Biquad::highPass(lowest, sampleRate), Biquad::lowPass(highest, sampleRate)},
      hum(Biquad::highPass(lowest, sampleRate)) {}

void ToneDetector::add(const float* samples, std::size_t count, std::vector<bool>& flags) {
  for (std::size_t i = 0; i < count; ++i) {
    const float sample = hum.next(samples[i]);
    low.add(sample);
    high.add(sample);
    whole.add(sample);
    if (++filled == length) {
      flags.push_back(whole.energy > quietest * static_cast<double>(length) &&
                      low.energy + high.energy > tonesPart * whole.energy);
      low.energy = high.energy = whole.energy = 0.0;
      filled = 0;
    }
  }
}

RegionFinder::RegionFinder(double blockDuration)
    : window(countOf(windowSeconds, blockDuration)),
      lead(countOf(leadSeconds, blockDuration)),
      longest(countOf(longestSeconds, blockDuration)),
      overlap(countOf(overlapSeconds, blockDuration)),
      shortest(countOf(shortestSeconds, blockDuration)),
      recent(window, false) {}

std::optional<BlockRange> RegionFinder::add(bool hasTones) {
  const std::size_t slot = count % window;
  tones = tones - (recent[slot] ? 1 : 0) + (hasTones ? 1 : 0);
  recent[slot] = hasTones;
  ++count;
  const double part = static_cast<double>(tones) / static_cast<double>(window);
  if (!isOpen) {
    if (part >= openPart) {
      isOpen = true;
      begin = possibleBegin();
      toneBlocks = tones;
    }
    return std::nullopt;
  }
  toneBlocks += hasTones ? 1 : 0;
  if (part < closePart) {
    // The rest of the window, 0.5 s after the tones, is taken along, so that their end can be seen.
    return close(count);
  }
  if (count - begin >= longest) {
    std::optional<BlockRange> piece = close(count);
    isOpen = true;
    begin = count - overlap;
    toneBlocks = overlap;
    return piece;
  }
  return std::nullopt;
}

std::optional<BlockRange> RegionFinder::finish() { return isOpen ? close(count) : std::nullopt; }

std::optional<BlockRange> RegionFinder::close(std::size_t end) {
  isOpen = false;
  lastEnd = end;
  return toneBlocks >= shortest ? std::optional(BlockRange{begin, end}) : std::nullopt;
}

std::size_t RegionFinder::firstNeeded() const { return isOpen ? begin : possibleBegin(); }

std::size_t RegionFinder::possibleBegin() const {
  return std::max(count - std::min(count, window + lead), lastEnd);
}

}  // namespace recovery
