// A folder of a program's own, for the socket of the daemon that it drives.
#pragma once

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// Where root makes it, it belongs to "apps", as which a daemon runs. Removed with the object,
/// unless the process ends before.
class PrivateFolder {
 public:
  PrivateFolder() {
    std::string name = std::filesystem::temp_directory_path() / "quorin-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
    path_ = name;
    const passwd* apps = ::getpwnam("apps");
    if (apps != nullptr && ::getuid() == 0 &&
        ::chown(name.c_str(), apps->pw_uid, apps->pw_gid) != 0) {
      throw std::runtime_error(name + " stays root's");
    }
  }
  ~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  std::string path(const std::string& name) const { return path_ / name; }
  std::string socketPath() const { return path("oam.sock"); }

 private:
  std::filesystem::path path_;
};
