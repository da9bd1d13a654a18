#pragma once
// Watches one file for changes made by other programs (the open ".cp"
// collection). It watches the file's folder, as editors often save by
// writing a new file and renaming it over the old one, and keeps watching
// after every event. The window polls Fd() in its event loop and calls
// Changed() when it is readable.
#include <filesystem>
#include <string>

namespace ostravel {

class TFileWatcher {
 public:
  TFileWatcher();
  ~TFileWatcher();
  TFileWatcher(const TFileWatcher&) = delete;
  TFileWatcher& operator=(const TFileWatcher&) = delete;

  // Starts watching file (stops watching the previous one). False when the
  // folder cannot be watched; then Changed() never reports.
  bool Watch(const std::filesystem::path& file);
  void Stop();
  const std::filesystem::path& File() const { return file_; }

  // Readable when events are waiting (for QSocketNotifier or poll); -1 when
  // inotify is unavailable.
  int Fd() const { return fd_; }

  // Consumes the waiting events, waiting at most timeoutMs for the first
  // (0: do not wait). True when one of them concerned the watched file:
  // it was written and closed, replaced, created or removed.
  bool Changed(int timeoutMs = 0);

  // Drops the waiting events: call after the program saved the file itself,
  // so its own write is not reported as a foreign change.
  void Discard() { Changed(0); }

 private:
  int fd_ = -1;
  int wd_ = -1;
  std::filesystem::path file_;
  std::string name_;
};

}  // namespace ostravel
