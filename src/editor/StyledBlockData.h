#pragma once

#include "editor/FormatWindow.h"
#include "editor/MarkdownStyler.h"

#include <QTextBlockUserData>

// What the highlighter last laid over one paragraph. The editor hit-tests links and checkboxes from it (the text
// layout's own anchor lookup does not see formats laid over by a highlighter), and the highlighter compares a new
// result with it so that an unchanged paragraph is neither re-formatted nor laid out again.
class StyledBlockData : public QTextBlockUserData {
public:
    QList<MarkdownStyler::StyleRun> runs;
    MarkdownStyler::BlockStyle block;
    qreal listIndent = 0;
    QList<MarkdownStyler::LinkSpan> links; // ranges relative to the paragraph's start
    QList<MarkdownStyler::CheckboxSpan> checkboxes;
    quint64 themeGeneration = 0;
    FormatWindow window; // the stretch the runs' formats were laid over
};
