#pragma once

#include <QColor>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class QColorDialog;

// The colour picker behind every note's "Color → Custom…". One panel serves all notes, as a desktop's colour panel
// does: it edits, live, the colour of the note that opened it last, and closes with that note's window.
class NoteColorPanel : public QObject {
    Q_OBJECT

public:
    explicit NoteColorPanel(QObject *parent = nullptr);
    ~NoteColorPanel() override;

    // Shows the panel on `color` for `note`; every colour the user then picks goes to `picked`, until another note
    // opens the panel or `note` is gone.
    void open(QObject *note, const QColor &color, std::function<void(const QColor &)> picked);
    // Closes the panel if `note` opened it last.
    void release(const QObject *note);
    // The note the panel works for, if it is open.
    const QObject *note() const { return m_note.data(); }

private:
    QColorDialog &dialog();

    std::unique_ptr<QColorDialog> m_dialog;
    QPointer<QObject> m_note;
    QMetaObject::Connection m_picks;
};
