#pragma once

// What the tests of note windows share: a temporary workspace whose notes open in real windows.

#include "support/StoreTestSupport.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"
#include "windows/NoteWindows.h"

#include <QMenu>

// The action with this text in a menu or its submenus.
inline QAction *findAction(QMenu *menu, const QString &text)
{
    for (QAction *action : menu->actions()) {
        if (action->text() == text)
            return action;
        if (QAction *inner = action->menu() ? findAction(action->menu(), text) : nullptr)
            return inner;
    }
    return nullptr;
}

namespace WindowTest {

struct WindowedWorkspace : StoreTest::Workspace {
    explicit WindowedWorkspace(NoteWindowEnvironment environment = {})
    {
        if (!environment.alerts)
            environment.alerts = &alerts;
        environment.colorPanel = windows.environment().colorPanel;
        windows.environment() = environment;
        store = std::make_unique<NoteStore>(folder, config);
        store->setAlertPresenter(&alerts);
        windows.attach(*store);
    }
    // The windows go before the store does, as in the application.
    ~WindowedWorkspace() { store->shutdown(); }

    NoteWindowController *controller(const QString &name) const { return windows.windowOf(store->controller(name)); }

    // Writes a note with these property tokens and lets the store open its window. A shown window is waited for
    // until it has been exposed: before that, its moves are the window system placing it, not the user.
    NoteWindowController *openNote(const QString &name, const QString &tokens, const QString &body = u"hi"_qs)
    {
        writeInPlace(path(name), StoreTest::noteText(tokens, body));
        store->rescan();
        NoteWindowController *opened = controller(name);
        if (opened && opened->window()->isVisible()
            && !QTest::qWaitFor([opened] { return opened->window()->exposedSinceShown(); }))
            return nullptr;
        return opened;
    }

    // The property line of a note's file, once every pending save is written.
    QString propertyLine(const QString &name) const
    {
        store->flushAllSaves();
        return readFile(path(name)).section(QLatin1Char('\n'), 1, 1);
    }

    NoteWindows windows;
};

} // namespace WindowTest
