#pragma once
// Reader of tab-separated tables of problems with known keys (columns id, fen,
// n, keys and optionally complete, source, note), as used for regression and
// speed runs.
#include <string>
#include <vector>

namespace ostravel {

struct TReferenceProblem {
  std::string id;
  std::string fen;
  int moves = 0;
  std::vector<std::string> keys;  // UCI text ("d1h5", "e7e8q", "e1g1"); empty: no solution
  bool complete = true;           // the key set is known to be complete
  std::string source;
  double referenceSeconds = -1;  // column reference_s: another solver's CPU seconds (-1: none)
  int lineNo = 0;
};

// Reads a table; lines starting with '#' and the header line are skipped.
// Throws std::runtime_error when the file cannot be read or a row is malformed.
std::vector<TReferenceProblem> ReadReferenceTable(const std::string& path);

}  // namespace ostravel
