#pragma once
// Automatic save of a running analysis, and its recovery after a forced
// close.
//
// While a search runs, TAutoSaver writes its temporary register every period
// to "AutoSave.tmpReg" in the data folder, the problem to "AutoSave.cp", and
// the companion "AutoSave.tmpReg.ini" naming the process that wrote them.
// The register goes to "AutoSavePending.tmp" first and is renamed over the
// previous auto-save only once complete, so a crash (or a power failure)
// during a save leaves the previous one intact.
//
// At the next start a companion whose process no longer runs tells of an
// analysis closed forcibly; FindForcedCloseAutoSave finds it, and the CLI
// command "resume" continues it.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "config/autosave_info.h"
#include "problems/problem.h"

namespace ostravel {

class TAggregatedTemporaryChessboardRegister;

struct TAutoSavePaths {
  std::filesystem::path registerFile;  // "AutoSave.tmpReg"
  std::filesystem::path pendingFile;   // "AutoSavePending.tmp"
  std::filesystem::path problemFile;   // "AutoSave.cp"
  std::filesystem::path infoFile;      // "AutoSave.tmpReg.ini"

  static TAutoSavePaths In(const std::filesystem::path& folder);
};

// The companion's record for this process: its id and executable, the
// problem's description and the current memory ratios.
TAutoSaveInfo CurrentAutoSaveInfo(const std::string& description);

// One auto-save, on the caller's thread: the problem, the register (through
// the pending file and a rename) and the companion. Throws on failure; the
// previous auto-save is then still in place.
void WriteAutoSave(const TAggregatedTemporaryChessboardRegister& reg, const TProblem& problem,
                   const std::filesystem::path& folder, uint64_t limitMB, bool compress = true);

// Removes the auto-save files of a folder (an analysis that ended normally
// leaves nothing to recover). Missing files are no error.
void RemoveAutoSave(const std::filesystem::path& folder);

class TAutoSaver {
 public:
  // Saves reg every `period` (at most limitMB per file) into folder (the
  // data folder when empty) on a thread of its own, until Stop. A zero
  // period or limit starts nothing.
  TAutoSaver(std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg, TProblem problem,
             std::chrono::milliseconds period, uint64_t limitMB, std::filesystem::path folder = {},
             bool compress = true);
  // With the settings' AutoSaveMinutes and AutoSaveMB; nullptr when they
  // switch auto-save off.
  static std::unique_ptr<TAutoSaver> FromSettings(std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg,
                                                  TProblem problem, std::filesystem::path folder = {});
  // Stops the thread; the files stay for a later resume.
  ~TAutoSaver();
  TAutoSaver(const TAutoSaver&) = delete;
  TAutoSaver& operator=(const TAutoSaver&) = delete;

  // Ends the periodic saving; waits for a save in progress. Idempotent.
  void Stop();
  // The run ended normally: stops and removes the auto-save files.
  void Finish();
  // Saves at once (also after Stop: a stopped run saves what it has before
  // exiting). False on failure, the text in LastError().
  bool SaveNow();

  bool Running() const { return thread_.joinable(); }
  int Saves() const;
  std::string LastError() const;
  const TAutoSavePaths& Paths() const { return paths_; }

 private:
  void Loop();

  std::shared_ptr<TAggregatedTemporaryChessboardRegister> reg_;
  TProblem problem_;
  std::chrono::milliseconds period_;
  uint64_t limitMB_;
  std::filesystem::path folder_;
  TAutoSavePaths paths_;
  bool compress_;

  std::mutex saveLock_;  // one save at a time (thread and SaveNow)
  mutable std::mutex stateLock_;
  std::condition_variable wake_;
  bool stopping_ = false;
  int saves_ = 0;
  std::string lastError_;
  std::thread thread_;
};

// ---------------------------------------------------------------- forced close

// The process's own executable (its full path).
std::string CurrentExecutablePath();

// Whether the process pid runs the executable named processFileName (a path
// or a bare name; only the file name is compared). A process that exists but
// runs another program means the id was reused. An empty name cannot be
// compared: the process counts as the writer.
bool WriterProcessRunning(long long pid, const std::string& processFileName);

// Whether the analysis that wrote this companion was closed forcibly: its
// writer process no longer runs.
bool WasClosedForcibly(const TAutoSaveInfo& info);

struct TAutoSaveRecovery {
  TAutoSavePaths paths;
  TAutoSaveInfo info;
};

// The auto-save of folder (the data folder when empty) when it has its
// register, problem and companion and its writer was closed forcibly.
std::optional<TAutoSaveRecovery> FindForcedCloseAutoSave(const std::filesystem::path& folder = {});

// The start-up message about such an auto-save (question form).
std::string ForcedCloseQuestionText(const std::filesystem::path& registerFile);

}  // namespace ostravel
