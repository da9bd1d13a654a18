#include "options_dialog.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSpinBox>
#include <QVBoxLayout>

#include "config/ini_file.h"

namespace ostravel::gui {

QString TOptionsDialog::LabelOf(const std::string& key) {
  static const std::map<std::string, const char*> labels = {
      {"QuickMode",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Add repeated positions to temporary data (1 quick mode, 0 safe mode)")},
      {"SchedulerLevels", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                            "Num.of scheduler levels (default=6, off=0), stored less one")},
      {"CustomScheduler", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Custom scheduler")},
      {"SchedulerThreadPool",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Scheduler uses a pool of threads")},
      {"ObserverLevels",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Num.of observer levels (default=0, off=0)")},
      {"LichessLevels", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                          "Num.of move levels with solutions taken from the tablebase "
                                          "(default=1, off=0, even in GUI off=-1)")},
      {"WarnAboutSecondInstanceOfProgram",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Warn if not the first instance of program (0 no, 1 status bar, 2 also a box)")},
      {"PromptHeuristics",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Always display heuristics selection dialog")},
      {"MaxMemRatioForTempReg",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Max. % of RAM that temporary data of a problem can occupy")},
      {"ClearRegisterOnStartSolving", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                                        "Always clear temporary data when starting solving")},
      {"MaxMemRatioForPrecalculatedData",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Max. % of memory that precalculated/Nalimov data can occupy")},
      {"LetAnalyzeTheSameMoveInTwoThreads",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Let two threads analyse the same move")},
      {"CommentCompatibilityMode", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                                     "Compatibility mode for comments in problem files")},
      {"ShowMainVariant", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                            "Always display main variant when navigating to a problem")},
      {"UseMainVariantAsSortIndications",
       QT_TRANSLATE_NOOP(
           "ostravel::gui::TOptionsDialog",
           "Use main variant as sort indications for engine (0 no, 1 yes, 2 also other variants)")},
      {"LogMoves",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Write full log of analysis (unrecommended)")},
      {"RegisterInfoLog",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Write register statistics to a log")},
      {"TryRelaxSpecialHeuristicsLog",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Write the relaxation log")},
      {"MinimizeToTray",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Minimise to the notification area (0 never, 1 always, 2 only with Ctrl key)")},
      {"UseGlobalRules", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                           "Apply the global rules (positions where mate is impossible)")},
      {"GlobalRegisterForceDiskAccess",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Force disk access for global register data")},
      {"MultithreadingLevels", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Multithreading levels")},
      {"EnableManualEngineControl",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Enable manual engine control (1: Yes, not recommended)")},
      {"UsePredefinedIndications",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                         "Use predefined indications for known compositions (2: also mark such problems)")},
      {"AutoSaveMinutes", QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog",
                                            "Auto-save period of temporary data in minutes (0: off)")},
      {"AutoSaveMB",
       QT_TRANSLATE_NOOP("ostravel::gui::TOptionsDialog", "Size of the auto-save file in MB (0: off)")},
  };
  const auto it = labels.find(key);
  return it == labels.end() ? QString::fromStdString(key) : tr(it->second);
}

TOptionsDialog::TOptionsDialog(const TSettings& current, QWidget* parent) : QDialog(parent), base_(current) {
  setWindowTitle(tr("Options"));
  auto* form = new QFormLayout;
  language_ = new QComboBox;
  language_->addItem(QStringLiteral("Polski"), 0);
  language_->addItem(QStringLiteral("English"), 1);
  language_->addItem(QStringLiteral("Українська"), 2);
  language_->setCurrentIndex(language_->findData(current.LanguageId));
  form->addRow(tr("Language"), language_);
  for (const TSettingKey& k : SettingKeys()) {
    if (k.writer != TSettingWriter::kDialog) continue;
    auto* spin = new QSpinBox;
    spin->setObjectName(QString::fromLatin1(k.name));
    spin->setRange(k.minValue, k.maxValue);
    spin->setValue(current.*(k.member));
    QString tip =
        QStringLiteral("%1 (%2..%3)").arg(QString::fromLatin1(k.name)).arg(k.minValue).arg(k.maxValue);
    QString text = LabelOf(k.name);
    if (SettingHasNoEffectYet(k.name)) {
      // Kept and saved, but nothing acts on it yet: the label says so.
      text += QStringLiteral(" ") + tr("(no effect yet)");
      tip += QStringLiteral(" ") + tr("(no effect yet)");
    }
    spin->setToolTip(tip);
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setToolTip(spin->toolTip());
    form->addRow(label, spin);
    spins_[k.name] = spin;
  }
  auto* inner = new QWidget;
  inner->setLayout(form);
  auto* scroll = new QScrollArea;
  scroll->setWidget(inner);
  scroll->setWidgetResizable(true);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
  buttons->button(QDialogButtonBox::Save)->setText(tr("&Save settings"));
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(scroll);
  layout->addWidget(buttons);
  resize(620, 560);
}

QSpinBox* TOptionsDialog::SpinFor(const std::string& key) const {
  const auto it = spins_.find(key);
  return it == spins_.end() ? nullptr : it->second;
}

TSettings TOptionsDialog::Edited() const {
  TSettings s = base_;
  s.LanguageId = language_->currentData().toInt();
  for (const auto& [name, spin] : spins_) {
    // The spin box keeps the value within the key's range already.
    SetSettingFromText(s, name, std::to_string(spin->value()));
  }
  s.UpdateDerivedLimits();
  return s;
}

void TOptionsDialog::Save(const TSettings& s, const std::string& path) {
  WriteSettings(s, path);
  // LanguageId belongs to the language command: one more atomic rewrite.
  TIniFile ini;
  ini.Load(path);
  if (const TSettingKey* k = FindSettingKey("LanguageId")) StoreSettingKey(s, *k, ini);
  ini.Save(path);
}

}  // namespace ostravel::gui
