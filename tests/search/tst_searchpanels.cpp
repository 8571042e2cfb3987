// The search panel and the hidden-notes panel as a user drives them from the keyboard and the mouse, over real
// note windows on a temporary workspace.

#include "app/Settings.h"
#include "editor/MarkdownTextView.h"
#include "notes/Frontmatter.h"
#include "search/DismissablePanel.h"
#include "search/HiddenNotesWindow.h"
#include "search/ReturnActivatingTableView.h"
#include "search/SearchWindow.h"
#include "store/NoteStore.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

struct SampleNote {
    QString title;
    QString body;
    bool hidden = false;
};

// A workspace folder with its own store of windowed notes.
struct Workspace {
    QTemporaryDir dir;
    std::unique_ptr<NoteStore> store;
};

void writeNote(const QString &folder, const SampleNote &sample)
{
    NoteMetadata meta;
    meta.hidden = sample.hidden;
    QFile file(folder + QLatin1Char('/') + sample.title + QLatin1String(".md"));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(Frontmatter::serialize(meta, {}, sample.body).toUtf8());
}

NoteWindowController *windowed(NoteController *controller)
{
    return qobject_cast<NoteWindowController *>(controller);
}

QStringList titlesOf(const QList<NoteSearch::Result> &results)
{
    QStringList titles;
    for (const NoteSearch::Result &result : results)
        titles << result.title;
    return titles;
}

QStringList titlesOf(const QList<NoteController *> &controllers)
{
    QStringList titles;
    for (const NoteController *controller : controllers)
        titles << (controller ? controller->note().title() : QStringLiteral("<gone>"));
    return titles;
}

QVariant cell(const QTableView *table, int row, int role = Qt::DisplayRole)
{
    return table->model()->index(row, 0).data(role);
}

void doubleClickRow(QTableView *table, int row)
{
    // A view acts on a double-click only over the row that the first click of the pair pressed.
    const QPoint centre = table->visualRect(table->model()->index(row, 0)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, centre);
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, centre);
}

bool isShown(NoteController *controller)
{
    return windowed(controller)->window()->isVisible();
}

QString selectedText(NoteController *controller)
{
    return windowed(controller)->textView()->textCursor().selectedText();
}

} // namespace

class TestSearchPanels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void searchPanelShowsResultsAndTheEmptyLabel();
    void arrowKeysMoveTheSelection_data();
    void arrowKeysMoveTheSelection();
    void arrowKeysWithoutResultsDoNothing();
    void openingLandsOnTheMatch_data();
    void openingLandsOnTheMatch();
    void openingAHiddenResultUnhidesIt();
    void openingANoteThatIsGoneKeepsThePanel();
    void escapeHidesEitherPanel_data();
    void escapeHidesEitherPanel();
    void searchRefreshesOnNotesChangedKeepingTheSelection();
    void searchFollowsAWorkspaceSwitch();
    void searchSeesEditsAtTheNextKeystroke();

    void hiddenPanelListsHiddenNotes();
    void unhidingOneNote_data();
    void unhidingOneNote();
    void unhidingTheSelectedNotes();
    void unhidingAllNotes();
    void hiddenPanelFollowsChangesAndWorkspaces();

    void returnActivatingTable_data();
    void returnActivatingTable();

private:
    Workspace *addWorkspace(const QList<SampleNote> &notes);
    void connectPanels(NoteStore *store);
    NoteController *controller(const QString &title) const;
    bool hiddenOnDisk(const QString &title);

    std::unique_ptr<QTemporaryDir> m_settingsDir;
    std::vector<std::unique_ptr<Workspace>> m_workspaces;
    NoteStore *m_current = nullptr;
    std::unique_ptr<SearchWindow> m_search;
    std::unique_ptr<HiddenNotesWindow> m_hiddenNotes;
};

void TestSearchPanels::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
}

void TestSearchPanels::init()
{
    m_settingsDir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_settingsDir->isValid());
    const auto provider = [this] { return m_current; };
    m_search = std::make_unique<SearchWindow>(provider);
    m_hiddenNotes = std::make_unique<HiddenNotesWindow>(provider);
}

void TestSearchPanels::cleanup()
{
    m_search.reset();
    m_hiddenNotes.reset();
    m_current = nullptr;
    m_workspaces.clear();
    m_settingsDir.reset();
}

