#include "platform/startup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "config/autosave_info.h"
#include "config/settings.h"
#include "platform/program_log.h"
#include "platform/texts.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> Lines(const fs::path& p) {
  std::ifstream in(p);
  std::vector<std::string> out;
  for (std::string l; std::getline(in, l);) out.push_back(l);
  return out;
}

// Points the program's folders at a fresh one for the life of the object.
class TFreshHome {
 public:
  TFreshHome() : home_(test::MakeTempDir()) {
    const char* old = std::getenv("OSTRAVEL_HOME");
    if (old) saved_ = old, had_ = true;
    ::setenv("OSTRAVEL_HOME", home_.c_str(), 1);
  }
  ~TFreshHome() {
    if (had_)
      ::setenv("OSTRAVEL_HOME", saved_.c_str(), 1);
    else
      ::unsetenv("OSTRAVEL_HOME");
    LoadSettings();
  }
  const fs::path& Path() const { return home_; }

 private:
  fs::path home_;
  std::string saved_;
  bool had_ = false;
};

TEST(ProgramLogTest, OpenAndCloseLinesAreAppended) {
  const fs::path dir = fs::path(test::MakeTempDir()) / "logs";
  ASSERT_TRUE(LogProgramOpened(dir));
  ASSERT_TRUE(LogProgramClosed(dir));
  const auto lines = Lines(dir / "chessGUI.log");
  ASSERT_EQ(lines.size(), 2u);
  const std::string stamp =
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d, Ostravel [0-9.]+, pid )" + std::to_string(::getpid());
  EXPECT_TRUE(std::regex_match(lines[0], std::regex("Program opened \\(" + stamp + "\\)"))) << lines[0];
  EXPECT_TRUE(std::regex_match(lines[1], std::regex("Program close \\(" + stamp + "\\)"))) << lines[1];
  EXPECT_FALSE(AppendProgramLogLine("/proc/cannot/write/here", "x"));
}

TEST(StartupTest, SecondInstanceReadsSettingsLogsAndFindsForcedCloses) {
  TFreshHome home;
  std::ofstream(home.Path() / "options.ini") << "[chess]\nLanguageId=0\nWarnAboutSecondInstanceOfProgram=2\n";
  const fs::path reg = home.Path() / "AutoSave.tmpReg";
  std::ofstream(reg) << "register";
  TAutoSaveInfo info;
  info.ProcessId = 999999999;
  info.ProcessFileName = "ostravel";
  WriteAutoSaveInfo(reg.string(), info);

  // A run's slot, as the engine would list it.
  const fs::path slotReg = home.Path() / "AutoSave" / "9-1" / "AutoSave.tmpReg";
  fs::create_directories(slotReg.parent_path());
  std::ofstream(slotReg) << "register";
  WriteAutoSaveInfo(slotReg.string(), info);

  const fs::path lockFolder = test::MakeTempDir();
  TSingleInstance first(lockFolder);
  ASSERT_TRUE(first.IsFirst());
  {
    TStartupOptions options;
    options.lockFolder = lockFolder;
    options.installCrashHandler = false;
    options.lowerPriority = false;
    options.forcedCloseScan.runSlots = [&](const fs::path& folder) {
      EXPECT_EQ(folder, home.Path());
      return std::vector<TAutoSaveSlotFile>{{"9-1", slotReg}};
    };
    TProgramSession session(options);
    EXPECT_TRUE(session.IsSecondInstance());
    EXPECT_EQ(Settings().LanguageId, 0);
    const auto note = session.SecondInstanceNote();
    ASSERT_TRUE(note);
    EXPECT_EQ(note->title, ShellText(TShellText::kInformationTitle, 0));
    EXPECT_EQ(note->text, ShellText(TShellText::kSecondInstanceNote, 0));
    const auto& found = session.ForcedCloseAutoSaves();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].slot, "9-1");  // the slots first
    EXPECT_EQ(found[0].registerFile, slotReg);
    EXPECT_EQ(found[1].slot, "");
    EXPECT_EQ(found[1].registerFile, reg);
    EXPECT_FALSE(found[1].Resumable());
    EXPECT_EQ(session.LogFolderPath(), home.Path());
    EXPECT_FALSE(session.CrashHandlerActive());
  }
  const auto lines = Lines(home.Path() / "chessGUI.log");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("Program opened (", 0), 0u);
  EXPECT_EQ(lines[1].rfind("Program close (", 0), 0u);

  // Only an information in the status bar below 2.
  std::ofstream(home.Path() / "options.ini")
      << "[chess]\nWarnAboutSecondInstanceOfProgram=1\nCrashReportUrl = http://127.0.0.1:9/report \n";
  TStartupOptions options;
  options.lockFolder = lockFolder;
  options.installCrashHandler = false;
  options.lowerPriority = false;
  TProgramSession quiet(options);
  EXPECT_TRUE(quiet.IsSecondInstance());
  EXPECT_FALSE(quiet.SecondInstanceNote());
  EXPECT_EQ(Settings().CrashReportUrl, "http://127.0.0.1:9/report");
  EXPECT_EQ(Settings().MessageServiceUrl, "") << "no address unless one is set";
}

