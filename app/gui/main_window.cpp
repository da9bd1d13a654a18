#include "main_window.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QBuffer>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImage>
#include <QInputDialog>
#include <QLabel>
#include <QLibraryInfo>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QSocketNotifier>
#include <QSpinBox>
#include <QSplitter>
#include <QStatusBar>
#include <QSvgRenderer>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "board_widget.h"
#include "chess/board.h"
#include "chess/fen.h"
#include "chess/notation.h"
#include "config/paths.h"
#include "config/safe_file.h"
#include "config/settings.h"
#include "engine/analysis.h"
#include "engine/autosave.h"
#include "engine/engine.h"
#include "engine/engine_texts.h"
#include "engine/global_register_probe.h"
#include "engine/mate_search.h"
#include "engine/solution_text.h"
#include "engine/threads.h"
#include "engine_adapter.h"
#include "heuristics_dialog.h"
#include "options_dialog.h"
#include "platform/crash_handler.h"
#include "platform/crash_trigger.h"
#include "platform/texts.h"
#include "problems/cp_file.h"
#include "problems/diagram.h"
#include "registers/register_file_pin.h"
#include "registers/temporary_register.h"
#include "solve_session.h"

namespace ostravel::gui {

namespace {

QString Q(const std::string& s) {
  return QString::fromStdString(s);
}

constexpr int kMovesRole = Qt::UserRole + 1;

QByteArray PackMoves(const std::vector<TMove>& moves) {
  QByteArray a(static_cast<int>(moves.size() * sizeof(TMove)), 0);
  if (!moves.empty()) std::memcpy(a.data(), moves.data(), static_cast<size_t>(a.size()));
  return a;
}

std::vector<TMove> UnpackMoves(const QByteArray& a) {
  std::vector<TMove> moves(static_cast<size_t>(a.size()) / sizeof(TMove));
  if (!moves.empty()) std::memcpy(moves.data(), a.data(), moves.size() * sizeof(TMove));
  return moves;
}

const char* const kLanguageCodes[3] = {"pl", "en", "uk"};

// An e.p. square stays only behind the pawn that has just made its double
// step, with the squares it crossed still empty.
bool EpSquareStands(const uint8_t board[64], int ep) {
  if (ep < 0) return true;
  if (RankOf(ep) == 5) return board[ep - 8] == BP && board[ep] == 0 && board[ep + 8] == 0;
  if (RankOf(ep) == 2) return board[ep + 8] == WP && board[ep] == 0 && board[ep - 8] == 0;
  return false;
}

// The sample collection shipped with the program: the data folder's copy,
// made from the installed or the source tree's file when missing.
QString SampleCollectionPath() {
  std::filesystem::path data;
  try {
    data = DataFolder();
  } catch (const std::exception&) {
  }
  const std::filesystem::path own = data / kSampleCollectionFileName;
  std::error_code ec;
  if (!data.empty() && std::filesystem::exists(own, ec)) return Q(own.string());
  const QString exe = QCoreApplication::applicationDirPath();
  const QStringList candidates = {exe + "/../share/ostravel/" + kSampleCollectionFileName,
                                  exe + "/../data/" + kSampleCollectionFileName,
                                  QStringLiteral(OSTRAVEL_SOURCE_DATA "/") + kSampleCollectionFileName};
  for (const QString& c : candidates) {
    if (!QFileInfo::exists(c)) continue;
    if (!data.empty() && std::filesystem::copy_file(c.toStdString(), own, ec)) return Q(own.string());
    return QFileInfo(c).absoluteFilePath();
  }
  return {};
}

// Qt's SVG renderer knows no <pattern>: the diagram's hatching of the dark
// squares becomes the same stripes drawn by a repeating linear gradient
// across the pattern's rotated x axis (its lines are its y axis).
QByteArray SvgForQtRenderer(const std::string& svg) {
  QString text = QString::fromStdString(svg);
  static const QRegularExpression pattern(QStringLiteral(
      R"re(<pattern id="hatch"[^>]*\bwidth="([0-9.]+)".*?stroke-width="([0-9.]+)".*?</pattern>)re"));
  const QRegularExpressionMatch m = pattern.match(text);
  if (!m.hasMatch()) return text.toUtf8();
  const double period = m.captured(1).toDouble(), line = m.captured(2).toDouble();
  if (period <= 0) return text.toUtf8();
  const double half = std::clamp(line / 2 / period, 0.0, 0.5), d = period * std::sqrt(0.5);
  const QString gradient =
      QStringLiteral(
          R"(<linearGradient id="hatch" gradientUnits="userSpaceOnUse" spreadMethod="repeat" x1="0" y1="0" )"
          R"(x2="%1" y2="%1"><stop offset="0" stop-color="#000000"/><stop offset="%2" stop-color="#000000"/>)"
          R"(<stop offset="%2" stop-color="#ffffff"/><stop offset="%3" stop-color="#ffffff"/>)"
          R"(<stop offset="%3" stop-color="#000000"/><stop offset="1" stop-color="#000000"/></linearGradient>)")
          .arg(d)
          .arg(half)
          .arg(1 - half);
  text.replace(m.capturedStart(), m.capturedLength(), gradient);
  return text.toUtf8();
}

}  // namespace

QStringList TranslationFolders() {
  const QString exe = QCoreApplication::applicationDirPath();
  return {exe + "/translations", exe + "/../share/ostravel/translations", QStringLiteral(OSTRAVEL_QM_DIR)};
}

// ---------------------------------------------------------------- set-up

TMainWindow::TMainWindow(QWidget* parent) : QMainWindow(parent) {
  setWindowIcon(QIcon(":/ostravel.svg"));
  BuildActions();
  BuildMenus();
  BuildWidgets();
  language_ = Settings().LanguageId;
  SetLanguage(language_);
  RestoreLayout();
  NewCollection();
  // The user's own collection is opened at start.
  try {
    OpenCollection(Q(EnsureUserCollection().string()));
  } catch (const std::exception& e) {
    statusBar()->showMessage(Q(e.what()));
  }
  UpdateActions();
}

TMainWindow::~TMainWindow() {
  // Sessions stop their runs and wait for them.
  for (auto& [uid, s] : sessions_) delete s;
}

QAction* TMainWindow::MakeAction(const char* name, const QKeySequence& key) {
  auto* a = new QAction(this);
  a->setObjectName(QString::fromLatin1(name));
  if (!key.isEmpty()) a->setShortcut(key);
  actions_[name] = a;
  return a;
}

QAction* TMainWindow::Action(const char* name) const {
  const auto it = actions_.find(name);
  return it == actions_.end() ? nullptr : it->second;
}

void TMainWindow::BuildActions() {
  connect(MakeAction("new", QKeySequence::New), &QAction::triggered, this, [this] {
    if (RunningCount() > 0) {
      Message(tr("Information"), tr("Stop the running analyses before opening another collection."));
      return;
    }
    if (MaybeSave()) NewCollection();
  });
  connect(MakeAction("open", QKeySequence::Open), &QAction::triggered, this, &TMainWindow::OpenDialog);
  connect(MakeAction("openSample"), &QAction::triggered, this, &TMainWindow::OpenSample);
  connect(MakeAction("save", QKeySequence::Save), &QAction::triggered, this, &TMainWindow::SaveCurrent);
  connect(MakeAction("saveAs", QKeySequence("Ctrl+Shift+S")), &QAction::triggered, this,
          &TMainWindow::SaveAsDialog);
  connect(MakeAction("exportDiagram", QKeySequence("Ctrl+E")), &QAction::triggered, this,
          &TMainWindow::ExportDiagramDialog);
  connect(MakeAction("options", QKeySequence("Ctrl+,")), &QAction::triggered, this,
          &TMainWindow::OptionsDialog);
  connect(MakeAction("quit", QKeySequence::Quit), &QAction::triggered, this, &QWidget::close);

  connect(MakeAction("copyFen", QKeySequence("Ctrl+Shift+C")), &QAction::triggered, this,
          [this] { QGuiApplication::clipboard()->setText(CurrentFen()); });
  connect(MakeAction("pasteFen", QKeySequence("Ctrl+Shift+V")), &QAction::triggered, this, [this] {
    const QString text = QGuiApplication::clipboard()->text().trimmed();
    if (!SetFen(text)) Message(tr("Information"), tr("The clipboard holds no FEN: %1").arg(text.left(80)));
  });
  connect(MakeAction("clearBoard"), &QAction::triggered, this, [this] {
    EnsureProblem();
    board_->Clear();
  });
  connect(MakeAction("initialPosition"), &QAction::triggered, this, [this] {
    EnsureProblem();
    board_->SetInitialPosition();
    // The game's start keeps every castling right.
    TProblem& p = problems_[static_cast<size_t>(current_)];
    p.position.rootCastling = CastlingRightsOfBoard(p.position.initialBoard);
    p.position.rootEpSquare = -1;
    p.whiteToMove = true;
    LoadBoardFromProblem();
  });
  auto* flip = MakeAction("flip", QKeySequence("Ctrl+F"));
  flip->setCheckable(true);
  connect(flip, &QAction::toggled, this, [this](bool on) { board_->SetFlipped(on); });

  connect(MakeAction("addProblem", QKeySequence("Ctrl+Shift+N")), &QAction::triggered, this,
          &TMainWindow::AddProblem);
  connect(MakeAction("duplicateProblem", QKeySequence("Ctrl+D")), &QAction::triggered, this,
          &TMainWindow::DuplicateProblem);
  connect(MakeAction("deleteProblem", QKeySequence("Ctrl+Del")), &QAction::triggered, this,
          &TMainWindow::DeleteProblem);
  connect(MakeAction("moveUp", QKeySequence("Ctrl+Up")), &QAction::triggered, this,
          [this] { MoveProblem(-1); });
  connect(MakeAction("moveDown", QKeySequence("Ctrl+Down")), &QAction::triggered, this,
          [this] { MoveProblem(1); });
  connect(MakeAction("storeSolution", QKeySequence("Ctrl+K")), &QAction::triggered, this,
          &TMainWindow::StoreSolution);

  connect(MakeAction("solve", QKeySequence("F5")), &QAction::triggered, this, &TMainWindow::Solve);
  auto* pause = MakeAction("pause", QKeySequence("F6"));
  pause->setCheckable(true);
  connect(pause, &QAction::triggered, this, &TMainWindow::PauseCurrent);
  connect(MakeAction("stop", QKeySequence("F8")), &QAction::triggered, this, &TMainWindow::StopCurrent);
  connect(MakeAction("heuristics"), &QAction::triggered, this, [this] { EditHeuristics(); });
  connect(MakeAction("pauseThread"), &QAction::triggered, this, &TMainWindow::PauseThreadDialog);
  const std::pair<const char*, TManualControl> controls[] = {{"skipCurrent", TManualControl::kSkipCurrent},
                                                             {"skipNext", TManualControl::kSkipNext},
                                                             {"skip5", TManualControl::kSkip5},
                                                             {"swapNext", TManualControl::kSwapWithNext},
                                                             {"shiftLast", TManualControl::kShiftToLast}};
  for (const auto& [name, c] : controls) {
    const TManualControl control = c;
    connect(MakeAction(name), &QAction::triggered, this, [this, control] { ManualControl(control); });
  }
  connect(MakeAction("skipTo"), &QAction::triggered, this, &TMainWindow::SkipToDialog);
  connect(MakeAction("manualWarning"), &QAction::triggered, this, &TMainWindow::ShowManualControlWarning);

  connect(MakeAction("readRegister"), &QAction::triggered, this, &TMainWindow::ReadRegisterDialog);
  connect(MakeAction("saveRegister"), &QAction::triggered, this, &TMainWindow::SaveRegisterDialog);
  connect(MakeAction("pinRegister"), &QAction::triggered, this, &TMainWindow::PinRegisterToProblem);
  connect(MakeAction("unpinRegister"), &QAction::triggered, this, &TMainWindow::UnpinRegister);
  connect(MakeAction("registerStatistics"), &QAction::triggered, this, &TMainWindow::ShowRegisterStatistics);

  auto* group = new QActionGroup(this);
  for (int id = 0; id < 3; ++id) {
    const std::string name = std::string("language_") + kLanguageCodes[id];
    auto* a = new QAction(this);
    a->setObjectName(Q(name));
    a->setCheckable(true);
    group->addAction(a);
    actions_[name] = a;
    connect(a, &QAction::triggered, this, [this, id] {
      SetLanguage(id);
      // The language command writes LanguageId back.
      MutableSettings().LanguageId = id;
      try {
        TOptionsDialog::Save(Settings(), OptionsFilePath().string());
      } catch (const std::exception& e) {
        Message(tr("Error"), Q(e.what()), true);
      }
    });
  }
  actions_["language_en"]->setText(QStringLiteral("English"));
  actions_["language_pl"]->setText(QStringLiteral("Polski"));
  actions_["language_uk"]->setText(QStringLiteral("Українська"));
  connect(MakeAction("about"), &QAction::triggered, this, &TMainWindow::About);
}

void TMainWindow::BuildMenus() {
  fileMenu_ = menuBar()->addMenu(QString());
  for (const char* n : {"new", "open", "openSample", "save", "saveAs"}) fileMenu_->addAction(Action(n));
  fileMenu_->addSeparator();
  fileMenu_->addAction(Action("exportDiagram"));
  fileMenu_->addSeparator();
  fileMenu_->addAction(Action("options"));
  fileMenu_->addSeparator();
  fileMenu_->addAction(Action("quit"));
  positionMenu_ = menuBar()->addMenu(QString());
  for (const char* n : {"copyFen", "pasteFen", "clearBoard", "initialPosition", "flip"})
    positionMenu_->addAction(Action(n));
  problemMenu_ = menuBar()->addMenu(QString());
  for (const char* n :
       {"addProblem", "duplicateProblem", "deleteProblem", "moveUp", "moveDown", "storeSolution"})
    problemMenu_->addAction(Action(n));
  solveMenu_ = menuBar()->addMenu(QString());
  for (const char* n : {"solve", "pause", "pauseThread", "stop"}) solveMenu_->addAction(Action(n));
  solveMenu_->addSeparator();
  manualMenu_ = solveMenu_->addMenu(QString());
  manualMenu_->addAction(Action("manualWarning"));
  manualMenu_->addSeparator();
  for (const char* n : {"skipCurrent", "skipNext", "skip5", "skipTo", "swapNext", "shiftLast"})
    manualMenu_->addAction(Action(n));
  solveMenu_->addAction(Action("heuristics"));
  registerMenu_ = menuBar()->addMenu(QString());
  for (const char* n : {"readRegister", "saveRegister", "pinRegister", "unpinRegister", "registerStatistics"})
    registerMenu_->addAction(Action(n));
  languageMenu_ = menuBar()->addMenu(QString());
  for (const char* n : {"language_en", "language_pl", "language_uk"}) languageMenu_->addAction(Action(n));
  helpMenu_ = menuBar()->addMenu(QString());
  helpMenu_->addAction(Action("about"));
}

void TMainWindow::BuildWidgets() {
  // Left: the problem list and the details of the current problem.
  table_ = new QTableWidget(0, 6);
  table_->setObjectName("problemTable");
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->verticalHeader()->hide();
  table_->setWordWrap(false);
  table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 6);
  table_->horizontalHeader()->setStretchLastSection(false);
  table_->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
  table_->horizontalHeader()->setMinimumSectionSize(24);
  const int columnWidths[6] = {34, 40, 0, 40, 40, 80};
  for (int c : {0, 1, 3, 4, 5}) {
    table_->horizontalHeader()->setSectionResizeMode(c, QHeaderView::Interactive);
    table_->setColumnWidth(c, columnWidths[c]);
  }
  // The list shrinks when the window or the status line changes: the
  // problem in hand stays in view.
  table_->viewport()->installEventFilter(this);
  connect(table_, &QTableWidget::currentCellChanged, this, [this](int row, int, int, int) {
    if (!loading_ && row >= 0 && row != current_) SelectProblem(row);
  });

