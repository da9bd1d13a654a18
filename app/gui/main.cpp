// ostravel: the desktop application. Start-up runs in the order below, each
// step one function: the command line, the program session (single
// instance, settings, priority, crash handler, program log, forced-close
// scan), the application, the notes, the window, the recovery questions, the
// message service.
#include <fcntl.h>
#include <unistd.h>

#include <QApplication>
#include <QIcon>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QStatusBar>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "config/paths.h"
#include "config/settings.h"
#include "engine/autosave.h"
#include "engine/crash_info.h"
#include "engine/heuristics.h"
#include "main_window.h"
#include "platform/crash_handler.h"
#include "platform/single_instance.h"
#include "platform/startup.h"
#include "platform/texts.h"
#include "platform/vendor_service.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitBadInput = 1;
constexpr int kExitFailure = 2;
constexpr int kExitInterrupted = 130;

const char kHelp[] =
    "Usage: ostravel [COLLECTION.cp]\n"
    "The desktop application of the Ostravel directmate solver: set up positions,\n"
    "keep problems in .cp collections, solve them and read the solutions.\n"
    "\n"
    "  COLLECTION.cp  open this collection (default: myChessProblems.cp in the data folder)\n"
    "  --show-crash-report LOG\n"
    "                 show the message about a crash whose log is LOG (started\n"
    "                 by the crash handler) and exit\n"
    "  --help         print this text and exit\n"
    "  --version      print the version and exit\n"
    "\n"
    "Settings are read from options.ini ($OSTRAVEL_HOME, beside the program, or\n"
    "~/.config/ostravel/). Qt's own options (-platform, -style...) are accepted.\n";

struct TCommandLine {
  bool help = false;
  bool version = false;
  std::string crashReport;
  std::string collection;
  std::string error;
};

// Step 1: the command line, before anything needs a display, so that --help
// works on a machine without one.
TCommandLine ReadCommandLine(int argc, char** argv) {
  TCommandLine c;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--help" || a == "-h") {
      c.help = true;
    } else if (a == "--version") {
      c.version = true;
    } else if (a == "--show-crash-report") {
      if (i + 1 < argc)
        c.crashReport = argv[++i];
      else
        c.error = "--show-crash-report needs the crash log";
    } else if (a == "-platform" || a == "-style" || a == "-display" || a == "-qwindowgeometry") {
      ++i;  // Qt's options with a value; QApplication reads them
    } else if (!a.empty() && a[0] == '-') {
      if (a.rfind("-platform", 0) != 0 && a.rfind("-style", 0) != 0 && a != "-reverse")
        c.error = "unknown option " + a;
    } else if (c.collection.empty()) {
      c.collection = a;
    } else {
      c.error = "only one collection can be opened";
    }
  }
  return c;
}

// The engine's flags for the crash log (inside the crash handler).
void EngineCrashInfo(ostravel::TCrashExtendedInfo& info) {
  ostravel::FillEngineCrashInfo(info);
}

// Each search thread gets its alternate signal stack, so that a stack
// overflow there is logged too.
void PrepareEngineThread() {
  ostravel::PrepareThreadForCrashHandler();
}

// Step 2: the program session: the single-instance lock, the settings (read
// once), the lower priority, the crash handler, "Program opened" in the
// program log and the scan for analyses cut off by a forced close.
ostravel::TStartupOptions SessionOptions() {
  ostravel::TStartupOptions o;
  // A crashed process must not draw: a fresh one shows the report.
  o.crashReportProgram = ostravel::OwnExecutablePath();
  // The runs' own slots besides the old single auto-save of the data folder.
  o.forcedCloseScan.runSlots = ostravel::UnheldAutoSaveSlots;
#ifdef OSTRAVEL_SANITIZED
  o.installCrashHandler = false;  // the sanitizers keep their own reports
#endif
  return o;
}

