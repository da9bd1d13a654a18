#pragma once
// The process-wide settings record. "options.ini" (section "chess") is read
// once at start-up into it; the rest of the program reads the record, never
// the file. Members carry the names of their keys.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/ini_file.h"

namespace ostravel {

inline constexpr const char* kSettingsSection = "chess";
// PrecalcPath is read into a buffer of this many characters.
inline constexpr std::size_t kPrecalcPathMaxChars = 255;

// The temporary register is never given less (unless the machine has less
// than twice this): below it a search crawls.
inline constexpr uint64_t kMinTempRegLimitMB = 64;

struct TSettings {
  int LanguageId = 1;  // 0 Polish, 1 English, 2 Ukrainian
  int QuickMode = 1;   // 0 safe mode
  int WarningOnLichessDataRepetition = 0;
  int SchedulerLevels = 5;  // as stored; see InternalSchedulerLevels()
  int CheckTempRegCoherency = 0;
  int CustomScheduler = 1;
  int SchedulerThreadPool = 1;
  int ObserverLevels = 0;
  int LichessLevels = 1;  // negative: no tablebase lookups
  int WarnAboutSecondInstanceOfProgram = 2;
  int PromptHeuristics = 0;
  int MaxMemRatioForTempReg = 20;  // per cent of physical memory
  int ClearRegisterOnStartSolving = 0;
  int MaxMemRatioForPrecalculatedData = 20;  // per cent of physical memory
  int LetAnalyzeTheSameMoveInTwoThreads = 1;
  int CommentCompatibilityMode = 0;
  int ShowMainVariant = 1;
  int UseMainVariantAsSortIndications = 0;  // 0..2
  int LogMoves = 0;
  int RegisterInfoLog = 0;
  int TryRelaxSpecialHeuristicsLog = 0;
  int MinimizeToTray = 2;
  int AskForGlobalRegisterRecompression = 0;  // never above UseDataPackedForRandomAccess
  int UseDataPackedForRandomAccess = 2;
  int UseGlobalRules = 1;
  int GlobalRegisterForceDiskAccess = 1;
  std::string PrecalcPath;  // used only when not empty
  int AskIfSaveAfterDecompressAllToMem = 0;
  int MultithreadingLevels = 1;
  int LogToFileTmpRegLoad = 0;
  int CustomizedVersion = 0;
  int EnableManualEngineControl = 0;
  int ScalingWarningDismissed = 0;
  int UsePredefinedIndications = 0;  // 0..2
  int AutoSaveMinutes = 240;         // 0: no auto-save
  int AutoSaveMB = 256;              // 0: no auto-save
  int ExtendedTempRegDetails = 0;
  int AddTestCrashHandlerMenuItem = 0;
  int UseSystemCrashHandler = 0;
  // Kept by other parts of the program, not by the options dialog.
  int ShortRegTestSeconds = 10;
  int LastProcessedMsgId = 0;
  // Addresses of the vendor's message service and crash-report server
  // (http or https URLs), edited by hand. Empty (the default): nothing is
  // ever sent anywhere.
  std::string MessageServiceUrl;
  std::string CrashReportUrl;
  // The online tablebase: its address (a mirror or a local server may stand
  // in) and the time one request may take. Edited by hand.
  std::string TablebaseUrl = "https://tablebase.lichess.ovh/";
  int TablebaseConnectTimeoutMs = 3000;
  int TablebaseTimeoutMs = 5000;

  // Derived from the physical memory and the ratios by UpdateDerivedLimits().
  uint64_t physicalMemoryBytes = 0;
  uint64_t tempRegLimitMB = 0;     // (physical >> 20) * MaxMemRatioForTempReg / 100
  uint64_t fixedLimitMB = 0;       // (physical >> 20) * 20 / 100
  uint64_t precalcLimitBytes = 0;  // MaxMemRatioForPrecalculatedData * physical / 100

  bool AutoSaveEnabled() const { return AutoSaveMinutes > 0 && AutoSaveMB > 0; }
  // The file stores the count less one: 0 means one level, -1 none.
  int InternalSchedulerLevels() const { return SchedulerLevels + 1; }

  // Recomputes the derived limits; call again after changing a ratio (a
  // resumed auto-save brings its own). Ratios count as clamped to 0..100.
  void UpdateDerivedLimits(uint64_t physicalBytes);
  void UpdateDerivedLimits();  // with PhysicalMemoryBytes()
};

// Who writes a key back to the file.
enum class TSettingWriter : unsigned char {
  kNone,     // read only; edited by hand
  kDialog,   // the options dialog's "&Save settings"
  kProgram,  // a single command of the program (language menu, main window...)
};

struct TSettingKey {
  const char* name;
  int TSettings::*member;
  TSettingWriter writer;
  // Values the dialog (or the owning command) accepts.
  int minValue;
  int maxValue;
};

// Every integer key in the order they are read. PrecalcPath is the only
// string key and is not listed.
std::span<const TSettingKey> SettingKeys();
// Case-insensitive lookup; nullptr when unknown.
const TSettingKey* FindSettingKey(std::string_view name);
// Keys that are read, kept and written, but that nothing in the program acts
// on yet (the scheduler, heuristic prompts, tray, ...): the options dialog
// and `config` say so rather than let the user believe they change a run.
bool SettingHasNoEffectYet(std::string_view name);
inline constexpr const char* kNoEffectYetNote = "(no effect yet)";

// Texts the settings code hands to the shell, by language id (Polish where a
// Polish text exists, otherwise English).
enum class TSettingsText { kWarningTitle, kRecompressionWarning, kLogMovesWarning };
const char* SettingsText(TSettingsText id, int languageId);

// Reads every key with its default, applies the limits below, computes the
// derived limits from PhysicalMemoryBytes() and appends to *warnings the
// texts the program must show:
// - UseMainVariantAsSortIndications is clamped to 0..2;
// - SchedulerLevels to -1..8 (0 to 9 internal levels);
// - the two memory ratios to 0..100;
// - LanguageId outside 0..2 becomes 1;
// - AskForGlobalRegisterRecompression above UseDataPackedForRandomAccess is
//   lowered to it, with a warning;
// - LogMoves on gives a warning.
TSettings ReadSettingsFrom(const TIniFile& ini, std::vector<std::string>* warnings);

// The process-wide record; default-initialised (with derived limits) until
// LoadSettings() runs. Change it only while no engine runs.
const TSettings& Settings();
TSettings& MutableSettings();

// Reads OptionsFilePath() into the process-wide record and returns the
// warnings to show. A missing file gives the defaults silently.
std::vector<std::string> LoadSettings();

// The text a key is written as ("2" for a WarnAboutSecondInstanceOfProgram
// above 2).
std::string SettingText(const TSettings& s, const TSettingKey& key);
// Puts the dialog's keys into ini (what "&Save settings" writes).
void StoreSettings(const TSettings& s, TIniFile& ini);
// Puts one key into ini, whoever owns it.
void StoreSettingKey(const TSettings& s, const TSettingKey& key, TIniFile& ini);
// "&Save settings": rewrites the dialog's keys in path, keeping every other
// line, atomically; creates the folder. Throws std::runtime_error on failure.
void WriteSettings(const TSettings& s, const std::string& path);

// Sets a key from text as the dialog or the owning command would: the value
// must be a whole decimal number within the key's range, and read-only keys
// are refused. Returns an empty string, or why the value was refused.
std::string SetSettingFromText(TSettings& s, std::string_view key, std::string_view value);

// Total physical memory (a fallback of 1 GiB when the system cannot tell).
uint64_t PhysicalMemoryBytes();

}  // namespace ostravel
