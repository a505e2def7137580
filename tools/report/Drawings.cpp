#include "report/Drawings.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <vector>

#include "recovery/Crossing.h"
#include "report/Markup.h"
#include "report/Words.h"
#include "signal/Tones.h"

namespace report {

namespace {

constexpr int labelSize = 12;
constexpr int axisHeight = 20;
constexpr double highestFoot = -72.0;     // dBFS, the foot of the level drawing unless all is low
constexpr double zoomedBelow = 0.6;       // part of a recording that a dump must fill to be clear
constexpr std::size_t mostColumns = 800;  // points of a curve

/// Places of a part of an axis.
struct Axis {
  double first = 0.0;
  double last = 1.0;

  double part(double value) const { return last > first ? (value - first) / (last - first) : 0.0; }
  bool holds(double value) const { return value >= first && value <= last; }
};

std::string drawing(int height, std::string_view description, std::string_view content) {
  return element("svg",
                 {{"class", "drawing"},
                  {"role", "img"},
                  {"width", "100%"},
                  {"height", std::to_string(height)},
                  {"aria-label", escaped(description)}},
                 content);
}

/// A drawing within a drawing, in which x runs from 0 to `width` and y from 0 to 1000.
std::string plot(int top, int height, double width, std::string_view content) {
  return element("svg",
                 {{"x", "0"},
                  {"y", std::to_string(top)},
                  {"width", "100%"},
                  {"height", std::to_string(height)},
                  {"viewBox", "0 0 " + coordinate(width) + " 1000"},
                  {"preserveAspectRatio", "none"}},
                 content);
}

std::string verticalLine(double part, double top, double bottom, const std::string& classes) {
  const std::string x = percent(part);
  return shape("line", {{"x1", x},
                        {"x2", x},
                        {"y1", coordinate(top)},
                        {"y2", coordinate(bottom)},
                        {"class", classes}});
}

std::string horizontalLine(double y, const std::string& classes) {
  return shape("line", {{"x1", "0"},
                        {"x2", "100%"},
                        {"y1", coordinate(y)},
                        {"y2", coordinate(y)},
                        {"class", classes}});
}

std::string box(const Axis& axis, double start, double end, double top, double height,
                const std::string& classes) {
  const double from = std::clamp(axis.part(start), 0.0, 1.0);
  const double to = std::clamp(axis.part(end), 0.0, 1.0);
  return to > from ? svgBox(percent(from), top, percent(to - from), height, classes) : "";
}

std::string label(double part, double y, std::string_view content,
                  const std::string& classes = "faint-text") {
  const bool isAtEnd = part > 0.93;
  const char* anchor = part < 0.05 ? "start" : isAtEnd ? "end" : "middle";
  const double place = part < 0.05 && part > -0.01 ? std::max(part, 0.002) : part;
  return svgText(percent(std::min(place, 0.998)), y, labelSize, classes, content, anchor);
}

/// Adds a point of a curve to the steps of its path.
void addPoint(std::string& steps, double x, double y) {
  steps += (steps.empty() ? "M" : "L") + coordinate(x) + " " + coordinate(y);
}

/// Times under a drawing, as few as fit a phone.
std::string timeAxis(const Axis& time, double y) {
  constexpr std::array<double, 16> steps{0.002, 0.005, 0.01, 0.5,  1.0,   2.0,   5.0,    10.0,
                                         15.0,  30.0,  60.0, 120., 300.0, 600.0, 1800.0, 3600.0};
  constexpr double mostTicks = 5.0;
  const double length = time.last - time.first;
  double distance = length / mostTicks;
  for (const double step : steps) {
    if (step >= distance) {
      distance = step;
      break;
    }
  }
  std::string result;
  if (!(distance > 0.0)) {
    return result;
  }
  const auto lastTick = static_cast<int>(time.last / distance);
  for (int i = static_cast<int>(std::ceil(time.first / distance)); i <= lastTick; ++i) {
    const double tick = i * distance;
    const std::string whole = clock(tick);
    result += verticalLine(time.part(tick), y - 15, y - 11, "faint");
    result += label(time.part(tick), y,
                    distance < 0.5 ? whole
                                   : std::string_view(whole).substr(
                                         0, whole.size() - (distance < 1.0 ? 2 : 4)));
  }
  return result;
}

/// The level at the foot of the level drawing: well below the loudest there is.
double footOf(const recovery::RecordingFacts& facts) {
  constexpr double below = 36.0;  // dB
  float peak = 0.0F;
  for (const float level : facts.levels) {
    peak = std::max(peak, level);
  }
  return std::min(highestFoot, decibels(peak) - below);
}

/// A curve of at most `mostColumns` points, the highest of those that fall together.
std::string levelCurve(const recovery::RecordingFacts& facts, const Axis& time, double foot) {
  const double step = facts.levelStep;
  if (!(step > 0.0)) {
    return "";
  }
  const auto count = static_cast<double>(facts.levels.size());
  const auto first = static_cast<std::size_t>(std::clamp(time.first / step, 0.0, count));
  const auto end = static_cast<std::size_t>(std::clamp(std::ceil(time.last / step), 0.0, count));
  const std::size_t together = std::max<std::size_t>(1, (end - std::min(first, end)) / mostColumns);
  std::string steps = "M0 1000";
  for (std::size_t i = first; i < end; i += together) {
    float peak = 0.0F;
    for (std::size_t k = i; k < std::min(end, i + together); ++k) {
      peak = std::max(peak, facts.levels[k]);
    }
    const double y = std::clamp(1000.0 * decibels(peak) / foot, 0.0, 1000.0);
    const double from = 1000.0 * time.part(static_cast<double>(i) * step);
    const double to = 1000.0 * time.part(static_cast<double>(std::min(end, i + together)) * step);
    steps += "L" + coordinate(from) + " " + coordinate(y) + "H" + coordinate(to);
  }
  return svgPath(steps + "V1000Z", "level");
}

/// Leader, start marker and presets of a dump as a strip from `top` on.
std::string strip(const Results& results, const recovery::Take& take, const Axis& time, int top) {
  constexpr int height = 22;
  std::string result = box(time, take.leader.start, take.leader.end, top, height, "leader");
  std::array<recovery::Span, presetCount / presetsPerGroup> groups;
  for (int record = 0; record < presetCount; ++record) {
    const auto [start, end] = recovery::presetSpan(take, record);
    if (end <= start) {
      continue;
    }
    const recovery::Verdict verdict = results.bank.preset(record).verdict;
    const double gap = 0.08 * (end - start);
    result += box(time, start + gap, end - gap, top, height, verdictWord(verdict));
    recovery::Span& group = groups[static_cast<std::size_t>(presetGroup(record) - 1)];
    group = {group.end > group.start ? group.start : start, end};
  }
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const auto& [start, end] = groups[i];
    if (time.part(end) - time.part(start) > 0.02) {
      result +=
          label(time.part(0.5 * (start + end)), top + height + 13, std::to_string(i + 1), "text");
    }
  }
  if (take.marker.end > take.marker.start) {
    result += verticalLine(time.part(take.marker.start), top - 4, top + height + 4, "marker");
  }
  return result;
}

std::string dropOutMarks(const recovery::Take& take, const Axis& time) {
  std::string result;
  for (const recovery::DropOut& dropOut : dropOutsOf(take)) {
    const double middle = 0.5 * (dropOut.span.start + dropOut.span.end);
    if (time.holds(middle)) {
      result += element("svg", {{"x", percent(time.part(middle))}, {"overflow", "visible"}},
                        svgPath("M-4 0h8l-4 8z", "drop-out"));
    }
  }
  return result;
}

std::string overTime(const Results& results, std::size_t index, const Axis& time,
                     std::string_view description) {
  constexpr int levelHeight = 110;
  constexpr int stripTop = levelHeight + 16;
  constexpr int bottom = stripTop + 42;
  const Recording& recording = results.recordings[index];
  const double foot = footOf(recording.facts);
  std::string result = plot(8, levelHeight, 1000.0, levelCurve(recording.facts, time, foot));
  for (int level = -20; level > foot; level -= 20) {
    const double y = 8 + levelHeight * level / foot;
    result += horizontalLine(y, "grid");
    result += label(0.0, y - 2, decimal(level, 0) + " dBFS");
  }
  if (const recovery::Take* take = recording.take()) {
    result += strip(results, *take, time, stripTop);
    result += dropOutMarks(*take, time);
  }
  return drawing(bottom + axisHeight, description, result + timeAxis(time, bottom + 16));
}

std::string points(const std::vector<recovery::SpeedPoint>& speed, const Axis& time,
                   const Axis& axis) {
  const std::size_t together = std::max<std::size_t>(1, speed.size() / mostColumns);
  std::string steps;
  for (std::size_t i = 0; i < speed.size(); i += together) {
    addPoint(steps, 1000.0 * time.part(speed[i].time),
             1000.0 * (1.0 - std::clamp(axis.part(speed[i].speed), 0.0, 1.0)));
  }
  return steps;
}

/// The half-periods of a piece of wave, between its zero crossings.
std::vector<recovery::Span> halfPeriodsOf(const recovery::WavePiece& wave) {
  std::vector<recovery::Span> result;
  double previous = -1.0;
  for (std::size_t i = 1; i < wave.samples.size(); ++i) {
    const float before = wave.samples[i - 1];
    const float after = wave.samples[i];
    if ((before > 0.0F) == (after > 0.0F)) {
      continue;
    }
    const double crossing = static_cast<double>(i - 1) + recovery::crossingBetween(before, after);
    const double time = wave.start + crossing / wave.sampleRate;
    if (previous >= 0.0) {
      result.push_back({previous, time});
    }
    previous = time;
  }
  return result;
}

std::string halfPeriodStrip(const recovery::WavePiece& wave, const Axis& time, int top) {
  constexpr int height = 20;
  constexpr long labelled = 20;  // samples, the shortest with room for its number
  std::string result;
  for (const auto& [start, end] : halfPeriodsOf(wave)) {
    const long samples = std::lround((end - start) * nominalSampleRate);
    const bool isLong = longLengths.contains(samples);
    result += box(time, start, end, top, height,
                  shortLengths.contains(samples) ? "half short"
                  : isLong                       ? "half long"
                                                 : "half stray");
    if (samples >= labelled) {
      result += svgText(percent(time.part(0.5 * (start + end))), top + 14, 11,
                        isLong ? "text" : "doubt-text bold", std::to_string(samples), "middle");
    }
  }
  return result;
}

std::string bitCell(const Axis& time, double start, double end, int top, int value,
                    bool isInDoubt) {
  constexpr int height = 22;
  const double middle = time.part(0.5 * (start + end));
  std::string result = box(time, start, end, top, height, isInDoubt ? "bit bit-doubtful" : "bit");
  if (middle > 0.01 && middle < 0.99) {
    result += svgText(percent(middle), top + 16, 13, isInDoubt ? "text bold" : "text",
                      value < 0 ? "-" : std::to_string(value), "middle");
  }
  return result;
}

/// Where the bits that a place's two readings speak of lie: often more than the doubtful ones.
recovery::Span readingSpan(const recovery::Take& take, const recovery::DoubtfulPlace& place) {
  const auto length = static_cast<int>(place.read.size());
  const auto isAt = [&](int first) {
    return std::equal(
        place.read.begin(), place.read.end(), take.bits.begin() + first,
        [](int value, const recovery::BitReading& bit) { return value == bit.value; });
  };
  for (int first = place.firstBit; first >= 0 && first > place.firstBit - length; --first) {
    if (first + length <= static_cast<int>(take.bits.size()) && isAt(first)) {
      const auto begin = static_cast<std::size_t>(first);
      return {take.bits[begin].start, take.bits[begin + place.read.size() - 1].end};
    }
  }
  return place.span;
}

std::string nearlyReadBits(const recovery::DoubtfulPlace& place, const recovery::Span& span,
                           const Axis& time, int top) {
  const auto length = [](int bit) {
    return bit == 0 ? longsPerZeroBit * longHalfPeriodSamples
                    : shortsPerOneBit * shortHalfPeriodSamples;
  };
  double total = 0.0;
  for (const std::int8_t bit : place.nearlyRead) {
    total += length(bit);
  }
  std::string result;
  double start = span.start;
  for (std::size_t i = 0; i < place.nearlyRead.size(); ++i) {
    const int bit = place.nearlyRead[i] == 0 ? 0 : 1;
    const double end = start + (span.end - span.start) * length(bit) / total;
    const bool differs =
        place.nearlyRead.size() != place.read.size() || place.nearlyRead[i] != place.read[i];
    result += bitCell(time, start, end, top, bit, differs);
    start = end;
  }
  return result;
}

/// The levels from `top` down over a logarithmic axis, the highest of those that fall together.
std::string spectrumCurve(const std::vector<float>& levels, const Axis& axis, double top,
                          double range) {
  std::string steps;
  int column = -1;
  double highest = 0.0;
  for (std::size_t i = 2; i < levels.size(); ++i) {
    const double x = axis.part(std::log(recovery::spectrumStep * static_cast<double>(i)));
    const double y = std::clamp((top - levels[i]) / range, 0.0, 1.0);
    const auto here = static_cast<int>(x * mostColumns);
    highest = here == column ? std::min(highest, y) : y;
    if (here != column || i + 1 == levels.size()) {
      addPoint(steps, 1000.0 * x, 1000.0 * highest);
    }
    column = here;
  }
  return svgPath(steps, "curve");
}

std::string waveCurve(const recovery::WavePiece& wave) {
  const std::size_t stride = std::max<std::size_t>(1, wave.samples.size() / (2 * mostColumns));
  const double peak = peakOf(wave);
  std::string steps;
  for (std::size_t i = 0; i < wave.samples.size(); i += stride) {
    const double x = 1000.0 * static_cast<double>(i) / static_cast<double>(wave.samples.size());
    addPoint(steps, x, 500.0 - 480.0 * wave.samples[i] / peak);
  }
  return svgPath(steps, "curve");
}

}  // namespace

