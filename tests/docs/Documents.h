#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The path of a file or folder of the project, which is named from the project's folder.
std::string projectPath(const std::string& name);

/// The text of a document by its path from the project's folder.
std::string documentText(const std::string& path);

/// The lines of the blocks of `markdown` that are marked as shell commands, a command each.
std::vector<std::string> shellCommands(const std::string& markdown);

/// The cells of one row of a table.
using TableRow = std::vector<std::string>;

/// The rows of all tables of `markdown` whose first column is headed `heading`, their headings left
/// out.
std::vector<TableRow> tableRows(const std::string& markdown, std::string_view heading);

/// A page of the manual in its source, but without fonts and escapes.
class ManPage {
 public:
  /// Reads the page of that name and section, such as "kestrel7-bank.5".
  explicit ManPage(const std::string& name);

  /// All that the page says.
  std::string text() const;

  /// The entries of the tagged lists in the section below `heading`, by their tags, each with all
  /// that is said of it. Tags that share what is said are entries of their own.
  std::map<std::string, std::string> entries(std::string_view heading) const;

  /// The rows of all tables that have `columns` columns.
  std::vector<TableRow> rows(std::size_t columns) const;

  /// The lines of the examples, a command each.
  std::vector<std::string> examples() const;

 private:
  std::vector<std::string> lines;
};

/// The path of a page of the manual, ready for `man -l`.
std::string manPagePath(const std::string& name);

/// The names of all pages of the manual.
std::vector<std::string> manPageNames();

/// What `text` holds between separators; one at its end may be missing.
std::vector<std::string> split(const std::string& text, char separator);

/// What `text` holds between line ends.
std::vector<std::string> linesOf(const std::string& text);

/// `text` as a regular expression that matches it alone.
std::string literally(const std::string& text);

/// `text` with "_" for all that can't be in the name of a test.
std::string asTestName(const std::string& text);
