#pragma once
// The options dialog: every setting of "options.ini" that the program
// writes, each with the limits the settings code accepts. "Save settings"
// rewrites the file atomically, keeping every line it does not own.
#include <QDialog>
#include <QString>
#include <map>
#include <string>

#include "config/settings.h"

class QComboBox;
class QSpinBox;

namespace ostravel::gui {

class TOptionsDialog : public QDialog {
  Q_OBJECT
 public:
  TOptionsDialog(const TSettings& current, QWidget* parent = nullptr);

  // The settings as edited.
  TSettings Edited() const;
  QSpinBox* SpinFor(const std::string& key) const;
  QComboBox* LanguageBox() const { return language_; }

  // Writes the dialog's keys and LanguageId to the options file. Throws
  // std::runtime_error on failure.
  static void Save(const TSettings& s, const std::string& path);
  // The label of a key (translated).
  static QString LabelOf(const std::string& key);

 private:
  TSettings base_;
  std::map<std::string, QSpinBox*> spins_;
  QComboBox* language_ = nullptr;
};

}  // namespace ostravel::gui