  detailsBox_ = new QGroupBox;
  auto* details = new QFormLayout(detailsBox_);
  stipulation_ = new QSpinBox;
  stipulation_->setObjectName("stipulation");
  stipulation_->setRange(1, kMaxStipulationMoves);
  stipulation_->setPrefix("#");
  description_ = new QLineEdit;
  description_->setObjectName("description");
  tags_ = new QLineEdit;
  tags_->setObjectName("tags");
  sortIndications_ = new QLineEdit;
  sortIndications_->setObjectName("sortIndications");
  stipulationLabel_ = new QLabel;
  descriptionLabel_ = new QLabel;
  tagsLabel_ = new QLabel;
  sortLabel_ = new QLabel;
  details->addRow(stipulationLabel_, stipulation_);
  details->addRow(descriptionLabel_, description_);
  details->addRow(tagsLabel_, tags_);
  details->addRow(sortLabel_, sortIndications_);
  connect(stipulation_, &QSpinBox::valueChanged, this, &TMainWindow::OnDetailsEdited);
  for (QLineEdit* e : {description_, tags_, sortIndications_})
    connect(e, &QLineEdit::textEdited, this, &TMainWindow::OnDetailsEdited);

  auto* left = new QWidget;
  auto* leftLayout = new QVBoxLayout(left);
  leftLayout->setContentsMargins(0, 0, 0, 0);
  leftLayout->addWidget(table_, 1);
  leftLayout->addWidget(detailsBox_);

  // Middle: the board and its editor.
  board_ = new TBoardWidget;
  board_->setObjectName("board");
  connect(board_, &TBoardWidget::edited, this, &TMainWindow::OnBoardEdited);
  palette_ = new TPiecepalette;
  editorBox_ = new QGroupBox;
  auto* editor = new QGridLayout(editorBox_);
  sideLabel_ = new QLabel;
  sideBox_ = new QComboBox;
  sideBox_->setObjectName("sideToMove");
  sideBox_->addItems({QString(), QString()});
  const char* castleNames[4] = {"0-0", "0-0-0", "...0-0", "...0-0-0"};
  for (int i = 0; i < 4; ++i) {
    castle_[i] = new QCheckBox(QString::fromLatin1(castleNames[i]));
    connect(castle_[i], &QCheckBox::toggled, this, &TMainWindow::OnRightsEdited);
  }
  epLabel_ = new QLabel;
  epBox_ = new QComboBox;
  epBox_->setObjectName("epSquare");
  epBox_->addItem(QStringLiteral("-"), -1);
  for (int f = 0; f < 8; ++f) epBox_->addItem(Q(SquareToString(SquareOf(f, 2))), SquareOf(f, 2));
  for (int f = 0; f < 8; ++f) epBox_->addItem(Q(SquareToString(SquareOf(f, 5))), SquareOf(f, 5));
  fenLabel_ = new QLabel(QStringLiteral("FEN"));
  fenEdit_ = new QLineEdit;
  fenEdit_->setObjectName("fen");
  connect(sideBox_, &QComboBox::currentIndexChanged, this, &TMainWindow::OnRightsEdited);
  connect(epBox_, &QComboBox::currentIndexChanged, this, &TMainWindow::OnRightsEdited);
  connect(fenEdit_, &QLineEdit::returnPressed, this, [this] {
    if (!SetFen(fenEdit_->text())) Message(tr("Information"), tr("Not a FEN: %1").arg(fenEdit_->text()));
  });
  editor->addWidget(sideLabel_, 0, 0);
  editor->addWidget(sideBox_, 0, 1);
  editor->addWidget(epLabel_, 0, 2);
  editor->addWidget(epBox_, 0, 3);
  for (int i = 0; i < 4; ++i) editor->addWidget(castle_[i], 1, i);
  editor->addWidget(fenLabel_, 2, 0);
  editor->addWidget(fenEdit_, 2, 1, 1, 3);
  viewLabel_ = new QLabel;
  backButton_ = new QPushButton;
  connect(backButton_, &QPushButton::clicked, this, &TMainWindow::LoadBoardFromProblem);
  auto* viewRow = new QHBoxLayout;
  viewRow->addWidget(viewLabel_, 1);
  viewRow->addWidget(backButton_);