Workspace *TestSearchPanels::addWorkspace(const QList<SampleNote> &notes)
{
    auto workspace = std::make_unique<Workspace>();
    for (const SampleNote &note : notes)
        writeNote(workspace->dir.path(), note);
    workspace->store = std::make_unique<NoteStore>(
        workspace->dir.path(), Settings(m_settingsDir->filePath(QStringLiteral("settings.ini"))));
    workspace->store->setControllerFactory([](std::unique_ptr<Note> note, NoteStore &store, const QString &raw) {
        return std::make_unique<NoteWindowController>(std::move(note), store, raw);
    });
    workspace->store->rescan();
    m_workspaces.push_back(std::move(workspace));
    m_current = m_workspaces.back()->store.get();
    connectPanels(m_current);
    return m_workspaces.back().get();
}

// What the application does: relays the open store's change signal to both panels.
void TestSearchPanels::connectPanels(NoteStore *store)
{
    connect(store, &NoteStore::notesChanged, m_search.get(), &SearchWindow::notesChanged);
    connect(store, &NoteStore::notesChanged, m_hiddenNotes.get(), &HiddenNotesWindow::notesChanged);
}

NoteController *TestSearchPanels::controller(const QString &title) const
{
    return m_current->controller(title + QLatin1String(".md"));
}

bool TestSearchPanels::hiddenOnDisk(const QString &title)
{
    m_current->flushAllSaves();
    QFile file(m_current->filePath(title + QLatin1String(".md")));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    return Frontmatter::parse(QString::fromUtf8(file.readAll())).meta.hidden;
}

// --- Search panel

void TestSearchPanels::searchPanelShowsResultsAndTheEmptyLabel()
{
    addWorkspace({{"Groceries", "eggs\nbuy milk today"}, {"Milk run", "to the farm"}, {"Ideas", "plain", true}});
    m_search->show();
    QCOMPARE(m_search->field()->placeholderText(), QStringLiteral("Search every note in this workspace"));
    QCOMPARE(m_search->emptyLabel()->text(), QStringLiteral("No matching notes"));
    QVERIFY(m_search->field()->hasFocus() || !QApplication::focusWidget());

    // Every note for the empty query, first lines as snippets, the hidden one marked.
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Groceries", "Ideas", "Milk run"}));
    QVERIFY(m_search->emptyLabel()->isHidden());
    QCOMPARE(cell(m_search->table(), 1), QVariant(QStringLiteral("Ideas")));
    QCOMPARE(cell(m_search->table(), 1, SearchWindow::HiddenRole), QVariant(true));
    QCOMPARE(cell(m_search->table(), 0, SearchWindow::HiddenRole), QVariant(false));
    QCOMPARE(cell(m_search->table(), 0, SearchWindow::SnippetRole), QVariant(QStringLiteral("eggs")));

    QTest::keyClicks(m_search->field(), "MILK");
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Milk run", "Groceries"}));
    QCOMPARE(cell(m_search->table(), 0), QVariant(QStringLiteral("Milk run")));
    QCOMPARE(cell(m_search->table(), 1, SearchWindow::SnippetRole), QVariant(QStringLiteral("buy milk today")));
    QCOMPARE(m_search->selectedRow(), std::optional<int>(0));
    QVERIFY(m_search->emptyLabel()->isHidden());

    QTest::keyClicks(m_search->field(), "shake");
    QVERIFY(m_search->results().isEmpty());
    QCOMPARE(m_search->table()->model()->rowCount(), 0);
    QVERIFY(!m_search->emptyLabel()->isHidden());
}

void TestSearchPanels::arrowKeysMoveTheSelection_data()
{
    QTest::addColumn<int>("start"); // -1: nothing selected
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<int>("expected");

    const int up = Qt::Key_Up;
    const int down = Qt::Key_Down;
    QTest::newRow("nominal: up with nothing selected selects the last") << -1 << QList<int> {up} << 3;
    QTest::newRow("nominal: down with nothing selected selects the first") << -1 << QList<int> {down} << 0;
    QTest::newRow("nominal: down moves one row") << 0 << QList<int> {down} << 1;
    QTest::newRow("nominal: up moves one row") << 2 << QList<int> {up} << 1;
    QTest::newRow("boundary: down on the last stays") << 3 << QList<int> {down} << 3;
    QTest::newRow("boundary: up on the first stays, no wrap-around") << 0 << QList<int> {up} << 0;
    QTest::newRow("boundary: many downs stop at the last") << 1 << QList<int> {down, down, down, down} << 3;
    QTest::newRow("nominal: down then up comes back") << 1 << QList<int> {down, up} << 1;
}

