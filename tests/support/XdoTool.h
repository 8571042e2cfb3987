#pragma once

#include <QPoint>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
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

inline bool pressKeys(const QString &keys)
{
    return xdotool({QStringLiteral("key"), keys});
}

// With a pause between the keys, as a person types: without one, X drops some of them under load.
inline bool typeText(const QString &text)
{
    return xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("20"), text});
}

inline bool movePointer(QPoint to)
{
    return xdotool({QStringLiteral("mousemove"), QString::number(to.x()), QString::number(to.y())});
}

inline bool clickAt(QPoint at)
{
    return movePointer(at) && xdotool({QStringLiteral("click"), QStringLiteral("1")});
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
    const QString checkWindow
        = xprop({QStringLiteral("-root"), QStringLiteral("-notype"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")})
              .section(QLatin1Char('#'), 1)
              .trimmed();
    return !checkWindow.isEmpty()
        && xprop({QStringLiteral("-id"), checkWindow, QStringLiteral("_NET_WM_NAME")}).contains(QLatin1String("= \""));
}

// The main of a test on the X server of scripts/headless --x11: without a display it reports itself skipped (77).
#define TACKPAD_X11_TEST_MAIN(TestClass, ApplicationClass)                                                             \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        if (qEnvironmentVariableIsEmpty("DISPLAY"))                                                                    \
            return 77;                                                                                                 \
        qputenv("QT_QPA_PLATFORM", "xcb");                                                                             \
        QStandardPaths::setTestModeEnabled(true);                                                                      \
        ApplicationClass app(argc, argv);                                                                              \
        TestClass test;                                                                                                \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }
