#include "platform/program_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "config/paths.h"

namespace ostravel {

std::filesystem::path LogFolder() {
  return FileLocations().dataFolder;
}

std::string ProgramLogStamp() {
  const std::time_t now = std::time(nullptr);
  std::tm tm{};
  ::localtime_r(&now, &tm);
  char when[32];
  std::strftime(when, sizeof when, "%Y-%m-%d %H:%M:%S", &tm);
  return std::string(when) + ", Ostravel " OSTRAVEL_VERSION ", pid " + std::to_string(::getpid());
}

bool AppendProgramLogLine(const std::filesystem::path& folder, const std::string& line) {
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  const std::filesystem::path path = folder / kProgramLogName;
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  const std::string text = line + "\n";
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  const bool ok = ::close(fd) == 0 && done == text.size();
  return ok;
}

bool LogProgramOpened(const std::filesystem::path& folder) {
  return AppendProgramLogLine(folder, "Program opened (" + ProgramLogStamp() + ")");
}

bool LogProgramClosed(const std::filesystem::path& folder) {
  return AppendProgramLogLine(folder, "Program close (" + ProgramLogStamp() + ")");
}

}  // namespace ostravel
