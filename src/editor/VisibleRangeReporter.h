#pragma once

#include <QObject>
#include <QTimer>

class MarkdownHighlighter;
class QTextEdit;

// Tells the highlighter which characters its editor shows, so that a very long paragraph is styled where the user
// looks (see FormatWindow). It reports at once when the editor scrolls or is resized, so nothing unstyled is painted,
// and once an edit has been laid out, since an edit can bring other text into view without scrolling.
class VisibleRangeReporter : public QObject {
    Q_OBJECT

public:
    VisibleRangeReporter(QTextEdit *view, MarkdownHighlighter *highlighter);

    void report();

private:
    QTextEdit *m_view;
    MarkdownHighlighter *m_highlighter;
    QTimer m_afterEdit;
    bool m_reporting = false;
};
