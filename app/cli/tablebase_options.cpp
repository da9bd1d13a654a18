#include "tablebase_options.h"

#include <filesystem>

#include "config/paths.h"
#include "config/settings.h"
#include "engine/tablebase_probe.h"
#include "tablebase/lichess_client.h"

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

TTablebaseSession::TTablebaseSession(const TTablebaseOptions& options, const TSettings& settings) {
  on_ = !options.off && settings.LichessLevels >= 1;
  if (!on_) return;
  warnOnRepetition_ = settings.WarningOnLichessDataRepetition != 0;
  connection_ = std::make_unique<HTTPConnect>(
      THttpOptions{options.url.empty() ? settings.TablebaseUrl : options.url,
                   settings.TablebaseConnectTimeoutMs, settings.TablebaseTimeoutMs});
  client_ = std::make_unique<CLiChessHTTP>(*connection_, settings.LichessLevels);
  try {
    instance_ = std::make_unique<TLiChessInstanceLock>(SavedTmpSyzygyFolder());
    if (!instance_->First() && settings.WarnAboutSecondInstanceOfProgram >= 2)
      std::fprintf(stderr, "%s\n", kSecondInstanceNote);
  } catch (const std::filesystem::filesystem_error& e) {
    std::fprintf(stderr, "Warning: tablebase answers are not cached: %s\n", e.what());
  }
}

TTablebaseSession::~TTablebaseSession() = default;

void TTablebaseSession::Attach(TSolveRequest& r) {
  if (!on_ || !r.whiteToMove) return;
  probe_.reset();
  std::filesystem::path file;
  if (instance_) file = LiChessCacheFile(SavedTmpSyzygyFolder(), r.position.initialBoard);
  table_ = std::make_unique<TLiChessTable>(file, !instance_ || !instance_->First());
  for (const TLiChessReport& rep : table_->Load(warnOnRepetition_))
    std::fprintf(stderr, "%s: %s\n", rep.Title(), rep.text.c_str());
  probe_ = std::make_unique<TTablebaseProbe>(*client_, *table_);
  r.probe = probe_.get();
}

void TTablebaseSession::Conclude() {
  if (!probe_) return;
  for (const TLiChessReport& rep : table_->TakeReports())
    std::fprintf(stderr, "%s: %s\n", rep.Title(), rep.text.c_str());
  if (probe_->Answers() || connection_->RequestCount())
    std::fprintf(stderr, "Tablebase: %ld answer(s) used, %ld request(s) to %s%s\n", probe_->Answers(),
                 connection_->RequestCount(), connection_->Options().baseUrl.c_str(),
                 connection_->IsOpen() ? "" : " (No internet connection)");
}

}  // namespace ostravel::cli
