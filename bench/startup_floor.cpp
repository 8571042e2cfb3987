// The floor bench_startup measures the application against: the least a program can do to show a folder of notes,
// one frameless QTextEdit window per Markdown file, at the frame its property line gives, with the file's text
// (front matter left out) as plain text. No styling, no title bar, no watching, no saving.
//
// Usage: startup_floor FOLDER

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QScreen>
#include <QTextEdit>

#include <memory>
#include <vector>

namespace {

struct Shown {
    QRect frame;
    QString text;
};

// The frame in the files' bottom-up convention (y is the bottom edge), turned into the screen's top-down one.
Shown read(const QString &path, int screenHeight)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString content = QString::fromUtf8(file.readAll());
    static const QRegularExpression frame(QStringLiteral(R"(tackpad: "x(-?\d+) y(-?\d+) w(\d+) h(\d+))"));
    const QRegularExpressionMatch match = frame.match(content);
    const int w = match.hasMatch() ? match.captured(3).toInt() : 270;
    const int h = match.hasMatch() ? match.captured(4).toInt() : 260;
    const int x = match.captured(1).toInt();
    const int y = screenHeight - match.captured(2).toInt() - h;
    qsizetype bodyStart = 0;
    if (content.startsWith(QLatin1String("---\n"))) {
        const qsizetype end = content.indexOf(QLatin1String("\n---\n"), 3);
        bodyStart = end < 0 ? 0 : end + 5;
    }
    return {QRect(x, y, w, h), content.mid(bodyStart)};
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    if (argc < 2)
        return 2;
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    const int screenHeight = QGuiApplication::primaryScreen()->geometry().height();
    std::vector<std::unique_ptr<QTextEdit>> windows;
    for (const QString &name : folder.entryList({QStringLiteral("*.md")}, QDir::Files)) {
        const Shown note = read(folder.filePath(name), screenHeight);
        auto edit = std::make_unique<QTextEdit>();
        edit->setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
        edit->setAttribute(Qt::WA_ShowWithoutActivating);
        edit->setGeometry(note.frame);
        edit->setPlainText(note.text);
        edit->show();
        windows.push_back(std::move(edit));
    }
    return app.exec();
}
