// The editing commands as pure text transformations: the edits they make and where the selection ends up.
#include "DrawnText.h"
#include "editor/MarkdownEditing.h"

#include <QTest>

using namespace MarkdownEditing;

namespace {

// Applies a plan and draws the selection it leaves; an empty text when there is no plan.
QString applied(const QString &text, const std::optional<EditPlan> &plan)
{
    if (!plan)
        return {};
    QString out = text;
    for (auto it = plan->edits.crbegin(); it != plan->edits.crend(); ++it)
        out.replace(it->position, it->removed, it->inserted);
    return DrawnText::draw(out, plan->anchor, plan->position);
}

void addBeforeAfterColumns()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after"); // empty: the command leaves the key to the editor
}

void row(const char *name, const QString &first, const QString &second)
{
    QTest::newRow(name) << first << second;
}

} // namespace

class MarkdownEditingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void returnInList_data()
    {
        addBeforeAfterColumns();
        row("nominal: bullet continues", "- milk|", "- milk\n- |");
        row("nominal: numbers count up", "9. nine|", "9. nine\n10. |");
        row("nominal: checkbox carried unchecked", "- [x] done|", "- [x] done\n- [ ] |");
        row("nominal: indent and spacing kept", "    *   deep|", "    *   deep\n    *   |");
        row("nominal: splitting an item", "- ab|cd", "- ab\n- |cd");
        row("nominal: an empty item ends the list", "- |", "|");
        row("nominal: an empty task ends the list", "3. [ ] |", "|");
        row("edge: blanks only count as empty", "-   |  ", "|");
        row("edge: caret inside the prefix", "-| item", "");
        row("edge: a rule is no list", "---|", "");
    }

    void returnInList()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        const DrawnText::Selection s = DrawnText::read(before);
        QCOMPARE(applied(s.text, MarkdownEditing::returnInList({0, s.text}, s.position)), after);
    }

    void shiftListItems_data()
    {
        addBeforeAfterColumns();
        QTest::addColumn<bool>("outdent");
        const auto shiftRow = [](const char *name, const QString &before, const QString &after, bool outdent) {
            QTest::newRow(name) << before << after << outdent;
        };
        shiftRow("nominal: indent an item", "- a|", "    - a|", false);
        shiftRow("nominal: outdent four blanks", "    - a|", "- a|", true);
        shiftRow("nominal: outdent a tab", "\t\t- a|", "\t- a|", true);
        shiftRow("edge: outdent fewer blanks", "  - a|", "- a|", true);
        shiftRow("edge: outdent at the left edge keeps the item", "- a|", "- a|", true);
        shiftRow("nominal: indent every selected item, not the text between", "- [a\ntext\n- b]",
            "    - [a\ntext\n    - b]", false);
        shiftRow("edge: not a list item", "plain|", "", false);
    }

    void shiftListItems()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(bool, outdent);
        const DrawnText::Selection s = DrawnText::read(before);
        QList<Paragraph> paragraphs;
        qsizetype start = 0;
        for (const QString &line : s.text.split(u'\n')) {
            paragraphs.append({start, line});
            start += line.size() + 1;
        }
        QCOMPARE(applied(s.text, MarkdownEditing::shiftListItems(paragraphs, s.anchor, s.position, outdent)), after);
    }

    void toggleWrap_data()
    {
        addBeforeAfterColumns();
        QTest::addColumn<QString>("marker");
        const auto wrapRow = [](const char *name, const QString &before, const QString &after, const QString &marker) {
            QTest::newRow(name) << before << after << marker;
        };
        wrapRow("nominal: bold wraps", "a [word] b", "a **[word]** b", "**");
        wrapRow("nominal: bold unwraps around", "a **[word]** b", "a [word] b", "**");
        wrapRow("nominal: bold unwraps inside", "a [**word**] b", "a [word] b", "**");
        wrapRow("edge: italic over bold adds a star", "**[word]**", "***[word]***", "*");
        wrapRow("edge: italic unwraps bold italic to bold", "***[word]***", "**[word]**", "*");
        wrapRow("edge: bold unwraps bold italic to italic", "***[word]***", "*[word]*", "**");
        wrapRow("edge: bold over italic wraps", "*[word]*", "***[word]***", "**");
        wrapRow("nominal: empty selection gets a pair", "a | b", "a **|** b", "**");
        wrapRow("edge: markers alone are wrapped, not unwrapped", "[****]", "**[****]**", "**");
    }

    void toggleWrap()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QFETCH(QString, marker);
        const DrawnText::Selection s = DrawnText::read(before);
        QCOMPARE(applied(s.text, MarkdownEditing::toggleWrap(s.text, s.anchor, s.position, marker)), after);
    }

    void wrapLink_data()
    {
        addBeforeAfterColumns();
        row("nominal: selection becomes the link text", "see [docs] now", "see [docs]([url]) now");
        row("edge: empty selection", "a |", "a []([url])");
    }

    void wrapLink()
    {
        QFETCH(QString, before);
        QFETCH(QString, after);
        const DrawnText::Selection s = DrawnText::read(before);
        const EditPlan plan = MarkdownEditing::wrapLink(s.anchor, s.position);
        QCOMPARE(applied(s.text, plan), after);
        // The drawing hides the direction: the placeholder address is selected from its start, ready to be typed over.
        QVERIFY(plan.anchor < plan.position);
    }

    void toggleCheckbox()
    {
        QCOMPARE(MarkdownEditing::toggleCheckbox(2, false), (Edit {3, 1, QStringLiteral("x")}));
        QCOMPARE(MarkdownEditing::toggleCheckbox(2, true), (Edit {3, 1, QStringLiteral(" ")}));
    }

    void imageMarkdown_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("expected");
        row("nominal: name from the file", "attachments/cat.png", "![cat](attachments/cat.png)");
        row("nominal: escaped name decoded", "attachments/Pasted%20Image.png",
            "![Pasted Image](attachments/Pasted%20Image.png)");
        row("robustness: brackets and parentheses cannot end the link", "attachments/a[1](2).png",
            "![a1(2)](attachments/a[1]%282%29.png)");
    }

    void imageMarkdown()
    {
        QFETCH(QString, link);
        QFETCH(QString, expected);
        QCOMPARE(MarkdownEditing::imageMarkdown(link), expected);
    }
};

QTEST_GUILESS_MAIN(MarkdownEditingTest)
#include "tst_markdownediting.moc"