void TestSearchPanels::arrowKeysMoveTheSelection()
{
    QFETCH(int, start);
    QFETCH(QList<int>, keys);
    QFETCH(int, expected);

    addWorkspace({{"Note 1", "plan a"}, {"Note 2", "plan b"}, {"Note 3", "plan c"}, {"Note 10", "plan d"}});
    m_search->show();
    QTest::keyClicks(m_search->field(), "plan");
    QCOMPARE(m_search->results().size(), 4);
    if (start < 0)
        m_search->table()->clearSelection();
    else
        m_search->table()->selectRow(start);

    for (const int key : keys)
        QTest::keyClick(m_search->field(), Qt::Key(key));

    QCOMPARE(m_search->selectedRow(), std::optional<int>(expected));
    QCOMPARE(m_search->table()->selectionModel()->selectedRows().size(), 1);
    // The keys act on the results, not on the field.
    QCOMPARE(m_search->field()->text(), QStringLiteral("plan"));
    QVERIFY(m_search->panel()->isVisible());
}

void TestSearchPanels::arrowKeysWithoutResultsDoNothing()
{
    addWorkspace({{"Alpha", "one"}});
    m_search->show();
    QTest::keyClicks(m_search->field(), "zzz");
    QTest::keyClick(m_search->field(), Qt::Key_Up);
    QTest::keyClick(m_search->field(), Qt::Key_Down);
    QTest::keyClick(m_search->field(), Qt::Key_Return);
    QCOMPARE(m_search->selectedRow(), std::nullopt);
    QVERIFY(m_search->panel()->isVisible());
    QCOMPARE(selectedText(controller("Alpha")), QString());
}

void TestSearchPanels::openingLandsOnTheMatch_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("nominal: return in the query field") << "field return";
    QTest::newRow("nominal: keypad enter in the query field") << "field enter";
    QTest::newRow("nominal: return in the results table") << "table return";
    QTest::newRow("nominal: double-click on the row") << "double-click";
}

void TestSearchPanels::openingLandsOnTheMatch()
{
    QFETCH(QString, how);
    const QString second
        = QStringLiteral("first line\n\n") + QString(60, u'x') + QStringLiteral("\nthen Oat Milk here");
    addWorkspace({{"A milk note", "milk at the start"}, {"Breakfast", second}, {"Other", "nothing"}});
    m_search->show();
    QTest::keyClicks(m_search->field(), "  milk ");
    QCOMPARE(titlesOf(m_search->results()), QStringList({"A milk note", "Breakfast"}));
    // The second result, chosen with the arrow key.
    QTest::keyClick(m_search->field(), Qt::Key_Down);
    QCOMPARE(m_search->selectedRow(), std::optional<int>(1));

    if (how == QLatin1String("field return")) {
        QTest::keyClick(m_search->field(), Qt::Key_Return);
    } else if (how == QLatin1String("field enter")) {
        QTest::keyClick(m_search->field(), Qt::Key_Enter, Qt::KeypadModifier);
    } else if (how == QLatin1String("table return")) {
        m_search->table()->setFocus();
        QTest::keyClick(m_search->table(), Qt::Key_Return);
    } else {
        doubleClickRow(m_search->table(), 1);
    }

    QVERIFY(!m_search->panel()->isVisible());
    NoteController *breakfast = controller("Breakfast");
    QVERIFY(isShown(breakfast));
    // In front, with the keyboard in its editor.
    QTRY_VERIFY(windowed(breakfast)->textView()->hasFocus());
    QCOMPARE(selectedText(controller("A milk note")), QString());
    const QTextCursor cursor = windowed(breakfast)->textView()->textCursor();
    QCOMPARE(cursor.selectedText(), QStringLiteral("Milk"));
    QCOMPARE(cursor.selectionStart(), int(second.indexOf(QStringLiteral("Milk"))));
}

void TestSearchPanels::openingAHiddenResultUnhidesIt()
{
    addWorkspace({{"Secret", "the recipe: flour", true}, {"Visible", "nothing here"}});
    m_hiddenNotes->show();
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Secret"}));
    m_search->show();
    QTest::keyClicks(m_search->field(), "FLOUR");
    QCOMPARE(cell(m_search->table(), 0, SearchWindow::HiddenRole), QVariant(true));
    QTest::keyClick(m_search->field(), Qt::Key_Return);

    NoteController *secret = controller("Secret");
    QVERIFY(!secret->note().meta.hidden);
    QVERIFY(isShown(secret));
    QCOMPARE(selectedText(secret), QStringLiteral("flour"));
    QVERIFY(!hiddenOnDisk("Secret"));
    // The hidden-notes panel heard of it.
    QVERIFY(m_hiddenNotes->hidden().isEmpty());
}

