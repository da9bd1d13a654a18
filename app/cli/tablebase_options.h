#pragma once
// The online tablebase flags of the solving commands:
//   --no-tablebase        no lookups at all
//   --tablebase-url URL   ask this address instead of the setting TablebaseUrl
#include <string>
#include <vector>

#include "engine/tablebase_session.h"

namespace ostravel::cli {

struct TTablebaseOptions : TTablebaseChoice {
  // Removes the flags above from args. Returns an empty string, or what is wrong.
  std::string Consume(std::vector<std::string>& args);
  static const char* HelpText();
};

// Prints the lines of a tablebase session (its notes and figures) on stderr.
void PrintTablebaseLines(const std::vector<std::string>& lines);

}  // namespace ostravel::cli
