// The bash completion against the program it completes: every command the
// program registers and every option its help lists must be offered, so the
// completion cannot fall behind a new command or option unnoticed.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <set>
#include <string>

#include "support/test_support.h"

namespace ostravel {
namespace {

// What the program prints on stdout for the arguments.
std::string Output(const std::string& args) {
  const std::string cmd = "OSTRAVEL_HOME='" + test::MakeOfflineHome() + "' '" + test::CliProgramPath() +
                          "' " + args + " 2>/dev/null";
  std::string out;
  if (FILE* f = popen(cmd.c_str(), "r")) {
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
    pclose(f);
  }
  return out;
}

std::set<std::string> Options(const std::string& text) {
  static const std::regex option("(^|[\\s\\[|(])(--[a-z][a-z0-9-]*)");
  std::set<std::string> out;
  for (std::sregex_iterator it(text.begin(), text.end(), option), end; it != end; ++it) out.insert((*it)[2]);
  return out;
}

// The commands of the main help: the first word of each line under "Commands:".
std::set<std::string> HelpCommands(const std::string& help) {
  std::set<std::string> out;
  const size_t start = help.find("Commands:\n");
  if (start == std::string::npos) return out;
  const size_t end = help.find("\n\n", start);
  const std::string list = help.substr(start, end == std::string::npos ? std::string::npos : end - start);
  static const std::regex line("\n  ([a-z][a-z0-9-]*) ");
  for (std::sregex_iterator it(list.begin(), list.end(), line), e; it != e; ++it) out.insert((*it)[1]);
  return out;
}

class Completion : public ::testing::Test {
 protected:
  void SetUp() override {
    if (test::CliProgramPath().empty()) GTEST_SKIP() << "ostravel-cli is not built";
    script_ = test::ReadTextFile(test::SourcePath("data/completion/ostravel-cli"));
    ASSERT_FALSE(script_.empty());
  }
  // The words of `commands="..."`.
  std::set<std::string> Commands() const {
    std::smatch m;
    EXPECT_TRUE(std::regex_search(script_, m, std::regex("local commands=\"([^\"]*)\"")));
    std::set<std::string> out;
    const std::string words = m[1];
    static const std::regex word("\\S+");
    for (std::sregex_iterator it(words.begin(), words.end(), word), end; it != end; ++it)
      out.insert(it->str());
    return out;
  }
  // The options the completion offers after a command: its opts="...".
  std::set<std::string> CommandOptions(const std::string& cmd) const {
    std::smatch m;
    const std::regex branch("\n    " + cmd + "\\)[\\s\\S]*?opts=\"([^\"]*)\"");
    if (!std::regex_search(script_, m, branch)) return {};
    return Options(m[1]);
  }
  std::string script_;
};

TEST_F(Completion, OffersEveryCommandOfTheProgram) {
  const std::set<std::string> program = HelpCommands(Output("--help"));
  ASSERT_GE(program.size(), 10u);
  EXPECT_EQ(Commands(), program);
}

TEST_F(Completion, OffersEveryOptionOfEachCommandsHelp) {
  for (const std::string& cmd : HelpCommands(Output("--help"))) {
    std::set<std::string> offered = CommandOptions(cmd);
    offered.insert("--help");
    for (const std::string& o : Options(Output(cmd + " --help")))
      EXPECT_TRUE(offered.count(o)) << cmd << " " << o << " is not completed";
  }
}

}  // namespace
}  // namespace ostravel
