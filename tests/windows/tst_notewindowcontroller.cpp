#include "editor/MarkdownTextView.h"
#include "notes/NotePalette.h"
#include "notes/ScreenCoordinates.h"
#include "support/WindowTestSupport.h"
#include "windows/TitleBarView.h"
#include "windows/Toast.h"

#include <QApplication>
#include <QColorDialog>
#include <QMenu>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QToolTip>
#include <QtTest/qtestspontaneevent.h>

namespace {

// Where a frame kept in the file (origin at the bottom left of the primary screen) lands in Qt's coordinates.
QRectF qtRect(const QRectF &fileFrame)
{
    return ScreenCoordinates::toQtRect(fileFrame, ScreenCoordinates::primaryVisibleArea()->primaryScreenHeight);
}

QColorDialog *shownColorPanel()
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        if (auto *panel = qobject_cast<QColorDialog *>(window); panel && panel->isVisible())
            return panel;
    }
    return nullptr;
}

} // namespace

class TestNoteWindowController : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        // Moves by program right after a window appears stand for the user's.
        NoteWindowController::setPlacementCorrectionTime(0);
        QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    }

    void init()
    {
        m_opened.clear();
        m_revealed.clear();
        NoteWindowEnvironment environment;
        environment.openUrl = [this](const QUrl &url) { m_opened.append(url); };
        environment.revealFile = [this](const QString &file) { m_revealed.append(file); };
        m_workspace = std::make_unique<WindowTest::WindowedWorkspace>(environment);
    }

    void cleanup() { m_workspace.reset(); }

    void clampToVisible_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<QRectF>("expected");
        // One 1440 × 900 screen whose visible frame leaves 25 points for a panel at the top.
        QTest::newRow("inside stays") << QRectF(100, 100, 270, 260) << QRectF(100, 100, 270, 260);
        QTest::newRow("far right meets the right edge") << QRectF(5000, 100, 270, 260) << QRectF(1170, 100, 270, 260);
        QTest::newRow("wider than the screen: narrowed, left edge")
            << QRectF(300, 100, 2000, 260) << QRectF(0, 100, 1440, 260);
        QTest::newRow("above the top comes down") << QRectF(100, 800, 270, 260) << QRectF(100, 615, 270, 260);
        QTest::newRow("taller than the screen: bottom wins") << QRectF(100, 50, 270, 2000) << QRectF(100, 0, 270, 875);
    }

    void clampToVisible()
    {
        QFETCH(QRectF, rect);
        QFETCH(QRectF, expected);
        const QRectF visible(0, 0, 1440, 875);
        QCOMPARE(NoteWindowController::clampToVisible(rect, {visible}, visible), expected);
        QCOMPARE(NoteWindowController::clampToVisible(rect, {}, std::nullopt), rect); // no screen: left alone
        // A second screen to the right takes a rectangle that lies on it.
        const QRectF onSecond(2000, 100, 270, 260);
        QCOMPARE(
            NoteWindowController::clampToVisible(onSecond, {visible, QRectF(1440, 0, 1920, 1080)}, visible), onSecond);
    }

    void windowFrameFollowsTheFileBothWays()
    {
        NoteWindowController *c = open(u"a.md"_qs, u"x100 y150 w300 h200 z1 #FBF4A6 s12"_qs);
        QCOMPARE(QRectF(c->window()->geometry()), qtRect(QRectF(100, 150, 300, 200)));
        c->window()->setGeometry(qtRect(QRectF(120, 140, 310, 220)).toRect());
        QVERIFY(m_workspace->store->hasPendingSave(u"a.md"_qs));
        // (The stacking order depends on whether the platform activated the window on showing it.)
        const QString line = m_workspace->propertyLine(u"a.md"_qs);
        QVERIFY2(line.startsWith(u"tackpad: \"x120 y140 w310 h220 z"_qs), qPrintable(line));
        // The new size becomes the remembered style of new notes.
        QCOMPARE(m_workspace->config.doubleValue(SettingsKey::defaultNoteWidth), 310.0);
    }

    void movingARolledUpNoteKeepsItsUnrolledTop()
    {
        NoteWindowController *c = open(u"a.md"_qs, u"x100 y150 w300 h200 rolled"_qs);
        QCOMPARE(QRectF(c->window()->geometry()), qtRect(QRectF(100, 330, 300, 20))); // the strip sits at the top edge
        c->window()->move(qtRect(QRectF(50, 300, 300, 20)).topLeft().toPoint());
        const NoteMetadata &m = c->note().meta;
        QCOMPARE(QRectF(m.x, m.y, m.width, m.height), QRectF(50, 300 + 20 - 200, 300, 200)); // top stays the strip's
    }

    // Clicks on the roll button that come while the window is still animating: each starts from the frame the file
    // gives, so the note ends rolled up with its height and top edge as they were.
    void quickRollTogglesKeepTheFrame()
    {
        NoteWindowController *c = open(u"a.md"_qs, u"x200 y300 w300 h240"_qs);
        c->toggleRolled();
        c->toggleRolled();
        QSignalSpy frames(c->window(), &NoteWindow::resized);
        QVERIFY(frames.wait()); // the window is unrolling
        c->toggleRolled();
        QTRY_COMPARE(c->window()->geometry(), qtRect(QRectF(200, 520, 300, 20)).toRect());
        const QString line = m_workspace->propertyLine(u"a.md"_qs);
        QVERIFY2(
            line.startsWith(u"tackpad: \"x200 y300 w300 h240 "_qs) && line.endsWith(u" rolled\""_qs), qPrintable(line));
    }

    // Tool tips of the title bar show over a note that is not the active window, too; the pin floats the note.
    void pinButtonShowsItsTipAndFloatsTheNote()
    {
        NoteWindowController *a = open(u"a.md"_qs, u"x100 y300 w300 h200"_qs);
        NoteWindowController *b = open(u"b.md"_qs, u"x500 y300 w300 h200"_qs);
        b->window()->activateWindow();
        QTRY_VERIFY(b->window()->isActiveWindow());
        QWidget *pin = a->titleBar()->childAt(a->titleBar()->width() - 32, 10);
        QVERIFY(pin);
        QTest::mouseMove(pin, pin->rect().center());
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), u"Float on Top"_qs);
        QTest::mouseClick(pin, Qt::LeftButton);
        QVERIFY(a->note().meta.floatOnTop);
        QVERIFY(a->window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
        QVERIFY(m_workspace->propertyLine(u"a.md"_qs).endsWith(u" float\""_qs));
    }

    void toastFitsItsMessage_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("shownStart");
        QTest::addColumn<QString>("shownEnd");
        QTest::addColumn<int>("lines");
        QTest::newRow("short message on one line")
            << u"Attachment not found: a.png"_qs << u"Attachment not found: a.png"_qs << QString() << 1;
        QTest::newRow("long name cut in its middle")
            << u"Attachment not found: "_qs + QString(120, u'x') + u"-end.png"_qs << u"Attachment not found:\nxxx"_qs
            << u"xx-end.png"_qs << 2;
    }

    void toastFitsItsMessage()
    {
        QFETCH(QString, message);
        QFETCH(QString, shownStart);
        QFETCH(QString, shownEnd);
        QFETCH(int, lines);
        const Toast *toast = Toast::show(message);
        QCOMPARE(toast->text(), message); // what the user was told, whole
        QVERIFY2(toast->shownText().startsWith(shownStart) && toast->shownText().endsWith(shownEnd),
            qPrintable(toast->shownText()));
        QCOMPARE(toast->shownText().contains(u'…'), !shownEnd.isEmpty());
        const int lineHeight = QFontMetrics(toast->font()).lineSpacing();
        QCOMPARE((toast->height() - 10) / lineHeight, lines); // the padding is less than a line
        QVERIFY(toast->width() <= Toast::maximumWidth);
    }

    // A note has no close button of its own: closing it from outside (a window manager's Close) hides it.
    void closingFromOutsideHidesTheNote()
    {
        NoteWindowController *c = open(u"a.md"_qs, u"x1"_qs);
        QCloseEvent close;
        QSpontaneKeyEvent::setSpontaneous(&close);
        QApplication::instance()->notify(c->window(), &close);
        QVERIFY(c->note().meta.hidden);
        QVERIFY(!c->window()->isVisible());
        QVERIFY(m_workspace->propertyLine(u"a.md"_qs).endsWith(u" hidden\""_qs));
    }

    // A hidden note is only its text and properties: its window is made when it is shown, with the text as it is
    // by then, another program's change made meanwhile included.
    void hiddenNoteGetsItsWindowWhenShown()
    {
        const QString file = m_workspace->path(u"a.md"_qs);
        writeInPlace(file, StoreTest::noteText(u"x100 y150 hidden"_qs, u"first"_qs));
        m_workspace->store->rescan();
        NoteWindowController *c = m_workspace->controller(u"a.md"_qs);
        QVERIFY(c && !c->window());
        writeInPlace(file, StoreTest::noteText(u"x100 y150 hidden"_qs, u"Second\n\nthird"_qs));
        m_workspace->store->refreshFromDisk(u"a.md"_qs);
        QVERIFY(!c->window());
        c->unhide(false);
        QVERIFY(c->window() && c->window()->isVisible());
        QCOMPARE(c->textView()->markdown(), u"Second\n\nthird"_qs);
        QCOMPARE(c->titleBar()->title(), c->note().title());
    }

    void fontSizeStaysInRange()
    {
        NoteWindowController *c = open(u"a.md"_qs, u"s47"_qs);
        c->biggerFont();
        c->biggerFont();
        QCOMPARE(c->note().meta.fontSize, 48.0);
        QCOMPARE(c->textView()->theme().baseSize, 48.0);
    }

    void appearanceFollowsColour_data()
    {
        QTest::addColumn<QString>("tokens");
        QTest::addColumn<bool>("darkMode");
        QTest::addColumn<QString>("body");
        QTest::addColumn<bool>("lightForeground");
        QTest::newRow("light preset") << u"#CDE8F9"_qs << false << u"#CDE8F9"_qs << false;
        QTest::newRow("preset in dark mode") << u"#CDE8F9"_qs << true << u"#21384A"_qs << true;
        QTest::newRow("dark custom colour") << u"#202020"_qs << false << u"#202020"_qs << true;
        QTest::newRow("prompt note is white") << u"#CDE8F9 prompt"_qs << false << u"#FFFFFF"_qs << false;
        QTest::newRow("prompt note in dark mode") << u"#CDE8F9 prompt"_qs << true << u"#1C1C1E"_qs << true;
    }

    void appearanceFollowsColour()
    {
        QFETCH(QString, tokens);
        QFETCH(bool, darkMode);
        QFETCH(QString, body);
        QFETCH(bool, lightForeground);
        m_workspace->config.setValue(SettingsKey::darkMode, darkMode);
        NoteWindowController *c = open(u"a.md"_qs, tokens);
        QCOMPARE(NotePalette::hexString(c->window()->backgroundColor()), body);
        QCOMPARE(c->titleBar()->usesLightForeground(), lightForeground);
        QCOMPARE(c->textView()->theme().darkMode, lightForeground);
        QVERIFY(c->titleBar()->barColor() != c->window()->backgroundColor()); // the bar stands out from the note
        // The file keeps its stored colour whatever is shown.
        QCOMPARE(c->note().meta.color, tokens.section(u' ', 0, 0));
    }

    // One colour panel serves every note: it must colour the note that opened it last, never an earlier one, and
    // close with that note's window.
    void customColourPanelFollowsTheLastNote()
    {
        NoteWindowController *a = open(u"a.md"_qs, u"#CDE8F9"_qs);
        NoteWindowController *b = open(u"b.md"_qs, u"#FBD9E4"_qs);
        a->pickCustomColor();
        QColorDialog *panel = shownColorPanel();
        QVERIFY(panel);
        QCOMPARE(panel->currentColor(), QColor(u"#CDE8F9"_qs));
        panel->setCurrentColor(QColor(u"#123456"_qs));
        QCOMPARE(a->note().meta.color, u"#123456"_qs);

        b->pickCustomColor();
        QCOMPARE(panel->currentColor(), QColor(u"#FBD9E4"_qs));
        panel->setCurrentColor(QColor(u"#654321"_qs));
        QCOMPARE(b->note().meta.color, u"#654321"_qs);
        QCOMPARE(a->note().meta.color, u"#123456"_qs);

        a->closeWindow();
        QVERIFY(panel->isVisible()); // not a's any more
        b->closeWindow();
        QVERIFY(!panel->isVisible());
    }

    void menuReflectsTheNote()
    {
        NoteWindowController *c = open(u"Plan.md"_qs, u"#fbd9e4 float rolled"_qs);
        QMenu menu;
        c->populateContextMenu(&menu);
        QVERIFY(findAction(&menu, u"Unroll"_qs) && !findAction(&menu, u"Roll Up"_qs));
        QVERIFY(findAction(&menu, u"Float on Top"_qs)->isChecked());
        QVERIFY(findAction(&menu, u"Pink"_qs)->isChecked()); // colour compared ignoring case
        QVERIFY(!findAction(&menu, u"Custom…"_qs)->isChecked());
        QVERIFY(!findAction(&menu, u"Apply AI Prompt"_qs)); // no prompt notes in this workspace
        findAction(&menu, u"Blue"_qs)->trigger();
        QCOMPARE(c->note().meta.color, u"#CDE8F9"_qs);
        findAction(&menu, u"Reveal in File Manager"_qs)->trigger();
        QCOMPARE(m_revealed, QStringList {m_workspace->path(u"Plan.md"_qs)});
    }

    void deleteAsksThenTrashes()
    {
        NoteWindowController *c = open(u"Shopping.md"_qs, u"x1"_qs, u"milk"_qs);
        m_workspace->alerts.answers = {1, 0}; // Cancel, then Move to Trash
        c->deleteNote();
        QCOMPARE(m_workspace->alertMessages(), QStringList {u"Delete “Shopping”?"_qs});
        QCOMPARE(m_workspace->alerts.shown[0].buttons, (QStringList {u"Move to Trash"_qs, u"Cancel"_qs}));
        QVERIFY(QFile::exists(m_workspace->path(u"Shopping.md"_qs)));
        c->deleteNote();
        QVERIFY(!QFile::exists(m_workspace->path(u"Shopping.md"_qs)));
        QVERIFY(!m_workspace->store->controller(u"Shopping.md"_qs));
    }

    void deletingAnAdoptedNoteRevertsWithoutAsking()
    {
        writeInPlace(m_workspace->path(u"Readme.md"_qs), "---\ntitle: x\ntackpad: \"adopt\"\n---\n# Readme\n");
        m_workspace->store->rescan();
        m_workspace->controller(u"Readme.md"_qs)->deleteNote();
        QVERIFY(m_workspace->alerts.shown.isEmpty());
        QCOMPARE(readFile(m_workspace->path(u"Readme.md"_qs)), u"---\ntitle: x\n---\n# Readme\n"_qs);
        QVERIFY(!m_workspace->store->controller(u"Readme.md"_qs));
    }

    void links_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<bool>("handled");
        QTest::addColumn<QString>("opened"); // what was handed to the system, if anything
        QTest::addColumn<QString>("toast");
        QTest::newRow("web address") << u"https://example.org/a"_qs << true << u"https://example.org/a"_qs << QString();
        QTest::newRow("mail address") << u"mailto:a@example.org"_qs << true << u"mailto:a@example.org"_qs << QString();
        QTest::newRow("other scheme refused") << u"file:///etc/passwd"_qs << false << QString() << QString();
        QTest::newRow("attachment present")
            << u"attachments/pic%201.png"_qs << true << u"attachments/pic 1.png"_qs << QString();
        QTest::newRow("attachment missing")
            << u"attachments/gone.png"_qs << true << QString() << u"Attachment not found: gone.png"_qs;
        QTest::newRow("attachment climbing out refused")
            << u"attachments/../../x.txt"_qs << false << QString() << QString();
        QTest::newRow("attachment leaving its folder refused")
            << u"attachments/../x.txt"_qs << false << QString() << QString();
    }

    void links()
    {
        QFETCH(QString, link);
        QFETCH(bool, handled);
        QFETCH(QString, opened);
        QFETCH(QString, toast);
        QDir(m_workspace->folder).mkpath(u"attachments"_qs);
        writeInPlace(m_workspace->path(u"attachments/pic 1.png"_qs), "png");
        writeInPlace(m_workspace->path(u"x.txt"_qs), "beside the notes");
        NoteWindowController *c = open(u"a.md"_qs, u"x1"_qs);
        if (Toast::current())
            Toast::current()->close();
        QCOMPARE(c->handleLink(link), handled);
        const QUrl expected
            = opened.startsWith(u"attachments/"_qs) ? QUrl::fromLocalFile(m_workspace->path(opened)) : QUrl(opened);
        QCOMPARE(m_opened, opened.isEmpty() ? QList<QUrl> {} : QList<QUrl> {expected});
        QCOMPARE(Toast::current() && Toast::current()->isVisible() ? Toast::current()->text() : QString(), toast);
    }

private:
    NoteWindowController *open(const QString &name, const QString &tokens, const QString &body = u"hi"_qs)
    {
        return m_workspace->openNote(name, tokens, body);
    }

    std::unique_ptr<WindowTest::WindowedWorkspace> m_workspace;
    QList<QUrl> m_opened;
    QStringList m_revealed;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    TestNoteWindowController test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_notewindowcontroller.moc"
