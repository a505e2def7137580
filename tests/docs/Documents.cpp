#include "docs/Documents.h"

#include <cstddef>
#include <regex>
#include <sstream>

#include "support/Files.h"

namespace {

/// `text` without the spaces at both ends.
std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) {
    return "";
  }
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

TableRow cellsOf(const std::string& line) {
  TableRow cells = split(line.substr(1), '|');
  for (std::string& cell : cells) {
    cell = trimmed(cell);
  }
  return cells;
}

}  // namespace

std::string projectPath(const std::string& name) {
  return std::string(PROJECT_FOLDER) + "/" + name;
}

std::string documentText(const std::string& path) { return readFile(projectPath(path)); }

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

std::vector<std::string> linesOf(const std::string& text) { return split(text, '\n'); }

std::string literally(const std::string& text) {
  return std::regex_replace(text, std::regex(R"([.\[\]()*+?^$|\\{}])"), R"(\$&)");
}

std::string asTestName(const std::string& text) {
  return std::regex_replace(text, std::regex("[^A-Za-z0-9]"), "_");
}

std::vector<std::string> shellCommands(const std::string& markdown) {
  std::vector<std::string> commands;
  bool isInBlock = false;
  for (const std::string& line : linesOf(markdown)) {
    const std::string content = trimmed(line);
    if (content.starts_with("```")) {
      isInBlock = content == "```sh";
    } else if (isInBlock) {
      commands.push_back(content);
    }
  }
  return commands;
}

std::vector<TableRow> tableRows(const std::string& markdown, std::string_view heading) {
  std::vector<TableRow> rows;
  bool isInTable = false;
  for (const std::string& line : linesOf(markdown)) {
    if (!line.starts_with("|")) {
      isInTable = false;
    } else if (const TableRow cells = cellsOf(line); cells.front() == heading) {
      isInTable = true;
    } else if (isInTable && !line.starts_with("|---")) {
      rows.push_back(cells);
    }
  }
  return rows;
}

ManPage::ManPage(const std::string& name) {
  std::string source = readFile(manPagePath(name));
  source = std::regex_replace(source, std::regex(R"(\\-)"), "-");
  source = std::regex_replace(source, std::regex(R"(\\\((lq|rq))"), "\"");
  source = std::regex_replace(source, std::regex(R"(\\\(aq)"), "'");
  source = std::regex_replace(source, std::regex(R"(\\\(ga)"), "`");
  source = std::regex_replace(source, std::regex(R"(\\(f[BIRP]|%))"), "");
  lines = linesOf(source);
}

std::string ManPage::text() const {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

std::map<std::string, std::string> ManPage::entries(std::string_view heading) const {
  std::map<std::string, std::string> entries;
  std::vector<std::string> tags;  // of the entry at hand, none outside the lists
  bool isInSection = false;
  bool isIndented = false;
  for (auto line = lines.begin(); line != lines.end(); ++line) {
    if (line->starts_with(".SH ")) {
      isInSection = line->substr(4) == heading;
    }
    if (!isInSection) {
      continue;
    }
    if (*line == ".RS" || *line == ".RE") {
      isIndented = *line == ".RS";
    } else if (*line == ".TP" || *line == ".TQ") {
      if (*line == ".TP") {
        tags.clear();
      }
      ++line;
      tags.push_back(line->substr(line->find(' ') + 1));
      entries[tags.back()];
    } else if ((*line == ".PP" && !isIndented) || line->starts_with(".SS")) {
      tags.clear();
    } else {
      for (const std::string& tag : tags) {
        entries[tag] += *line + "\n";
      }
    }
  }
  return entries;
}

std::vector<TableRow> ManPage::rows(std::size_t columns) const {
  std::vector<TableRow> rows;
  for (const std::string& line : lines) {
    const TableRow cells = split(line, '\t');
    if (cells.size() == columns) {
      rows.push_back(cells);
    }
  }
  return rows;
}

std::vector<std::string> ManPage::examples() const {
  std::vector<std::string> commands;
  bool isExample = false;
  for (const std::string& line : lines) {
    if (line == ".EX" || line == ".EE") {
      isExample = line == ".EX";
    } else if (isExample) {
      commands.push_back(line);
    }
  }
  return commands;
}

std::string manPagePath(const std::string& name) {
  return std::string(MAN_PAGES_FOLDER) + "/" + name;
}

std::vector<std::string> manPageNames() {
  std::vector<std::string> names;
  for (const std::string& source : filesIn(projectPath("docs/man"))) {
    names.push_back(source.substr(0, source.rfind(".in")));
  }
  return names;
}