  auto* middle = new QWidget;
  auto* midLayout = new QVBoxLayout(middle);
  midLayout->setContentsMargins(0, 0, 0, 0);
  midLayout->addWidget(board_, 1);
  midLayout->addLayout(viewRow);
  midLayout->addWidget(palette_);
  midLayout->addWidget(editorBox_);

  // Right: solving, progress and results.
  solveBox_ = new QGroupBox;
  auto* solve = new QGridLayout(solveBox_);
  modeLabel_ = new QLabel;
  modeBox_ = new QComboBox;
  modeBox_->setObjectName("mode");
  for (int i = 0; i < kGuiModeCount; ++i) modeBox_->addItem(QString());
  modeBox_->setCurrentIndex(static_cast<int>(TGuiMode::kAll));
  defence_ = new QCheckBox;
  defence_->setObjectName("defence");
  threadsLabel_ = new QLabel;
  threads_ = new QSpinBox;
  threads_->setObjectName("threads");
  threads_->setRange(1, 255);
  // The settings' choice: from the processors, or one thread when off.
  const TThreadPlan plan =
      Settings().MultithreadingLevels >= 1 ? HardwareThreadPlan(ProcessorCount(true)) : TThreadPlan{};
  threads_->setValue(plan.threads);
  levelsLabel_ = new QLabel;
  levels_ = new QSpinBox;
  levels_->setObjectName("levels");
  levels_->setRange(1, 64);
  levels_->setValue(plan.levels);
  heuristicsButton_ = new QPushButton;
  heuristicsButton_->setObjectName("heuristicsButton");
  connect(heuristicsButton_, &QPushButton::clicked, Action("heuristics"), &QAction::trigger);
  solveButton_ = new QPushButton;
  pauseButton_ = new QPushButton;
  pauseButton_->setCheckable(true);
  stopButton_ = new QPushButton;
  connect(solveButton_, &QPushButton::clicked, Action("solve"), &QAction::trigger);
  connect(pauseButton_, &QPushButton::clicked, Action("pause"), &QAction::trigger);
  connect(stopButton_, &QPushButton::clicked, Action("stop"), &QAction::trigger);
  solve->addWidget(modeLabel_, 0, 0);
  solve->addWidget(modeBox_, 0, 1, 1, 3);
  solve->addWidget(threadsLabel_, 1, 0);
  solve->addWidget(threads_, 1, 1);
  solve->addWidget(levelsLabel_, 1, 2);
  solve->addWidget(levels_, 1, 3);
  solve->addWidget(defence_, 2, 0, 1, 2);
  solve->addWidget(heuristicsButton_, 2, 2, 1, 2);
  solve->addWidget(solveButton_, 3, 0, 1, 2);
  solve->addWidget(pauseButton_, 3, 2);
  solve->addWidget(stopButton_, 3, 3);

  progressBox_ = new QGroupBox;
  auto* prog = new QVBoxLayout(progressBox_);
  progress_ = new QProgressBar;
  progress_->setRange(0, 1000);
  progress_->setTextVisible(true);
  lineLabel_ = new QLabel;
  lineLabel_->setWordWrap(true);
  lineLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  figures_ = new QLabel;
  figures_->setObjectName("figures");
  figures_->setWordWrap(true);
  figures_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  prog->addWidget(progress_);
  prog->addWidget(lineLabel_);
  prog->addWidget(figures_);

  tree_ = new QTreeWidget;
  tree_->setObjectName("solutionTree");
  tree_->setHeaderHidden(true);
  connect(tree_, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* i, int) { OnTreeItem(i); });
  connect(tree_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* i, QTreeWidgetItem*) {
    if (i) OnTreeItem(i);
  });
  endText_ = new QPlainTextEdit;
  endText_->setReadOnly(true);
  log_ = new QPlainTextEdit;
  log_->setReadOnly(true);
  log_->setObjectName("log");
  QFont mono(QStringLiteral("DejaVu Sans Mono"));
  mono.setStyleHint(QFont::Monospace);
  log_->setFont(mono);
  endText_->setFont(mono);
  copyButton_ = new QPushButton;
  connect(copyButton_, &QPushButton::clicked, this, &TMainWindow::CopySolution);
  storeButton_ = new QPushButton;
  connect(storeButton_, &QPushButton::clicked, Action("storeSolution"), &QAction::trigger);
  auto* treePage = new QWidget;
  auto* treeLayout = new QVBoxLayout(treePage);
  treeLayout->setContentsMargins(0, 0, 0, 0);
  treeLayout->addWidget(tree_, 2);
  treeLayout->addWidget(endText_, 1);
  auto* resultButtons = new QHBoxLayout;
  resultButtons->addWidget(copyButton_);
  resultButtons->addWidget(storeButton_);
  treeLayout->addLayout(resultButtons);
  tabs_ = new QTabWidget;
  tabs_->addTab(treePage, QString());
  tabs_->addTab(log_, QString());

  auto* right = new QWidget;
  auto* rightLayout = new QVBoxLayout(right);
  rightLayout->setContentsMargins(0, 0, 0, 0);
  rightLayout->addWidget(solveBox_);
  rightLayout->addWidget(progressBox_);
  rightLayout->addWidget(tabs_, 1);

  splitter_ = new QSplitter;
  splitter_->setObjectName("mainSplitter");
  splitter_->addWidget(left);
  splitter_->addWidget(middle);
  splitter_->addWidget(right);
  splitter_->setStretchFactor(0, 2);
  splitter_->setStretchFactor(1, 3);
  splitter_->setStretchFactor(2, 3);
  splitter_->setSizes({440, 400, 440});
  setCentralWidget(splitter_);
  resize(kMainWindowDefaultWidth, kMainWindowDefaultHeight);
}

void TMainWindow::RetranslateUi() {
  struct TText {
    const char* name;
    QString text;
  };
  const TText texts[] = {
      {"new", tr("&New collection")},
      {"open", tr("&Open collection...")},
      {"openSample", tr("Open &sample collection")},
      {"save", tr("&Save collection")},
      {"saveAs", tr("Save collection &as...")},
      {"exportDiagram", tr("&Export diagram...")},
      {"options", tr("O&ptions...")},
      {"quit", tr("&Quit")},
      {"copyFen", tr("&Copy FEN")},
      {"pasteFen", tr("&Paste FEN")},
      {"clearBoard", tr("C&lear board")},
      {"initialPosition", tr("&Initial position")},
      {"flip", tr("&Flip board")},
      {"addProblem", tr("&Add problem")},
      {"duplicateProblem", tr("&Duplicate problem")},
      {"deleteProblem", tr("D&elete problem")},
      {"moveUp", tr("Move &up")},
      {"moveDown", tr("Move do&wn")},
      {"storeSolution", tr("&Store found keys as variant")},
      {"solve", tr("&Solve")},
      {"pause", tr("&Pause")},
      {"pauseThread", tr("Pause one &thread")},
      {"stop", tr("S&top")},
      {"manualWarning", tr("About manual control...")},
      {"skipCurrent", tr("Skip analysis of current move and go to the &next one")},
      {"skipNext", tr("Skip to analysis of next move")},
      {"skip5", tr("Skip 5 moves of analysis")},
      {"skipTo", tr("Skip to...")},
      {"swapNext", tr("Swap order of analysis with the next move")},
      {"shiftLast", tr("Shift current move to be analyzed as the last one")},
      {"heuristics", tr("Selection of heuristics...")},
      {"readRegister", tr("&Read temporary register from file...")},
      {"saveRegister", tr("&Save temporary register to file...")},
      {"pinRegister", tr("Save temporary register and &pin it to this problem")},
      {"unpinRegister", tr("&Unpin .tmpReg file from the problem")},
      {"registerStatistics", tr("Register s&tatistics")},
      {"about", tr("&About Ostravel")},
  };
  for (const TText& t : texts) Action(t.name)->setText(t.text);
  Action("heuristics")->setToolTip(tr("The special heuristics of the next solve"));
  fileMenu_->setTitle(tr("&File"));
  positionMenu_->setTitle(tr("P&osition"));
  problemMenu_->setTitle(tr("P&roblem"));
  solveMenu_->setTitle(tr("&Solving"));
  manualMenu_->setTitle(tr("&Manual control of the first level"));
  registerMenu_->setTitle(tr("Re&gisters"));
  languageMenu_->setTitle(tr("&Language"));
  helpMenu_->setTitle(tr("&Help"));

  // Short headers keep the description wide; the tooltips name the columns.
  const QString headers[6] = {tr("No."),  QStringLiteral("#n"), tr("Description"),
                              tr("Sol."), tr("Reg."),           tr("Status")};
  const QString tips[6] = {
      tr("No."),   tr("Stipulation"), tr("Description"), tr("Solution stored"), tr("Pinned register"),
      tr("Status")};
  for (int c = 0; c < 6; ++c) {
    auto* h = table_->horizontalHeaderItem(c);
    if (!h) {
      h = new QTableWidgetItem;
      table_->setHorizontalHeaderItem(c, h);
    }
    h->setText(headers[c]);
    h->setToolTip(tips[c]);
  }
  detailsBox_->setTitle(tr("Problem"));
  stipulationLabel_->setText(tr("Stipulation"));
  descriptionLabel_->setText(tr("Description"));
  tagsLabel_->setText(tr("Tags"));
  sortLabel_->setText(tr("Sort indications"));
  editorBox_->setTitle(tr("Position"));
  sideLabel_->setText(tr("Side to move"));
  sideBox_->setItemText(0, tr("White"));
  sideBox_->setItemText(1, tr("Black"));
  epLabel_->setText(tr("e.p. square"));
  backButton_->setText(tr("Back to the problem"));
  if (!board_->Editable()) viewLabel_->setText(tr("After %1").arg(viewedLine_));
  solveBox_->setTitle(tr("Solving"));
  modeLabel_->setText(tr("Mode"));
  const QString modes[kGuiModeCount] = {
      tr("Single solution"), tr("Stop on dual"), tr("Stop on 3 solutions"), tr("Stop on 4 solutions"),
      tr("All solutions"),   tr("Brute force"),  tr("Hybrid brute force")};
  for (int i = 0; i < kGuiModeCount; ++i) modeBox_->setItemText(i, modes[i]);
  defence_->setText(tr("Defence task (Black to move)"));
  threadsLabel_->setText(tr("Threads"));
  levelsLabel_->setText(tr("Levels"));
  heuristicsButton_->setText(tr("Selection of heuristics"));
  solveButton_->setText(tr("Solve"));
  pauseButton_->setText(tr("Pause"));
  stopButton_->setText(tr("Stop"));
  progressBox_->setTitle(tr("Progress"));
  tabs_->setTabText(0, tr("Solution"));
  tabs_->setTabText(1, tr("Log"));
  copyButton_->setText(tr("Copy as text"));
  storeButton_->setText(tr("Store keys as variant"));
  RefreshTable();
  ShowSession(shown_);
  UpdateTitle();
}