double peakOf(const recovery::WavePiece& wave) {
  double peak = 1e-9;
  for (const float sample : wave.samples) {
    peak = std::max(peak, static_cast<double>(std::abs(sample)));
  }
  return peak;
}

std::string drawingRules() {
  return "line,path{vector-effect:non-scaling-stroke}\n"
         ".drawing text{paint-order:stroke;stroke:var(--paper);stroke-width:3px}"
         ".grid{stroke:var(--pale);stroke-dasharray:2 4}"
         ".level{fill:var(--filt);fill-opacity:.45}"
         ".leader{fill:var(--filt);fill-opacity:.35}"
         ".marker{stroke:var(--ink);stroke-width:2}"
         ".sure{fill:var(--sure)}"
         ".doubtful{fill:url(#hatch);stroke:var(--doubt)}"
         ".missing{fill:var(--paper);stroke:var(--miss);stroke-dasharray:2 2}"
         ".drop-out{fill:var(--miss)}"
         ".band{fill:var(--band)}"
         ".hatch-ground{fill:var(--paper)}.hatch-line{stroke:var(--doubt)}"
         ".curve{stroke:var(--ink);stroke-width:1.4;stroke-linejoin:round}"
         ".bars{fill:var(--ink)}"
         ".tone{stroke:var(--amp);stroke-dasharray:4 3}"
         ".hum{stroke:var(--miss);stroke-dasharray:4 3}"
         ".nominal{stroke:var(--sure)}"
         ".half{stroke:var(--paper)}.short{fill:var(--amp);fill-opacity:.35}"
         ".long{fill:var(--filt);fill-opacity:.35}.stray{fill:url(#hatch)}"
         ".bit{stroke:var(--pale)}.bit-doubtful{fill:url(#hatch);stroke:var(--doubt)}\n";
}