void TestSearchPanels::openingANoteThatIsGoneKeepsThePanel()
{
    addWorkspace({{"Alpha", "one"}});
    m_search->show();
    m_search->open({QStringLiteral("Gone.md"), QStringLiteral("Gone"), QString(), false, true});
    QVERIFY(m_search->panel()->isVisible());

    // With no workspace open at all, nothing either.
    m_current = nullptr;
    m_search->open({QStringLiteral("Alpha.md"), QStringLiteral("Alpha"), QString(), false, true});
    QVERIFY(m_search->panel()->isVisible());
}

void TestSearchPanels::escapeHidesEitherPanel_data()
{
    QTest::addColumn<QString>("where");
    QTest::newRow("nominal: search panel, from the query field") << "search field";
    QTest::newRow("nominal: search panel, from the results table") << "search table";
    QTest::newRow("nominal: hidden-notes panel, from the list") << "hidden table";
    QTest::newRow("nominal: hidden-notes panel, from a button") << "hidden button";
}

void TestSearchPanels::escapeHidesEitherPanel()
{
    QFETCH(QString, where);
    addWorkspace({{"Alpha", "one", true}, {"Beta", "two"}});
    m_search->show();
    m_hiddenNotes->show();
    QTest::keyClicks(m_search->field(), "o");

    const bool search = where.startsWith(QLatin1String("search"));
    QWidget *target = nullptr;
    if (where == QLatin1String("search field"))
        target = m_search->field();
    else if (where == QLatin1String("search table"))
        target = m_search->table();
    else if (where == QLatin1String("hidden table"))
        target = m_hiddenNotes->table();
    else
        target = m_hiddenNotes->unhideAllButton();
    QTest::keyClick(target, Qt::Key_Escape);

    QCOMPARE(m_search->panel()->isVisible(), !search);
    QCOMPARE(m_hiddenNotes->panel()->isVisible(), search);
    // Put away, not reset: the query is still there when the panel comes back.
    m_search->show();
    QCOMPARE(m_search->field()->text(), QStringLiteral("o"));
}

void TestSearchPanels::searchRefreshesOnNotesChangedKeepingTheSelection()
{
    Workspace *workspace = addWorkspace({{"Beta", "plan b"}, {"Delta", "plan d"}});
    m_search->show();
    QTest::keyClicks(m_search->field(), "plan");
    QTest::keyClick(m_search->field(), Qt::Key_Down);
    QCOMPARE(m_search->results().at(*m_search->selectedRow()).title, QStringLiteral("Delta"));

    // A note that sorts first arrives (here made by the store, as the New Note command does).
    QVERIFY(workspace->store->create(QStringLiteral("plan a"), QStringLiteral("Alpha")));
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Alpha", "Beta", "Delta"}));
    QCOMPARE(m_search->results().at(*m_search->selectedRow()).title, QStringLiteral("Delta"));

    // The selected note goes: the first result is selected instead.
    QVERIFY(workspace->store->deleteNote(controller("Delta")));
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Alpha", "Beta"}));
    QCOMPARE(m_search->selectedRow(), std::optional<int>(0));
}

void TestSearchPanels::searchFollowsAWorkspaceSwitch()
{
    addWorkspace({{"Home plan", "garden"}, {"Home chores", "dishes"}});
    m_search->show();
    QTest::keyClicks(m_search->field(), "o");
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Home chores", "Home plan"}));

    // The application opens another workspace and announces it.
    Workspace *work = addWorkspace({{"Work log", "monday"}, {"Budget", "q3 forecast"}});
    m_search->notesChanged();
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Work log", "Budget"}));

    // And a keystroke searches the new one too.
    QTest::keyClicks(m_search->field(), "n");
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Work log"}));
    QTest::keyClick(m_search->field(), Qt::Key_Return);
    QVERIFY(isShown(work->store->controller(QStringLiteral("Work log.md"))));
    QCOMPARE(selectedText(controller("Work log")), QStringLiteral("on"));

    // No workspace open: no results, and nothing breaks.
    m_current = nullptr;
    m_search->show();
    QVERIFY(m_search->results().isEmpty());
    QVERIFY(!m_search->emptyLabel()->isHidden());
}

