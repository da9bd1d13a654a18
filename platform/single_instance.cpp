#include "platform/single_instance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace ostravel {

namespace fs = std::filesystem;

fs::path RuntimeFolder() {
  const char* xdg = std::getenv("XDG_RUNTIME_DIR");
  if (xdg && xdg[0] == '/') return fs::path(xdg);
  fs::path p = fs::path("/tmp") / ("ostravel-" + std::to_string(::getuid()));
  ::mkdir(p.c_str(), 0700);
  return p;
}

TSingleInstance::TSingleInstance(const fs::path& folder) {
  lockFile_ = (folder.empty() ? RuntimeFolder() : folder) / (std::string(kSingleInstanceName) + ".lock");
  // Close-on-exec: a program started from here (the crash report viewer)
  // must not inherit the lock.
  fd_ = ::open(lockFile_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd_ < 0) return;
  int rc;
  do {
    rc = ::flock(fd_, LOCK_EX | LOCK_NB);
  } while (rc != 0 && errno == EINTR);
  first_ = rc == 0;
}

TSingleInstance::~TSingleInstance() {
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace ostravel
