// What the pages of documentation show is what the programs do.
#include <fstream>

#include "Harness.h"

using namespace harness;

namespace {

class DocumentationTest : public SystemTest {
 protected:
  static std::string page(const std::string& name) {
    return fileContent(QUORIN_SOURCE_FOLDER "/docs/" + name);
  }
  /// Starts a daemon, and runs the first example in `language` against it.
  Outcome runExample(const std::string& language, const std::string& interpreter) {
    const std::string text = page("oam-socket.md"), head = "```" + language + "\n";
    const std::size_t begin = text.find(head) + head.size();
    std::ofstream(path("example")) << text.substr(begin, text.find("```\n", begin) - begin);
    const std::string folder = OAMCTL_PROGRAM;
    start("--group 111f");
    return launch(interpreter + " " + path("example"),
                  "PATH=" + folder.substr(0, folder.rfind('/')) + ":\"$PATH\"")
        ->wait();
  }
};

TEST_F(DocumentationTest, TheCatalogueIsWhatOamctlSays) {
  EXPECT_EQ(oamctl("records --markdown"), (Outcome{0, page("records.md"), ""}));
}

TEST_F(DocumentationTest, TheExamplesWork) {
  const Outcome shell = runExample("sh", "sh -e");
  EXPECT_EQ(shell, (Outcome{0, shell.out, ""}));
  EXPECT_TRUE(shell.out.ends_with("exit status 1: the framework said no\n")) << shell.out;
  if (launch("python3 --version")->wait().status != 0) GTEST_SKIP() << "there is no python3";
  EXPECT_EQ(runExample("python", "python3"), (Outcome{0, "four rows: True\n", ""}));
}

}  // namespace
