// Runs the target once for every file of the folder that is named: seeds and past findings.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "tests/fuzz/Input.h"

int main(int, char** arguments) {
  const std::set<std::filesystem::path> paths(std::filesystem::directory_iterator(arguments[1]),
                                              {});
  fuzz::expect(!paths.empty(), "there is something to replay");
  for (const auto& path : paths) {
    // What ends the process does so after the name of the file.
    std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const fuzz::Bytes bytes(std::istreambuf_iterator<char>(file), {});
    fuzz::expect(file.good(), "the file can be read");
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
}
