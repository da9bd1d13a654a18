#include "config/settings.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>

#include "config/paths.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::string ReadAll(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

TSettings Read(const std::string& text, std::vector<std::string>* warnings = nullptr) {
  return ReadSettingsFrom(TIniFile::FromText(text), warnings);
}

// Points OSTRAVEL_HOME at a fresh folder for one test.
class HomeGuard {
 public:
  HomeGuard() : dir_(test::MakeTempDir()) { ::setenv("OSTRAVEL_HOME", dir_.c_str(), 1); }
  ~HomeGuard() { ::unsetenv("OSTRAVEL_HOME"); }
  const std::filesystem::path& dir() const { return dir_; }

 private:
  std::filesystem::path dir_;
};

TEST(SettingsReadTest, EmptyFileGivesTheDefaults) {
  std::vector<std::string> warnings;
  const TSettings s = Read("", &warnings);
  EXPECT_TRUE(warnings.empty());
  EXPECT_EQ(s.InternalSchedulerLevels(), 6);
  EXPECT_EQ(s.WarnAboutSecondInstanceOfProgram, 2);
  EXPECT_EQ(s.MinimizeToTray, 2);
  EXPECT_EQ(s.ShortRegTestSeconds, 10);
  EXPECT_TRUE(s.AutoSaveEnabled());
  EXPECT_GT(s.fixedLimitMB, 0u);
  EXPECT_EQ(SettingKeys().size(), 42u);  // 38 options, 2 kept by the program, 2 tablebase timeouts
}

TEST(SettingsReadTest, ValuesAreReadFromSectionChess) {
  const TSettings s = Read(
      "[other]\nQuickMode=0\n[Chess]\nLichessLevels=-1\nPrecalcPath = \"/data/pre calc\" \n"
      "AutoSaveMB=0\n");
  EXPECT_EQ(s.QuickMode, 1);
  EXPECT_EQ(s.LichessLevels, -1);
  EXPECT_EQ(s.PrecalcPath, "/data/pre calc");
  EXPECT_FALSE(s.AutoSaveEnabled());
  EXPECT_FALSE(Read("[chess]\nAutoSaveMinutes=0\n").AutoSaveEnabled());
  EXPECT_EQ(Read("[chess]\nPrecalcPath=" + std::string(300, 'p')).PrecalcPath, std::string(255, 'p'));
}

TEST(SettingsReadTest, LimitsAndConsistencyRules) {
  EXPECT_EQ(Read("[chess]\nUseMainVariantAsSortIndications=7\n").UseMainVariantAsSortIndications, 2);
  EXPECT_EQ(Read("[chess]\nUseMainVariantAsSortIndications=-4\n").UseMainVariantAsSortIndications, 0);

  const TSettings zero = Read("[chess]\nSchedulerLevels=0\n");
  EXPECT_EQ(zero.SchedulerLevels, 0);
  EXPECT_EQ(zero.InternalSchedulerLevels(), 1);
  EXPECT_EQ(Read("[chess]\nSchedulerLevels=-1\n").InternalSchedulerLevels(), 0);
  EXPECT_EQ(Read("[chess]\nSchedulerLevels=40\n").InternalSchedulerLevels(), 9);
  EXPECT_EQ(Read("[chess]\nSchedulerLevels=-40\n").InternalSchedulerLevels(), 0);

  // Out of its limits or not a number: a warning, and the default.
  std::vector<std::string> w;
  EXPECT_EQ(Read("[chess]\nMaxMemRatioForTempReg=250\n", &w).MaxMemRatioForTempReg, 20);
  EXPECT_EQ(Read("[chess]\nMaxMemRatioForPrecalculatedData=-5\n", &w).MaxMemRatioForPrecalculatedData, 20);
  EXPECT_EQ(Read("[chess]\nMaxMemRatioForTempReg=0\n", &w).MaxMemRatioForTempReg, 20);
  EXPECT_EQ(Read("[chess]\nMaxMemRatioForTempReg=lots\n", &w).MaxMemRatioForTempReg, 20);
  EXPECT_EQ(Read("[chess]\nAutoSaveMB=12x\n", &w).AutoSaveMB, 256);
  ASSERT_EQ(w.size(), 5u);
  EXPECT_EQ(w[0], "Setting MaxMemRatioForTempReg = \"250\" is outside 1..100; the default 20 is used.");
  EXPECT_EQ(w[3], "Setting MaxMemRatioForTempReg = \"lots\" is not a number; the default 20 is used.");
  EXPECT_EQ(Read("[chess]\nMaxMemRatioForTempReg= 35 \n").MaxMemRatioForTempReg, 35);
  EXPECT_EQ(Read("[chess]\nLanguageId=9\n").LanguageId, 1);

  // Other values are kept as the file gives them.
  EXPECT_EQ(Read("[chess]\nWarnAboutSecondInstanceOfProgram=7\n").WarnAboutSecondInstanceOfProgram, 7);
  EXPECT_EQ(Read("[chess]\nCustomizedVersion=99999999999\n").CustomizedVersion, 0);
}

