#pragma once
// Registers pinned to problems: a saved ".tmpReg" in the folder
// "SavedTmpRegisterData" of the data folder, named by the number that the
// problem's "//@tmpreg=" line holds, and loaded again whenever that problem
// is analysed.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "problems/problem.h"
#include "registers/register_file.h"

namespace ostravel {

inline constexpr const char* kMenuPinRegister =
    "Save temporary register (solution hash table) and pin the saved .tmpReg to this problem (it will be "
    "auto-loaded)";
inline constexpr const char* kMenuUnpinRegister = "Unpin .tmpReg file from the problem";

// "<number>.tmpReg".
std::string PinnedRegisterFileName(uint32_t number);

// The file pinned to a problem (in folder, by default the data folder's
// "SavedTmpRegisterData"); nothing when the problem has no pin.
std::optional<std::filesystem::path> PinnedRegisterPath(const TProblem& problem,
                                                        const std::filesystem::path& folder = {});

struct TPinResult {
  uint32_t number = 0;
  std::filesystem::path file;
  TRegisterSaveResult save;
};

// Saves reg as the pinned file of problem problemIndex (0-based) of the
// collection and writes its number into the problem's "//@tmpreg=" line,
// saving the collection safely. A problem already pinned keeps its number
// (its file is overwritten); otherwise the number is one above every number
// in use in the collection and the folder. Throws std::runtime_error when
// the collection cannot be read whole (it is never rewritten then), when
// the index is out of range, or when either file cannot be written.
TPinResult PinRegister(const std::filesystem::path& collectionPath, std::size_t problemIndex,
                       const TAggregatedTemporaryChessboardRegister& reg,
                       const TRegisterSaveOptions& options = {}, const std::filesystem::path& folder = {});

// Removes the "//@tmpreg=" line of the problem (the file itself stays: it
// may be loaded by hand). Returns the number that was pinned, if any. Throws
// as PinRegister.
std::optional<uint32_t> UnpinRegister(const std::filesystem::path& collectionPath, std::size_t problemIndex);

// Before a pinned problem is analysed: loads its file into reg. Nothing when
// the problem has no pin; otherwise the read's result (a missing file is an
// error there).
std::optional<TRegisterReadResult> LoadPinnedRegister(const TProblem& problem,
                                                      TAggregatedTemporaryChessboardRegister& reg,
                                                      const std::filesystem::path& folder = {},
                                                      const TRegisterReadOptions& options = {});

}  // namespace ostravel
