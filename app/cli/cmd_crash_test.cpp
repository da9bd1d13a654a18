// crash-test: crashes on purpose, so that the crash handler and its log can
// be checked from the outside. Not listed among the commands.
#include <cstdio>
#include <string>
#include <vector>

#include "command.h"
#include "platform/crash_trigger.h"

namespace ostravel::cli {

int RunCrashTestCommand(const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::printf(
        "Usage: ostravel-cli crash-test <kind>\n\n"
        "Crashes on purpose to test the crash handler, which writes\n"
        "crash_log_<date>_<time>.log into the data folder (unless the setting\n"
        "UseSystemCrashHandler is on). Kinds: null-write, div-zero, abort, throw,\n"
        "stack-overflow.\n");
    return kExitOk;
  }
  if (args.size() != 1) return BadInput("crash-test needs one kind (see crash-test --help)");
  const auto kind = ParseCrashKind(args[0]);
  if (!kind) return BadInput("unknown crash kind '" + args[0] + "'");
  std::fflush(stdout);
  TriggerCrash(*kind);
}

}  // namespace ostravel::cli
