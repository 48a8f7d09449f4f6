// Runs the target once for every file of the folder that is named: seeds and past findings.
#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/fuzz/Input.h"

namespace {

/// Throws where a folder or file cannot be read, and where there is nothing to replay.
void replay(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    paths.push_back(entry.path());
  }
  if (paths.empty()) throw std::runtime_error(folder.string() + " is empty");
  std::sort(paths.begin(), paths.end());
  for (const auto& path : paths) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path.string() + " cannot be opened");
    const fuzz::Bytes bytes(std::istreambuf_iterator<char>(file), {});
    if (file.bad()) throw std::runtime_error(path.string() + " cannot be read");
    // What ends the process does so after the name of the file.
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  try {
    replay(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
  return 0;
}
