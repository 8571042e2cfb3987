#include "windows/NoteWindows.h"

#include "store/NoteStore.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"

#include <QApplication>

NoteWindows::NoteWindows(QObject *parent)
    : QObject(parent)
{
    m_environment.colorPanel = &m_colorPanel;
}

NoteWindows::~NoteWindows() = default;

void NoteWindows::attach(NoteStore &store)
{
    store.setControllerFactory(
        [this](std::unique_ptr<Note> note, NoteStore &owner, const QString &raw) -> std::unique_ptr<NoteController> {
            auto window = std::make_unique<NoteWindowController>(std::move(note), owner, raw, m_environment);
            NoteWindowController *made = window.get();
            m_windows.insert(made, made);
            // The store deletes its controllers; a window that is gone must not be found any more.
            connect(made, &QObject::destroyed, this, &NoteWindows::forget);
            // A note makes its window when it is first shown, a hidden one maybe never.
            connect(made, &NoteWindowController::windowBuilt, this, [this, made] { Q_EMIT windowCreated(made); });
            return window;
        });
}

NoteWindowController *NoteWindows::windowOf(const NoteController *note) const
{
    return m_windows.value(note);
}

std::vector<NoteWindowController *> NoteWindows::all() const
{
    return {m_windows.cbegin(), m_windows.cend()};
}

NoteWindowController *NoteWindows::active() const
{
    const QWidget *active = QApplication::activeWindow();
    if (!active)
        return nullptr;
    for (NoteWindowController *window : m_windows) {
        if (window->window() == active)
            return window;
    }
    return nullptr;
}

void NoteWindows::forget(QObject *controller)
{
    m_windows.remove(controller);
}
