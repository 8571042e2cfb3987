// The editing commands as pure text transformations: the edits they make and where the selection ends up.
#include "editor/MarkdownEditing.h"

#include <QTest>

using namespace MarkdownEditing;

namespace {

// Applies a plan and draws the selection into the text: "|" for a caret, "[" and "]" around a selection.
QString applied(const QString &text, const EditPlan &plan)
{
    QString out = text;
    for (auto it = plan.edits.crbegin(); it != plan.edits.crend(); ++it)
        out.replace(it->position, it->removed, it->inserted);
    const qsizetype start = qMin(plan.anchor, plan.position);
    const qsizetype end = qMax(plan.anchor, plan.position);
    if (start == end)
        return out.insert(start, u'|');
    return out.insert(end, u']').insert(start, u'[');
}

// Reads a text with its selection drawn in as above.
struct Marked {
    QString text;
    qsizetype start = 0;
    qsizetype end = 0;
};

Marked marked(const QString &drawn)
{
    Marked m;
    m.text = drawn;
    if (const qsizetype caret = m.text.indexOf(u'|'); caret >= 0) {
        m.text.remove(caret, 1);
        m.start = m.end = caret;
        return m;
    }
    m.start = m.text.indexOf(u'[');
    m.text.remove(m.start, 1);
    m.end = m.text.lastIndexOf(u']');
    m.text.remove(m.end, 1);
    return m;
}

} // namespace

class MarkdownEditingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void returnInList_data();
    void returnInList();
    void shiftListItems_data();
    void shiftListItems();
    void toggleWrap_data();
    void toggleWrap();
    void wrapLink_data();
    void wrapLink();
    void toggleCheckbox();
    void imageMarkdown_data();
    void imageMarkdown();
};

void MarkdownEditingTest::returnInList_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after"); // empty: Return is left to the editor

    QTest::newRow("nominal: bullet continues") << "- milk|"
                                               << "- milk\n- |";
    QTest::newRow("nominal: numbers count up") << "9. nine|"
                                               << "9. nine\n10. |";
    QTest::newRow("nominal: checkbox carried unchecked") << "- [x] done|"
                                                         << "- [x] done\n- [ ] |";
    QTest::newRow("nominal: indent and spacing kept") << "    *   deep|"
                                                      << "    *   deep\n    *   |";
    QTest::newRow("nominal: splitting an item") << "- ab|cd"
                                                << "- ab\n- |cd";
    QTest::newRow("nominal: an empty item ends the list") << "- |"
                                                          << "|";
    QTest::newRow("nominal: an empty task ends the list") << "3. [ ] |"
                                                          << "|";
    QTest::newRow("edge: blanks only count as empty") << "-   |  "
                                                      << "|";
    QTest::newRow("edge: caret inside the prefix") << "-| item"
                                                   << "";
    QTest::newRow("edge: a rule is no list") << "---|"
                                             << "";
    QTest::newRow("edge: plain text") << "text|"
                                      << "";
}

void MarkdownEditingTest::returnInList()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    const Marked m = marked(before);
    const std::optional<EditPlan> plan = MarkdownEditing::returnInList({0, m.text}, m.start);
    QCOMPARE(plan.has_value(), !after.isEmpty());
    if (plan)
        QCOMPARE(applied(m.text, *plan), after);
}

void MarkdownEditingTest::shiftListItems_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<bool>("outdent");
    QTest::addColumn<QString>("after"); // empty: not a list, Tab does what it always does

    QTest::newRow("nominal: indent an item") << "- a|" << false << "    - a|";
    QTest::newRow("nominal: outdent four blanks") << "    - a|" << true << "- a|";
    QTest::newRow("nominal: outdent a tab") << "\t\t- a|" << true << "\t- a|";
    QTest::newRow("edge: outdent fewer blanks") << "  - a|" << true << "- a|";
    QTest::newRow("edge: outdent at the left edge keeps the item") << "- a|" << true << "- a|";
    QTest::newRow("nominal: indent every selected item, not the text between")
        << "- [a\ntext\n- b]" << false << "    - [a\ntext\n    - b]";
    QTest::newRow("edge: not a list item") << "plain|" << false << "";
}

