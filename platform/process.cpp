#include "platform/process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace ostravel {

namespace fs = std::filesystem;

namespace {

constexpr int kBelowNormalNice = 5;
// The kernel keeps this many characters of a command name.
constexpr std::size_t kCommNameChars = 15;

std::string FileNameOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string ReadFirstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return line;
}

// State letter of /proc/<pid>/stat: the field after the parenthesised
// command name, which may itself hold blanks and parentheses.
bool IsZombie(long long pid) {
  const std::string stat = ReadFirstLine("/proc/" + std::to_string(pid) + "/stat");
  const std::size_t close = stat.rfind(')');
  return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] == 'Z';
}

}  // namespace

bool ProcessRunning(long long pid, const std::string& processFileName) {
  if (pid <= 0 || pid > INT_MAX) return false;
  // EPERM: it exists but belongs to someone else.
  if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) return false;
  if (IsZombie(pid)) return false;
  const std::string want = FileNameOf(processFileName);
  if (want.empty()) return true;
  const std::string proc = "/proc/" + std::to_string(pid);
  std::error_code ec;
  std::string exe = fs::read_symlink(proc + "/exe", ec).string();
  if (!ec && !exe.empty()) {
    // A program replaced on disk while it runs (a rebuild) keeps its name.
    const std::string deleted = " (deleted)";
    if (exe.size() > deleted.size() && exe.compare(exe.size() - deleted.size(), deleted.size(), deleted) == 0)
      exe.resize(exe.size() - deleted.size());
    return FileNameOf(exe) == want;
  }
  // Another user's process: only its command name is readable.
  const std::string comm = ReadFirstLine(proc + "/comm");
  if (comm.empty()) return true;  // nothing to tell it by; assume the owner
  return comm == want.substr(0, kCommNameChars);
}

bool LowerProcessPriority() {
  errno = 0;
  const int now = ::getpriority(PRIO_PROCESS, 0);
  if (now == -1 && errno != 0) return false;
  if (now >= kBelowNormalNice) return true;
  return ::setpriority(PRIO_PROCESS, 0, kBelowNormalNice) == 0;
}

}  // namespace ostravel
