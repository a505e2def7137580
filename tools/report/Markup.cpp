#include "report/Markup.h"

#include <algorithm>

#include "report/Words.h"

namespace report {

namespace {

std::string opened(std::string_view name, Attributes attributes) {
  std::string result = "<";
  result += name;
  for (const Attribute& attribute : attributes) {
    result.append(" ").append(attribute.name).append("=\"").append(attribute.value).append("\"");
  }
  return result;
}

}  // namespace

std::string element(std::string_view name, Attributes attributes, std::string_view content) {
  std::string result = opened(name, attributes);
  return result.append(">").append(content).append("</").append(name).append(">\n");
}

std::string shape(std::string_view name, Attributes attributes) {
  return opened(name, attributes) + "/>\n";
}

std::string coordinate(double value) {
  std::string text = decimal(value, 1);
  if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0) {
    text.resize(text.size() - 2);
  }
  return text;
}

std::string percent(double part) { return decimal(100.0 * std::clamp(part, -1.0, 2.0), 3) + "%"; }

std::string svgText(const std::string& x, double y, int size, const std::string& classes,
                    std::string_view content, const std::string& anchor) {
  return element("text",
                 {{"x", x},
                  {"y", coordinate(y)},
                  {"font-size", std::to_string(size)},
                  {"text-anchor", anchor},
                  {"class", classes}},
                 content);
}

std::string svgPath(const std::string& steps, const std::string& classes, double width) {
  return shape("path", {{"d", steps}, {"class", classes}, {"stroke-width", coordinate(width)}});
}

std::string svgBox(const std::string& x, double y, const std::string& width, double height,
                   const std::string& classes) {
  return shape("rect", {{"x", x},
                        {"y", coordinate(y)},
                        {"width", width},
                        {"height", coordinate(height)},
                        {"class", classes}});
}

}  // namespace report
