#pragma once
// Sub-commands of ostravel-cli. Each command lives in its own cmd_*.cpp and
// registers itself with a static OSTRAVEL_COMMAND object, so adding a command
// touches no other file.
#include <string>
#include <vector>

namespace ostravel::cli {

// Exit codes that scripts can rely on.
enum ExitCode : int {
  kExitOk = 0,         // the work completed
  kExitBadInput = 1,   // bad arguments or input; the message went to stderr
  kExitFailure = 2,    // the work ran and failed (I/O error, regression failure...)
  kExitStopped = 130,  // stopped by the user (Ctrl-C); partial results were printed
};

using CommandFn = int (*)(const std::vector<std::string>& args);

struct Command {
  const char* name;
  const char* summary;
  CommandFn run;
};

void RegisterCommand(const Command& cmd);
const std::vector<Command>& Commands();

struct CommandRegistrar {
  CommandRegistrar(const char* name, const char* summary, CommandFn fn) {
    RegisterCommand(Command{name, summary, fn});
  }
};

#define OSTRAVEL_COMMAND_CAT2(a, b) a##b
#define OSTRAVEL_COMMAND_CAT(a, b) OSTRAVEL_COMMAND_CAT2(a, b)
#define OSTRAVEL_COMMAND(name, summary, fn) \
  static ::ostravel::cli::CommandRegistrar OSTRAVEL_COMMAND_CAT(g_cmd_, __LINE__)(name, summary, fn)

// True when args holds "--help" or "-h".
bool WantsHelp(const std::vector<std::string>& args);

// Prints "ostravel-cli: <msg>" to stderr and returns kExitBadInput. Under
// --json (or --json-lines) the refusal is also printed on stdout as
// {"status":"error","message":...}, unless the command's own JSON is out.
int BadInput(const std::string& msg);

// Set by main from the command's arguments: the output is JSON.
void SetJsonOutput(bool json);
// Prints a JSON document (or line) on stdout; after it no error object is
// added, so a reader always finds exactly the documents it expects.
void PrintJson(const std::string& text);
// The error object of a failure that ends a JSON command (see BadInput).
void PrintJsonError(const std::string& msg);

}  // namespace ostravel::cli
