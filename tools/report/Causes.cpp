#include "report/Causes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>
#include <utility>

#include "report/Words.h"

namespace report {

namespace {

constexpr double nominalRate = 44100.0;  // samples a second, on which the converter's ranges rest

/// What is known of a cause. A figure is stated from `stated` on, towards `borne`: the most that
/// the converter bears in an otherwise clean recording (docs/recordings.md), or `stated` itself
/// where it bears any of it or none.
struct Rule {
  Cause cause;
  const char* word;
  const char* unit;
  double stated;
  double borne;
  const char* remedy;
};

constexpr std::array<Rule, 17> rules{{
    {Cause::DropOut, "drop-out", "ms", 0.2, 0.2,
     "Clean the heads, record the tape again, and give both recordings together."},
    {Cause::CutBeginning, "cut-beginning", "bits", 1.0, 1.0,
     "Record again, and begin a second before the steady tone."},
    {Cause::CutEnd, "cut-end", "bits", 1.0, 1.0,
     "Record again, and stop a second after the tone has ended."},
    {Cause::NoLeader, "no-leader", "bits", 9.0, 10.0,
     "Record again, and begin a second before the data."},
    {Cause::FalseBeginning, "false-beginning", "s", 0.004, 0.004, "Cut off all that is before "},
    {Cause::WrongChannel, "wrong-channel", "channel", 2.0, 1.0,
     "Save that channel alone as a mono file."},
    {Cause::SampleRate, "sample-rate", "Hz", 0.0, 0.0, "Record or export it at 44,100 Hz."},
    {Cause::Slow, "slow", "%", 3.0, 14.2, "Set the player faster, or use another one."},
    {Cause::Fast, "fast", "%", 3.0, 19.8, "Set the player slower, or use another one."},
    {Cause::UnsteadySpeed, "unsteady-speed", "%", 2.0, 14.0,
     "Clean the player's capstan and its roller, or use another one."},
    {Cause::Noise, "noise", "dB", -34.0, -30.0,
     "Connect by cable to a line input, and turn up the player rather than the input."},
    {Cause::Hum, "hum", "dB", -30.0, -12.0,
     "Lead the cable away from power supplies, and run the computer on its battery."},
    {Cause::DcOffset, "dc-offset", "%", 10.0, 25.6, "Remove the DC offset in the audio editor."},
    {Cause::LowLevel, "low-level", "dBFS", -36.0, -84.0,
     "Turn up the player until the peaks reach half of full scale, and record again."},
    {Cause::Clipping, "clipping", "%", 2.0, 2.0,
     "Turn down the level until the peaks reach half of full scale, and record again."},
    {Cause::Unclear, "unclear", "presets", 1.0, 1.0,
     "Record it again, and give both recordings together."},
    {Cause::LossyFile, "lossy-file", "Hz", 0.0, 0.0, "Record as WAV or FLAC from the start."},
}};

constexpr double statedDropOutDepth = 10.0;  // dB, a shallower one is no harm
constexpr double leastToneLevel = -120.0;    // dBFS, below which the level is not known
constexpr double atDropOut = 0.01;           // seconds: a worst bit this near lies at a drop-out
constexpr double quietest = -99.0;           // dB, of a hiss that is not to be seen
constexpr int fewestSteps = 8;               // of the sample width, below which a level is low
constexpr int neededLeader = 10;             // one bits

const Rule& ruleOf(Cause cause) { return rules[static_cast<std::size_t>(cause)]; }

std::string againstTone(double level) {
  return decimal(std::abs(level), 1) + " dB " + (level <= 0.0 ? "below" : "above") + " the tone";
}

std::string lostPresets(int count) { return counted(count, "preset"); }

/// Gathers the findings of one recording.
class Finder {
 public:
  Finder(const Results& allResults, std::size_t index)
      : results(allResults),
        recording(allResults.recordings[index]),
        take(*recording.take()),
        presetsLost(countLost(index)) {}

