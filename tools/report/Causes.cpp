#include "report/Causes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>
#include <utility>

#include "report/Measures.h"
#include "report/Words.h"
#include "signal/Tones.h"

namespace report {

namespace {

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

constexpr std::array<Rule, 20> rules{{
    {Cause::DropOut, "drop-out", "ms", 0.2, 0.2,
     "Clean the heads, record again, and give this program both recordings."},
    {Cause::CutBeginning, "cut-beginning", "bits", 1.0, 1.0,
     "Record again, and begin a second before the steady tone (the leader)."},
    {Cause::CutEnd, "cut-end", "bits", 1.0, 1.0,
     "Record again to the end of the tones and a second longer."},
    {Cause::NoLeader, "no-leader", "bits", 9.0, 10.0,
     "Record again, and begin a second before the data."},
    {Cause::FalseBeginning, "false-beginning", "s", 0.004, 0.004, "Cut off all that is before "},
    {Cause::WrongChannel, "wrong-channel", "channel", 2.0, 1.0,
     "Save that channel alone as a mono file."},
    {Cause::SampleRate, "sample-rate", "Hz", 0.0, 0.0, "Record or export it at 44,100 Hz."},
    {Cause::Slow, "slow", "%", 3.0, 14.2,
     "Record again, with another player or with this one set to about +"},
    {Cause::Fast, "fast", "%", 3.0, 19.8,
     "Record again, with another player or with this one set to about "},
    {Cause::UnsteadySpeed, "unsteady-speed", "%", 2.0, 14.0,
     "Clean the player's capstan and its roller, or use another one."},
    {Cause::Noise, "noise", "dB", -32.0, -30.0,
     "Record again by cable into a line input, player turned up, input down."},
    {Cause::Hum, "hum", "dB", -30.0, -12.0,
     "Record again, the cable away from power supplies, a laptop on its battery."},
    {Cause::DcOffset, "dc-offset", "%", 10.0, 25.6, "Remove the DC offset in the audio editor."},
    {Cause::LowLevel, "low-level", "dBFS", -36.0, -84.0,
     "Record again, player or recorder's input turned up to peaks of -6 dBFS."},
    {Cause::BassLoss, "bass-loss", "dB", -4.0, -4.0,
     "Turn off tone controls and equalisers, and connect to a line input."},
    {Cause::TrebleLoss, "treble-loss", "dB", 6.0, 12.0,
     "Clean the heads, and turn off noise reduction and tone controls."},
    {Cause::ToneShift, "tone-shift", "%", 1.0, 2.0,
     "Turn off tone controls and equalisers, or use another player."},
    {Cause::Clipping, "clipping", "%", 5.0, 5.0,
     "Record again, with the level turned down to peaks of -6 dBFS."},
    {Cause::Unclear, "unclear", "presets", 1.0, 1.0,
     "Record it again, and give this program both recordings."},
    {Cause::LossyFile, "lossy-file", "Hz", 0.0, 0.0,
     "Record as WAV from the start: a new name does not turn this file into WAV, and converting it "
     "brings nothing back."},
}};

constexpr double statedDropOutDepth = 10.0;  // dB, a shallower one is no harm
constexpr double muchLouder = 10.0;          // dB, of another channel than the one that was read
constexpr double likeRounding = 6.0;         // dB above the least noise of rounding
constexpr double halfBorne = 0.5;  // of what the converter bears: may well be why it fails
constexpr int fewestSteps = 8;     // of the sample width, below which a level is low
constexpr double atEdge = 0.05;    // seconds: as near, tones begin or end with the recording
constexpr const char* throughout = ", throughout";
constexpr int neededLeader = 10;  // one bits

const Rule& ruleOf(Cause cause) { return rules[static_cast<std::size_t>(cause)]; }

std::string againstTone(double level) {
  return decimal(std::abs(level), 1) + " dB " + (level <= 0.0 ? "below" : "above") + " the tone";
}

/// So many bits as a time, such as "1.9 s (500 bits)".
std::string lengthOf(int bits, double perBit) {
  const double seconds = bits * perBit;
  return decimal(seconds, seconds < 1.0 ? 3 : 1) + " s (" + counted(bits, "bit") + ")";
}

/// How a player's speed must change for a tape that runs at `speed`, such as "-6 %."
std::string correctionOf(double speed) {
  return decimal(speed > 0.0 ? 100.0 / speed - 100.0 : 0.0, 0) + " %.";
}

/// Gathers the findings of one recording.
class Finder {
 public:
  Finder(const Results& allResults, std::size_t index)
      : results(allResults),
        recording(allResults.recordings[index]),
        take(*recording.take()),
        measures(measure(recording, take)),
        presetsLost(countLost(index)) {}

