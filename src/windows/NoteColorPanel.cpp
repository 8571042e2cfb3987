#include "windows/NoteColorPanel.h"

#include "windows/DialogStacking.h"

#include <QColorDialog>

NoteColorPanel::NoteColorPanel(QObject *parent)
    : QObject(parent)
{
}

NoteColorPanel::~NoteColorPanel() = default;

QColorDialog &NoteColorPanel::dialog()
{
    // Made on first use: most sessions never open it, and a colour dialog is slow to build.
    if (!m_dialog) {
        m_dialog = std::make_unique<QColorDialog>();
        m_dialog->setOption(QColorDialog::ShowAlphaChannel, false);
        m_dialog->setOption(QColorDialog::NoButtons, true);
        m_dialog->setWindowTitle(tr("Note Color"));
        // A panel left open must not keep the application alive, nor end it when it closes.
        m_dialog->setAttribute(Qt::WA_QuitOnClose, false);
        DialogStacking::keepAboveFloatingNotes(m_dialog.get());
    }
    return *m_dialog;
}

void NoteColorPanel::open(QObject *note, const QColor &color, std::function<void(const QColor &)> picked)
{
    QColorDialog &panel = dialog();
    disconnect(m_picks);
    m_note = note;
    // Setting the start colour would report it as a pick: connect afterwards.
    panel.setCurrentColor(color);
    m_picks = connect(&panel, &QColorDialog::currentColorChanged, note, std::move(picked));
    panel.show();
    panel.raise();
    panel.activateWindow();
}

void NoteColorPanel::release(const QObject *note)
{
    if (!m_note || m_note != note)
        return;
    disconnect(m_picks);
    m_note = nullptr;
    if (m_dialog)
        m_dialog->close();
}
