#include "solve_session.h"

#include <QMetaObject>
#include <algorithm>
#include <chrono>
#include <future>

#include "config/settings.h"

namespace ostravel::gui {

namespace {
QString Q(const std::string& s) {
  return QString::fromStdString(s);
}
}  // namespace

TSolveSession::TSolveSession(const TProblem& problem, int problemNumber, QObject* parent)
    : QObject(parent), problem_(problem), number_(problemNumber) {
  timer_.setInterval(200);
  connect(&timer_, &QTimer::timeout, this, &TSolveSession::Poll);
}

TSolveSession::~TSolveSession() {
  closing_->store(true);
  timer_.stop();
  if (running_) {
    // The stop lands within moments; the callbacks only post events, and
    // those addressed to this object are dropped with it.
    engine_.RequestStop();
    engine_.Wait();
  }
}

QString TSolveSession::Start(TSolveRequest request, TEngineTask task,
                             std::shared_ptr<TAggregatedTemporaryChessboardRegister> loadedRegister) {
  request_ = std::move(request);
  task_ = task;
  std::vector<std::string> notes;
  runRegister_.Prepare(problem_, task, std::move(loadedRegister), request_, notes);
  // The online tablebase answers at the first levels of a mate search.
  if (task == TEngineTask::kMate)
    tablebase_ = std::make_unique<TTablebaseSession>(TTablebaseChoice{}, Settings(), &notes);
  AttachProbes(probes_, request_, globalRegister_.get(), tablebase_.get(), &notes);
  for (const auto& n : notes) Append(Q(n));

  TEngineCallbacks cb;
  cb.onMessage = [this](const TEngineMessage& m) {
    QMetaObject::invokeMethod(
        this, [this, m] { OnMessage(m); }, Qt::QueuedConnection);
  };
  cb.onSolution = [this](const TSolution& s) {
    // Called under the search's lock: only queue.
    QMetaObject::invokeMethod(
        this, [this, s] { OnSolution(s); }, Qt::QueuedConnection);
  };
  cb.onEvent = [this](const TEngineEvent& e) {
    // The register's reports belong in the run's log beside the engine's texts.
    if (e.kind != TEngineEvent::kRegisterLoaded && e.kind != TEngineEvent::kRegisterSaved &&
        e.kind != TEngineEvent::kRegisterWarning && e.kind != TEngineEvent::kAutoSaved)
      return;
    const bool autoSaved = e.kind == TEngineEvent::kAutoSaved;
    const QString text = Q(e.text);
    QMetaObject::invokeMethod(
        this,
        [this, autoSaved, text] { Append(autoSaved ? tr("Register auto-saved to %1").arg(text) : text); },
        Qt::QueuedConnection);
  };
  cb.onEnd = [this](const TSolveResult& r, const std::string& text) {
    QMetaObject::invokeMethod(
        this, [this, r, text] { OnEnd(r, text); }, Qt::QueuedConnection);
  };
  auto closing = closing_;
  cb.onThreadProposal = [this, closing](int n, const std::string& question) {
    // The question is asked on the GUI thread; the engine waits for the
    // answer but gives up (no) when the window goes away meanwhile.
    auto promise = std::make_shared<std::promise<bool>>();
    std::future<bool> answer = promise->get_future();
    const QString q = Q(question);
    QMetaObject::invokeMethod(
        this, [this, promise, n, q] { promise->set_value(answer_ ? answer_(n, q) : false); },
        Qt::QueuedConnection);
    while (answer.wait_for(std::chrono::milliseconds(100)) != std::future_status::ready) {
      if (closing->load()) return false;
    }
    return answer.get();
  };

  std::string refusal;
  try {
    refusal = engine_.Start(request_, std::move(cb), task);
  } catch (const std::exception& e) {
    refusal = e.what();
  }
  if (!refusal.empty()) {
    ended_ = true;
    result_.status = TRunStatus::kRefused;
    result_.message = refusal;
    return Q(refusal);
  }
  running_ = true;
  rateClock_.start();
  timer_.start();
  return {};
}

void TSolveSession::Pause(bool paused) {
  if (!running_) return;
  paused_ = paused;
  engine_.SetPaused(paused);
  emit progress();
}

bool TSolveSession::Control(TManualControl c, const TMove* target) {
  if (!running_) return false;
  return engine_.Control(c, target);
}

bool TSolveSession::PauseThread(int index, bool paused) {
  if (!running_ || !engine_.PauseThread(index, paused)) return false;
  auto it = std::find(pausedThreads_.begin(), pausedThreads_.end(), index);
  if (paused && it == pausedThreads_.end()) pausedThreads_.push_back(index);
  if (!paused && it != pausedThreads_.end()) pausedThreads_.erase(it);
  return true;
}

bool TSolveSession::ThreadPaused(int index) const {
  return std::find(pausedThreads_.begin(), pausedThreads_.end(), index) != pausedThreads_.end();
}

void TSolveSession::Stop() {
  if (!running_) return;
  engine_.RequestStop();
}

QString TSolveSession::StatusText() const {
  if (running_) return paused_ ? tr("Paused") : tr("Running");
  if (!ended_) return {};
  switch (result_.status) {
    case TRunStatus::kCompleted:
      return tr("Completed");
    case TRunStatus::kStopped:
      return tr("Stopped");
    case TRunStatus::kRefused:
      return tr("Refused");
    case TRunStatus::kFailed:
      return tr("Failed");
  }
  return {};
}

void TSolveSession::Append(const QString& line) {
  log_ += line;
  if (!line.endsWith('\n')) log_ += '\n';
  emit logAppended(line);
}

void TSolveSession::OnMessage(const TEngineMessage& m) {
  switch (m.kind) {
    case TEngineMessage::kStatus:
      Append(Q(m.text));
      emit statusMessage(Q(m.text));
      break;
    case TEngineMessage::kInfo:
      Append(Q(m.text));
      break;
    case TEngineMessage::kWarning:
    case TEngineMessage::kError:
      Append(Q(m.text));
      emit warning(Q(m.title), Q(m.text));
      break;
  }
}

void TSolveSession::OnSolution(const TSolution& s) {
  solutions_.push_back(s);
  emit solutionFound();
}

void TSolveSession::OnEnd(const TSolveResult& r, const std::string& endText) {
  // onEnd has run on the engine's thread; join it (returns at once).
  engine_.Wait();
  timer_.stop();
  result_ = r;
  // The result's tree is the complete one (variations explained at the end).
  solutions_ = r.solutions;
  endText_ = Q(endText);
  snapshot_ = engine_.Snapshot();
  // The figure of the whole run: one that ends before the first poll has no other.
  if (snapshot_.seconds > 0) nodesPerSecond_ = static_cast<double>(snapshot_.nodes) / snapshot_.seconds;
  running_ = false;
  paused_ = false;
  ended_ = true;
  std::vector<std::string> notes;
  runRegister_.Conclude(r, notes);
  if (tablebase_)
    for (std::string& line : tablebase_->Conclude()) notes.push_back(std::move(line));
  for (const auto& n : notes) Append(Q(n));
  Append(endText_);
  if (globalRegister_) Append(Q(GlobalRegisterNotice(*globalRegister_)));
  emit ended();
}

void TSolveSession::Poll() {
  if (!running_) return;
  snapshot_ = engine_.Snapshot();
  const double dt = rateClock_.restart() / 1000.0;
  if (dt > 0 && snapshot_.nodes >= lastNodes_)
    nodesPerSecond_ = paused_ ? 0 : static_cast<double>(snapshot_.nodes - lastNodes_) / dt;
  lastNodes_ = snapshot_.nodes;
  emit progress();
}

}  // namespace ostravel::gui