  std::vector<Finding> find() {
    findCuts();
    findDropOuts();
    findBeginning();
    findChannel();
    findSpeed();
    findLevels();
    findFile();
    std::stable_sort(found.begin(), found.end(), [](const Finding& a, const Finding& b) {
      return std::tuple(a.weight, -a.presets, -a.excess) <
             std::tuple(b.weight, -b.presets, -b.excess);
    });
    return std::move(found);
  }

 private:
  using Counts = std::array<int, rules.size()>;

  int lost(Cause cause) const { return presetsLost[static_cast<std::size_t>(cause)]; }

  bool isAtDropOut(double time) const {
    return std::any_of(
        take.dropOuts.begin(), take.dropOuts.end(), [time](const recovery::DropOut& dropOut) {
          return time > dropOut.span.start - atDropOut && time < dropOut.span.end + atDropOut;
        });
  }

  /// The cause that a preset's reason speaks of in this recording.
  Cause causeOf(recovery::Reason reason, int record, double worstTime) const {
    const recovery::SignalFacts& signal = take.signal;
    const Cause beginning = dataStart(take) < 0.0 ? Cause::CutBeginning : Cause::NoLeader;
    const bool isNoisy = hissLevel(take) >= ruleOf(Cause::Noise).stated;
    const bool hums = signal.humFrequency > 0.0 && signal.humLevel > hissLevel(take) &&
                      signal.humLevel >= ruleOf(Cause::Hum).stated;
    const Cause cover = isAtDropOut(worstTime)  ? Cause::DropOut
                        : !take.beginningIsSure ? beginning
                        : hums                  ? Cause::Hum
                        : isNoisy               ? Cause::Noise
                                                : Cause::Unclear;
    switch (reason) {
      case recovery::Reason::DropOut:
        return Cause::DropOut;
      case recovery::Reason::Count:
        return take.dropOuts.empty() ? cover : Cause::DropOut;
      case recovery::Reason::Beginning:
        return beginning;
      case recovery::Reason::NotRecorded:
        return dataStart(take) < 0.0 && record <= firstRecord() ? Cause::CutBeginning
                                                                : Cause::CutEnd;
      case recovery::Reason::None:
        return Cause::Unclear;
      case recovery::Reason::Noise:
      case recovery::Reason::TakesDisagree:
        break;
    }
    return cover;
  }

  /// The first record of which any bit was recorded.
  int firstRecord() const {
    const auto bit = std::find_if(take.bits.begin(), take.bits.end(),
                                  [](const recovery::BitReading& b) { return b.value >= 0; });
    return static_cast<int>((bit - take.bits.begin()) / recovery::bitsPerPreset);
  }

  Counts countLost(std::size_t index) const {
    Counts counts{};
    for (int record = 0; record < presetCount; ++record) {
      const recovery::PresetReading& preset =
          results.bank.presets[static_cast<std::size_t>(record)];
      if (preset.verdict != recovery::Verdict::Sure &&
          preset.reason != recovery::Reason::TakesDisagree &&
          recordingOfTake(results, preset.take) == static_cast<int>(index)) {
        ++counts[static_cast<std::size_t>(causeOf(preset.reason, record, preset.worstTime))];
      }
    }
    return counts;
  }

  /// States a cause whose figure is `excess` of the way to what the converter bears.
  void state(Cause cause, double figure, double excess, std::string text, recovery::Span place = {},
             const std::string& remedyEnd = {}) {
    Finding finding;
    finding.cause = cause;
    finding.presets = lost(cause);
    finding.figure = figure;
    finding.excess = excess;
    finding.place = place;
    finding.text = std::move(text);
    finding.remedy = ruleOf(cause).remedy + remedyEnd;
    if (finding.presets > 0) {
      finding.weight = Weight::CostsPresets;
      finding.text += "; costs " + lostPresets(finding.presets);
    } else if (excess >= 1.0 && recording.converter.outcome != ConverterOutcome::ReadsRight) {
      finding.weight = Weight::StopsConverter;
    }
    found.push_back(std::move(finding));
  }

