#include "editor/HiddenFont.h"

#include <QFontDatabase>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcHiddenFont, "tackpad.editor.font")

// The resource lives in a static library: nothing references its object file, so it must be pulled in by name.
static void initEditorResources()
{
    Q_INIT_RESOURCE(editor_resources);
}

namespace HiddenFont {

QString family()
{
    static const QString name = [] {
        initEditorResources();
        const int id = QFontDatabase::addApplicationFont(QStringLiteral(":/tackpad/editor/TackpadHidden.ttf"));
        const QStringList families = QFontDatabase::applicationFontFamilies(id);
        if (families.isEmpty()) {
            // Without it markers would show as ordinary text; the editor still works.
            qCWarning(lcHiddenFont) << "TackPad: the hidden-marker font could not be registered";
            return QStringLiteral("Tackpad Hidden");
        }
        return families.first();
    }();
    return name;
}

QFont font(qreal pointSize)
{
    QFont hidden(family());
    hidden.setPointSizeF(pointSize);
    hidden.setWeight(QFont::Normal);
    hidden.setItalic(false);
    // Synthetic bold or italic could give glyphs an advance; and merging would let another font draw them.
    hidden.setStyleStrategy(QFont::StyleStrategy(QFont::NoFontMerging | QFont::PreferMatch));
    return hidden;
}

} // namespace HiddenFont
