// ostravel-cli: the command-line front end. It only parses arguments and
// prints; all work is done by the core library.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "command.h"

namespace ostravel::cli {

std::vector<Command>& MutableCommands() {
  static std::vector<Command> cmds;
  return cmds;
}

void RegisterCommand(const Command& cmd) { MutableCommands().push_back(cmd); }

const std::vector<Command>& Commands() { return MutableCommands(); }

bool WantsHelp(const std::vector<std::string>& args) {
  return std::any_of(args.begin(), args.end(), [](const std::string& a) { return a == "--help" || a == "-h"; });
}

int BadInput(const std::string& msg) {
  std::fprintf(stderr, "ostravel-cli: %s\n", msg.c_str());
  return kExitBadInput;
}

}  // namespace ostravel::cli

namespace {

void PrintUsage(FILE* out) {
  auto cmds = ostravel::cli::Commands();
  std::sort(cmds.begin(), cmds.end(),
            [](const auto& a, const auto& b) { return std::string(a.name) < b.name; });
  std::fprintf(out,
               "Ostravel " OSTRAVEL_VERSION " - solver of orthodox directmate problems\n\n"
               "Usage: ostravel-cli <command> [options]   (ostravel-cli <command> --help for details)\n\n"
               "Commands:\n");
  for (const auto& c : cmds) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
  std::fprintf(out,
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
  for (const auto& c : Commands()) {
    if (name == c.name) {
      try {
        return c.run(args);
      } catch (const std::exception& e) {
        std::fprintf(stderr, "ostravel-cli: %s\n", e.what());
        return kExitFailure;
      }
    }
  }
  std::fprintf(stderr, "ostravel-cli: unknown command '%s'\n\n", name.c_str());
  PrintUsage(stderr);
  return kExitBadInput;
}
