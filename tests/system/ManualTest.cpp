// The manual pages say what the programs do, and are well-formed.
#include <regex>

#include "Harness.h"

using namespace harness;

namespace {

/// What is between the line `title` and the next one at the left margin.
std::string section(const std::string& text, const std::string& title) {
  const std::size_t begin = text.find("\n" + title + "\n") + title.size() + 1;
  std::size_t end = begin;
  do end = text.find('\n', end + 1);
  while (end != std::string::npos && (text[end + 1] == ' ' || text[end + 1] == '\n'));
  return text.substr(begin, end - begin);
}

/// What a section describes: what is to the left of the text, or above it.
Names described(const std::string& page, const std::string& title) {
  return allOf(section(page, title), R"(\n {7}([-a-z0-9].*?)(?=\n|\s+\([a-z]|\s+[A-Z][a-z]|  ))");
}

class ManualTest : public SystemTest {
 protected:
  void SetUp() override {
    SystemTest::SetUp();
    if (launch("man --version")->wait().status != 0) GTEST_SKIP() << "there is no man";
  }
  static std::string source(const std::string& page) {
    return QUORIN_SOURCE_FOLDER "/packaging/man/" + page + ".in";
  }
  /// As plain text, a line for each paragraph.
  std::string rendered(const std::string& page) {
    const Outcome outcome =
        launch("man -l " + source(page), "LC_ALL=C.UTF-8 MANOPT= MANROFFSEQ= MANWIDTH=1000")
            ->wait();
    EXPECT_EQ(outcome, (Outcome{0, outcome.out, ""}));
    return outcome.out;
  }
  static void expectSameOptions(const std::string& page, const std::string& help) {
    // With a blank after those that take a value.
    const std::string option = "(--[a-z-]+ (?=[a-z]|[A-Z](?![a-z]))|--[a-z-]+)";
    const Names options = allOf(help, "\n  " + option);
    EXPECT_GT(options.size(), 10U) << help;
    EXPECT_EQ(allOf(section(page, "OPTIONS"), "\n {7}" + option), options);
    for (const std::string& mentioned :
         allOf(page.substr(0, page.find("\nEXAMPLES")), "(--[a-z][a-z-]+)")) {
      EXPECT_TRUE(std::regex_search(help, std::regex("\n  " + mentioned + "\\s"))) << mentioned;
    }
  }
};

TEST_F(ManualTest, ThePagesRenderWithoutWarnings) {
  for (const std::string page : {"quorin.8", "oamctl.1"}) {
    for (const std::string renderer :
         {"man --warnings -E UTF-8 -l -Tutf8 ", "groff -man -ww -z -Tutf8 "}) {
      const Outcome outcome =
          launch(renderer + source(page), "LC_ALL=C.UTF-8 MANOPT= MANROFFSEQ=")->wait();
      EXPECT_EQ(outcome, (Outcome{0, outcome.out, ""})) << renderer << page;
    }
  }
}

TEST_F(ManualTest, TheyDescribeWhatTheHelpNames) {
  expectSameOptions(rendered("quorin.8"), launch(QUORIN_PROGRAM " --help")->wait().out);
  const std::string page = rendered("oamctl.1"), help = oamctl("--help").out;
  std::string helps = help;
  Names commands;
  for (const std::string& command : allOf(section(help, "Commands:"), R"(\n  (\S+( \S+)?))")) {
    const std::string one = oamctl("help " + command).out;
    helps += one;
    commands.insert(std::regex_replace(one.substr(0, one.find('\n')),
                                       std::regex("Usage: oamctl | \\[--.*"), ""));
  }
  expectSameOptions(page, helps);
  EXPECT_EQ(described(page, "COMMANDS"), commands);
  EXPECT_EQ(described(page, "EXIT STATUS"), allOf(help, R"([:;]\s(\d) )"));
}

TEST_F(ManualTest, TheExamplesOfOamctlShowWhatItPrints) {
  start("--group 111d:111e:111f");
  std::string transcript;
  for (const std::string& line : split(section(rendered("oamctl.1"), "EXAMPLES"), '\n')) {
    if (line.starts_with("           ")) transcript += "\n" + line.substr(11);
  }
  transcript = std::regex_replace(transcript, std::regex(R"(\n\$ oamctl )"), "\n$ ");
  transcript = std::regex_replace(transcript, std::regex(R"(\n\$ echo \$\?\n)"), "\nexit status ");
  EXPECT_GT(split(transcript, '$').size(), 10U) << transcript;
  expectTranscript(transcript + "\n");
}

}  // namespace
