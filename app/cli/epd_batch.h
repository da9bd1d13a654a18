#pragma once
// `solve --epd FILE`: a batch of EPD positions with "dm N", each solved for
// every key and checked against its claims (dm as the shortest mate, bm as
// keys), one line per position and a summary.
#include <string>
#include <vector>

namespace ostravel::cli {

// True when the arguments ask for an EPD batch (they hold --epd).
bool IsEpdBatch(const std::vector<std::string>& args);
// Runs the batch; returns the exit code.
int RunEpdBatch(const std::vector<std::string>& args);
// The lines of `solve --help` describing the batch.
const char* EpdBatchHelp();

}  // namespace ostravel::cli
