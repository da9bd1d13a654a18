// Widget tests of the main window: the position editor, the collections, a
// solve from start to the key in the tree, pause and stop of a long search,
// a stored solution read back, and the language switch.
#include <sys/wait.h>
#include <unistd.h>

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QThread>
#include <QTreeWidget>
#include <QXmlStreamReader>
#include <QtTest>
#include <filesystem>

#include "board_widget.h"
#include "chess/board.h"
#include "config/autosave_info.h"
#include "config/ini_file.h"
#include "config/paths.h"
#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/engine_texts.h"
#include "engine/heuristics.h"
#include "engine/solve_request.h"
#include "heuristics_dialog.h"
#include "main_window.h"
#include "options_dialog.h"
#include "platform/forced_close.h"
#include "platform/texts.h"
#include "precalc/precalc_generator.h"
#include "precalc/precalc_store.h"
#include "solve_session.h"

using namespace ostravel;
using namespace ostravel::gui;

namespace {

const QString kSample = QStringLiteral(OSTRAVEL_SOURCE_DIR "/data/sample_problems.cp");

// Row of a sample problem by its reference id (data/sample_problems_sources.tsv
// maps record numbers to ids; the descriptions name author and source).
int RowOf(const TMainWindow& w, const std::string& id) {
  QFile f(QStringLiteral(OSTRAVEL_SOURCE_DIR "/data/sample_problems_sources.tsv"));
  if (!f.open(QIODevice::ReadOnly)) return -1;
  while (!f.atEnd()) {
    const QStringList cols = QString::fromUtf8(f.readLine()).split('\t');
    if (cols.size() < 2 || cols[1].toStdString() != id) continue;
    const int row = cols[0].toInt() - 1;
    return row >= 0 && row < static_cast<int>(w.Problems().size()) ? row : -1;
  }
  return -1;
}

// Sorted: keys found by several threads arrive in any order.
QStringList TopLevelTexts(QTreeWidget* t) {
  QStringList out;
  for (int i = 0; i < t->topLevelItemCount(); ++i) out << t->topLevelItem(i)->text(0);
  out.sort();
  return out;
}

// A position no engine proves quickly: the game's start, mate in 6.
void SetUpLongProblem(TMainWindow& w) {
  w.Action("addProblem")->trigger();
  w.Action("initialPosition")->trigger();
  w.StipulationBox()->setValue(6);
}

// Retries an action that acts only at certain moments of a run (the first
// level's queue exists only while a stage searches), for up to ten seconds.
template <class F>
bool Eventually(F f) {
  for (int i = 0; i < 400; ++i) {
    if (f()) return true;
    QThread::msleep(25);
    QCoreApplication::processEvents();
  }
  return false;
}

// A board whose drags end at once with a given result, as if the user had let
// the piece go over a target that took it, or over nothing.
class TDropBoard : public TBoardWidget {
 public:
  Qt::DropAction result = Qt::IgnoreAction;
  int drags = 0;

 protected:
  Qt::DropAction RunDrag(uint8_t, int) override {
    ++drags;
    return result;
  }
};

// Presses the left button on a square and moves the mouse far enough to drag.
void DragFrom(TBoardWidget& b, int sq) {
  const QPointF at = b.SquareRect(sq).center();
  QMouseEvent press(QEvent::MouseButtonPress, at, b.mapToGlobal(at), Qt::LeftButton, Qt::LeftButton,
                    Qt::NoModifier);
  QCoreApplication::sendEvent(&b, &press);
  const QPointF to = at + QPointF(12, 12);
  QMouseEvent move(QEvent::MouseMove, to, b.mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
  QCoreApplication::sendEvent(&b, &move);
}

void PressOk(QDialog& d) {
  auto* box = d.findChild<QDialogButtonBox*>();
  QVERIFY(box);
  QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

}  // namespace

class TGuiTest : public QObject {
  Q_OBJECT

 private:
  QTemporaryDir tmp_;

 private slots:
  void initTestCase() {
    // Each run starts from an empty home: no options, no window layout.
    QByteArray home = qgetenv("OSTRAVEL_HOME");
    if (home.isEmpty()) {
      home = tmp_.path().toUtf8() + "/home";
      qputenv("OSTRAVEL_HOME", home);
    }
    QDir(QString::fromUtf8(home)).removeRecursively();
    QVERIFY(QDir().mkpath(QString::fromUtf8(home)));
    // No online tablebase: the tests never reach beyond this machine.
    QFile ini(QString::fromUtf8(home) + "/options.ini");
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("[chess]\nLichessLevels=-1\n");
    ini.close();
    LoadSettings();
  }

  void editorSetsUpAPosition() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    w.Action("clearBoard")->trigger();
    QCOMPARE(w.Problems().size(), size_t(1));
    TBoardWidget* b = w.Board();
    b->PlacePiece(WK, kE1);
    b->PlacePiece(WR, kH1);
    b->PlacePiece(BK, kE8);
    b->PlacePiece(WQ, SquareOf(3, 3));             // d4
    b->MovePiece(SquareOf(3, 3), SquareOf(3, 6));  // to d7
    b->PlacePiece(BP, SquareOf(0, 6));
    b->RemovePiece(SquareOf(0, 6));
    QCOMPARE(w.CurrentFen(), QStringLiteral("4k3/3Q4/8/8/8/8/8/4K2R w - - 0 1"));
    // Castling is granted only where king and rook stand at home.
    for (QCheckBox* c : w.findChildren<QCheckBox*>())
      if (c->text() == "0-0") c->setChecked(true);
    for (QCheckBox* c : w.findChildren<QCheckBox*>())
      if (c->text() == "0-0-0") c->setChecked(true);
    QCOMPARE(w.CurrentFen(), QStringLiteral("4k3/3Q4/8/8/8/8/8/4K2R w K - 0 1"));
    w.SideBox()->setCurrentIndex(1);
    QVERIFY(w.CurrentFen().contains(" b "));
    w.SideBox()->setCurrentIndex(0);
    // Moving the rook loses the right.
    b->MovePiece(kH1, kH1 - 1);
    QCOMPARE(w.CurrentFen(), QStringLiteral("4k3/3Q4/8/8/8/8/8/4K1R1 w - - 0 1"));

    w.Action("flip")->trigger();
    QVERIFY(b->Flipped());
    // e1 is drawn at the top once flipped.
    QVERIFY(b->SquareRect(kE1).top() < b->SquareRect(kE8).top());
    w.Action("flip")->trigger();

    QVERIFY(w.SetFen("8/8/8/8/8/8/8/k1K5 w - - 0 1"));
    QCOMPARE(b->PieceAt(SquareOf(2, 0)), WK);
    QVERIFY(!w.SetFen("not a fen"));
    // Copy and paste go through the clipboard.
    w.Action("copyFen")->trigger();
    QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("8/8/8/8/8/8/8/k1K5 w - - 0 1"));
    QGuiApplication::clipboard()->setText("4k3/8/8/8/8/8/8/R3K3 b Q - 0 1");
    w.Action("pasteFen")->trigger();
    QCOMPARE(w.CurrentFen(), QStringLiteral("4k3/8/8/8/8/8/8/R3K3 b Q - 0 1"));
    QCOMPARE(w.SideBox()->currentIndex(), 1);
    w.Action("initialPosition")->trigger();
    QCOMPARE(w.CurrentFen(), QStringLiteral("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"));

    // The chess model's message when the position is solved.
    w.Action("clearBoard")->trigger();
    b->PlacePiece(WK, kE1);
    QVERIFY(!w.Solve());
    QCOMPARE(w.LastMessage(), QStringLiteral("Illegal number of kings."));
  }

