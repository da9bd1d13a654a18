// ostravel-cli config: shows the effective settings and where the program's
// files live, or changes keys of "options.ini" as the options dialog would.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "command.h"
#include "config/ini_file.h"
#include "config/paths.h"
#include "config/settings.h"

namespace ostravel::cli {
namespace {

constexpr const char* kHelp =
    "Usage: ostravel-cli config [--set Key=Value]...\n"
    "\n"
    "Without options, prints the options file in use, the data folder and the\n"
    "effective settings (defaults where the file has no value, after the limits\n"
    "are applied), followed by the limits derived from the physical memory.\n"
    "\n"
    "--set Key=Value  changes a key the way the options dialog saves it: the\n"
    "                 value is what the file stores (SchedulerLevels holds the\n"
    "                 number of levels less one), and saving also writes every\n"
    "                 other key of the dialog. Keys the program never writes\n"
    "                 (PrecalcPath, CheckTempRegCoherency...) are refused.\n"
    "                 May be repeated; the file is replaced in one step.\n"
    "\n"
    "$OSTRAVEL_HOME, when set, holds both options.ini and the data.\n";

void PrintSettings() {
  const TFileLocations loc = FileLocations();
  std::error_code ec;
  const bool present = std::filesystem::exists(loc.optionsFile, ec);
  for (const std::string& w : LoadSettings()) std::fprintf(stderr, "Warning: %s\n", w.c_str());
  const TSettings& s = Settings();

  std::printf("Options file: %s%s\n", loc.optionsFile.c_str(), present ? "" : " (not present: defaults)");
  std::printf("Data folder:  %s\n", DataFolder().c_str());
  std::printf("Location:     %s\n\n", InstallKindName(loc.kind));

  std::printf("[%s]\n", kSettingsSection);
  for (const TSettingKey& k : SettingKeys()) {
    std::printf("%s=%d\n", k.name, s.*k.member);
    if (k.member == &TSettings::GlobalRegisterForceDiskAccess)
      std::printf("PrecalcPath=%s\n", s.PrecalcPath.c_str());
  }
  std::printf("TablebaseUrl=%s\n", s.TablebaseUrl.c_str());
  // Below the key list, so that the list stays one an options file can hold.
  std::string inert;
  for (const TSettingKey& k : SettingKeys())
    if (SettingHasNoEffectYet(k.name)) inert += std::string(inert.empty() ? "" : ", ") + k.name;
  std::printf("\nKept but %s: %s\n", kNoEffectYetNote, inert.c_str());

  const auto mb = [](uint64_t bytes) { return static_cast<unsigned long long>(bytes >> 20); };
  std::printf("\nPhysical memory:              %llu MB\n", mb(s.physicalMemoryBytes));
  std::printf("Temporary register limit:     %llu MB\n", static_cast<unsigned long long>(s.tempRegLimitMB));
  std::printf("Fixed limit (20%%):            %llu MB\n", static_cast<unsigned long long>(s.fixedLimitMB));
  std::printf("Precalculated data limit:     %llu bytes\n",
              static_cast<unsigned long long>(s.precalcLimitBytes));
  std::printf("Internal scheduler levels:    %d\n", s.InternalSchedulerLevels());
  if (s.AutoSaveEnabled())
    std::printf("Auto-save:                    every %d minutes, %d MB\n", s.AutoSaveMinutes, s.AutoSaveMB);
  else
    std::printf("Auto-save:                    off\n");
}

int SetKeys(const std::vector<std::string>& assignments) {
  const std::filesystem::path path = OptionsFilePath();
  TIniFile ini;
  ini.Load(path);
  TSettings s = ReadSettingsFrom(ini, nullptr);

  bool dialogKeys = false;
  std::vector<const TSettingKey*> programKeys;
  for (const std::string& a : assignments) {
    const std::size_t eq = a.find('=');
    if (eq == std::string::npos) return BadInput("--set needs Key=Value, not \"" + a + "\"");
    const std::string key = a.substr(0, eq);
    const std::string err = SetSettingFromText(s, key, a.substr(eq + 1));
    if (!err.empty()) return BadInput(err);
    const TSettingKey* k = FindSettingKey(key);
    if (k->writer == TSettingWriter::kDialog)
      dialogKeys = true;
    else
      programKeys.push_back(k);
  }
  if (dialogKeys) StoreSettings(s, ini);
  for (const TSettingKey* k : programKeys) StoreSettingKey(s, *k, ini);

  std::error_code ec;
  std::filesystem::create_directories(path.parent_path(), ec);
  ini.Save(path);
  for (const std::string& a : assignments) {
    const TSettingKey* k = FindSettingKey(a.substr(0, a.find('=')));
    std::printf("%s=%s\n", k->name, SettingText(s, *k).c_str());
  }
  std::printf("Saved %s\n", path.c_str());
  return kExitOk;
}

int RunConfig(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  std::vector<std::string> assignments;
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--set") {
      if (i + 1 >= args.size()) return BadInput("--set needs Key=Value");
      assignments.push_back(args[++i]);
    } else {
      return BadInput("unknown argument \"" + args[i] + "\" (see ostravel-cli config --help)");
    }
  }
  if (assignments.empty()) {
    PrintSettings();
    return kExitOk;
  }
  return SetKeys(assignments);
}

}  // namespace

OSTRAVEL_COMMAND("config", "show the settings and file locations, or --set Key=Value", RunConfig);

}  // namespace ostravel::cli
