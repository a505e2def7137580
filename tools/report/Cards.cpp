#include "report/Cards.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "preset/K7_PresetRevisionConverter.h"
#include "preset/PresetRecord.h"
#include "report/Markup.h"
#include "report/Words.h"

namespace report {

namespace {

constexpr double fullValue = 127.0;

// Places in a card, from its upper left corner.
constexpr int left = 8;
constexpr int right = cardWidth - 8;
constexpr int envelopeTop = 30;
constexpr int envelopeBase = 64;
constexpr double quarter = (right - left) / 4.0;  // of the width, for a stage of an envelope
constexpr int waveLeft = 34;
constexpr int waveWidth = 18;
constexpr int waveHeight = 10;
constexpr int wavePitch = 22;
constexpr int barTop = 130;
constexpr int barBase = 156;
constexpr int barWidth = 8;
constexpr int barPitch = 10;
constexpr int barGroupPitch = 40;
constexpr int dotLeft = 74;
constexpr int dotPitch = 10;
constexpr double dotRadius = 3.0;

struct Envelope {
  const char* prefix;
  const char* name;  // for the legend
  const char* curve;
  const char* text;
  double markTop;
};
constexpr std::array<Envelope, 2> envelopes{{
    {"AMP_", "amplifier envelope", "amp amp-fill", "amp-text", envelopeTop - 2.0},
    {"FILT_", "filter envelope", "filt", "filt-text", envelopeBase - 15.0},
}};
constexpr std::array<const char*, 4> stages{"ATK", "DEC", "SUS", "REL"};

enum Wave : std::uint8_t { Saw, Triangle, Pulse };

struct WaveRow {
  int middle;
  const char* label;
  const char* title;  // for the legend
  const char* frequency;
  std::array<const char*, 3> waves;  // in the order of Wave, null where there is none
  const char* pulseWidth;
};
constexpr std::array<WaveRow, 3> waveRows{{
    {78, "A", "oscillator A", "OSC_A_FREQ", {"OSC_A_SAW", nullptr, "OSC_A_PULSE"}, "OSC_A_PW"},
    {95, "B", "oscillator B", "OSC_B_FREQ", {"OSC_B_SAW", "OSC_B_TRI", "OSC_B_PULSE"}, "OSC_B_PW"},
    {112, "LFO", "LFO", "LFO_FREQ", {"LFO_SAW", "LFO_TRI", "LFO_SQUARE"}, nullptr},
}};

struct BarGroup {
  const char* label;
  const char* bar;
  const char* text;
  std::array<const char*, 3> keys;
};
constexpr std::array<BarGroup, 3> barGroups{{
    {"MIX", "amp", "amp-text", {"MIX_OSC_A", "MIX_OSC_B", "MIX_NOISE"}},
    {"FILT", "filt", "filt-text", {"FILTER_CUTOFF", "FILT_RESONANCE", "FILT_ENV_AMT"}},
    {"MOD", "ink", "text", {"P-MOD_OSC_B", "P-MOD_FILT_ENV", "W-MOD_SOURCE_MIX"}},
}};

struct DotRow {
  int middle;
  const char* label;
  std::array<const char*, 5> keys;  // a column each, null where there is none
};
constexpr std::array<DotRow, 2> dotRows{{
    {181, "POLY-MOD", {"POLY-MOD_FREQ_A", nullptr, "POLY-MOD_PW_A", nullptr, "POLY-MOD_FILT"}},
    {194, "W-MOD", {"W-MOD_FREQ_A", "W-MOD_FREQ_B", "W-MOD_PW_A", "W-MOD_PW_B", "W-MOD_FILT"}},
}};

/// The words of a card's head: the switch, its word, where it ends.
struct HeadWord {
  const char* key;
  const char* word;
  int right;
  int width;
};
constexpr std::array<HeadWord, 2> headWords{{
    {"UNISON", "UNISON", 80, 42},
    {"OSC_A_SYNC", "SYNC", right, 30},
}};

constexpr const char* notDrawn = "OSC_B_KBD, OSC_B_LOW_FREQ, OSC_B_FINE, FILT_KBD, RELEASE, GLIDE";

/// One record of a bank, by its keys.
class Preset {
 public:
  Preset(const PresetBank& bank, int index)
      : record(bank.data() + static_cast<std::ptrdiff_t>(index) * presetSize) {}

