// The platform's privilege class: one request to go on as another user and group.
#pragma once

#include <string>

namespace Zel {

/// Used on the main thread, before any other thread exists.
class ProcPrivs {
 public:
  ProcPrivs();
  ~ProcPrivs();
  ProcPrivs(const ProcPrivs&) = delete;
  ProcPrivs& operator=(const ProcPrivs&) = delete;

  /// Name the account to switch to; the text is copied.
  void setUser(const char* user);
  void setGroup(const char* group);

  /// Switches the whole process for good: none of the start privileges is left, and they cannot
  /// be taken back. Returns 0 on success, else an errno value; after a failure
  /// the process may be left half-way and must end.
  int applyPrivileges();

 private:
  std::string user_;
  std::string group_;
};

}  // namespace Zel
