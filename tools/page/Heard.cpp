#include "page/Heard.h"

#include <algorithm>
#include <cmath>

#include "recovery/Quantile.h"
#include "report/Words.h"

namespace {

constexpr double windowSeconds = 0.1;
constexpr float silentLevel = 0.001F;  // root mean square, part of full scale
constexpr double steadyShare = 0.8;    // of the windows with sound that are alike, in a steady tone
constexpr double mostVariance = 0.04;  // of regular periods, part of their mean squared
constexpr float tolerance = 0.05F;     // by which the frequencies of a steady tone differ
constexpr float lowestLeader = 1500.0F;    // hertz, the tone of a leader at any speed
constexpr float highestLeader = 2300.0F;   // hertz
constexpr std::size_t shortestDump = 250;  // windows
constexpr float steadyNoise = 2.0F;        // ratio of levels that noise stays within

}  // namespace

Heard::Heard(double sampleRate, int channelCount)
    : rate(sampleRate),
      channels(static_cast<std::size_t>(channelCount)),
      windowLength(static_cast<std::size_t>(windowSeconds * sampleRate)) {}

void Heard::add(const float* interleaved, std::size_t frames) {
  for (std::size_t i = 0; i < frames; ++i) {
    const float sample = interleaved[i * channels];
    current += 1.0;
    if (previous < 0.0F && sample >= 0.0F) {
      ++periods;
      sum += current;
      squares += current * current;
      current = 0.0;
    }
    energy += static_cast<double>(sample * sample);
    previous = sample;
    if (++filled == windowLength) {
      endWindow();
    }
  }
}

void Heard::endWindow() {
  const double mean = sum / std::max(periods, 1);
  const double variance = squares / std::max(periods, 1) - mean * mean;
  const bool isRegular = periods > 1 && variance <= mostVariance * mean * mean;
  windows.push_back({static_cast<float>(std::sqrt(energy / static_cast<double>(windowLength))),
                     static_cast<float>(isRegular ? rate / mean : 0.0)});
  filled = 0;
  energy = 0.0;
  periods = 0;
  sum = 0.0;
  squares = 0.0;
}

std::string Heard::words() const {
  std::vector<float> frequencies;
  std::vector<float> levels;
  for (const Window& window : windows) {
    if (window.level >= silentLevel) {
      frequencies.push_back(window.frequency);
      levels.push_back(window.level);
    }
  }
  if (frequencies.empty()) {
    return "silence";
  }
  const std::string length =
      windows.size() < shortestDump ? ", and is shorter than a dump of half a minute" : "";
  const float tone = recovery::median(frequencies);
  const float level = recovery::median(levels);
  const auto share = [](const std::vector<float>& values, auto isAlike) {
    return static_cast<double>(std::count_if(values.begin(), values.end(), isAlike)) /
           static_cast<double>(values.size());
  };
  if (tone > 0.0F && share(frequencies, [tone](float f) {
                       return std::abs(f - tone) <= tolerance * tone;
                     }) >= steadyShare) {
    const bool isLeader = tone >= lowestLeader && tone <= highestLeader;
    return "a steady tone of " + report::grouped(std::lround(tone)) + " Hz" +
           (isLeader ? ", such as comes before a dump, and no data" : "") + length;
  }
  const bool isSteady = share(levels, [level](float l) {
                          return l <= steadyNoise * level && l >= level / steadyNoise;
                        }) >= steadyShare;
  return (isSteady ? "steady sound, such as noise" : "sound that comes and goes, such as a voice") +
         length;
}
