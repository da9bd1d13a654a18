#include "config/paths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>
#include <vector>

namespace ostravel {

namespace {

constexpr const char* kOptionsFileName = "options.ini";

std::string Env(const char* name) {
  const char* v = std::getenv(name);
  return v ? std::string(v) : std::string();
}

// Relative XDG variables are invalid and must be ignored.
bool IsAbsolute(const std::string& s) {
  return !s.empty() && s.front() == '/';
}

std::filesystem::path SubFolder(const char* name) {
  const std::filesystem::path p = DataFolder() / name;
  std::filesystem::create_directories(p);
  return p;
}

}  // namespace

std::string OwnExecutablePath() {
  std::error_code ec;
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::string() : exe.string();
}

std::filesystem::path ExecutableFolder() {
  static const std::filesystem::path folder = [] {
    const std::filesystem::path exe = OwnExecutablePath();
    if (exe.has_parent_path()) return exe.parent_path();
    std::error_code ec;
    return std::filesystem::current_path(ec);
  }();
  return folder;
}

TLocationInputs GatherLocationInputs() {
  TLocationInputs in;
  in.exeFolder = ExecutableFolder();
  std::error_code ec;
  in.optionsBesideExe = std::filesystem::exists(in.exeFolder / kOptionsFileName, ec);
  in.exeFolderWritable = ::access(in.exeFolder.c_str(), W_OK) == 0;
  in.ostravelHome = Env("OSTRAVEL_HOME");
  in.xdgConfigHome = Env("XDG_CONFIG_HOME");
  in.xdgDataHome = Env("XDG_DATA_HOME");
  in.home = Env("HOME");
  if (in.home.empty()) {
    long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buf(size > 0 ? static_cast<std::size_t>(size) : 16384);
    passwd pw{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &pw, buf.data(), buf.size(), &found) == 0 && found && found->pw_dir)
      in.home = found->pw_dir;
  }
  return in;
}

TFileLocations ResolveFileLocations(const TLocationInputs& in) {
  TFileLocations loc;
  if (!in.ostravelHome.empty()) {
    std::error_code ec;
    std::filesystem::path home = std::filesystem::absolute(in.ostravelHome, ec);
    if (ec) home = in.ostravelHome;
    home = home.lexically_normal();
    loc.kind = TInstallKind::kHomeOverride;
    loc.optionsFile = home / kOptionsFileName;
    loc.dataFolder = home;
    return loc;
  }
  std::filesystem::path config, data;
  const bool haveHome = IsAbsolute(in.home);
  if (IsAbsolute(in.xdgConfigHome))
    config = in.xdgConfigHome;
  else if (haveHome)
    config = std::filesystem::path(in.home) / ".config";
  if (IsAbsolute(in.xdgDataHome))
    data = in.xdgDataHome;
  else if (haveHome)
    data = std::filesystem::path(in.home) / ".local" / "share";

  // Without a home folder there is nowhere else to go but beside the program.
  if (in.optionsBesideExe || in.exeFolderWritable || config.empty() || data.empty()) {
    loc.kind = TInstallKind::kPortable;
    loc.optionsFile = in.exeFolder / kOptionsFileName;
    loc.dataFolder = in.exeFolder;
    return loc;
  }
  loc.kind = TInstallKind::kUser;
  loc.optionsFile = config / "ostravel" / kOptionsFileName;
  loc.dataFolder = data / "ostravel";
  return loc;
}

TFileLocations FileLocations() {
  return ResolveFileLocations(GatherLocationInputs());
}

const char* InstallKindName(TInstallKind kind) {
  switch (kind) {
    case TInstallKind::kHomeOverride:
      return "OSTRAVEL_HOME";
    case TInstallKind::kPortable:
      return "portable (beside the program)";
    case TInstallKind::kUser:
      return "per user";
  }
  return "?";
}

std::filesystem::path OptionsFilePath() {
  return FileLocations().optionsFile;
}

std::filesystem::path DataFolder() {
  const std::filesystem::path p = FileLocations().dataFolder;
  std::filesystem::create_directories(p);
  return p;
}

std::filesystem::path SavedTmpRegisterFolder() {
  return SubFolder("SavedTmpRegisterData");
}

std::filesystem::path SavedTmpSyzygyFolder() {
  return SubFolder("SavedTmpSyzygyData");
}

}  // namespace ostravel
