#include "windows/NoteMenuIcons.h"

#include <QHash>
#include <QImageReader>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

// Outside any namespace, as Q_INIT_RESOURCE requires: the icons live in a static library, whose resources are
// registered only when asked for.
static void initNoteMenuIconResources()
{
    Q_INIT_RESOURCE(note_menu_icons);
}

namespace NoteMenuIcons {

namespace {

QPixmap tinted(const QString &path, int pixels, const QColor &color)
{
    QImageReader reader(path);
    reader.setScaledSize(QSize(pixels, pixels));
    QImage image = reader.read().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};
    // The icons are drawn in black: the colour is laid over what they cover, keeping their edges' coverage.
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), color);
    painter.end();
    return QPixmap::fromImage(image);
}

QIcon render(const QString &path, const QPalette &palette)
{
    const QList<QPair<QIcon::Mode, QColor>> modes {
        {QIcon::Normal, palette.color(QPalette::Active, QPalette::WindowText)},
        {QIcon::Active, palette.color(QPalette::Active, QPalette::HighlightedText)},
        {QIcon::Selected, palette.color(QPalette::Active, QPalette::HighlightedText)},
        {QIcon::Disabled, palette.color(QPalette::Disabled, QPalette::WindowText)},
    };
    QIcon icon;
    // Menus ask for 16 pixels, or twice that on a high-density screen; the sizes between serve larger styles.
    for (const int pixels : {16, 24, 32, 48}) {
        for (const auto &[mode, color] : modes)
            icon.addPixmap(tinted(path, pixels, color), mode);
    }
    return icon;
}

} // namespace

QIcon bundledIcon(const char *bundled, const QPalette &menuPalette)
{
    static bool resourcesReady = (initNoteMenuIconResources(), true);
    Q_UNUSED(resourcesReady);
    // Menus are built each time they open: the icons are drawn once per name and set of colours.
    static QHash<QString, QIcon> cache;
    const QString path = QStringLiteral(":/note-menu/%1.svg").arg(QLatin1String(bundled));
    const QString key = path + menuPalette.color(QPalette::Active, QPalette::WindowText).name(QColor::HexArgb)
        + menuPalette.color(QPalette::Active, QPalette::HighlightedText).name(QColor::HexArgb)
        + menuPalette.color(QPalette::Disabled, QPalette::WindowText).name(QColor::HexArgb);
    auto found = cache.constFind(key);
    if (found == cache.constEnd())
        found = cache.insert(key, render(path, menuPalette));
    return *found;
}

QIcon icon(const char *bundled, std::initializer_list<const char *> themeNames, const QPalette &menuPalette)
{
    for (const char *name : themeNames) {
        const QIcon themed = QIcon::fromTheme(QString::fromLatin1(name));
        if (!themed.isNull())
            return themed;
    }
    return bundledIcon(bundled, menuPalette);
}

} // namespace NoteMenuIcons