TEST(SettingsReadTest, WarningsToShow) {
  std::vector<std::string> warnings;
  TSettings s =
      Read("[chess]\nAskForGlobalRegisterRecompression=2\nUseDataPackedForRandomAccess=1\n", &warnings);
  EXPECT_EQ(s.AskForGlobalRegisterRecompression, 1);
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_EQ(warnings[0],
            "Value of parameter AskForGlobalRegisterRecompression should not be greater than "
            "UseDataPackedForRandomAccess.");

  warnings.clear();
  s = Read(
      "[chess]\nLanguageId=0\nAskForGlobalRegisterRecompression=1\nUseDataPackedForRandomAccess=0\n"
      "LogMoves=1\n",
      &warnings);
  EXPECT_EQ(s.AskForGlobalRegisterRecompression, 0);
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_NE(warnings[0].find("nie powinna"), std::string::npos) << "Polish when the language is Polish";
  EXPECT_EQ(warnings[1].rfind("Program has been opened with the option to write log of full analysis", 0),
            0u);
}

TEST(SettingsDerivedTest, LimitsFollowPhysicalMemory) {
  TSettings s;
  s.MaxMemRatioForTempReg = 30;
  s.MaxMemRatioForPrecalculatedData = 15;
  const uint64_t phys = 16ull * 1024 * 1024 * 1024 + 12345;  // 16 GiB and a bit
  s.UpdateDerivedLimits(phys);
  EXPECT_EQ(s.physicalMemoryBytes, phys);
  EXPECT_EQ(s.tempRegLimitMB, 16384u * 30 / 100);  // 4915, integer arithmetic on whole MB
  EXPECT_EQ(s.fixedLimitMB, 16384u * 20 / 100);    // 3276
  EXPECT_EQ(s.precalcLimitBytes, phys * 15 / 100);

  // Near the top of the range the byte limit must not overflow.
  s.MaxMemRatioForPrecalculatedData = 100;
  s.UpdateDerivedLimits(UINT64_MAX - 7);
  EXPECT_EQ(s.precalcLimitBytes, UINT64_MAX - 7);

  // A ratio out of range (set by hand) still leaves the register its
  // working minimum, or half the memory of a very small machine.
  s.MaxMemRatioForTempReg = -10;
  s.UpdateDerivedLimits(1ull << 30);
  EXPECT_EQ(s.tempRegLimitMB, kMinTempRegLimitMB);
  s.UpdateDerivedLimits(64ull << 20);
  EXPECT_EQ(s.tempRegLimitMB, 32u);
}

TEST(SettingsWriteTest, DialogWritesOnlyItsKeysAndKeepsForeignLines) {
  const std::filesystem::path dir = test::MakeTempDir();
  const auto path = dir / "options.ini";
  std::ofstream(path, std::ios::binary) << "; my settings\r\n"
                                        << "[chess]\r\n"
                                        << "LanguageId=0\r\n"
                                        << "QuickMode=1\r\n"
                                        << "PrecalcPath=/keep\r\n"
                                        << "LicenceKey=ABC-123\r\n"
                                        << "[window]\r\n"
                                        << "x=10\r\n";
  TIniFile ini;
  ini.Load(path);
  TSettings s = ReadSettingsFrom(ini, nullptr);
  s.QuickMode = 0;
  s.SchedulerLevels = 0;
  s.WarnAboutSecondInstanceOfProgram = 9;
  s.LanguageId = 2;              // not the dialog's to write
  s.CheckTempRegCoherency = 1;   // read only
  s.PrecalcPath = "/elsewhere";  // read only
  WriteSettings(s, path.string());

  const std::string text = ReadAll(path);
  EXPECT_EQ(text.rfind("; my settings\r\n[chess]\r\nLanguageId=0\r\nQuickMode=0\r\nPrecalcPath=/keep\r\n"
                       "LicenceKey=ABC-123\r\nSchedulerLevels=0\r\n",
                       0),
            0u)
      << text;
  EXPECT_NE(text.find("[window]\r\nx=10\r\n"), std::string::npos);
  EXPECT_EQ(text.find("CheckTempRegCoherency"), std::string::npos);

  const TIniFile back = TIniFile::FromText(text);
  EXPECT_EQ(back.GetInt("chess", "WarnAboutSecondInstanceOfProgram", -1), 2);
  for (const TSettingKey& k : SettingKeys())
    EXPECT_EQ(back.Find("chess", k.name).has_value(),
              k.writer == TSettingWriter::kDialog || k.member == &TSettings::LanguageId)
        << k.name;

  // What was written reads back as it was held (bar the capped value).
  const TSettings again = ReadSettingsFrom(back, nullptr);
  EXPECT_EQ(again.QuickMode, 0);
  EXPECT_EQ(again.InternalSchedulerLevels(), 1);
}

