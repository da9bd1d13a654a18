#include "platform/startup.h"

#include "config/paths.h"
#include "config/settings.h"
#include "platform/crash_handler.h"
#include "platform/process.h"
#include "platform/program_log.h"
#include "platform/texts.h"

namespace ostravel {

TProgramSession::TProgramSession(const TStartupOptions& options) {
  instance_ = std::make_unique<TSingleInstance>(options.lockFolder);
  settingsWarnings_ = LoadSettings();
  const TSettings& s = Settings();
  if (options.lowerPriority) LowerProcessPriority();
  logFolder_ = options.logFolder.empty() ? LogFolder() : options.logFolder;
  if (options.installCrashHandler && !s.UseSystemCrashHandler) {
    TCrashHandlerOptions crash;
    crash.logFolder = logFolder_.string();
    crash.reportProgram = options.crashReportProgram;
    crashHandler_ = InstallCrashHandler(crash);
  }
  LogProgramOpened(logFolder_);
  std::filesystem::path autoSaves = options.autoSaveFolder;
  if (autoSaves.empty()) autoSaves = FileLocations().dataFolder;
  forcedClose_ = FindForcedCloseAutoSaves(autoSaves, options.forcedCloseScan);
}

TProgramSession::~TProgramSession() {
  LogProgramClosed(logFolder_);
}

std::optional<TStartupMessage> TProgramSession::SecondInstanceNote() const {
  const TSettings& s = Settings();
  if (!IsSecondInstance() || !ShowSecondInstanceNote(s.WarnAboutSecondInstanceOfProgram)) return std::nullopt;
  return TStartupMessage{ShellText(TShellText::kInformationTitle, s.LanguageId),
                         ShellText(TShellText::kSecondInstanceNote, s.LanguageId)};
}

}  // namespace ostravel