  std::vector<Finding> find() {
    findCuts();
    findDropOuts();
    findBeginning();
    findChannel();
    findSpeed();
    findLevels();
    findTone();
    findFile();
    explainFailure();
    std::stable_sort(found.begin(), found.end(), [](const Finding& a, const Finding& b) {
      return std::tuple(a.weight, -a.presets, -a.excess) <
             std::tuple(b.weight, -b.presets, -b.excess);
    });
    return std::move(found);
  }

 private:
  using Counts = std::array<int, rules.size()>;

  int lost(Cause cause) const { return presetsLost[static_cast<std::size_t>(cause)]; }

  /// Whether the noise is that of the file's own steps, and the level is what is wrong.
  bool isNoiseOfSteps() const {
    return measures.noiseLevel <=
           roundingNoise(recording.bits, recording.facts.sampleRate, measures.toneLevel) +
               likeRounding;
  }

  /// Why it is not sure where the data begin.
  Cause beginningCause() const {
    if (dataStart(take) < 0.0) {
      return Cause::CutBeginning;
    }
    return lacksLeader() ? Cause::NoLeader : Cause::Unclear;
  }

  /// What covers the tones where they sound.
  Cause cover() const {
    if (take.signal.humFrequency > 0.0 && measures.humLevel > measures.noiseLevel &&
        measures.humLevel >= ruleOf(Cause::Hum).stated) {
      return Cause::Hum;
    }
    if (measures.isNoise && measures.noiseLevel >= ruleOf(Cause::Noise).stated) {
      return isNoiseOfSteps() ? Cause::LowLevel : Cause::Noise;
    }
    return measures.balance <= ruleOf(Cause::BassLoss).stated ? Cause::BassLoss : Cause::Unclear;
  }

  /// Why a record is not on the recording, or not all of it.
  Cause missingCause(int record) const {
    if (dataStart(take) < 0.0 && record <= firstRecord()) {
      return Cause::CutBeginning;
    }
    return isCutOff() ? Cause::CutEnd : Cause::Unclear;
  }

  /// The cause that a preset's reason speaks of in this recording.
  Cause causeOf(recovery::Reason reason, int record) const {
    switch (reason) {
      case recovery::Reason::DropOut:
        return Cause::DropOut;
      case recovery::Reason::Count:
        return take.dropOuts.empty() ? cover() : Cause::DropOut;
      case recovery::Reason::Beginning:
        return beginningCause();
      case recovery::Reason::NotRecorded:
        return missingCause(record);
      case recovery::Reason::None:
        return Cause::Unclear;
      case recovery::Reason::Noise:
        break;
    }
    return cover();
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
      const recovery::PresetReading& preset = results.bank.preset(record);
      if (preset.verdict != recovery::Verdict::Sure &&
          recordingOfTake(results, preset.take) == static_cast<int>(index)) {
        ++counts[static_cast<std::size_t>(causeOf(preset.reason, record))];
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
      finding.text += "; costs " + counted(finding.presets, "preset");
    } else if (excess >= 1.0 && recording.converter.outcome != ConverterOutcome::ReadsRight) {
      finding.weight = Weight::StopsConverter;
    }
    found.push_back(std::move(finding));
  }

