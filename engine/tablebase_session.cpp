#include "engine/tablebase_session.h"

#include <filesystem>

#include "config/paths.h"
#include "config/settings.h"
#include "engine/tablebase_probe.h"
#include "tablebase/lichess_client.h"

namespace ostravel {

namespace {

void Note(std::vector<std::string>* notes, std::string text) {
  if (notes) notes->push_back(std::move(text));
}

}  // namespace

TTablebaseSession::TTablebaseSession(const TTablebaseChoice& choice, const TSettings& settings,
                                     std::vector<std::string>* notes) {
  on_ = !choice.off && settings.LichessLevels >= 1;
  if (!on_) return;
  warnOnRepetition_ = settings.WarningOnLichessDataRepetition != 0;
  connection_ = std::make_unique<HTTPConnect>(
      THttpOptions{choice.url.empty() ? settings.TablebaseUrl : choice.url,
                   settings.TablebaseConnectTimeoutMs, settings.TablebaseTimeoutMs});
  client_ = std::make_unique<CLiChessHTTP>(*connection_, settings.LichessLevels);
  try {
    instance_ = SharedLiChessInstanceLock(SavedTmpSyzygyFolder());
    if (!instance_->First() && settings.WarnAboutSecondInstanceOfProgram >= 2)
      Note(notes, kSecondInstanceNote);
  } catch (const std::filesystem::filesystem_error& e) {
    Note(notes, std::string("Warning: tablebase answers are not cached: ") + e.what());
  }
}

TTablebaseSession::~TTablebaseSession() = default;

void TTablebaseSession::Attach(TSolveRequest& r, std::vector<std::string>* notes) {
  if (!on_ || !r.whiteToMove) return;
  probe_.reset();
  std::filesystem::path file;
  if (instance_) file = LiChessCacheFile(SavedTmpSyzygyFolder(), r.position.initialBoard);
  table_ = std::make_unique<TLiChessTable>(file, !instance_ || !instance_->First());
  for (const TLiChessReport& rep : table_->Load(warnOnRepetition_))
    Note(notes, std::string(rep.Title()) + ": " + rep.text);
  probe_ = std::make_unique<TTablebaseProbe>(*client_, *table_);
  r.probe = probe_.get();
}

std::vector<std::string> TTablebaseSession::Conclude() {
  std::vector<std::string> lines;
  if (!probe_) return lines;
  for (const TLiChessReport& rep : table_->TakeReports())
    lines.push_back(std::string(rep.Title()) + ": " + rep.text);
  if (probe_->Answers() || connection_->RequestCount())
    lines.push_back("Tablebase: " + std::to_string(probe_->Answers()) + " answer(s) used, " +
                    std::to_string(connection_->RequestCount()) + " request(s) to " +
                    connection_->Options().baseUrl +
                    (connection_->IsOpen() ? "" : " (No internet connection)"));
  return lines;
}

}  // namespace ostravel