  /// States a cause if its figure is at its threshold or beyond, or if presets are lost to it.
  void stateFrom(Cause cause, double figure, std::string text) {
    const Rule& rule = ruleOf(cause);
    const double sign = rule.borne < rule.stated ? -1.0 : 1.0;
    if (sign * (figure - rule.stated) < 0.0 && lost(cause) == 0) {
      return;
    }
    const double range = std::abs(rule.borne - rule.stated);
    const double excess = range > 0.0 ? sign * (figure - rule.stated) / range : 0.0;
    state(cause, figure, excess, std::move(text));
  }

  void findCuts() {
    const auto isThere = [](const recovery::BitReading& bit) { return bit.value >= 0; };
    const auto first = std::find_if(take.bits.begin(), take.bits.end(), isThere);
    const auto last = std::find_if(take.bits.rbegin(), take.bits.rend(), isThere);
    if (first == take.bits.end()) {
      return;
    }
    const auto before = static_cast<int>(first - take.bits.begin());
    const auto after = static_cast<int>(last - take.bits.rbegin());
    if (before > 0) {
      state(Cause::CutBeginning, before, 1.0,
            "the first " + counted(before, "bit") + " of the data are not on the recording",
            {0.0, first->start});
    }
    const double left = recording.facts.duration - last->end;
    if (after > 0) {
      state(Cause::CutEnd, after, 1.0,
            "the last " + counted(after, "bit") + " of the data are not on the recording",
            {last->end, recording.facts.duration});
    } else if (left < take.signal.longHalfPeriod) {
      state(Cause::CutEnd, 0.0, 1.0,
            "the recording ends " + decimal(1000.0 * std::max(left, 0.0), 1) +
                " ms after the last bit",
            {last->start, recording.facts.duration});
    }
  }

  void findDropOuts() {
    const recovery::DropOut* longest = nullptr;
    int count = 0;
    bool isTooDeep = false;
    const auto length = [](const recovery::DropOut& d) { return d.span.end - d.span.start; };
    for (const recovery::DropOut& dropOut : take.dropOuts) {
      if (dropOut.depth < statedDropOutDepth ||
          1000.0 * length(dropOut) < ruleOf(Cause::DropOut).stated) {
        continue;
      }
      ++count;
      isTooDeep = isTooDeep || dropOut.depth + hissLevel(take) > ruleOf(Cause::Noise).borne;
      if (longest == nullptr || length(dropOut) > length(*longest)) {
        longest = &dropOut;
      }
    }
    if (longest == nullptr) {
      if (lost(Cause::DropOut) > 0) {
        state(Cause::DropOut, 0.0, 1.0, "the tones are too weak or gone in places");
      }
      return;
    }
    const double milliseconds = 1000.0 * length(*longest);
    state(Cause::DropOut, milliseconds, isTooDeep ? 1.0 : 0.0,
          counted(count, "drop-out") + (count == 1 ? ", " : ", the longest ") +
              decimal(milliseconds, 1) + " ms at " + clock(longest->span.start) + ", " +
              decimal(longest->depth, 0) + " dB deep",
          longest->span);
  }

  /// Whether the recording is as loud as the tones just before the data, as a leader would be.
  bool isToneBefore(double start) const {
    constexpr double nearest = 0.05;   // seconds before the data
    constexpr double furthest = 0.12;  // seconds
    const double step = recording.facts.levelStep;
    for (std::size_t i = 0; step > 0.0 && i < recording.facts.levels.size(); ++i) {
      const double time = static_cast<double>(i) * step;
      if (time >= start - furthest && time + step <= start - nearest &&
          decibels(recording.facts.levels[i]) > take.signal.toneLevel - 6.0) {
        return true;
      }
    }
    return false;
  }

