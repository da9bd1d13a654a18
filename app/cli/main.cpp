// ostravel-cli: the command-line front end. It only parses arguments and
// prints; all work is done by the core library.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "command.h"
#include "config/ini_file.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/crash_info.h"
#include "engine/engine_run.h"
#include "platform/crash_handler.h"

namespace ostravel::cli {

std::vector<Command>& MutableCommands() {
  static std::vector<Command> cmds;
  return cmds;
}

void RegisterCommand(const Command& cmd) {
  MutableCommands().push_back(cmd);
}

const std::vector<Command>& Commands() {
  return MutableCommands();
}

bool WantsHelp(const std::vector<std::string>& args) {
  return std::any_of(args.begin(), args.end(),
                     [](const std::string& a) { return a == "--help" || a == "-h"; });
}

namespace {
bool g_json = false;
bool g_jsonPrinted = false;
}  // namespace

void SetJsonOutput(bool json) {
  g_json = json;
}

void PrintJson(const std::string& text) {
  std::printf("%s\n", text.c_str());
  std::fflush(stdout);
  g_jsonPrinted = true;
}

void PrintJsonError(const std::string& msg) {
  if (!g_json || g_jsonPrinted) return;
  PrintJson(nlohmann::json{{"status", "error"}, {"message", msg}}.dump(
      2, ' ', false, nlohmann::json::error_handler_t::replace));
}

int BadInput(const std::string& msg) {
  std::fprintf(stderr, "ostravel-cli: %s\n", msg.c_str());
  PrintJsonError(msg);
  return kExitBadInput;
}

int RunCrashTestCommand(const std::vector<std::string>& args);

}  // namespace ostravel::cli

namespace {

// The engine's flags for the crash log (inside the crash handler).
[[maybe_unused]] void EngineCrashInfo(ostravel::TCrashExtendedInfo& info) {
  ostravel::FillEngineCrashInfo(info);
}

// Each search thread gets its alternate signal stack, so that a stack
// overflow there is logged too.
[[maybe_unused]] void PrepareEngineThread() {
  ostravel::PrepareThreadForCrashHandler();
}

// The crash handler, unless UseSystemCrashHandler leaves crashes to the
// system. Sanitizer builds keep their own reports.
void InstallCrashHandlerUnlessDisabled() {
#ifndef OSTRAVEL_SANITIZED
  using namespace ostravel;
  try {
    TIniFile ini;
    ini.Load(OptionsFilePath());
    if (ini.GetInt(kSettingsSection, "UseSystemCrashHandler", 0) != 0) return;
  } catch (const std::exception&) {
    // An unreadable options file is reported by the commands that need it.
  }
  TCrashHandlerOptions options;
  options.logFolder = FileLocations().dataFolder.string();
  options.stderrNote = "ostravel-cli: crashed; crash log written to";
  InstallCrashHandler(options);
  AddCrashInfoProvider(EngineCrashInfo);
  SetEngineThreadStartHook(PrepareEngineThread);
#endif
}

void PrintUsage(FILE* out) {
  auto cmds = ostravel::cli::Commands();
  std::sort(cmds.begin(), cmds.end(),
            [](const auto& a, const auto& b) { return std::string(a.name) < b.name; });
  std::fprintf(out,
               "Ostravel " OSTRAVEL_VERSION
               " - solver of orthodox directmate problems\n\n"
               "Usage: ostravel-cli <command> [options]   (ostravel-cli <command> --help for details)\n\n"
               "Commands:\n");
  for (const auto& c : cmds) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
  std::fprintf(out,
               "\nOptions:\n"
               "  -h, --help     print this help\n"
               "  --version      print the version\n"
               "\nExit codes: 0 done, 1 bad input (message on stderr), 2 failure, 130 stopped by Ctrl-C.\n");
}

}  // namespace

int main(int argc, char** argv) {
  using namespace ostravel::cli;
  if (argc < 2) {
    PrintUsage(stderr);
    return kExitBadInput;
  }
  std::string name = argv[1];
  if (name == "--help" || name == "-h" || name == "help") {
    PrintUsage(stdout);
    return kExitOk;
  }
  if (name == "--version") {
    std::printf("ostravel-cli " OSTRAVEL_VERSION "\n");
    return kExitOk;
  }
  std::vector<std::string> args(argv + 2, argv + argc);
  SetJsonOutput(std::any_of(args.begin(), args.end(),
                            [](const std::string& a) { return a == "--json" || a == "--json-lines"; }));
  InstallCrashHandlerUnlessDisabled();
  if (name == "crash-test") return RunCrashTestCommand(args);
  for (const auto& c : Commands()) {
    if (name == c.name) {
      try {
        return c.run(args);
      } catch (const std::exception& e) {
        std::fprintf(stderr, "ostravel-cli: %s\n", e.what());
        PrintJsonError(e.what());
        return kExitFailure;
      }
    }
  }
  std::fprintf(stderr, "ostravel-cli: unknown command '%s'\n\n", name.c_str());
  PrintUsage(stderr);
  return kExitBadInput;
}
