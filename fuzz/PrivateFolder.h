// A folder of the fuzz program's own, for its socket.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace fuzz {

/// Removed with the object, unless a finding has ended the process.
class PrivateFolder {
 public:
  PrivateFolder() {
    std::string name = std::filesystem::temp_directory_path() / "quorin-fuzz-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
    path_ = name;
  }
  ~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  std::string socketPath() const { return path_ / "oam.sock"; }

 private:
  std::filesystem::path path_;
};

}  // namespace fuzz
