#pragma once

#include <string>

namespace report {

/// The colours of all drawings, as CSS variables and rules for their classes: for a <style> element
/// of the page or of the picture that holds them. `withDark` adds those for a dark page.
std::string drawingStyle(bool withDark);

/// The further rules that the report and the page for the browser have in common.
std::string pageStyle();

}  // namespace report
