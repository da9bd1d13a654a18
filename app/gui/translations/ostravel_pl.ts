<?xml version='1.0' encoding='utf-8'?>
<TS version="2.1" language="pl_PL">
<context>
    <name>ostravel::gui::TMainWindow</name>
    <message>
        <source>Information</source>
        <translation>Informacja</translation>
    </message>
    <message>
        <source>The clipboard holds no FEN: %1</source>
        <translation>Schowek nie zawiera FEN: %1</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Błąd</translation>
    </message>
    <message>
        <source>Not a FEN: %1</source>
        <translation>To nie jest FEN: %1</translation>
    </message>
    <message>
        <source>&amp;New collection</source>
        <translation>&amp;Nowy zbiór</translation>
    </message>
    <message>
        <source>&amp;Open collection...</source>
        <translation>&amp;Otwórz zbiór...</translation>
    </message>
    <message>
        <source>Open &amp;sample collection</source>
        <translation>Otwórz zbiór &amp;przykładowy</translation>
    </message>
    <message>
        <source>&amp;Save collection</source>
        <translation>&amp;Zapisz zbiór</translation>
    </message>
    <message>
        <source>Save collection &amp;as...</source>
        <translation>Zapisz zbiór &amp;jako...</translation>
    </message>
    <message>
        <source>O&amp;ptions...</source>
        <translation>O&amp;pcje...</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Zakończ</translation>
    </message>
    <message>
        <source>&amp;Copy FEN</source>
        <translation>&amp;Kopiuj FEN</translation>
    </message>
    <message>
        <source>&amp;Paste FEN</source>
        <translation>&amp;Wklej FEN</translation>
    </message>
    <message>
        <source>C&amp;lear board</source>
        <translation>Wy&amp;czyść szachownicę</translation>
    </message>
    <message>
        <source>&amp;Initial position</source>
        <translation>Pozycja &amp;początkowa</translation>
    </message>
    <message>
        <source>&amp;Flip board</source>
        <translation>&amp;Obróć szachownicę</translation>
    </message>
    <message>
        <source>&amp;Add problem</source>
        <translation>&amp;Dodaj problem</translation>
    </message>
    <message>
        <source>&amp;Duplicate problem</source>
        <translation>&amp;Powiel problem</translation>
    </message>
    <message>
        <source>D&amp;elete problem</source>
        <translation>&amp;Usuń problem</translation>
    </message>
    <message>
        <source>Move &amp;up</source>
        <translation>Przesuń w &amp;górę</translation>
    </message>
    <message>
        <source>Move do&amp;wn</source>
        <translation>Przesuń w &amp;dół</translation>
    </message>
    <message>
        <source>&amp;Store found keys as variant</source>
        <translation>&amp;Zapisz znalezione klucze jako wariant</translation>
    </message>
    <message>
        <source>&amp;Solve</source>
        <translation>&amp;Rozwiąż</translation>
    </message>
    <message>
        <source>&amp;Pause</source>
        <translation>&amp;Wstrzymaj</translation>
    </message>
    <message>
        <source>Pause one &amp;thread</source>
        <translation>Wstrzymaj jeden &amp;wątek</translation>
    </message>
    <message>
        <source>S&amp;top</source>
        <translation>Za&amp;trzymaj</translation>
    </message>
    <message>
        <source>About manual control...</source>
        <translation>O sterowaniu ręcznym...</translation>
    </message>
    <message>
        <source>Skip analysis of current move and go to the &amp;next one</source>
        <translation>Pomiń analizę bieżącego ruchu i przejdź do &amp;następnego</translation>
    </message>
    <message>
        <source>Skip to analysis of next move</source>
        <translation>Przejdź do analizy następnego ruchu</translation>
    </message>
    <message>
        <source>Skip 5 moves of analysis</source>
        <translation>Pomiń 5 ruchów analizy</translation>
    </message>
    <message>
        <source>Skip to...</source>
        <translation>Przejdź do...</translation>
    </message>
    <message>
        <source>Swap order of analysis with the next move</source>
        <translation>Zamień kolejność analizy z następnym ruchem</translation>
    </message>
    <message>
        <source>Shift current move to be analyzed as the last one</source>
        <translation>Przesuń bieżący ruch na koniec analizy</translation>
    </message>
    <message>
        <source>Selection of heuristics...</source>
        <translation>Wybór heurystyk...</translation>
    </message>
    <message>
        <source>&amp;Read temporary register from file...</source>
        <translation>&amp;Wczytaj rejestr tymczasowy z pliku...</translation>
    </message>
    <message>
        <source>&amp;Save temporary register to file...</source>
        <translation>&amp;Zapisz rejestr tymczasowy do pliku...</translation>
    </message>
    <message>
        <source>Save temporary register and &amp;pin it to this problem</source>
        <translation>Zapisz rejestr tymczasowy i &amp;przypnij go do tego problemu</translation>
    </message>
    <message>
        <source>&amp;Unpin .tmpReg file from the problem</source>
        <translation>&amp;Odepnij plik .tmpReg od problemu</translation>
    </message>
    <message>
        <source>Register s&amp;tatistics</source>
        <translation>S&amp;tatystyki rejestru</translation>
    </message>
    <message>
        <source>&amp;About Ostravel</source>
        <translation>&amp;O programie Ostravel</translation>
    </message>
    <message>
        <source>Not offered by this version of the engine</source>
        <translation>Niedostępne w tej wersji silnika</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Plik</translation>
    </message>
    <message>
        <source>P&amp;osition</source>
        <translation>P&amp;ozycja</translation>
    </message>
    <message>
        <source>P&amp;roblem</source>
        <translation>P&amp;roblem</translation>
    </message>
    <message>
        <source>&amp;Solving</source>
        <translation>&amp;Rozwiązywanie</translation>
    </message>
    <message>
        <source>&amp;Manual control of the first level</source>
        <translation>&amp;Ręczne sterowanie pierwszym poziomem</translation>
    </message>
    <message>
        <source>Re&amp;gisters</source>
        <translation>Re&amp;jestry</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>&amp;Język</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>Po&amp;moc</translation>
    </message>
    <message>
        <source>No.</source>
        <translation>Nr</translation>
    </message>
    <message>
        <source>Stipulation</source>
        <translation>Warunek</translation>
    </message>
    <message>
        <source>Description</source>
        <translation>Opis</translation>
    </message>
    <message>
        <source>Solution</source>
        <translation>Rozwiązanie</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Stan</translation>
    </message>
    <message>
        <source>Problem</source>
        <translation>Problem</translation>
    </message>
    <message>
        <source>Tags</source>
        <translation>Znaczniki</translation>
    </message>
    <message>
        <source>Sort indications</source>
        <translation>Wskazówki sortowania</translation>
    </message>
    <message>
        <source>Position</source>
        <translation>Pozycja</translation>
    </message>
    <message>
        <source>Side to move</source>
        <translation>Strona na posunięciu</translation>
    </message>
    <message>
        <source>White</source>
        <translation>Białe</translation>
    </message>
    <message>
        <source>Black</source>
        <translation>Czarne</translation>
    </message>
    <message>
        <source>e.p. square</source>
        <translation>Pole e.p.</translation>
    </message>
    <message>
        <source>Back to the problem</source>
        <translation>Powrót do problemu</translation>
    </message>
    <message>
        <source>Solving</source>
        <translation>Rozwiązywanie</translation>
    </message>
    <message>
        <source>Mode</source>
        <translation>Tryb</translation>
    </message>
    <message>
        <source>Single solution</source>
        <translation>Jedno rozwiązanie</translation>
    </message>
    <message>
        <source>Stop on dual</source>
        <translation>Zatrzymaj na dualu</translation>
    </message>
    <message>
        <source>Stop on 3 solutions</source>
        <translation>Zatrzymaj po 3 rozwiązaniach</translation>
    </message>
    <message>
        <source>Stop on 4 solutions</source>
        <translation>Zatrzymaj po 4 rozwiązaniach</translation>
    </message>
    <message>
        <source>All solutions</source>
        <translation>Wszystkie rozwiązania</translation>
    </message>
    <message>
        <source>Brute force</source>
        <translation>Pełne przeszukiwanie</translation>
    </message>
    <message>
        <source>Hybrid brute force</source>
        <translation>Hybrydowe pełne przeszukiwanie</translation>
    </message>
    <message>
        <source>Defence task (Black to move)</source>
        <translation>Zadanie obrony (ruch czarnych)</translation>
    </message>
    <message>
        <source>Threads</source>
        <translation>Wątki</translation>
    </message>
    <message>
        <source>Levels</source>
        <translation>Poziomy</translation>
    </message>
    <message>
        <source>Selection of heuristics</source>
        <translation>Wybór heurystyk</translation>
    </message>
    <message>
        <source>Solve</source>
        <translation>Rozwiąż</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Wstrzymaj</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Zatrzymaj</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Postęp</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>Dziennik</translation>
    </message>
    <message>
        <source>Copy as text</source>
        <translation>Kopiuj jako tekst</translation>
    </message>
    <message>
        <source>Store keys as variant</source>
        <translation>Zapisz klucze jako wariant</translation>
    </message>
    <message>
        <source>untitled</source>
        <translation>bez nazwy</translation>
    </message>
    <message>
        <source>Stop the running analyses before opening another collection.</source>
        <translation>Zatrzymaj trwające analizy przed otwarciem innego zbioru.</translation>
    </message>
    <message>
        <source>Saved %1</source>
        <translation>Zapisano %1</translation>
    </message>
    <message>
        <source>Open collection</source>
        <translation>Otwórz zbiór</translation>
    </message>
    <message>
        <source>Problem collections (*.cp);;All files (*)</source>
        <translation>Zbiory problemów (*.cp);;Wszystkie pliki (*)</translation>
    </message>
    <message>
        <source>The sample collection %1 was not found.</source>
        <translation>Nie znaleziono zbioru przykładowego %1.</translation>
    </message>
    <message>
        <source>Save collection</source>
        <translation>Zapisz zbiór</translation>
    </message>
    <message>
        <source>Ostravel</source>
        <translation>Ostravel</translation>
    </message>
    <message>
        <source>The collection has unsaved changes. Save them?</source>
        <translation>Zbiór ma niezapisane zmiany. Zapisać je?</translation>
    </message>
    <message>
        <source>none</source>
        <translation>brak</translation>
    </message>
    <message>
        <source>Castling needs the king and the rook on their initial squares.</source>
        <translation>Roszada wymaga króla i wieży na polach początkowych.</translation>
    </message>
    <message>
        <source>The problem is being solved; stop it first.</source>
        <translation>Problem jest rozwiązywany; najpierw go zatrzymaj.</translation>
    </message>
    <message>
        <source>Line: %1</source>
        <translation>Linia: %1</translation>
    </message>
    <message>
        <source>paused</source>
        <translation>wstrzymane</translation>
    </message>
    <message>
        <source>Pass %1%2 | nodes %L3 | %L4 nodes/s | register %5 (%L6 entries) | %7 s | %8</source>
        <translation>Przebieg %1%2 | węzły %L3 | %L4 węzłów/s | rejestr %5 (%L6 wpisów) | %7 s | %8</translation>
    </message>
    <message>
        <source>(short mate #%1)</source>
        <translation>(krótszy mat #%1)</translation>
    </message>
    <message>
        <source>After %1</source>
        <translation>Po %1</translation>
    </message>
    <message>
        <source>The analysis was stopped: its keys may be incomplete. Store them anyway?</source>
        <translation>Analiza została zatrzymana: klucze mogą być niepełne. Zapisać mimo to?</translation>
    </message>
    <message>
        <source>Manual control</source>
        <translation>Sterowanie ręczne</translation>
    </message>
    <message>
        <source>Read temporary register</source>
        <translation>Wczytaj rejestr tymczasowy</translation>
    </message>
    <message>
        <source>Temporary registers (*.tmpReg *.TMPREG32);;All files (*)</source>
        <translation>Rejestry tymczasowe (*.tmpReg *.TMPREG32);;Wszystkie pliki (*)</translation>
    </message>
    <message>
        <source>The register serves the next analysis that is started.</source>
        <translation>Rejestr posłuży następnej uruchomionej analizie.</translation>
    </message>
    <message>
        <source>Save temporary register</source>
        <translation>Zapisz rejestr tymczasowy</translation>
    </message>
    <message>
        <source>Temporary registers (*.tmpReg)</source>
        <translation>Rejestry tymczasowe (*.tmpReg)</translation>
    </message>
    <message>
        <source>Register of the current problem: %L1 entries, %2</source>
        <translation>Rejestr bieżącego problemu: %L1 wpisów, %2</translation>
    </message>
    <message>
        <source>No register has been read or used yet.</source>
        <translation>Nie wczytano ani nie użyto jeszcze żadnego rejestru.</translation>
    </message>
    <message>
        <source>The settings are saved and apply once the running analyses have ended.</source>
        <translation>Ustawienia zapisano; zaczną działać po zakończeniu trwających analiz.</translation>
    </message>
    <message>
        <source>About Ostravel</source>
        <translation>O programie Ostravel</translation>
    </message>
    <message>
        <source>Ostravel %1
A solver of orthodox chess directmate problems.</source>
        <translation>Ostravel %1
Program do rozwiązywania ortodoksyjnych problemów szachowych typu mat w n posunięciach.</translation>
    </message>
    <message>
        <source>Sol.</source>
        <translation>Rozw.</translation>
    </message>
    <message>
        <source>Reg.</source>
        <translation>Rej.</translation>
    </message>
    <message>
        <source>Solution stored</source>
        <translation>Zapisane rozwiązanie</translation>
    </message>
    <message>
        <source>Pinned register</source>
        <translation>Przypięty rejestr</translation>
    </message>
    <message>
        <source>(dual)</source>
        <translation>(dual)</translation>
    </message>
    <message>
        <source>Nothing to act on at the first level now.</source>
        <translation>Na pierwszym poziomie nie ma teraz czego zmienić.</translation>
    </message>
    <message>
        <source>Move:</source>
        <translation>Ruch:</translation>
    </message>
    <message>
        <source>Pause one thread</source>
        <translation>Wstrzymaj jeden wątek</translation>
    </message>
    <message>
        <source>Thread (0-%1); a paused one is resumed:</source>
        <translation>Wątek (0-%1); wstrzymany zostanie wznowiony:</translation>
    </message>
    <message>
        <source>Test the crash handler (crashes the program)</source>
        <translation>Testuj obsługę awarii (program ulegnie awarii)</translation>
    </message>
    <message>
        <source>&amp;Export diagram...</source>
        <translation>&amp;Eksportuj diagram...</translation>
    </message>
    <message>
        <source>Export diagram</source>
        <translation>Eksportuj diagram</translation>
    </message>
    <message>
        <source>SVG image (*.svg);;PNG image (*.png)</source>
        <translation>Obraz SVG (*.svg);;Obraz PNG (*.png)</translation>
    </message>
    <message>
        <source>The diagram could not be drawn as PNG.</source>
        <translation>Nie udało się narysować diagramu jako PNG.</translation>
    </message>
</context>
<context>
    <name>ostravel::gui::TOptionsDialog</name>
    <message>
        <source>Options</source>
        <translation>Opcje</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>Język</translation>
    </message>
    <message>
        <source>&amp;Save settings</source>
        <translation>&amp;Zapisz ustawienia</translation>
    </message>
    <message>
        <source>Add repeated positions to temporary data (1 quick mode, 0 safe mode)</source>
        <translation>Dodawaj powtórzone pozycje do danych tymczasowych (1 tryb szybki, 0 tryb bezpieczny)</translation>
    </message>
    <message>
        <source>Num.of scheduler levels (default=6, off=0), stored less one</source>
        <translation>Liczba poziomów planisty (domyślnie=6, wył.=0), zapisywana o jeden mniej</translation>
    </message>
    <message>
        <source>Custom scheduler</source>
        <translation>Własny planista</translation>
    </message>
    <message>
        <source>Scheduler uses a pool of threads</source>
        <translation>Planista używa puli wątków</translation>
    </message>
    <message>
        <source>Num.of observer levels (default=0, off=0)</source>
        <translation>Liczba poziomów obserwatora (domyślnie=0, wył.=0)</translation>
    </message>
    <message>
        <source>Num.of move levels with solutions taken from the tablebase (default=1, off=0, even in GUI off=-1)</source>
        <translation>Liczba poziomów ruchów z rozwiązaniami z bazy końcówek (domyślnie=1, wył.=0, także w GUI wył.=-1)</translation>
    </message>
    <message>
        <source>Warn if not the first instance of program (0 no, 1 status bar, 2 also a box)</source>
        <translation>Ostrzegaj, gdy to nie pierwsza instancja programu (0 nie, 1 pasek stanu, 2 także okno)</translation>
    </message>
    <message>
        <source>Always display heuristics selection dialog</source>
        <translation>Zawsze pokazuj okno wyboru heurystyk</translation>
    </message>
    <message>
        <source>Max. % of RAM that temporary data of a problem can occupy</source>
        <translation>Maks. % pamięci RAM na dane tymczasowe problemu</translation>
    </message>
    <message>
        <source>Always clear temporary data when starting solving</source>
        <translation>Zawsze czyść dane tymczasowe przy rozpoczęciu rozwiązywania</translation>
    </message>
    <message>
        <source>Max. % of memory that precalculated/Nalimov data can occupy</source>
        <translation>Maks. % pamięci na dane przeliczone/Nalimowa</translation>
    </message>
    <message>
        <source>Let two threads analyse the same move</source>
        <translation>Pozwól dwóm wątkom analizować ten sam ruch</translation>
    </message>
    <message>
        <source>Compatibility mode for comments in problem files</source>
        <translation>Tryb zgodności komentarzy w plikach problemów</translation>
    </message>
    <message>
        <source>Always display main variant when navigating to a problem</source>
        <translation>Zawsze pokazuj główny wariant przy przejściu do problemu</translation>
    </message>
    <message>
        <source>Use main variant as sort indications for engine (0 no, 1 yes, 2 also other variants)</source>
        <translation>Używaj głównego wariantu jako wskazówek sortowania (0 nie, 1 tak, 2 także inne warianty)</translation>
    </message>
    <message>
        <source>Write full log of analysis (unrecommended)</source>
        <translation>Zapisuj pełny dziennik analizy (niezalecane)</translation>
    </message>
    <message>
        <source>Write register statistics to a log</source>
        <translation>Zapisuj statystyki rejestru do dziennika</translation>
    </message>
    <message>
        <source>Write the relaxation log</source>
        <translation>Zapisuj dziennik rozluźniania heurystyk</translation>
    </message>
    <message>
        <source>Minimise to the notification area (0 never, 1 always, 2 only with Ctrl key)</source>
        <translation>Minimalizuj do obszaru powiadomień (0 nigdy, 1 zawsze, 2 tylko z klawiszem Ctrl)</translation>
    </message>
    <message>
        <source>Apply the global rules (positions where mate is impossible)</source>
        <translation>Stosuj reguły globalne (pozycje, w których mat jest niemożliwy)</translation>
    </message>
    <message>
        <source>Force disk access for global register data</source>
        <translation>Wymuś dostęp do dysku dla danych rejestru globalnego</translation>
    </message>
    <message>
        <source>Multithreading levels</source>
        <translation>Poziomy wielowątkowości</translation>
    </message>
    <message>
        <source>Enable manual engine control (1: Yes, not recommended)</source>
        <translation>Włącz ręczne sterowanie silnikiem (1: Tak, niezalecane)</translation>
    </message>
    <message>
        <source>Use predefined indications for known compositions (2: also mark such problems)</source>
        <translation>Używaj zdefiniowanych wskazówek dla znanych kompozycji (2: także oznacz takie problemy)</translation>
    </message>
    <message>
        <source>Auto-save period of temporary data in minutes (0: off)</source>
        <translation>Okres autozapisu danych tymczasowych w minutach (0: wył.)</translation>
    </message>
    <message>
        <source>Size of the auto-save file in MB (0: off)</source>
        <translation>Rozmiar pliku autozapisu w MB (0: wył.)</translation>
    </message>
    <message>
        <source>(no effect yet)</source>
        <translation>(jeszcze bez działania)</translation>
    </message>
</context>
<context>
    <name>ostravel::gui::TSolveSession</name>
    <message>
        <source>Paused</source>
        <translation>Wstrzymany</translation>
    </message>
    <message>
        <source>Running</source>
        <translation>Trwa</translation>
    </message>
    <message>
        <source>Completed</source>
        <translation>Zakończony</translation>
    </message>
    <message>
        <source>Stopped</source>
        <translation>Zatrzymany</translation>
    </message>
    <message>
        <source>Refused</source>
        <translation>Odrzucony</translation>
    </message>
    <message>
        <source>Failed</source>
        <translation>Błąd</translation>
    </message>
    <message>
        <source>Register auto-saved to %1</source>
        <translation>Rejestr zapisany automatycznie do %1</translation>
    </message>
</context>
</TS>