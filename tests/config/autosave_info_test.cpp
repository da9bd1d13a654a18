#include "config/autosave_info.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "config/ini_file.h"
#include "support/test_support.h"

namespace ostravel {
namespace {

std::string ReadAll(const std::string& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(AutoSaveInfoTest, MissingCompanionOrKeysGiveDefaults) {
  const std::string reg = test::MakeTempDir() + "/AutoSave.tmpReg";
  TAutoSaveInfo info = ReadAutoSaveInfo(reg);
  EXPECT_EQ(info.Description, "");
  EXPECT_EQ(info.MaxMemRatioForPrecalculatedData, -1);
  EXPECT_EQ(info.MaxMemRatioPerProblem, -1);
  EXPECT_EQ(info.ProcessId, 0);
  EXPECT_EQ(info.ProcessFileName, "");

  std::ofstream(reg + ".ini") << "[autosave]\r\nprocessid=4242\r\nMaxMemRatioPerProblem=35\r\n";
  info = ReadAutoSaveInfo(reg);
  EXPECT_EQ(info.ProcessId, 4242);
  EXPECT_EQ(info.MaxMemRatioPerProblem, 35);
  EXPECT_EQ(info.MaxMemRatioForPrecalculatedData, -1);
}

TEST(AutoSaveInfoTest, RoundTripKeepsValuesAndForeignLines) {
  const std::string reg = test::MakeTempDir() + "/AutoSave.tmpReg";
  std::ofstream(reg + ".ini") << "; resumed twice\n[AutoSave]\nNote=keep\n[Other]\nx=1\n";
  TAutoSaveInfo info;
  info.Description = "  Loyd 1859, #4\n(second line) ";
  info.MaxMemRatioForPrecalculatedData = 10;
  info.ProcessId = 1234567890123LL;
  info.ProcessFileName = "/opt/ostravel/bin/ostravel";
  WriteAutoSaveInfo(reg, info);

  const TAutoSaveInfo back = ReadAutoSaveInfo(reg);
  EXPECT_EQ(back.Description, "  Loyd 1859, #4 (second line) ") << "line breaks become blanks";
  EXPECT_EQ(back.MaxMemRatioForPrecalculatedData, 10);
  EXPECT_EQ(back.MaxMemRatioPerProblem, -1);
  EXPECT_EQ(back.ProcessId, 1234567890123LL);
  EXPECT_EQ(back.ProcessFileName, info.ProcessFileName);

  const std::string text = ReadAll(reg + ".ini");
  EXPECT_EQ(text.rfind("; resumed twice\n[AutoSave]\nNote=keep\nDescription=", 0), 0u) << text;
  EXPECT_NE(text.find("[Other]\nx=1\n"), std::string::npos);
}

TEST(AutoSaveInfoTest, DescriptionIsReadUpTo2047Characters) {
  const std::string reg = test::MakeTempDir() + "/r.tmpReg";
  TAutoSaveInfo info;
  info.Description = std::string(5000, 'd');
  WriteAutoSaveInfo(reg, info);
  EXPECT_EQ(ReadAutoSaveInfo(reg).Description, std::string(2047, 'd'));
}

}  // namespace
}  // namespace ostravel
