#pragma once
// The selection of special heuristics for the next solve: every control of
// the selection, the path the relaxation would take ("Show"), and the
// previous settings. OK checks the selection and stays open with the
// message when it is refused.
#include <QDialog>
#include <QString>
#include <optional>

#include "engine/heuristic_selection.h"
#include "engine/heuristics.h"
#include "problems/problem.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;

namespace ostravel::gui {

class THeuristicsDialog : public QDialog {
  Q_OBJECT
 public:
  // `previous`: the settings before the current ones ("Previous settings");
  // `problem`: the position the key white figure and the zugzwang moves are
  // checked against (null: not checked).
  THeuristicsDialog(const THeuristicState& current, bool relaxation, int languageId,
                    std::optional<THeuristicState> previous = std::nullopt, const TProblem* problem = nullptr,
                    QWidget* parent = nullptr);

  // The fields as they stand, and putting fields in.
  THeuristicSelection Selection() const;
  void SetSelection(const THeuristicSelection& f);

  // After OK: the state chosen and whether relaxation is on.
  const THeuristicState& State() const { return state_; }
  bool Relaxation() const;
  // The message shown (an error, a note, or why nothing was done).
  QString Message() const;
  QString PathText() const;

  void accept() override;
  // "Show": the passes the relaxation would run from the fields' state.
  void ShowPath();
  // "Previous settings".
  void UsePrevious();

  // Controls by name (tests): the check boxes and line edits carry object names.
  QCheckBox* Check(const char* name) const;
  QLineEdit* Edit(const char* name) const;

 private:
  QCheckBox* NewCheck(const char* name, const QString& text);
  QLineEdit* NewEdit(const char* name, int width, const QString& tip = {});
  void ShowMessage(const QString& text, bool error);

  int language_;
  std::optional<THeuristicState> previous_;
  const TProblem* problem_;
  THeuristicState state_;
  THeuristicState kept_;  // what the controls cannot show, carried through

  QComboBox* cornerUnit_ = nullptr;
  QRadioButton* promotedQueen_ = nullptr;
  QRadioButton* promotedAny_ = nullptr;
  QComboBox* colourMode_ = nullptr;
  QComboBox* ffmLevel_ = nullptr;
  QCheckBox* ffmCompany_[3] = {};  // partially, partially + edge pass, with other heuristics
  QLabel* message_ = nullptr;
  QPlainTextEdit* path_ = nullptr;
  QPushButton* showButton_ = nullptr;
  QPushButton* previousButton_ = nullptr;
};

}  // namespace ostravel::gui
