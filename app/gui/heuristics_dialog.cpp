#include "heuristics_dialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace ostravel::gui {

namespace {

QString Q(const std::string& s) {
  return QString::fromStdString(s);
}
std::string S(const QString& s) {
  return s.toStdString();
}

constexpr int kUnblockFields = 8;

// A row of widgets, left aligned.
QWidget* Row(std::initializer_list<QWidget*> widgets, int indent = 0) {
  auto* w = new QWidget;
  auto* h = new QHBoxLayout(w);
  h->setContentsMargins(indent, 0, 0, 0);
  for (QWidget* x : widgets) h->addWidget(x);
  h->addStretch();
  return w;
}

}  // namespace

QCheckBox* THeuristicsDialog::NewCheck(const char* name, const QString& text) {
  auto* c = new QCheckBox(text);
  c->setObjectName(QString::fromLatin1(name));
  return c;
}

QLineEdit* THeuristicsDialog::NewEdit(const char* name, int width, const QString& tip) {
  auto* e = new QLineEdit;
  e->setObjectName(QString::fromLatin1(name));
  e->setMaximumWidth(width);
  if (!tip.isEmpty()) e->setToolTip(tip);
  return e;
}

QCheckBox* THeuristicsDialog::Check(const char* name) const {
  return findChild<QCheckBox*>(QString::fromLatin1(name));
}

QLineEdit* THeuristicsDialog::Edit(const char* name) const {
  return findChild<QLineEdit*>(QString::fromLatin1(name));
}

