#pragma once
// The main window: the open collection and its problem list, the board and
// its editor, the solving controls, the running analyses (up to four at
// once, each with its own status), the solution tree and the registers.
#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <QTranslator>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "engine/engine.h"
#include "engine/heuristics.h"
#include "platform/file_watcher.h"
#include "platform/forced_close.h"
#include "problems/problem.h"

class QAction;
class QSocketNotifier;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QMenu;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QSplitter;
class QTableWidget;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;
class QGroupBox;

namespace ostravel {
class TAggregatedTemporaryChessboardRegister;
class CGlobalRegisterProbe;
}  // namespace ostravel

namespace ostravel::gui {

class TBoardWidget;
class TPiecepalette;
class TSolveSession;

// Where the translations (.qm) are looked for.
QStringList TranslationFolders();

class TMainWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit TMainWindow(QWidget* parent = nullptr);
  ~TMainWindow() override;

  // Quiet: message boxes are not shown but kept in LastMessage() (tests).
  void SetQuiet(bool q) { quiet_ = q; }
  const QString& LastMessage() const { return lastMessage_; }
  // Answers the window's questions instead of a box (tests): gets the title
  // and text, returns a QMessageBox::StandardButton.
  using TAnswerHook = std::function<int(const QString& title, const QString& text)>;
  void SetAnswerHook(TAnswerHook h) { answerHook_ = std::move(h); }

  // Collection.
  bool OpenCollection(const QString& path);
  bool SaveCollection(const QString& path);
  // The current problem's diagram: PNG for a ".png" path, else SVG.
  bool ExportDiagram(const QString& path);
  void NewCollection();
  const std::vector<TProblem>& Problems() const { return problems_; }
  int CurrentProblem() const { return current_; }
  void SelectProblem(int index);
  const QString& CollectionPath() const { return path_; }
  // Another program changed the open collection: warns, and with no unsaved
  // changes asks whether to reload (Yes reloads). Called by the file watcher.
  void OnCollectionChangedOutside();
  bool Modified() const { return modified_; }

  // Solving the current problem.
  bool Solve();
  // The selection of heuristics for the next solve (modal); false when
  // cancelled. The settings it replaces become its "Previous settings".
  bool EditHeuristics();
  const THeuristicState& HeuristicState() const { return heuristicState_; }
  bool RelaxHeuristics() const { return relaxHeuristics_; }
  // Resumes an analysis cut off by a forced close: the problem joins the
  // collection and its run goes on with the saved register.
  bool ResumeAnalysis(const TProblem& problem, TSolveRequest request);
  // Offers each auto-save cut off by a forced close, one by one: Yes resumes
  // it, No leaves it, Cancel sets it aside. Returns the number resumed.
  int OfferForcedCloseRecovery(const std::vector<TForcedCloseAutoSave>& autoSaves);
  // The menu item that crashes on purpose (AddTestCrashHandlerMenuItem).
  void AddCrashTestItem();
  TSolveSession* SessionOf(int index) const;
  TSolveSession* CurrentSession() const;
  int RunningCount() const;
  // Manual control of the current run's first level and the pause of one of
  // its search threads; false when there is nothing to act on or the setting
  // EnableManualEngineControl is off. The engine's warning is shown once
  // before the first use.
  bool ManualControl(TManualControl c, const TMove* target = nullptr);
  bool PauseThread(int index, bool paused);
  // The root's legal moves (UCI), the choice of "Skip to...".
  QStringList RootMoves() const;
  bool SkipTo(const QString& uciMove);
  // Stores the keys of the current problem's last run as a variant, as the
  // command line's --store does (TProblem::StoreFoundKeys).
  bool StoreSolution();

  // Registers: a file read for the next analysis; the register at hand (the
  // current problem's last run, else the one read) saved or pinned to the
  // current problem (the collection is saved first).
  bool ReadRegisterFrom(const QString& path);
  bool SaveRegisterTo(const QString& path);
  bool PinRegisterToProblem();
  bool UnpinRegister();
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> RegisterAtHand() const;
  const QString& LoadReport() const { return loadReport_; }

  // Language: 0 Polish, 1 English, 2 Ukrainian.
  void SetLanguage(int languageId);
  int Language() const { return language_; }

  // Parts the tests drive.
  TBoardWidget* Board() const { return board_; }
  QTreeWidget* SolutionTree() const { return tree_; }
  QTableWidget* ProblemTable() const { return table_; }
  QAction* Action(const char* name) const;
  QComboBox* ModeBox() const { return modeBox_; }
  QComboBox* SideBox() const { return sideBox_; }
  QLineEdit* FenEdit() const { return fenEdit_; }
  QSpinBox* StipulationBox() const { return stipulation_; }
  QString CurrentFen() const;
  bool SetFen(const QString& fen);

 protected:
  void closeEvent(QCloseEvent* e) override;
  void changeEvent(QEvent* e) override;
  bool eventFilter(QObject* watched, QEvent* e) override;

 private:
  void BuildActions();
  void BuildMenus();
  void BuildWidgets();
  void RetranslateUi();
  QAction* MakeAction(const char* name, const QKeySequence& key = {});

  void Message(const QString& title, const QString& text, bool error = false);
  bool Ask(const QString& title, const QString& text);
  // Yes/No/Cancel; the answer as a QMessageBox::StandardButton.
  int AskYesNoCancel(const QString& title, const QString& text, bool withCancel);
  void SkipToDialog();
  void PauseThreadDialog();

