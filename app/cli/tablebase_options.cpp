#include "tablebase_options.h"

#include <cstdio>

namespace ostravel::cli {

std::string TTablebaseOptions::Consume(std::vector<std::string>& args) {
  std::vector<std::string> rest;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--no-tablebase") {
      off = true;
    } else if (args[i] == "--tablebase-url") {
      if (i + 1 >= args.size() || args[i + 1].empty()) return "--tablebase-url needs an address";
      url = args[++i];
      if (url.back() != '/') url += '/';
    } else {
      rest.push_back(args[i]);
    }
  }
  args = std::move(rest);
  return {};
}

const char* TTablebaseOptions::HelpText() {
  return "  --no-tablebase          do not ask the online tablebase\n"
         "  --tablebase-url URL     address of the tablebase service (default: the setting\n"
         "                          TablebaseUrl, https://tablebase.lichess.ovh/)\n"
         "The tablebase is asked about positions with at most 7 men at the White moves of\n"
         "the first LichessLevels levels (default 1: the root); its answers are kept in\n"
         "SavedTmpSyzygyData/<position id>.lichess in the data folder.\n";
}

void PrintTablebaseLines(const std::vector<std::string>& lines) {
  for (const std::string& l : lines) std::fprintf(stderr, "%s\n", l.c_str());
}

}  // namespace ostravel::cli
