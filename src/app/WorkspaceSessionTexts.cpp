#include "app/WorkspaceSession.h"

#include <QCoreApplication>
#include <QKeySequence>

// The welcome note and the all-hidden message: texts that name key combinations in the platform's notation.

QString WorkspaceSession::keyText(const QKeySequence &keys)
{
    return keys.toString(QKeySequence::NativeText);
}

QString WorkspaceSession::welcomeText()
{
    const QString newKey = keyText(QKeySequence(Qt::CTRL | Qt::Key_N));
    const QString closeKey = keyText(QKeySequence(Qt::CTRL | Qt::Key_W));
    const QString boldKey = keyText(QKeySequence(Qt::CTRL | Qt::Key_B));
    const QString italicKey = keyText(QKeySequence(Qt::CTRL | Qt::Key_I));
    const QString linkKey = keyText(QKeySequence(Qt::CTRL | Qt::Key_K));
    return QStringLiteral(
        "# Welcome to Tackpad 👋\n\nThis note is a plain **Markdown** file in the folder you just chose – open it "
        "in any text editor and changes appear here instantly (and vice versa).\n\n- Drag the title bar to move "
        "a note\n- **Double-click** the title bar to roll it up\n- Double-click the note's *name* to rename it\n- "
        "Right-click for colors, **Float on Top**, text size and more\n- %1 makes a new note, %2 deletes the "
        "current one\n- %3 bold, %4 italic, %5 adds a [link](https://commonmark.org/help/)\n- [ ] Try ticking "
        "this checkbox\n- [x] Render `code`, ==highlights== and ~~strikethrough~~\n\n> A note's position, size "
        "and color live in its frontmatter, so your layout travels with your files.")
        .arg(newKey, closeKey, boldKey, italicKey, linkKey);
}

QString WorkspaceSession::allHiddenToastText()
{
    return QCoreApplication::translate(
        "WorkspaceSession", "All notes in this workspace are hidden – press %1 or use Window → Hidden Notes… to unhide")
        .arg(keyText(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_BracketLeft)));
}