void TestSearchPanels::searchSeesEditsAtTheNextKeystroke()
{
    addWorkspace({{"Alpha", "one"}, {"Beta", "two"}});
    m_search->show();
    QTest::keyClicks(m_search->field(), "kiw");
    QVERIFY(m_search->results().isEmpty());

    // Typing in a note changes no set of notes (no change signal), yet the next keystroke finds the new text.
    MarkdownTextView *editor = windowed(controller("Beta"))->textView();
    editor->moveCursor(QTextCursor::End);
    QTest::keyClicks(editor, " kiwi");
    QCOMPARE(controller("Beta")->note().body, QStringLiteral("two kiwi"));
    QTest::keyClick(m_search->field(), Qt::Key_I);
    QCOMPARE(titlesOf(m_search->results()), QStringList({"Beta"}));
    QCOMPARE(m_search->results().first().snippet, QStringLiteral("two kiwi"));
}

// --- Hidden-notes panel

void TestSearchPanels::hiddenPanelListsHiddenNotes()
{
    m_hiddenNotes->show();
    QVERIFY(!m_hiddenNotes->emptyLabel()->isHidden());
    QCOMPARE(m_hiddenNotes->emptyLabel()->text(), QStringLiteral("No hidden notes in this workspace"));

    addWorkspace({{"note 10", "", true}, {"Shown", ""}, {"Note 2", "", true}, {"apple", "", true}});
    m_hiddenNotes->show();
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"apple", "Note 2", "note 10"}));
    QCOMPARE(cell(m_hiddenNotes->table(), 1), QVariant(QStringLiteral("Note 2")));
    QVERIFY(m_hiddenNotes->emptyLabel()->isHidden());
    QVERIFY(m_hiddenNotes->unhideAllButton()->isEnabled());
    QVERIFY(!m_hiddenNotes->unhideButton()->isEnabled());
    m_hiddenNotes->table()->selectRow(0);
    QVERIFY(m_hiddenNotes->unhideButton()->isEnabled());

    const QList<QLabel *> labels = m_hiddenNotes->panel()->findChildren<QLabel *>();
    const bool explained = std::any_of(labels.begin(), labels.end(), [](const QLabel *label) {
        return label->text()
            == QStringLiteral("Hidden notes stay in the workspace – only their windows are put away. "
                              "Double-click a note to unhide it.");
    });
    QVERIFY(explained);
}

void TestSearchPanels::unhidingOneNote_data()
{
    QTest::addColumn<bool>("byKeyboard");
    QTest::newRow("nominal: double-click on the row") << false;
    QTest::newRow("nominal: return on the selected row") << true;
}

void TestSearchPanels::unhidingOneNote()
{
    QFETCH(bool, byKeyboard);
    addWorkspace({{"Alpha", "", true}, {"Beta", "", true}, {"Gamma", "", true}});
    m_hiddenNotes->show();
    if (byKeyboard) {
        m_hiddenNotes->table()->selectRow(1);
        QTest::keyClick(m_hiddenNotes->table(), Qt::Key_Return);
    } else {
        doubleClickRow(m_hiddenNotes->table(), 1);
    }

    QVERIFY(isShown(controller("Beta")));
    QVERIFY(!controller("Beta")->note().meta.hidden);
    QVERIFY(!hiddenOnDisk("Beta"));
    QVERIFY(!isShown(controller("Alpha")));
    QVERIFY(hiddenOnDisk("Gamma"));
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Alpha", "Gamma"}));
    QCOMPARE(m_hiddenNotes->table()->model()->rowCount(), 2);
}