std::string drawingDefinitions() {
  return element("pattern",
                 {{"id", "hatch"},
                  {"width", "6"},
                  {"height", "6"},
                  {"patternUnits", "userSpaceOnUse"},
                  {"patternTransform", "rotate(45)"}},
                 svgBox("0", 0, "6", 6, "hatch-ground") + svgPath("M1.5 0v6", "hatch-line", 2.0));
}

std::string levelDrawing(const Results& results, std::size_t recording) {
  const recovery::RecordingFacts& facts = results.recordings[recording].facts;
  if (facts.levels.empty() || !(facts.duration > 0.0)) {
    return "";
  }
  return overTime(results, recording, {0.0, facts.duration},
                  "Level of the whole recording over time, with the dump in it");
}

std::string dumpDrawing(const Results& results, std::size_t recording) {
  const Recording& whole = results.recordings[recording];
  const recovery::Take* take = whole.take();
  if (take == nullptr || whole.facts.levels.empty() || !(whole.facts.duration > 0.0)) {
    return "";
  }
  const recovery::Span dump = dumpSpan(*take);
  if (dump.end - dump.start > zoomedBelow * whole.facts.duration) {
    return "";
  }
  return overTime(results, recording,
                  {std::max(0.0, dump.start - 1.0), std::min(whole.facts.duration, dump.end + 1.0)},
                  "Level of the dump over time, with its 40 presets");
}