  /// States a cause if its figure is at its threshold or beyond, or if presets are lost to it.
  void stateFrom(Cause cause, double figure, const std::string& text,
                 const std::string& remedyEnd = {}) {
    const Rule& rule = ruleOf(cause);
    const double sign = rule.borne < rule.stated ? -1.0 : 1.0;
    if (sign * (figure - rule.stated) < 0.0 && lost(cause) == 0) {
      return;
    }
    const double range = std::abs(rule.borne - rule.stated);
    const double excess = range > 0.0 ? sign * (figure - rule.stated) / range : 0.0;
    state(cause, figure, excess, text + throughout, {}, remedyEnd);
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
    const double left = recording.facts.duration - last->end;
    const double perBit = (last->end - first->start) / (recovery::bitsPerBank - before - after);
    if (before > 0) {
      state(Cause::CutBeginning, before, 1.0,
            (first->start < atEdge ? "the recording starts too late"
                                   : "the tones start too late, at " + clock(first->start)) +
                ", about " + lengthOf(before, perBit) + " into the data",
            {0.0, first->start});
    }
    if (after > 0 && isCutOff()) {
      state(Cause::CutEnd, after, 1.0,
            (left < atEdge ? "the recording stops" : "the tones stop") +
                (" before the dump does, at " + clock(last->end)) + "; about " +
                lengthOf(after, perBit) + " are missing",
            {last->end, recording.facts.duration});
    } else if (after == 0 && left < measures.longHalfPeriod) {
      state(Cause::CutEnd, 0.0, 1.0,
            "the recording ends " + decimal(1000.0 * std::max(left, 0.0), 1) +
                " ms after the last bit",
            {last->start, recording.facts.duration});
    }
  }