  int value(std::string_view key) const {
    for (const PresetField& field : presetFields) {
      if (key == field.key) {
        return presetFieldValue(record, field);
      }
    }
    return 0;
  }

  double part(std::string_view key) const { return value(key) / fullValue; }

 private:
  const char* record;
};

bool isDoubtful(const recovery::PresetReading& reading, const PresetField& field) {
  const int mask = field.kind == FieldKind::Switch ? switchMask : valueMask;
  return (reading.doubtfulBits[static_cast<std::size_t>(field.byte)] & mask) != 0;
}

int waveX(std::size_t column) { return waveLeft + wavePitch * static_cast<int>(column); }

int barX(std::size_t group, std::size_t bar) {
  return left + barGroupPitch * static_cast<int>(group) + barPitch * static_cast<int>(bar);
}

int dotX(std::size_t column) { return dotLeft + dotPitch * static_cast<int>(column); }

std::string envelopePath(const Preset& preset, const Envelope& envelope) {
  const auto stage = [&](std::size_t i) {
    return preset.part(std::string(envelope.prefix) + stages[i]);
  };
  const double level = envelopeBase - (envelopeBase - envelopeTop) * stage(2);
  const double attackEnd = left + quarter * stage(0);
  const auto line = [](double x, double y) { return "L" + coordinate(x) + " " + coordinate(y); };
  return "M" + coordinate(left) + " " + coordinate(envelopeBase) + line(attackEnd, envelopeTop) +
         line(attackEnd + quarter * stage(1), level) + line(left + 3 * quarter, level) +
         line(left + quarter * (3 + stage(3)), envelopeBase);
}

/// Two periods of a wave.
std::string wavePath(std::size_t wave, int x, int middle, double pulseWidth) {
  constexpr double period = waveWidth / 2.0;
  const std::string height = std::to_string(waveHeight);
  std::string shape;
  switch (wave) {
    case Saw:
      shape = "l" + coordinate(period) + " -" + height + "v" + height;
      break;
    case Triangle:
      shape = "l" + coordinate(period / 2) + " -" + height + "l" + coordinate(period / 2) + " " +
              height;
      break;
    default:
      shape = "v-" + height + "h" + coordinate(period * pulseWidth) + "v" + height + "h" +
              coordinate(period * (1 - pulseWidth));
  }
  return "M" + std::to_string(x) + " " + coordinate(middle + waveHeight / 2.0) + shape + shape;
}

std::string dot(int x, int middle, double radius, const std::string& classes) {
  return shape("circle", {{"cx", std::to_string(x)},
                          {"cy", std::to_string(middle)},
                          {"r", coordinate(radius)},
                          {"class", classes}});
}

std::string waves(const Preset& preset) {
  std::string steps;
  std::string numbers;
  for (const WaveRow& row : waveRows) {
    const double pulseWidth = row.pulseWidth != nullptr ? preset.part(row.pulseWidth) : 0.5;
    for (std::size_t i = 0; i < row.waves.size(); ++i) {
      if (row.waves[i] != nullptr && preset.value(row.waves[i]) != 0) {
        steps += wavePath(i, waveX(i), row.middle, pulseWidth);
      }
    }
    numbers += svgText(std::to_string(right), row.middle + 4, 11, "text",
                       std::to_string(preset.value(row.frequency)), "end");
  }
  return numbers + svgPath(steps, "ink", 1.4);
}

std::string bars(const Preset& preset) {
  std::string result;
  for (std::size_t group = 0; group < barGroups.size(); ++group) {
    std::string steps;
    for (std::size_t bar = 0; bar < barGroups[group].keys.size(); ++bar) {
      const double part = preset.part(barGroups[group].keys[bar]);
      if (part > 0.0) {
        steps += "M" + std::to_string(barX(group, bar) + barWidth / 2) + " " +
                 std::to_string(barBase) + "v" + coordinate((barTop - barBase) * part);
      }
    }
    if (!steps.empty()) {
      result += svgPath(steps, barGroups[group].bar, barWidth);
    }
  }
  return result;
}

std::string dots(const Preset& preset) {
  std::string result;
  for (const DotRow& row : dotRows) {
    for (std::size_t i = 0; i < row.keys.size(); ++i) {
      if (row.keys[i] != nullptr && preset.value(row.keys[i]) != 0) {
        result += dot(dotX(i), row.middle, dotRadius, "fill");
      }
    }
  }
  return result;
}

struct Box {
  double x = 0.0;
  double y = 0.0;
  double width = 0.0;
  double height = 0.0;
};

Box placeInEnvelopes(std::string_view key) {
  for (const Envelope& envelope : envelopes) {
    for (std::size_t i = 0; i < stages.size(); ++i) {
      if (key == std::string(envelope.prefix) + stages[i]) {
        return {left + quarter * static_cast<double>(i), envelope.markTop, quarter, 17.0};
      }
    }
  }
  return {};
}

bool isKey(std::string_view key, const char* other) { return other != nullptr && key == other; }

Box placeInWaves(std::string_view key) {
  for (const WaveRow& row : waveRows) {
    const double top = row.middle - 7.5;
    for (std::size_t i = 0; i < row.waves.size(); ++i) {
      if (isKey(key, row.waves[i]) || (i == Pulse && isKey(key, row.pulseWidth))) {
        return {waveX(i) - 1.0, top, waveWidth + 2.0, 15.0};
      }
    }
    if (key == row.frequency) {
      return {right - 20.0, top, 22.0, 15.0};
    }
  }
  return {};
}

Box placeInBars(std::string_view key) {
  for (std::size_t group = 0; group < barGroups.size(); ++group) {
    for (std::size_t bar = 0; bar < barGroups[group].keys.size(); ++bar) {
      if (key == barGroups[group].keys[bar]) {
        return {barX(group, bar) - 0.5, barTop - 1.0, barWidth + 1.0, barBase - barTop + 2.0};
      }
    }
  }
  return {};
}

Box placeInDots(std::string_view key) {
  for (const DotRow& row : dotRows) {
    for (std::size_t i = 0; i < row.keys.size(); ++i) {
      if (isKey(key, row.keys[i])) {
        return {dotX(i) - 5.0, row.middle - 5.0, 10.0, 10.0};
      }
    }
  }
  return {};
}

Box placeInHead(std::string_view key) {
  for (const HeadWord& word : headWords) {
    if (key == word.key) {
      return {word.right - word.width + 1.0, 8.0, static_cast<double>(word.width), 14.0};
    }
  }
  return {};
}

/// Where a card shows the field of `key`; without width if it does not.
Box placeOf(std::string_view key) {
  for (const auto& place :
       {placeInEnvelopes, placeInWaves, placeInBars, placeInDots, placeInHead}) {
    const Box box = place(key);
    if (box.width > 0.0) {
      return box;
    }
  }
  return {};
}

std::string marks(const recovery::PresetReading& reading) {
  std::string result;
  for (const PresetField& field : presetFields) {
    const Box box = placeOf(field.key);
    if (isDoubtful(reading, field) && box.width > 0.0) {
      result += svgBox(coordinate(box.x), box.y, coordinate(box.width), box.height, "mark");
    }
  }
  return result;
}

/// What all cards have in common inside their frame.
std::string blankCard() {
  std::string result = svgPath(
      "M" + std::to_string(left) + " " + std::to_string(envelopeBase) + "H" + std::to_string(right),
      "pale");
  const std::string labelX = std::to_string(left);
  for (const WaveRow& row : waveRows) {
    result += svgText(labelX, row.middle + 4, 11, "faint-text", row.label);
    for (std::size_t i = 0; i < row.waves.size(); ++i) {
      if (row.waves[i] != nullptr) {
        result += svgPath("M" + std::to_string(waveX(i)) + " " + std::to_string(row.middle) + "h" +
                              std::to_string(waveWidth),
                          "pale");
      }
    }
  }
  for (std::size_t group = 0; group < barGroups.size(); ++group) {
    for (std::size_t bar = 0; bar < barGroups[group].keys.size(); ++bar) {
      result += svgBox(std::to_string(barX(group, bar)), barTop, std::to_string(barWidth),
                       barBase - barTop, "wash");
    }
    result += svgText(std::to_string(barX(group, 1) + barWidth / 2), barBase + 12, 10, "faint-text",
                      barGroups[group].label, "middle");
  }
  for (const DotRow& row : dotRows) {
    result += svgText(labelX, row.middle + 4, 10, "faint-text", row.label);
    for (std::size_t i = 0; i < row.keys.size(); ++i) {
      if (row.keys[i] != nullptr) {
        result += dot(dotX(i), row.middle, dotRadius - 0.5, "pale");
      }
    }
  }
  return result;
}

std::string frame(const std::string& classes) {
  return shape("rect", {{"x", "0.5"},
                        {"y", "0.5"},
                        {"width", std::to_string(cardWidth - 1)},
                        {"height", std::to_string(cardHeight - 1)},
                        {"rx", "6"},
                        {"class", classes}});
}

std::string strong(std::string_view content, const std::string& classes = "text") {
  std::string result = element("tspan", {{"font-weight", "bold"}, {"class", classes}}, content);
  result.pop_back();  // a line end would be a space before what follows
  return result;
}

template <class Keys>
std::string listOf(const Keys& keys) {
  std::string list;
  for (const char* key : keys) {
    if (key != nullptr) {
      addToList(list, key);
    }
  }
  return list;
}

}  // namespace

std::string cardDefinition() { return element("g", {{"id", "card"}}, blankCard()); }

std::string card(const PresetBank& bank, int record, const recovery::PresetReading* reading) {
  const auto verdict = reading != nullptr ? reading->verdict : recovery::Verdict::Sure;
  const bool isMissing = verdict == recovery::Verdict::Missing;
  const bool isInDoubt = verdict == recovery::Verdict::Doubtful;
  const std::string name = presetName(record) + (isInDoubt ? " ?" : "");
  std::string result = frame(isMissing ? "frame-missing" : isInDoubt ? "frame-doubtful" : "frame");
  result += shape("use", {{"href", "#card"}});
  result +=
      svgText(std::to_string(left), 20, 14, isInDoubt ? "doubt-text bold" : "text bold", name);
  if (isMissing) {
    return result + svgText(std::to_string(right), 19, 11, "miss-text bold", "missing", "end");
  }
  const Preset preset(bank, record);
  for (const HeadWord& word : headWords) {
    if (preset.value(word.key) != 0) {
      result += svgText(std::to_string(word.right), 19, 10, "text bold", word.word, "end");
    }
  }
  for (const Envelope& envelope : envelopes) {
    result += svgPath(envelopePath(preset, envelope), envelope.curve, 1.6);
  }
  result += waves(preset) + bars(preset) + dots(preset);
  return isInDoubt ? result + marks(*reading) : result;
}

std::string cardDrawing(const recovery::BankReading& reading, int record) {
  recovery::PresetReading preset = reading.preset(record);
  if (preset.reason == recovery::Reason::Beginning) {
    preset.doubtfulBits = {};  // all is in doubt together: marks on single fields tell nothing
  }
  return element(
      "svg",
      {{"viewBox", "-1 -1 " + std::to_string(cardWidth + 2) + " " + std::to_string(cardHeight + 2)},
       {"role", "img"},
       {"aria-label", "Preset " + presetName(record) + ", " + verdictWord(preset.verdict)}},
      card(reading.bank, record, &preset));
}

std::string cardNote(const recovery::BankReading& reading, int record) {
  constexpr std::ptrdiff_t mostKeys = 4;
  const recovery::PresetReading& preset = reading.preset(record);
  if (preset.verdict != recovery::Verdict::Doubtful ||
      preset.reason == recovery::Reason::Beginning) {
    return "";
  }
  const std::string keys = doubtfulKeys(preset);
  const auto count = std::count(keys.begin(), keys.end(), ',') + 1;
  return count > mostKeys ? std::to_string(count) + " fields are doubtful" : keys;
}

std::string doubtfulKeys(const recovery::PresetReading& reading) {
  std::string keys;
  for (const PresetField& field : presetFields) {
    if (isDoubtful(reading, field)) {
      addToList(keys, field.key);
    }
  }
  return keys;
}

std::string cardLegend(const PresetBank& bank, int record) {
  constexpr double scale = 1.8;
  constexpr double cardRight = scale * cardWidth;
  constexpr double textLeft = cardRight + 34;
  constexpr double top = 28.0;
  std::string result = svgText("0", 8, 17, "text bold", "How to read a card");
  result += element(
      "g", {{"transform", "translate(0 " + coordinate(top) + ") scale(" + coordinate(scale) + ")"}},
      card(bank, record));

  const auto note = [&](double y, const std::vector<std::string>& lines) {
    const double middle = top + scale * y;
    result += svgPath("M" + coordinate(cardRight + 6) + " " + coordinate(middle) + "H" +
                          coordinate(textLeft - 10),
                      "faint");
    double base = middle + 5 - 10.0 * static_cast<double>(lines.size() - 1);
    for (const std::string& line : lines) {
      result += svgText(coordinate(textLeft), base, 14, "text", line);
      base += 20;
    }
  };

  note(15, {"group and number; " + strong("UNISON") + " where UNISON is 1, " + strong("SYNC") +
            " where OSC_A_SYNC is 1"});
  std::vector<std::string> lines;
  for (const Envelope& envelope : envelopes) {
    std::string keys;
    for (const char* stage : stages) {
      addToList(keys, std::string(envelope.prefix) + stage);
    }
    lines.push_back(strong(envelope.name, envelope.text) + ": " + keys);
  }
  lines.emplace_back("from left to right: attack, decay, sustain (its level), release");
  note((envelopeTop + envelopeBase) / 2.0, lines);
  for (const WaveRow& row : waveRows) {
    const std::string pulse =
        row.pulseWidth != nullptr ? std::string(" as wide as ").append(row.pulseWidth) : "";
    const std::string unit = row.pulseWidth != nullptr ? "" : " of 127";
    std::string line = strong(row.title);
    line.append(": waves ").append(listOf(row.waves)).append(pulse);
    line.append("; at the right ").append(row.frequency).append(unit);
    note(row.middle, {line});
  }
  lines.clear();
  for (const BarGroup& group : barGroups) {
    lines.push_back(strong(group.label, group.text) + ": " + listOf(group.keys));
  }
  note((barTop + barBase) / 2.0, lines);
  for (const DotRow& row : dotRows) {
    note(row.middle, {strong(row.label) + ": which of " + listOf(row.keys) + " are 1"});
  }
  return result + svgText("0", 426, 14, "faint-text",
                          std::string("An envelope or a bar of full height: 127/127. Not drawn: ") +
                              notDrawn + ".");
}

recovery::BankReading asRevision3(const recovery::BankReading& reading) {
  recovery::BankReading result = reading;
  K7_PresetRevisionConverter::convertBankRev1ToRev3(reading.bank.data(), result.bank.data());
  for (recovery::PresetReading& preset : result.presets) {
    std::array<char, presetSize> mask{};
    for (std::size_t i = 0; i < mask.size(); ++i) {
      mask[i] = static_cast<char>(preset.doubtfulBits[i]);
    }
    K7_PresetRevisionConverter::convertPresetRev1ToRev3(mask.data(), mask.data());
    for (std::size_t i = 0; i < mask.size(); ++i) {
      preset.doubtfulBits[i] = static_cast<std::uint8_t>(mask[i]);
    }
  }
  return result;
}

}  // namespace report
