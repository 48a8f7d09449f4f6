// The privilege drop, by trying to take back what it took, each time in a process of its own; and
// lines of the log, as they leave the process.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iterator>
#include <tuple>

#include "platform/LogStream.h"
#include "platform/ProcPrivs.h"

namespace {

bool setCapabilities(std::uint32_t low, std::uint32_t high) {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct all[] = {{low, low, low}, {high, high, high}};
  return ::syscall(SYS_capset, &header, all) == 0;
}

bool holdsCapabilities() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct held[2] = {};
  ::syscall(SYS_capget, &header, held);
  std::uint32_t all = 0;
  for (const auto& word : held) all |= word.effective | word.permitted | word.inheritable;
  for (int capability = 0; capability < 64; ++capability) {
    if (::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_IS_SET, capability, 0, 0) == 1) all |= 1;
  }
  return all != 0;
}

// The ways back that are open, as bits.
unsigned int openWaysBack() {
  const gid_t root = 0;
  const bool ways[] = {::setuid(0) == 0,
                       ::seteuid(0) == 0,
                       ::setresuid(0, 0, 0) == 0,
                       ::setgid(0) == 0,
                       ::setegid(0) == 0,
                       ::setgroups(1, &root) == 0,
                       ::getgroups(0, nullptr) != 0,
                       holdsCapabilities(),
                       setCapabilities(1u << CAP_SETUID, 0),
                       ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_SETUID, 0, 0) == 0,
                       ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1,
                       ::prctl(PR_SET_NO_NEW_PRIVS, 0, 0, 0, 0) == 0,
                       ::open("/etc/shadow", O_RDONLY) >= 0,
                       ::chroot("/") == 0};
  unsigned int bits = 0;
  for (std::size_t i = 0; i < std::size(ways); ++i) bits |= unsigned{ways[i]} << i;
  return bits;
}

/// Drops to "apps" where `prepare` has prepared for it, and ends: with 0 if no way leads back.
template <typename Prepare>
[[noreturn]] void dropAndTryToGoBack(Prepare&& prepare) {
  Zel::ProcPrivs privileges;
  privileges.setUser("apps");
  privileges.setGroup("apps");
  const bool dropped = prepare() && privileges.applyPrivileges() == 0;
  const unsigned int open = dropped ? openWaysBack() : 0;
  std::fprintf(stderr, "%s, ways back %x\n", dropped ? "dropped" : "refused", open);
  ::_exit(open == 0 ? 0 : 1);
}

TEST(PrivilegesTest, ThereIsNoWayBack) {
  if (::getuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_TRUE(holdsCapabilities());
  const passwd* const entry = ::getpwnam("apps");
  const uid_t apps = entry->pw_uid;
  const gid_t group = entry->pw_gid;
  const std::function<bool()> preparations[] = {
      [] { return true; },
      // Capabilities that whoever starts the process wants it to keep, and the groups of root.
      [] {
        const gid_t groups[] = {0, 1};
        return ::setgroups(2, groups) == 0 && ::prctl(PR_SET_KEEPCAPS, 1) == 0 &&
               setCapabilities(1u << CAP_SETUID | 1u << CAP_SETGID, 0);
      },
      // It runs as "apps" already, with a capability that leads back.
      [&] {
        return ::setgroups(0, nullptr) == 0 && ::setresgid(group, group, group) == 0 &&
               ::prctl(PR_SET_KEEPCAPS, 1) == 0 && ::setresuid(apps, apps, apps) == 0 &&
               setCapabilities(1u << CAP_SETUID, 0);
      }};
  for (const auto& prepare : preparations) {
    EXPECT_EXIT(dropAndTryToGoBack(prepare), testing::ExitedWithCode(0), "dropped, ways back 0\n");
  }
  // Of "apps" it is the user only, and may not change that.
  EXPECT_EXIT(dropAndTryToGoBack(
                  [&] { return ::setresgid(1, 1, 1) == 0 && ::setresuid(apps, apps, apps) == 0; }),
              testing::ExitedWithCode(0), "refused");
}

TEST(PrivilegesTest, AnAccountThatIsRootOrIsNotThereIsRefused) {
  const std::tuple<const char*, const char*, int> cases[] = {{"root", "apps", EPERM},
                                                             {"apps", "root", EPERM},
                                                             {"no-such", "apps", ENOENT},
                                                             {"apps", "no-such", ENOENT}};
  for (const auto& [user, group, error] : cases) {
    Zel::ProcPrivs privileges;
    privileges.setUser(user);
    privileges.setGroup(group);
    EXPECT_EQ(privileges.applyPrivileges(), error) << user << group;
  }
}

// No text forges a second line or reaches a terminal raw; letters stay.
TEST(LogLinesTest, NoControlCharacterSurvives) {
  testing::internal::CaptureStderr();
  Zel::LogStream line(ZEL_LOG_ERROR, "file", 7, "function");
  line << "a\nb\tc\x1b\x1f \x7f\xc2\x80\xc2\x9f\xc2\xa0\xc3\xa9\xc2\x9f\n";
  line.done();
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_EQ(
      text.substr(text.find(": ") + 2),
      "file:7 function a\\nb\\tc\\x1b\\x1f \\x7f\\xc2\\x80\\xc2\\x9f\xc2\xa0\xc3\xa9\\xc2\\x9f\n");
}

}  // namespace
