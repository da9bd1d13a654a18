#include "platform/single_instance.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "support/test_support.h"

namespace ostravel {
namespace {

// A child that takes the lock, reports, and waits to be killed.
pid_t StartHolder(const std::string& folder) {
  int fds[2];
  if (::pipe(fds) != 0) return -1;
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(fds[0]);
    TSingleInstance held(folder);
    const char c = held.IsFirst() ? '1' : '2';
    if (::write(fds[1], &c, 1) != 1) ::_exit(3);
    for (;;) ::pause();
  }
  ::close(fds[1]);
  char c = 0;
  const bool ok = ::read(fds[0], &c, 1) == 1 && c == '1';
  ::close(fds[0]);
  return ok ? pid : -1;
}

TEST(SingleInstanceTest, SecondProcessKnowsItIsSecondUntilTheFirstDies) {
  const std::string folder = test::MakeTempDir();
  const pid_t holder = StartHolder(folder);
  ASSERT_GT(holder, 0);
  {
    TSingleInstance second(folder);
    EXPECT_TRUE(second.IsSecond());
    EXPECT_EQ(second.LockFile(), std::filesystem::path(folder) / "Kerrowin.lock");
  }
  // Killed, not closed: the kernel releases the lock all the same.
  ::kill(holder, SIGKILL);
  int status = 0;
  ASSERT_EQ(::waitpid(holder, &status, 0), holder);
  TSingleInstance next(folder);
  EXPECT_TRUE(next.IsFirst());
  // Within one process a second instance object is a second instance too.
  TSingleInstance again(folder);
  EXPECT_TRUE(again.IsSecond());
}

TEST(SingleInstanceTest, UnusableFolderCountsAsSecondAndNotes) {
  TSingleInstance nowhere("/nonexistent/folder/for/the/lock");
  EXPECT_TRUE(nowhere.IsSecond());
  EXPECT_FALSE(ShowSecondInstanceNote(1));
  EXPECT_TRUE(ShowSecondInstanceStatus(1));
  EXPECT_TRUE(ShowSecondInstanceNote(2));
  EXPECT_TRUE(ShowSecondInstanceNote(5));
  EXPECT_FALSE(ShowSecondInstanceStatus(0));
}

TEST(SingleInstanceTest, RuntimeFolderFollowsXdg) {
  const char* old = std::getenv("XDG_RUNTIME_DIR");
  const std::string saved = old ? old : "";
  ::setenv("XDG_RUNTIME_DIR", "/run/user/4242", 1);
  EXPECT_EQ(RuntimeFolder(), std::filesystem::path("/run/user/4242"));
  ::setenv("XDG_RUNTIME_DIR", "relative/ignored", 1);
  EXPECT_EQ(RuntimeFolder(), std::filesystem::path("/tmp/ostravel-" + std::to_string(::getuid())));
  if (old)
    ::setenv("XDG_RUNTIME_DIR", saved.c_str(), 1);
  else
    ::unsetenv("XDG_RUNTIME_DIR");
}

}  // namespace
}  // namespace ostravel
