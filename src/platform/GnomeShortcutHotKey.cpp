#include "platform/GnomeShortcutHotKey.h"

#include "platform/GnomeCustomShortcut.h"
#include "platform/PlatformLog.h"

bool GnomeShortcutHotKey::isOffered()
{
    return GnomeCustomShortcut::isOffered();
}

GnomeShortcutHotKey::GnomeShortcutHotKey(const QString &program, QObject *parent)
    : GlobalHotKey(parent)
    , m_shortcut(std::make_unique<GnomeCustomShortcut>())
    , m_command(GnomeCustomShortcut::commandFor(program))
{
}

GnomeShortcutHotKey::~GnomeShortcutHotKey() = default;

void GnomeShortcutHotKey::registerHotKey()
{
    if (isRegistered())
        return;
    if (!m_shortcut->isInstalled() && !m_consented) {
        fail(tr("Tackpad can add %1 to GNOME's keyboard shortcuts: with this option on, it asks when you click "
                "Done.")
                 .arg(keyText()));
        return;
    }
    if (!m_shortcut->isInstalled()) {
        const QString holder = m_shortcut->bindingTakenBy();
        if (!holder.isEmpty()) {
            fail(tr("Your GNOME keyboard shortcut “%1” already uses %2, so Tackpad did not add another.")
                     .arg(holder, keyText()));
            return;
        }
    }
    // Also when it is there already: the command follows this binary if Tackpad was moved or reinstalled, and a
    // key the user chose in GNOME's settings stays.
    if (!m_shortcut->install(m_command)) {
        qCWarning(lcPlatform).noquote() << "TackPad: could not add the GNOME keyboard shortcut:"
                                        << m_shortcut->errorString();
        fail(tr("GNOME's keyboard settings could not be changed: %1").arg(m_shortcut->errorString()) + u' '
            + commandLineAdvice());
        return;
    }
    m_problem.clear();
    setRegistered(true);
}

void GnomeShortcutHotKey::unregisterHotKey()
{
    m_consented = false;
    if (m_shortcut->isInstalled() && !m_shortcut->remove())
        qCWarning(lcPlatform).noquote() << "TackPad: could not remove the GNOME keyboard shortcut:"
                                        << m_shortcut->errorString();
    setRegistered(false);
}

QString GnomeShortcutHotKey::description() const
{
    if (!m_problem.isEmpty())
        return m_problem;
    if (!isRegistered())
        return tr("Tackpad can add %1 to GNOME's keyboard shortcuts.").arg(keyText());
    return activeDescription(m_shortcut->binding()) + u' '
        + tr("It is a custom shortcut in GNOME's keyboard settings, where you can change the key.");
}

QString GnomeShortcutHotKey::consentQuestion() const
{
    if (m_shortcut->isInstalled())
        return {};
    return tr("GNOME does not let applications listen for keys themselves. Tackpad can add %1 as a custom shortcut "
              "to GNOME's keyboard settings, running “tackpad --new-note”. Add it?")
        .arg(keyText());
}

void GnomeShortcutHotKey::fail(const QString &problem)
{
    m_problem = problem;
    reportFailure();
}