// The box of a fresh process started by the crash handler.
int ShowCrashReport(const std::string& logFile) {
  const ostravel::TSettings& s = ostravel::Settings();
  const int lang = s.LanguageId;
  std::string description = ostravel::CrashLogDescription(logFile);
  if (description.empty()) description = logFile;
  const bool offer = ostravel::CrashReportOffered(s.CrashReportUrl);
  const QString title =
      QString::fromUtf8(ostravel::ShellText(ostravel::TShellText::kUnhandledExceptionTitle, lang));
  const QString text = QString::fromStdString(ostravel::UnhandledExceptionText(description, offer, lang));
  if (!offer) {
    QMessageBox::critical(nullptr, title, text);
    return kExitOk;
  }
  if (QMessageBox::critical(nullptr, title, text, QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes) {
    std::string error;
    if (!ostravel::SendCrashReport(s.CrashReportUrl, logFile, &error)) {
      QMessageBox::warning(nullptr,
                           QString::fromUtf8(ostravel::ShellText(ostravel::TShellText::kErrorTitle, lang)),
                           QString::fromStdString(error));
    }
  }
  return kExitOk;
}

// Step 3: the application object and its identity.
void SetUpApplication(QApplication& app) {
  QApplication::setApplicationName(QStringLiteral("ostravel"));
  QApplication::setApplicationDisplayName(QStringLiteral("Ostravel"));
  QApplication::setApplicationVersion(QStringLiteral(OSTRAVEL_VERSION));
  QApplication::setOrganizationName(QStringLiteral("Ostravel"));
  QApplication::setDesktopFileName(QStringLiteral("ostravel"));
  app.setWindowIcon(QIcon(QStringLiteral(":/ostravel.svg")));
}

// Step 4: the main window, with the collection asked for on the command line.
void CreateMainWindow(ostravel::gui::TMainWindow& w, const TCommandLine& c) {
  if (!c.collection.empty()) w.OpenCollection(QString::fromStdString(c.collection));
  w.show();
}

// Ctrl-C or a termination request: the event loop ends, so the runs stop
// through the window's end (their registers auto-saved) and the program log
// gets its closing line. The handler only writes to a pipe.
int g_signalPipe[2] = {-1, -1};
volatile std::sig_atomic_t g_signal = 0;

void OnQuitSignal(int signo) {
  g_signal = signo;
  const char c = 1;
  [[maybe_unused]] const ssize_t n = write(g_signalPipe[1], &c, 1);
}

void QuitOnSignals(QApplication& app) {
  if (pipe2(g_signalPipe, O_CLOEXEC | O_NONBLOCK) != 0) return;
  auto* n = new QSocketNotifier(g_signalPipe[0], QSocketNotifier::Read, &app);
  QObject::connect(n, &QSocketNotifier::activated, &app,
                   [] { QApplication::exit(g_signal == SIGINT ? kExitInterrupted : kExitFailure); });
  struct sigaction sa {};
  sa.sa_handler = OnQuitSignal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
}

// Before the window: a second instance opens the shared cache files
// read-only, and says so.
void ShowSecondInstanceNote(const ostravel::TProgramSession& session) {
  if (const auto note = session.SecondInstanceNote())
    QMessageBox::information(nullptr, QString::fromStdString(note->title),
                             QString::fromStdString(note->text));
}

// Step 5: what the settings code asked to show.
void ShowSettingsWarnings(ostravel::gui::TMainWindow& w, const std::vector<std::string>& warnings) {
  const int lang = ostravel::Settings().LanguageId;
  for (const auto& text : warnings) {
    QTimer::singleShot(0, &w, [&w, text, lang] {
      QMessageBox::information(
          &w, QString::fromUtf8(ostravel::SettingsText(ostravel::TSettingsText::kWarningTitle, lang)),
          QString::fromStdString(text));
    });
  }
}

// Step 7: news from the message service, only when the settings name its
// address (by default nothing is sent anywhere). The request runs on its own
// thread; the window shows what is new and remembers the last one shown.
std::unique_ptr<ostravel::TServiceMessageCheck> CheckServiceMessages(ostravel::gui::TMainWindow& w) {
  const ostravel::TSettings& s = ostravel::Settings();
  if (s.MessageServiceUrl.empty()) return nullptr;
  return std::make_unique<ostravel::TServiceMessageCheck>(
      s.MessageServiceUrl, s.LastProcessedMsgId,
      [&w](std::vector<ostravel::TServiceMessage> messages, std::string) {
        if (messages.empty()) return;
        // The check ends before the window does (see main), so w is there.
        QMetaObject::invokeMethod(
            &w,
            [&w, messages] {
              const int lang = ostravel::Settings().LanguageId;
              const QString title =
                  QString::fromUtf8(ostravel::ShellText(ostravel::TShellText::kInformationTitle, lang));
              for (const auto& m : messages)
                QMessageBox::information(&w, title, QString::fromStdString(m.text));
              try {
                ostravel::RememberProcessedServiceMessage(messages.back().id, ostravel::OptionsFilePath());
              } catch (const std::exception& e) {
                QMessageBox::warning(
                    &w, QString::fromUtf8(ostravel::ShellText(ostravel::TShellText::kErrorTitle, lang)),
                    QString::fromStdString(e.what()));
              }
            },
            Qt::QueuedConnection);
      });
}

}  // namespace

int main(int argc, char** argv) {
  const TCommandLine cmd = ReadCommandLine(argc, argv);
  if (cmd.help) {
    std::fputs(kHelp, stdout);
    return kExitOk;
  }
  if (cmd.version) {
    std::printf("ostravel %s\n", OSTRAVEL_VERSION);
    return kExitOk;
  }
  if (!cmd.error.empty()) {
    std::fprintf(stderr, "ostravel: %s\n%s", cmd.error.c_str(), kHelp);
    return kExitBadInput;
  }
  if (!cmd.crashReport.empty()) {
    ostravel::LoadSettings();
    QApplication app(argc, argv);
    SetUpApplication(app);
    return ShowCrashReport(cmd.crashReport);
  }

  // Outlives the application: its end writes "Program close".
  ostravel::TProgramSession session(SessionOptions());
  if (session.CrashHandlerActive()) {
    ostravel::AddCrashInfoProvider(EngineCrashInfo);
    ostravel::SetEngineThreadStartHook(PrepareEngineThread);
  }
  const ostravel::TSettings& settings = ostravel::Settings();

  QApplication app(argc, argv);
  SetUpApplication(app);
  QuitOnSignals(app);
  ShowSecondInstanceNote(session);

  ostravel::gui::TMainWindow window;
  if (settings.AddTestCrashHandlerMenuItem != 0) window.AddCrashTestItem();
  if (session.IsSecondInstance() &&
      ostravel::ShowSecondInstanceStatus(settings.WarnAboutSecondInstanceOfProgram)) {
    window.statusBar()->showMessage(QString::fromUtf8(
        ostravel::ShellText(ostravel::TShellText::kSecondInstanceStatus, settings.LanguageId)));
  }
  CreateMainWindow(window, cmd);
  ShowSettingsWarnings(window, session.SettingsWarnings());
  // Step 6: each analysis a forced close cut off is offered once the window shows.
  const auto autoSaves = session.ForcedCloseAutoSaves();
  if (!autoSaves.empty())
    QTimer::singleShot(0, &window, [&window, autoSaves] { window.OfferForcedCloseRecovery(autoSaves); });

  // Declared after the window: it waits for its request before the window goes.
  const auto messageCheck = CheckServiceMessages(window);

  // Step 8: the event loop; the engine runs on its own threads meanwhile.
  return app.exec();
}
