#pragma once
// Recovery of analyses cut off by a forced close. An auto-saved temporary
// register ("AutoSave*.tmpReg") has a companion "<file>.ini" (section
// "AutoSave") naming the process that wrote it. Each run saves into a slot of
// its own ("AutoSave/<id>/AutoSave.tmpReg", kept by the engine); older
// versions kept the auto-save in the data folder itself. At start-up every
// auto-save whose writer no longer runs is offered to the user: Yes resumes
// it (a slot by its id, so the run goes on saving there and removes it when
// complete; an old single file is first moved into a slot, which the engine
// does), Cancel puts it aside under ".BAK" (SetAsideForcedCloseAutoSave), No
// leaves it to be offered again next time.
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "config/autosave_info.h"

namespace ostravel {

struct TForcedCloseAutoSave {
  std::string slot;                     // the run's auto-save slot; empty: a file of the folder itself
  std::filesystem::path registerFile;   // the saved register
  std::filesystem::path companionFile;  // registerFile + ".ini"
  std::filesystem::path problemFile;    // the problem it analysed; empty when absent
  TAutoSaveInfo info;                   // the companion as read
  // The problem is there, so the analysis can be restarted; otherwise only
  // the information form of the message is shown.
  bool Resumable() const { return !problemFile.empty(); }
};

// "AutoSave.tmpReg", "AutoSave-3.tmpReg"...: the names the auto-save uses.
bool IsAutoSaveRegisterName(const std::string& fileName);
// The problem saved with an auto-save: the register's name with ".tmpReg"
// replaced by ".cp" ("AutoSave.tmpReg" -> "AutoSave.cp").
std::filesystem::path AutoSaveProblemFileOf(const std::filesystem::path& registerFile);

// A slot as its keeper lists it: id and register file.
using TAutoSaveSlotFile = std::pair<std::string, std::filesystem::path>;

struct TForcedCloseScan {
  // Which files of the folder are auto-saved registers.
  std::function<bool(const std::string& fileName)> isRegisterName = IsAutoSaveRegisterName;
  // Where each one's problem is.
  std::function<std::filesystem::path(const std::filesystem::path&)> problemFileOf = AutoSaveProblemFileOf;
  // The runs' slots of the folder that no living run holds, oldest first
  // (the engine's UnheldAutoSaveSlots; this layer cannot see the engine, so
  // a front end passes it in). Unset: the folder's own files only.
  std::function<std::vector<TAutoSaveSlotFile>(const std::filesystem::path& folder)> runSlots;
};

// Whether the run that wrote (or last resumed) this companion was closed
// forcibly: its process no longer runs, or the id now belongs to another
// program.
bool AutoSaveWriterEnded(const TAutoSaveInfo& info);

// Every auto-save of folder that has its companion and whose writer was
// closed forcibly: the slots first, in their order, then the folder's own
// files in file-name order. A companion that cannot be read is skipped (it
// belongs to nobody we can name). A missing folder gives none.
std::vector<TForcedCloseAutoSave> FindForcedCloseAutoSaves(const std::filesystem::path& folder,
                                                           const TForcedCloseScan& scan = {});
// The same for explicitly named register files.
std::vector<TForcedCloseAutoSave> CheckForcedCloseAutoSaves(
    const std::vector<std::filesystem::path>& registerFiles, const TForcedCloseScan& scan = {});

// Cancel: renames the register to ".BAK" ("AutoSave.tmpReg" -> "AutoSave.BAK",
// or "AutoSave.2.BAK"... when that exists, so no older file is overwritten)
// and its companion along with it (".BAK.ini"), so it is not offered again
// but stays for loading by hand. Returns the new register path. Throws
// std::runtime_error when the rename fails.
std::filesystem::path SetAsideForcedCloseAutoSave(const TForcedCloseAutoSave& autoSave);

enum class TForcedCloseAnswer { kYes, kNo, kCancel };

}  // namespace ostravel
