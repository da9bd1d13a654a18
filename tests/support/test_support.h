#pragma once
// Helpers shared by the test programs.
#include <string>

#include "chess/board.h"

namespace ostravel::test {

// Path of a file in ../shared/data (the reference data beside the repository).
std::string SharedData(const std::string& name);

// Path of a file in the repository (for example "data/sample_problems.cp").
std::string SourcePath(const std::string& name);

// A fresh empty folder below the system's temporary folder, removed at exit.
std::string MakeTempDir();

// A fresh data folder for OSTRAVEL_HOME whose options.ini turns the online
// tablebase off: a test never reaches beyond this machine.
std::string MakeOfflineHome();

// Sets OSTRAVEL_HOME to a fresh offline data folder (MakeOfflineHome) and
// returns it, so that nothing touches the real data folder.
std::string UseFreshHome();

// The whole file as bytes in a string; empty when it cannot be read.
std::string ReadTextFile(const std::string& path);
// Writes text as the whole file.
void WriteTextFile(const std::string& path, const std::string& text);

// The command-line program built beside the test programs' folder; empty
// when it is not built.
std::string CliProgramPath();

// The text of the ChessException that f throws, or "(no exception)".
template <class F>
std::string MessageOf(F&& f) {
  try {
    f();
  } catch (const ChessException& e) {
    return e.what();
  }
  return "(no exception)";
}

}  // namespace ostravel::test
