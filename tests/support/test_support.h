#pragma once
// Helpers shared by the test programs.
#include <string>

namespace ostravel::test {

// Path of a file in ../shared/data (the reference data beside the repository).
std::string SharedData(const std::string& name);

// Path of a file in the repository (for example "data/sample_problems.cp").
std::string SourcePath(const std::string& name);

// A fresh empty folder below the system's temporary folder, removed at exit.
std::string MakeTempDir();

}  // namespace ostravel::test
