#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM, SIGINT and SIGHUP into an orderly quit. A desktop session that logs out, `kill`, or Ctrl+C in a
// terminal would otherwise end the process on the spot, and edits still waiting for their save would be lost; this
// way the application quits through its event loop, which writes every pending save first.
class QuitSignalHandler : public QObject {
    Q_OBJECT

public:
    explicit QuitSignalHandler(QObject *parent = nullptr);
    ~QuitSignalHandler() override;

    bool isInstalled() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void quitRequested(int signalNumber);

private:
    void readSignal();

    QSocketNotifier *m_notifier = nullptr;
};
