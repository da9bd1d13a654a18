#pragma once
// One program instance per user is the first; later ones are told so (they
// open ".lichess" cache files read-only). The first instance holds an
// exclusive flock on "Kerrowin.lock" in the user's runtime folder; the kernel
// releases it when the process ends, however it ends, so a crashed first
// instance never leaves a stale lock.
#include <filesystem>

namespace ostravel {

inline constexpr const char* kSingleInstanceName = "Kerrowin";

// $XDG_RUNTIME_DIR when set and absolute, else /tmp/ostravel-<uid>
// (created with mode 0700).
std::filesystem::path RuntimeFolder();

class TSingleInstance {
 public:
  // Takes the lock in folder (RuntimeFolder() when empty). When the lock
  // file cannot be created at all the instance counts as a second one, the
  // side that cannot damage shared cache files.
  explicit TSingleInstance(const std::filesystem::path& folder = {});
  ~TSingleInstance();
  TSingleInstance(const TSingleInstance&) = delete;
  TSingleInstance& operator=(const TSingleInstance&) = delete;

  bool IsFirst() const { return first_; }
  bool IsSecond() const { return !first_; }
  const std::filesystem::path& LockFile() const { return lockFile_; }

 private:
  int fd_ = -1;
  bool first_ = false;
  std::filesystem::path lockFile_;
};

// Whether the second-instance note is shown at start-up
// (WarnAboutSecondInstanceOfProgram >= 2; 1 only in the status bar).
inline bool ShowSecondInstanceNote(int warnAboutSecondInstance) {
  return warnAboutSecondInstance >= 2;
}
inline bool ShowSecondInstanceStatus(int warnAboutSecondInstance) {
  return warnAboutSecondInstance >= 1;
}

}  // namespace ostravel