  void epSquareGoesWithItsPawn() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    TBoardWidget* b = w.Board();
    auto* ep = w.findChild<QComboBox*>("epSquare");
    const int d5 = SquareOf(3, 4), d6 = SquareOf(3, 5), e4 = SquareOf(4, 3), e3 = SquareOf(4, 2);
    QVERIFY(w.SetFen("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1"));
    QCOMPARE(ep->currentData().toInt(), d6);
    // Other edits leave it.
    b->MovePiece(kE1, SquareOf(3, 0));
    QCOMPARE(w.CurrentFen(), QStringLiteral("4k3/8/8/3pP3/8/8/8/3K4 w - D6 0 1"));
    // The pawn moved on: no e.p. capture, in the record and in the box.
    b->MovePiece(d5, SquareOf(3, 3));
    QCOMPARE(w.CurrentFen(), QStringLiteral("4k3/8/8/4P3/3p4/8/8/3K4 w - - 0 1"));
    QCOMPARE(ep->currentData().toInt(), -1);
    QCOMPARE(w.Problems()[0].position.rootEpSquare, int8_t(-1));
    // The pawn removed; and a piece on the square it crossed.
    QVERIFY(w.SetFen("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1"));
    QCOMPARE(ep->currentData().toInt(), e3);
    b->RemovePiece(e4);
    QVERIFY(w.CurrentFen().endsWith(" b - - 0 1"));
    QVERIFY(w.SetFen("4k3/8/8/8/3pP3/8/8/4K3 b - e3 0 1"));
    b->PlacePiece(WN, e3);
    QCOMPARE(ep->currentData().toInt(), -1);
  }

  void aPieceDroppedBesideTheBoardLeavesIt() {
    TDropBoard b;
    b.resize(320, 320);
    b.PlacePiece(WQ, kE1);
    b.PlacePiece(WR, kH1);
    // Taken by a target (a square, the palette): the target did the edit.
    b.result = Qt::MoveAction;
    DragFrom(b, kE1);
    QCOMPARE(b.drags, 1);
    QCOMPARE(b.PieceAt(kE1), WQ);
    // Dropped where nothing takes it: removed.
    b.result = Qt::IgnoreAction;
    DragFrom(b, kE1);
    QCOMPARE(b.drags, 2);
    QCOMPARE(b.PieceAt(kE1), uint8_t(0));
    QCOMPARE(b.PieceAt(kH1), WR);
    // A board showing a solution's position is not edited.
    b.SetEditable(false);
    DragFrom(b, kH1);
    QCOMPARE(b.drags, 2);
    QCOMPARE(b.PieceAt(kH1), WR);
  }

  void asksThePrecalculatedDataAndSaysWhichWereUsed() {
    // Rook and king against king, generated into a folder of its own.
    QTemporaryDir data;
    {
      CPrecalcStore store(data.path().toStdString(), 1u << 26);
      TPrecalcGenOptions o;
      o.threads = 2;
      GeneratePrecalcFiles({"KRk"}, store, o, false, nullptr, nullptr);
    }
    const std::string before = Settings().PrecalcPath;
    MutableSettings().PrecalcPath = data.path().toStdString();
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    QVERIFY(w.SetFen("k7/8/2K5/8/8/8/8/1R6 w - - 0 1"));
    w.StipulationBox()->setValue(3);
    QVERIFY(w.Solve());
    QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);
    MutableSettings().PrecalcPath = before;
    QCOMPARE(w.CurrentSession()->Result().status, TRunStatus::kCompleted);
    // The notice the command line prints, in the run's log.
    const QString log = w.CurrentSession()->Log();
    QVERIFY2(log.contains("Global registers used: KRk"), qPrintable(log));
    QVERIFY(w.findChild<QPlainTextEdit*>("log")->toPlainText().contains("Global registers used: KRk"));
  }

  void exportsTheDiagramAsSvgAndPng() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    QVERIFY(!w.Action("exportDiagram")->isEnabled());
    QVERIFY(w.SetFen("8/3R4/5k2/8/6B1/6N1/4N3/K1B5 w - - 0 1"));
    QVERIFY(w.Action("exportDiagram")->isEnabled());
    const QString svg = tmp_.path() + "/diagram.svg", png = tmp_.path() + "/diagram.png";
    QVERIFY(w.ExportDiagram(svg));
    QVERIFY(w.ExportDiagram(png));
    // The SVG is well-formed and holds every piece on its square.
    QFile f(svg);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&f);
    QStringList pieces;
    while (!xml.atEnd()) {
      if (xml.readNext() == QXmlStreamReader::StartElement && xml.attributes().hasAttribute("data-piece"))
        pieces << xml.attributes().value("data-piece").toString() +
                      xml.attributes().value("data-square").toString();
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(pieces.size(), 7);
    QVERIFY(pieces.contains("Rd7"));
    QVERIFY(pieces.contains("kf6"));
    // The PNG is a picture of it, larger than a blank board would compress to.
    QImage image(png);
    QVERIFY(!image.isNull());
    QVERIFY(image.width() >= 8 * 48);
    QVERIFY(image.height() > image.width());  // the stipulation line below the board
    // The dark squares are hatched (Qt's renderer has no SVG patterns): the
    // empty b8 is partly black, the empty a8 white.
    const auto blackShare = [&](int file, int rank) {
      const double unit = image.width() / 8.5;  // 48 px squares in a 408 px wide picture
      const QRect r(int(unit / 4 + file * unit) + 4, int(unit / 4 + (7 - rank) * unit) + 4, int(unit) - 8,
                    int(unit) - 8);
      int black = 0;
      for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x) black += qGray(image.pixel(x, y)) < 128;
      return double(black) / (r.width() * r.height());
    };
    QVERIFY(blackShare(1, 7) > 0.25);
    QCOMPARE(blackShare(0, 7), 0.0);
    QVERIFY(!w.ExportDiagram(tmp_.path() + "/no/such/folder/d.svg"));
  }

  void opensTheSampleAndSolvesATwoMover() {
    TMainWindow w;
    w.SetQuiet(true);
    QVERIFY(w.OpenCollection(kSample));
    QVERIFY(w.Problems().size() > 20);
    QCOMPARE(w.ProblemTable()->rowCount(), static_cast<int>(w.Problems().size()));
    const int row = RowOf(w, "vaeth-05");
    QVERIFY(row >= 0);
    w.ProblemTable()->setCurrentCell(row, 0);
    QCOMPARE(w.CurrentProblem(), row);
    QCOMPARE(w.ProblemTable()->item(row, 1)->text(), QStringLiteral("#2"));
    w.ModeBox()->setCurrentIndex(static_cast<int>(TGuiMode::kAll));
    QVERIFY(w.Solve());
    TSolveSession* s = w.CurrentSession();
    QVERIFY(s);
    QTRY_VERIFY_WITH_TIMEOUT(s->Ended(), 20000);
    QCOMPARE(s->Result().status, TRunStatus::kCompleted);
    QCOMPARE(TopLevelTexts(w.SolutionTree()), QStringList{"1.Bg4-f5!"});
    QCOMPARE(w.ProblemTable()->item(row, 5)->text(), QStringLiteral("Completed"));
    // Over before the first poll, yet with its speed.
    QVERIFY(s->LastSnapshot().nodes > 0);
    QVERIFY(s->NodesPerSecond() > 0);
    QVERIFY(!w.findChild<QLabel*>("figures")->text().contains(" 0 nodes/s"));
    // The key's variations are below it; clicking one shows its position.
    QTreeWidgetItem* key = w.SolutionTree()->topLevelItem(0);
    QVERIFY(key->childCount() > 0);
    QCOMPARE(key->child(0)->text(0), QStringLiteral("zugzwang"));  // a waiting key, as the copied text says
    QTreeWidgetItem* last = key->child(key->childCount() - 1);
    QVERIFY(last->text(0).endsWith('#'));
    w.SolutionTree()->setCurrentItem(key);
    QVERIFY(!w.Board()->Editable());
    QCOMPARE(w.Board()->PieceAt(SquareOf(5, 4)), WB);  // the bishop on f5
    QCOMPARE(w.Board()->PieceAt(SquareOf(6, 3)), uint8_t(0));
  }

  void findsBlacksDefence() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    QVERIFY(w.SetFen("k7/8/1K6/8/8/8/8/7R b - - 0 1"));
    w.StipulationBox()->setValue(2);
    w.findChild<QCheckBox*>("defence")->setChecked(true);
    QVERIFY(w.Solve());
    QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);
    QCOMPARE(w.CurrentSession()->Task(), TEngineTask::kDefence);
    // Ka8-b8 is the only legal reply.
    QCOMPARE(w.SolutionTree()->topLevelItemCount(), 1);
    QVERIFY(w.SolutionTree()->topLevelItem(0)->text(0).contains("b8"));
    QVERIFY(!w.CurrentSession()->EndText().isEmpty());
  }

  void pausesAndStopsALongSearch() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    SetUpLongProblem(w);
    w.findChild<QSpinBox*>("threads")->setValue(1);
    QVERIFY(w.Solve());
    TSolveSession* s = w.CurrentSession();
    QTRY_VERIFY_WITH_TIMEOUT(s->LastSnapshot().nodes > 0, 10000);
    QVERIFY(s->Running());
    QVERIFY(w.Action("stop")->isEnabled());
    QVERIFY(!w.Action("solve")->isEnabled());
    // Manual control of the engine is off by default (EnableManualEngineControl).
    QCOMPARE(Settings().EnableManualEngineControl, 0);
    for (const char* n : {"pauseThread", "skipCurrent", "skipTo", "shiftLast"})
      QVERIFY(!w.Action(n)->isEnabled());
    QVERIFY(!w.ManualControl(TManualControl::kSkipCurrent));
    QVERIFY(!w.PauseThread(0, true));

    w.Action("pause")->trigger();
    QVERIFY(s->Paused());
    QCOMPARE(w.ProblemTable()->item(0, 5)->text(), QStringLiteral("Paused"));
    // The search threads stop at their next pause point; then the count holds.
    uint64_t before = 0;
    QTRY_VERIFY_WITH_TIMEOUT(([&] {
                               const uint64_t n = s->LastSnapshot().nodes;
                               QTest::qWait(300);
                               before = s->LastSnapshot().nodes;
                               return before == n;
                             }()),
                             10000);
    QTest::qWait(500);
    QCOMPARE(s->LastSnapshot().nodes, before);
    w.Action("pause")->trigger();
    QVERIFY(!s->Paused());
    QTRY_VERIFY_WITH_TIMEOUT(s->LastSnapshot().nodes > before, 10000);

    w.Action("stop")->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(s->Ended(), 20000);
    QCOMPARE(s->Result().status, TRunStatus::kStopped);
    QCOMPARE(w.ProblemTable()->item(0, 5)->text(), QStringLiteral("Stopped"));
    QVERIFY(w.Action("solve")->isEnabled());
  }

  void steersTheFirstLevelAndPausesOneThread() {
    MutableSettings().EnableManualEngineControl = 1;
    struct TReset {
      ~TReset() { MutableSettings().EnableManualEngineControl = 0; }
    } reset;
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    SetUpLongProblem(w);
    w.StipulationBox()->setValue(12);  // two threads prove #6 quickly
    w.findChild<QSpinBox*>("threads")->setValue(2);
    QVERIFY(!w.Action("skipCurrent")->isEnabled());
    QVERIFY(w.RootMoves().contains(QStringLiteral("e2e4")));
    QCOMPARE(w.RootMoves().size(), 20);
    QVERIFY(w.Solve());
    TSolveSession* s = w.CurrentSession();
    QTRY_VERIFY_WITH_TIMEOUT(s->RunningThreads() > 0, 10000);
    QVERIFY(w.Action("skipCurrent")->isEnabled());
    QVERIFY(w.Action("pauseThread")->isEnabled());

    // The first use shows the engine's warning; later uses do not repeat it.
    QVERIFY(Eventually([&] { return w.ManualControl(TManualControl::kSkipCurrent); }));
    QCOMPARE(w.LastMessage(), QString::fromUtf8(kManualControlWarning));
    w.Action("about")->trigger();
    const QString about = w.LastMessage();
    QVERIFY(Eventually([&] { return w.ManualControl(TManualControl::kShiftToLast); }));
    QCOMPARE(w.LastMessage(), about);
    QVERIFY(!w.SkipTo(QStringLiteral("e2e5")));  // not a legal move

    QVERIFY(Eventually([&] { return w.PauseThread(0, true); }));
    QVERIFY(s->ThreadPaused(0));
    QVERIFY(!w.PauseThread(99, true));
    QVERIFY(w.PauseThread(0, false));
    QVERIFY(!s->ThreadPaused(0));
    const uint64_t before = s->LastSnapshot().nodes;
    QTRY_VERIFY_WITH_TIMEOUT(s->LastSnapshot().nodes > before, 10000);
    QVERIFY(s->Running());

    w.Action("stop")->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(s->Ended(), 20000);
    QCOMPARE(s->Result().status, TRunStatus::kStopped);
    QVERIFY(!w.Action("skipCurrent")->isEnabled());
    QVERIFY(!w.ManualControl(TManualControl::kSkip5));
  }

  void watchesTheOpenCollection() {
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("watched.cp"));
    TMainWindow other;  // the "other program" writing the file
    other.SetQuiet(true);
    other.NewCollection();
    SetUpLongProblem(other);
    QVERIFY(other.SaveCollection(path));

    TMainWindow w;
    w.SetQuiet(true);
    int asked = 0;
    QString question;
    w.SetAnswerHook([&](const QString&, const QString& text) {
      ++asked;
      question = text;
      return static_cast<int>(QMessageBox::Yes);
    });
    QVERIFY(w.OpenCollection(path));
    QCOMPARE(w.Problems().size(), size_t{1});

    // The window's own save is not a foreign change.
    QVERIFY(w.SaveCollection(path));
    QTest::qWait(300);
    QCOMPARE(asked, 0);

    // No unsaved changes: the question, and Yes reloads.
    SetUpLongProblem(other);
    QVERIFY(other.SaveCollection(path));
    QTRY_COMPARE_WITH_TIMEOUT(asked, 1, 5000);
    QCOMPARE(question, QString::fromStdString(FileChangedText(false, w.Language())));
    QTRY_COMPARE_WITH_TIMEOUT(w.Problems().size(), size_t{2}, 5000);
    QVERIFY(!w.Modified());

    // Unsaved changes: only the advice, nothing reloaded; the watch still runs.
    w.Action("addProblem")->trigger();
    QVERIFY(w.Modified());
    QVERIFY(other.SaveCollection(path));
    QTRY_COMPARE_WITH_TIMEOUT(w.LastMessage(), QString::fromStdString(FileChangedText(true, w.Language())),
                              5000);
    QCOMPARE(asked, 1);
    QCOMPARE(w.Problems().size(), size_t{3});
  }

  void closingWithASearchRunningAsks() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    SetUpLongProblem(w);
    w.findChild<QSpinBox*>("threads")->setValue(1);
    int answer = QMessageBox::No;
    QString question;
    w.SetAnswerHook([&](const QString&, const QString& text) {
      question = text;
      return answer;
    });
    w.show();
    QVERIFY(w.Solve());
    QVERIFY(!w.close());
    QCOMPARE(question, QString::fromStdString(PendingSearchQuitText(1, w.Language())));
    QVERIFY(w.CurrentSession()->Running());
    answer = QMessageBox::Yes;
    w.close();
    QTRY_COMPARE_WITH_TIMEOUT(w.RunningCount(), 0, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(!w.isVisible(), 5000);
  }

  void offersAnalysesCutOffByAForcedClose() {
    QTemporaryDir dir;
    auto touch = [](const QString& p) {
      QFile f(p);
      return f.open(QIODevice::WriteOnly) && f.write("x") == 1;
    };
    TForcedCloseAutoSave kept, setAside, lost;
    for (auto* a : {&kept, &setAside, &lost}) {
      const QString name = a == &kept       ? "AutoSave.tmpReg"
                           : a == &setAside ? "AutoSave-2.tmpReg"
                                            : "AutoSave-3.tmpReg";
      a->registerFile = dir.filePath(name).toStdString();
      a->companionFile = a->registerFile.string() + ".ini";
      QVERIFY(touch(QString::fromStdString(a->registerFile.string())));
      QVERIFY(touch(QString::fromStdString(a->companionFile.string())));
    }
    kept.problemFile = dir.filePath("AutoSave.cp").toStdString();
    setAside.problemFile = dir.filePath("AutoSave-2.cp").toStdString();

    TMainWindow w;
    w.SetQuiet(true);
    QStringList questions;
    w.SetAnswerHook([&](const QString&, const QString& text) {
      questions << text;
      return static_cast<int>(questions.size() == 1 ? QMessageBox::No : QMessageBox::Cancel);
    });
    QCOMPARE(w.OfferForcedCloseRecovery({kept, setAside, lost}), 0);
    QCOMPARE(questions.size(), 2);
    QCOMPARE(questions[0],
             QString::fromStdString(ForcedCloseQuestionMessage(kept.registerFile.string(), w.Language())));
    // No leaves the file; Cancel puts it aside; without its problem only the information.
    QVERIFY(QFile::exists(QString::fromStdString(kept.registerFile.string())));
    QVERIFY(!QFile::exists(QString::fromStdString(setAside.registerFile.string())));
    QVERIFY(QFile::exists(dir.filePath("AutoSave-2.BAK")));
    QCOMPARE(w.LastMessage(),
             QString::fromStdString(ForcedCloseInformationMessage(lost.registerFile.string(), w.Language())));
  }

  // Yes on the slot of a run whose process died resumes the analysis in that
  // slot, which goes once the analysis is complete.
  void resumesTheSlotOfAKilledRun() {
    const std::filesystem::path home = DataFolder();
    TProblem p;
    QVERIFY(p.SetFen("1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1"));
    p.moves = 5;
    p.description = "cut off";
    std::filesystem::path folder;
    {
      auto slot = TAutoSaveSlot::Create(home, 77);
      folder = slot->Folder();
      WriteAutoSave(*MakeRunRegister(5), p, folder, 16);
    }
    const std::string reg = TAutoSavePaths::In(folder).registerFile.string();
    TAutoSaveInfo info = ReadAutoSaveInfo(reg);
    const pid_t ended = fork();
    if (ended == 0) _exit(0);
    waitpid(ended, nullptr, 0);
    info.ProcessId = ended;
    WriteAutoSaveInfo(reg, info);
    TForcedCloseScan scan;
    scan.runSlots = UnheldAutoSaveSlots;
    const auto found = FindForcedCloseAutoSaves(home, scan);
    QCOMPARE(found.size(), size_t{1});
    QCOMPARE(found[0].slot, folder.filename().string());

    {
      // With four analyses going, Yes cannot be carried out: the window says
      // so and leaves the auto-save for the next start.
      TMainWindow busy;
      busy.SetQuiet(true);
      busy.NewCollection();
      busy.SetAnswerHook([](const QString&, const QString&) { return static_cast<int>(QMessageBox::Yes); });
      for (int i = 0; i < 4; ++i) {
        SetUpLongProblem(busy);
        busy.findChild<QSpinBox*>("threads")->setValue(1);
        QVERIFY(busy.Solve());
        busy.Action("pause")->trigger();
      }
      QCOMPARE(busy.RunningCount(), 4);
      QCOMPARE(busy.OfferForcedCloseRecovery(found), 0);
      QVERIFY(busy.LastMessage().startsWith(
          QString::fromStdString(EngineText(TEngineText::kTooManyProblems, busy.Language()))));
      QVERIFY(std::filesystem::exists(reg));
      busy.close();
      QTRY_COMPARE_WITH_TIMEOUT(busy.RunningCount(), 0, 20000);
    }

    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    w.SetAnswerHook([](const QString&, const QString&) { return static_cast<int>(QMessageBox::Yes); });
    QCOMPARE(w.OfferForcedCloseRecovery(found), 1);
    QCOMPARE(QString::fromStdString(w.Problems().back().description), QStringLiteral("cut off"));
    QTRY_COMPARE_WITH_TIMEOUT(w.RunningCount(), 0, 20000);
    QVERIFY(!std::filesystem::exists(folder));
  }

  void storesASolutionAndReadsItBack() {
    const QString path = tmp_.path() + "/stored.cp";
    {
      TMainWindow w;
      w.SetQuiet(true);
      w.NewCollection();
      QVERIFY(w.SetFen("8/3R4/5k2/8/6B1/6N1/4N3/K1B5 w - - 0 1"));
      w.StipulationBox()->setValue(2);
      w.findChild<QLineEdit*>("description")->setText("stored");
      emit w.findChild<QLineEdit*>("description")->textEdited("stored");
      QVERIFY(w.Solve());
      QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);
      QVERIFY(w.StoreSolution());
      QVERIFY(w.Modified());
      // Once there is a main variant, the keys go beside it, never over it.
      QVERIFY(w.StoreSolution());
      QCOMPARE(w.Problems()[0].variants.size(), size_t(2));
      QCOMPARE(w.Problems()[0].variants[1].name, std::string("Ostravel"));
      QVERIFY(w.SaveCollection(path));
      // A second save keeps the previous file as ".BAK".
      QVERIFY(w.SaveCollection(path));
      QVERIFY(QFile::exists(path + ".BAK"));
    }
    TMainWindow r;
    r.SetQuiet(true);
    QVERIFY(r.OpenCollection(path));
    QCOMPARE(r.Problems().size(), size_t(1));
    const TProblem& p = r.Problems()[0];
    QCOMPARE(p.description, std::string("stored"));
    QVERIFY(p.MainVariant());
    QCOMPARE(p.MainVariant()->lines, (std::vector<std::vector<std::string>>{{"Bg4-f5"}}));
    QCOMPARE(r.ProblemTable()->item(0, 3)->text(), QStringLiteral("✓"));
  }

  void runsFourProblemsAtOnceAndRefusesAFifth() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    for (int i = 0; i < 5; ++i) {
      SetUpLongProblem(w);
      w.findChild<QSpinBox*>("threads")->setValue(1);
      const bool started = w.Solve();
      QCOMPARE(started, i < 4);
    }
    QCOMPARE(w.RunningCount(), 4);
    QCOMPARE(w.LastMessage(), QStringLiteral("Too many problems being solved at the same time."));
    // Each problem has its own status; closing stops them all.
    QCOMPARE(w.ProblemTable()->item(0, 5)->text(), QStringLiteral("Running"));
    QCOMPARE(w.ProblemTable()->item(4, 5)->text(), QStringLiteral("Refused"));
    w.close();
    QTRY_COMPARE_WITH_TIMEOUT(w.RunningCount(), 0, 20000);
  }

  void keepsTheCurrentProblemInView() {
    TMainWindow w;
    w.SetQuiet(true);
    w.resize(1280, 760);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QVERIFY(w.OpenCollection(kSample));
    QTableWidget* t = w.ProblemTable();
    const auto fullyShown = [&](int row) {
      return t->viewport()->rect().contains(t->visualItemRect(t->item(row, 0)));
    };
    for (int row : {int(w.Problems().size()) - 1, 0, int(w.Problems().size()) * 2 / 3}) {
      w.SelectProblem(row);
      QTRY_VERIFY2(fullyShown(row), qPrintable(QString::number(row)));
    }
    // The list gets shorter (a status line, a smaller window): the row stays in view.
    const int row = int(w.Problems().size()) - 1;
    w.SelectProblem(row);
    QTRY_VERIFY(fullyShown(row));
    for (int height : {700, 640, 600, 560}) {
      w.resize(1280, height);
      QTRY_VERIFY2(fullyShown(row), qPrintable(QString::number(height)));
    }
  }

  void editsTheProblemList() {
    TMainWindow w;
    w.SetQuiet(true);
    w.NewCollection();
    w.Action("addProblem")->trigger();
    QVERIFY(w.SetFen("8/8/8/8/8/8/8/k1K5 w - - 0 1"));
    auto* description = w.findChild<QLineEdit*>("description");
    auto* tags = w.findChild<QLineEdit*>("tags");
    description->setText("first");
    emit description->textEdited("first");
    tags->setText("miniature, model mate");
    emit tags->textEdited(tags->text());
    w.Action("duplicateProblem")->trigger();
    QCOMPARE(w.Problems().size(), size_t(2));
    QCOMPARE(w.CurrentProblem(), 1);
    description->setText("second");
    emit description->textEdited("second");
    w.StipulationBox()->setValue(3);
    QCOMPARE(w.Problems()[0].tags, (std::vector<std::string>{"miniature", "model mate"}));
    QCOMPARE(w.Problems()[1].tags, w.Problems()[0].tags);
    w.Action("moveUp")->trigger();
    QCOMPARE(w.Problems()[0].description, std::string("second"));
    QCOMPARE(w.ProblemTable()->item(0, 1)->text(), QStringLiteral("#3"));
    QCOMPARE(w.ProblemTable()->item(1, 2)->text(), QStringLiteral("first"));
    w.Action("moveDown")->trigger();
    QCOMPARE(w.CurrentProblem(), 1);
    w.Action("deleteProblem")->trigger();
    QCOMPARE(w.Problems().size(), size_t(1));
    QCOMPARE(w.Problems()[0].description, std::string("first"));
  }

  void savesReadsAndPinsARegister() {
    const QString collection = tmp_.path() + "/pinned.cp";
    const QString file = tmp_.path() + "/saved.tmpReg";
    {
      TMainWindow w;
      w.SetQuiet(true);
      QVERIFY(w.OpenCollection(kSample));
      w.SelectProblem(RowOf(w, "vaeth-02"));
      QVERIFY(w.Solve());
      QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);
      QVERIFY(w.RegisterAtHand());
      QVERIFY(w.RegisterAtHand()->ElementCount() > 0);
      QVERIFY(w.SaveRegisterTo(file));
      QVERIFY(w.LastMessage().startsWith("File created: "));
      QVERIFY(w.SaveCollection(collection));
      QVERIFY(w.PinRegisterToProblem());
      QVERIFY(w.Problems()[static_cast<size_t>(w.CurrentProblem())].tmpRegFile.has_value());
      QVERIFY(!w.Modified());
    }
    TMainWindow r;
    r.SetQuiet(true);
    QVERIFY(r.ReadRegisterFrom(file));
    QVERIFY(r.LoadReport().startsWith("File has been read: "));
    const auto loaded = r.RegisterAtHand();
    QVERIFY(loaded);
    QVERIFY(r.OpenCollection(collection));
    const int row = RowOf(r, "vaeth-02");
    r.SelectProblem(row);
    QVERIFY(r.Problems()[static_cast<size_t>(row)].tmpRegFile.has_value());
    QCOMPARE(r.ProblemTable()->item(row, 4)->text(),
             QString::number(*r.Problems()[static_cast<size_t>(row)].tmpRegFile));
    // The pinned file is loaded when the problem is solved again.
    QVERIFY(r.Solve());
    // The register read went to this run, and to no later one.
    QCOMPARE(r.CurrentSession()->Register(), loaded);
    QVERIFY(!r.RegisterAtHand());
    QTRY_VERIFY_WITH_TIMEOUT(r.CurrentSession()->Ended(), 20000);
    r.SelectProblem(RowOf(r, "vaeth-05"));
    QVERIFY(r.Solve());
    QVERIFY(r.CurrentSession()->Register() != loaded);
    QTRY_VERIFY_WITH_TIMEOUT(r.CurrentSession()->Ended(), 20000);
    r.SelectProblem(row);
    QVERIFY(r.CurrentSession()->Log().contains("File has been read: "));
    QCOMPARE(TopLevelTexts(r.SolutionTree()), (QStringList{"1.c7-c8Q!", "1.c7-c8R!"}));
    QVERIFY(r.UnpinRegister());
    QVERIFY(!r.Problems()[static_cast<size_t>(row)].tmpRegFile.has_value());
  }

  void optionsCoverEverySettingWithItsLimits() {
    TSettings s;
    TOptionsDialog d(s);
    for (const TSettingKey& k : SettingKeys()) {
      QSpinBox* spin = d.SpinFor(k.name);
      QCOMPARE(spin != nullptr, k.writer == TSettingWriter::kDialog);
      if (!spin) continue;
      QCOMPARE(spin->minimum(), k.minValue);
      QCOMPARE(spin->maximum(), k.maxValue);
      QCOMPARE(spin->value(), s.*(k.member));
      QCOMPARE(spin->toolTip().contains("(no effect yet)"), SettingHasNoEffectYet(k.name));
    }
    d.SpinFor("AutoSaveMinutes")->setValue(0);
    d.SpinFor("MaxMemRatioForTempReg")->setValue(1000);  // held at the limit
    d.LanguageBox()->setCurrentIndex(d.LanguageBox()->findData(2));
    const TSettings e = d.Edited();
    QCOMPARE(e.AutoSaveMinutes, 0);
    QCOMPARE(e.MaxMemRatioForTempReg, FindSettingKey("MaxMemRatioForTempReg")->maxValue);
    QCOMPARE(e.LanguageId, 2);
    const QString path = tmp_.path() + "/options.ini";
    {
      QFile f(path);
      QVERIFY(f.open(QIODevice::WriteOnly));
      f.write("; kept\n[chess]\nPrecalcPath=/x\n");
    }
    TOptionsDialog::Save(e, path.toStdString());
    TIniFile ini;
    QVERIFY(ini.Load(path.toStdString()));
    std::vector<std::string> warnings;
    const TSettings back = ReadSettingsFrom(ini, &warnings);
    QCOMPARE(back.AutoSaveMinutes, 0);
    QCOMPARE(back.LanguageId, 2);
    QCOMPARE(back.PrecalcPath, std::string("/x"));
    QVERIFY(ini.Text().rfind("; kept", 0) == 0);
  }

  void heuristicsDialogStaysOpenOnAConflict() {
    THeuristicsDialog d(THeuristicState{}, true, 1);
    QCOMPARE(d.windowTitle(), QStringLiteral("Selection of heuristics"));
    QCOMPARE(d.Message(), QStringLiteral("No heuristics selected."));
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    d.Check("extEdge")->setChecked(true);
    d.Check("moveUnlessOnEdge")->setChecked(true);
    PressOk(d);
    QCOMPARE(d.Message(),
             QStringLiteral("Conflict of heuristics: select only one of 'Don't let black king out of "
                            "ext.edge' and '(Don't let black king) move unless back to the edge'"));
    QVERIFY(d.isVisible());
    QCOMPARE(d.result(), int(QDialog::Rejected));

    // Corrected: the path is shown, OK closes with the selection.
    d.Check("moveUnlessOnEdge")->setChecked(false);
    d.Check("ffm")->setChecked(true);
    d.findChild<QComboBox*>("ffmLevel")->setCurrentIndex(2);
    d.Check("ffmWithOthers")->setChecked(true);
    d.Check("letRelaxFfm")->setChecked(true);
    d.Edit("ffmRelaxations")->setText("9");
    PressOk(d);
    QCOMPARE(d.Message(),
             QStringLiteral("Number of heuristics relaxations for FFM is too large (max = 4 => #5)"));
    d.Edit("ffmRelaxations")->setText("2");
    QTest::mouseClick(d.findChild<QPushButton*>("show"), Qt::LeftButton);
    // Two further FindForcedMate runs (#2+, #3), then the ext.edge alone, then pass 2.
    const QStringList path = d.PathText().split('\n');
    QCOMPARE(path.size(), 5);
    QCOMPARE(path[0],
             QStringLiteral("Pass 1: SH_KEEPKINGWITHINEXTEDGE, SH_FINDFORCEDMATE(#2-WithOtherHeuristics)"));
    QVERIFY(path[1].startsWith(QStringLiteral("Pass 1b: ")) && path[1].contains(QStringLiteral("#2+")));
    QCOMPARE(path[3], QStringLiteral("Pass 1d: SH_KEEPKINGWITHINEXTEDGE"));
    QVERIFY(path[4].startsWith(QStringLiteral("Pass 2: ")));
    PressOk(d);
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QVERIFY(!d.isVisible());
    QCOMPARE(HeuristicSetText(d.State(), false),
             std::string("SH_KEEPKINGWITHINEXTEDGE, SH_FINDFORCEDMATE(#2-WithOtherHeuristics)"));
    QCOMPARE(d.State().ffmRelaxations, 2);

    // The dialog speaks the interface language.
    THeuristicsDialog pl(d.State(), true, 0);
    pl.Check("keyLine")->setChecked(true);
    PressOk(pl);
    QCOMPARE(pl.Message(), QStringLiteral("Nieprawidłowe pole Kluczowa linia"));
  }

  void heuristicsOfTheNextSolveAndThePreviousSettings() {
    TMainWindow w;
    w.SetQuiet(true);
    QVERIFY(w.Action("heuristics")->isEnabled());
    // The dialog is modal: it is driven from the event loop it runs.
    auto answer = [&w](std::function<void(THeuristicsDialog&)> act) {
      QTimer::singleShot(0, &w, [act] {
        auto* d = qobject_cast<THeuristicsDialog*>(QApplication::activeModalWidget());
        QVERIFY(d);
        act(*d);
      });
    };
    auto choose = [&](std::function<void(THeuristicsDialog&)> act) {
      answer(act);
      w.Action("heuristics")->trigger();
    };
    choose([](THeuristicsDialog& d) {
      QTest::mouseClick(d.findChild<QPushButton*>("previous"), Qt::LeftButton);
      QCOMPARE(d.Message(), QStringLiteral("No previous settings for heuristics"));
      d.Check("kingsNear")->setChecked(true);
      d.Check("dontLetKingMove")->setChecked(true);
      PressOk(d);
    });
    QCOMPARE(HeuristicSetText(w.HeuristicState(), false), std::string("SH_AREKINGSNEAR, SH_DONTLETKINGMOVE"));
    choose([](THeuristicsDialog& d) {
      QVERIFY(d.Check("kingsNear")->isChecked());
      d.Check("kingsNear")->setChecked(false);
      d.Check("sweepingRook")->setChecked(true);
      PressOk(d);
    });
    QCOMPARE(w.HeuristicState().set, SH_SWEEPINGWHITEROOK | SH_KEEPKINGONTHEEDGE);
    // Cancel keeps the settings; "Previous settings" brings back the first ones.
    choose([](THeuristicsDialog& d) {
      QTest::mouseClick(d.findChild<QPushButton*>("previous"), Qt::LeftButton);
      QVERIFY(d.Check("kingsNear")->isChecked());
      QVERIFY(!d.Check("sweepingRook")->isChecked());
      d.reject();
    });
    QCOMPARE(w.HeuristicState().set, SH_SWEEPINGWHITEROOK | SH_KEEPKINGONTHEEDGE);

    // PromptHeuristics: every solve asks first, and Cancel cancels it.
    w.Action("addProblem")->trigger();
    QVERIFY(w.SetFen("k7/8/1K6/8/8/8/8/7R w - - 0 1"));
    w.StipulationBox()->setValue(1);
    MutableSettings().PromptHeuristics = 1;
    answer([](THeuristicsDialog& d) { d.reject(); });
    QVERIFY(!w.Solve());
    answer([](THeuristicsDialog& d) {
      d.Check("sweepingRook")->setChecked(false);
      PressOk(d);
    });
    const bool solving = w.Solve();
    MutableSettings().PromptHeuristics = 0;
    QVERIFY(solving);
    QCOMPARE(w.HeuristicState().set, SH_KEEPKINGONTHEEDGE);
    QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);
    QCOMPARE(TopLevelTexts(w.SolutionTree()), QStringList{"1.Rh1-h8!"});
  }

  void remembersTheWindowLayout() {
    {
      TMainWindow w;
      w.SetQuiet(true);
      w.resize(900, 640);
      w.Action("flip")->setChecked(true);
      w.close();
    }
    TMainWindow r;
    QCOMPARE(r.size(), QSize(900, 640));
    QVERIFY(r.Board()->Flipped());
    r.Action("flip")->setChecked(false);
    r.close();
  }

  void switchesTheLanguage() {
    TMainWindow w;
    w.SetQuiet(true);
    QCOMPARE(w.Action("solve")->text(), QStringLiteral("&Solve"));
    w.SetLanguage(0);
    QCOMPARE(w.Action("solve")->text(), QStringLiteral("&Rozwiąż"));
    QCOMPARE(Settings().LanguageId, 0);
    w.SetLanguage(2);
    QCOMPARE(w.Action("solve")->text(), QStringLiteral("&Розв'язати"));
    w.SetLanguage(1);
    QCOMPARE(w.Action("solve")->text(), QStringLiteral("&Solve"));
    // Texts shown only in dialogs, the status bar, the log or the tree.
    const std::pair<const char*, const char*> texts[] = {
        {"ostravel::gui::TMainWindow", "Move:"},
        {"ostravel::gui::TMainWindow", "Pause one thread"},
        {"ostravel::gui::TMainWindow", "Thread (0-%1); a paused one is resumed:"},
        {"ostravel::gui::TMainWindow", "Nothing to act on at the first level now."},
        {"ostravel::gui::TMainWindow", "Test the crash handler (crashes the program)"},
        {"ostravel::gui::TOptionsDialog", "(no effect yet)"},
        {"ostravel::gui::TSolveSession", "Register auto-saved to %1"}};
    for (int language : {0, 2}) {
      w.SetLanguage(language);
      for (const auto& [context, text] : texts)
        QVERIFY2(QCoreApplication::translate(context, text) != QLatin1String(text), text);
    }
    QCOMPARE(QCoreApplication::translate("ostravel::gui::TMainWindow", "(dual)"), QStringLiteral("(дуаль)"));
    w.SetLanguage(1);
  }

  // Under Xvfb only (the "screenshot" test): PNGs of the window during a solve.
  void screenshots() {
    const QByteArray dir = qgetenv("OSTRAVEL_SCREENSHOT_DIR");
    if (dir.isEmpty()) QSKIP("OSTRAVEL_SCREENSHOT_DIR not set");
    QVERIFY(QDir().mkpath(QString::fromUtf8(dir)));
    {
      // The size a first start opens with.
      TMainWindow d;
      d.SetQuiet(true);
      d.show();
      QVERIFY(QTest::qWaitForWindowExposed(&d));
      QVERIFY(d.OpenCollection(kSample));
      QTest::qWait(200);
      QVERIFY(d.grab().save(QString::fromUtf8(dir) + "/ostravel-default-size.png"));
    }
    TMainWindow w;
    w.SetQuiet(true);
    w.resize(1280, 760);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QVERIFY(w.OpenCollection(kSample));
    // A long problem running, then a solved two-mover with its tree.
    int row = -1;
    for (size_t i = 0; i < w.Problems().size(); ++i)
      if (w.Problems()[i].moves >= 5) row = static_cast<int>(i);
    QVERIFY(row >= 0);
    w.SelectProblem(row);
    w.ModeBox()->setCurrentIndex(static_cast<int>(TGuiMode::kAll));
    QVERIFY(w.Solve());
    QTest::qWait(2500);
    QVERIFY(w.grab().save(QString::fromUtf8(dir) + "/ostravel-solving.png"));
    w.Action("stop")->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);

    w.SelectProblem(RowOf(w, "vaeth-05"));
    QVERIFY(w.Solve());
    QTRY_VERIFY_WITH_TIMEOUT(w.CurrentSession()->Ended(), 20000);
    w.SolutionTree()->expandAll();
    QTreeWidgetItem* key = w.SolutionTree()->topLevelItem(0);
    QVERIFY(key);
    w.SolutionTree()->setCurrentItem(key->child(1) ? key->child(1) : key);
    QTest::qWait(200);
    QVERIFY(w.grab().save(QString::fromUtf8(dir) + "/ostravel-solved.png"));
    w.SetLanguage(0);
    QTest::qWait(200);
    QVERIFY(w.grab().save(QString::fromUtf8(dir) + "/ostravel-solved-pl.png"));
    w.SetLanguage(1);

    // The selection of heuristics with a set chosen and its relaxation path shown.
    THeuristicState h;
    h.set = SH_FINDFORCEDMATE | SH_KEEPKINGWITHINEXTEDGE;
    h.ffmLevel = h.ffmInitialLevel = kFfmMate1;
    h.ffmRelaxations = 1;
    THeuristicsDialog d(h, true, 1);
    d.show();
    QVERIFY(QTest::qWaitForWindowExposed(&d));
    QTest::mouseClick(d.findChild<QPushButton*>("show"), Qt::LeftButton);
    QTest::qWait(200);
    QVERIFY(d.grab().save(QString::fromUtf8(dir) + "/ostravel-heuristics.png"));
  }
};

QTEST_MAIN(TGuiTest)
#include "test_gui.moc"