  void findBeginning() {
    const double start = dataStart(take);
    const bool isShort = take.leaderOnes < neededLeader && !isToneBefore(start) &&
                         recording.converter.outcome != ConverterOutcome::ReadsRight;
    if (start >= 0.0 && (isShort || lost(Cause::NoLeader) > 0)) {
      state(Cause::NoLeader, take.leaderOnes, isShort ? 1.0 : 0.0,
            take.leaderOnes == 0
                ? "no leader is left before the data"
                : "only " + counted(take.leaderOnes, "bit") + " of the leader are left",
            {take.leader.start, start});
    }
    const ConverterAnswer& answer = recording.converter;
    const bool isOnFirst = take.channelIndex == 0;
    if (start >= 0.0 && isOnFirst && answer.outcome == ConverterOutcome::ReadsWrong &&
        answer.dataStart >= 0.0 &&
        start - answer.dataStart > ruleOf(Cause::FalseBeginning).stated) {
      state(Cause::FalseBeginning, start - answer.dataStart, 1.0,
            "the converter takes the data to begin at " + clock(answer.dataStart) + ", not at " +
                clock(start),
            {answer.dataStart, start}, clock(take.leader.start) + ".");
    }
  }

  void findChannel() {
    if (take.channelIndex > 0 && recording.converter.outcome != ConverterOutcome::ReadsRight) {
      state(Cause::WrongChannel, take.channelIndex + 1, 1.0,
            "the dump is on " + channelSentence(take) + ", the converter reads the first");
    }
  }

  void findSpeed() {
    const recovery::SignalFacts& signal = take.signal;
    const double rate = recording.facts.sampleRate;
    const double slow = 100.0 * (1.0 - signal.speedMedian);
    if (slow > 0.0) {
      stateFrom(Cause::Slow, slow, "the tape runs " + decimal(slow, 1) + " % slow");
    } else {
      stateFrom(Cause::Fast, -slow, "the tape runs " + decimal(-slow, 1) + " % fast");
    }
    stateFrom(Cause::UnsteadySpeed, 100.0 * signal.speedWander,
              "the speed wanders by " + decimal(100.0 * signal.speedWander, 1) + " % up and down");
    const double longSamples = signal.longHalfPeriod * rate;
    const double shortSamples = signal.shortHalfPeriod * rate;
    const bool fits = longSamples >= shortestLong && longSamples <= longestLong &&
                      shortSamples >= shortestShort && shortSamples <= longestShort;
    if (!fits && std::abs(rate / nominalRate - 1.0) > 0.005) {
      state(Cause::SampleRate, rate, 1.0,
            "at " + grouped(std::llround(rate)) + " Hz the half-waves are " +
                decimal(shortSamples, 1) + " and " + decimal(longSamples, 1) + " samples long");
    }
  }

  void findLevels() {
    const recovery::SignalFacts& signal = take.signal;
    const double hiss = hissLevel(take);
    stateFrom(Cause::Noise, hiss, "noise " + againstTone(hiss));
    if (lost(Cause::Unclear) > 0) {
      state(Cause::Unclear, lost(Cause::Unclear), 0.0, "the tones are unclear in places");
    }
    if (signal.humFrequency > 0.0) {
      stateFrom(
          Cause::Hum, signal.humLevel,
          "hum of " + decimal(signal.humFrequency, 0) + " Hz, " + againstTone(signal.humLevel));
    }
    if (signal.toneLevel < leastToneLevel) {
      return;
    }
    const double tone = std::pow(10.0, signal.toneLevel / 20.0);
    const double offset = tone > 0.0 ? 100.0 * std::abs(signal.dcOffset) / tone : 0.0;
    stateFrom(Cause::DcOffset, offset,
              "DC offset of " + decimal(offset, 0) + " % of the tone's peaks");
    findLowLevel(tone);
    stateFrom(Cause::Clipping, 100.0 * signal.clippedShare,
              "clipped: " + decimal(100.0 * signal.clippedShare, 1) + " % of the samples, at " +
                  decimal(signal.peakLevel, 1) + " dBFS");
  }

