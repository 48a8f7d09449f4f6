// What the pages of documentation show is what the programs do.
//
// A fenced block of a page is a program: python or sh, in a file whose name its first line says in
// a comment, up to a colon. The indented lines that come next are all that it prints. What is only
// shown is indented.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "Harness.h"

using namespace harness;

namespace {

const std::string pages = QUORIN_SOURCE_FOLDER "/docs/", indent = "    ";

struct Example {
  std::string language, file, program, output;
  bool outputEnded = false;

  friend std::ostream& operator<<(std::ostream& stream, const Example& example) {
    return stream << example.file;
  }
};

std::vector<Example> examplesOf(const std::string& page) {
  const std::string fence = "```";
  std::vector<Example> examples;
  bool inProgram = false;
  for (const std::string& line : split(fileContent(page), '\n')) {
    if (line.starts_with(fence)) {
      inProgram = !inProgram;
      if (inProgram) examples.emplace_back().language = line.substr(fence.size());
    } else if (inProgram) {
      Example& example = examples.back();
      if (example.program.empty()) example.file = line.substr(0, line.find(':'));
      example.program += line + '\n';
    } else if (!examples.empty() && !examples.back().outputEnded) {
      Example& example = examples.back();
      const bool isOutput = line.starts_with(indent);
      if (isOutput) example.output += line.substr(indent.size()) + '\n';
      example.outputEnded = !isOutput && !example.output.empty();
    }
  }
  for (Example& example : examples) {
    const bool known = example.language == "python" || example.language == "sh";
    if (!known || !example.file.starts_with("# ") || example.output.empty()) {
      throw std::runtime_error(page + " has a block that cannot be tested:\n" + example.program);
    }
    example.file.erase(0, 2);
  }
  return examples;
}

std::vector<Example> allExamples() {
  std::vector<Example> all;
  for (const auto& page : std::filesystem::directory_iterator(pages)) {
    for (const Example& example : examplesOf(page.path())) all.push_back(example);
  }
  return all;
}

class ExampleTest : public SystemTest, public testing::WithParamInterface<Example> {};

TEST_P(ExampleTest, PrintsWhatThePageSays) {
  // All of them, since one may use another.
  for (const Example& each : allExamples()) std::ofstream(path(each.file)) << each.program;
  const Example& example = GetParam();
  const bool isPython = example.language == "python";
  if (isPython && launch("python3 --version")->wait().status != 0) {
    GTEST_SKIP() << "there is no python3";
  }
  const std::string programs = std::filesystem::path(OAMCTL_PROGRAM).parent_path();
  // Its waits have deadlines of their own; what hangs all the same goes with all that it started.
  const auto process =
      launch("timeout 100 " + std::string(isPython ? "python3 " : "sh ") + path(example.file),
             "PATH=" + programs + ":\"$PATH\"");
  while (!process->ended()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(process->wait(), (Outcome{0, example.output, ""}));
}

INSTANTIATE_TEST_SUITE_P(Pages, ExampleTest, testing::ValuesIn(allExamples()),
                         [](const testing::TestParamInfo<Example>& example) {
                           std::string name = example.param.file;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

class DocumentationTest : public SystemTest {};

TEST_F(DocumentationTest, TheCatalogueIsWhatOamctlSays) {
  EXPECT_EQ(oamctl("records --markdown"), (Outcome{0, fileContent(pages + "records.md"), ""}));
}

TEST_F(DocumentationTest, TheLinesOfTheSocketPageAreExchanged) {
  start("--group 111f");
  int replies = 0;
  for (const std::string& line : split(fileContent(pages + "oam-socket.md"), '\n')) {
    if (line.starts_with(indent + "--> ")) client->send(line.substr(8));
    if (!line.starts_with(indent + "<-- ")) continue;
    EXPECT_EQ(client->readLine(), line.substr(8));
    ++replies;
  }
  EXPECT_GE(replies, 2);
}

}  // namespace
