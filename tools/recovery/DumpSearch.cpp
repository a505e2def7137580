#include "recovery/DumpSearch.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

#include "recovery/Bank.h"
#include "recovery/Channels.h"
#include "recovery/ConverterReading.h"
#include "recovery/RegionReader.h"
#include "recovery/Regions.h"

namespace recovery {

namespace {

constexpr double lowestRate = 4000.0;
constexpr double highestRate = 1.0e6;
constexpr double highestSignRate = 50000.0;  // at which the tones still suit the converter's reader
constexpr std::size_t mostLevels = 4000;
constexpr double firstLevelStep = 0.01;    // seconds
constexpr double tailSeconds = 1.0;        // dropped from the front at once, at least
constexpr double shortestFlat = 200.0e-6;  // seconds at the peak that no unclipped tone stays
constexpr float flatDepth = 1.0e-3F;       // part of the peak by which a flat top may differ
constexpr float quietestClip = 0.15F;  // part of full scale below which steps look like clipping

void moveTo(Span& span, double startTime) {
  if (span.end > span.start) {
    span.start += startTime;
    span.end += startTime;
  }
}

/// Turns the times of a take from those of its region into those of the recording.
void moveTo(Take& take, double startTime) {
  for (BitReading& bit : take.bits) {
    if (bit.value >= 0) {
      bit.start += startTime;
      bit.end += startTime;
    }
  }
  moveTo(take.leader, startTime);
  moveTo(take.marker, startTime);
  for (SpeedPoint& point : take.speed) {
    point.time += startTime;
  }
  for (DropOut& dropOut : take.dropOuts) {
    moveTo(dropOut.span, startTime);
  }
  for (DoubtfulPlace& place : take.doubtfulPlaces) {
    moveTo(place.span, startTime);
    place.wave.start += startTime;
  }
}

/// How much of one channel lies on flat tops, block by block.
class ClipMeter {
 public:
  ClipMeter(double sampleRate, std::size_t blockFrames)
      : blockLength(blockFrames),
        shortestRun(std::max<std::size_t>(3, static_cast<std::size_t>(shortestFlat * sampleRate))) {
  }

  void add(float sample) {
    const float height = std::abs(sample);
    peak = std::max(peak, height);
    if (run > 0 && std::abs(sample - top) <= flatDepth * std::abs(top)) {
      ++run;
    } else {
      endRun();
      top = sample;
      run = 1;
    }
    if (++filled == blockLength) {
      endRun();
      blocks.push_back({peak, flat});
      filled = flat = 0;
      peak = 0.0F;
    }
  }

  /// The part of the samples from block `begin` to `end` that is clipped.
  double share(std::size_t begin, std::size_t end) const {
    std::size_t sum = 0;
    float highest = 0.0F;
    for (std::size_t i = std::max(begin, forgotten); i < std::min(end, forgotten + blocks.size());
         ++i) {
      sum += blocks[i - forgotten].flat;
      highest = std::max(highest, blocks[i - forgotten].peak);
    }
    return highest < quietestClip || end <= begin
               ? 0.0
               : static_cast<double>(sum) / static_cast<double>((end - begin) * blockLength);
  }

  /// Forgets the blocks before `block`, all of them complete.
  void forget(std::size_t block) {
    blocks.erase(blocks.begin(), blocks.begin() + static_cast<std::ptrdiff_t>(block - forgotten));
    forgotten = block;
  }

 private:
  struct Block {
    float peak;
    std::size_t flat;
  };

  void endRun() {
    if (run >= shortestRun && std::abs(top) > 0.9F * peak) {
      flat += run;
    }
    run = 0;
  }

  std::size_t blockLength;
  std::size_t shortestRun;
  std::vector<Block> blocks;  // from the block `forgotten` on
  std::size_t forgotten = 0;
  float peak = 0.0F;
  float top = 0.0F;
  std::size_t run = 0;
  std::size_t flat = 0;
  std::size_t filled = 0;
};

/// The highest magnitudes over a recording of unknown length, in at most `mostLevels` steps.
class LevelMeter {
 public:
  explicit LevelMeter(double sampleRate)
      : framesPerStep(
            std::max<std::size_t>(1, static_cast<std::size_t>(firstLevelStep * sampleRate))) {}

