#pragma once

#include <QProcess>
#include <QSignalSpy>
#include <QStringList>
#include <QTest>

// Runs xdotool to the end without blocking the test's event loop, so that the application under test sees each
// step (a press, a move, a release) as it happens. True when xdotool succeeded.
inline bool xdotool(const QStringList &arguments, int timeoutMs = 60000)
{
    QProcess process;
    QSignalSpy finished(&process, &QProcess::finished);
    process.start(QStringLiteral("xdotool"), arguments);
    return finished.wait(timeoutMs) && process.exitCode() == 0;
}

// True while a window manager runs on the display. The check window it advertises on the root window must still
// carry its name: a window manager that died leaves the root window's property behind.
inline bool windowManagerRunning()
{
    const auto xprop = [](const QStringList &arguments) {
        QProcess process;
        process.start(QStringLiteral("xprop"), arguments);
        return process.waitForFinished(10000) ? QString::fromUtf8(process.readAllStandardOutput()) : QString();
    };
    const QString checkWindow =
        xprop({QStringLiteral("-root"), QStringLiteral("-notype"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")})
            .section(QLatin1Char('#'), 1)
            .trimmed();
    return !checkWindow.isEmpty()
           && xprop({QStringLiteral("-id"), checkWindow, QStringLiteral("_NET_WM_NAME")}).contains(QLatin1String("= \""));
}

// Tests that need the window manager (activating, closing) say so plainly when it is missing, instead of timing out.
#define TACKPAD_REQUIRE_WINDOW_MANAGER()                                                                             \
    QVERIFY2(QTest::qWaitFor(windowManagerRunning, 30000),                                                           \
             "no window manager runs on this display (scripts/headless --x11 starts openbox)")
