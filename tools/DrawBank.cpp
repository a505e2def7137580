#include <cstddef>
#include <cstdio>
#include <string>

#include "preset/Kestrel7SysexReaderWriter.h"
#include "preset/PresetBank.h"
#include "report/Cards.h"
#include "report/Markup.h"
#include "report/Style.h"

namespace {

using report::coordinate;
using report::element;
using report::svgText;

constexpr int width = 1120;
constexpr int height = 1630;
constexpr int left = 29;
constexpr int right = 1091;
constexpr int top = 84;
constexpr int legendTop = 1180;
constexpr int gap = 10;
constexpr int explained = 27;  // preset 4-4
constexpr const char* kinds[presetsPerGroup] = {"bass",  "brass", "strings", "lead",
                                                "organ", "bells", "keys",    "wind"};

std::string placed(int x, int y, const std::string& content) {
  return element("g",
                 {{"transform", "translate(" + std::to_string(x) + " " + std::to_string(y) + ")"}},
                 content);
}

/// The style of the cards with the colours in place of their names, which only browsers know.
std::string plainStyle() {
  const std::string style = report::drawingStyle(false);
  const std::size_t endOfColors = style.find("}\n");
  const std::string colors = style.substr(0, endOfColors);  // ":root{--name:value; ..."
  std::string result = style.substr(endOfColors + 2);
  for (std::size_t name = result.find("var("); name != std::string::npos;
       name = result.find("var(", name)) {
    const std::size_t end = result.find(')', name);
    const std::string key = result.substr(name + 4, end - name - 4) + ":";
    const std::size_t value = colors.find(key) + key.size();
    result.replace(name, end + 1 - name, colors, value, colors.find(';', value) - value);
  }
  return result;
}

std::string picture(const PresetBank& bank) {
  std::string result = element("title", {}, "The sample bank: 40 presets") +
                       element("style", {}, plainStyle()) +
                       report::shape("rect", {{"width", std::to_string(width)},
                                              {"height", std::to_string(height)},
                                              {"rx", "12"},
                                              {"fill", "#ffffff"}}) +
                       element("defs", {}, report::cardDefinition());
  result += svgText(std::to_string(left), 36, 20, "text bold", "The sample bank");
  result +=
      svgText(std::to_string(right), 36, 14, "faint-text", "five groups of eight presets", "end");
  for (int record = 0; record < presetCount; ++record) {
    const int x = left + (report::cardWidth + gap) * (presetNumber(record) - 1);
    const int y = top + (report::cardHeight + gap) * (presetGroup(record) - 1);
    if (presetGroup(record) == 1) {
      result += svgText(coordinate(x + report::cardWidth / 2.0), top - 12, 14, "faint-text",
                        kinds[record], "middle");
    }
    result += placed(x, y, report::card(bank, record));
  }
  return element("svg",
                 {{"xmlns", "http://www.w3.org/2000/svg"},
                  {"viewBox", "0 0 " + std::to_string(width) + " " + std::to_string(height)},
                  {"font-family", "Helvetica, Arial, sans-serif"}},
                 result + placed(left, legendTop, report::cardLegend(bank, explained)));
}

}  // namespace

/// Draws the sample bank, the SysEx file given, as an SVG picture on standard output.
int main(int argc, char** argv) {
  std::FILE* file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
  if (file == nullptr) {
    std::fprintf(stderr, "usage: DrawBank bank.syx >picture.svg\n");
    return 1;
  }
  PresetBank bank{};
  Kestrel7SysexReaderWriter::getRawBankDataFromSysexFile(file, bank.data());
  std::fclose(file);
  const std::string content = picture(bank);
  return std::fwrite(content.data(), 1, content.size(), stdout) == content.size() ? 0 : 1;
}
