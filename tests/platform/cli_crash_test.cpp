// The crash handler as ostravel-cli installs it: the hidden crash-test
// command, the engine's flags in the log, and UseSystemCrashHandler.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

fs::path CliPath() {
  std::error_code ec;
  const fs::path cli = fs::read_symlink("/proc/self/exe", ec).parent_path().parent_path() / "ostravel-cli";
  return !ec && fs::exists(cli, ec) ? cli : fs::path();
}

std::string ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// Runs "ostravel-cli crash-test <kind>" with home as OSTRAVEL_HOME; returns
// the signal that ended it (0 when it exited) and its stderr.
int RunCrashTest(const fs::path& home, const std::string& kind, std::string* err) {
  const fs::path errFile = home / "stderr.txt";
  const pid_t pid = ::fork();
  if (pid == 0) {
    rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::setenv("OSTRAVEL_HOME", home.c_str(), 1);
    if (!std::freopen(errFile.c_str(), "w", stderr)) ::_exit(126);
    const std::string cli = CliPath().string();
    ::execl(cli.c_str(), cli.c_str(), "crash-test", kind.c_str(), static_cast<char*>(nullptr));
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  *err = ReadAll(errFile);
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

std::vector<fs::path> CrashLogs(const fs::path& home) {
  std::vector<fs::path> logs;
  for (const auto& e : fs::directory_iterator(home))
    if (e.path().filename().string().rfind("crash_log_", 0) == 0) logs.push_back(e.path());
  return logs;
}

TEST(CliCrashTest, CrashTestCommandWritesTheLogWithTheEngineState) {
#ifdef OSTRAVEL_SANITIZED
  GTEST_SKIP() << "sanitizer builds keep the sanitizer's own reports";
#endif
  if (CliPath().empty()) GTEST_SKIP() << "ostravel-cli is not built";
  const fs::path home = test::MakeTempDir();
  std::string err;
  EXPECT_EQ(RunCrashTest(home, "div-zero", &err), SIGFPE);
  const auto logs = CrashLogs(home);
  ASSERT_EQ(logs.size(), 1u);
  const std::string log = ReadAll(logs[0]);
  EXPECT_NE(log.find("Exception Code: 0xC0000094 (Integer Divide By Zero)\n"), std::string::npos) << log;
  EXPECT_NE(log.find("CrashTestDivZero"), std::string::npos);
  EXPECT_NE(log.find("RunCrashTestCommand"), std::string::npos);
  EXPECT_NE(log.find("\ng_bEngineThreadProcRunning=0\n"), std::string::npos);
  EXPECT_NE(log.find("\nsetRunningProblemsIds.size()=0\n"), std::string::npos);
  EXPECT_NE(err.find("crash log written to " + logs[0].string()), std::string::npos) << err;

  // Left to the system: no log.
  const fs::path quiet = test::MakeTempDir();
  std::ofstream(quiet / "options.ini") << "[chess]\nUseSystemCrashHandler=1\n";
  EXPECT_EQ(RunCrashTest(quiet, "abort", &err), SIGABRT);
  EXPECT_TRUE(CrashLogs(quiet).empty());

  EXPECT_EQ(RunCrashTest(home, "no-such-kind", &err), 0);
  EXPECT_NE(err.find("unknown crash kind"), std::string::npos);
}

}  // namespace
}  // namespace ostravel
