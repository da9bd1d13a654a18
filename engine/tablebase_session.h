#pragma once
// The online tablebase for the runs of one front end (a command, a window):
// one connection for all of them, so a service that cannot be reached costs
// one timeout in all, and for each problem its own table and ".lichess"
// cache file. Reports come back as lines; the front end shows them.
#include <memory>
#include <string>
#include <vector>

#include "engine/solve_request.h"

namespace ostravel {

struct TSettings;
class HTTPConnect;
class CLiChessHTTP;
class TLiChessInstanceLock;
class TLiChessTable;
class TTablebaseProbe;

struct TTablebaseChoice {
  bool off = false;
  std::string url;  // empty: the setting TablebaseUrl
};

class TTablebaseSession {
 public:
  // Reports of the start (a second instance, no cache) go to notes.
  TTablebaseSession(const TTablebaseChoice& choice, const TSettings& settings,
                    std::vector<std::string>* notes);
  ~TTablebaseSession();
  TTablebaseSession(const TTablebaseSession&) = delete;
  TTablebaseSession& operator=(const TTablebaseSession&) = delete;

  bool On() const { return on_; }
  // Gives a mate task's request a probe on the problem's table, loaded from
  // its cache file (the file's reports go to notes). Nothing when lookups are
  // off (the choice, or LichessLevels below 1). One request at a time: the
  // probe of the previous one is dropped.
  void Attach(TSolveRequest& r, std::vector<std::string>* notes);
  // After the run: the lookups' reports and a line of figures.
  std::vector<std::string> Conclude();

 private:
  bool on_ = false;
  bool warnOnRepetition_ = false;
  std::unique_ptr<HTTPConnect> connection_;
  std::unique_ptr<CLiChessHTTP> client_;
  std::shared_ptr<const TLiChessInstanceLock> instance_;
  std::unique_ptr<TLiChessTable> table_;
  std::unique_ptr<TTablebaseProbe> probe_;
};

}  // namespace ostravel
