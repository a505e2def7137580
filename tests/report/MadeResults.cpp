#include "report/MadeResults.h"

#include <cstddef>

#include "report/Causes.h"

namespace {

constexpr double shortHalfPeriod = 12.0 / 44100.0;  // seconds
constexpr double longHalfPeriod = 42.0 / 44100.0;
constexpr double oneBit = 12 * shortHalfPeriod;
constexpr double zeroBit = 4 * longHalfPeriod;
constexpr int leaderOnes = 100;

recovery::Take madeTake(double start) {
  recovery::Take take;
  take.leader = {start, start + leaderOnes * oneBit};
  take.leaderOnes = leaderOnes;
  take.marker = {take.leader.end, take.leader.end + zeroBit};
  take.beginningIsSure = true;
  take.endIsClean = true;
  double time = take.marker.end;
  for (int i = 0; i < recovery::bitsPerBank; ++i) {
    const int value = i % 2;  // 0x55
    const double end = time + (value == 0 ? zeroBit : oneBit);
    take.bits.push_back({time, end, 100.0F, static_cast<std::int8_t>(value)});
    time = end;
  }
  take.speed = {{take.leader.start, 1.0}, {time, 1.0}};
  take.halfPeriods[48] = 12 * recovery::bitsPerBank / 2;
  take.halfPeriods[168] = 4 * recovery::bitsPerBank / 2;
  // The mean squares of sines of half of full scale, for as much of the time as each sounds, times
  // three: 0.125 * 168 / 312 around 525 Hz and 0.125 * 144 / 312 around 1,837 Hz.
  take.spectrum.assign(601, -150.0F);
  take.spectrum[53] = -6.95F;
  take.spectrum[184] = -7.62F;
  take.signal.toneLevel = -6.0;
  take.signal.peakLevel = -5.9;
  take.signal.shortHalfPeriod = shortHalfPeriod;
  take.signal.longHalfPeriod = longHalfPeriod;
  take.signal.bandwidth = 20000.0;
  return take;
}

}  // namespace

report::Results madeResults(double dumpStart) {
  report::Recording recording;
  recording.name = "dump.wav";
  recording.container = "WAV";
  recording.codec = "16-bit PCM";
  recording.bits = 16;
  recording.takes.push_back(madeTake(dumpStart));
  recording.chosenTake = 0;
  recording.converter.outcome = report::ConverterOutcome::ReadsRight;
  recording.facts.sampleRate = 44100.0;
  recording.facts.channels = 1;
  recording.facts.duration = recording.takes[0].bits.back().end + 1.0;
  recording.facts.levelStep = 0.1;
  recording.facts.levels.assign(static_cast<std::size_t>(recording.facts.duration / 0.1), 0.5F);
  recording.facts.channelPeaks = {0.5F};

  report::Results results;
  results.program = "Kestrel7TapeToSysex";
  results.bank.bank.fill(0x55);
  const recovery::Take& take = recording.takes[0];
  for (std::size_t i = 0; i < results.bank.presets.size(); ++i) {
    recovery::PresetReading& preset = results.bank.presets[i];
    preset.verdict = recovery::Verdict::Sure;
    preset.reason = recovery::Reason::None;
    preset.span = {take.bits[i * recovery::bitsPerPreset].start,
                   take.bits[(i + 1) * recovery::bitsPerPreset - 1].end};
    preset.margin = 100.0F;
  }
  results.recordings.push_back(std::move(recording));
  return results;
}

void makeDoubtful(report::Results& results, int record, recovery::Reason reason) {
  recovery::PresetReading& preset = results.bank.presets[static_cast<std::size_t>(record)];
  preset.verdict = recovery::Verdict::Doubtful;
  preset.reason = reason;
  preset.worstTime = preset.span.start;
  preset.doubtfulBits[0] = 0x80;
}

std::vector<std::string> statedCauses(const report::Results& results) {
  std::vector<std::string> words;
  for (const report::Finding& finding : report::findings(results, 0)) {
    if (finding.cause != report::Cause::Unclear) {
      words.emplace_back(report::causeWord(finding.cause));
    }
  }
  return words;
}
