#include "engine/engine_texts.h"

#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <vector>

namespace ostravel {

namespace {

struct TTextEntry {
  TEngineText id;
  const char* en;
  const char* pl;  // nullptr: English
  const char* uk;  // nullptr: English
};

using E = TEngineText;

// One entry per id, in the order of the enumeration (checked below).
constexpr TTextEntry kTexts[] = {
    {E::kOnlyMateProblems, "Only mate problems (type=1) supported currently.",
     "Obecnie obs\u0142ugiwane s\u0105 tylko problemy z matem (type=1).", nullptr},
    {E::kTooManyProblems, "Too many problems being solved at the same time.",
     "Zbyt wiele problem\u00f3w rozwi\u0105zywanych jednocze\u015bnie.", nullptr},
    {E::kTooManyThreads, "Too many threads and/or multithreading levels.",
     "Zbyt wiele w\u0105tk\u00f3w i/lub poziom\u00f3w wielow\u0105tkowo\u015bci.", nullptr},
    {E::kCheckPending, "initial position check pending...",
     "oczekiwanie na sprawdzenie pozycji pocz\u0105tkowej...", nullptr},
    {E::kTypeCheck, "Initial position type check...", "Sprawdzanie typu pozycji pocz\u0105tkowej...",
     nullptr},
    {E::kNoGlobalRegister, "No global register found for position type %s",
     "Nie znaleziono rejestru globalnego dla typu pozycji %s", nullptr},
    {E::kBlackKingChecked, "Black king cannot be checked in the mate task starting postition.",
     "Czarny kr\u00f3l nie mo\u017ce by\u0107 szachowany w pozycji pocz\u0105tkowej zadania na mata.",
     nullptr},
    {E::kWhiteKingChecked, "White king cannot be checked in the mate-defence task starting postition.",
     "Bia\u0142y kr\u00f3l nie mo\u017ce by\u0107 szachowany w pozycji pocz\u0105tkowej zadania obrony przed "
     "matem.",
     nullptr},
    {E::kMateTaskNeedsWhite, "The mate task needs White to move.",
     "Zadanie na mata wymaga ruchu bia\u0142ych.", nullptr},
    {E::kDefenceTaskNeedsBlack, "The mate-defence task needs Black to move.",
     "Zadanie obrony przed matem wymaga ruchu czarnych.", nullptr},

    {E::kSummaryTitle, "Main settings of current analysis",
     "G\u0142\u00f3wne ustawienia bie\u017c\u0105cej analizy", nullptr},
    {E::kModeHybrid,
     "* Hybrid brute force - first heuristical search for single solution, then brute force search for "
     "dual(s)",
     "* Hybrydowa pe\u0142na analiza - najpierw heurystyczne szukanie jednego rozwi\u0105zania, potem "
     "pe\u0142ne "
     "szukanie duali",
     nullptr},
    {E::kModeHybridPhase1,
     "  - now running the first (heuristical) phase of hybrid brute force (no solution found yet)",
     "  - trwa pierwsza (heurystyczna) faza hybrydowej pe\u0142nej analizy (nie znaleziono jeszcze "
     "rozwi\u0105zania)",
     nullptr},
    {E::kModeHybridPhase2,
     "  - now running the second (brute force) phase of hybrid brute force (at least one solution already "
     "found)",
     "  - trwa druga (pe\u0142na) faza hybrydowej pe\u0142nej analizy (znaleziono ju\u017c co najmniej jedno "
     "rozwi\u0105zanie)",
     nullptr},
    {E::kModeSingle, "* Search for single solution", "* Szukanie jednego rozwi\u0105zania", nullptr},
    {E::kModeAtMost2, "* Search for no more than 2 solutions",
     "* Szukanie nie wi\u0119cej ni\u017c 2 rozwi\u0105za\u0144", nullptr},
    {E::kModeAtMost3, "* Search for no more than 3 solutions",
     "* Szukanie nie wi\u0119cej ni\u017c 3 rozwi\u0105za\u0144", nullptr},
    {E::kModeAtMost4, "* Search for no more than 4 solutions",
     "* Szukanie nie wi\u0119cej ni\u017c 4 rozwi\u0105za\u0144", nullptr},
    {E::kModeAll, "* Search for all solutions", "* Szukanie wszystkich rozwi\u0105za\u0144", nullptr},
    {E::kSafeModeOn, "* Safe mode is on (implicit quick mode heuristics is off)",
     "* Tryb bezpieczny w\u0142\u0105czony (niejawne heurystyki trybu szybkiego wy\u0142\u0105czone)",
     nullptr},
    {E::kQuickModeOn,
     "* Quick mode implicit heuristics is on, but it does not affect second pass (without heuristics), which "
     "is/will be run in safe mode",
     "* Niejawne heurystyki trybu szybkiego w\u0142\u0105czone, ale nie dotycz\u0105 drugiego przebiegu (bez "
     "heurystyk), kt\u00f3ry jest/b\u0119dzie wykonany w trybie bezpiecznym",
     nullptr},
    {E::kDefaultShortMate, "* Default depth of search for short mate (typically #7, sometimes #6 or #8)",
     "* Domy\u015blna g\u0142\u0119boko\u015b\u0107 szukania kr\u00f3tkiego mata (zwykle #7, czasem #6 lub "
     "#8)",
     nullptr},
    {E::kCustomShortMate, "* Custom depth of search for short mate: #%d",
     "* W\u0142asna g\u0142\u0119boko\u015b\u0107 szukania kr\u00f3tkiego mata: #%d", nullptr},
    {E::kThreads, "* Threads = %d", "* W\u0105tki = %d", nullptr},
    {E::kForcedThreads, " (but forced by engine to %d)", " (ale wymuszone przez silnik na %d)", nullptr},
    {E::kLevels, "* Multithreading levels = %d", "* Poziomy wielow\u0105tkowo\u015bci = %d", nullptr},
    {E::kEffectiveThreads, "* Effective number of main threads = %llu",
     "* Efektywna liczba g\u0142\u00f3wnych w\u0105tk\u00f3w = %llu", nullptr},
    {E::kSchedulerOff, "* Scheduler is off", "* Harmonogram wy\u0142\u0105czony", nullptr},
    {E::kSchedulerOn, "* Scheduler is on: moves from %d to %d are 'juggled' by scheduler",
     "* Harmonogram w\u0142\u0105czony: ruchy od %d do %d s\u0105 '\u017conglowane' przez harmonogram",
     nullptr},
    {E::kCustomSchedulerOn, "* Custom scheduler is on", "* W\u0142asny harmonogram w\u0142\u0105czony",
     nullptr},
    {E::kCustomSchedulerOff, "* Custom scheduler is off", "* W\u0142asny harmonogram wy\u0142\u0105czony",
     nullptr},
    {E::kInitialHeuristics, "* Initial set of heuristics: %s", "* Pocz\u0105tkowy zestaw heurystyk: %s",
     nullptr},
    {E::kNone, "none", "brak", nullptr},

    {E::kStatusQuickMode, "> Quick Mode implicit heuristics ON (see Options)",
     "> Niejawne heurystyki trybu szybkiego W\u0141\u0104CZONE (zob. Opcje)", nullptr},
    {E::kStatusSafeMode, "> Safe Mode (Quick Mode heuristics is OFF)",
     "> Tryb bezpieczny (heurystyki trybu szybkiego WY\u0141\u0104CZONE)", nullptr},
    {E::kStatusSafeModeForced, "> Safe Mode forced by engine", "> Tryb bezpieczny wymuszony przez silnik",
     nullptr},

    {E::kNotePassOff,
     "NOTE: Pass without heuristics is currently switched off (see heuristics selection dialog box)",
     "UWAGA: Przebieg bez heurystyk jest obecnie wy\u0142\u0105czony (zob. okno wyboru heurystyk)", nullptr},
    {E::kNoteNoSecondPass, "\t* pass without heuristics has been skipped (on user's request)\n",
     "\t* przebieg bez heurystyk zosta\u0142 pomini\u0119ty (na \u017cyczenie u\u017cytkownika)\n", nullptr},
    {E::kNoteOnlyOnePass,
     "\t* there was only one pass with heuristcs (relaxation of heuristics was switched off by user's "
     "request)\n",
     "\t* by\u0142 tylko jeden przebieg z heurystykami (relaksacja heurystyk wy\u0142\u0105czona na "
     "\u017cyczenie "
     "u\u017cytkownika)\n",
     nullptr},
    {E::kNoteExactFirstPass,
     "\t* the first pass used no special heuristics, so it was already an exact search: the pass without "
     "heuristics was not repeated\n",
     "\t* pierwszy przebieg nie u\u017cywa\u0142 heurystyk specjalnych, wi\u0119c by\u0142 ju\u017c "
     "dok\u0142adny: "
     "przebiegu bez heurystyk nie powt\u00f3rzono\n",
     nullptr},
    {E::kNoteHybridNoPhase2,
     "\t* no solution was found in the first (heuristical) phase, so the second (brute force) phase was not "
     "run; the heuristics may have hidden a solution\n",
     "\t* w pierwszej (heurystycznej) fazie nie znaleziono rozwi\u0105zania, wi\u0119c drugiej (pe\u0142nej) "
     "fazy "
     "nie uruchomiono; heurystyki mog\u0142y ukry\u0107 rozwi\u0105zanie\n",
     nullptr},
    {E::kNoteHybridNoPhase2Exact,
     "\t* no solution was found in the first phase, which used no special heuristics (an exact search), so "
     "the "
     "second (brute force) phase was not needed\n",
     "\t* w pierwszej fazie, kt\u00f3ra nie u\u017cywa\u0142a heurystyk specjalnych (dok\u0142adne "
     "szukanie), nie "
     "znaleziono rozwi\u0105zania, wi\u0119c druga (pe\u0142na) faza nie by\u0142a potrzebna\n",
     nullptr},
    {E::kPassesRun, "Passes run:", "Wykonane przebiegi:", nullptr},
    {E::kPassWithHeuristics, "\t* pass %s: search with heuristics (%s)\n",
     "\t* przebieg %s: szukanie z heurystykami (%s)\n", nullptr},
    {E::kPassExact, "\t* pass %s: exact search (the initial set of heuristics is empty)\n",
     "\t* przebieg %s: dok\u0142adne szukanie (pocz\u0105tkowy zestaw heurystyk jest pusty)\n", nullptr},
    {E::kPassWithoutHeuristics, "\t* pass %s: search without heuristics (safe mode)\n",
     "\t* przebieg %s: szukanie bez heurystyk (tryb bezpieczny)\n", nullptr},
    {E::kPassBruteForce, "\t* pass %s: brute force search (all moves, no heuristics)\n",
     "\t* przebieg %s: pe\u0142ne szukanie (wszystkie ruchy, bez heurystyk)\n", nullptr},
    {E::kPassProofNumbers,
     "\t* pass %s: proof-number search for keys (proves keys, not that there is no other)\n",
     "\t* przebieg %s: szukanie kluczy liczbami dowodu (dowodzi kluczy, nie braku innych)\n", nullptr},
    {E::kPassHybridPhase1,
     "\t* pass %s: first (heuristical) phase of hybrid brute force, single solution (%s)\n",
     "\t* przebieg %s: pierwsza (heurystyczna) faza hybrydowej pe\u0142nej analizy, jedno rozwi\u0105zanie "
     "(%s)\n",
     nullptr},
    {E::kPassHybridPhase2,
     "\t* pass %s: second (brute force) phase of hybrid brute force, search for dual(s)\n",
     "\t* przebieg %s: druga (pe\u0142na) faza hybrydowej pe\u0142nej analizy, szukanie duali\n", nullptr},
    {E::kPassSolutions, "\t  solutions after the pass: %d (%0.2f sec.)\n",
     "\t  rozwi\u0105zania po przebiegu: %d (%0.2f sek.)\n", nullptr},
    {E::kPassInterrupted, "\t  the pass was interrupted\n", "\t  przebieg zosta\u0142 przerwany\n", nullptr},

    {E::kStopAfterDual, "Search for solutions has been stopped after detection of dual.",
     "Szukanie rozwi\u0105za\u0144 zosta\u0142o zatrzymane po wykryciu duala.", nullptr},
    {E::kStopAfter3, "Search for solutions has been stopped after finding 3 solutions",
     "Szukanie rozwi\u0105za\u0144 zosta\u0142o zatrzymane po znalezieniu 3 rozwi\u0105za\u0144", nullptr},
    {E::kStopAfter4, "Search for solutions has been stopped after finding 4 solutions",
     "Szukanie rozwi\u0105za\u0144 zosta\u0142o zatrzymane po znalezieniu 4 rozwi\u0105za\u0144", nullptr},
    {E::kMoreThanOneSolution, "More than one solution found: %d",
     "Znaleziono wi\u0119cej ni\u017c jedno rozwi\u0105zanie: %d", nullptr},

    {E::kAnalysisStopped, "Analysis stopped by user", "Analiza zatrzymana przez u\u017cytkownika", nullptr},
    {E::kStoppedMark, "(stopped by user)", "(zatrzymane przez u\u017cytkownika)", nullptr},
    {E::kRepetitionTitle, "Position repetition", "Powt\u00f3rzenie pozycji", nullptr},
    {E::kRepetition,
     "Program detected position repetition\nFor optimization reasons every postion repetition is treated as "
     "preventing mate and, thus, program terminates analysis in such case.",
     "Program wykry\u0142 powt\u00f3rzenie pozycji\nZe wzgl\u0119d\u00f3w optymalizacyjnych ka\u017cde "
     "powt\u00f3rzenie pozycji jest traktowane jako zapobiegaj\u0105ce matowi, dlatego w takim przypadku "
     "program "
     "ko\u0144czy analiz\u0119.",
     nullptr},
    {E::kOutOfMemory, "Out of memory.", "Brak pami\u0119ci.", nullptr},
    {E::kThreadProposal, "Engine wants to force a different number of threads (%d). Do you accept it?",
     "Silnik chce wymusi\u0107 inn\u0105 liczb\u0119 w\u0105tk\u00f3w (%d). Czy akceptujesz?", nullptr},

    {E::kEngineCompleted, "Engine has completed: %s", "Silnik zako\u0144czy\u0142 prac\u0119: %s", nullptr},
    {E::kEngineStopped, "Engine stopped: %s", "Silnik zatrzymany: %s", nullptr},
    {E::kThreadSolvingDone, "Thread solving problem %s has completed successfully.",
     "W\u0105tek rozwi\u0105zuj\u0105cy problem %s zako\u0144czy\u0142 prac\u0119 pomy\u015blnie.", nullptr},
    {E::kNoSolutionOfProblem, "No solution found of the problem %s",
     "Nie znaleziono rozwi\u0105zania problemu %s", nullptr},
    {E::kSolutionsOfProblem, "%d solution(s) found of the problem %s",
     "%d rozwi\u0105zanie(-a) znalezione dla problemu %s", nullptr},
    {E::kNotFoundAnySolutions, "Not found any solutions for #%d",
     "Nie znaleziono \u017cadnych rozwi\u0105za\u0144 dla #%d", nullptr},
    {E::kNoSolutionSeconds, "No solution found (%0.1f sec.)", "Nie znaleziono rozwi\u0105zania (%0.1f sek.)",
     nullptr},
    {E::kMateSearchResult, "Mate search result", "Wynik szukania mata", nullptr},
    {E::kResultOfAnalysis, "Result of analysis", "Wynik analizy", nullptr},
    {E::kResultLine, ">> #%d", nullptr, nullptr},
    {E::kFromRegister, "(from register)", "(z rejestru)", nullptr},
    {E::kFromTemporaryRegister, "From temporary register", nullptr, nullptr},

    {E::kDefenceRefuted, "Mate in the requested stipulation was refuted with:",
     "Mat w zadanej liczbie ruch\u00f3w zosta\u0142 odparty przez:", nullptr},
    {E::kDefenceNone, "Not found any defence against mate. The best looks:",
     "Nie znaleziono obrony przed matem. Najlepiej wygl\u0105da:", nullptr},
    {E::kDefenceOnlyReply, "The only reply:", "Jedyna odpowied\u017a:", nullptr},
    {E::kDefenceOnlyReplyShort, "The only reply that prevents short mate:",
     "Jedyna odpowied\u017a zapobiegaj\u0105ca kr\u00f3tkiemu matowi:", nullptr},
    {E::kDefenceOnlyReplyShortNotDefence,
     "The only reply that prevents short mate (not a defence against mate) :",
     "Jedyna odpowied\u017a zapobiegaj\u0105ca kr\u00f3tkiemu matowi (nie jest obron\u0105 przed matem) :",
     nullptr},
    {E::kDefenceOnlyReplyNotDefence, "The only reply (not a defence against mate) :",
     "Jedyna odpowied\u017a (nie jest obron\u0105 przed matem) :", nullptr},
    {E::kDefenceFollowing,
     "The following moves have been found:", "Znaleziono nast\u0119puj\u0105ce ruchy:", nullptr},
    {E::kDefenceEquivalent, "\nEquivalent moves:", "\nRuchy r\u00f3wnowa\u017cne:", nullptr},
    {E::kDefenceNoValidMove, "No valid move found", "Nie znaleziono poprawnego ruchu", nullptr},
    {E::kDefenceThreadDone, "Thread looking for black's defence in problem %s has completed successfully.",
     "W\u0105tek szukaj\u0105cy obrony czarnych w problemie %s zako\u0144czy\u0142 prac\u0119 "
     "pomy\u015blnie.",
     nullptr},
    {E::kDefenceMateIn, "mate in %d", "mat w %d", nullptr},
    {E::kDefenceNoMateIn, "no mate in %d", "brak mata w %d", nullptr},
    {E::kDefenceNotSearched, "not searched", "nie zbadano", nullptr},

    {E::kThreat, "threat:", "grozi", nullptr},
    {E::kZugzwang, "zugzwang", "zugzwang", nullptr},
    {E::kDefenceWord, "Defence:", "Obrona:", nullptr},
    {E::kDefencesWord, "Defences:", "Obrony:", nullptr},
    {E::kLastMoveNoMate, "Last move, no mate.", "Ostatni ruch, brak mata.", nullptr},
    {E::kVariationsNotShown, "... (further variations not shown)", "... (dalsze warianty pomini\u0119te)",
     nullptr},
};

constexpr bool TableInOrder() {
  size_t i = 0;
  for (const auto& t : kTexts)
    if (static_cast<size_t>(t.id) != i++) return false;
  return i == static_cast<size_t>(E::kCount);
}
static_assert(TableInOrder(), "engine texts must follow the order of TEngineText");

struct THeuristicName {
  uint32_t bit;
  const char* name;
};

constexpr THeuristicName kHeuristicNames[] = {
    {0x00000001, "SH_AREKINGSNEAR"},
    {0x00000002, "SH_SWEEPINGWHITEROOK"},
    {0x00000004, "SH_KEEPKINGONTHEEDGE"},
    {0x00000008, "SH_ONECOLORPLAYPOSSIBLE"},
    {0x00000010, "SH_ZUGZWANGTRIANGLES"},
    {0x00000020, "SH_DONTLEAVEMAINDIAGONAL"},
    {0x00000040, "SH_KEEPKINGWITHINEXTEDGE"},
    {0x00000080, "SH_DONTLETFIGUREUNBLOCK"},
    {0x00000200, "SH_FINDFORCEDMATE"},
    {0x00000400, "SH_DONTRECEDEBLACKKING"},
    {0x00000800, "SH_DONTLETPROMOTEDQUEENMOVE"},
    {0x00001000, "SH_KEYLINE"},
    {0x00002000, "SH_KEYDIAGONAL"},
    {0x00004000, "SH_SAVEQUEEN/ROOK"},
    {0x00008000, "SH_DONTLOSEANYFIGURES"},
    {0x00010000, "SH_DONTLETBLACKQUEENCHECKTWICE"},
    {0x00020000, "SH_USEBLOCKBLACKPAWNSLEVEL"},
    {0x00040000, "SH_KEYSQUARE"},
    {0x00080000, "SH_ASSERTBLACKKINGSURROUNDED"},
    {0x00100000, "SH_SINGLEQUEENMATE"},
    {0x00200000, "SH_3MOVESTOMATE"},
    {0x00400000, "SH_KEYWHITEFIGURE"},
    {0x00800000, "SH_CAPTUREKNIGHT"},
    {0x01000000, "SH_SKIPWORSTWHITEMOVES"},
    {0x02000000, "SH_DONTLETPROMOTEDFIGUREMOVE"},
    {0x04000000, "SH_KEEPKINGNEARCORNER"},
    {0x08000000, "SH_SEASNAKE"},
    {0x40000000, "SH_REDUCTIONTOGLOBREGPOS"},
    {0x80000000, "SH_ZUGZWANG"},
};

}  // namespace

const char* EngineText(TEngineText id, int languageId) {
  const auto i = static_cast<size_t>(id);
  if (i >= std::size(kTexts)) return "";
  const TTextEntry& t = kTexts[i];
  if (languageId == 0 && t.pl) return t.pl;
  if (languageId == 2 && t.uk) return t.uk;
  return t.en;
}

std::string EngineFormat(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  va_list copy;
  va_copy(copy, ap);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  std::string out;
  if (n > 0) {
    std::vector<char> buf(static_cast<size_t>(n) + 1);
    std::vsnprintf(buf.data(), buf.size(), format, ap);
    out.assign(buf.data(), static_cast<size_t>(n));
  }
  va_end(ap);
  return out;
}

int LanguageIdOf(const std::string& name) {
  std::string s;
  for (char c : name) s += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (s == "pl" || s == "polish" || s == "0") return 0;
  if (s == "en" || s == "english" || s == "1") return 1;
  if (s == "uk" || s == "ua" || s == "ukrainian" || s == "2") return 2;
  return -1;
}

std::string MemoryText(uint64_t megabytes) {
  if (megabytes < 1000) return EngineFormat("%dMB", static_cast<int>(megabytes));
  return EngineFormat("%0.1fGB", static_cast<double>(megabytes) / 1024.0);
}

std::string HeuristicSetNames(uint32_t set, int languageId) {
  if (set == 0) return EngineText(TEngineText::kNone, languageId);
  std::string out;
  uint32_t rest = set;
  for (const auto& h : kHeuristicNames) {
    if (!(set & h.bit)) continue;
    if (!out.empty()) out += ' ';
    out += h.name;
    rest &= ~h.bit;
  }
  // Bits without a name print as "...".
  if (rest) out += out.empty() ? "..." : " ...";
  return out;
}

}  // namespace ostravel
