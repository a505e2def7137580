#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "cli/ProgramTest.h"
#include "docs/Documents.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

/// What stands between `start` and the next `end`; empty where either is missing.
std::string between(const std::string& text, const std::string& start, const std::string& end) {
  const std::size_t startAt = text.find(start);
  if (startAt == std::string::npos) {
    return {};
  }
  const std::size_t from = startAt + start.size();
  const std::size_t to = text.find(end, from);
  return to == std::string::npos ? "" : text.substr(from, to - from);
}

class ResultPageTest : public ConverterTest {
 protected:
  void convertSampleBank() {
    give("bank.syx", readFile(EXAMPLE_BANK_PATH));
    ASSERT_EQ(runProgram({"bank.syx", "out"}).status, 0);
  }

  /// Expects the picture `name` to be `drawn`.
  static void expectPicture(const std::string& name, const std::string& drawn) {
    EXPECT_EQ(differences({{name, documentText("docs/" + name)}}, {{name, drawn}}), "");
  }
};

TEST_F(ResultPageTest, ShowsATransferFileAsItIsWritten) {
  ASSERT_NO_FATAL_FAILURE(convertSampleBank());
  const std::string page = documentText("docs/what-comes-out.md");
  const std::string section = between(page + "\n## ", "\n## One file in full\n", "\n## ");
  const std::string name = between(section, "This is `", "`");
  ASSERT_NE(name, "");
  EXPECT_EQ(between(section, "\n```\n", "```\n"), readFile(folder / ("out/" + name)));
}

TEST_F(ResultPageTest, ShowsTheSampleBankAsItIsDrawn) {
  const ProcessResult result = run({DRAW_BANK_PATH, EXAMPLE_BANK_PATH});
  ASSERT_EQ(result.status, 0) << result.errors;
  expectPicture("sample-bank.svg", result.output);
}

TEST_F(ResultPageTest, TapeSignalIsShownAsItIsDrawn) {
  const ProcessResult result =
      run({"/usr/bin/env", "python3", projectPath("scripts/make-tape-signal-picture"),
           folder / "tape-signal.svg"});
  ASSERT_EQ(result.status, 0) << result.errors;
  expectPicture("tape-signal.svg", readFile(folder / "tape-signal.svg"));
}

}  // namespace
