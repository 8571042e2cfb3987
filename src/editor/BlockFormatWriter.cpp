// This is the one file that uses Qt's private text-document API, and on purpose.
//
// Paragraph formats (line spacing, heading spacing, hanging list indents) are styling, not edits. The public way to
// set them, QTextCursor::setBlockFormat, records undo commands: typing "## " then cost two undo steps, and undoing
// re-applied a format and recorded a new step, so undo never returned to the original text.
// QTextDocument::setUndoRedoEnabled(false) around it wipes the whole history. Writing the paragraph's format index
// directly, as below, records nothing, sets no modification flag and emits no contentsChange; the caller then asks
// for a new layout with QTextDocument::markContentsDirty. This ties the build to the Qt version the private headers
// come from (qt6-base-private-dev), which is why it is kept this small.
#include "editor/BlockFormatWriter.h"

#include <private/qtextdocument_p.h>

namespace BlockFormatWriter {

bool apply(QTextBlock block, const QTextBlockFormat &format)
{
    if (!block.isValid())
        return false;
    QTextDocumentPrivate *document = QTextDocumentPrivate::get(block);
    const int index = document->formatCollection()->indexForFormat(format);
    const QTextBlockData *data = document->blockMap().fragment(block.fragmentIndex());
    if (data->format == index)
        return false;
    data->format = index; // mutable in QTextBlockData
    return true;
}

} // namespace BlockFormatWriter
