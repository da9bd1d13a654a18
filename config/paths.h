#pragma once
// Where the program's files live. Everything that needs "options.ini" or the
// data folder asks here, so the rule is decided once:
//
// 1. $OSTRAVEL_HOME, when set and not empty, holds both "options.ini" and the
//    data (tests and scripts rely on this).
// 2. A portable install keeps both beside the executable: "options.ini"
//    already exists there, or that folder is writable.
// 3. Otherwise "options.ini" goes to $XDG_CONFIG_HOME/ostravel/ (default
//    ~/.config/ostravel/) and the data to $XDG_DATA_HOME/ostravel/ (default
//    ~/.local/share/ostravel/).
#include <filesystem>
#include <string>

namespace ostravel {

enum class TInstallKind { kHomeOverride, kPortable, kUser };

struct TFileLocations {
  TInstallKind kind = TInstallKind::kPortable;
  std::filesystem::path optionsFile;
  std::filesystem::path dataFolder;
};

// What the decision depends on, gathered from the process and its
// environment (empty strings for unset variables).
struct TLocationInputs {
  std::filesystem::path exeFolder;
  bool optionsBesideExe = false;
  bool exeFolderWritable = false;
  std::string ostravelHome;
  std::string xdgConfigHome;
  std::string xdgDataHome;
  std::string home;
};

TLocationInputs GatherLocationInputs();
// The decision itself; pure, so it can be checked for every case.
TFileLocations ResolveFileLocations(const TLocationInputs& in);
// ResolveFileLocations(GatherLocationInputs()).
TFileLocations FileLocations();

const char* InstallKindName(TInstallKind kind);

// Full path of the running executable (empty when it cannot be found).
std::string OwnExecutablePath();
// Folder of the running executable (the working folder when it cannot be found).
std::filesystem::path ExecutableFolder();
// Full path of "options.ini" (the file need not exist).
std::filesystem::path OptionsFilePath();
// The data folder and its sub-folders, created on demand. Throw
// std::filesystem::filesystem_error when they cannot be created.
std::filesystem::path DataFolder();
std::filesystem::path SavedTmpRegisterFolder();  // "SavedTmpRegisterData"
std::filesystem::path SavedTmpSyzygyFolder();    // "SavedTmpSyzygyData"

}  // namespace ostravel