  void add(float height) {
    peak = std::max(peak, height);
    if (++filled == framesPerStep) {
      levels.push_back(peak);
      peak = 0.0F;
      filled = 0;
      if (levels.size() == mostLevels) {
        for (std::size_t i = 0; i < mostLevels / 2; ++i) {
          levels[i] = std::max(levels[2 * i], levels[2 * i + 1]);
        }
        levels.resize(mostLevels / 2);
        framesPerStep *= 2;
      }
    }
  }

  std::vector<float> levels;
  std::size_t framesPerStep;

 private:
  float peak = 0.0F;
  std::size_t filled = 0;
};

}  // namespace

struct DumpSearch::State {
  struct Channel {
    Decimator decimator;
    ToneDetector detector;
    ClipMeter clips;
    std::vector<float> kept;      // decimated, from the sample `dropped` on
    std::vector<float> recorded;  // the same as recorded, where the converter could read it
    std::vector<bool> flags;      // of the blocks that are not yet searched
    float peak = 0.0F;
  };

  State(double sampleRate, int channelCount)
      : rate(sampleRate), levels(sampleRate), finder(blockSeconds) {
    for (int i = 0; i < channelCount; ++i) {
      Decimator decimator(sampleRate);
      ToneDetector detector(decimator.outputRate());
      const std::size_t blockFrames =
          detector.blockLength() * static_cast<std::size_t>(decimator.factor());
      channels.push_back(
          {std::move(decimator), detector, ClipMeter(sampleRate, blockFrames), {}, {}, {}, 0.0F});
    }
  }

  double keptRate() const { return channels.front().decimator.outputRate(); }
  std::size_t blockLength() const { return channels.front().detector.blockLength(); }

  void measure(const float* interleaved, std::size_t count) {
    for (std::size_t frame = 0; frame < count; ++frame) {
      float highest = 0.0F;
      for (std::size_t c = 0; c < channels.size(); ++c) {
        float sample = interleaved[frame * channels.size() + c];
        sample = std::isfinite(sample) ? sample : 0.0F;
        channels[c].clips.add(sample);
        channels[c].peak = std::max(channels[c].peak, std::abs(sample));
        highest = std::max(highest, std::abs(sample));
        if (rate <= highestSignRate) {
          channels[c].recorded.push_back(sample);
        }
      }
      levels.add(highest);
    }
    frames += count;
  }

  /// Searches the blocks that are complete by now.
  void search() {
    const std::size_t count = channels.front().flags.size();
    for (std::size_t block = 0; block < count; ++block) {
      const bool hasTones =
          std::any_of(channels.begin(), channels.end(),
                      [block](const Channel& c) { return static_cast<bool>(c.flags[block]); });
      if (const std::optional<BlockRange> region = finder.add(hasTones)) {
        read(region->begin * blockLength(), region->end * blockLength());
      }
    }
    for (Channel& channel : channels) {
      channel.flags.clear();
    }
  }

  /// Reads the region between two of the decimated samples.
  void read(std::size_t begin, std::size_t end) {
    std::vector<std::vector<float>> region;
    for (const Channel& channel : channels) {
      const std::size_t last = std::min(end - dropped, channel.kept.size());
      const std::size_t first = std::min(begin - dropped, last);
      region.emplace_back(channel.kept.begin() + static_cast<std::ptrdiff_t>(first),
                          channel.kept.begin() + static_cast<std::ptrdiff_t>(last));
    }
    std::vector<Take> found = readRegion(region, keptRate());
    for (Take& take : found) {
      moveTo(take, static_cast<double>(begin) / keptRate());
      askSigns(take);
      const auto blockAt = [&](double time) {
        return static_cast<std::size_t>(time * keptRate()) / blockLength();
      };
      const Span span = recordedSpan(take);
      take.signal.clippedShare = channels[static_cast<std::size_t>(take.channelIndex)].clips.share(
          blockAt(span.start), blockAt(span.end));
    }
    takes = mergeTakes(std::move(takes), found);
  }

