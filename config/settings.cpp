#include "config/settings.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>

#include "config/paths.h"
#include "config/text_compare.h"

namespace ostravel {

namespace {

using W = TSettingWriter;

// clang-format off
#define OSTRAVEL_KEY(name, writer, lo, hi) TSettingKey{#name, &TSettings::name, writer, lo, hi}
// clang-format on

// The order of the options file's key table, which is also the reading order.
constexpr std::array kKeys = {
    OSTRAVEL_KEY(LanguageId, W::kProgram, 0, 2),
    OSTRAVEL_KEY(QuickMode, W::kDialog, 0, 1),
    OSTRAVEL_KEY(WarningOnLichessDataRepetition, W::kNone, 0, 1),
    OSTRAVEL_KEY(SchedulerLevels, W::kDialog, -1, 8),
    OSTRAVEL_KEY(CheckTempRegCoherency, W::kNone, 0, 1),
    OSTRAVEL_KEY(CustomScheduler, W::kDialog, 0, 1),
    OSTRAVEL_KEY(SchedulerThreadPool, W::kDialog, 0, 1),
    OSTRAVEL_KEY(ObserverLevels, W::kDialog, 0, 9),
    OSTRAVEL_KEY(LichessLevels, W::kDialog, -1, 127),
    OSTRAVEL_KEY(WarnAboutSecondInstanceOfProgram, W::kDialog, 0, 2),
    OSTRAVEL_KEY(PromptHeuristics, W::kDialog, 0, 1),
    OSTRAVEL_KEY(MaxMemRatioForTempReg, W::kDialog, 1, 100),
    OSTRAVEL_KEY(ClearRegisterOnStartSolving, W::kDialog, 0, 1),
    OSTRAVEL_KEY(MaxMemRatioForPrecalculatedData, W::kDialog, 1, 100),
    OSTRAVEL_KEY(LetAnalyzeTheSameMoveInTwoThreads, W::kDialog, 0, 1),
    OSTRAVEL_KEY(CommentCompatibilityMode, W::kDialog, 0, 1),
    OSTRAVEL_KEY(ShowMainVariant, W::kDialog, 0, 1),
    OSTRAVEL_KEY(UseMainVariantAsSortIndications, W::kDialog, 0, 2),
    OSTRAVEL_KEY(LogMoves, W::kDialog, 0, 1),
    OSTRAVEL_KEY(RegisterInfoLog, W::kDialog, 0, 1),
    OSTRAVEL_KEY(TryRelaxSpecialHeuristicsLog, W::kDialog, 0, 1),
    OSTRAVEL_KEY(MinimizeToTray, W::kDialog, 0, 2),
    OSTRAVEL_KEY(AskForGlobalRegisterRecompression, W::kNone, 0, 2),
    OSTRAVEL_KEY(UseDataPackedForRandomAccess, W::kNone, 0, 2),
    OSTRAVEL_KEY(UseGlobalRules, W::kDialog, 0, 1),
    OSTRAVEL_KEY(GlobalRegisterForceDiskAccess, W::kDialog, 0, 1),
    // PrecalcPath (a string) is read here.
    OSTRAVEL_KEY(AskIfSaveAfterDecompressAllToMem, W::kNone, 0, 1),
    OSTRAVEL_KEY(MultithreadingLevels, W::kDialog, 0, 1),
    OSTRAVEL_KEY(LogToFileTmpRegLoad, W::kNone, 0, 1),
    OSTRAVEL_KEY(CustomizedVersion, W::kNone, INT_MIN, INT_MAX),
    OSTRAVEL_KEY(EnableManualEngineControl, W::kDialog, 0, 1),
    OSTRAVEL_KEY(ScalingWarningDismissed, W::kProgram, 0, 1),
    OSTRAVEL_KEY(UsePredefinedIndications, W::kDialog, 0, 2),
    OSTRAVEL_KEY(AutoSaveMinutes, W::kDialog, 0, 525600),  // a year
    OSTRAVEL_KEY(AutoSaveMB, W::kDialog, 0, 1 << 20),      // a terabyte
    OSTRAVEL_KEY(ExtendedTempRegDetails, W::kNone, 0, 1),
    OSTRAVEL_KEY(AddTestCrashHandlerMenuItem, W::kNone, 0, 1),
    OSTRAVEL_KEY(UseSystemCrashHandler, W::kNone, 0, 1),
    OSTRAVEL_KEY(ShortRegTestSeconds, W::kProgram, 0, INT_MAX),
    OSTRAVEL_KEY(LastProcessedMsgId, W::kProgram, INT_MIN, INT_MAX),
    OSTRAVEL_KEY(TablebaseConnectTimeoutMs, W::kNone, 1, 600000),
    OSTRAVEL_KEY(TablebaseTimeoutMs, W::kNone, 1, 600000),
};

#undef OSTRAVEL_KEY

// Each entry leaves this list with the code that acts on it.
constexpr std::array kNoEffectYet = {
    "SchedulerLevels",
    "CustomScheduler",
    "SchedulerThreadPool",
    "ObserverLevels",
    "CheckTempRegCoherency",
    "UseGlobalRules",
    "RegisterInfoLog",
    "TryRelaxSpecialHeuristicsLog",
    "UsePredefinedIndications",
    "CommentCompatibilityMode",
    "ShowMainVariant",
    "MinimizeToTray",
    "GlobalRegisterForceDiskAccess",
};

constexpr const char* kPrecalcPathKey = "PrecalcPath";
constexpr const char* kMessageServiceUrlKey = "MessageServiceUrl";
constexpr const char* kCrashReportUrlKey = "CrashReportUrl";
constexpr std::size_t kUrlMaxChars = 2048;

bool IsWholeNumber(std::string_view t) {
  while (!t.empty() && (t.front() == ' ' || t.front() == '\t')) t.remove_prefix(1);
  while (!t.empty() && (t.back() == ' ' || t.back() == '\t' || t.back() == '\r')) t.remove_suffix(1);
  if (!t.empty() && (t.front() == '-' || t.front() == '+')) t.remove_prefix(1);
  if (t.empty() || t.size() > 10) return false;
  for (char c : t)
    if (c < '0' || c > '9') return false;
  return true;
}

std::string SettingWarning(const TSettingKey& k, std::string_view raw, const std::string& why, int def) {
  std::string shown(raw.substr(0, 20));
  for (char& c : shown)
    if (static_cast<unsigned char>(c) < 0x20) c = '?';
  return std::string("Setting ") + k.name + " = \"" + shown + "\" " + why + "; the default " +
         std::to_string(def) + " is used.";
}

}  // namespace

void TSettings::UpdateDerivedLimits(uint64_t physicalBytes) {
  auto ratio = [](int r) { return static_cast<uint64_t>(std::clamp(r, 0, 100)); };
  physicalMemoryBytes = physicalBytes;
  const uint64_t mb = physicalBytes >> 20;
  // However the ratio is set, the register keeps a working minimum.
  tempRegLimitMB =
      std::max(mb * ratio(MaxMemRatioForTempReg) / 100, std::min<uint64_t>(kMinTempRegLimitMB, mb / 2));
  fixedLimitMB = mb * 20 / 100;
  // r * phys / 100 without the product overflowing.
  const uint64_t r = ratio(MaxMemRatioForPrecalculatedData);
  precalcLimitBytes = (physicalBytes / 100) * r + (physicalBytes % 100) * r / 100;
}

void TSettings::UpdateDerivedLimits() {
  UpdateDerivedLimits(PhysicalMemoryBytes());
}

std::span<const TSettingKey> SettingKeys() {
  return kKeys;
}

bool SettingHasNoEffectYet(std::string_view name) {
  for (const char* k : kNoEffectYet)
    if (EqualsNoCase(name, k)) return true;
  return false;
}

const TSettingKey* FindSettingKey(std::string_view name) {
  for (const TSettingKey& k : kKeys)
    if (EqualsNoCase(k.name, name)) return &k;
  return nullptr;
}

const char* SettingsText(TSettingsText id, int languageId) {
  const bool polish = languageId == 0;
  switch (id) {
    case TSettingsText::kWarningTitle:
      if (languageId == 2) return "Попередження";
      return polish ? "Ostrzeżenie" : "Warning";
    case TSettingsText::kRecompressionWarning:
      return polish ? "Wartość parametru AskForGlobalRegisterRecompression nie powinna być większa niż "
                      "UseDataPackedForRandomAccess."
                    : "Value of parameter AskForGlobalRegisterRecompression should not be greater than "
                      "UseDataPackedForRandomAccess.";
    case TSettingsText::kLogMovesWarning:
      return "Program has been opened with the option to write log of full analysis - this option is not "
             "recommended (it makes solving last much longer and produces large log files)";
  }
  return "";
}

TSettings ReadSettingsFrom(const TIniFile& ini, std::vector<std::string>* warnings) {
  TSettings s;
  for (const TSettingKey& k : kKeys) {
    const int def = s.*k.member;
    static constexpr std::string_view kAbsent = "\x01";
    const std::string raw = ini.GetString(kSettingsSection, k.name, kAbsent, 64);
    if (raw == kAbsent) continue;
    const int v = ini.GetInt(kSettingsSection, k.name, def);
    // These few read out-of-range values as their nearest limit.
    const bool clamps = k.member == &TSettings::UseMainVariantAsSortIndications ||
                        k.member == &TSettings::WarnAboutSecondInstanceOfProgram ||
                        k.member == &TSettings::SchedulerLevels;
    if (!IsWholeNumber(raw)) {
      // The profile read would make it 0 (or its leading digits): a
      // MaxMemRatioForTempReg of 0 starves the register silently.
      if (warnings) warnings->push_back(SettingWarning(k, raw, "is not a number", def));
      s.*k.member = def;
    } else if (!clamps && (v < k.minValue || v > k.maxValue)) {
      if (warnings)
        warnings->push_back(SettingWarning(
            k, raw, "is outside " + std::to_string(k.minValue) + ".." + std::to_string(k.maxValue), def));
      s.*k.member = def;
    } else {
      s.*k.member = v;
    }
  }
  s.PrecalcPath = ini.GetString(kSettingsSection, kPrecalcPathKey, "", kPrecalcPathMaxChars);
  s.MessageServiceUrl = ini.GetString(kSettingsSection, kMessageServiceUrlKey, "", kUrlMaxChars);
  s.CrashReportUrl = ini.GetString(kSettingsSection, kCrashReportUrlKey, "", kUrlMaxChars);
  s.TablebaseUrl = ini.GetString(kSettingsSection, "TablebaseUrl", s.TablebaseUrl, 1024);

  if (s.LanguageId < 0 || s.LanguageId > 2) s.LanguageId = TSettings{}.LanguageId;
  s.UseMainVariantAsSortIndications = std::clamp(s.UseMainVariantAsSortIndications, 0, 2);
  s.SchedulerLevels = std::clamp(s.SchedulerLevels, -1, 8);
  s.MaxMemRatioForTempReg = std::clamp(s.MaxMemRatioForTempReg, 0, 100);
  s.MaxMemRatioForPrecalculatedData = std::clamp(s.MaxMemRatioForPrecalculatedData, 0, 100);
  if (s.AskForGlobalRegisterRecompression > s.UseDataPackedForRandomAccess) {
    if (warnings) warnings->push_back(SettingsText(TSettingsText::kRecompressionWarning, s.LanguageId));
    s.AskForGlobalRegisterRecompression = s.UseDataPackedForRandomAccess;
  }
  if (s.LogMoves && warnings)
    warnings->push_back(SettingsText(TSettingsText::kLogMovesWarning, s.LanguageId));
  s.UpdateDerivedLimits();
  return s;
}

TSettings& MutableSettings() {
  static TSettings s = [] {
    TSettings d;
    d.UpdateDerivedLimits();
    return d;
  }();
  return s;
}

const TSettings& Settings() {
  return MutableSettings();
}

std::vector<std::string> LoadSettings() {
  std::vector<std::string> warnings;
  TIniFile ini;
  const std::filesystem::path path = OptionsFilePath();
  try {
    ini.Load(path);
  } catch (const std::exception& e) {
    // Defaults still let the program run; say why they are in use.
    warnings.push_back(std::string(e.what()) + " - default settings are used.");
  }
  MutableSettings() = ReadSettingsFrom(ini, &warnings);
  return warnings;
}

std::string SettingText(const TSettings& s, const TSettingKey& key) {
  int v = s.*key.member;
  if (key.member == &TSettings::WarnAboutSecondInstanceOfProgram) v = std::min(v, 2);
  return std::to_string(v);
}

void StoreSettingKey(const TSettings& s, const TSettingKey& key, TIniFile& ini) {
  ini.Set(kSettingsSection, key.name, SettingText(s, key));
}

void StoreSettings(const TSettings& s, TIniFile& ini) {
  for (const TSettingKey& k : kKeys)
    if (k.writer == TSettingWriter::kDialog) StoreSettingKey(s, k, ini);
}

void WriteSettings(const TSettings& s, const std::string& path) {
  TIniFile ini;
  ini.Load(path);
  StoreSettings(s, ini);
  const std::filesystem::path p(path);
  if (p.has_parent_path()) {
    std::error_code ec;
    std::filesystem::create_directories(p.parent_path(), ec);
    if (ec)
      throw std::runtime_error("Cannot create folder " + p.parent_path().string() + ": " + ec.message());
  }
  ini.Save(p);
}

std::string SetSettingFromText(TSettings& s, std::string_view key, std::string_view value) {
  const TSettingKey* k = FindSettingKey(key);
  if (!k) {
    if (EqualsNoCase(key, kPrecalcPathKey))
      return "PrecalcPath is not written by the program; edit options.ini to change it";
    return "unknown setting \"" + std::string(key) + "\"";
  }
  if (k->writer == TSettingWriter::kNone)
    return std::string(k->name) + " is not written by the program; edit options.ini to change it";
  while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
  while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) value.remove_suffix(1);
  std::size_t digits = (!value.empty() && (value[0] == '+' || value[0] == '-')) ? 1 : 0;
  const bool whole = value.size() > digits && std::all_of(value.begin() + digits, value.end(),
                                                          [](char c) { return c >= '0' && c <= '9'; });
  const long long v = whole ? TIniFile::ParseLeadingInt(value) : 0;
  if (!whole || v < k->minValue || v > k->maxValue)
    return "value of " + std::string(k->name) + " must be a whole number from " +
           std::to_string(k->minValue) + " to " + std::to_string(k->maxValue) + ", not \"" +
           std::string(value) + "\"";
  s.*k->member = static_cast<int>(v);
  s.UpdateDerivedLimits(s.physicalMemoryBytes ? s.physicalMemoryBytes : PhysicalMemoryBytes());
  return {};
}

uint64_t PhysicalMemoryBytes() {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageSize <= 0) return uint64_t{1} << 30;
  return static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageSize);
}

}  // namespace ostravel
