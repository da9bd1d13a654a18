#include "platform/file_watcher.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ostravel {

namespace {
constexpr uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM;
}

TFileWatcher::TFileWatcher() : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

TFileWatcher::~TFileWatcher() {
  if (fd_ >= 0) ::close(fd_);
}

bool TFileWatcher::Watch(const std::filesystem::path& file) {
  Stop();
  if (fd_ < 0) return false;
  std::error_code ec;
  std::filesystem::path abs = std::filesystem::absolute(file, ec);
  if (ec) abs = file;
  std::filesystem::path folder = abs.parent_path();
  if (folder.empty()) folder = ".";
  wd_ = ::inotify_add_watch(fd_, folder.c_str(), kEvents);
  if (wd_ < 0) return false;
  file_ = abs;
  name_ = abs.filename().string();
  Discard();
  return true;
}

void TFileWatcher::Stop() {
  if (wd_ >= 0) ::inotify_rm_watch(fd_, wd_);
  wd_ = -1;
  // Events of the old watch may still wait; they are not about the new file.
  if (fd_ >= 0) {
    alignas(inotify_event) char buf[4096];
    while (::read(fd_, buf, sizeof buf) > 0) {
    }
  }
  file_.clear();
  name_.clear();
}

bool TFileWatcher::Changed(int timeoutMs) {
  if (fd_ < 0 || wd_ < 0) return false;
  if (timeoutMs > 0) {
    pollfd p{fd_, POLLIN, 0};
    int rc;
    do {
      rc = ::poll(&p, 1, timeoutMs);
    } while (rc < 0 && errno == EINTR);
    if (rc <= 0) return false;
  }
  bool changed = false;
  alignas(inotify_event) char buf[4096];
  for (;;) {
    const ssize_t n = ::read(fd_, buf, sizeof buf);
    if (n <= 0) break;
    for (ssize_t off = 0; off < n;) {
      const auto* ev = reinterpret_cast<const inotify_event*>(buf + off);
      if (ev->wd == wd_ && ev->len > 0 && name_ == ev->name && (ev->mask & kEvents)) changed = true;
      off += static_cast<ssize_t>(sizeof(inotify_event) + ev->len);
    }
  }
  return changed;
}

}  // namespace ostravel