void TMainWindow::SetLanguage(int languageId) {
  if (languageId < 0 || languageId > 2) languageId = 1;
  language_ = languageId;
  qApp->removeTranslator(&translator_);
  qApp->removeTranslator(&qtTranslator_);
  if (languageId != 1) {
    const QString code = QString::fromLatin1(kLanguageCodes[languageId]);
    for (const QString& folder : TranslationFolders()) {
      if (translator_.load(QStringLiteral("ostravel_") + code, folder)) {
        qApp->installTranslator(&translator_);
        break;
      }
    }
    if (qtTranslator_.load(QStringLiteral("qtbase_") + code,
                           QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
      qApp->installTranslator(&qtTranslator_);
  }
  if (QAction* a = Action((std::string("language_") + kLanguageCodes[languageId]).c_str()))
    a->setChecked(true);
  // The engine's texts follow the setting.
  MutableSettings().LanguageId = languageId;
  RetranslateUi();
}

bool TMainWindow::eventFilter(QObject* watched, QEvent* e) {
  // Once the view has set its scroll bars for the new size.
  if (table_ && watched == table_->viewport() && e->type() == QEvent::Resize)
    QMetaObject::invokeMethod(this, &TMainWindow::ScrollToCurrent, Qt::QueuedConnection);
  return QMainWindow::eventFilter(watched, e);
}

void TMainWindow::ScrollToCurrent() {
  if (current_ < 0 || current_ >= table_->rowCount()) return;
  table_->scrollTo(table_->model()->index(current_, 0), QAbstractItemView::EnsureVisible);
}

void TMainWindow::changeEvent(QEvent* e) {
  if (e->type() == QEvent::LanguageChange) RetranslateUi();
  QMainWindow::changeEvent(e);
}

void TMainWindow::RestoreLayout() {
  QSettings s(Q((DataFolder() / "window.ini").string()), QSettings::IniFormat);
  if (s.contains("geometry")) restoreGeometry(s.value("geometry").toByteArray());
  if (s.contains("state")) restoreState(s.value("state").toByteArray());
  if (s.contains("splitter")) {
    splitter_->restoreState(s.value("splitter").toByteArray());
  } else {
    // First run: the board gets the middle third once the window has its size.
    QTimer::singleShot(0, this, [this] {
      const int w = splitter_->width();
      splitter_->setSizes({w * 30 / 100, w * 36 / 100, w * 34 / 100});
    });
  }
  if (s.contains("flipped")) Action("flip")->setChecked(s.value("flipped").toBool());
}

void TMainWindow::SaveLayout() {
  try {
    QSettings s(Q((DataFolder() / "window.ini").string()), QSettings::IniFormat);
    s.setValue("geometry", saveGeometry());
    s.setValue("state", saveState());
    s.setValue("splitter", splitter_->saveState());
    s.setValue("flipped", Action("flip")->isChecked());
  } catch (const std::exception&) {
    // The layout is a convenience; a data folder that cannot be made is reported elsewhere.
  }
}

void TMainWindow::Message(const QString& title, const QString& text, bool error) {
  lastMessage_ = text;
  statusBar()->showMessage(text.section('\n', 0, 0), 10000);
  if (quiet_) return;
  if (error)
    QMessageBox::critical(this, title, text);
  else
    QMessageBox::information(this, title, text);
}

bool TMainWindow::Ask(const QString& title, const QString& text) {
  lastMessage_ = text;
  if (answerHook_) return answerHook_(title, text) == QMessageBox::Yes;
  if (quiet_) return false;
  return QMessageBox::question(this, title, text) == QMessageBox::Yes;
}

int TMainWindow::AskYesNoCancel(const QString& title, const QString& text, bool withCancel) {
  lastMessage_ = text;
  if (answerHook_) return answerHook_(title, text);
  if (quiet_) return QMessageBox::No;
  QMessageBox::StandardButtons b = QMessageBox::Yes | QMessageBox::No;
  if (withCancel) b |= QMessageBox::Cancel;
  return QMessageBox::question(this, title, text, b);
}

void TMainWindow::UpdateTitle() {
  const QString name = path_.isEmpty() ? tr("untitled") : QFileInfo(path_).fileName();
  setWindowTitle(QStringLiteral("%1%2 - Ostravel").arg(name, modified_ ? QStringLiteral("*") : QString()));
}

void TMainWindow::UpdateActions() {
  const bool has = current_ >= 0;
  TSolveSession* s = CurrentSession();
  const bool running = s && s->Running();
  for (const char* n : {"duplicateProblem", "deleteProblem", "moveUp", "moveDown", "exportDiagram"})
    Action(n)->setEnabled(has);
  Action("solve")->setEnabled(!running);
  Action("pause")->setEnabled(running);
  Action("pause")->setChecked(running && s->Paused());
  Action("stop")->setEnabled(running);
  // Skipping moves can lose solutions: offered only when the setting allows it.
  const bool manual = running && Settings().EnableManualEngineControl != 0;
  for (const char* n : {"pauseThread", "skipCurrent", "skipNext", "skip5", "skipTo", "swapNext", "shiftLast"})
    Action(n)->setEnabled(manual);
  Action("storeSolution")
      ->setEnabled(has && s && s->Ended() && s->Task() == TEngineTask::kMate &&
                   s->Result().status != TRunStatus::kRefused);
  Action("saveRegister")->setEnabled(RegisterAtHand() != nullptr);
  Action("pinRegister")->setEnabled(has && RegisterAtHand() != nullptr);
  Action("unpinRegister")->setEnabled(has && problems_[static_cast<size_t>(current_)].tmpRegFile.has_value());
  solveButton_->setEnabled(Action("solve")->isEnabled());
  pauseButton_->setEnabled(running);
  pauseButton_->setChecked(running && s->Paused());
  stopButton_->setEnabled(running);
  storeButton_->setEnabled(Action("storeSolution")->isEnabled());
  board_->SetEditable(board_->Editable());
}

// ---------------------------------------------------------------- collection

void TMainWindow::NewCollection() {
  for (auto& [uid, s] : sessions_) delete s;
  sessions_.clear();
  problems_.clear();
  uids_.clear();
  path_.clear();
  DropWatchNotifier();
  if (watcher_) watcher_->Stop();
  current_ = -1;
  modified_ = false;
  RefreshTable();
  LoadEditors();
  ShowSession(nullptr);
  UpdateTitle();
}

bool TMainWindow::OpenCollection(const QString& path) {
  TCollectionReadResult read;
  try {
    read = LoadCollectionFile(path.toStdString());
  } catch (const std::exception& e) {
    Message(tr("Information"), Q(e.what()) + "\n" + path);
    return false;
  }
  if (RunningCount() > 0) {
    Message(tr("Information"), tr("Stop the running analyses before opening another collection."));
    return false;
  }
  NewCollection();
  problems_ = std::move(read.problems);
  for (size_t i = 0; i < problems_.size(); ++i) uids_.push_back(nextUid_++);
  path_ = path;
  WatchCollection();
  if (!read.errors.empty()) {
    // Every record in error is named; the readable ones are open.
    QString text;
    for (const auto& e : read.errors) text += Q(e.Describe()) + "\n";
    Message(QString::fromLatin1(language_ == 0 ? kInvalidRecordTitlePolish : kInvalidRecordTitle),
            path + "\n\n" + text);
  }
  RefreshTable();
  SelectProblem(problems_.empty() ? -1 : 0);
  UpdateTitle();
  return true;
}

bool TMainWindow::SaveCollection(const QString& path) {
  try {
    SaveCollectionFile(path.toStdString(), problems_);
  } catch (const std::exception& e) {
    Message(tr("Error"), Q(e.what()) + "\n" + path, true);
    return false;
  }
  if (path_ != path) {
    path_ = path;
    WatchCollection();
  } else if (watcher_) {
    watcher_->Discard();  // our own write is no foreign change
  }
  modified_ = false;
  UpdateTitle();
  statusBar()->showMessage(tr("Saved %1").arg(path), 5000);
  return true;
}

void TMainWindow::DropWatchNotifier() {
  // Later: it may be the sender of the slot that reloads the collection.
  if (watchNotifier_) {
    watchNotifier_->setEnabled(false);
    watchNotifier_->deleteLater();
  }
  watchNotifier_ = nullptr;
}

void TMainWindow::WatchCollection() {
  DropWatchNotifier();
  if (!watcher_) watcher_ = std::make_unique<TFileWatcher>();
  if (path_.isEmpty() || !watcher_->Watch(path_.toStdString()) || watcher_->Fd() < 0) {
    watcher_->Stop();
    return;
  }
  watchNotifier_ = new QSocketNotifier(watcher_->Fd(), QSocketNotifier::Read, this);
  connect(watchNotifier_, &QSocketNotifier::activated, this, &TMainWindow::OnWatcherReadable);
}

void TMainWindow::OnWatcherReadable() {
  if (!watcher_ || !watchNotifier_) return;
  // Not re-entered while the question is open; re-armed afterwards.
  QSocketNotifier* n = watchNotifier_;
  n->setEnabled(false);
  const bool changed = watcher_->Changed(0);
  if (changed) OnCollectionChangedOutside();
  if (watchNotifier_ == n) n->setEnabled(true);
}

void TMainWindow::OnCollectionChangedOutside() {
  const QString title = Q(ShellText(TShellText::kWarningTitle, language_));
  if (modified_) {
    Message(title, Q(FileChangedText(true, language_)));
    return;
  }
  if (AskYesNoCancel(title, Q(FileChangedText(false, language_)), false) == QMessageBox::Yes) {
    const QString path = path_;
    OpenCollection(path);
  }
}

void TMainWindow::OpenDialog() {
  if (!MaybeSave()) return;
  const QString p = QFileDialog::getOpenFileName(this, tr("Open collection"), QFileInfo(path_).absolutePath(),
                                                 tr("Problem collections (*.cp);;All files (*)"));
  if (!p.isEmpty()) OpenCollection(p);
}

void TMainWindow::OpenSample() {
  if (!MaybeSave()) return;
  const QString p = SampleCollectionPath();
  if (p.isEmpty())
    Message(tr("Information"), tr("The sample collection %1 was not found.").arg(kSampleCollectionFileName));
  else
    OpenCollection(p);
}

bool TMainWindow::SaveCurrent() {
  if (path_.isEmpty()) return SaveAsDialog();
  return SaveCollection(path_);
}

bool TMainWindow::SaveAsDialog() {
  QString p = QFileDialog::getSaveFileName(this, tr("Save collection"), path_,
                                           tr("Problem collections (*.cp);;All files (*)"));
  if (p.isEmpty()) return false;
  if (QFileInfo(p).suffix().isEmpty()) p += ".cp";
  return SaveCollection(p);
}

void TMainWindow::ExportDiagramDialog() {
  if (current_ < 0) return;
  const TProblem& p = problems_[static_cast<size_t>(current_)];
  QString name = Q(p.description).section('\n', 0, 0).simplified();
  name.replace(QRegularExpression(QStringLiteral("[^\\w.-]+")), QStringLiteral("_"));
  name = name.left(60);
  if (name.isEmpty()) name = QStringLiteral("diagram");
  const QString folder = path_.isEmpty() ? QDir::homePath() : QFileInfo(path_).absolutePath();
  QString selected;
  QString file = QFileDialog::getSaveFileName(this, tr("Export diagram"), folder + "/" + name + ".svg",
                                              tr("SVG image (*.svg);;PNG image (*.png)"), &selected);
  if (file.isEmpty()) return;
  if (QFileInfo(file).suffix().isEmpty()) file += selected.contains("png") ? ".png" : ".svg";
  ExportDiagram(file);
}

bool TMainWindow::ExportDiagram(const QString& path) {
  if (current_ < 0) return false;
  const std::string svg = DiagramSvg(problems_[static_cast<size_t>(current_)]);
  std::string data = svg;
  if (QFileInfo(path).suffix().compare(QStringLiteral("png"), Qt::CaseInsensitive) == 0) {
    // Drawn at twice the SVG's size, sharp on screens that scale.
    QSvgRenderer renderer(SvgForQtRenderer(svg));
    QImage image(renderer.defaultSize() * 2, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    {
      QPainter painter(&image);
      renderer.render(&painter);
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!renderer.isValid() || !image.save(&buffer, "PNG")) {
      Message(tr("Error"), tr("The diagram could not be drawn as PNG."), true);
      return false;
    }
    data = png.toStdString();
  }
  try {
    SafeWriteFile(path.toStdString(), data);
  } catch (const std::exception& e) {
    Message(tr("Error"), Q(e.what()), true);
    return false;
  }
  statusBar()->showMessage(tr("Saved %1").arg(path), 5000);
  return true;
}

bool TMainWindow::MaybeSave() {
  if (!modified_ || quiet_) return true;
  const auto b =
      QMessageBox::question(this, tr("Ostravel"), tr("The collection has unsaved changes. Save them?"),
                            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel);
  if (b == QMessageBox::Cancel) return false;
  if (b == QMessageBox::Save) return SaveCurrent();
  return true;
}

void TMainWindow::RefreshRow(int row) {
  if (row < 0 || row >= static_cast<int>(problems_.size())) return;
  const TProblem& p = problems_[static_cast<size_t>(row)];
  const TVariant* main = p.MainVariant();
  TSolveSession* s = SessionOf(row);
  const QString cells[6] = {QString::number(row + 1),
                            QStringLiteral("#%1").arg(p.moves),
                            Q(p.description),
                            main ? (main->lines.empty() ? tr("none") : QStringLiteral("✓")) : QString(),
                            p.tmpRegFile ? QString::number(*p.tmpRegFile) : QString(),
                            s ? s->StatusText() : QString()};
  for (int c = 0; c < 6; ++c) {
    auto* item = table_->item(row, c);
    if (!item) {
      item = new QTableWidgetItem;
      table_->setItem(row, c, item);
    }
    item->setText(cells[c]);
  }
  table_->item(row, 2)->setToolTip(Q(p.description));
}

void TMainWindow::RefreshTable() {
  if (!table_) return;
  const bool was = loading_;
  loading_ = true;
  table_->setRowCount(static_cast<int>(problems_.size()));
  for (int r = 0; r < table_->rowCount(); ++r) RefreshRow(r);
  if (current_ >= 0) table_->setCurrentCell(current_, 0);
  loading_ = was;
}

void TMainWindow::SelectProblem(int index) {
  if (index >= static_cast<int>(problems_.size())) index = static_cast<int>(problems_.size()) - 1;
  current_ = index;
  loading_ = true;
  if (index >= 0) {
    table_->setCurrentCell(index, 0);
    ScrollToCurrent();
  }
  loading_ = false;
  LoadEditors();
  if (index >= 0) {
    // The mode the problem's tags name.
    const TSolveRequest r = RequestFromProblem(problems_[static_cast<size_t>(index)], Settings(), 0);
    modeBox_->setCurrentIndex(static_cast<int>(ModeOfRequest(r)));
    defence_->setChecked(!problems_[static_cast<size_t>(index)].whiteToMove);
    // A crash log names the problem in hand and its position.
    SetCrashCurrentProblem(problems_[static_cast<size_t>(index)].description, index + 1);
    SetCrashCurrentChessboard(CurrentFen().toStdString(), index + 1);
  }
  ShowSession(SessionOf(index));
  UpdateActions();
}

void TMainWindow::LoadEditors() {
  loading_ = true;
  const bool has = current_ >= 0;
  detailsBox_->setEnabled(has);
  if (has) {
    const TProblem& p = problems_[static_cast<size_t>(current_)];
    stipulation_->setValue(p.moves);
    description_->setText(Q(p.description));
    QStringList tags;
    for (const auto& t : p.tags) tags << Q(t);
    tags_->setText(tags.join(", "));
    sortIndications_->setText(Q(p.sortIndications));
  } else {
    stipulation_->setValue(2);
    description_->clear();
    tags_->clear();
    sortIndications_->clear();
  }
  loading_ = false;
  LoadBoardFromProblem();
}

void TMainWindow::LoadBoardFromProblem() {
  const TCrashShellActivity preparing(TCrashShellFlag::kPreparingChessboard);
  loading_ = true;
  std::array<uint8_t, 64> sq{};
  uint8_t rights = 0;
  int ep = -1;
  bool white = true;
  if (current_ >= 0) {
    const TProblem& p = problems_[static_cast<size_t>(current_)];
    std::copy(std::begin(p.position.initialBoard), std::end(p.position.initialBoard), sq.begin());
    rights = p.position.rootCastling;
    ep = p.position.rootEpSquare;
    white = p.whiteToMove;
  }
  board_->SetSquares(sq);
  board_->SetEditable(true);
  sideBox_->setCurrentIndex(white ? 0 : 1);
  const uint8_t bits[4] = {kCastleWK, kCastleWQ, kCastleBK, kCastleBQ};
  for (int i = 0; i < 4; ++i) castle_[i]->setChecked(rights & bits[i]);
  epBox_->setCurrentIndex(std::max(0, epBox_->findData(ep)));
  fenEdit_->setText(CurrentFen());
  viewLabel_->clear();
  backButton_->setVisible(false);
  loading_ = false;
}

void TMainWindow::EnsureProblem() {
  if (current_ >= 0) return;
  problems_.emplace_back();
  uids_.push_back(nextUid_++);
  current_ = static_cast<int>(problems_.size()) - 1;
  RefreshTable();
  LoadEditors();
  MarkModified();
  UpdateActions();
}

void TMainWindow::MarkModified() {
  modified_ = true;
  UpdateTitle();
}

void TMainWindow::OnBoardEdited() {
  if (loading_) return;
  EnsureProblem();
  TProblem& p = problems_[static_cast<size_t>(current_)];
  std::copy(board_->Squares().begin(), board_->Squares().end(), std::begin(p.position.initialBoard));
  // Rights the new board no longer allows go; an e.p. square without its pawn too.
  p.position.rootCastling &= CastlingRightsOfBoard(p.position.initialBoard);
  if (!EpSquareStands(p.position.initialBoard, p.position.rootEpSquare)) p.position.rootEpSquare = -1;
  loading_ = true;
  const uint8_t bits[4] = {kCastleWK, kCastleWQ, kCastleBK, kCastleBQ};
  for (int i = 0; i < 4; ++i) castle_[i]->setChecked(p.position.rootCastling & bits[i]);
  epBox_->setCurrentIndex(std::max(0, epBox_->findData(p.position.rootEpSquare)));
  loading_ = false;
  fenEdit_->setText(CurrentFen());
  RefreshRow(current_);
  MarkModified();
}

void TMainWindow::OnRightsEdited() {
  if (loading_) return;
  EnsureProblem();
  TProblem& p = problems_[static_cast<size_t>(current_)];
  const uint8_t bits[4] = {kCastleWK, kCastleWQ, kCastleBK, kCastleBQ};
  uint8_t rights = 0;
  for (int i = 0; i < 4; ++i)
    if (castle_[i]->isChecked()) rights |= bits[i];
  const uint8_t allowed = CastlingRightsOfBoard(p.position.initialBoard);
  if (rights & ~allowed) {
    // A right needs king and rook on their squares.
    rights &= allowed;
    loading_ = true;
    for (int i = 0; i < 4; ++i) castle_[i]->setChecked(rights & bits[i]);
    loading_ = false;
    statusBar()->showMessage(tr("Castling needs the king and the rook on their initial squares."), 5000);
  }
  p.position.rootCastling = rights;
  p.whiteToMove = sideBox_->currentIndex() == 0;
  p.position.rootEpSquare = static_cast<int8_t>(epBox_->currentData().toInt());
  fenEdit_->setText(CurrentFen());
  MarkModified();
}

void TMainWindow::OnDetailsEdited() {
  if (loading_ || current_ < 0) return;
  TProblem& p = problems_[static_cast<size_t>(current_)];
  p.moves = static_cast<uint16_t>(stipulation_->value());
  p.description = description_->text().toStdString();
  p.tags.clear();
  for (const QString& t : tags_->text().split(',', Qt::SkipEmptyParts))
    if (!t.trimmed().isEmpty()) p.tags.push_back(t.trimmed().toStdString());
  p.sortIndications = sortIndications_->text().trimmed().toStdString();
  RefreshRow(current_);
  MarkModified();
}

QString TMainWindow::CurrentFen() const {
  if (current_ < 0) return {};
  return Q(problems_[static_cast<size_t>(current_)].Fen());
}

bool TMainWindow::SetFen(const QString& fen) {
  TProblem probe;
  if (!probe.SetFen(fen.trimmed().toStdString())) return false;
  EnsureProblem();
  problems_[static_cast<size_t>(current_)].SetFen(fen.trimmed().toStdString());
  LoadBoardFromProblem();
  RefreshRow(current_);
  MarkModified();
  return true;
}

void TMainWindow::AddProblem() {
  TProblem p;
  p.position.initialBoard[kE1] = WK;
  p.position.initialBoard[kE8] = BK;
  const int at = current_ + 1;
  problems_.insert(problems_.begin() + at, p);
  uids_.insert(uids_.begin() + at, nextUid_++);
  current_ = at;
  RefreshTable();
  SelectProblem(at);
  MarkModified();
}

void TMainWindow::DuplicateProblem() {
  if (current_ < 0) return;
  TProblem p = problems_[static_cast<size_t>(current_)];
  p.tmpRegFile.reset();  // the pinned file belongs to the original
  const int at = current_ + 1;
  problems_.insert(problems_.begin() + at, p);
  uids_.insert(uids_.begin() + at, nextUid_++);
  RefreshTable();
  SelectProblem(at);
  MarkModified();
}

void TMainWindow::DeleteProblem() {
  if (current_ < 0) return;
  const uint32_t uid = uids_[static_cast<size_t>(current_)];
  if (auto it = sessions_.find(uid); it != sessions_.end()) {
    if (it->second->Running()) {
      Message(tr("Information"), tr("The problem is being solved; stop it first."));
      return;
    }
    delete it->second;
    sessions_.erase(it);
  }
  problems_.erase(problems_.begin() + current_);
  uids_.erase(uids_.begin() + current_);
  const int next = std::min(current_, static_cast<int>(problems_.size()) - 1);
  current_ = -1;
  RefreshTable();
  SelectProblem(next);
  MarkModified();
}

void TMainWindow::MoveProblem(int delta) {
  const int to = current_ + delta;
  if (current_ < 0 || to < 0 || to >= static_cast<int>(problems_.size())) return;
  std::swap(problems_[static_cast<size_t>(current_)], problems_[static_cast<size_t>(to)]);
  std::swap(uids_[static_cast<size_t>(current_)], uids_[static_cast<size_t>(to)]);
  current_ = to;
  RefreshTable();
  SelectProblem(to);
  MarkModified();
}

// ---------------------------------------------------------------- solving

TSolveSession* TMainWindow::SessionOf(int index) const {
  if (index < 0 || index >= static_cast<int>(uids_.size())) return nullptr;
  const auto it = sessions_.find(uids_[static_cast<size_t>(index)]);
  return it == sessions_.end() ? nullptr : it->second;
}

TSolveSession* TMainWindow::CurrentSession() const {
  return SessionOf(current_);
}

int TMainWindow::RunningCount() const {
  int n = 0;
  for (const auto& [uid, s] : sessions_) n += s->Running() ? 1 : 0;
  return n;
}

bool TMainWindow::Solve() {
  if (current_ < 0) return false;
  if (TSolveSession* old = CurrentSession(); old && old->Running()) return false;
  const TProblem& p = problems_[static_cast<size_t>(current_)];
  // The position is checked with the chess model's own messages.
  try {
    TChessboard b;
    TTaskContext ctx;
    p.MakeRoot(b, ctx, true);
  } catch (const ChessException& e) {
    Message(tr("Information"), Q(e.what()));
    return false;
  }
  // PromptHeuristics, or Ctrl held: the selection first; Cancel cancels the solve.
  if ((Settings().PromptHeuristics || (QGuiApplication::keyboardModifiers() & Qt::ControlModifier)) &&
      !EditHeuristics())
    return false;
  const uint32_t uid = uids_[static_cast<size_t>(current_)];
  TSolveRequest r = RequestFromProblem(p, Settings(), uid);
  if (heuristicsChosen_) {
    r.heuristicState = heuristicState_;
    r.heuristics = heuristicState_.set;
    r.relaxation = relaxHeuristics_;
    if (heuristicState_.safeMode) r.safeMode = true;
  }
  r.title = p.description;
  if (r.title.empty()) r.title.append("#").append(std::to_string(p.moves));
  ApplyMode(r, static_cast<TGuiMode>(modeBox_->currentIndex()));
  r.threads = static_cast<uint8_t>(threads_->value());
  r.levels = static_cast<uint8_t>(levels_->value());
  r.languageId = language_;
  const TEngineTask task = defence_->isChecked() ? TEngineTask::kDefence : TEngineTask::kMate;
  if (!StartSession(std::move(r), task, loadedRegister_)) return false;
  // The register read serves this run only; the run keeps it from now on.
  loadedRegister_.reset();
  UpdateActions();
  return true;
}

bool TMainWindow::ResumeAnalysis(const TProblem& problem, TSolveRequest request) {
  if (RunningCount() >= 4) return false;
  problems_.push_back(problem);
  uids_.push_back(nextUid_++);
  RefreshTable();
  SelectProblem(static_cast<int>(problems_.size()) - 1);
  MarkModified();
  request.problemId = uids_.back();
  request.languageId = language_;
  return StartSession(std::move(request), TEngineTask::kMate, nullptr);
}

bool TMainWindow::StartSession(TSolveRequest r, TEngineTask task,
                               std::shared_ptr<TAggregatedTemporaryChessboardRegister> loaded) {
  const TProblem& p = problems_[static_cast<size_t>(current_)];
  const uint32_t uid = uids_[static_cast<size_t>(current_)];
  if (auto it = sessions_.find(uid); it != sessions_.end()) {
    delete it->second;
    sessions_.erase(it);
  }
  auto* s = new TSolveSession(p, current_ + 1);
  if (!globalRegisterOpened_) {
    globalRegister_ = OpenGlobalRegister();
    globalRegisterOpened_ = true;
  }
  s->SetGlobalRegister(globalRegister_);
  s->SetProposalAnswer([this](int, const QString& question) { return Ask(tr("Threads"), question); });
  connect(s, &TSolveSession::logAppended, this, [this, s](const QString& text) {
    if (shown_ == s) log_->appendPlainText(text.endsWith('\n') ? text.chopped(1) : text);
  });
  connect(s, &TSolveSession::statusMessage, this, [this](const QString& t) { statusBar()->showMessage(t); });
  connect(s, &TSolveSession::warning, this,
          [this](const QString& title, const QString& text) { Message(title, text); });
  connect(s, &TSolveSession::solutionFound, this, [this, s] {
    if (shown_ == s) FillTree(s);
  });
  connect(s, &TSolveSession::progress, this, [this, s] { OnSessionProgress(s); });
  connect(s, &TSolveSession::ended, this, [this, s] { OnSessionEnded(s); });
  sessions_[uid] = s;
  ShowSession(s);
  const QString refusal = s->Start(std::move(r), task, std::move(loaded));
  RefreshRow(current_);
  UpdateActions();
  if (!refusal.isEmpty()) {
    Message(tr("Information"), refusal);
    return false;
  }
  return true;
}

void TMainWindow::PauseCurrent() {
  TSolveSession* s = CurrentSession();
  if (!s || !s->Running()) return;
  s->Pause(!s->Paused());
  RefreshRow(current_);
  OnSessionProgress(s);
  UpdateActions();
}

void TMainWindow::StopCurrent() {
  if (TSolveSession* s = CurrentSession()) s->Stop();
}

void TMainWindow::ShowSession(TSolveSession* s) {
  shown_ = s;
  if (!log_) return;
  log_->setPlainText(s ? s->Log() : QString());
  endText_->setPlainText(s ? s->EndText() : QString());
  FillTree(s);
  OnSessionProgress(s);
}

void TMainWindow::OnSessionProgress(TSolveSession* s) {
  if (s != shown_ || !progress_) return;
  if (!s) {
    progress_->setValue(0);
    progress_->setFormat(QStringLiteral("%p%"));
    lineLabel_->clear();
    figures_->clear();
    return;
  }
  const TProgressSnapshot& snap = s->LastSnapshot();
  const bool completed = s->Ended() && s->Result().status == TRunStatus::kCompleted;
  progress_->setValue(completed ? 1000 : static_cast<int>(std::clamp(snap.percent, 0.0, 100.0) * 10));
  QString depth;
  if (snap.depthMoves > 0 && s->Running()) depth = Q(DepthReportLine(snap));
  progress_->setFormat(depth.isEmpty() ? QStringLiteral("%p%") : depth);
  if (s->Ended()) {
    lineLabel_->setText(s->EndText().section('\n', 0, 0));
  } else {
    const QString line = Q(ProgressLine(snap)).trimmed();
    lineLabel_->setText(tr("Line: %1").arg(Q(snap.currentLine)) + "\n" + line);
  }
  const QString state = s->Paused() ? tr("paused") : s->StatusText();
  figures_->setText(tr("Pass %1%2 | nodes %L3 | %L4 nodes/s | register %5 (%L6 entries) | %7 s | %8")
                        .arg(snap.pass)
                        .arg(Q(snap.passSuffix))
                        .arg(static_cast<qulonglong>(snap.nodes))
                        .arg(static_cast<qulonglong>(s->NodesPerSecond()))
                        .arg(Q(MemoryText(snap.registerMB)))
                        .arg(snap.registerEntries)
                        .arg(snap.seconds, 0, 'f', 1)
                        .arg(state));
}

void TMainWindow::OnSessionEnded(TSolveSession* s) {
  for (size_t i = 0; i < uids_.size(); ++i) {
    if (SessionOf(static_cast<int>(i)) == s) RefreshRow(static_cast<int>(i));
  }
  if (shown_ == s) {
    endText_->setPlainText(s->EndText());
    FillTree(s);
    OnSessionProgress(s);
  }
  UpdateActions();
  statusBar()->showMessage(s->EndText().section('\n', 0, 0), 10000);
  if (closing_ && RunningCount() == 0) close();
}

namespace {

// `dual` marks a line with duals, in the window's language.
void AddVariations(QTreeWidgetItem* parent, const std::vector<TVariation>& vs, std::vector<TMove> line,
                   int moveNo, const QString& dual) {
  for (const auto& v : vs) {
    std::vector<TMove> l = line;
    l.push_back(v.black);
    l.push_back(v.white);
    auto* item = new QTreeWidgetItem(parent);
    const QString mate = v.mate ? QStringLiteral("#") : QString();
    QString text = QStringLiteral("%1...%2 %3.%4%5")
                       .arg(moveNo)
                       .arg(Q(v.blackText))
                       .arg(moveNo + 1)
                       .arg(Q(v.whiteText))
                       .arg(mate);
    // White's other answers that are as quick: a dual.
    for (const std::string& d : v.dualTexts)
      text += QStringLiteral(", %1.%2%3").arg(moveNo + 1).arg(Q(d)).arg(mate);
    if (!v.dualTexts.empty()) text += QStringLiteral("  ") + dual;
    item->setText(0, text);
    item->setData(0, kMovesRole, PackMoves(l));
    AddVariations(item, v.next, l, moveNo + 1, dual);
  }
}

}  // namespace

void TMainWindow::FillTree(TSolveSession* s) {
  if (!tree_) return;
  tree_->clear();
  if (!s) return;
  const int n = s->Problem().moves;
  if (s->Task() == TEngineTask::kDefence) {
    for (const auto& reply : s->Result().defence.replies) {
      auto* item = new QTreeWidgetItem(tree_);
      item->setText(0, Q(reply.text));
      item->setData(0, kMovesRole, PackMoves({reply.move}));
    }
    return;
  }
  for (const TSolution& sol : s->Solutions()) {
    auto* key = new QTreeWidgetItem(tree_);
    if (!sol.confirmed) {
      // Found under heuristics, not proved: shown, but never as a solution.
      key->setText(0, tr("1.%1? (candidate of pass %2, not proved)").arg(Q(sol.keyText), Q(sol.foundInPass)));
      key->setForeground(0, QColor(128, 128, 128));
      key->setData(0, kMovesRole, PackMoves({sol.key}));
      continue;
    }
    QString text = QStringLiteral("1.%1!").arg(Q(sol.keyText));
    if (sol.mateIn > 0 && sol.mateIn < n) {
      // A shorter mate than the stipulation asks for.
      text += "  " + tr("(short mate #%1)").arg(sol.mateIn);
      QFont f = key->font(0);
      f.setItalic(true);
      key->setFont(0, f);
      key->setForeground(0, QColor(160, 60, 0));
    }
    QFont bold = key->font(0);
    bold.setBold(true);
    key->setFont(0, bold);
    key->setText(0, text);
    key->setData(0, kMovesRole, PackMoves({sol.key}));
    if (!sol.keyChecks) {
      auto* threat = new QTreeWidgetItem(key);
      // As in the copied text: "zugzwang" alone, or "threat: 2.Qh5-f7, 2.Qh5-e8".
      QString t;
      if (sol.threat.empty()) {
        t = Q(EngineText(TEngineText::kZugzwang, language_));
      } else {
        t = Q(EngineText(TEngineText::kThreat, language_)) + " ";
        QStringList moves;
        for (const auto& m : sol.threat) moves << QStringLiteral("2.") + Q(m);
        t += moves.join(QStringLiteral(", "));
      }
      threat->setText(0, t);
      threat->setData(0, kMovesRole, PackMoves({sol.key}));
    }
    AddVariations(key, sol.variations, {sol.key}, 1, tr("(dual)"));
  }
  tree_->expandToDepth(0);
}

void TMainWindow::OnTreeItem(QTreeWidgetItem* item) {
  TSolveSession* s = shown_;
  if (!item || !s) return;
  const std::vector<TMove> moves = UnpackMoves(item->data(0, kMovesRole).toByteArray());
  board_->SetSquares(BoardAfter(s->Problem(), moves));
  board_->SetEditable(false);
  viewedLine_ = item->text(0);
  viewLabel_->setText(tr("After %1").arg(viewedLine_));
  backButton_->setVisible(true);
}

void TMainWindow::CopySolution() {
  TSolveSession* s = shown_;
  if (!s) return;
  QString text = Q(SolutionsText(s->Solutions(), language_));
  if (!s->EndText().isEmpty()) text += "\n" + s->EndText() + "\n";
  QGuiApplication::clipboard()->setText(text);
}

bool TMainWindow::StoreSolution() {
  TSolveSession* s = CurrentSession();
  if (current_ < 0 || !s || !s->Ended() || s->Task() != TEngineTask::kMate) return false;
  if (s->Result().status == TRunStatus::kRefused || s->Result().status == TRunStatus::kFailed) return false;
  if (s->Result().status == TRunStatus::kStopped &&
      !Ask(tr("Information"),
           tr("The analysis was stopped: its keys may be incomplete. Store them anyway?")) &&
      !quiet_)
    return false;
  TProblem& p = problems_[static_cast<size_t>(current_)];
  p.StoreFoundKeys(ProvedKeyTexts(s->Solutions()));
  RefreshRow(current_);
  MarkModified();
  return true;
}

void TMainWindow::ShowManualControlWarning() {
  manualWarned_ = true;
  Message(tr("Manual control"), Q(kManualControlWarning));
}

bool TMainWindow::ManualControl(TManualControl c, const TMove* target) {
  TSolveSession* s = CurrentSession();
  if (!s || !s->Running() || !Settings().EnableManualEngineControl) return false;
  // A skipped move is never searched: the user reads why once before acting.
  if (!manualWarned_) ShowManualControlWarning();
  const bool done = s->Control(c, target);
  if (!done) statusBar()->showMessage(tr("Nothing to act on at the first level now."), 5000);
  return done;
}

QStringList TMainWindow::RootMoves() const {
  QStringList out;
  if (current_ < 0) return out;
  try {
    TChessboard b;
    TTaskContext ctx;
    problems_[static_cast<size_t>(current_)].MakeRoot(b, ctx, true);
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(b, moves);
    for (int i = 0; i < n; ++i) out << Q(MoveToUci(moves[i]));
  } catch (const std::exception&) {
    // An invalid position has no moves to offer.
  }
  return out;
}

bool TMainWindow::SkipTo(const QString& uciMove) {
  if (current_ < 0) return false;
  try {
    TChessboard b;
    TTaskContext ctx;
    problems_[static_cast<size_t>(current_)].MakeRoot(b, ctx, true);
    TMove moves[kMaxMoves];
    const int n = GenerateLegalMoves(b, moves);
    for (int i = 0; i < n; ++i)
      if (Q(MoveToUci(moves[i])) == uciMove) return ManualControl(TManualControl::kSkipTo, &moves[i]);
  } catch (const std::exception&) {
  }
  return false;
}

void TMainWindow::SkipToDialog() {
  const QStringList moves = RootMoves();
  if (moves.isEmpty() || quiet_) return;
  bool ok = false;
  const QString m = QInputDialog::getItem(this, tr("Skip to..."), tr("Move:"), moves, 0, false, &ok);
  if (ok) SkipTo(m);
}

bool TMainWindow::PauseThread(int index, bool paused) {
  TSolveSession* s = CurrentSession();
  if (!s || !s->Running() || !Settings().EnableManualEngineControl) return false;
  if (!manualWarned_) ShowManualControlWarning();
  return s->PauseThread(index, paused);
}

void TMainWindow::PauseThreadDialog() {
  TSolveSession* s = CurrentSession();
  if (!s || !s->Running() || quiet_) return;
  const int n = s->RunningThreads();
  if (n <= 0) return;
  bool ok = false;
  const int i =
      QInputDialog::getInt(this, tr("Pause one thread"),
                           tr("Thread (0-%1); a paused one is resumed:").arg(n - 1), 0, 0, n - 1, 1, &ok);
  if (ok) PauseThread(i, !s->ThreadPaused(i));
}

// ---------------------------------------------------------------- registers

void TMainWindow::ReadRegisterDialog() {
  const QString p =
      QFileDialog::getOpenFileName(this, tr("Read temporary register"), Q(SavedTmpRegisterFolder().string()),
                                   tr("Temporary registers (*.tmpReg *.TMPREG32);;All files (*)"));
  if (!p.isEmpty()) ReadRegisterFrom(p);
}

bool TMainWindow::ReadRegisterFrom(const QString& path) {
  std::string report;
  auto reg = ReadRegister(path.toStdString(), &report);
  if (!reg) {
    Message(QString::fromLatin1(kTitleError), Q(report), true);
    return false;
  }
  loadedRegister_ = reg;
  loadReport_ = Q(report);
  Message(QString::fromLatin1(kTitleInformation),
          loadReport_ + "\n\n" + tr("The register serves the next analysis that is started."));
  UpdateActions();
  return true;
}

std::shared_ptr<TAggregatedTemporaryChessboardRegister> TMainWindow::RegisterAtHand() const {
  TSolveSession* s = CurrentSession();
  return (s && s->Ended() && s->Register()) ? s->Register() : loadedRegister_;
}

void TMainWindow::SaveRegisterDialog() {
  if (!RegisterAtHand()) return;
  QString p =
      QFileDialog::getSaveFileName(this, tr("Save temporary register"), Q(SavedTmpRegisterFolder().string()),
                                   tr("Temporary registers (*.tmpReg)"));
  if (p.isEmpty()) return;
  if (QFileInfo(p).suffix().isEmpty()) p += kTmpRegExtension;
  SaveRegisterTo(p);
}

bool TMainWindow::SaveRegisterTo(const QString& path) {
  auto reg = RegisterAtHand();
  if (!reg) return false;
  try {
    Message(QString::fromLatin1(kTitleInformation), Q(SaveRegister(*reg, path.toStdString(), true)));
  } catch (const std::exception& e) {
    Message(QString::fromLatin1(kTitleError), Q(e.what()), true);
    return false;
  }
  return true;
}

bool TMainWindow::PinRegisterToProblem() {
  auto reg = RegisterAtHand();
  if (!reg || current_ < 0) return false;
  // The pin rewrites the collection file: it must hold what the window shows.
  if ((modified_ || path_.isEmpty()) && !SaveCurrent()) return false;
  try {
    const TPinResult r = PinRegister(path_.toStdString(), static_cast<size_t>(current_), *reg);
    problems_[static_cast<size_t>(current_)].tmpRegFile = r.number;
    RefreshRow(current_);
    UpdateActions();
    Message(QString::fromLatin1(kTitleInformation), Q(SaveReportText(r.file.string(), r.save)));
  } catch (const std::exception& e) {
    Message(QString::fromLatin1(kTitleError), Q(e.what()), true);
    return false;
  }
  return true;
}

bool TMainWindow::UnpinRegister() {
  if (current_ < 0 || path_.isEmpty()) return false;
  if (modified_ && !SaveCurrent()) return false;
  try {
    ostravel::UnpinRegister(path_.toStdString(), static_cast<size_t>(current_));
    problems_[static_cast<size_t>(current_)].tmpRegFile.reset();
    RefreshRow(current_);
    UpdateActions();
  } catch (const std::exception& e) {
    Message(QString::fromLatin1(kTitleError), Q(e.what()), true);
    return false;
  }
  return true;
}

void TMainWindow::ShowRegisterStatistics() {
  QString text;
  if (!loadReport_.isEmpty()) text += loadReport_ + "\n\n";
  if (TSolveSession* s = CurrentSession(); s && s->Register()) {
    const auto& snap = s->LastSnapshot();
    text += tr("Register of the current problem: %L1 entries, %2")
                .arg(s->Register()->ElementCount())
                .arg(Q(MemoryText(snap.registerMB)));
  }
  if (text.isEmpty()) text = tr("No register has been read or used yet.");
  Message(QString::fromLatin1(kTitleInformation), text);
}

// ---------------------------------------------------------------- options

bool TMainWindow::EditHeuristics() {
  const TProblem* problem = current_ >= 0 ? &problems_[static_cast<size_t>(current_)] : nullptr;
  THeuristicsDialog d(heuristicState_, relaxHeuristics_, language_, previousHeuristics_, problem, this);
  if (d.exec() != QDialog::Accepted) return false;
  if (!d.Message().isEmpty()) statusBar()->showMessage(d.Message(), 10000);  // a note
  if (heuristicsChosen_) previousHeuristics_ = heuristicState_;
  heuristicState_ = d.State();
  relaxHeuristics_ = d.Relaxation();
  heuristicsChosen_ = true;
  return true;
}

void TMainWindow::OptionsDialog() {
  TOptionsDialog d(Settings(), this);
  if (d.exec() != QDialog::Accepted) return;
  const TSettings s = d.Edited();
  if (RunningCount() > 0) {
    // The engine reads the settings while it runs.
    Message(tr("Information"), tr("The settings are saved and apply once the running analyses have ended."));
  }
  try {
    TOptionsDialog::Save(s, OptionsFilePath().string());
  } catch (const std::exception& e) {
    Message(tr("Error"), Q(e.what()), true);
    return;
  }
  if (RunningCount() == 0) {
    MutableSettings() = s;
    // The data folder or its memory limit may have changed.
    globalRegister_.reset();
    globalRegisterOpened_ = false;
  }
  if (s.LanguageId != language_) SetLanguage(s.LanguageId);
}

int TMainWindow::OfferForcedCloseRecovery(const std::vector<TForcedCloseAutoSave>& autoSaves) {
  int resumed = 0;
  const QString title = Q(ShellText(TShellText::kInformationTitle, language_));
  for (const TForcedCloseAutoSave& a : autoSaves) {
    const std::string file = a.registerFile.string();
    if (!a.Resumable()) {
      Message(title, Q(ForcedCloseInformationMessage(file, language_)));
      continue;
    }
    const int answer = AskYesNoCancel(title, Q(ForcedCloseQuestionMessage(file, language_)), true);
    try {
      if (answer == QMessageBox::Cancel) {
        SetAsideForcedCloseAutoSave(a);
      } else if (answer == QMessageBox::Yes) {
        if (RunningCount() >= 4) {  // ResumeAnalysis would refuse it
          // Left as it is: offered again at the next start.
          Message(title, Q(EngineText(TEngineText::kTooManyProblems, language_)) + "\n" + Q(file), true);
          continue;
        }
        // A slot is resumed as itself: the run saves on into it and removes
        // it once complete. An old single file moves into a slot first.
        TResumeSource src;
        src.slot = a.slot.empty() ? AdoptAutoSave(DataFolder(), a.registerFile, a.problemFile) : a.slot;
        const TResumePlan plan = PlanResume(src, Settings(), DataFolder());
        if (!plan.error.empty()) {
          Message(title, Q(plan.error) + "\n" + Q(file), true);
          continue;
        }
        if (ResumeAnalysis(plan.problem, plan.request)) ++resumed;
      }
    } catch (const std::exception& e) {
      Message(title, Q(e.what()) + "\n" + Q(file), true);
    }
  }
  return resumed;
}

void TMainWindow::AddCrashTestItem() {
  if (actions_.count("crashTest")) return;
  QAction* a = MakeAction("crashTest");
  a->setText(tr("Test the crash handler (crashes the program)"));
  connect(a, &QAction::triggered, this, [] { TriggerCrash(TCrashKind::kNullWrite); });
  helpMenu_->addSeparator();
  helpMenu_->addAction(a);
}

void TMainWindow::About() {
  Message(tr("About Ostravel"), tr("Ostravel %1\nA solver of orthodox chess directmate problems.")
                                    .arg(QStringLiteral(OSTRAVEL_VERSION)));
}

void TMainWindow::closeEvent(QCloseEvent* e) {
  const int running = RunningCount();
  if (running > 0 && !closing_) {
    const QString q = Q(PendingSearchQuitText(running, language_));
    // Quiet without an answer hook: the tests close as if Yes was chosen.
    if ((answerHook_ || !quiet_) && AskYesNoCancel(tr("Ostravel"), q, false) != QMessageBox::Yes) {
      e->ignore();
      return;
    }
  }
  if (!closing_ && !MaybeSave()) {
    e->ignore();
    return;
  }
  SaveLayout();
  if (RunningCount() > 0) {
    // Stop every run and close once the last has ended (never wait here).
    closing_ = true;
    for (auto& [uid, s] : sessions_) s->Stop();
    e->ignore();
    return;
  }
  e->accept();
}

}  // namespace ostravel::gui
