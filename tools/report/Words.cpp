#include "report/Words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "preset/PresetBank.h"
#include "report/Measures.h"

namespace report {

namespace {

constexpr const char* replacementCharacter = "\xEF\xBF\xBD";
constexpr double quietest = -80.0;  // dBFS, below which it is silent
constexpr int mostNames = 8;        // of presets in a sentence
constexpr const char* beginningIsUnsure = "where the data begin is not sure";

bool isContinuation(std::string_view text, std::size_t i) {
  return i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0U) == 0x80U;
}

/// The bytes of the character at `text[i]`; 0 if it is no valid one or a control character.
std::size_t characterLength(std::string_view text, std::size_t i) {
  const auto first = static_cast<unsigned char>(text[i]);
  if (first < 0x80) {
    return first >= 0x20 && first != 0x7F ? 1 : 0;
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  for (std::size_t k = 1; k < length; ++k) {
    if (!isContinuation(text, i + k)) {
      return 0;
    }
  }
  const auto second = static_cast<unsigned char>(text[i + 1]);
  const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool isSurrogate = first == 0xED && second >= 0xA0;
  const bool isTooLarge = first == 0xF4 && second >= 0x90;
  const bool isControl = first == 0xC2 && second < 0xA0;
  return isOverlong || isSurrogate || isTooLarge || isControl ? 0 : length;
}

std::string channelCount(int channels) {
  if (channels == 1) {
    return "mono";
  }
  return channels == 2 ? "stereo" : counted(channels, "channel");
}

}  // namespace

std::string decimal(double value, int decimals) {
  if (!std::isfinite(value) || std::abs(value) > 1e12) {
    return "0";
  }
  std::array<char, 64> buffer{};
  const int length = std::snprintf(buffer.data(), buffer.size(), "%.*f", decimals, value);
  std::string text(buffer.data(), static_cast<std::size_t>(length));
  const bool isNegativeZero = text.find_first_not_of("-0.") == std::string::npos;
  return isNegativeZero && text.front() == '-' ? text.substr(1) : text;
}

std::string grouped(std::int64_t number) {
  std::string digits = std::to_string(number);
  const std::size_t first = number < 0 ? 1 : 0;
  for (std::size_t i = digits.size(); i > first + 3; i -= 3) {
    digits.insert(i - 3, ",");
  }
  return digits;
}

std::string clock(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0.0) {
    return "0:00.000";
  }
  const auto milliseconds = std::llround(seconds * 1000.0);
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%lld:%02lld.%03lld", milliseconds / 60000,
                milliseconds / 1000 % 60, milliseconds % 1000);
  return buffer.data();
}

std::string counted(int count, std::string_view noun) {
  const std::string number = count == 0 ? "no" : grouped(count);
  return number + " " + std::string(noun) + (count == 1 ? "" : "s");
}

void addToList(std::string& list, std::string_view item) {
  list.append(list.empty() ? "" : ", ").append(item);
}

std::string shown(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = characterLength(text, i);
    if (length == 0) {
      result += replacementCharacter;
    } else {
      result += text.substr(i, length);
    }
    i += std::max<std::size_t>(length, 1);
  }
  return result;
}

