#include "config/autosave_info.h"

#include "config/ini_file.h"

namespace ostravel {

namespace {
// Generous: the executable's path, not only its name, may be stored.
constexpr std::size_t kProcessFileNameMaxChars = 4096;
}  // namespace

std::string AutoSaveInfoPath(const std::string& registerFile) {
  return registerFile + ".ini";
}

TAutoSaveInfo ReadAutoSaveInfo(const std::string& registerFile) {
  TIniFile ini;
  ini.Load(AutoSaveInfoPath(registerFile));
  TAutoSaveInfo info;
  info.Description = ini.GetString(kAutoSaveSection, "Description", "", kAutoSaveDescriptionMaxChars);
  info.MaxMemRatioForPrecalculatedData =
      ini.GetInt(kAutoSaveSection, "MaxMemRatioForPrecalculatedData", info.MaxMemRatioForPrecalculatedData);
  info.MaxMemRatioPerProblem =
      ini.GetInt(kAutoSaveSection, "MaxMemRatioPerProblem", info.MaxMemRatioPerProblem);
  info.ProcessId = ini.GetInt64(kAutoSaveSection, "ProcessId", info.ProcessId);
  info.ProcessFileName = ini.GetString(kAutoSaveSection, "ProcessFileName", "", kProcessFileNameMaxChars);
  return info;
}

void WriteAutoSaveInfo(const std::string& registerFile, const TAutoSaveInfo& info) {
  const std::string path = AutoSaveInfoPath(registerFile);
  TIniFile ini;
  ini.Load(path);
  ini.Set(kAutoSaveSection, "Description", info.Description);
  ini.SetInt(kAutoSaveSection, "MaxMemRatioForPrecalculatedData", info.MaxMemRatioForPrecalculatedData);
  ini.SetInt(kAutoSaveSection, "MaxMemRatioPerProblem", info.MaxMemRatioPerProblem);
  ini.SetInt(kAutoSaveSection, "ProcessId", info.ProcessId);
  ini.Set(kAutoSaveSection, "ProcessFileName", info.ProcessFileName);
  ini.Save(path);
}

}  // namespace ostravel