std::string speedDrawing(const Recording& recording, const Measures& measures) {
  const recovery::Take* take = recording.take();
  if (take == nullptr || take->speed.size() < 2) {
    return "";
  }
  constexpr int height = 120;
  const Axis time{take->speed.front().time, take->speed.back().time};
  Axis axis{0.8, 1.25};
  const SpeedRange borne = speedsForConverter(recording, measures);
  if (borne.fastest > 0.0) {
    axis = {std::min(axis.first, borne.slowest - 0.03), std::max(axis.last, borne.fastest + 0.03)};
  }
  const auto y = [&](double speed) { return height * (1.0 - axis.part(speed)); };
  std::string result;
  if (borne.fastest > 0.0) {
    result += svgBox("0", y(borne.fastest), "100%", y(borne.slowest) - y(borne.fastest), "band");
  }
  result += horizontalLine(y(1.0), "nominal");
  for (int tenths = 7; tenths < 15; ++tenths) {
    const double speed = tenths / 10.0;
    if (axis.holds(speed)) {
      result += horizontalLine(y(speed), "grid");
      result += label(0.0, y(speed) - 2, decimal(100.0 * speed, 0) + " %");
    }
  }
  result += plot(0, height, 1000.0, svgPath(points(speedOf(*take, measures), time, axis), "curve"));
  return drawing(height + axisHeight, "Speed of the tape over the dump",
                 result + timeAxis(time, height + 16));
}

