#pragma once
// The online tablebase in the solving commands:
//   --no-tablebase        no lookups at all
//   --tablebase-url URL   ask this address instead of the setting TablebaseUrl
// One connection serves the whole command, so a service that cannot be
// reached costs one timeout in all; each problem has its own table and
// ".lichess" cache file.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "engine/engine_run.h"

namespace ostravel {
struct TSettings;
class HTTPConnect;
class CLiChessHTTP;
class TLiChessInstanceLock;
class TLiChessTable;
class TTablebaseProbe;
}  // namespace ostravel

namespace ostravel::cli {

struct TTablebaseOptions {
  bool off = false;
  std::string url;  // empty: the setting

  // Removes the flags above from args. Returns an empty string, or what is wrong.
  std::string Consume(std::vector<std::string>& args);
  static const char* HelpText();
};

class TTablebaseSession {
 public:
  TTablebaseSession(const TTablebaseOptions& options, const TSettings& settings);
  ~TTablebaseSession();

  // Gives a mate task's request a probe on the problem's table (loaded from
  // its cache file; the file's reports go to stderr). Nothing when lookups
  // are off (the option, or LichessLevels below 1).
  void Attach(TSolveRequest& r);
  // After the run: the reports of the lookups and a line of figures, on stderr.
  void Conclude();

 private:
  bool on_ = false;
  bool warnOnRepetition_ = false;
  std::unique_ptr<HTTPConnect> connection_;
  std::unique_ptr<CLiChessHTTP> client_;
  std::unique_ptr<TLiChessInstanceLock> instance_;
  std::unique_ptr<TLiChessTable> table_;
  std::unique_ptr<TTablebaseProbe> probe_;
};

}  // namespace ostravel::cli
