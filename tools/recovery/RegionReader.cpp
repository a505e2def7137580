#include "recovery/RegionReader.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>

#include "recovery/Bank.h"
#include "recovery/BitSequence.h"
#include "recovery/Bits.h"
#include "recovery/ChannelMix.h"
#include "recovery/Filter.h"
#include "recovery/Framing.h"
#include "recovery/HalfPeriods.h"
#include "recovery/Places.h"
#include "recovery/Signal.h"
#include "recovery/SpeedTrack.h"

namespace recovery {

namespace {

constexpr float chainMargin = 80.0F;  // nats of a bit without a flaw
constexpr float leastShare = 0.03F;   // of the loudest channel's level: a quieter one is dead

BitSequence sequenceOf(const BitChain& chain) {
  BitSequence sequence;
  for (const TimedBit& bit : chain.bits) {
    sequence.bits.push_back({bit.start, bit.end, bit.value, true, chainMargin, 1.0F, 1.0F, 1.0F});
  }
  if (chain.endsInSilence) {
    const double end = chain.bits.back().end;
    sequence.bits.insert(sequence.bits.end(), silentBits,
                         {end, end, false, false, 0.0F, 0.0F, 0.0F, 0.0F});
  }
  return sequence;
}

ReadBit readBitOf(const PathBit& bit, const TapeSignal& signal) {
  const auto timeAt = [&](int position) {
    return signal.times[std::min(static_cast<std::size_t>(position), signal.times.size() - 1)];
  };
  return {timeAt(bit.start), timeAt(bit.start + bit.length),
          bit.value,         bit.hasTone(),
          bit.margin,        bit.gain,
          bit.fit,           bit.level};
}

std::vector<ReadBit> readBitsOf(const std::vector<PathBit>& bits, const TapeSignal& signal) {
  std::vector<ReadBit> converted;
  converted.reserve(bits.size());
  for (const PathBit& bit : bits) {
    converted.push_back(readBitOf(bit, signal));
  }
  return converted;
}

BitSequence sequenceOf(const BitPath& path, const TapeSignal& signal) {
  BitSequence sequence{readBitsOf(path.bits, signal), {}};
  for (const WeakStretch& weak : path.weakStretches) {
    BitSequence::Stretch stretch{weak.begin, weak.end, {}, readBitsOf(weak.other, signal)};
    for (const WeakStretch::Reading& reading : weak.readings) {
      stretch.readings.push_back({reading.cost, readBitsOf(reading.bits, signal)});
    }
    sequence.stretches.push_back(std::move(stretch));
  }
  return sequence;
}

/// Whether a region of so many seconds holds no dump beside those of which all presets are sure.
bool isWhole(const std::vector<Take>& takes, double duration) {
  constexpr double shortestDump = 15.0;  // seconds: less than 7,680 bits last on any player
  double left = duration;
  bool isAnyWhole = false;
  for (const Take& take : takes) {
    if (surePresets(take) == presetCount) {
      const Span span = recordedSpan(take);
      left -= span.end - span.start;
      isAnyWhole = true;
    }
  }
  return isAnyWhole && left < shortestDump;
}

/// Whether of any dump all bits were recorded, be they sure or not.
bool isAnyComplete(const std::vector<Take>& takes) {
  return std::any_of(takes.begin(), takes.end(), [](const Take& take) {
    return take.beginningIsSure && recordedBits(take) == bitsPerBank;
  });
}

/// From where on the speed is not to be trusted, in seconds, if another sound right after the dump
/// hides how fast the tape ran: some time before the last sure bit, where only the last few are
/// not.
std::optional<double> hiddenSpeedFrom(const Take& take) {
  constexpr std::ptrdiff_t few = 24;
  constexpr double reach = 0.03;  // seconds that are misread already
  const auto last = std::find_if(take.bits.rbegin(), take.bits.rbegin() + few, isSure);
  if (last == take.bits.rbegin() || last == take.bits.rbegin() + few) {
    return std::nullopt;
  }
  return last->end - reach;
}

/// From the first to the last long chain, in seconds; empty where there is none.
Span spanOf(const std::vector<BitChain>& chains) {
  constexpr std::size_t fewestBits = 96;
  Span span;
  for (const BitChain& chain : chains) {
    if (chain.bits.size() >= fewestBits) {
      span.start = span.end > 0.0 ? span.start : chain.bits.front().start;
      span.end = chain.bits.back().end;
    }
  }
  return span;
}

/// The samples of a span and a little around it; silence elsewhere.
std::vector<float> keepOnly(const Span& span, const std::vector<float>& samples,
                            double sampleRate) {
  constexpr double around = 0.3;  // seconds
  const auto indexOf = [&](double time) {
    const auto index = static_cast<std::size_t>(std::max(time, 0.0) * sampleRate);
    return static_cast<std::ptrdiff_t>(std::min(index, samples.size()));
  };
  std::vector<float> kept(samples.size(), 0.0F);
  const std::ptrdiff_t begin = indexOf(span.start - around);
  std::copy(samples.begin() + begin, samples.begin() + indexOf(span.end + around),
            kept.begin() + begin);
  return kept;
}

std::vector<Take> readChannel(const std::vector<float>& recorded, double sampleRate) {
  std::vector<float> evened = recorded;
  removeBass(evened, sampleRate);
  restoreBass(evened, sampleRate);
  evenLevel(evened, sampleRate);
  std::optional<SpeedTrack> track = SpeedTrack::measure(evened, sampleRate);
  if (!track) {
    return {};
  }
  // Most recordings read without a flaw; only what does not takes the longer way.
  std::vector<Take> takes;
  const std::vector<BitChain> chains = readChains(evened, sampleRate, *track);
  for (const BitChain& chain : chains) {
    std::vector<Take> found = frameDumps(sequenceOf(chain));
    std::move(found.begin(), found.end(), std::back_inserter(takes));
  }
  const auto decode = [&](const std::vector<float>& samples, const SpeedTrack& speed) {
    const TapeSignal signal = resample(samples, sampleRate, speed);
    const BitSequence sequence = sequenceOf(readByWaves(signal, readByEnergy(signal)), signal);
    std::vector<Take> decoded = frameDumps(sequence);
    for (Take& take : decoded) {
      describePlaces(take, sequence, recorded, sampleRate);
    }
    takes = mergeTakes(std::move(decoded), takes);
  };
  constexpr double muchElse = 1.0;  // seconds
  const double duration = static_cast<double>(recorded.size()) / sampleRate;
  if (!isWhole(takes, duration)) {
    decode(evened, *track);
  }
  const Span span = spanOf(chains);
  if (!isAnyComplete(takes) && span.end > span.start &&
      span.end - span.start < duration - muchElse) {
    // Other sounds may have spoilt the speed and the waves.
    const std::vector<float> kept = keepOnly(span, evened, sampleRate);
    const std::optional<SpeedTrack> ownTrack = SpeedTrack::measure(kept, sampleRate);
    if (ownTrack) {
      decode(kept, *ownTrack);
      track = ownTrack;
    }
  }
  const std::optional<double> hidden = takes.empty() ? std::nullopt : hiddenSpeedFrom(takes.back());
  if (hidden) {
    SpeedTrack held = *track;
    held.holdAfter(*hidden);
    decode(evened, held);
  }
  for (Take& take : takes) {
    describeSignal(take, recorded, evened, sampleRate, *track);
  }
  return takes;
}

float levelOf(const std::vector<float>& samples) {
  return static_cast<float>(
      std::sqrt(energyOf(samples) / static_cast<double>(std::max<std::size_t>(1, samples.size()))));
}

}  // namespace

std::vector<Take> readRegion(const std::vector<std::vector<float>>& channels, double sampleRate) {
  std::vector<float> levels(channels.size());
  std::transform(channels.begin(), channels.end(), levels.begin(), levelOf);
  const float loudest = *std::max_element(levels.begin(), levels.end());
  std::vector<std::size_t> live;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const bool isRepeated = std::any_of(live.begin(), live.end(),
                                        [&](std::size_t k) { return channels[k] == channels[i]; });
    if (levels[i] >= leastShare * loudest && !isRepeated) {
      live.push_back(i);
    }
  }

  std::vector<Take> takes;
  const auto readAs = [&](const std::vector<float>& samples, std::size_t index) {
    std::vector<Take> found = readChannel(samples, sampleRate);
    for (Take& take : found) {
      take.channelIndex = static_cast<int>(index);
    }
    takes = mergeTakes(std::move(takes), found);
  };
  for (const std::size_t i : live) {
    readAs(channels[i], i);
    if (isWhole(takes, static_cast<double>(channels[i].size()) / sampleRate)) {
      return takes;
    }
  }
  if (live.size() > 1) {
    std::sort(live.begin(), live.end(),
              [&levels](std::size_t a, std::size_t b) { return levels[a] > levels[b]; });
    readAs(mixChannels(channels[live[0]], channels[live[1]], sampleRate), live[0]);
  }
  return takes;
}

}  // namespace recovery