  void findLowLevel(double tone) {
    const double level = take.signal.toneLevel;
    const std::string text = "low level, the tone's peaks at " + decimal(level, 1) + " dBFS";
    const int bits = recording.bits;
    const double steps = bits > 0 && bits <= 32 ? tone * std::pow(2.0, bits - 1) : fewestSteps;
    if (steps < fewestSteps) {
      state(Cause::LowLevel, level, steps < 2.0 ? 1.0 : 0.5,
            text + ", " + decimal(steps, 1) + " steps of " + counted(bits, "bit"));
    } else {
      stateFrom(Cause::LowLevel, level, text);
    }
  }

  void findFile() {
    if (recording.isLossy) {
      state(Cause::LossyFile, take.signal.bandwidth, 0.0, "the file is compressed with loss");
    }
  }

  const Results& results;
  const Recording& recording;
  const recovery::Take& take;
  Counts presetsLost;
  std::vector<Finding> found;
};

}  // namespace

const char* causeWord(Cause cause) { return ruleOf(cause).word; }

const char* causeUnit(Cause cause) { return ruleOf(cause).unit; }

const char* weightWord(Weight weight) {
  switch (weight) {
    case Weight::CostsPresets:
      return "costs-presets";
    case Weight::StopsConverter:
      return "stops-converter";
    case Weight::WorthKnowing:
      break;
  }
  return "worth-knowing";
}

std::vector<Finding> findings(const Results& results, std::size_t recording) {
  return results.recordings[recording].take() == nullptr ? std::vector<Finding>()
                                                         : Finder(results, recording).find();
}

double hissLevel(const recovery::Take& take) {
  // Between 2,800 and 6,000 Hz little of the tones is left; the quiet places there are noise.
  constexpr double binWidth = 10.0;  // hertz
  constexpr double from = 2800.0;
  constexpr double to = 6000.0;
  constexpr double bandWidth = 5300.0;  // hertz, of 200 to 5,500
  std::vector<float> levels;
  const double top = std::min(to, take.signal.bandwidth);
  for (std::size_t i = 0; i < take.spectrum.size(); ++i) {
    const double frequency = binWidth * static_cast<double>(i);
    if (frequency >= from && frequency < top && std::isfinite(take.spectrum[i])) {
      levels.push_back(take.spectrum[i]);
    }
  }
  if (levels.empty() || take.signal.toneLevel < leastToneLevel) {
    return quietest;
  }
  const auto quiet = levels.begin() + static_cast<std::ptrdiff_t>(levels.size() / 10);
  std::nth_element(levels.begin(), quiet, levels.end());
  return std::max(quietest,
                  *quiet + 10.0 * std::log10(bandWidth / binWidth) - take.signal.toneLevel);
}

SpeedRange speedsForConverter(const Recording& recording) {
  const recovery::Take* take = recording.take();
  SpeedRange range;
  if (take == nullptr || !(take->signal.shortHalfPeriod > 0.0) ||
      !(take->signal.longHalfPeriod > 0.0)) {
    return range;
  }
  const recovery::SignalFacts& signal = take->signal;
  const double shortSamples =
      signal.shortHalfPeriod * recording.facts.sampleRate * signal.speedMedian;
  const double longSamples =
      signal.longHalfPeriod * recording.facts.sampleRate * signal.speedMedian;
  range.slowest = std::max(shortSamples / longestShort, longSamples / longestLong);
  range.fastest = std::min(shortSamples / shortestShort, longSamples / shortestLong);
  if (range.fastest < range.slowest) {
    range = {};
  }
  return range;
}

}  // namespace report