std::string shortened(const std::string& name, std::size_t most) {
  if (name.size() <= most) {
    return name;
  }
  std::size_t start = name.size() - (most - 3);
  while (isContinuation(name, start)) {
    ++start;
  }
  return "..." + name.substr(start);
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : shown(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string presetName(int record) {
  return std::to_string(presetGroup(record)) + "-" + std::to_string(presetNumber(record));
}

const char* verdictWord(recovery::Verdict verdict) {
  switch (verdict) {
    case recovery::Verdict::Sure:
      return "sure";
    case recovery::Verdict::Doubtful:
      return "doubtful";
    case recovery::Verdict::Missing:
      break;
  }
  return "missing";
}

const char* reasonWord(recovery::Reason reason) {
  switch (reason) {
    case recovery::Reason::None:
      break;
    case recovery::Reason::DropOut:
      return "drop-out";
    case recovery::Reason::Noise:
      return "noise";
    case recovery::Reason::Count:
      return "count";
    case recovery::Reason::Beginning:
      return "beginning";
    case recovery::Reason::NotRecorded:
      return "not-recorded";
  }
  return "none";
}

const char* reasonSentence(const recovery::PresetReading& preset) {
  switch (preset.reason) {
    case recovery::Reason::None:
      break;
    case recovery::Reason::DropOut:
      return "the tones are too weak or gone";
    case recovery::Reason::Noise:
      return "something covers the tones";
    case recovery::Reason::Count:
      return "a bit may have been lost or gained before it";
    case recovery::Reason::Beginning:
      return beginningIsUnsure;
    case recovery::Reason::NotRecorded:
      return preset.verdict == recovery::Verdict::Missing ? "it is not on the recording"
                                                          : "a part of it is not on the recording";
  }
  return "";
}

std::string howToWrite(const Results& results) {
  constexpr std::string_view name = "Kestrel7TapeToSysex";  // the page has no options
  const bool hasOptions = std::string_view(results.program).substr(0, name.size()) == name;
  return hasOptions && results.bank.count(recovery::Verdict::Sure) == presetCount
             ? " Kestrel7TapeToSysex writes it with -o bank.syx."
             : "";
}

std::string beginningPresets(const recovery::BankReading& bank) {
  int count = 0;
  int first = 0;
  int last = 0;
  for (int record = 0; record < presetCount; ++record) {
    const recovery::PresetReading& preset = bank.preset(record);
    if (preset.verdict == recovery::Verdict::Doubtful &&
        preset.reason == recovery::Reason::Beginning) {
      first = count == 0 ? record : first;
      last = record;
      ++count;
    }
  }
  return count < 2 ? ""
                   : counted(count, "preset") + ", " + presetName(first) + " to " +
                         presetName(last) + ": " + beginningIsUnsure;
}

std::string peaksAt(double magnitude) {
  return "peaks at " + decimal(decibels(magnitude), 1) + " dBFS";
}

std::string channelName(int index) {
  switch (index) {
    case 0:
      return "the first channel";
    case 1:
      return "the second channel";
    default:
      return "channel " + std::to_string(index + 1);
  }
}

std::string sourceSentence(const recovery::Take& take) {
  return channelName(take.channelIndex) + (take.isInverted ? ", inverted" : "");
}

std::string dumpNumber(const Recording& recording) {
  return recording.takes.size() < 2 ? ""
                                    : std::to_string(recording.chosenTake + 1) + " of " +
                                          std::to_string(recording.takes.size());
}

std::string leaderSentence(const recovery::Take& take) {
  return take.leaderOnes == 0 ? "no leader seen" : "leader " + counted(take.leaderOnes, "bit");
}

std::string formatSentence(const Recording& recording) {
  std::string sentence;
  for (const std::string& part : {recording.container, recording.codec}) {
    if (!part.empty()) {
      sentence += shown(part) + ", ";
    }
  }
  return sentence + grouped(std::llround(recording.facts.sampleRate)) + " Hz, " +
         channelCount(recording.facts.channels) + ", " + clock(recording.facts.duration);
}

std::string converterSentence(const Results& results, const Recording& recording) {
  const ConverterAnswer& answer = recording.converter;
  if (answer.outcome == ConverterOutcome::ReadsRight) {
    const bool isMissing = results.bank.count(recovery::Verdict::Missing) > 0;
    const bool isDoubtful = results.bank.count(recovery::Verdict::Doubtful) > 0;
    return std::string("reads the same from this file") +
           (isMissing    ? ", with zeros for what is missing"
            : isDoubtful ? ", but does not say what is doubtful"
                         : "");
  }
  if (answer.outcome == ConverterOutcome::Rejects) {
    return "rejects this file: " + shown(answer.reason);
  }
  if (answer.outcome == ConverterOutcome::NotTried) {
    return "was not tried";
  }
  std::string names;
  int count = 0;
  bool isKnown = true;
  for (int record = 0; record < presetCount; ++record) {
    if (answer.isWrong[static_cast<std::size_t>(record)]) {
      isKnown = isKnown && results.bank.preset(record).verdict == recovery::Verdict::Sure;
      names += count < mostNames ? " " + presetName(record) : count == mostNames ? " .." : "";
      ++count;
    }
  }
  const std::string why = answer.reason.empty() ? "" : "; " + shown(answer.reason);
  if (count == presetCount) {
    return (isKnown ? "gets all presets wrong" : "reads all presets differently") + why;
  }
  return (isKnown ? "gets " + counted(count, "preset") + " wrong:"
                  : "reads " + counted(count, "preset") + " differently:") +
         names + why;
}

std::string beforeSentence(const Recording& recording) {
  const recovery::Take* take = recording.take();
  if (take == nullptr) {
    return "";
  }
  double start = take->leader.start;
  if (take->leader.end <= take->leader.start) {
    start = std::max(0.0, recovery::presetSpan(*take, 0).start);
  }
  const double step = recording.facts.levelStep;
  double peak = 0.0;
  for (std::size_t i = 0; step > 0.0 && i < recording.facts.levels.size(); ++i) {
    if (static_cast<double>(i + 1) * step > start) {
      break;
    }
    peak = std::max(peak, static_cast<double>(recording.facts.levels[i]));
  }
  if (start < 0.05) {
    return "nothing before it";
  }
  if (decibels(peak) < quietest) {
    return decimal(start, 1) + " s of silence before it";
  }
  return decimal(start, 1) + " s before it, with " + peaksAt(peak);
}

}  // namespace report