void TestSearchPanels::unhidingTheSelectedNotes()
{
    addWorkspace({{"Alpha", "", true}, {"Beta", "", true}, {"Gamma", "", true}, {"Delta", "", true}});
    m_hiddenNotes->show();
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Alpha", "Beta", "Delta", "Gamma"}));
    QTableView *table = m_hiddenNotes->table();
    table->selectionModel()->select(
        table->model()->index(0, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    table->selectionModel()->select(
        table->model()->index(3, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QTest::mouseClick(m_hiddenNotes->unhideButton(), Qt::LeftButton);

    // Both, although unhiding the first one already reloads the list.
    for (const QString &title : {QStringLiteral("Alpha"), QStringLiteral("Gamma")}) {
        QVERIFY2(isShown(controller(title)), qPrintable(title));
        QVERIFY2(!hiddenOnDisk(title), qPrintable(title));
    }
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Beta", "Delta"}));
    QVERIFY(hiddenOnDisk("Beta"));
    QVERIFY(!m_hiddenNotes->unhideButton()->isEnabled());
}

void TestSearchPanels::unhidingAllNotes()
{
    addWorkspace({{"Alpha", "", true}, {"Beta", ""}, {"Gamma", "", true}});
    m_hiddenNotes->show();
    QSignalSpy changes(m_current, &NoteStore::notesChanged);
    QTest::mouseClick(m_hiddenNotes->unhideAllButton(), Qt::LeftButton);

    QCOMPARE(changes.size(), 1);
    for (const QString &title : {QStringLiteral("Alpha"), QStringLiteral("Gamma")}) {
        QVERIFY2(isShown(controller(title)), qPrintable(title));
        QVERIFY2(!hiddenOnDisk(title), qPrintable(title));
    }
    QVERIFY(m_hiddenNotes->hidden().isEmpty());
    QVERIFY(!m_hiddenNotes->emptyLabel()->isHidden());
    QVERIFY(!m_hiddenNotes->unhideAllButton()->isEnabled());
}

void TestSearchPanels::hiddenPanelFollowsChangesAndWorkspaces()
{
    addWorkspace({{"Alpha", ""}, {"Beta", "", true}});
    m_hiddenNotes->show();
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Beta"}));
    m_hiddenNotes->table()->selectRow(0);

    // Hiding a note from its window lists it; the selected note stays selected.
    windowed(controller("Alpha"))->hideNote();
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Alpha", "Beta"}));
    QCOMPARE(m_hiddenNotes->table()->activationIndex().row(), 1);

    // Another workspace: its hidden notes only, once the application announces it.
    addWorkspace({{"Elsewhere", "", true}});
    m_hiddenNotes->notesChanged();
    QCOMPARE(titlesOf(m_hiddenNotes->hidden()), QStringList({"Elsewhere"}));

    // The old workspace closes; the list never points at its notes.
    m_workspaces.front()->store->shutdown();
    m_workspaces.erase(m_workspaces.begin());
    m_current = nullptr;
    m_hiddenNotes->notesChanged();
    QVERIFY(m_hiddenNotes->hidden().isEmpty());
    QVERIFY(!m_hiddenNotes->emptyLabel()->isHidden());
}

// --- The table underneath both panels

void TestSearchPanels::returnActivatingTable_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<int>("selectedRow"); // -1: none
    QTest::addColumn<int>("expectedRow"); // -1: no double-click action

    QTest::newRow("nominal: return acts on the selected row") << int(Qt::Key_Return) << 0 << 2 << 2;
    QTest::newRow("nominal: keypad enter acts on the selected row")
        << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << 1 << 1;
    QTest::newRow("robustness: return with no row selected") << int(Qt::Key_Return) << 0 << -1 << -1;
    QTest::newRow("robustness: shift-return is another command")
        << int(Qt::Key_Return) << int(Qt::ShiftModifier) << 1 << -1;
    QTest::newRow("robustness: other keys keep their course") << int(Qt::Key_Space) << 0 << 1 << -1;
}

void TestSearchPanels::returnActivatingTable()
{
    QFETCH(int, key);
    QFETCH(int, modifiers);
    QFETCH(int, selectedRow);
    QFETCH(int, expectedRow);

    QStandardItemModel model(3, 2);
    ReturnActivatingTableView table;
    table.setModel(&model);
    table.setSelectionBehavior(QAbstractItemView::SelectRows);
    table.setEditTriggers(QAbstractItemView::NoEditTriggers);
    if (selectedRow >= 0)
        table.selectRow(selectedRow);
    QSignalSpy doubleClicks(&table, &QAbstractItemView::doubleClicked);
    QTest::keyClick(&table, Qt::Key(key), Qt::KeyboardModifiers(modifiers));

    QCOMPARE(doubleClicks.size(), expectedRow < 0 ? 0 : 1);
    if (expectedRow >= 0)
        QCOMPARE(doubleClicks.first().first().value<QModelIndex>().row(), expectedRow);
}

QTEST_MAIN(TestSearchPanels)
#include "tst_searchpanels.moc"
