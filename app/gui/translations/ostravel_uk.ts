<?xml version='1.0' encoding='utf-8'?>
<TS version="2.1" language="uk_UA">
<context>
    <name>ostravel::gui::TMainWindow</name>
    <message>
        <source>Information</source>
        <translation>Інформація</translation>
    </message>
    <message>
        <source>The clipboard holds no FEN: %1</source>
        <translation>Буфер обміну не містить FEN: %1</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Помилка</translation>
    </message>
    <message>
        <source>Not a FEN: %1</source>
        <translation>Це не FEN: %1</translation>
    </message>
    <message>
        <source>&amp;New collection</source>
        <translation>&amp;Нова збірка</translation>
    </message>
    <message>
        <source>&amp;Open collection...</source>
        <translation>&amp;Відкрити збірку...</translation>
    </message>
    <message>
        <source>Open &amp;sample collection</source>
        <translation>Відкрити збірку &amp;прикладів</translation>
    </message>
    <message>
        <source>&amp;Save collection</source>
        <translation>&amp;Зберегти збірку</translation>
    </message>
    <message>
        <source>Save collection &amp;as...</source>
        <translation>Зберегти збірку &amp;як...</translation>
    </message>
    <message>
        <source>O&amp;ptions...</source>
        <translation>&amp;Параметри...</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>Ви&amp;йти</translation>
    </message>
    <message>
        <source>&amp;Copy FEN</source>
        <translation>&amp;Копіювати FEN</translation>
    </message>
    <message>
        <source>&amp;Paste FEN</source>
        <translation>&amp;Вставити FEN</translation>
    </message>
    <message>
        <source>C&amp;lear board</source>
        <translation>О&amp;чистити дошку</translation>
    </message>
    <message>
        <source>&amp;Initial position</source>
        <translation>&amp;Початкова позиція</translation>
    </message>
    <message>
        <source>&amp;Flip board</source>
        <translation>П&amp;еревернути дошку</translation>
    </message>
    <message>
        <source>&amp;Add problem</source>
        <translation>&amp;Додати задачу</translation>
    </message>
    <message>
        <source>&amp;Duplicate problem</source>
        <translation>Д&amp;ублювати задачу</translation>
    </message>
    <message>
        <source>D&amp;elete problem</source>
        <translation>&amp;Видалити задачу</translation>
    </message>
    <message>
        <source>Move &amp;up</source>
        <translation>Перемістити в&amp;гору</translation>
    </message>
    <message>
        <source>Move do&amp;wn</source>
        <translation>Перемістити в&amp;низ</translation>
    </message>
    <message>
        <source>&amp;Store found keys as variant</source>
        <translation>&amp;Зберегти знайдені ключі як варіант</translation>
    </message>
    <message>
        <source>&amp;Solve</source>
        <translation>&amp;Розв'язати</translation>
    </message>
    <message>
        <source>&amp;Pause</source>
        <translation>&amp;Пауза</translation>
    </message>
    <message>
        <source>Pause one &amp;thread</source>
        <translation>Призупинити один &amp;потік</translation>
    </message>
    <message>
        <source>S&amp;top</source>
        <translation>З&amp;упинити</translation>
    </message>
    <message>
        <source>About manual control...</source>
        <translation>Про ручне керування...</translation>
    </message>
    <message>
        <source>Skip analysis of current move and go to the &amp;next one</source>
        <translation>Пропустити аналіз поточного ходу і перейти до &amp;наступного</translation>
    </message>
    <message>
        <source>Skip to analysis of next move</source>
        <translation>Перейти до аналізу наступного ходу</translation>
    </message>
    <message>
        <source>Skip 5 moves of analysis</source>
        <translation>Пропустити 5 ходів аналізу</translation>
    </message>
    <message>
        <source>Skip to...</source>
        <translation>Перейти до...</translation>
    </message>
    <message>
        <source>Swap order of analysis with the next move</source>
        <translation>Поміняти порядок аналізу з наступним ходом</translation>
    </message>
    <message>
        <source>Shift current move to be analyzed as the last one</source>
        <translation>Перенести поточний хід на кінець аналізу</translation>
    </message>
    <message>
        <source>Selection of heuristics...</source>
        <translation>Вибір евристик...</translation>
    </message>
    <message>
        <source>&amp;Read temporary register from file...</source>
        <translation>&amp;Прочитати тимчасовий реєстр з файлу...</translation>
    </message>
    <message>
        <source>&amp;Save temporary register to file...</source>
        <translation>&amp;Зберегти тимчасовий реєстр у файл...</translation>
    </message>
    <message>
        <source>Save temporary register and &amp;pin it to this problem</source>
        <translation>Зберегти тимчасовий реєстр і &amp;прикріпити до цієї задачі</translation>
    </message>
    <message>
        <source>&amp;Unpin .tmpReg file from the problem</source>
        <translation>&amp;Відкріпити файл .tmpReg від задачі</translation>
    </message>
    <message>
        <source>Register s&amp;tatistics</source>
        <translation>С&amp;татистика реєстру</translation>
    </message>
    <message>
        <source>&amp;About Ostravel</source>
        <translation>&amp;Про Ostravel</translation>
    </message>
    <message>
        <source>Not offered by this version of the engine</source>
        <translation>Недоступно в цій версії рушія</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>&amp;Файл</translation>
    </message>
    <message>
        <source>P&amp;osition</source>
        <translation>П&amp;озиція</translation>
    </message>
    <message>
        <source>P&amp;roblem</source>
        <translation>&amp;Задача</translation>
    </message>
    <message>
        <source>&amp;Solving</source>
        <translation>&amp;Розв'язування</translation>
    </message>
    <message>
        <source>&amp;Manual control of the first level</source>
        <translation>&amp;Ручне керування першим рівнем</translation>
    </message>
    <message>
        <source>Re&amp;gisters</source>
        <translation>Р&amp;еєстри</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>&amp;Мова</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Довідка</translation>
    </message>
    <message>
        <source>No.</source>
        <translation>№</translation>
    </message>
    <message>
        <source>Stipulation</source>
        <translation>Умова</translation>
    </message>
    <message>
        <source>Description</source>
        <translation>Опис</translation>
    </message>
    <message>
        <source>Solution</source>
        <translation>Розв'язок</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>Стан</translation>
    </message>
    <message>
        <source>Problem</source>
        <translation>Задача</translation>
    </message>
    <message>
        <source>Tags</source>
        <translation>Мітки</translation>
    </message>
    <message>
        <source>Sort indications</source>
        <translation>Вказівки сортування</translation>
    </message>
    <message>
        <source>Position</source>
        <translation>Позиція</translation>
    </message>
    <message>
        <source>Side to move</source>
        <translation>Черга ходу</translation>
    </message>
    <message>
        <source>White</source>
        <translation>Білі</translation>
    </message>
    <message>
        <source>Black</source>
        <translation>Чорні</translation>
    </message>
    <message>
        <source>e.p. square</source>
        <translation>Поле e.p.</translation>
    </message>
    <message>
        <source>Back to the problem</source>
        <translation>Назад до задачі</translation>
    </message>
    <message>
        <source>Solving</source>
        <translation>Розв'язування</translation>
    </message>
    <message>
        <source>Mode</source>
        <translation>Режим</translation>
    </message>
    <message>
        <source>Single solution</source>
        <translation>Один розв'язок</translation>
    </message>
    <message>
        <source>Stop on dual</source>
        <translation>Зупинити на дуалі</translation>
    </message>
    <message>
        <source>Stop on 3 solutions</source>
        <translation>Зупинити після 3 розв'язків</translation>
    </message>
    <message>
        <source>Stop on 4 solutions</source>
        <translation>Зупинити після 4 розв'язків</translation>
    </message>
    <message>
        <source>All solutions</source>
        <translation>Усі розв'язки</translation>
    </message>
    <message>
        <source>Brute force</source>
        <translation>Повний перебір</translation>
    </message>
    <message>
        <source>Hybrid brute force</source>
        <translation>Гібридний повний перебір</translation>
    </message>
    <message>
        <source>Defence task (Black to move)</source>
        <translation>Задача захисту (хід чорних)</translation>
    </message>
    <message>
        <source>Threads</source>
        <translation>Потоки</translation>
    </message>
    <message>
        <source>Levels</source>
        <translation>Рівні</translation>
    </message>
    <message>
        <source>Selection of heuristics</source>
        <translation>Вибір евристик</translation>
    </message>
    <message>
        <source>Solve</source>
        <translation>Розв'язати</translation>
    </message>
    <message>
        <source>Pause</source>
        <translation>Пауза</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Зупинити</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Хід роботи</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>Журнал</translation>
    </message>
    <message>
        <source>Copy as text</source>
        <translation>Копіювати як текст</translation>
    </message>
    <message>
        <source>Store keys as variant</source>
        <translation>Зберегти ключі як варіант</translation>
    </message>
    <message>
        <source>untitled</source>
        <translation>без назви</translation>
    </message>
    <message>
        <source>Stop the running analyses before opening another collection.</source>
        <translation>Зупиніть поточні аналізи перед відкриттям іншої збірки.</translation>
    </message>
    <message>
        <source>Saved %1</source>
        <translation>Збережено %1</translation>
    </message>
    <message>
        <source>Open collection</source>
        <translation>Відкрити збірку</translation>
    </message>
    <message>
        <source>Problem collections (*.cp);;All files (*)</source>
        <translation>Збірки задач (*.cp);;Усі файли (*)</translation>
    </message>
    <message>
        <source>The sample collection %1 was not found.</source>
        <translation>Збірку прикладів %1 не знайдено.</translation>
    </message>
    <message>
        <source>Save collection</source>
        <translation>Зберегти збірку</translation>
    </message>
    <message>
        <source>Ostravel</source>
        <translation>Ostravel</translation>
    </message>
    <message>
        <source>The collection has unsaved changes. Save them?</source>
        <translation>Збірка має незбережені зміни. Зберегти їх?</translation>
    </message>
    <message>
        <source>none</source>
        <translation>немає</translation>
    </message>
    <message>
        <source>Castling needs the king and the rook on their initial squares.</source>
        <translation>Рокіровка потребує короля і тури на початкових полях.</translation>
    </message>
    <message>
        <source>The problem is being solved; stop it first.</source>
        <translation>Задача розв'язується; спершу зупиніть її.</translation>
    </message>
    <message>
        <source>Line: %1</source>
        <translation>Лінія: %1</translation>
    </message>
    <message>
        <source>paused</source>
        <translation>призупинено</translation>
    </message>
    <message>
        <source>Pass %1%2 | nodes %L3 | %L4 nodes/s | register %5 (%L6 entries) | %7 s | %8</source>
        <translation>Прохід %1%2 | вузли %L3 | %L4 вузлів/с | реєстр %5 (%L6 записів) | %7 с | %8</translation>
    </message>
    <message>
        <source>(short mate #%1)</source>
        <translation>(коротший мат #%1)</translation>
    </message>
    <message>
        <source>After %1</source>
        <translation>Після %1</translation>
    </message>
    <message>
        <source>The analysis was stopped: its keys may be incomplete. Store them anyway?</source>
        <translation>Аналіз зупинено: ключі можуть бути неповними. Все одно зберегти?</translation>
    </message>
    <message>
        <source>Manual control</source>
        <translation>Ручне керування</translation>
    </message>
    <message>
        <source>Read temporary register</source>
        <translation>Прочитати тимчасовий реєстр</translation>
    </message>
    <message>
        <source>Temporary registers (*.tmpReg *.TMPREG32);;All files (*)</source>
        <translation>Тимчасові реєстри (*.tmpReg *.TMPREG32);;Усі файли (*)</translation>
    </message>
    <message>
        <source>The register serves the next analysis that is started.</source>
        <translation>Реєстр буде використано наступним запущеним аналізом.</translation>
    </message>
    <message>
        <source>Save temporary register</source>
        <translation>Зберегти тимчасовий реєстр</translation>
    </message>
    <message>
        <source>Temporary registers (*.tmpReg)</source>
        <translation>Тимчасові реєстри (*.tmpReg)</translation>
    </message>
    <message>
        <source>Register of the current problem: %L1 entries, %2</source>
        <translation>Реєстр поточної задачі: %L1 записів, %2</translation>
    </message>
    <message>
        <source>No register has been read or used yet.</source>
        <translation>Жоден реєстр ще не прочитано і не використано.</translation>
    </message>
    <message>
        <source>The settings are saved and apply once the running analyses have ended.</source>
        <translation>Налаштування збережено; вони діятимуть після завершення поточних аналізів.</translation>
    </message>
    <message>
        <source>About Ostravel</source>
        <translation>Про Ostravel</translation>
    </message>
    <message>
        <source>Ostravel %1
A solver of orthodox chess directmate problems.</source>
        <translation>Ostravel %1
Розв'язувач ортодоксальних шахових задач на мат у n ходів.</translation>
    </message>
    <message>
        <source>Sol.</source>
        <translation>Розв.</translation>
    </message>
    <message>
        <source>Reg.</source>
        <translation>Реєс.</translation>
    </message>
    <message>
        <source>Solution stored</source>
        <translation>Збережений розв'язок</translation>
    </message>
    <message>
        <source>Pinned register</source>
        <translation>Прикріплений реєстр</translation>
    </message>
    <message>
        <source>(dual)</source>
        <translation>(дуаль)</translation>
    </message>
    <message>
        <source>Nothing to act on at the first level now.</source>
        <translation>На першому рівні зараз нічого змінити.</translation>
    </message>
    <message>
        <source>Move:</source>
        <translation>Хід:</translation>
    </message>
    <message>
        <source>Pause one thread</source>
        <translation>Призупинити один потік</translation>
    </message>
    <message>
        <source>Thread (0-%1); a paused one is resumed:</source>
        <translation>Потік (0-%1); призупинений буде відновлено:</translation>
    </message>
    <message>
        <source>Test the crash handler (crashes the program)</source>
        <translation>Перевірити обробник збоїв (програма аварійно завершиться)</translation>
    </message>
    <message>
        <source>&amp;Export diagram...</source>
        <translation>&amp;Експортувати діаграму...</translation>
    </message>
    <message>
        <source>Export diagram</source>
        <translation>Експортувати діаграму</translation>
    </message>
    <message>
        <source>SVG image (*.svg);;PNG image (*.png)</source>
        <translation>Зображення SVG (*.svg);;Зображення PNG (*.png)</translation>
    </message>
    <message>
        <source>The diagram could not be drawn as PNG.</source>
        <translation>Не вдалося намалювати діаграму як PNG.</translation>
    </message>
</context>
<context>
    <name>ostravel::gui::TOptionsDialog</name>
    <message>
        <source>Options</source>
        <translation>Параметри</translation>
    </message>
    <message>
        <source>Language</source>
        <translation>Мова</translation>
    </message>
    <message>
        <source>&amp;Save settings</source>
        <translation>&amp;Зберегти налаштування</translation>
    </message>
    <message>
        <source>Add repeated positions to temporary data (1 quick mode, 0 safe mode)</source>
        <translation>Додавати повторені позиції до тимчасових даних (1 швидкий режим, 0 безпечний режим)</translation>
    </message>
    <message>
        <source>Num.of scheduler levels (default=6, off=0), stored less one</source>
        <translation>Кількість рівнів планувальника (типово=6, вимк.=0), зберігається на одиницю менше</translation>
    </message>
    <message>
        <source>Custom scheduler</source>
        <translation>Власний планувальник</translation>
    </message>
    <message>
        <source>Scheduler uses a pool of threads</source>
        <translation>Планувальник використовує пул потоків</translation>
    </message>
    <message>
        <source>Num.of observer levels (default=0, off=0)</source>
        <translation>Кількість рівнів спостерігача (типово=0, вимк.=0)</translation>
    </message>
    <message>
        <source>Num.of move levels with solutions taken from the tablebase (default=1, off=0, even in GUI off=-1)</source>
        <translation>Кількість рівнів ходів з розв'язками з бази ендшпілів (типово=1, вимк.=0, також у GUI вимк.=-1)</translation>
    </message>
    <message>
        <source>Warn if not the first instance of program (0 no, 1 status bar, 2 also a box)</source>
        <translation>Попереджати, якщо це не перший екземпляр програми (0 ні, 1 рядок стану, 2 також вікно)</translation>
    </message>
    <message>
        <source>Always display heuristics selection dialog</source>
        <translation>Завжди показувати вікно вибору евристик</translation>
    </message>
    <message>
        <source>Max. % of RAM that temporary data of a problem can occupy</source>
        <translation>Макс. % оперативної пам'яті для тимчасових даних задачі</translation>
    </message>
    <message>
        <source>Always clear temporary data when starting solving</source>
        <translation>Завжди очищати тимчасові дані на початку розв'язування</translation>
    </message>
    <message>
        <source>Max. % of memory that precalculated/Nalimov data can occupy</source>
        <translation>Макс. % пам'яті для попередньо обчислених даних/Налімова</translation>
    </message>
    <message>
        <source>Let two threads analyse the same move</source>
        <translation>Дозволити двом потокам аналізувати той самий хід</translation>
    </message>
    <message>
        <source>Compatibility mode for comments in problem files</source>
        <translation>Режим сумісності коментарів у файлах задач</translation>
    </message>
    <message>
        <source>Always display main variant when navigating to a problem</source>
        <translation>Завжди показувати головний варіант при переході до задачі</translation>
    </message>
    <message>
        <source>Use main variant as sort indications for engine (0 no, 1 yes, 2 also other variants)</source>
        <translation>Використовувати головний варіант як вказівки сортування (0 ні, 1 так, 2 також інші варіанти)</translation>
    </message>
    <message>
        <source>Write full log of analysis (unrecommended)</source>
        <translation>Записувати повний журнал аналізу (не рекомендовано)</translation>
    </message>
    <message>
        <source>Write register statistics to a log</source>
        <translation>Записувати статистику реєстру в журнал</translation>
    </message>
    <message>
        <source>Write the relaxation log</source>
        <translation>Записувати журнал послаблення евристик</translation>
    </message>
    <message>
        <source>Minimise to the notification area (0 never, 1 always, 2 only with Ctrl key)</source>
        <translation>Згортати в область сповіщень (0 ніколи, 1 завжди, 2 лише з клавішею Ctrl)</translation>
    </message>
    <message>
        <source>Apply the global rules (positions where mate is impossible)</source>
        <translation>Застосовувати глобальні правила (позиції, де мат неможливий)</translation>
    </message>
    <message>
        <source>Force disk access for global register data</source>
        <translation>Примусовий доступ до диска для даних глобального реєстру</translation>
    </message>
    <message>
        <source>Multithreading levels</source>
        <translation>Рівні багатопотоковості</translation>
    </message>
    <message>
        <source>Enable manual engine control (1: Yes, not recommended)</source>
        <translation>Увімкнути ручне керування рушієм (1: Так, не рекомендовано)</translation>
    </message>
    <message>
        <source>Use predefined indications for known compositions (2: also mark such problems)</source>
        <translation>Використовувати визначені вказівки для відомих композицій (2: також позначати такі задачі)</translation>
    </message>
    <message>
        <source>Auto-save period of temporary data in minutes (0: off)</source>
        <translation>Період автозбереження тимчасових даних у хвилинах (0: вимк.)</translation>
    </message>
    <message>
        <source>Size of the auto-save file in MB (0: off)</source>
        <translation>Розмір файлу автозбереження в МБ (0: вимк.)</translation>
    </message>
    <message>
        <source>(no effect yet)</source>
        <translation>(поки що не діє)</translation>
    </message>
</context>
<context>
    <name>ostravel::gui::TSolveSession</name>
    <message>
        <source>Paused</source>
        <translation>Призупинено</translation>
    </message>
    <message>
        <source>Running</source>
        <translation>Триває</translation>
    </message>
    <message>
        <source>Completed</source>
        <translation>Завершено</translation>
    </message>
    <message>
        <source>Stopped</source>
        <translation>Зупинено</translation>
    </message>
    <message>
        <source>Refused</source>
        <translation>Відхилено</translation>
    </message>
    <message>
        <source>Failed</source>
        <translation>Помилка</translation>
    </message>
    <message>
        <source>Register auto-saved to %1</source>
        <translation>Реєстр автоматично збережено в %1</translation>
    </message>
</context>
</TS>