void MarkdownEditingTest::shiftListItems()
{
    QFETCH(QString, before);
    QFETCH(bool, outdent);
    QFETCH(QString, after);
    const Marked m = marked(before);
    QList<Paragraph> paragraphs;
    qsizetype start = 0;
    for (const QString &line : m.text.split(u'\n')) {
        paragraphs.append({start, line});
        start += line.size() + 1;
    }
    const std::optional<EditPlan> plan = MarkdownEditing::shiftListItems(paragraphs, m.start, m.end, outdent);
    QCOMPARE(plan.has_value(), !after.isEmpty());
    if (plan)
        QCOMPARE(applied(m.text, *plan), after);
}

void MarkdownEditingTest::toggleWrap_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("marker");
    QTest::addColumn<QString>("after");

    QTest::newRow("nominal: bold wraps") << "a [word] b"
                                         << "**"
                                         << "a **[word]** b";
    QTest::newRow("nominal: bold unwraps around") << "a **[word]** b"
                                                  << "**"
                                                  << "a [word] b";
    QTest::newRow("nominal: bold unwraps inside") << "a [**word**] b"
                                                  << "**"
                                                  << "a [word] b";
    QTest::newRow("nominal: italic wraps") << "[word]"
                                           << "*"
                                           << "*[word]*";
    QTest::newRow("nominal: italic unwraps") << "*[word]*"
                                             << "*"
                                             << "[word]";
    QTest::newRow("edge: italic over bold adds a star") << "**[word]**"
                                                        << "*"
                                                        << "***[word]***";
    QTest::newRow("edge: italic unwraps bold italic to bold") << "***[word]***"
                                                              << "*"
                                                              << "**[word]**";
    QTest::newRow("edge: bold unwraps bold italic to italic") << "***[word]***"
                                                              << "**"
                                                              << "*[word]*";
    QTest::newRow("edge: bold over italic wraps") << "*[word]*"
                                                  << "**"
                                                  << "***[word]***";
    QTest::newRow("nominal: empty selection gets a pair") << "a | b"
                                                          << "**"
                                                          << "a **|** b";
    QTest::newRow("edge: markers alone are wrapped, not unwrapped") << "[****]"
                                                                    << "**"
                                                                    << "**[****]**";
}

void MarkdownEditingTest::toggleWrap()
{
    QFETCH(QString, before);
    QFETCH(QString, marker);
    QFETCH(QString, after);
    const Marked m = marked(before);
    QCOMPARE(applied(m.text, MarkdownEditing::toggleWrap(m.text, m.start, m.end, marker)), after);
}

void MarkdownEditingTest::wrapLink_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::newRow("nominal: selection becomes the link text") << "see [docs] now"
                                                              << "see [docs]([url]) now";
    QTest::newRow("edge: empty selection") << "a |"
                                           << "a []([url])";
}

void MarkdownEditingTest::wrapLink()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    const Marked m = marked(before);
    // Drawn selections use brackets too; compare without ambiguity by checking the selected address separately.
    const EditPlan plan = MarkdownEditing::wrapLink(m.start, m.end);
    QString text = m.text;
    for (auto it = plan.edits.crbegin(); it != plan.edits.crend(); ++it)
        text.replace(it->position, it->removed, it->inserted);
    QCOMPARE(text.mid(plan.anchor, plan.position - plan.anchor), QStringLiteral("url"));
    QCOMPARE(applied(m.text, plan), after);
}

void MarkdownEditingTest::toggleCheckbox()
{
    QCOMPARE(MarkdownEditing::toggleCheckbox(2, false), (Edit {3, 1, QStringLiteral("x")}));
    QCOMPARE(MarkdownEditing::toggleCheckbox(2, true), (Edit {3, 1, QStringLiteral(" ")}));
}

void MarkdownEditingTest::imageMarkdown_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("expected");
    QTest::newRow("nominal: name from the file") << "attachments/cat.png"
                                                 << "![cat](attachments/cat.png)";
    QTest::newRow("nominal: escaped name decoded") << "attachments/Pasted%20Image.png"
                                                   << "![Pasted Image](attachments/Pasted%20Image.png)";
    QTest::newRow("robustness: brackets and parentheses cannot end the link")
        << "attachments/a[1](2).png"
        << "![a1(2)](attachments/a[1]%282%29.png)";
}

void MarkdownEditingTest::imageMarkdown()
{
    QFETCH(QString, link);
    QFETCH(QString, expected);
    QCOMPARE(MarkdownEditing::imageMarkdown(link), expected);
}

QTEST_GUILESS_MAIN(MarkdownEditingTest)
#include "tst_markdownediting.moc"
