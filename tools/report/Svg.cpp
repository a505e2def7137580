#include "report/Svg.h"

#include <algorithm>

#include "report/Words.h"

namespace report {

std::string coordinate(double value) {
  std::string text = decimal(value, 1);
  if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0) {
    text.resize(text.size() - 2);
  }
  return text;
}

std::string percent(double part) { return decimal(100.0 * std::clamp(part, -1.0, 2.0), 3) + "%"; }

std::string svgText(std::string_view x, double y, int size, std::string_view classes,
                    std::string_view content, std::string_view anchor) {
  std::string element = "<text x=\"";
  element.append(x).append("\" y=\"").append(coordinate(y));
  element.append("\" font-size=\"").append(std::to_string(size));
  if (anchor != "start") {
    element.append("\" text-anchor=\"").append(anchor);
  }
  element.append("\" class=\"").append(classes).append("\">").append(content);
  return element + "</text>\n";
}

std::string svgPath(std::string_view steps, std::string_view classes, double width) {
  std::string element = "<path d=\"";
  element.append(steps).append("\" class=\"").append(classes);
  element.append("\" stroke-width=\"").append(coordinate(width));
  return element + "\"/>\n";
}

std::string svgBox(std::string_view x, double y, std::string_view width, double height,
                   std::string_view classes) {
  std::string element = "<rect x=\"";
  element.append(x).append("\" y=\"").append(coordinate(y)).append("\" width=\"").append(width);
  element.append("\" height=\"").append(coordinate(height)).append("\" class=\"").append(classes);
  return element + "\"/>\n";
}

}  // namespace report
