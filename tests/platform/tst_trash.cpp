#include "platform/Trash.h"
#include "support/StoreTestSupport.h"
#include "support/TextFiles.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QUrl>

// A trashed note must come back under its own name: file managers restore from the Path= line of its .trashinfo
// record, which they decode as a URL.
class TestTrash : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void recordRestoresTheOriginalName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("percent sign that decodes to a letter") << QStringLiteral("a%41b.md");
        QTest::newRow("spaces") << QStringLiteral("my first note.md");
        QTest::newRow("non-ASCII letters") << QStringLiteral("Grüße aus Köln.md");
        QTest::newRow("all of them, and a hash") << QStringLiteral("50% #1 café.md");
    }

    void recordRestoresTheOriginalName()
    {
        QFETCH(QString, name);
        StoreTest::TemporaryHome home;
        const QString folder = home.dir.filePath(QStringLiteral("Notes"));
        QVERIFY(QDir().mkpath(folder));
        const QString original = folder + u'/' + name;
        writeInPlace(original, "text\n");

        QString error;
        QVERIFY2(Trash::moveToTrash(original, &error), qPrintable(error));
        QFile info(home.dir.filePath(QStringLiteral(".local/share/Trash/info/%1.trashinfo").arg(name)));
        QVERIFY(info.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = info.readAll().split('\n');
        QCOMPARE(lines.value(0), QByteArray("[Trash Info]"));
        const QByteArray path = lines.value(1);
        QVERIFY2(path.startsWith("Path="), path.constData());
        // Only characters a URL may hold, and decoded it is the note's place.
        const QByteArray value = path.mid(5);
        QCOMPARE(value, QUrl::toPercentEncoding(QString::fromUtf8(QByteArray::fromPercentEncoding(value)), "/"));
        QCOMPARE(QString::fromUtf8(QByteArray::fromPercentEncoding(value)), original);
        QVERIFY(lines.value(2).startsWith("DeletionDate="));
    }
};

QTEST_GUILESS_MAIN(TestTrash)
#include "tst_trash.moc"
