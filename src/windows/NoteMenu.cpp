#include "windows/NoteMenu.h"

#include "notes/NotePalette.h"
#include "store/NoteStore.h"
#include "windows/NoteMenuIcons.h"
#include "windows/NoteWindowController.h"

#include <QCoreApplication>
#include <QIcon>
#include <QMenu>
#include <QPainter>
#include <QPixmap>

namespace NoteMenu {

namespace {

QIcon symbol(const QMenu *menu, const char *bundled, std::initializer_list<const char *> themeNames)
{
    return NoteMenuIcons::icon(bundled, themeNames, menu->palette());
}

QIcon swatchIcon(const QString &displayHex, bool current)
{
    QImage swatch = NotePalette::swatch(displayHex, 2.0);
    if (current) {
        // The colour in use carries a check mark on its own swatch: a menu style's check box beside an icon is
        // easily missed, or not drawn at all.
        const bool light = NotePalette::usesLightForeground(QColor(displayHex));
        QPainter painter(&swatch);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(light ? QColor(Qt::white) : QColor::fromRgbF(0.12f, 0.12f, 0.12f), 1.7, Qt::SolidLine,
            Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(QPolygonF {{3.6, 7.4}, {6.0, 9.8}, {10.6, 4.4}});
    }
    return QIcon(QPixmap::fromImage(swatch));
}

QAction *addItem(QMenu *menu, const QString &title, const QIcon &icon, std::function<void()> action)
{
    QAction *item = menu->addAction(icon, title);
    QObject::connect(item, &QAction::triggered, menu, std::move(action));
    return item;
}

void addPromptItems(QMenu *menu, NoteWindowController &controller)
{
    const Note &note = controller.note();
    const QIcon sparkles = symbol(menu, "sparkles", {"tools-wizard", "help-hint"});
    QAction *usePrompt = addItem(menu, QCoreApplication::translate("NoteMenu", "Use as AI Prompt"), sparkles,
        [&controller] { controller.togglePrompt(); });
    usePrompt->setCheckable(true);
    usePrompt->setChecked(note.meta.isPrompt);

    const auto prompts = controller.store().promptControllers();
    if (prompts.empty())
        return;
    QMenu *apply = menu->addMenu(sparkles, QCoreApplication::translate("NoteMenu", "Apply AI Prompt"));
    for (NoteController *prompt : prompts) {
        const QString filename = prompt->note().filename;
        QAction *item
            = addItem(apply, prompt->note().title(), {}, [&controller, filename] { controller.applyPrompt(filename); });
        item->setData(filename);
        // A note cannot be its own prompt, and one request at a time per note.
        item->setEnabled(!controller.aiRequestInFlight() && filename != note.filename);
    }
}

void addColorItems(QMenu *menu, NoteWindowController &controller)
{
    const NoteMetadata &meta = controller.note().meta;
    const bool darkMode = controller.store().settings().darkMode();
    QMenu *colors = menu->addMenu(symbol(menu, "palette", {"color-management", "preferences-desktop-color"}),
        QCoreApplication::translate("NoteMenu", "Color"));
    for (const auto &preset : NotePalette::colors) {
        const QString hex = QString::fromLatin1(preset.hex);
        const bool current = hex.compare(meta.color, Qt::CaseInsensitive) == 0;
        QAction *item = addItem(colors, QCoreApplication::translate("NotePalette", preset.name),
            swatchIcon(NotePalette::displayHex(hex, darkMode), current),
            [&controller, hex] { controller.setNoteColor(hex); });
        item->setData(hex);
        item->setCheckable(true);
        item->setChecked(current);
        item->setEnabled(!meta.isPrompt); // a prompt note is always white
    }
    colors->addSeparator();
    const bool custom = !NotePalette::isPreset(meta.color);
    QAction *customItem = addItem(colors, QCoreApplication::translate("NoteMenu", "Custom…"),
        swatchIcon(NotePalette::displayHex(meta.color, darkMode), custom),
        [&controller] { controller.pickCustomColor(); });
    customItem->setCheckable(true);
    customItem->setChecked(custom);
    customItem->setEnabled(!meta.isPrompt);
}

} // namespace

void addNoteItems(QMenu *menu, NoteWindowController &controller, const QString &revealTitle)
{
    const NoteMetadata &meta = controller.note().meta;

    addItem(menu,
        meta.rolledUp ? QCoreApplication::translate("NoteMenu", "Unroll")
                      : QCoreApplication::translate("NoteMenu", "Roll Up"),
        meta.rolledUp ? symbol(menu, "unroll", {"go-down"}) : symbol(menu, "roll-up", {"go-up"}),
        [&controller] { controller.toggleRolled(); });
    QAction *floatItem = addItem(menu, QCoreApplication::translate("NoteMenu", "Float on Top"),
        symbol(menu, "pin", {"window-pin", "pin"}), [&controller] { controller.toggleFloat(); });
    floatItem->setCheckable(true);
    floatItem->setChecked(meta.floatOnTop);
    addItem(menu, QCoreApplication::translate("NoteMenu", "Hide Note"), symbol(menu, "hide", {"view-hidden", "hint"}),
        [&controller] { controller.hideNote(); });
    addPromptItems(menu, controller);
    if (controller.aiRequestInFlight())
        addItem(menu, QCoreApplication::translate("NoteMenu", "Cancel AI Request"),
            symbol(menu, "stop", {"process-stop"}), [&controller] { controller.cancelAiRequest(); });
    addColorItems(menu, controller);
    addItem(menu, QCoreApplication::translate("NoteMenu", "Bigger Text"),
        symbol(menu, "text-bigger", {"zoom-in", "format-font-size-more"}), [&controller] { controller.biggerFont(); });
    addItem(menu, QCoreApplication::translate("NoteMenu", "Smaller Text"),
        symbol(menu, "text-smaller", {"zoom-out", "format-font-size-less"}),
        [&controller] { controller.smallerFont(); });
    menu->addSeparator();
    addItem(menu, QCoreApplication::translate("NoteMenu", "Rename…"),
        symbol(menu, "rename", {"edit-rename", "document-edit"}), [&controller] { controller.renameNote(); });
    addItem(menu, revealTitle, symbol(menu, "reveal", {"system-file-manager", "folder-open"}),
        [&controller] { controller.revealInFileManager(); });
    addItem(menu,
        meta.adopt ? QCoreApplication::translate("NoteMenu", "Close Note")
                   : QCoreApplication::translate("NoteMenu", "Delete Note…"),
        meta.adopt ? symbol(menu, "stop", {"window-close"}) : symbol(menu, "delete", {"edit-delete"}),
        [&controller] { controller.deleteNote(); });
    addItem(menu, QCoreApplication::translate("NoteMenu", "Duplicate Note"), symbol(menu, "duplicate", {"edit-copy"}),
        [&controller] { controller.duplicateNote(); });
}

} // namespace NoteMenu