THeuristicsDialog::THeuristicsDialog(const THeuristicState& current, bool relaxation, int languageId,
                                     std::optional<THeuristicState> previous, const TProblem* problem,
                                     QWidget* parent)
    : QDialog(parent),
      language_(languageId),
      previous_(std::move(previous)),
      problem_(problem),
      state_(current) {
  setWindowTitle(tr("Selection of heuristics"));
  const int sq = 40, num = 50;  // widths of square and number fields

  // The black king.
  auto* king = new QGroupBox;
  auto* kl = new QVBoxLayout(king);
  kl->addWidget(Row({NewCheck("dontLetKingMove", tr("Don't let bl.king move (unless immed.mate)")),
                     NewCheck("allowExceptions", tr("allow exc"))}));
  kl->addWidget(Row({NewCheck("edge", tr("Don't let bl.king out of the edge")),
                     NewCheck("inclCorner", tr("incl.b2/b7/g2/g7"))}));
  kl->addWidget(Row({new QLabel(tr("Don't let bl.king")), NewCheck("extEdge", tr("out of ext.edge")),
                     NewCheck("moveUnlessOnEdge", tr("move unless on the edge"))}));
  cornerUnit_ = new QComboBox;
  cornerUnit_->setObjectName("cornerUnit");
  cornerUnit_->addItem(tr("squares"));
  cornerUnit_->addItem(tr("moves away"));
  kl->addWidget(Row({NewCheck("nearCorner", tr("Keep king near corner, max.")),
                     NewEdit("cornerDistance", num), cornerUnit_}));
  kl->addWidget(Row({NewCheck("assertSurrounded", tr("Assert black king surrounded")),
                     NewCheck("surroundedStrict", tr("strict (max 2 free sqrs)"))}));

  // Dynamic relaxation of the edge heuristics.
  auto* dyn = new QGroupBox;
  auto* dl = new QVBoxLayout(dyn);
  dl->addWidget(NewCheck("dynamicRelax", tr("Dynamically relax edge/ext.edge heuristics")));
  dl->addWidget(Row({NewCheck("onAdvancedPawn", tr("on advanced pawn")),
                     new QLabel(tr("on figure(s) captured")), NewEdit("figuresCaptured", num),
                     new QLabel(tr("(0 = off)")), NewCheck("alsoPawns", tr("also pawn(s)"))},
                    20));
  dl->addWidget(
      Row({NewCheck("deferCheck", tr("defer check")), NewEdit("deferMoves", num), new QLabel(tr("moves")),
           NewCheck("extEdgeOnly", tr("applicable for ext.edge version ONLY"))},
          20));
  dl->addWidget(Row({NewCheck("skipDefer", tr("skip defer check if balance change impossible"))}, 20));
  dl->addWidget(
      Row({NewCheck("autoDynamicRelax", tr("let program automatically dyn.relax heuristics"))}, 20));

  // The other heuristics, one or two rows each.
  auto* other = new QGroupBox;
  auto* ol = new QVBoxLayout(other);
  ol->addWidget(
      Row({NewCheck("sweepingRook", tr("Sweeping white rook")),
           NewCheck("dontRecede", tr("Don't recede black king")),
           NewCheck("kingsNear", tr("Are kings near?")), NewCheck("saveQueenRook", tr("Save queen/rook"))}));
  ol->addWidget(Row({NewCheck("dontLoseFigures", tr("Don't lose any figures")),
                     NewCheck("inclPawns", tr("including pawns")),
                     NewCheck("inclPromotablePawns", tr("including promotable pawns"))}));
  ol->addWidget(Row({NewCheck("mainDiagonal", tr("Don't leave main diagonal (wh.bishop)")),
                     new QLabel(tr("Black piece not let leave main diagonal:")),
                     NewEdit("mainDiagonalBlackPiece", sq)}));
  promotedQueen_ = new QRadioButton(tr("queen"));
  promotedQueen_->setObjectName("promotedQueen");
  promotedQueen_->setChecked(true);
  promotedAny_ = new QRadioButton(tr("any figure move"));
  promotedAny_->setObjectName("promotedAny");
  ol->addWidget(Row({NewCheck("dontLetPromoted", tr("Don't let promoted")), promotedQueen_, promotedAny_,
                     NewCheck("promotedStrict", tr("strict (less exceptions)"))}));
  ol->addWidget(Row({NewCheck("queenCheckTwice", tr("Don't let black queen check twice"))}));
  auto* unblock = new QWidget;
  auto* ul = new QHBoxLayout(unblock);
  ul->setContentsMargins(0, 0, 0, 0);
  ul->addWidget(NewCheck("dontLetUnblock", tr("Don't let unblock figure")));
  for (int i = 0; i < kUnblockFields; ++i) {
    const QByteArray name = "unblock" + QByteArray::number(i + 1);
    auto* e = NewEdit(name.constData(), sq, tr("Figure not let unblock #%1").arg(i + 1));
    ul->addWidget(e);
  }
  ul->addStretch();
  ol->addWidget(unblock);
  ol->addWidget(Row({NewCheck("unblockDynamic", tr("let program apply this heuristics dynamically"))}, 20));
  ol->addWidget(
      Row({NewCheck("reduceToGlobalRegister", tr("Try reduce pos.to global reg. (endgame tablebase)")),
           NewCheck("threeMovesToMate", tr("Check position on 3 moves to mate"))}));
  ol->addWidget(Row({NewCheck("singleQueenMate", tr("Single queen mate")),
                     NewCheck("skipWorstWhiteMoves", tr("Skip worst wh.moves")),
                     NewCheck("captureKnight", tr("Capture black knight"))}));
  colourMode_ = new QComboBox;
  colourMode_->setObjectName("colourMode");
  colourMode_->addItems({QStringLiteral("WhiteSquaresOnly"), QStringLiteral("BlackSquaresOnly"),
                         QStringLiteral("SeparatedBlackBishop")});
  ol->addWidget(Row({NewCheck("oneColourPlay", tr("One color play possible")), colourMode_}));
  ol->addWidget(Row({NewCheck("keyWhiteFigure", tr("Key white figure")), NewEdit("keyWhiteFigureSquare", sq),
                     NewCheck("keyLine", tr("Key line (vertical)")), NewEdit("keyLineFile", sq)}));
  ol->addWidget(Row({NewCheck("keyDiagonal", tr("Key diagonal")),
                     NewEdit("keyDiagonalField1", sq, tr("Key diagonal - field 1")),
                     NewEdit("keyDiagonalField2", sq, tr("Key diagonal - field 2"))}));
  ol->addWidget(Row({NewCheck("zugzwang", tr("Zugzwang position to return to")),
                     NewEdit("zugzwangMoves", 220), new QLabel(tr("after")), NewEdit("zugzwangAfter", num)}));
  ol->addWidget(
      Row({NewCheck("seaSnake", tr("Sea snake")), new QLabel(tr("approach")), NewEdit("seaSnakeApproach", sq),
           new QLabel(tr("turn back")), NewEdit("seaSnakeTurnBack", sq), new QLabel(tr("pendulum")),
           NewEdit("seaSnakePendulum1", sq), NewEdit("seaSnakePendulum2", sq), new QLabel(tr("only after")),
           NewEdit("seaSnakeAfter", num)}));

  // FindForcedMate.
  auto* ffm = new QGroupBox(QStringLiteral("FindForcedMate"));
  auto* fl = new QVBoxLayout(ffm);
  ffmLevel_ = new QComboBox;
  ffmLevel_->setObjectName("ffmLevel");
  ffmLevel_->addItem(tr("check+excps"));
  for (int n = 1; n <= 5; ++n) ffmLevel_->addItem(tr("threat #%1").arg(n));
  fl->addWidget(
      Row({NewCheck("ffm", tr("First run FindForcedMate")), ffmLevel_,
           NewCheck("ffmAddCaptures", tr("add captures of fig.in bl.king neighborh.in FFM #2/#2+..."))}));
  ffmCompany_[0] = NewCheck("ffmPartially", tr("Partially"));
  ffmCompany_[1] = NewCheck("ffmPartiallyWithEdgePass", tr("Partially + initial pass with edge heur."));
  ffmCompany_[2] = NewCheck("ffmWithOthers", tr("FFM with other heuristics"));
  fl->addWidget(Row({ffmCompany_[0], ffmCompany_[1], ffmCompany_[2]}, 20));
  // One way of joining the other heuristics at most.
  for (QCheckBox* c : ffmCompany_)
    connect(c, &QCheckBox::toggled, this, [this, c](bool on) {
      if (!on) return;
      for (QCheckBox* o : ffmCompany_)
        if (o != c) o->setChecked(false);
    });
  fl->addWidget(Row({NewCheck("letRelaxFfm", tr("Let relax FFM")),
                     NewEdit("ffmRelaxations", num, tr("Number of heuristics relaxations for FFM"))},
                    20));

  // The problem's settings and the relaxation.
  auto* run = new QGroupBox;
  auto* rl = new QVBoxLayout(run);
  rl->addWidget(Row({new QLabel(tr("Depth for quicker mate (blank = default)")),
                     NewEdit("lfqmDepth", num, tr("LFQMDepth: 0 to 9 moves"))}));
  auto* relax = NewCheck("relaxation", tr("Relaxation of heuristics"));
  relax->setChecked(relaxation);
  showButton_ = new QPushButton(tr("Show"));
  showButton_->setObjectName("show");
  showButton_->setToolTip(tr("The path of relaxation (automatic, its order cannot be changed)"));
  connect(showButton_, &QPushButton::clicked, this, &THeuristicsDialog::ShowPath);
  previousButton_ = new QPushButton(tr("Previous settings"));
  previousButton_->setObjectName("previous");
  connect(previousButton_, &QPushButton::clicked, this, &THeuristicsDialog::UsePrevious);
  rl->addWidget(Row({relax, showButton_, previousButton_}));

  auto* inner = new QWidget;
  auto* il = new QVBoxLayout(inner);
  for (QWidget* w : {static_cast<QWidget*>(king), static_cast<QWidget*>(dyn), static_cast<QWidget*>(other),
                     static_cast<QWidget*>(ffm), static_cast<QWidget*>(run)})
    il->addWidget(w);
  auto* scroll = new QScrollArea;
  scroll->setWidget(inner);
  scroll->setWidgetResizable(true);

  message_ = new QLabel;
  message_->setObjectName("message");
  message_->setWordWrap(true);
  path_ = new QPlainTextEdit;
  path_->setObjectName("path");
  path_->setReadOnly(true);
  path_->setMaximumHeight(90);
  path_->hide();
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  connect(buttons, &QDialogButtonBox::accepted, this, &THeuristicsDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(scroll, 1);
  layout->addWidget(message_);
  layout->addWidget(path_);
  layout->addWidget(buttons);
  resize(760, 640);

  SetSelection(SelectionOfState(current, relaxation));
  if (current.set == 0)
    ShowMessage(Q(HeuristicSelectionText(THeuristicSelectionText::kNoHeuristicsSelected, language_)), false);
}

THeuristicSelection THeuristicsDialog::Selection() const {
  THeuristicSelection f;
  f.kept = kept_;
  const auto on = [this](const char* name) { return Check(name)->isChecked(); };
  const auto text = [this](const char* name) { return S(Edit(name)->text()); };
  f.dontLetKingMove = on("dontLetKingMove");
  f.allowExceptions = on("allowExceptions");
  f.edge = on("edge");
  f.inclCorner = on("inclCorner");
  f.extEdge = on("extEdge");
  f.moveUnlessOnEdge = on("moveUnlessOnEdge");
  f.nearCorner = on("nearCorner");
  f.cornerDistance = text("cornerDistance");
  f.cornerInMoves = cornerUnit_->currentIndex() == 1;
  f.assertSurrounded = on("assertSurrounded");
  f.surroundedStrict = on("surroundedStrict");
  f.dynamicRelax = on("dynamicRelax");
  f.onAdvancedPawn = on("onAdvancedPawn");
  f.figuresCaptured = text("figuresCaptured");
  f.alsoPawns = on("alsoPawns");
  f.deferCheck = on("deferCheck");
  f.deferMoves = text("deferMoves");
  f.extEdgeOnly = on("extEdgeOnly");
  f.skipDeferIfNoBalanceChange = on("skipDefer");
  f.autoDynamicRelax = on("autoDynamicRelax");
  f.sweepingRook = on("sweepingRook");
  f.dontRecede = on("dontRecede");
  f.kingsNear = on("kingsNear");
  f.saveQueenRook = on("saveQueenRook");
  f.dontLoseFigures = on("dontLoseFigures");
  f.inclPawns = on("inclPawns");
  f.inclPromotablePawns = on("inclPromotablePawns");
  f.mainDiagonal = on("mainDiagonal");
  f.mainDiagonalBlackPiece = text("mainDiagonalBlackPiece");
  f.dontLetPromoted = on("dontLetPromoted");
  f.promotedAnyFigure = promotedAny_->isChecked();
  f.promotedStrict = on("promotedStrict");
  f.queenCheckTwice = on("queenCheckTwice");
  f.dontLetUnblock = on("dontLetUnblock");
  for (int i = 0; i < kUnblockFields; ++i)
    f.unblockSquares.push_back(text(("unblock" + std::to_string(i + 1)).c_str()));
  f.unblockDynamic = on("unblockDynamic");
  f.reduceToGlobalRegister = on("reduceToGlobalRegister");
  f.threeMovesToMate = on("threeMovesToMate");
  f.singleQueenMate = on("singleQueenMate");
  f.skipWorstWhiteMoves = on("skipWorstWhiteMoves");
  f.oneColourPlay = on("oneColourPlay");
  f.colourMode = colourMode_->currentIndex() + 1;
  f.keyWhiteFigure = on("keyWhiteFigure");
  f.keyWhiteFigureSquare = text("keyWhiteFigureSquare");
  f.keyLine = on("keyLine");
  f.keyLineFile = text("keyLineFile");
  f.keyDiagonal = on("keyDiagonal");
  f.keyDiagonalField1 = text("keyDiagonalField1");
  f.keyDiagonalField2 = text("keyDiagonalField2");
  f.zugzwang = on("zugzwang");
  f.zugzwangMoves = text("zugzwangMoves");
  f.zugzwangAfter = text("zugzwangAfter");
  f.captureKnight = on("captureKnight");
  f.seaSnake = on("seaSnake");
  f.seaSnakeApproach = text("seaSnakeApproach");
  f.seaSnakeTurnBack = text("seaSnakeTurnBack");
  f.seaSnakePendulum1 = text("seaSnakePendulum1");
  f.seaSnakePendulum2 = text("seaSnakePendulum2");
  f.seaSnakeAfter = text("seaSnakeAfter");
  f.ffm = on("ffm");
  f.ffmCompany = THeuristicSelection::kFfmAlone;
  if (ffmCompany_[0]->isChecked()) f.ffmCompany = THeuristicSelection::kFfmPartially;
  if (ffmCompany_[1]->isChecked()) f.ffmCompany = THeuristicSelection::kFfmPartiallyWithEdgePass;
  if (ffmCompany_[2]->isChecked()) f.ffmCompany = THeuristicSelection::kFfmWithOthers;
  f.ffmThreat = ffmLevel_->currentIndex();
  f.ffmAddCaptures = on("ffmAddCaptures");
  f.letRelaxFfm = on("letRelaxFfm");
  f.ffmRelaxations = text("ffmRelaxations");
  f.lfqmDepth = text("lfqmDepth");
  f.relaxation = on("relaxation");
  return f;
}

void THeuristicsDialog::SetSelection(const THeuristicSelection& f) {
  kept_ = f.kept;
  const auto set = [this](const char* name, bool on) { Check(name)->setChecked(on); };
  const auto put = [this](const char* name, const std::string& text) { Edit(name)->setText(Q(text)); };
  set("dontLetKingMove", f.dontLetKingMove);
  set("allowExceptions", f.allowExceptions);
  set("edge", f.edge);
  set("inclCorner", f.inclCorner);
  set("extEdge", f.extEdge);
  set("moveUnlessOnEdge", f.moveUnlessOnEdge);
  set("nearCorner", f.nearCorner);
  put("cornerDistance", f.cornerDistance);
  cornerUnit_->setCurrentIndex(f.cornerInMoves ? 1 : 0);
  set("assertSurrounded", f.assertSurrounded);
  set("surroundedStrict", f.surroundedStrict);
  set("dynamicRelax", f.dynamicRelax);
  set("onAdvancedPawn", f.onAdvancedPawn);
  put("figuresCaptured", f.figuresCaptured);
  set("alsoPawns", f.alsoPawns);
  set("deferCheck", f.deferCheck);
  put("deferMoves", f.deferMoves);
  set("extEdgeOnly", f.extEdgeOnly);
  set("skipDefer", f.skipDeferIfNoBalanceChange);
  set("autoDynamicRelax", f.autoDynamicRelax);
  set("sweepingRook", f.sweepingRook);
  set("dontRecede", f.dontRecede);
  set("kingsNear", f.kingsNear);
  set("saveQueenRook", f.saveQueenRook);
  set("dontLoseFigures", f.dontLoseFigures);
  set("inclPawns", f.inclPawns);
  set("inclPromotablePawns", f.inclPromotablePawns);
  set("mainDiagonal", f.mainDiagonal);
  put("mainDiagonalBlackPiece", f.mainDiagonalBlackPiece);
  set("dontLetPromoted", f.dontLetPromoted);
  (f.promotedAnyFigure ? promotedAny_ : promotedQueen_)->setChecked(true);
  set("promotedStrict", f.promotedStrict);
  set("queenCheckTwice", f.queenCheckTwice);
  set("dontLetUnblock", f.dontLetUnblock);
  for (int i = 0; i < kUnblockFields; ++i)
    put(("unblock" + std::to_string(i + 1)).c_str(),
        static_cast<size_t>(i) < f.unblockSquares.size() ? f.unblockSquares[static_cast<size_t>(i)] : "");
  set("unblockDynamic", f.unblockDynamic);
  set("reduceToGlobalRegister", f.reduceToGlobalRegister);
  set("threeMovesToMate", f.threeMovesToMate);
  set("singleQueenMate", f.singleQueenMate);
  set("skipWorstWhiteMoves", f.skipWorstWhiteMoves);
  set("oneColourPlay", f.oneColourPlay);
  colourMode_->setCurrentIndex(f.colourMode >= 1 && f.colourMode <= 3 ? f.colourMode - 1 : 0);
  set("keyWhiteFigure", f.keyWhiteFigure);
  put("keyWhiteFigureSquare", f.keyWhiteFigureSquare);
  set("keyLine", f.keyLine);
  put("keyLineFile", f.keyLineFile);
  set("keyDiagonal", f.keyDiagonal);
  put("keyDiagonalField1", f.keyDiagonalField1);
  put("keyDiagonalField2", f.keyDiagonalField2);
  set("zugzwang", f.zugzwang);
  put("zugzwangMoves", f.zugzwangMoves);
  put("zugzwangAfter", f.zugzwangAfter);
  set("captureKnight", f.captureKnight);
  set("seaSnake", f.seaSnake);
  put("seaSnakeApproach", f.seaSnakeApproach);
  put("seaSnakeTurnBack", f.seaSnakeTurnBack);
  put("seaSnakePendulum1", f.seaSnakePendulum1);
  put("seaSnakePendulum2", f.seaSnakePendulum2);
  put("seaSnakeAfter", f.seaSnakeAfter);
  set("ffm", f.ffm);
  for (QCheckBox* c : ffmCompany_) c->setChecked(false);
  if (f.ffmCompany != THeuristicSelection::kFfmAlone) ffmCompany_[f.ffmCompany - 1]->setChecked(true);
  ffmLevel_->setCurrentIndex(f.ffmThreat >= 0 && f.ffmThreat <= 5 ? f.ffmThreat : 0);
  set("ffmAddCaptures", f.ffmAddCaptures);
  set("letRelaxFfm", f.letRelaxFfm);
  put("ffmRelaxations", f.ffmRelaxations);
  put("lfqmDepth", f.lfqmDepth);
  set("relaxation", f.relaxation);
}

bool THeuristicsDialog::Relaxation() const {
  return Check("relaxation")->isChecked();
}

QString THeuristicsDialog::Message() const {
  return message_->text();
}

QString THeuristicsDialog::PathText() const {
  return path_->toPlainText();
}

void THeuristicsDialog::ShowMessage(const QString& text, bool error) {
  message_->setText(text);
  message_->setStyleSheet(error ? QStringLiteral("color: #b00020;") : QString());
}

void THeuristicsDialog::accept() {
  THeuristicState s;
  std::string note;
  const std::string error = ValidateHeuristicSelection(Selection(), language_, &s, &note, problem_);
  if (!error.empty()) {
    ShowMessage(Q(error), true);
    return;  // stays open for the correction
  }
  ShowMessage(Q(note), false);
  state_ = std::move(s);
  QDialog::accept();
}

void THeuristicsDialog::ShowPath() {
  THeuristicState s;
  const std::string error = ValidateHeuristicSelection(Selection(), language_, &s, nullptr, problem_);
  if (!error.empty()) {
    ShowMessage(Q(error), true);
    return;
  }
  QStringList lines;
  if (!Relaxation()) s.ffmRelaxations = 0;
  for (const std::string& line : RelaxationPathTexts(s)) lines << Q(line);
  path_->setPlainText(lines.join('\n'));
  path_->show();
}

void THeuristicsDialog::UsePrevious() {
  if (!previous_) {
    ShowMessage(Q(HeuristicSelectionText(THeuristicSelectionText::kNoPreviousSettings, language_)), false);
    return;
  }
  SetSelection(SelectionOfState(*previous_, Relaxation()));
  ShowMessage({}, false);
}

}  // namespace ostravel::gui
