#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace report {

/// An attribute of an element; its value is put in as it is.
struct Attribute {
  const char* name;
  std::string value;
};
using Attributes = std::initializer_list<Attribute>;

/// `<name attributes>content</name>` with a line end; the content is put in as it is.
std::string element(std::string_view name, Attributes attributes, std::string_view content);

/// An SVG element without content.
std::string shape(std::string_view name, Attributes attributes);

/// A length or a place in a drawing, with one decimal at most.
std::string coordinate(double value);

/// A part of the width of a drawing, such as "12.345%".
std::string percent(double part);

/// A piece of writing; `x` is a coordinate or a percentage.
std::string svgText(const std::string& x, double y, int size, const std::string& classes,
                    std::string_view content, const std::string& anchor = "start");

std::string svgPath(const std::string& steps, const std::string& classes, double width = 1.0);

/// A rectangle; `x` and `width` are coordinates or percentages.
std::string svgBox(const std::string& x, double y, const std::string& width, double height,
                   const std::string& classes);

}  // namespace report
