#pragma once

#include <QProcess>
#include <QSignalSpy>
#include <QStringList>

// Runs xdotool to the end without blocking the test's event loop, so that the application under test sees each
// step (a press, a move, a release) as it happens. True when xdotool succeeded.
inline bool xdotool(const QStringList &arguments, int timeoutMs = 60000)
{
    QProcess process;
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(QStringLiteral("xdotool"), arguments);
    return finished.wait(timeoutMs) && process.exitCode() == 0;
}
