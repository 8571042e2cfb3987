// The editor view driven like a user does: keys, clicks, pastes and drops, with the text and undo history checked.
#include "editor/MarkdownHighlighter.h"
#include "editor/MarkdownTextView.h"
#include "editor/OverlayScrollBar.h"
#include "editor/StyledBlockData.h"
#include "support/TextFiles.h"

#include <QAbstractTextDocumentLayout>
#include <QImage>
#include <QMimeData>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>

namespace {

class TestableView : public MarkdownTextView {
public:
    using MarkdownTextView::canInsertFromMimeData;
    using MarkdownTextView::createMimeDataFromSelection;
    using MarkdownTextView::insertFromMimeData;
};

// Texts with the selection drawn in, so that an expectation reads like the editor looks: "|" for the caret, or "["
// ... "]" around a selection (the first "[" and the last "]" of the text).
void load(MarkdownTextView &view, QString text)
{
    qsizetype anchor = text.indexOf(u'|');
    qsizetype position = anchor;
    if (anchor >= 0) {
        text.remove(anchor, 1);
    } else {
        anchor = text.indexOf(u'[');
        text.remove(anchor, 1);
        position = text.lastIndexOf(u']');
        text.remove(position, 1);
    }
    view.setMarkdown(text);
    QTextCursor cursor(view.document());
    cursor.setPosition(int(anchor));
    cursor.setPosition(int(position), QTextCursor::KeepAnchor);
    view.setTextCursor(cursor);
}

QString drawn(const MarkdownTextView &view)
{
    const QTextCursor cursor = view.textCursor();
    QString text = view.markdown();
    if (!cursor.hasSelection())
        return text.insert(cursor.position(), u'|');
    return text.insert(cursor.selectionEnd(), u']').insert(cursor.selectionStart(), u'[');
}

// A point on the glyph of the character at position, in viewport coordinates: its middle, or just inside its left
// edge.
QPoint pointOf(const MarkdownTextView &view, int position, bool leftEdge = false)
{
    const QTextBlock block = view.document()->findBlock(position);
    const QTextLayout *layout = block.layout();
    const int inBlock = position - block.position();
    const QTextLine line = layout->lineForTextPosition(inBlock);
    const qreal left = line.cursorToX(inBlock);
    const qreal x = leftEdge ? left + 1 : (left + line.cursorToX(inBlock + 1)) / 2;
    const QPointF point = layout->position() + QPointF(x, line.y() + line.height() / 2);
    return (point - QPointF(view.horizontalScrollBar()->value(), view.verticalScrollBar()->value())).toPoint();
}

// The markers of a paragraph show only while it is active.
bool markersShown(const MarkdownTextView &view, int blockNumber)
{
    return view.highlighter()->activeBlock() == view.document()->findBlockByNumber(blockNumber);
}

// The first shown character that should be styled and is not, or -1.
int firstUnstyledShown(const MarkdownTextView &view)
{
    const QRect viewport = view.viewport()->rect();
    const int from = view.cursorForPosition(viewport.topLeft()).position();
    const int to = view.cursorForPosition(viewport.bottomRight()).position();
    for (QTextBlock block = view.document()->findBlock(from); block.isValid() && block.position() <= to;
         block = block.next()) {
        const QList<QTextLayout::FormatRange> formats = block.layout()->formats();
        const auto *data = static_cast<const StyledBlockData *>(block.userData());
        for (const MarkdownStyler::StyleRun &run : data->runs) {
            const int start = block.position() + int(run.start);
            if (start + run.length < from || start > to || run.style == MarkdownStyler::CharStyle {})
                continue;
            if (std::none_of(
                    formats.begin(), formats.end(), [&](const auto &range) { return range.start == run.start; }))
                return start;
        }
    }
    return -1;
}

} // namespace

class MarkdownTextViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_view = std::make_unique<TestableView>();
        m_view->resize(420, 320);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }

    void cleanup() { m_view.reset(); }

    void keysEditAsOneUndoStep_data()
    {
        // One row per rule of the editing commands behind the keys.
        QTest::addColumn<QString>("before");
        QTest::addColumn<int>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QString>("after");
        const auto row = [](const char *name, const QString &before, int key, Qt::KeyboardModifiers modifiers,
                             const QString &after) { QTest::newRow(name) << before << key << modifiers << after; };
        const Qt::KeyboardModifiers none = Qt::NoModifier;
        const Qt::KeyboardModifiers ctrl = Qt::ControlModifier;
        const Qt::KeyboardModifiers shift = Qt::ShiftModifier;
        const int enter = Qt::Key_Return;
        row("Return continues a list", "- milk|", enter, none, "- milk\n- |");
        row("Return: numbers count up", "9. nine|", enter, none, "9. nine\n10. |");
        row("Return: checkbox carried unchecked", "- [x] done|", enter, none, "- [x] done\n- [ ] |");
        row("Return: indent, spacing, parenthesis kept", "  3)  c|", enter, none, "  3)  c\n  4)  |");
        row("Return: other digits count up in ASCII", "٣. c|", enter, none, "٣. c\n4. |");
        row("Return splits an item", "- ab|cd", enter, none, "- ab\n- |cd");
        row("Return on an empty item ends the list", "- |", enter, none, "|");
        row("Return: blanks only count as empty", "-   |  ", enter, none, "|");
        row("Return: spaced dashes are an item", "- - -|", enter, none, "- - -\n- |");
        row("Return after a rule is a plain newline", "---|", enter, none, "---\n|");
        row("Return inside the prefix is a plain newline", "-| item", enter, none, "-\n| item");
        row("Return in a heading is a plain newline", "# Head|", enter, none, "# Head\n|");
        row("Return in fenced code is a plain newline", "```\n * comment|\n```", enter, none,
            "```\n * comment\n|\n```");
        row("Return in indented code is a plain newline", "text\n\n    - item|", enter, none, "text\n\n    - item\n|");
        row("Return under an item's blank line continues", "- a\n\n    - b|", enter, none, "- a\n\n    - b\n    - |");
        row("Shift+Return is a line feed, no list", "- milk|", enter, shift, "- milk\n|");
        row("Tab indents the item", "- a|", Qt::Key_Tab, none, "    - a|");
        row("Tab indents the selected items only", "- [a\ntext\n- b]", Qt::Key_Tab, none, "    - [a\ntext\n    - b]");
        row("Tab outside a list inserts a tab", "a|", Qt::Key_Tab, none, "a\t|");
        row("Tab in fenced code inserts a tab", "```\n- a|\n```", Qt::Key_Tab, none, "```\n- a\t|\n```");
        row("Tab over a selection without items indents its lines", "a [word\n\nb] c", Qt::Key_Tab, none,
            "    a [word\n\n    b] c");
        row("Shift+Tab over a selection without items outdents", "    [a\n\tb]", Qt::Key_Backtab, shift, "[a\nb]");
        row("Shift+Tab outdents", "    - a|", Qt::Key_Backtab, shift, "- a|");
        row("Shift+Tab outdents a tab", "\t\t- a|", Qt::Key_Backtab, shift, "\t- a|");
        row("Shift+Tab outdents fewer blanks", "  - a|", Qt::Key_Backtab, shift, "- a|");
        row("Ctrl+B wraps", "a [word] b", Qt::Key_B, ctrl, "a **[word]** b");
        row("Ctrl+B unwraps around", "a **[word]** b", Qt::Key_B, ctrl, "a [word] b");
        row("Ctrl+B unwraps inside", "a [**word**] b", Qt::Key_B, ctrl, "a [word] b");
        row("Ctrl+B: empty selection gets a pair", "a | b", Qt::Key_B, ctrl, "a **|** b");
        row("Ctrl+B: markers alone are wrapped", "[****]", Qt::Key_B, ctrl, "**[****]**");
        row("Ctrl+B: bold italic to italic", "***[word]***", Qt::Key_B, ctrl, "*[word]*");
        row("Ctrl+I wraps", "[word]", Qt::Key_I, ctrl, "*[word]*");
        row("Ctrl+I over bold adds a star", "**[word]**", Qt::Key_I, ctrl, "***[word]***");
        row("Ctrl+I: bold italic to bold", "***[word]***", Qt::Key_I, ctrl, "**[word]**");
        row("Ctrl+I over two italics wraps them", "[*a* and *b*]", Qt::Key_I, ctrl, "*[*a* and *b*]*");
        row("Ctrl+B leaves outer blanks outside", "[one ]two", Qt::Key_B, ctrl, "**[one]** two");
        row("Ctrl+K makes a link", "see [docs] now", Qt::Key_K, ctrl, "see [docs]([url]) now");
        row("Ctrl+K leaves outer blanks outside", "[delta ]epsilon", Qt::Key_K, ctrl, "[delta]([url]) epsilon");
        row("Ctrl+K without a selection", "a |", Qt::Key_K, ctrl, "a []([url])");
    }

    void keysEditAsOneUndoStep()
    {
        QFETCH(QString, before);
        QFETCH(int, key);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(QString, after);
        load(*m_view, before);
        const QString original = m_view->markdown();
        QTest::keyClick(m_view.get(), Qt::Key(key), modifiers);
        QCOMPARE(drawn(*m_view), after);
        m_view->undo();
        QCOMPARE(m_view->markdown(), original);
        QVERIFY(!m_view->document()->isUndoAvailable());
    }

    void checkboxClickTogglesAsOneUndoStep()
    {
        load(*m_view, QStringLiteral("- [ ] task\nother|"));
        QSignalSpy edited(m_view.get(), &MarkdownTextView::textEdited);
        const int caret = m_view->textCursor().position();
        QTest::mouseClick(m_view->viewport(), Qt::LeftButton, {}, pointOf(*m_view, 3));
        QCOMPARE(m_view->markdown(), QStringLiteral("- [x] task\nother"));
        QCOMPARE(m_view->textCursor().position(), caret);
        QCOMPARE(edited.count(), 1);
        m_view->undo();
        QCOMPARE(m_view->markdown(), QStringLiteral("- [ ] task\nother"));
        QVERIFY(!m_view->document()->isUndoAvailable());
    }

    void linkClickIsReported_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("clickAt");
        QTest::addColumn<QString>("expected");

        QTest::newRow("nominal: Markdown link") << "see [site](https://x.org) now" << 6 << "https://x.org";
        QTest::newRow("nominal: wiki link") << "[[My Note]]" << 4 << "tackpad://note/My%20Note";
    }

    void linkClickIsReported()
    {
        QFETCH(QString, text);
        QFETCH(int, clickAt);
        QFETCH(QString, expected);
        load(*m_view, text + QStringLiteral("\n|"));
        QSignalSpy clicked(m_view.get(), &MarkdownTextView::linkActivated);
        const int caret = m_view->textCursor().position();
        QTest::mouseClick(m_view->viewport(), Qt::LeftButton, {}, pointOf(*m_view, clickAt));
        QCOMPARE(clicked.count(), 1);
        QCOMPARE(clicked.first().first().toString(), expected);
        QCOMPARE(m_view->textCursor().position(), caret);
        QCOMPARE(m_view->markdown(), text + u'\n');
    }

    void clickInInactiveParagraphHitsTheTextUnderThePointer_data()
    {
        // The second paragraph's markers show once it is active: restyling during the click would shift "c" and
        // "a" by the width of twelve stars.
        QTest::addColumn<QString>("pressOn");
        QTest::addColumn<QString>("releaseOn"); // empty for a double-click
        QTest::addColumn<QString>("selected");
        QTest::newRow("double-click selects the word under the pointer") << "c" << QString() << "c";
        QTest::newRow("drag selects what it passes over") << "a"
                                                          << "c"
                                                          << "a b ";
    }

    void clickInInactiveParagraphHitsTheTextUnderThePointer()
    {
        QFETCH(QString, pressOn);
        QFETCH(QString, releaseOn);
        QFETCH(QString, selected);
        m_view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
        m_view->setFocus(Qt::OtherFocusReason);
        load(*m_view, QStringLiteral("# Ti|tle\n**x** **y** **z** a b c"));
        QTRY_VERIFY(markersShown(*m_view, 0));
        const QString text = m_view->markdown();
        QWidget *viewport = m_view->viewport();
        const QPoint press = pointOf(*m_view, int(text.lastIndexOf(pressOn)), true);
        if (releaseOn.isEmpty()) {
            QTest::mousePress(viewport, Qt::LeftButton, {}, press);
            QTest::mouseRelease(viewport, Qt::LeftButton, {}, press);
            QTest::mouseDClick(viewport, Qt::LeftButton, {}, press);
            QTest::mouseRelease(viewport, Qt::LeftButton, {}, press);
        } else {
            const QPoint release = pointOf(*m_view, int(text.lastIndexOf(releaseOn)), true);
            QTest::mousePress(viewport, Qt::LeftButton, {}, press);
            QTest::mouseMove(viewport, release);
            QTest::mouseRelease(viewport, Qt::LeftButton, {}, release);
        }
        QCOMPARE(m_view->textCursor().selectedText(), selected);
        QTRY_VERIFY(markersShown(*m_view, 1)); // once the click is over
    }

    void onlyAFocusedEditorHasAnActiveParagraph()
    {
        load(*m_view, QStringLiteral("# Ti|tle\ntext"));
        m_view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
        m_view->setFocus(Qt::OtherFocusReason);
        QTRY_VERIFY(markersShown(*m_view, 0));
        m_view->clearFocus();
        QVERIFY(!m_view->highlighter()->activeBlock().isValid());
        load(*m_view, QStringLiteral("# Title\nte|xt")); // a caret moved from elsewhere (a search) activates nothing
        QVERIFY(!m_view->highlighter()->activeBlock().isValid());
        m_view->setFocus(Qt::TabFocusReason);
        QVERIFY(markersShown(*m_view, 1));
    }

    void pastedImageDataGoesToTheImporter()
    {
        QImage image(7, 5, QImage::Format_RGB32);
        image.fill(Qt::red);
        QByteArray received;
        QString baseName;
        m_view->importAttachmentData = [&](const QByteArray &data, const QString &name) -> std::optional<QString> {
            received = data;
            baseName = name;
            return QStringLiteral("attachments/Pasted%20Image.png");
        };
        load(*m_view, QStringLiteral("a |b"));
        QMimeData mime;
        mime.setImageData(image);
        QVERIFY(m_view->canInsertFromMimeData(&mime));
        m_view->insertFromMimeData(&mime);
        QCOMPARE(QImage::fromData(received).size(), image.size());
        QCOMPARE(baseName, QStringLiteral("Pasted Image"));
        QCOMPARE(drawn(*m_view), QStringLiteral("a ![Pasted Image](attachments/Pasted%20Image.png)|b"));

        // An import that fails inserts nothing at all.
        m_view->importAttachmentData = [](const QByteArray &, const QString &) { return std::optional<QString>(); };
        m_view->insertFromMimeData(&mime);
        QCOMPARE(drawn(*m_view), QStringLiteral("a ![Pasted Image](attachments/Pasted%20Image.png)|b"));
    }

    void droppedImageFilesGoToTheImporter()
    {
        QTemporaryDir folder;
        QList<QUrl> pictures;
        for (const QString &name : {QStringLiteral("a[1](2).png"), QStringLiteral("dog.jpg")}) {
            QImage image(4, 4, QImage::Format_RGB32);
            image.fill(Qt::blue);
            QVERIFY(image.save(folder.filePath(name)));
            pictures << QUrl::fromLocalFile(folder.filePath(name));
        }
        writeFile(folder.filePath(QStringLiteral("notes.txt")), QStringLiteral("hello"));
        QList<QUrl> imported;
        m_view->importAttachmentFile = [&](const QUrl &url) -> std::optional<QString> {
            imported << url;
            return QStringLiteral("attachments/") + url.fileName();
        };
        load(*m_view, QStringLiteral("|"));
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(folder.filePath(QStringLiteral("notes.txt")))});
        m_view->insertFromMimeData(&mime);
        QVERIFY(imported.isEmpty()); // a file that is no picture is not imported

        load(*m_view, QStringLiteral("|"));
        mime.setUrls(pictures);
        QVERIFY(m_view->canInsertFromMimeData(&mime));
        m_view->insertFromMimeData(&mime);
        QCOMPARE(imported, pictures);
        QCOMPARE(drawn(*m_view), QStringLiteral("![a1(2)](attachments/a[1]%282%29.png)\n![dog](attachments/dog.jpg)|"));
    }

    // The clipboard carries plain text both ways: what is copied is the Markdown, what is pasted loses its formats.
    void clipboardHoldsPlainTextOnly()
    {
        load(*m_view, QStringLiteral("[# Head\n**b**]"));
        std::unique_ptr<QMimeData> copied(m_view->createMimeDataFromSelection());
        QCOMPARE(copied->formats(), QStringList {QStringLiteral("text/plain")});
        QCOMPARE(copied->text(), QStringLiteral("# Head\n**b**"));

        load(*m_view, QStringLiteral("x|"));
        QMimeData mime;
        mime.setHtml(QStringLiteral("<b style='font-size:40pt'>bold</b> <i>words</i>"));
        mime.setText(QStringLiteral("bold words"));
        m_view->insertFromMimeData(&mime);
        QCOMPARE(m_view->markdown(), QStringLiteral("xbold words"));
        QTextCursor inserted(m_view->document());
        inserted.setPosition(3);
        QVERIFY(!inserted.charFormat().font().bold());
        QVERIFY(inserted.charFormat().fontPointSize() < 40);
    }

    void textEditedOnlyForRealEdits()
    {
        load(*m_view, QStringLiteral("# a\n**b**|"));
        QSignalSpy edited(m_view.get(), &MarkdownTextView::textEdited);
        QTest::keyClick(m_view.get(), Qt::Key_Up);
        QTest::keyClick(m_view.get(), Qt::Key_Down);
        m_view->setTheme(Theme {15, std::nullopt, true});
        m_view->highlighter()->restyleAll();
        QVERIFY(!m_view->document()->isUndoAvailable()); // restyling leaves undo alone
        m_view->setMarkdown(QStringLiteral("new text"));
        QCOMPARE(edited.count(), 0);

        QTest::keyClicks(m_view.get(), QStringLiteral("ab"));
        QCOMPARE(edited.count(), 2);
        m_view->undo();
        QCOMPARE(edited.count(), 3);
        // Replacing all the text is one undo step back to what was there.
        const QString before = m_view->markdown();
        m_view->replaceAllText(QStringLiteral("other\ntext"));
        QCOMPARE(edited.count(), 4);
        m_view->undo();
        QCOMPARE(m_view->markdown(), before);
    }

    void setMarkdownKeepsTheSelection_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("newText");
        QTest::addColumn<bool>("preserving");
        QTest::addColumn<QString>("after");
        const auto row = [](const char *name, const QString &before, const QString &newText, bool preserving,
                             const QString &after) { QTest::newRow(name) << before << newText << preserving << after; };
        row("nominal: caret kept", "abc|def", "abcXYZ", true, "abc|XYZ");
        row("nominal: selection kept", "a[bc]def", "aBCdef", true, "a[BC]def");
        row("edge: caret clamped to a shorter text", "abcdef|", "ab", true, "ab|");
        row("nominal: caret to the start otherwise", "abc|def", "xyz", false, "|xyz");
    }

    void setMarkdownKeepsTheSelection()
    {
        QFETCH(QString, before);
        QFETCH(QString, newText);
        QFETCH(bool, preserving);
        QFETCH(QString, after);
        load(*m_view, before);
        m_view->setMarkdown(newText, preserving);
        QCOMPARE(drawn(*m_view), after);
        QVERIFY(!m_view->document()->isUndoAvailable());
    }

    void longNoteIsLaidOutToTheEnd()
    {
        // After loading, Qt lays a long text out lazily; a restyle near the top during that time used to leave the
        // rest never laid out.
        QString text;
        for (int i = 0; i < 3000; ++i)
            text += QStringLiteral("- item **%1** with [a link](https://example.com)\n").arg(i);
        m_view->setMarkdown(text);
        m_view->resize(300, 320);
        QTextCursor top(m_view->document());
        top.setPosition(3);
        m_view->setTextCursor(top);
        top.insertText(QStringLiteral("x"));
        const QTextBlock last = m_view->document()->lastBlock().previous();
        QVERIFY(last.layout()->lineCount() > 0);
        QVERIFY(last.layout()->position().y() > 3000 * 10);
        const qreal bottom = last.layout()->position().y() + last.layout()->boundingRect().height();
        QVERIFY(m_view->document()->documentLayout()->documentSize().height() > bottom);
    }

    void growingPastTheWindowKeepsTheWrapWidth()
    {
        // A scroll bar beside the text would narrow it: every paragraph laid out again, lines re-wrapping under the
        // caret. The editor's bar lies over the text and still scrolls it.
        const qreal width = m_view->document()->pageSize().width();
        m_view->setMarkdown(QStringLiteral("line\n").repeated(200));
        QCOMPARE(m_view->document()->pageSize().width(), width);
        auto *bar = m_view->findChild<OverlayScrollBar *>();
        QVERIFY(bar && bar->isVisible());
        bar->setValue(bar->maximum());
        QCOMPARE(m_view->verticalScrollBar()->value(), m_view->verticalScrollBar()->maximum());
        QVERIFY(m_view->verticalScrollBar()->maximum() > 0);
    }

    void veryLongParagraphIsStyledWhereverItIsShown()
    {
        // A paragraph this long gets its formats only around what is shown. Scrolling through it, every shown
        // character must be styled, and when the styled stretch moves, the text at the top stays there.
        QString text;
        for (int i = 0; text.size() < 3 * FormatWindow::longParagraph; ++i)
            text += QStringLiteral("**strong%1** a_b `c` [link](https://example.com/%1) ~~x~~ ").arg(i % 7);
        m_view->setMarkdown(text);
        QScrollBar *scroll = m_view->verticalScrollBar();
        const QTextBlock block = m_view->document()->firstBlock();
        const int step = scroll->pageStep() / 3;
        int moves = 0;
        while (scroll->value() < scroll->maximum()) {
            const QTextCursor nextTop = m_view->cursorForPosition(QPoint(0, step));
            const int nextTopY = m_view->cursorRect(nextTop).top() - step;
            const QList<QTextLayout::FormatRange> before = block.layout()->formats();
            scroll->setValue(scroll->value() + step);
            moves += before != block.layout()->formats();
            if (scroll->value() < scroll->maximum())
                QCOMPARE(m_view->cursorRect(nextTop).top(), nextTopY);
            QCOMPARE(firstUnstyledShown(*m_view), -1);
        }
        QVERIFY(moves > 1);
        const auto *data = static_cast<const StyledBlockData *>(block.userData());
        QVERIFY(block.layout()->formats().size() < data->runs.size() / 2);

        // Lines added above move other text into view without a scroll; cutting away the end while it is shown
        // makes the view scroll in the middle of the edit.
        QTextCursor(m_view->document()).insertText(QStringLiteral("line\n").repeated(300));
        QTRY_COMPARE(firstUnstyledShown(*m_view), -1);
        QTextCursor cut(m_view->document());
        cut.setPosition(int(text.size()) / 3);
        cut.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        cut.removeSelectedText();
        QTRY_COMPARE(firstUnstyledShown(*m_view), -1);
        m_view->document()->undo();
        QTRY_COMPARE(firstUnstyledShown(*m_view), -1);
    }

    void themeAppliesFontAndColours()
    {
        load(*m_view, QStringLiteral("text|"));
        QSignalSpy layouts(m_view->document()->documentLayout(), &QAbstractTextDocumentLayout::update);
        m_view->setTheme(m_view->theme());
        QCOMPARE(layouts.count(), 0);
        m_view->setTheme(Theme {18, std::nullopt, true});
        QCOMPARE(m_view->document()->defaultFont().pointSizeF(), 18.0);

        // Plain text is drawn in the palette's text colour, which stays the theme's whatever palette comes in.
        const QColor themed = m_view->palette().color(QPalette::Text);
        QPalette other;
        other.setColor(QPalette::Text, Qt::red);
        m_view->setPalette(other);
        QCOMPARE(m_view->palette().color(QPalette::Text), themed);
    }

private:
    std::unique_ptr<TestableView> m_view;
};

QTEST_MAIN(MarkdownTextViewTest)
#include "tst_markdowntextview.moc"
