#include "editor/VisibleRangeReporter.h"

#include "editor/MarkdownHighlighter.h"

#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTextEdit>

VisibleRangeReporter::VisibleRangeReporter(QTextEdit *view, MarkdownHighlighter *highlighter)
    : QObject(view)
    , m_view(view)
    , m_highlighter(highlighter)
{
    // A new text is shown from its start.
    m_highlighter->setVisibleRange(0, 0);
    m_afterEdit.setSingleShot(true);
    m_afterEdit.setInterval(0);
    connect(&m_afterEdit, &QTimer::timeout, this, &VisibleRangeReporter::report);
    connect(view->document(), &QTextDocument::contentsChanged, &m_afterEdit, qOverload<>(&QTimer::start));
    connect(view->verticalScrollBar(), &QScrollBar::valueChanged, this, &VisibleRangeReporter::report);
}

void VisibleRangeReporter::report()
{
    // Keeping the view in place below scrolls, which reports again.
    if (m_reporting)
        return;
    QScopedValueRollback<bool> reporting(m_reporting, true);
    m_afterEdit.stop();
    const QRect shown = m_view->viewport()->rect();
    const QTextCursor first = m_view->cursorForPosition(shown.topLeft());
    const int from = first.position();
    const int to = m_view->cursorForPosition(shown.bottomRight()).position();
    const int firstTop = m_view->cursorRect(first).top();
    if (!m_highlighter->setVisibleRange(from, to))
        return;
    // Formats that moved change how the text outside the shown part wraps, and so how tall the text above it is:
    // the first shown character stays where it was.
    QScrollBar *scroll = m_view->verticalScrollBar();
    scroll->setValue(scroll->value() + m_view->cursorRect(first).top() - firstTop);
}
