#pragma once
// One problem being solved: the engine run, its register, and the texts and
// figures it reports. The engine calls back on its own threads; every
// callback is queued to the GUI thread, so the slots below run there and the
// window never waits for the engine.
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "engine/global_register_probe.h"
#include "engine/probe_chain.h"
#include "engine/tablebase_session.h"
#include "engine_adapter.h"
#include "problems/problem.h"

namespace ostravel::gui {

class TSolveSession : public QObject {
  Q_OBJECT
 public:
  // Answers the engine's thread-count question on the GUI thread.
  using TProposalAnswer = std::function<bool(int proposedThreads, const QString& question)>;

  TSolveSession(const TProblem& problem, int problemNumber, QObject* parent = nullptr);
  // Stops a run still going and waits for it (the engine's threads never
  // wait for the GUI thread, so this cannot dead-lock).
  ~TSolveSession() override;

  // Starts the run; an empty string, or the refusal text (no run then).
  QString Start(TSolveRequest request, TEngineTask task,
                std::shared_ptr<TAggregatedTemporaryChessboardRegister> loadedRegister);
  void SetProposalAnswer(TProposalAnswer a) { answer_ = std::move(a); }
  // The precalculated data the run asks first (null: none), shared by the
  // window's runs so that their memory limit holds for all of them.
  void SetGlobalRegister(std::shared_ptr<CGlobalRegisterProbe> g) { globalRegister_ = std::move(g); }

  void Pause(bool paused);
  bool Paused() const { return paused_; }
  void Stop();
  bool Running() const { return running_; }
  // Manual control of the first level and the pause of one search thread;
  // false when the run has nothing to act on.
  bool Control(TManualControl c, const TMove* target = nullptr);
  bool PauseThread(int index, bool paused);
  bool ThreadPaused(int index) const;
  int RunningThreads() const { return engine_.RunningThreads(); }
  bool Ended() const { return ended_; }

  const TProblem& Problem() const { return problem_; }
  int ProblemNumber() const { return number_; }
  void SetProblemNumber(int n) { number_ = n; }
  const TSolveRequest& Request() const { return request_; }
  TEngineTask Task() const { return task_; }
  const std::vector<TSolution>& Solutions() const { return solutions_; }
  const TSolveResult& Result() const { return result_; }
  const QString& EndText() const { return endText_; }
  const QString& Log() const { return log_; }
  const TProgressSnapshot& LastSnapshot() const { return snapshot_; }
  // Over the last poll while the run goes on, over the whole run once it ended.
  double NodesPerSecond() const { return nodesPerSecond_; }
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> Register() const { return runRegister_.Register(); }
  // "Running", "Paused", "Completed", "Stopped", "Refused": the status column.
  QString StatusText() const;

 signals:
  void logAppended(const QString& text);
  void statusMessage(const QString& text);
  void warning(const QString& title, const QString& text);
  void solutionFound();
  void progress();
  void ended();

 private:
  void OnMessage(const TEngineMessage& m);
  void OnSolution(const TSolution& s);
  void OnEnd(const TSolveResult& r, const std::string& endText);
  void Poll();
  void Append(const QString& line);

  TProblem problem_;
  int number_;
  TEngine engine_;
  TSolveRequest request_;
  TEngineTask task_ = TEngineTask::kMate;
  TRunRegister runRegister_;
  // The sources of exact answers the run asks, as the command line's solve
  // gives them: the precalculated data, then the online tablebase.
  std::shared_ptr<CGlobalRegisterProbe> globalRegister_;
  std::unique_ptr<TTablebaseSession> tablebase_;
  TProbeChain probes_;
  TProposalAnswer answer_;
  // Raised before the engine is torn down: a pending question is answered no.
  std::shared_ptr<std::atomic<bool>> closing_ = std::make_shared<std::atomic<bool>>(false);
  QTimer timer_;
  bool running_ = false;
  bool ended_ = false;
  bool paused_ = false;
  std::vector<int> pausedThreads_;
  std::vector<TSolution> solutions_;
  TSolveResult result_;
  QString endText_;
  QString log_;
  TProgressSnapshot snapshot_;
  uint64_t lastNodes_ = 0;
  QElapsedTimer rateClock_;
  double nodesPerSecond_ = 0;
};

}  // namespace ostravel::gui