  /// Lets the signs of the samples as recorded decide where a take is doubtful: what the converter
  /// reads right is read here, too, however faint it is.
  void askSigns(Take& take) const {
    constexpr double lead = 0.01;  // seconds
    const std::vector<float>& recorded =
        channels[static_cast<std::size_t>(take.channelIndex)].recorded;
    const double start = (take.leader.start - lead) * rate - static_cast<double>(firstKept());
    if (recorded.empty() || surePresets(take) == presetCount) {
      return;
    }
    const auto first = std::min(static_cast<std::size_t>(std::max(start, 0.0)), recorded.size());
    takeOpinion(
        take, readBySigns({recorded.begin() + static_cast<std::ptrdiff_t>(first), recorded.end()}));
  }

  /// The frame that the first sample kept stands for.
  std::uint64_t firstKept() const {
    return std::uint64_t{dropped} * static_cast<std::uint64_t>(channels.front().decimator.factor());
  }

  /// Forgets what no region can need any more.
  void forget() {
    const std::size_t firstBlock = finder.firstNeeded();
    const std::size_t needed = firstBlock * blockLength();
    if (static_cast<double>(needed - dropped) < tailSeconds * keptRate()) {
      return;
    }
    for (Channel& channel : channels) {
      channel.clips.forget(firstBlock);
      const auto count = static_cast<std::ptrdiff_t>(needed - dropped);
      channel.kept.erase(channel.kept.begin(), channel.kept.begin() + count);
      if (!channel.recorded.empty()) {
        channel.recorded.erase(channel.recorded.begin(),
                               channel.recorded.begin() + count * channel.decimator.factor());
      }
    }
    dropped = needed;
  }

  double rate;
  std::uint64_t frames = 0;
  LevelMeter levels;
  std::vector<Channel> channels;
  std::size_t dropped = 0;
  RegionFinder finder;
  std::vector<Take> takes;
};

DumpSearch::DumpSearch(double sampleRate, int channels) {
  if (sampleRate >= lowestRate && sampleRate <= highestRate && channels > 0) {
    state = std::make_unique<State>(sampleRate, channels);
  }
}

DumpSearch::~DumpSearch() = default;
DumpSearch::DumpSearch(DumpSearch&& other) noexcept = default;
DumpSearch& DumpSearch::operator=(DumpSearch&& other) noexcept = default;

void DumpSearch::add(const float* interleaved, std::size_t frames) {
  if (!state) {
    return;
  }
  // In pieces, so that little is kept beside an open region.
  constexpr std::size_t piece = 16384;
  const std::size_t count = state->channels.size();
  for (std::size_t begin = 0; begin < frames; begin += piece) {
    const std::size_t size = std::min(piece, frames - begin);
    const float* const samples = interleaved + begin * count;
    state->measure(samples, size);
    for (std::size_t c = 0; c < count; ++c) {
      State::Channel& channel = state->channels[c];
      const std::size_t before = channel.kept.size();
      channel.decimator.add({samples + c, size, count}, channel.kept);
      channel.detector.add(channel.kept.data() + before, channel.kept.size() - before,
                           channel.flags);
    }
    state->search();
    state->forget();
  }
}

std::vector<Take> DumpSearch::finish() {
  if (!state) {
    return {};
  }
  for (State::Channel& channel : state->channels) {
    const std::size_t before = channel.kept.size();
    channel.decimator.finish(channel.kept);
    channel.detector.add(channel.kept.data() + before, channel.kept.size() - before, channel.flags);
  }
  state->search();
  if (const std::optional<BlockRange> region = state->finder.finish()) {
    // The last block may be unfinished; what there is of it belongs to the region.
    state->read(region->begin * state->blockLength(), (region->end + 1) * state->blockLength());
  }
  return std::move(state->takes);
}

RecordingFacts DumpSearch::facts() const {
  RecordingFacts facts;
  if (!state) {
    return facts;
  }
  facts.sampleRate = state->rate;
  facts.channels = static_cast<int>(state->channels.size());
  facts.duration = static_cast<double>(state->frames) / state->rate;
  facts.levels = state->levels.levels;
  facts.levelStep = static_cast<double>(state->levels.framesPerStep) / state->rate;
  for (const State::Channel& channel : state->channels) {
    facts.channelPeaks.push_back(channel.peak);
  }
  return facts;
}

}  // namespace recovery
