#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "report/Causes.h"
#include "report/Measures.h"
#include "report/Report.h"
#include "report/Words.h"

namespace report {

namespace {

constexpr int formatVersion = 1;  // counts up when a member goes or changes its meaning

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : shown(text)) {
    if (c == '"' || c == '\\') {
      result += '\\';
    }
    result += c;
  }
  return result + '"';
}

/// An array of what `write` makes of each item.
template <class Items, class Write>
std::string array(const Items& items, Write write) {
  std::string result = "[";
  for (const auto& item : items) {
    result += (result.size() > 1 ? "," : "") + write(item);
  }
  return result + "]";
}

/// An object, member by member.
class Object {
 public:
  /// Adds a member whose value is JSON already.
  Object& add(const char* key, const std::string& value) {
    members += (members.empty() ? "\"" : ",\"") + std::string(key) + "\":" + value;
    return *this;
  }
  Object& addText(const char* key, std::string_view text) { return add(key, quoted(text)); }
  Object& addFlag(const char* key, bool flag) { return add(key, flag ? "true" : "false"); }
  Object& addNumber(const char* key, double value, int decimals) {
    return add(key, decimal(value, decimals));
  }
  Object& addSpan(const recovery::Span& span) {
    const bool isEmpty = span.end <= span.start;
    add("start", isEmpty ? "null" : decimal(span.start, 6));
    return add("end", isEmpty ? "null" : decimal(span.end, 6));
  }
  std::string text() const { return "{" + members + "}"; }

 private:
  std::string members;
};

std::string spanObject(const recovery::Span& span) {
  return span.end > span.start ? Object().addSpan(span).text() : "null";
}

std::string hex(const unsigned char* bytes) {
  constexpr const char* digits = "0123456789abcdef";
  std::string text;
  for (int i = 0; i < presetSize; ++i) {
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 15];
  }
  return text;
}

std::string presetObject(const Results& results, int record) {
  const recovery::PresetReading& preset = results.bank.preset(record);
  const int recording = recordingOfTake(results, preset.take);
  Object object;
  object.addNumber("group", presetGroup(record), 0).addNumber("number", presetNumber(record), 0);
  object.addText("verdict", verdictWord(preset.verdict)).addSpan(preset.span);
  object.add("recording", recording < 0 ? "null" : std::to_string(recording));
  object.addText("reason", reasonWord(preset.reason)).addNumber("margin", preset.margin, 2);
  const bool hasPlace = preset.verdict == recovery::Verdict::Doubtful && recording >= 0;
  object.add("worstTime", hasPlace ? decimal(preset.worstTime, 6) : "null");
  object.add("worstSample", hasPlace ? std::to_string(sampleAt(
                                           results.recordings[static_cast<std::size_t>(recording)],
                                           preset.worstTime))
                                     : "null");
  const char* bytes = results.bank.bank.data() + static_cast<std::ptrdiff_t>(record) * presetSize;
  object.addText("bytes", hex(reinterpret_cast<const unsigned char*>(bytes)));
  return object.addText("doubtfulBits", hex(preset.doubtfulBits.data())).text();
}

std::string findingObject(const Finding& finding) {
  Object object;
  object.addText("cause", causeWord(finding.cause)).addText("weight", weightWord(finding.weight));
  object.addNumber("presets", finding.presets, 0).addNumber("figure", finding.figure, 3);
  object.addText("unit", causeUnit(finding.cause)).add("place", spanObject(finding.place));
  return object.addText("text", finding.text).addText("remedy", finding.remedy).text();
}

std::string converterObject(const Results& results, const Recording& recording) {
  const ConverterAnswer& answer = recording.converter;
  constexpr std::array<const char*, 4> outcomes{"not-tried", "reads-right", "rejects",
                                                "reads-wrong"};
  std::string wrong = "[";
  for (int record = 0; record < presetCount; ++record) {
    if (answer.isWrong[static_cast<std::size_t>(record)]) {
      wrong += (wrong.size() > 1 ? "," : "") + quoted(presetName(record));
    }
  }
  Object object;
  object.addText("outcome", outcomes[static_cast<std::size_t>(answer.outcome)]);
  object.addText("text", converterSentence(results, recording)).addText("reason", answer.reason);
  object.add("wrongPresets", wrong + "]");
  return object.add("dataStart", answer.dataStart < 0.0 ? "null" : decimal(answer.dataStart, 6))
      .text();
}

