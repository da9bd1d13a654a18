#include "platform/texts.h"

namespace ostravel {

namespace {

constexpr int kPolish = 0;

bool Polish(int languageId) {
  return languageId == kPolish;
}

constexpr const char* kForcedCloseHead =
    "The last program analysis seems to have been closed forcibly.\n\nPartial solution data is available in "
    "file\n";
constexpr const char* kForcedCloseHeadPl =
    "Ostatnia analiza programu została prawdopodobnie przerwana w sposób wymuszony.\n\nCzęściowe dane "
    "rozwiązania są dostępne w pliku\n";
constexpr const char* kForcedCloseHowTo =
    "\n(you can load it using menu 'Advanced->Read temporary register from file' and restart analysis)";
constexpr const char* kForcedCloseHowToPl =
    "\n(można go wczytać poleceniem menu 'Zaawansowane->Wczytaj rejestr tymczasowy z pliku' i wznowić "
    "analizę)";

}  // namespace

const char* ShellText(TShellText id, int languageId) {
  const bool pl = Polish(languageId);
  switch (id) {
    case TShellText::kInformationTitle:
      return pl ? "Informacja" : "Information";
    case TShellText::kSecondInstanceNote:
      return pl ? "Uwaga:\nPonieważ nie jest to pierwsza uruchomiona instancja programu, pliki .lichess "
                  "zostaną otwarte tylko do odczytu.\n\nNależy też zachować szczególną ostrożność przy "
                  "zapisywaniu plików z problemami (.cp) - chociaż instancje programu ostrzegają i "
                  "proponują synchronizację/ponowne wczytanie"
                : "Note:\nSince it is not the first running instance of the program, it will be opened in "
                  "read-only mode for .lichess files.\n\nAlso particular care should be taken while saving "
                  "problem files (.cp) - although program instances warn and suggest "
                  "sychronization/reload";
    case TShellText::kSecondInstanceStatus:
      return pl ? "Nie pierwsza instancja programu: pliki .lichess tylko do odczytu"
                : "Not the first instance of the program: .lichess files are read-only";
    case TShellText::kWarningTitle:
      return pl ? "Ostrzeżenie" : "Warning";
    case TShellText::kErrorTitle:
      return pl ? "Wystąpił błąd" : "An error occurred";
    case TShellText::kUnhandledExceptionTitle:
      return pl ? "Nieobsłużony wyjątek" : "Unhandled exception";
    case TShellText::kFileChangedWithUnsavedChanges:
      return pl ? "Otwarty plik został zmieniony przez inną aplikację.\n\nZdecydowanie zaleca się jego "
                  "ponowne otwarcie (zamknięcie i otwarcie)\n\nWszystkie niezapisane zmiany zostaną "
                  "utracone.\nAby je zachować, zaleca się zapisanie ich do innego pliku (Plik... Zapisz "
                  "jako)."
                : "The opened file has been changed by an external application.\n\nIt is strongly "
                  "recommended to reopen it (close and open it again)\n\nAny unsaved changes will be "
                  "lost.\nIf you want to save them, it is recommended to save to another file (File... Save "
                  "As).";
    case TShellText::kFileChangedReloadQuestion:
      return pl ? "Otwarty plik został zmieniony przez inną aplikację.\n\nZdecydowanie zaleca się jego "
                  "ponowne otwarcie (zamknięcie i otwarcie)\n\nCzy wczytać plik ponownie?"
                : "The opened file has been changed by an external application.\n\nIt is strongly "
                  "recommended to reopen it (close and open it again)\n\nDo you want to reload the file?";
  }
  return "";
}

std::string PendingSearchQuitText(int pendingProblems, int languageId) {
  const std::string n = std::to_string(pendingProblems);
  if (Polish(languageId))
    return "Wyszukiwanie rozwiązania trwa dla " + n + " problemu(ów).\nCzy na pewno zakończyć program?";
  return "Search for solution is pending for " + n + " problem(s).\nAre you sure you want to quit?";
}

std::string ForcedCloseQuestionMessage(const std::string& registerFile, int languageId) {
  if (Polish(languageId))
    return std::string(kForcedCloseHeadPl) + registerFile + kForcedCloseHowToPl +
           "\n\nCzy użyć go automatycznie i wznowić przerwaną analizę?\n\nNaciśnij Anuluj, aby ten "
           "komunikat nie był więcej wyświetlany (rozszerzenie pliku zostanie zmienione na .BAK)";
  return std::string(kForcedCloseHead) + registerFile + kForcedCloseHowTo +
         "\n\nDo you want to use it automatically and resume interrupted analysis?\n\nPress Cancel to avoid "
         "displaying this message again (the file extention will be changed to .BAK)";
}

std::string ForcedCloseInformationMessage(const std::string& registerFile, int languageId) {
  if (Polish(languageId))
    return std::string(kForcedCloseHeadPl) + registerFile + kForcedCloseHowToPl +
           "\n\nJeśli te dane nie są potrzebne, można ręcznie usunąć ten plik, aby ta informacja nie była "
           "więcej wyświetlana.";
  return std::string(kForcedCloseHead) + registerFile + kForcedCloseHowTo +
         "\n\nIf this data is not needed, you can delete this file manually to prevent displaying this "
         "information again.";
}

std::string FileChangedText(bool unsavedChanges, int languageId) {
  return ShellText(
      unsavedChanges ? TShellText::kFileChangedWithUnsavedChanges : TShellText::kFileChangedReloadQuestion,
      languageId);
}

std::string UnhandledExceptionText(const std::string& description, bool offerToSend, int languageId) {
  if (Polish(languageId))
    return "Przechwycono nieobsłużony wyjątek: " + description + "\nProgram zostanie teraz zakończony.\n\n" +
           (offerToSend ? "Czy wysłać raport o awarii na serwer producenta?" : "");
  return "Unhandled exception caught: " + description + "\nProgram will now be terminated.\n\n" +
         (offerToSend ? "Do you want to send the crash report to the vendor's server?" : "");
}

}  // namespace ostravel
