#include "config/ini_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <random>

#include "support/test_support.h"

namespace ostravel {
namespace {

std::string ReadAll(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteAll(const std::filesystem::path& p, const std::string& text) {
  std::ofstream(p, std::ios::binary) << text;
}

TEST(IniReadTest, IntegersTakeSignAndLeadingDigits) {
  const auto ini = TIniFile::FromText(
      "[s]\nplain=42\nneg=-17\nplus=+5\ntail=12abc\nword=abc\nhex=0x10\nempty=\nnovalue\n"
      "spaced=  -3  \nquoted=\"8\"\nsignonly=-\nbig=99999999999999\nsmall=-99999999999999\n"
      "huge=123456789012345678901234567890\n");
  EXPECT_EQ(ini.GetInt("s", "plain", 0), 42);
  EXPECT_EQ(ini.GetInt("s", "neg", 0), -17);
  EXPECT_EQ(ini.GetInt("s", "plus", 0), 5);
  EXPECT_EQ(ini.GetInt("s", "tail", 0), 12);
  EXPECT_EQ(ini.GetInt("s", "word", 9), 0) << "a value without digits reads as 0";
  EXPECT_EQ(ini.GetInt("s", "hex", 9), 0);
  EXPECT_EQ(ini.GetInt("s", "empty", 9), 9) << "an empty value is no value";
  EXPECT_EQ(ini.GetInt("s", "novalue", 9), 9);
  EXPECT_EQ(ini.GetInt("s", "spaced", 0), -3);
  EXPECT_EQ(ini.GetInt("s", "quoted", 0), 8);
  EXPECT_EQ(ini.GetInt("s", "signonly", 9), 0);
  EXPECT_EQ(ini.GetInt("s", "big", 0), INT_MAX);
  EXPECT_EQ(ini.GetInt("s", "small", 0), INT_MIN);
  EXPECT_EQ(ini.GetInt64("s", "big", 0), 99999999999999LL);
  EXPECT_EQ(ini.GetInt64("s", "huge", 0), LLONG_MAX);
  EXPECT_EQ(TIniFile::ParseLeadingInt("-9223372036854775808"), LLONG_MIN);
}

TEST(IniReadTest, MissingFileSectionOrKeyGivesDefault) {
  TIniFile ini;
  EXPECT_FALSE(ini.Load(std::filesystem::path(test::MakeTempDir()) / "none.ini"));
  EXPECT_EQ(ini.GetInt("chess", "QuickMode", 3), 3);
  ini.LoadText("[other]\nQuickMode=0\n[chess]\nLogMoves=1\n");
  EXPECT_EQ(ini.GetInt("chess", "QuickMode", 3), 3);
  EXPECT_EQ(ini.GetString("nosuch", "LogMoves", "dflt", 255), "dflt");
}

TEST(IniReadTest, SectionsKeysCommentsAndDuplicates) {
  const auto ini = TIniFile::FromText(
      "QuickMode=5\n"  // outside any section: never found
      "  [ Chess ]  \n\t a \t=\t 1  \nA=2\n;B=0\n# B=0\n[broken\n[other]\nB=7\n[CHESS]\nA=3\nC=4\n"
      "[a]b] \nY=2\n");
  EXPECT_EQ(ini.GetInt("chess", "A", 0), 1) << "names ignore case and blanks; the first key counts";
  EXPECT_EQ(ini.GetInt("chess", "B", 9), 9) << "comments and other sections are not seen";
  EXPECT_EQ(ini.GetInt("chess", "C", 0), 4) << "a repeated section is searched too";
  EXPECT_EQ(ini.GetInt("chess", "QuickMode", 9), 9);
  EXPECT_EQ(ini.GetInt("a]b", "Y", 0), 2) << "the last ']' closes the name";
}

TEST(IniReadTest, StringsLoseOneMatchingPairOfQuotesAndAreCutInWholeCharacters) {
  const auto ini = TIniFile::FromText(
      "[s]\na=\"x y\"\nb='z'\nc=\"only\nd=\"\ne=\"mixed'\nf=  \" pad \"  \nutf=a\xC5\xBC\xC3\xB3w\n");
  EXPECT_EQ(ini.GetString("s", "a", "", 100), "x y");
  EXPECT_EQ(ini.GetString("s", "b", "", 100), "z");
  EXPECT_EQ(ini.GetString("s", "c", "", 100), "\"only");
  EXPECT_EQ(ini.GetString("s", "d", "", 100), "\"");
  EXPECT_EQ(ini.GetString("s", "e", "", 100), "\"mixed'");
  EXPECT_EQ(ini.GetString("s", "f", "", 100), " pad ");
  EXPECT_EQ(ini.GetString("s", "utf", "", 2), "a\xC5\xBC");
  EXPECT_EQ(ini.GetString("s", "utf", "", 0), "");
  EXPECT_EQ(ini.GetString("s", "missing", "defaults too", 8), "defaults");
}

TEST(IniReadTest, LineEndsBomAndLastLine) {
  const auto crlf =
      TIniFile::FromText("\xEF\xBB\xBF[chess]\r\nQuickMode=0\r\nPrecalcPath=C:\\data\r\nLogMoves=1");
  EXPECT_EQ(crlf.GetInt("chess", "QuickMode", 1), 0);
  EXPECT_EQ(crlf.GetString("chess", "PrecalcPath", "", 255), "C:\\data") << "no CR left in the value";
  EXPECT_EQ(crlf.GetInt("chess", "LogMoves", 0), 1) << "the last line has no line end";
  // A BOM anywhere but the start is ordinary text.
  const auto late = TIniFile::FromText("[x]\n\xEF\xBB\xBF[chess]\nA=1\n");
  EXPECT_EQ(late.GetInt("chess", "A", 0), 0);
}

TEST(IniReadTest, HostileInputReadsWithoutHarm) {
  // Binary garbage, NUL bytes included; a good section after it still counts.
  std::mt19937 rng(12345);
  std::string garbage;
  for (int i = 0; i < 200000; ++i) garbage += static_cast<char>(rng() & 0xFF);
  const auto ini = TIniFile::FromText(garbage + "\n[chess]\nQuickMode=0\n");
  EXPECT_EQ(ini.GetInt("chess", "QuickMode", 1), 0);
  EXPECT_EQ(ini.Text(), garbage + "\n[chess]\nQuickMode=0\n");

  // A 10 MB line: the value is cut, the key after it is found.
  const std::string longValue(10 << 20, 'x');
  const auto big =
      TIniFile::FromText("[chess]\nPrecalcPath=" + longValue + "\nLogMoves=1\n" + longValue + "\n");
  EXPECT_EQ(big.GetString("chess", "PrecalcPath", "", 255), std::string(255, 'x'));
  EXPECT_EQ(big.GetInt("chess", "LogMoves", 0), 1);

  // Only blanks, only line ends, nothing.
  for (const char* text : {"", "\n\n\n", "   \t\r\n", "=", "[]", "[\n]"})
    EXPECT_EQ(TIniFile::FromText(text).GetInt("chess", "QuickMode", 4), 4) << text;
}

TEST(IniEditTest, SetKeepsEveryOtherLineByteForByte) {
  const std::string before =
      "; written by hand\r\n"
      "[chess]\r\n"
      "  QuickMode = 1   ; note\r\n"
      "Unknown=keep me\r\n"
      "\r\n"
      "[Other]\r\n"
      "QuickMode=9\r\n";
  auto ini = TIniFile::FromText(before);
  ini.SetInt("CHESS", "quickmode", 0);
  EXPECT_EQ(ini.Text(),
            "; written by hand\r\n"
            "[chess]\r\n"
            "  QuickMode = 0\r\n"
            "Unknown=keep me\r\n"
            "\r\n"
            "[Other]\r\n"
            "QuickMode=9\r\n");
}

TEST(IniEditTest, SetPlacesNewKeysAndSectionsAndEditsTheFirstDuplicate) {
  auto ini = TIniFile::FromText("[chess]\nA=1\n; trailing comment\n\n[net]\nB=2");
  ini.Set("chess", "New", "x");
  ini.Set("net", "C", "3");  // after a last line without line end
  ini.Set("fresh", "D", "4");
  EXPECT_EQ(ini.Text(), "[chess]\nA=1\nNew=x\n; trailing comment\n\n[net]\nB=2\nC=3\n\n[fresh]\nD=4\n");

  auto empty = TIniFile::FromText("\xEF\xBB\xBF");
  empty.SetInt("chess", "QuickMode", 1);
  EXPECT_EQ(empty.Text(), "\xEF\xBB\xBF[chess]\nQuickMode=1\n");

  auto dup = TIniFile::FromText("[chess]\r\nA=1\r\nbare\r\n[chess]\r\nA=2\r\n");
  dup.SetInt("chess", "A", 5);
  dup.SetInt("chess", "bare", 6);
  dup.SetInt("chess", "B", 7);
  EXPECT_EQ(dup.Text(), "[chess]\r\nA=5\r\nbare=6\r\nB=7\r\n[chess]\r\nA=2\r\n")
      << "only the first duplicate changes; new lines follow the file's line ends";
}

TEST(IniEditTest, SetValuesReadBackExactly) {
  TIniFile ini;
  for (const std::string v :
       {"", " lead", "trail ", "\"quoted\"", "'single'", "\"half", "a=b;c", "two\nlines"}) {
    ini.Set("s", "k", v);
    std::string expected = v;
    if (expected == "two\nlines") expected = "two lines";
    EXPECT_EQ(TIniFile::FromText(ini.Text()).GetString("s", "k", "?", 1000), expected) << v;
  }
  for (const char* key : {"a=b", ";c", "", "k\n[x]"})
    EXPECT_THROW(ini.Set("s", key, "1"), std::invalid_argument);
  EXPECT_THROW(ini.Set("a]b", "k", "1"), std::invalid_argument);
}

TEST(IniSaveTest, SaveReplacesAtomicallyAndKeepsMode) {
  const std::filesystem::path dir = test::MakeTempDir();
  const auto path = dir / "options.ini";
  WriteAll(path, "[chess]\nQuickMode=1\n");
  ::chmod(path.c_str(), 0640);

  TIniFile ini;
  ASSERT_TRUE(ini.Load(path));
  ini.SetInt("chess", "QuickMode", 0);
  ini.Save(path);
  EXPECT_EQ(ReadAll(path), "[chess]\nQuickMode=0\n");
  struct stat st {};
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  // No temporary file is left behind.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);

  // A link is followed, not replaced.
  const auto link = dir / "link.ini";
  std::filesystem::create_symlink(path, link);
  ini.SetInt("chess", "QuickMode", 1);
  ini.Save(link);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(ReadAll(path), "[chess]\nQuickMode=1\n");
}

TEST(IniSaveTest, FailuresThrowAndLeaveNothing) {
  const std::filesystem::path dir = test::MakeTempDir();
  TIniFile ini = TIniFile::FromText("[a]\nb=1\n");
  EXPECT_THROW(ini.Save(dir / "missing" / "x.ini"), std::runtime_error);
  // A folder in the way of the file.
  std::filesystem::create_directory(dir / "taken.ini");
  EXPECT_THROW(ini.Save(dir / "taken.ini"), std::runtime_error);
  EXPECT_THROW(ini.Load(dir / "taken.ini"), std::runtime_error);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
}

}  // namespace
}  // namespace ostravel