TEST(SettingsWriteTest, WritingCreatesTheFileAndItsFolder) {
  const auto path = std::filesystem::path(test::MakeTempDir()) / "cfg" / "ostravel" / "options.ini";
  WriteSettings(TSettings{}, path.string());
  EXPECT_EQ(TIniFile::FromText(ReadAll(path)).GetInt("chess", "SchedulerLevels", -9), 5);
}

TEST(SettingsSetTest, TextValuesAreCheckedLikeTheDialog) {
  TSettings s;
  s.UpdateDerivedLimits(10ull << 30);
  EXPECT_EQ(SetSettingFromText(s, "quickmode", " 0 "), "");
  EXPECT_EQ(s.QuickMode, 0);
  EXPECT_EQ(SetSettingFromText(s, "SchedulerLevels", "-1"), "");
  EXPECT_EQ(s.InternalSchedulerLevels(), 0);
  EXPECT_EQ(SetSettingFromText(s, "MaxMemRatioForTempReg", "50"), "");
  EXPECT_EQ(s.tempRegLimitMB, 10240u / 2) << "derived limits follow the ratio";
  EXPECT_EQ(SetSettingFromText(s, "LanguageId", "0"), "");
  EXPECT_EQ(s.LanguageId, 0);

  for (const char* bad : {"", "x", "1x", "+", "2", "-1", "99999999999"})
    EXPECT_NE(SetSettingFromText(s, "QuickMode", bad), "") << bad;
  EXPECT_EQ(s.QuickMode, 0);
  EXPECT_NE(SetSettingFromText(s, "SchedulerLevels", "9"), "");
  EXPECT_NE(SetSettingFromText(s, "NoSuchKey", "1"), "");
  EXPECT_NE(SetSettingFromText(s, "PrecalcPath", "/x"), "");
  EXPECT_NE(SetSettingFromText(s, "CheckTempRegCoherency", "1"), "");
  EXPECT_EQ(s.CheckTempRegCoherency, 0);
}

TEST(SettingsLoadTest, LoadFillsTheProcessRecord) {
  HomeGuard home;
  // No file: defaults, no warnings.
  MutableSettings().QuickMode = 0;
  EXPECT_TRUE(LoadSettings().empty());
  EXPECT_EQ(Settings().QuickMode, 1);

  std::ofstream(home.dir() / "options.ini") << "[chess]\nQuickMode=0\nLogMoves=1\n";
  EXPECT_EQ(LoadSettings().size(), 1u);
  EXPECT_EQ(Settings().QuickMode, 0);

  // Unreadable: defaults with a warning, and writing refuses to clobber it.
  std::filesystem::remove(home.dir() / "options.ini");
  std::filesystem::create_directory(home.dir() / "options.ini");
  const auto warnings = LoadSettings();
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_NE(warnings[0].find("options.ini"), std::string::npos);
  EXPECT_EQ(Settings().QuickMode, 1);
  EXPECT_THROW(WriteSettings(Settings(), (home.dir() / "options.ini").string()), std::runtime_error);
  MutableSettings() = TSettings{};
}

}  // namespace
}  // namespace ostravel

namespace ostravel {

// The keys said to have no effect are real keys, and the ones a run uses
// are not among them.
TEST(SettingsEffectTest, NoEffectListNamesRealKeysOnly) {
  int inert = 0;
  for (const TSettingKey& k : SettingKeys()) inert += SettingHasNoEffectYet(k.name);
  EXPECT_EQ(inert, 13);
  EXPECT_TRUE(SettingHasNoEffectYet("schedulerlevels"));
  for (const char* used :
       {"LichessLevels", "MultithreadingLevels", "QuickMode", "AutoSaveMinutes", "LogMoves",
        "WarningOnLichessDataRepetition", "MaxMemRatioForTempReg", "PromptHeuristics"})
    EXPECT_FALSE(SettingHasNoEffectYet(used)) << used;
}

TEST(SettingsTextTest, TheWarningTitleInEachLanguage) {
  EXPECT_STREQ(SettingsText(TSettingsText::kWarningTitle, 1), "Warning");
  EXPECT_STREQ(SettingsText(TSettingsText::kWarningTitle, 0), "Ostrze\u017cenie");
  EXPECT_STREQ(SettingsText(TSettingsText::kWarningTitle, 2),
               "\u041f\u043e\u043f\u0435\u0440\u0435\u0434\u0436\u0435\u043d\u043d\u044f");
}

}  // namespace ostravel