  void findDropOuts() {
    const std::vector<recovery::DropOut> dropOuts = dropOutsOf(take);
    const recovery::DropOut* longest = nullptr;
    int count = 0;
    bool isTooDeep = false;
    const auto length = [](const recovery::DropOut& d) { return d.span.end - d.span.start; };
    for (const recovery::DropOut& dropOut : dropOuts) {
      if (dropOut.depth < statedDropOutDepth ||
          1000.0 * length(dropOut) < ruleOf(Cause::DropOut).stated) {
        continue;
      }
      ++count;
      isTooDeep = isTooDeep || dropOut.depth + measures.noiseLevel > ruleOf(Cause::Noise).borne;
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
    state(Cause::DropOut, milliseconds, isTooDeep ? 1.0 : halfBorne,
          counted(count, "drop-out") + (count == 1 ? ", " : ", the longest ") +
              decimal(milliseconds, 1) + " ms at " + clock(longest->span.start) + ", " +
              decimal(longest->depth, 0) + " dB deep",
          longest->span);
  }

  /// Whether the recording is as loud as the tones in the whole of a stretch of time.
  bool isLoud(double start, double end) const {
    const double step = recording.facts.levelStep;
    bool isAny = false;
    for (std::size_t i = 0; step > 0.0 && i < recording.facts.levels.size(); ++i) {
      const double time = static_cast<double>(i) * step;
      if (time < start || time + step > end) {
        continue;
      }
      if (decibels(recording.facts.levels[i]) < measures.toneLevel - 6.0) {
        return false;
      }
      isAny = true;
    }
    return isAny;
  }

  /// Whether the recording ends, or falls silent, where the last bit read does.
  bool isCutOff() const {
    const double end = recordedSpan(take).end;
    return !beginsAnywhere() && !isLoud(end + 0.05, end + 0.2);
  }

  /// Whether the data are said to begin at a place that is not sure.
  bool beginsAnywhere() const { return dataStart(take) >= 0.0 && !take.beginningIsSure; }

  /// Whether there is too little of a leader. Just after something else it may be there without
  /// being told from it.
  bool lacksLeader() const {
    const double start = dataStart(take);
    return take.leaderOnes < neededLeader && !isLoud(start - 0.12, start - 0.05);
  }

  void findBeginning() {
    const double start = dataStart(take);
    const bool isRead = recording.converter.outcome == ConverterOutcome::ReadsRight;
    if (start >= 0.0 && (lost(Cause::NoLeader) > 0 || (lacksLeader() && !isRead))) {
      state(Cause::NoLeader, take.leaderOnes, 1.0,
            (take.leaderOnes == 0 ? "no leader is left"
             : take.leaderOnes == 1
                 ? "only 1 bit of the leader is left"
                 : "only " + counted(take.leaderOnes, "bit") + " of the leader are left") +
                " before the data at " + clock(start),
            {take.leader.start, start});
    }
    const ConverterAnswer& answer = recording.converter;
    const bool isOnFirst = take.channelIndex == 0;
    if (start >= 0.0 && isOnFirst && answer.outcome == ConverterOutcome::ReadsWrong &&
        answer.dataStart >= 0.0 &&
        start - answer.dataStart > ruleOf(Cause::FalseBeginning).stated) {
      const bool hasLeader = take.leaderOnes >= neededLeader;
      state(Cause::FalseBeginning, start - answer.dataStart, 1.0,
            std::string("something before the ") +
                (hasLeader && answer.dataStart < take.leader.start ? "leader" : "data") +
                " passes for the beginning: the converter starts at " + clock(answer.dataStart) +
                (hasLeader ? ", the leader at " + clock(take.leader.start) : "") +
                ", the data at " + clock(start),
            {answer.dataStart, start},
            hasLeader ? clock(take.leader.start) + "." : "the steady tone ahead of the data.");
    }
  }

  void findChannel() {
    if (take.channelIndex > 0 && recording.converter.outcome != ConverterOutcome::ReadsRight) {
      state(Cause::WrongChannel, take.channelIndex + 1, 1.0,
            "the whole dump is on " + channelName(take.channelIndex) +
                ", the converter reads the first");
    }
    const auto& peaks = recording.facts.channelPeaks;
    const auto loudest = std::max_element(peaks.begin(), peaks.end());
    if (take.channelIndex != 0 || loudest == peaks.end() ||
        recording.converter.outcome == ConverterOutcome::ReadsRight) {
      return;
    }
    const double difference = decibels(*loudest) - decibels(peaks.front());
    if (difference >= muchLouder) {
      const auto number = static_cast<int>(loudest - peaks.begin()) + 1;
      state(Cause::WrongChannel, number, 0.0,
            channelName(number - 1) + " is " + decimal(difference, 0) +
                " dB louder than the first, which the converter reads");
      found.back().remedy = "If that channel has the tones, save it alone as a mono file.";
    }
  }

  void findSpeed() {
    const recovery::SignalFacts& signal = take.signal;
    const double rate = recording.facts.sampleRate;
    const bool isSlow = measures.speed < 1.0;
    const double error = 100.0 * std::abs(1.0 - measures.speed);
    stateFrom(isSlow ? Cause::Slow : Cause::Fast, error,
              "the tape runs " + decimal(error, 1) + (isSlow ? " % slow" : " % fast"),
              correctionOf(measures.speed));
    stateFrom(Cause::UnsteadySpeed, 100.0 * signal.speedWander,
              "the speed wanders by " + decimal(100.0 * signal.speedWander, 1) + " % up and down");
    const SpeedRange borne = speedsForConverter(recording, measures);
    const bool fits = measures.speed >= borne.slowest && measures.speed <= borne.fastest;
    if (!fits && std::abs(rate / nominalSampleRate - 1.0) > 0.005) {
      state(Cause::SampleRate, rate, 1.0,
            "at " + grouped(std::llround(rate)) + " Hz the half-periods are " +
                decimal(measures.shortHalfPeriod * rate, 1) + " and " +
                decimal(measures.longHalfPeriod * rate, 1) + " samples long");
    }
  }

  void findLevels() {
    const recovery::SignalFacts& signal = take.signal;
    if (measures.isNoise && !isNoiseOfSteps()) {
      stateFrom(Cause::Noise, measures.noiseLevel, "noise " + againstTone(measures.noiseLevel));
    }
    if (signal.humFrequency > 0.0) {
      stateFrom(
          Cause::Hum, measures.humLevel,
          "hum of " + decimal(signal.humFrequency, 0) + " Hz, " + againstTone(measures.humLevel));
    }
    if (measures.toneLevel <= lowestLevel) {
      return;
    }
    const double tone = std::pow(10.0, measures.toneLevel / 20.0);
    const double offset = 100.0 * std::abs(signal.dcOffset) / tone;
    stateFrom(Cause::DcOffset, offset,
              "DC offset of " + decimal(offset, 0) + " % of the tone's peaks");
    findLowLevel(tone);
    stateFrom(Cause::Clipping, 100.0 * signal.clippedShare,
              "clipped: " + decimal(100.0 * signal.clippedShare, 0) + " % of the samples, at " +
                  decimal(measures.peakLevel, 1) + " dBFS");
  }

  void findLowLevel(double tone) {
    const double level = measures.toneLevel;
    const std::string text = "low level, the tone's peaks at " + decimal(level, 1) + " dBFS";
    const int bits = recording.bits;
    const double steps = bits > 0 && bits <= 32 ? tone * std::pow(2.0, bits - 1) : fewestSteps;
    if (steps < fewestSteps) {
      state(Cause::LowLevel, level, steps < 2.0 ? 1.0 : 0.5,
            text + ", only " + decimal(steps, 1) + " of the " +
                grouped(std::llround(std::pow(2.0, bits - 1))) + " steps of full scale" +
                throughout);
    } else {
      stateFrom(Cause::LowLevel, level, text);
    }
  }

  void findTone() {
    const double balance = measures.balance;
    const double shifted = 100.0 * measures.shiftedShare;
    const Rule& bass = ruleOf(Cause::BassLoss);
    if (balance <= bass.stated || lost(Cause::BassLoss) > 0) {
      // What the converter does not bear of it is the shift that comes with it.
      state(Cause::BassLoss, balance, shifted / ruleOf(Cause::ToneShift).borne,
            "bass is missing: the low tone is " + decimal(-balance, 1) +
                " dB weaker than the high one" + throughout);
      return;
    }
    stateFrom(Cause::TrebleLoss, balance,
              "treble is missing: the high tone is " + decimal(balance, 1) +
                  " dB weaker than the low one");
    stateFrom(Cause::ToneShift, shifted,
              "the tones are shifted against each other: " + decimal(shifted, 1) +
                  " % of the half-periods are too long for a 1, too short for a 0");
  }

  void findFile() {
    if (recording.isLossy) {
      state(Cause::LossyFile, take.signal.bandwidth, 0.0,
            "the whole file is lossily compressed, as MP3 is");
    }
  }

  /// What is left to say of lost presets, or of a failing converter, when no cause is known.
  void explainFailure() {
    if (lost(Cause::Unclear) > 0) {
      state(Cause::Unclear, lost(Cause::Unclear), 0.0,
            beginsAnywhere()
                ? "where the data begin is not sure; taken for them was what is between " +
                      clock(recordedSpan(take).start) + " and " + clock(recordedSpan(take).end)
            : isCutOff()
                ? "the tones are unclear in places"
                : "the tones could not be followed after " + clock(recordedSpan(take).end));
    }
    const bool isExplained = std::any_of(found.begin(), found.end(), [](const Finding& finding) {
      return finding.excess >= halfBorne || finding.presets > 0;
    });
    if (recording.converter.outcome == ConverterOutcome::ReadsWrong && !isExplained) {
      const int count = measures.ignoredHalfPeriods;
      state(Cause::Unclear, 0.0, halfBorne,
            count == 0 ? "why the converter fails is not clear"
                       : "the converter ignores " + counted(count, "half-period") +
                             ", as their lengths are not those of the tones");
      found.back().remedy = bankRemedy;
    }
  }

  const Results& results;
  const Recording& recording;
  const recovery::Take& take;
  Measures measures;
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

}  // namespace report
