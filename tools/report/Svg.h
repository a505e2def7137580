#pragma once

#include <string>
#include <string_view>

namespace report {

/// A length or a place in a drawing, with one decimal at most.
std::string coordinate(double value);

/// A part of the width of a drawing, such as "12.345%".
std::string percent(double part);

/// A text element; `x` is a coordinate or a percentage, `classes` its classes, and `content` is put
/// in as it is.
std::string svgText(std::string_view x, double y, int size, std::string_view classes,
                    std::string_view content, std::string_view anchor = "start");

/// A path, a box and a circle with classes.
std::string svgPath(std::string_view steps, std::string_view classes, double width = 1.0);
std::string svgBox(std::string_view x, double y, std::string_view width, double height,
                   std::string_view classes);

}  // namespace report