// The texts users see, word for word (misspellings included).
TEST(ShellTextsTest, EnglishTextsAreExact) {
  EXPECT_EQ(PendingSearchQuitText(3, 1),
            "Search for solution is pending for 3 problem(s).\nAre you sure you want to quit?");
  EXPECT_STREQ(
      ShellText(TShellText::kSecondInstanceNote, 1),
      "Note:\nSince it is not the first running instance of the program, it will be opened in read-only "
      "mode for .lichess files.\n\nAlso particular care should be taken while saving problem files (.cp) - "
      "although program instances warn and suggest sychronization/reload");
  EXPECT_STREQ(ShellText(TShellText::kInformationTitle, 1), "Information");
  EXPECT_EQ(
      ForcedCloseQuestionMessage("/d/AutoSave.tmpReg", 1),
      "The last program analysis seems to have been closed forcibly.\n\nPartial solution data is available "
      "in file\n/d/AutoSave.tmpReg\n(you can load it using menu 'Advanced->Read temporary register from "
      "file' "
      "and restart analysis)\n\nDo you want to use it automatically and resume interrupted "
      "analysis?\n\nPress "
      "Cancel to avoid displaying this message again (the file extention will be changed to .BAK)");
  EXPECT_EQ(
      ForcedCloseInformationMessage("/d/AutoSave.tmpReg", 1),
      "The last program analysis seems to have been closed forcibly.\n\nPartial solution data is available "
      "in file\n/d/AutoSave.tmpReg\n(you can load it using menu 'Advanced->Read temporary register from "
      "file' "
      "and restart analysis)\n\nIf this data is not needed, you can delete this file manually to prevent "
      "displaying this information again.");
  EXPECT_EQ(
      FileChangedText(true, 1),
      "The opened file has been changed by an external application.\n\nIt is strongly recommended to reopen "
      "it (close and open it again)\n\nAny unsaved changes will be lost.\nIf you want to save them, it is "
      "recommended to save to another file (File... Save As).");
  EXPECT_EQ(
      FileChangedText(false, 1),
      "The opened file has been changed by an external application.\n\nIt is strongly recommended to reopen "
      "it (close and open it again)\n\nDo you want to reload the file?");
  EXPECT_EQ(UnhandledExceptionText("Access Violation (0xC0000005)", false, 1),
            "Unhandled exception caught: Access Violation (0xC0000005)\nProgram will now be terminated.\n\n");
  EXPECT_STREQ(ShellText(TShellText::kUnhandledExceptionTitle, 1), "Unhandled exception");
  // Ukrainian falls back to English; Polish has its own words.
  EXPECT_EQ(PendingSearchQuitText(2, 2), PendingSearchQuitText(2, 1));
  EXPECT_NE(PendingSearchQuitText(2, 0), PendingSearchQuitText(2, 1));
  EXPECT_NE(PendingSearchQuitText(2, 0).find('2'), std::string::npos);
  EXPECT_EQ(kMainWindowDefaultWidth, 640);
  EXPECT_EQ(kMainWindowDefaultHeight, 557);
}

}  // namespace
}  // namespace ostravel