std::string halfPeriodDrawing(const Recording& recording) {
  const recovery::Take* take = recording.take();
  if (take == nullptr) {
    return "";
  }
  constexpr int height = 130;
  const auto& counts = take->halfPeriods;
  const int most = *std::max_element(counts.begin(), counts.end());
  if (most <= 0) {
    return "";
  }
  const Axis axis{0.0, recovery::halfPeriodStep * static_cast<double>(counts.size())};
  // The converter counts samples of the file, the drawing those of 44,100 a second.
  const double rate = recording.facts.sampleRate;
  const double scale = rate > 0.0 ? nominalSampleRate / rate : 1.0;
  std::string result;
  for (const auto& [shortest, longest] : {shortLengths, longLengths}) {
    result += box(axis, shortest * scale, longest * scale, 0, height, "band");
    for (const int end : {shortest, longest}) {
      if (axis.holds(end * scale)) {
        result += label(axis.part(end * scale), height + 16, std::to_string(end), "text");
      }
    }
  }
  std::string steps;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] > 0) {
      const double part = std::log1p(counts[i]) / std::log1p(most);
      steps += "M" + std::to_string(i) + " 1000v" + coordinate(-1000.0 * part) + "h1v" +
               coordinate(1000.0 * part) + "z";
    }
  }
  result += plot(0, height, static_cast<double>(counts.size()), svgPath(steps, "bars"));
  return drawing(height + axisHeight, "How often each length of a half-period occurs, in samples",
                 result);
}