  // The problem list and the editors follow problems_[current_].
  void RefreshTable();
  void ScrollToCurrent();
  void RefreshRow(int row);
  void LoadEditors();
  void LoadBoardFromProblem();
  void EnsureProblem();
  void OnBoardEdited();
  void OnRightsEdited();
  void OnDetailsEdited();
  void MarkModified();
  void UpdateTitle();
  void UpdateActions();
  // The open collection is watched for other programs' writes.
  void WatchCollection();
  void OnWatcherReadable();
  void DropWatchNotifier();

  // Problem list operations.
  void AddProblem();
  void DuplicateProblem();
  void DeleteProblem();
  void MoveProblem(int delta);

  // Collection files.
  void OpenDialog();
  void OpenSample();
  bool SaveCurrent();
  bool SaveAsDialog();
  bool MaybeSave();
  void ExportDiagramDialog();

  // Solving.
  bool StartSession(TSolveRequest r, TEngineTask task,
                    std::shared_ptr<TAggregatedTemporaryChessboardRegister> loaded);
  void PauseCurrent();
  void StopCurrent();
  void ShowSession(TSolveSession* s);
  void OnSessionProgress(TSolveSession* s);
  void OnSessionEnded(TSolveSession* s);
  void FillTree(TSolveSession* s);
  void OnTreeItem(QTreeWidgetItem* item);
  void CopySolution();
  void ShowManualControlWarning();

  void ReadRegisterDialog();
  void SaveRegisterDialog();
  void ShowRegisterStatistics();

  void OptionsDialog();
  void About();
  void RestoreLayout();
  void SaveLayout();

  std::vector<TProblem> problems_;
  std::vector<uint32_t> uids_;  // one per problem: the run's id, kept when problems move
  uint32_t nextUid_ = 1;
  int current_ = -1;
  QString path_;
  bool modified_ = false;
  bool loading_ = false;  // editors being filled: their signals are not edits
  bool quiet_ = false;
  QString lastMessage_;
  TAnswerHook answerHook_;
  bool manualWarned_ = false;
  int language_ = 1;
  QTranslator translator_;
  QTranslator qtTranslator_;
  std::map<uint32_t, TSolveSession*> sessions_;
  QPointer<TSolveSession> shown_;
  std::shared_ptr<TAggregatedTemporaryChessboardRegister> loadedRegister_;
  // The heuristics of the next solve; until the user chose some, the
  // request's own stand.
  THeuristicState heuristicState_;
  std::optional<THeuristicState> previousHeuristics_;
  bool relaxHeuristics_ = true;
  bool heuristicsChosen_ = false;
  // The precalculated data of the settings, opened at the first solve and
  // again after the settings changed.
  std::shared_ptr<CGlobalRegisterProbe> globalRegister_;
  bool globalRegisterOpened_ = false;
  QString loadReport_;
  bool closing_ = false;
  std::unique_ptr<TFileWatcher> watcher_;
  QSocketNotifier* watchNotifier_ = nullptr;

  std::map<std::string, QAction*> actions_;
  QMenu* fileMenu_ = nullptr;
  QMenu* positionMenu_ = nullptr;
  QMenu* problemMenu_ = nullptr;
  QMenu* solveMenu_ = nullptr;
  QMenu* manualMenu_ = nullptr;
  QMenu* registerMenu_ = nullptr;
  QMenu* languageMenu_ = nullptr;
  QMenu* helpMenu_ = nullptr;

  QSplitter* splitter_ = nullptr;
  QTableWidget* table_ = nullptr;
  QGroupBox* detailsBox_ = nullptr;
  QLabel* stipulationLabel_ = nullptr;
  QLabel* descriptionLabel_ = nullptr;
  QLabel* tagsLabel_ = nullptr;
  QLabel* sortLabel_ = nullptr;
  QSpinBox* stipulation_ = nullptr;
  QLineEdit* description_ = nullptr;
  QLineEdit* tags_ = nullptr;
  QLineEdit* sortIndications_ = nullptr;

  TBoardWidget* board_ = nullptr;
  TPiecepalette* palette_ = nullptr;
  QGroupBox* editorBox_ = nullptr;
  QLabel* sideLabel_ = nullptr;
  QComboBox* sideBox_ = nullptr;
  QCheckBox* castle_[4] = {};
  QLabel* epLabel_ = nullptr;
  QComboBox* epBox_ = nullptr;
  QLabel* fenLabel_ = nullptr;
  QLineEdit* fenEdit_ = nullptr;
  QLabel* viewLabel_ = nullptr;
  QString viewedLine_;  // the solution line whose position the board shows
  QPushButton* backButton_ = nullptr;

  QGroupBox* solveBox_ = nullptr;
  QLabel* modeLabel_ = nullptr;
  QComboBox* modeBox_ = nullptr;
  QCheckBox* defence_ = nullptr;
  QLabel* threadsLabel_ = nullptr;
  QSpinBox* threads_ = nullptr;
  QLabel* levelsLabel_ = nullptr;
  QSpinBox* levels_ = nullptr;
  QPushButton* heuristicsButton_ = nullptr;
  QPushButton* solveButton_ = nullptr;
  QPushButton* pauseButton_ = nullptr;
  QPushButton* stopButton_ = nullptr;

  QGroupBox* progressBox_ = nullptr;
  QProgressBar* progress_ = nullptr;
  QLabel* lineLabel_ = nullptr;
  QLabel* figures_ = nullptr;
  QTabWidget* tabs_ = nullptr;
  QTreeWidget* tree_ = nullptr;
  QPlainTextEdit* endText_ = nullptr;
  QPlainTextEdit* log_ = nullptr;
  QPushButton* copyButton_ = nullptr;
  QPushButton* storeButton_ = nullptr;
};

}  // namespace ostravel::gui
