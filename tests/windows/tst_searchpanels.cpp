// The search panel and the hidden-notes panel as a user drives them from the keyboard and the mouse, over real
// note windows on a temporary workspace.

#include "editor/MarkdownTextView.h"
#include "notes/Frontmatter.h"
#include "store/NoteStore.h"
#include "support/TextFiles.h"
#include "windows/DismissablePanel.h"
#include "windows/HiddenNotesWindow.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"
#include "windows/NoteWindows.h"
#include "windows/ReturnActivatingTableView.h"
#include "windows/SearchWindow.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
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

struct Workspace {
    QTemporaryDir dir;
    std::unique_ptr<NoteStore> store;
};

// The titles a panel's table shows, top to bottom.
QStringList rows(const QTableView *table)
{
    QStringList titles;
    for (int row = 0; row < table->model()->rowCount(); ++row)
        titles << table->model()->index(row, 0).data().toString();
    return titles;
}

NoteWindowController *windowed(NoteController *controller)
{
    return qobject_cast<NoteWindowController *>(controller);
}

QVariant cell(const QTableView *table, int row, int role)
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

QString selectedText(NoteController *controller)
{
    return windowed(controller)->textView()->textCursor().selectedText();
}

} // namespace

class TestSearchPanels : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    }

    void init()
    {
        m_settingsDir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_settingsDir->isValid());
        const auto provider = [this] { return m_current; };
        m_search = std::make_unique<SearchWindow>(provider, m_windows);
        m_hiddenNotes = std::make_unique<HiddenNotesWindow>(provider);
    }

    void cleanup()
    {
        m_search.reset();
        m_hiddenNotes.reset();
        m_current = nullptr;
        m_workspaces.clear();
        m_settingsDir.reset();
    }

    // --- Search panel

    void searchPanelShowsResultsAndTheEmptyLabel()
    {
        addWorkspace({{"Groceries", "eggs\nbuy milk today"}, {"Milk run", "to the farm"}, {"Ideas", "plain", true}});
        m_search->show();
        // Every note for the empty query, first lines as snippets, the hidden one marked.
        QCOMPARE(rows(m_search->table()), QStringList({"Groceries", "Ideas", "Milk run"}));
        QVERIFY(m_search->emptyLabel()->isHidden());
        QCOMPARE(cell(m_search->table(), 1, SearchWindow::HiddenRole), QVariant(true));
        QCOMPARE(cell(m_search->table(), 0, SearchWindow::SnippetRole), QVariant(QStringLiteral("eggs")));

        // Title matches first; the snippet is the matching line; the best match is selected.
        QTest::keyClicks(m_search->field(), "MILK");
        QCOMPARE(rows(m_search->table()), QStringList({"Milk run", "Groceries"}));
        QCOMPARE(cell(m_search->table(), 1, SearchWindow::SnippetRole), QVariant(QStringLiteral("buy milk today")));
        QCOMPARE(m_search->selectedRow(), std::optional<int>(0));

        QTest::keyClicks(m_search->field(), "shake");
        QCOMPARE(rows(m_search->table()), QStringList());
        QVERIFY(!m_search->emptyLabel()->isHidden());
    }

    void arrowKeysMoveTheSelection()
    {
        addWorkspace({{"Note 1", "plan a"}, {"Note 2", "plan b"}, {"Note 3", "plan c"}, {"Note 10", "plan d"}});
        m_search->show();
        QTest::keyClicks(m_search->field(), "plan");
        const auto press = [this](Qt::Key key, std::optional<int> expected) {
            QTest::keyClick(m_search->field(), key);
            QCOMPARE(m_search->selectedRow(), expected);
        };
        // With nothing selected, up selects the last row and down the first; neither wraps around.
        m_search->table()->clearSelection();
        press(Qt::Key_Up, 3);
        press(Qt::Key_Down, 3);
        m_search->table()->clearSelection();
        press(Qt::Key_Down, 0);
        press(Qt::Key_Up, 0);
        // The keys act on the results, not on the field, and the panel stays; without results they do nothing.
        QCOMPARE(m_search->field()->text(), QStringLiteral("plan"));
        QTest::keyClicks(m_search->field(), "zzz");
        for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Return})
            press(key, std::nullopt);
        QVERIFY(m_search->panel()->isVisible());
    }

    void openingLandsOnTheMatch_data()
    {
        QTest::addColumn<bool>("byDoubleClick");
        QTest::newRow("nominal: return in the query field") << false;
        QTest::newRow("nominal: double-click on the row") << true;
    }

    void openingLandsOnTheMatch()
    {
        QFETCH(bool, byDoubleClick);
        const QString second
            = QStringLiteral("first line\n\n") + QString(60, u'x') + QStringLiteral("\nthen Oat Milk here");
        addWorkspace({{"A milk note", "milk at the start"}, {"Breakfast", second, true}, {"Other", "nothing"}});
        m_hiddenNotes->show();
        m_search->show();
        QTest::keyClicks(m_search->field(), "  milk ");
        QCOMPARE(rows(m_search->table()), QStringList({"A milk note", "Breakfast"}));
        QTest::keyClick(m_search->field(), Qt::Key_Down);

        if (byDoubleClick)
            doubleClickRow(m_search->table(), 1);
        else
            QTest::keyClick(m_search->field(), Qt::Key_Return);

        // The panel goes; the chosen note, hidden until now, comes to the front with the keyboard in its editor
        // and the match selected.
        QVERIFY(!m_search->panel()->isVisible());
        NoteWindowController *breakfast = windowed(controller("Breakfast"));
        QVERIFY(breakfast->window()->isVisible());
        QVERIFY(!hiddenOnDisk("Breakfast"));
        QVERIFY(m_hiddenNotes->hidden().isEmpty());
        QTRY_VERIFY(breakfast->textView()->hasFocus());
        QCOMPARE(selectedText(controller("A milk note")), QString());
        const QTextCursor cursor = breakfast->textView()->textCursor();
        QCOMPARE(cursor.selectedText(), QStringLiteral("Milk"));
        QCOMPARE(cursor.selectionStart(), int(second.indexOf(QStringLiteral("Milk"))));
    }

    void openingANoteThatIsGoneKeepsThePanel()
    {
        addWorkspace({{"Alpha", "one"}});
        m_search->show();
        m_search->open({QStringLiteral("Gone.md"), QStringLiteral("Gone"), QString(), false, true});
        QVERIFY(m_search->panel()->isVisible());

        m_current = nullptr;
        m_search->open({QStringLiteral("Alpha.md"), QStringLiteral("Alpha"), QString(), false, true});
        QVERIFY(m_search->panel()->isVisible());
    }

    void escapeHidesEitherPanel()
    {
        addWorkspace({{"Alpha", "one", true}});
        m_hiddenNotes->show();
        // From the query field or the table; put away, not reset: the query is there when the panel comes back.
        for (QWidget *target : {static_cast<QWidget *>(m_search->field()), static_cast<QWidget *>(m_search->table())}) {
            m_search->show();
            QTest::keyClicks(m_search->field(), "o");
            QTest::keyClick(target, Qt::Key_Escape);
            QVERIFY(!m_search->panel()->isVisible());
        }
        m_search->show();
        QCOMPARE(m_search->field()->text(), QStringLiteral("o"));
        QVERIFY(m_hiddenNotes->panel()->isVisible());
        QTest::keyClick(m_hiddenNotes->unhideAllButton(), Qt::Key_Escape);
        QVERIFY(!m_hiddenNotes->panel()->isVisible());
        QVERIFY(m_search->panel()->isVisible());
    }

    void searchStaysCurrentAsNotesChange()
    {
        Workspace *workspace = addWorkspace({{"Beta", "plan b"}, {"Delta", "plan d"}});
        m_search->show();
        QTest::keyClicks(m_search->field(), "plan");
        QTest::keyClick(m_search->field(), Qt::Key_Down);

        // A note that sorts first arrives: the selected note stays selected.
        QVERIFY(workspace->store->create(QStringLiteral("plan a"), QStringLiteral("Alpha")));
        QCOMPARE(rows(m_search->table()), QStringList({"Alpha", "Beta", "Delta"}));
        QCOMPARE(m_search->selectedRow(), std::optional<int>(2));

        // The selected note goes: the first result is selected instead.
        QVERIFY(workspace->store->deleteNote(controller("Delta")));
        QCOMPARE(rows(m_search->table()), QStringList({"Alpha", "Beta"}));
        QCOMPARE(m_search->selectedRow(), std::optional<int>(0));

        // Typing in a note changes no set of notes (no change signal), yet the next keystroke finds the new text.
        m_search->field()->selectAll();
        QTest::keyClicks(m_search->field(), "kiw");
        QCOMPARE(rows(m_search->table()), QStringList());
        MarkdownTextView *editor = windowed(controller("Beta"))->textView();
        editor->moveCursor(QTextCursor::End);
        QTest::keyClicks(editor, " kiwi");
        QTest::keyClick(m_search->field(), Qt::Key_I);
        QCOMPARE(rows(m_search->table()), QStringList({"Beta"}));
        QCOMPARE(cell(m_search->table(), 0, SearchWindow::SnippetRole), QVariant(QStringLiteral("plan b kiwi")));
    }

    // --- Hidden-notes panel

    void hiddenPanelListsHiddenNotes()
    {
        // Hidden notes only, in natural name order; Unhide needs a selection.
        addWorkspace({{"note 10", "", true}, {"Aardvark", ""}, {"Note 2", "", true}, {"apple", "", true}});
        m_hiddenNotes->show();
        QCOMPARE(rows(m_hiddenNotes->table()), QStringList({"apple", "Note 2", "note 10"}));
        QVERIFY(m_hiddenNotes->emptyLabel()->isHidden());
        QVERIFY(m_hiddenNotes->unhideAllButton()->isEnabled());
        QVERIFY(m_hiddenNotes->unhideButton()->isEnabled()); // the first row is chosen from the start
        m_hiddenNotes->table()->selectRow(1);

        // Hiding a note from its window lists it; the selected note stays selected.
        windowed(controller("Aardvark"))->hideNote();
        QCOMPARE(rows(m_hiddenNotes->table()), QStringList({"Aardvark", "apple", "Note 2", "note 10"}));
        QCOMPARE(m_hiddenNotes->table()->activationIndex().row(), 2);
    }

    void unhiding_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QStringList>("unhidden");
        QTest::addColumn<QStringList>("remaining");

        QTest::newRow("nominal: return at once on the first row")
            << "return" << QStringList {"Alpha"} << QStringList {"Beta", "Delta", "Gamma"};
        QTest::newRow("nominal: double-click on one row")
            << "double-click" << QStringList {"Beta"} << QStringList {"Alpha", "Delta", "Gamma"};
        // Both, although unhiding the first one already reloads the list.
        QTest::newRow("nominal: unhide the selected rows")
            << "selected" << QStringList {"Alpha", "Gamma"} << QStringList {"Beta", "Delta"};
        QTest::newRow("nominal: unhide all")
            << "all" << QStringList {"Alpha", "Beta", "Delta", "Gamma"} << QStringList {};
    }

    void unhiding()
    {
        QFETCH(QString, how);
        QFETCH(QStringList, unhidden);
        QFETCH(QStringList, remaining);

        addWorkspace(
            {{"Alpha", "", true}, {"Beta", "", true}, {"Gamma", "", true}, {"Delta", "", true}, {"Shown", ""}});
        m_hiddenNotes->show();
        QTableView *table = m_hiddenNotes->table();
        QSignalSpy changes(m_current, &NoteStore::notesChanged);
        if (how == QLatin1String("return")) {
            QTest::keyClick(table, Qt::Key_Return, Qt::ShiftModifier); // another command: unhides nothing
            QCOMPARE(changes.size(), 0);
            QTest::keyClick(table, Qt::Key_Return);
        } else if (how == QLatin1String("double-click")) {
            doubleClickRow(table, 1);
        } else if (how == QLatin1String("selected")) {
            for (const int row : {0, 3})
                table->selectionModel()->select(
                    table->model()->index(row, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
            QTest::mouseClick(m_hiddenNotes->unhideButton(), Qt::LeftButton);
        } else {
            QTest::mouseClick(m_hiddenNotes->unhideAllButton(), Qt::LeftButton);
            QCOMPARE(changes.size(), 1); // one change for the whole batch
        }

        for (const QString &title : unhidden) {
            QVERIFY2(windowed(controller(title))->window()->isVisible(), qPrintable(title));
            QVERIFY2(!hiddenOnDisk(title), qPrintable(title));
        }
        for (const QString &title : remaining)
            QVERIFY2(hiddenOnDisk(title), qPrintable(title));
        QCOMPARE(rows(m_hiddenNotes->table()), remaining);
        QCOMPARE(m_hiddenNotes->emptyLabel()->isHidden(), !remaining.isEmpty());
        QCOMPARE(m_hiddenNotes->unhideAllButton()->isEnabled(), !remaining.isEmpty());
        QVERIFY(!m_hiddenNotes->unhideButton()->isEnabled());
    }

    void panelsOpenWhollyOnScreen_data()
    {
        QTest::addColumn<bool>("search");
        QTest::newRow("nominal: search panel") << true;
        QTest::newRow("nominal: hidden-notes panel") << false;
    }

    // A panel left hanging off the screen's edge comes back wholly on the screen.
    void panelsOpenWhollyOnScreen()
    {
        QFETCH(bool, search);
        const auto show = [&] { search ? m_search->show() : m_hiddenNotes->show(); };
        DismissablePanel *panel = search ? m_search->panel() : m_hiddenNotes->panel();
        show();
        panel->cancel();
        const QRect area = panel->screen()->availableGeometry();
        panel->move(area.bottomRight() - QPoint(50, 50));
        show();
        QVERIFY2(area.contains(panel->frameGeometry()), qPrintable(QDebug::toString(panel->frameGeometry())));
    }

    void panelsFollowAWorkspaceSwitch()
    {
        addWorkspace({{"Home plan", "garden"}, {"Home chores", "dishes", true}});
        m_hiddenNotes->show();
        m_search->show();
        QTest::keyClicks(m_search->field(), "o");
        QCOMPARE(rows(m_search->table()), QStringList({"Home chores", "Home plan"}));

        // The application opens another workspace and announces it; a keystroke searches the new one too.
        addWorkspace({{"Work log", "monday"}, {"Budget", "q3 forecast", true}});
        m_search->notesChanged();
        m_hiddenNotes->notesChanged();
        QCOMPARE(rows(m_search->table()), QStringList({"Work log", "Budget"}));
        QCOMPARE(rows(m_hiddenNotes->table()), QStringList({"Budget"}));
        QTest::keyClicks(m_search->field(), "n");
        QCOMPARE(rows(m_search->table()), QStringList({"Work log"}));
        QTest::keyClick(m_search->field(), Qt::Key_Return);
        QCOMPARE(selectedText(controller("Work log")), QStringLiteral("on"));

        // The old workspace closes and none is open: empty panels that never point at its notes.
        m_workspaces.front()->store->shutdown();
        m_workspaces.erase(m_workspaces.begin());
        m_current = nullptr;
        m_hiddenNotes->notesChanged();
        m_search->show();
        QVERIFY(m_search->results().isEmpty());
        QVERIFY(!m_search->emptyLabel()->isHidden());
        QVERIFY(m_hiddenNotes->hidden().isEmpty());
        QVERIFY(!m_hiddenNotes->emptyLabel()->isHidden());
    }

private:
    // Makes a workspace of windowed notes the open one and relays its change signal to both panels, as the
    // application does.
    Workspace *addWorkspace(const QList<SampleNote> &notes)
    {
        auto workspace = std::make_unique<Workspace>();
        for (const SampleNote &sample : notes) {
            const QString path = workspace->dir.filePath(sample.title + QLatin1String(".md"));
            writeFile(path, Frontmatter::serialize({.hidden = sample.hidden}, {}, sample.body));
        }
        workspace->store = std::make_unique<NoteStore>(
            workspace->dir.path(), Settings(m_settingsDir->filePath(QStringLiteral("settings.ini"))));
        m_windows.attach(*workspace->store);
        workspace->store->rescan();
        m_current = workspace->store.get();
        connect(m_current, &NoteStore::notesChanged, m_search.get(), &SearchWindow::notesChanged);
        connect(m_current, &NoteStore::notesChanged, m_hiddenNotes.get(), &HiddenNotesWindow::notesChanged);
        m_workspaces.push_back(std::move(workspace));
        return m_workspaces.back().get();
    }

    NoteController *controller(const QString &title) const
    {
        return m_current->controller(title + QLatin1String(".md"));
    }

    bool hiddenOnDisk(const QString &title)
    {
        m_current->flushAllSaves();
        return Frontmatter::parse(readFile(m_current->filePath(title + QLatin1String(".md")))).meta.hidden;
    }

    std::unique_ptr<QTemporaryDir> m_settingsDir;
    std::vector<std::unique_ptr<Workspace>> m_workspaces;
    NoteStore *m_current = nullptr;
    NoteWindows m_windows;
    std::unique_ptr<SearchWindow> m_search;
    std::unique_ptr<HiddenNotesWindow> m_hiddenNotes;
};

QTEST_MAIN(TestSearchPanels)
#include "tst_searchpanels.moc"
