#pragma once
// The start-up and shutdown steps of the program that need no window, in
// their order: the single-instance check, the settings (read once), the
// process priority, the crash handler, the program log and the search for
// analyses cut off by a forced close. The window shows what they found
// (SecondInstanceNote, SettingsWarnings, ForcedCloseAutoSaves) and keeps the
// session for the life of the program; its end writes "Program close".
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/forced_close.h"
#include "platform/single_instance.h"

namespace ostravel {

struct TStartupOptions {
  std::filesystem::path lockFolder;      // RuntimeFolder() when empty
  std::filesystem::path logFolder;       // LogFolder() when empty
  std::filesystem::path autoSaveFolder;  // the data folder when empty
  // How auto-saves are found there; a front end sets its slots (the
  // engine's UnheldAutoSaveSlots).
  TForcedCloseScan forcedCloseScan;
  // The program that shows a crash report ("--show-crash-report <log>");
  // empty: none (a command-line program).
  std::string crashReportProgram;
  bool lowerPriority = true;
  // Off for tests that must keep their own signal handling.
  bool installCrashHandler = true;
};

struct TStartupMessage {
  std::string title;
  std::string text;
};

class TProgramSession {
 public:
  explicit TProgramSession(const TStartupOptions& options = {});
  // Writes "Program close (...)" to the program log.
  ~TProgramSession();
  TProgramSession(const TProgramSession&) = delete;
  TProgramSession& operator=(const TProgramSession&) = delete;

  bool IsSecondInstance() const { return instance_->IsSecond(); }
  // The box to show at start-up for a second instance (only with
  // WarnAboutSecondInstanceOfProgram >= 2), in the settings' language.
  std::optional<TStartupMessage> SecondInstanceNote() const;
  // The settings' own warnings, to show before the window opens.
  const std::vector<std::string>& SettingsWarnings() const { return settingsWarnings_; }
  // Auto-saves whose writer was closed forcibly, to offer one by one.
  const std::vector<TForcedCloseAutoSave>& ForcedCloseAutoSaves() const { return forcedClose_; }
  bool CrashHandlerActive() const { return crashHandler_; }
  const std::filesystem::path& LogFolderPath() const { return logFolder_; }

 private:
  std::unique_ptr<TSingleInstance> instance_;
  std::vector<std::string> settingsWarnings_;
  std::vector<TForcedCloseAutoSave> forcedClose_;
  std::filesystem::path logFolder_;
  bool crashHandler_ = false;
};

}  // namespace ostravel
