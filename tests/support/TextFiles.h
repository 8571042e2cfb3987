#pragma once

// Reading and writing whole files in tests that need nothing more of a workspace.

#include <QFile>
#include <QString>
#include <QTest>

inline QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("<unreadable>");
}

inline QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Writes as other programs do: in place (truncate and write), which is also what `echo x > file` does.
inline void writeInPlace(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(file.errorString()));
    QCOMPARE(file.write(bytes), bytes.size());
}

inline void writeFile(const QString &path, const QString &text)
{
    writeInPlace(path, text.toUtf8());
}
