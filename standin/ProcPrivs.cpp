#include "platform/ProcPrivs.h"

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace Zel {
namespace {

bool runsAs(uid_t user, gid_t group) {
  std::array<uid_t, 3> users;  // real, effective and saved
  std::array<gid_t, 3> groups;
  return ::getresuid(&users[0], &users[1], &users[2]) == 0 &&
         ::getresgid(&groups[0], &groups[1], &groups[2]) == 0 &&
         std::ranges::count(users, user) == 3 && std::ranges::count(groups, group) == 3;
}

// 0, or the errno.
int switchTo(uid_t user, gid_t group) {
  // The user goes last: without it there is no right to do the others.
  if (::setgroups(0, nullptr) != 0) return errno;
  if (::setresgid(group, group, group) != 0) return errno;
  if (::setresuid(user, user, user) != 0) return errno;

  if (!runsAs(user, group)) return EPERM;
  if (::setuid(0) == 0 || ::seteuid(0) == 0) return EPERM;
  if (::setgid(0) == 0 || ::setegid(0) == 0) return EPERM;
  return 0;
}

// Capabilities outlive the switch where whoever started the process arranged for it, and a program
// file may grant new ones. 0, or the errno.
int giveUpCapabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  // With the inheritable ones go the ambient ones.
  if (::syscall(SYS_capset, &header, none) != 0) return errno;
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 ? 0 : errno;
}

// The look-ups leave errno alone where there simply is no such entry.
int lookUpError() { return errno != 0 ? errno : ENOENT; }

}  // namespace

ProcPrivs::ProcPrivs() = default;
ProcPrivs::~ProcPrivs() = default;

void ProcPrivs::setUser(const char* user) { user_ = user; }
void ProcPrivs::setGroup(const char* group) { group_ = group; }

int ProcPrivs::applyPrivileges() {
  errno = 0;
  const passwd* userEntry = ::getpwnam(user_.c_str());
  if (userEntry == nullptr) return lookUpError();
  const uid_t user = userEntry->pw_uid;
  errno = 0;
  const group* groupEntry = ::getgrnam(group_.c_str());
  if (groupEntry == nullptr) return lookUpError();
  const gid_t group = groupEntry->gr_gid;

  // An account that is root's by another name leaves everything as it is.
  if (user == 0 || group == 0) return EPERM;
  if (!runsAs(user, group)) {
    if (const int error = switchTo(user, group); error != 0) return error;
  }
  return giveUpCapabilities();
}

}  // namespace Zel