std::string signalObject(const recovery::SignalFacts& signal, const Measures& measures) {
  Object object;
  object.addNumber("toneLevel", measures.toneLevel, 1);
  object.addNumber("peakLevel", measures.peakLevel, 1);
  object.addNumber("noiseLevel", measures.noiseLevel, 1);
  object.addNumber("humFrequency", signal.humFrequency, 0)
      .addNumber("humLevel", measures.humLevel, 1);
  object.addNumber("dcOffset", signal.dcOffset, 6)
      .addNumber("clippedShare", signal.clippedShare, 6);
  object.addNumber("balance", measures.balance, 1)
      .addNumber("shiftedShare", measures.shiftedShare, 6)
      .addNumber("ignoredHalfPeriods", measures.ignoredHalfPeriods, 0);
  object.addNumber("shortHalfPeriod", measures.shortHalfPeriod, 9);
  object.addNumber("longHalfPeriod", measures.longHalfPeriod, 9);
  object.addNumber("speedMedian", measures.speed, 5);
  object.addNumber("speedWander", signal.speedWander, 5);
  return object.addNumber("bandwidth", signal.bandwidth, 0).text();
}

std::string placeObject(const recovery::DoubtfulPlace& place) {
  const auto bits = [](const std::vector<std::int8_t>& values) {
    return array(values, [](std::int8_t bit) { return std::to_string(bit); });
  };
  Object object;
  object.addSpan(place.span).addNumber("firstBit", place.firstBit, 0);
  object.addNumber("bitCount", place.bitCount, 0).addNumber("margin", place.margin, 2);
  object.addFlag("countIsDoubtful", place.countIsDoubtful);
  object.add("read", bits(place.read)).add("nearlyRead", bits(place.nearlyRead));
  Object wave;
  wave.addNumber("start", place.wave.start, 6).addNumber("sampleRate", place.wave.sampleRate, 3);
  wave.add("samples", array(place.wave.samples, [](float s) { return decimal(s, 5); }));
  return object.add("wave", wave.text()).text();
}

std::string dumpObject(const Recording& recording, const recovery::Take& take) {
  const Measures measures = measure(recording, take);
  Object object;
  object.addSpan(dumpSpan(take));
  object.addNumber("channel", take.channelIndex + 1, 0).addFlag("inverted", take.isInverted);
  object.add("leader", spanObject(take.leader)).addNumber("leaderOnes", take.leaderOnes, 0);
  object.add("marker", spanObject(take.marker));
  object.addFlag("beginningIsSure", take.beginningIsSure).addFlag("endIsClean", take.endIsClean);
  object.add("signal", signalObject(take.signal, measures));
  object.add("dropOuts", array(dropOutsOf(take), [](const recovery::DropOut& dropOut) {
               return Object().addSpan(dropOut.span).addNumber("depth", dropOut.depth, 1).text();
             }));
  object.add("speed", array(speedOf(take, measures), [](const recovery::SpeedPoint& point) {
               return "[" + decimal(point.time, 4) + "," + decimal(point.speed, 5) + "]";
             }));
  object.add("halfPeriods",
             array(take.halfPeriods, [](int count) { return std::to_string(count); }));
  object.add("spectrum", array(take.spectrum, [](float level) { return decimal(level, 1); }));
  return object.add("doubtfulPlaces", array(take.doubtfulPlaces, placeObject)).text();
}

std::string recordingObject(const Results& results, std::size_t index) {
  const Recording& recording = results.recordings[index];
  const recovery::RecordingFacts& facts = recording.facts;
  Object object;
  object.addText("name", recording.name).addText("container", recording.container);
  object.addText("codec", recording.codec).addNumber("bits", recording.bits, 0);
  object.addFlag("lossy", recording.isLossy).addNumber("sampleRate", facts.sampleRate, 3);
  object.addNumber("channels", facts.channels, 0).addNumber("duration", facts.duration, 6);
  object.add("channelPeaks",
             array(facts.channelPeaks, [](float peak) { return decimal(peak, 6); }));
  object.addNumber("levelStep", facts.levelStep, 6);
  object.add("levels", array(facts.levels, [](float level) { return decimal(level, 4); }));
  object.add("converter", converterObject(results, recording));
  object.add("findings", array(findings(results, index), findingObject));
  object.add("chosenDump",
             recording.chosenTake < 0 ? "null" : std::to_string(recording.chosenTake));
  return object
      .add("dumps", array(recording.takes,
                          [&](const recovery::Take& take) { return dumpObject(recording, take); }))
      .text();
}

}  // namespace

std::string jsonReport(const Results& results) {
  Object object;
  object.addNumber("version", formatVersion, 0).addText("program", results.program);
  object.addText("verdict", verdict(results)).addText("advice", advice(results));
  object.addNumber("sure", results.bank.count(recovery::Verdict::Sure), 0);
  object.addNumber("doubtful", results.bank.count(recovery::Verdict::Doubtful), 0);
  object.addNumber("missing", results.bank.count(recovery::Verdict::Missing), 0);
  std::string presets;
  for (int record = 0; record < presetCount; ++record) {
    presets += (record == 0 ? "\n" : ",\n") + presetObject(results, record);
  }
  object.add("presets", "[" + presets + "\n]");
  std::string recordings;
  for (std::size_t i = 0; i < results.recordings.size(); ++i) {
    recordings += (i == 0 ? "\n" : ",\n") + recordingObject(results, i);
  }
  return object.add("recordings", "[" + recordings + "\n]").text() + "\n";
}

}  // namespace report