std::string spectrumDrawing(const Recording& recording, const Measures& measures) {
  const recovery::Take* take = recording.take();
  if (take == nullptr || take->spectrum.size() < 3) {
    return "";
  }
  constexpr int height = 150;
  constexpr double range = 90.0;  // dB from top to bottom
  const auto& levels = take->spectrum;
  const Axis axis{std::log(20.0),
                  std::log(std::clamp(recovery::spectrumStep * static_cast<double>(levels.size()),
                                      100.0, 20e3))};
  double top = -300.0;
  for (const float level : levels) {
    top = std::max(top, std::isfinite(level) ? static_cast<double>(level) : top);
  }
  top = std::ceil((top + 3.0) / 10.0) * 10.0;
  std::string result;
  for (int line = 1; 20 * line < range; ++line) {
    const double level = top - 20.0 * line;
    const double y = height * (top - level) / range;
    result += horizontalLine(y, "grid");
    result += label(0.0, y - 2, decimal(level, 0) + " dB");
  }
  result += plot(0, height, 1000.0, spectrumCurve(levels, axis, top, range));
  const auto mark = [&](double frequency, const char* name, const char* classes) {
    constexpr double y = 12.0;
    const double part = frequency > 0.0 ? axis.part(std::log(frequency)) : -1.0;
    if (part < 0.0 || part > 1.0) {
      return;
    }
    result += verticalLine(part, y + 4, height, classes);
    result += label(part, y, std::string(name) + " " + grouped(std::llround(frequency)), "text");
  };
  const recovery::SignalFacts& signal = take->signal;
  mark(measures.longHalfPeriod > 0.0 ? 0.5 / measures.longHalfPeriod : 0.0, "0:", "tone");
  mark(measures.shortHalfPeriod > 0.0 ? 0.5 / measures.shortHalfPeriod : 0.0, "1:", "tone");
  mark(signal.humFrequency, "hum", "hum");
  for (const double frequency : {100.0, 1000.0, 10000.0}) {
    const double part = axis.part(std::log(frequency));
    if (part < 1.0) {
      result += verticalLine(part, height, height + 4, "faint");
      result += label(part, height + 16, grouped(std::llround(frequency)) + " Hz");
    }
  }
  return drawing(height + axisHeight, "Spectrum of the dump", result);
}

std::string placeDrawing(const recovery::Take& take, const recovery::DoubtfulPlace& place) {
  const recovery::WavePiece& wave = place.wave;
  if (wave.samples.size() < 2 || !(wave.sampleRate > 0.0)) {
    return "";
  }
  constexpr int readTop = 16;
  constexpr int nearlyTop = readTop + 40;
  constexpr int waveTop = nearlyTop + 28;
  constexpr int waveHeight = 110;
  constexpr int halfTop = waveTop + waveHeight + 4;
  constexpr int bottom = halfTop + 22;
  const Axis time{wave.start,
                  wave.start + static_cast<double>(wave.samples.size()) / wave.sampleRate};
  std::string result;
  result += label(0.0, readTop - 4, "read");
  result += label(0.0, nearlyTop - 4, "nearly read instead");
  for (std::size_t i = 0; i < take.bits.size(); ++i) {
    const recovery::BitReading& bit = take.bits[i];
    if (bit.value >= 0 && bit.end > time.first && bit.start < time.last) {
      const auto index = static_cast<int>(i);
      const bool isInDoubt = index >= place.firstBit && index < place.firstBit + place.bitCount;
      result += bitCell(time, bit.start, bit.end, readTop, bit.value, isInDoubt);
    }
  }
  result += nearlyReadBits(place, readingSpan(take, place), time, nearlyTop);
  result += horizontalLine(waveTop + waveHeight / 2.0, "pale");
  result += plot(waveTop, waveHeight, 1000.0, waveCurve(wave));
  result += halfPeriodStrip(wave, time, halfTop);
  return drawing(bottom + axisHeight, "Wave, half-periods and bits at " + clock(place.span.start),
                 result + timeAxis(time, bottom + 16));
}

}  // namespace report
