#pragma once
// Automatic save of a running analysis, and its recovery after a forced
// close.
//
// While a search runs, TAutoSaver writes its temporary register every period
// to "AutoSave.tmpReg" in the run's own slot, the problem to "AutoSave.cp",
// and the companion "AutoSave.tmpReg.ini" naming the process that wrote them.
// The register goes to "AutoSavePending.tmp" first and is renamed over the
// previous auto-save only once complete, so a crash (or a power failure)
// during a save leaves the previous one intact.
//
// Each run has a slot of its own, a folder "AutoSave/<id>" of the data
// folder, so two runs never write the same files. The run holds an exclusive
// lock (flock) on the slot's "AutoSave.lock" while it lives: the kernel drops
// it when the process ends however it ends, so a slot whose lock is free
// belongs to nobody and can be resumed, and a slot whose lock is held is
// never written by anybody else.
//
// An older layout kept one auto-save in the data folder itself; resume still
// takes it, and the start-up scan (platform/forced_close.h) still offers it.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

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
// problem's description and the run's memory ratios (-1: not recorded).
TAutoSaveInfo CurrentAutoSaveInfo(const std::string& description, int maxMemRatioForPrecalculatedData = -1,
                                  int maxMemRatioPerProblem = -1);

// One auto-save, on the caller's thread: the problem, the register (through
// the pending file and a rename) and the companion. Throws on failure; the
// previous auto-save is then still in place.
void WriteAutoSave(const TAggregatedTemporaryChessboardRegister& reg, const TProblem& problem,
                   const std::filesystem::path& folder, uint64_t limitMB, bool compress = true,
                   const TAutoSaveInfo* info = nullptr);

// ---------------------------------------------------------------- slots

inline constexpr const char* kAutoSaveSlotsFolderName = "AutoSave";
inline constexpr const char* kAutoSaveLockName = "AutoSave.lock";

// "AutoSave" in the data folder: one folder per run below it.
std::filesystem::path AutoSaveSlotsFolder(const std::filesystem::path& dataFolder);

// A run's slot, locked for as long as the object lives.
class TAutoSaveSlot {
 public:
  // A new slot named after this process and the problem id; throws when the
  // folder cannot be made or locked.
  static std::unique_ptr<TAutoSaveSlot> Create(const std::filesystem::path& dataFolder, uint32_t problemId);
  // An existing slot, for a resume; nullptr with the reason in *why when it
  // does not exist, its owner still runs or its companion cannot be written.
  // The companion names this process at once, so that a crash before the
  // first save is not taken for the earlier writer's.
  static std::unique_ptr<TAutoSaveSlot> Claim(const std::filesystem::path& dataFolder, const std::string& id,
                                              std::string* why);
  ~TAutoSaveSlot();
  TAutoSaveSlot(const TAutoSaveSlot&) = delete;
  TAutoSaveSlot& operator=(const TAutoSaveSlot&) = delete;

  const std::string& Id() const { return id_; }
  const std::filesystem::path& Folder() const { return folder_; }
  // Removes the slot's files and folder (the run completed); the lock goes too.
  void Remove();

 private:
  TAutoSaveSlot(std::string id, std::filesystem::path folder, int fd);
  std::string id_;
  std::filesystem::path folder_;
  int fd_;
};

struct TAutoSaveListing {
  std::string id;
  TAutoSavePaths paths;
  TAutoSaveInfo info;
  bool ownerRunning = false;  // the slot's lock is held: its run still lives
  bool resumable = false;     // register and problem are there and nobody owns it
};

// The slots of a data folder, oldest first.
std::vector<TAutoSaveListing> ListAutoSaves(const std::filesystem::path& dataFolder);

// Moves an auto-save of the older layout (a register, its companion and its
// problem, anywhere in the data folder) into a new slot of its own, names
// this process in the companion and returns the slot's id: resumed by that
// id, the run saves on into the slot and removes it once complete. Throws
// when the slot cannot be made or the register cannot be moved; then the
// files stay where they were.
std::string AdoptAutoSave(const std::filesystem::path& dataFolder, const std::filesystem::path& registerFile,
                          const std::filesystem::path& problemFile, uint32_t problemId = 0);

// The slots that no living run holds and that keep a register, oldest first,
// as (slot id, register file): what the start-up offers to resume once the
// companion shows that its writer was closed forcibly (that test is the
// platform's: TForcedCloseScan::runSlots takes this function).
std::vector<std::pair<std::string, std::filesystem::path>> UnheldAutoSaveSlots(
    const std::filesystem::path& dataFolder);

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
  // The companion's memory ratios (written with every save).
  void SetMemoryRatios(int maxMemRatioForPrecalculatedData, int maxMemRatioPerProblem);
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
  int ratioPrecalc_ = -1, ratioPerProblem_ = -1;

  std::mutex saveLock_;  // one save at a time (thread and SaveNow)
  mutable std::mutex stateLock_;
  std::condition_variable wake_;
  bool stopping_ = false;
  int saves_ = 0;
  std::string lastError_;
  std::thread thread_;
};

}  // namespace ostravel
