#include "windows/NoteMenu.h"

#include "notes/NotePalette.h"
#include "store/NoteStore.h"
#include "windows/NoteWindowController.h"

#include <QIcon>
#include <QMenu>
#include <QPixmap>

namespace NoteMenu {

namespace {

QIcon themed(std::initializer_list<const char *> names)
{
    for (const char *name : names) {
        const QIcon icon = QIcon::fromTheme(QString::fromLatin1(name));
        if (!icon.isNull())
            return icon;
    }
    return {};
}

QIcon swatchIcon(const QString &hex)
{
    return QIcon(QPixmap::fromImage(NotePalette::swatch(hex, 2.0)));
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
    QAction *usePrompt = addItem(menu, QStringLiteral("Use as AI Prompt"), themed({"tools-wizard", "help-hint"}),
        [&controller] { controller.togglePrompt(); });
    usePrompt->setCheckable(true);
    usePrompt->setChecked(note.meta.isPrompt);

    const auto prompts = controller.store().promptControllers();
    if (prompts.empty())
        return;
    QMenu *apply = menu->addMenu(themed({"tools-wizard", "help-hint"}), QStringLiteral("Apply AI Prompt"));
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
    QMenu *colors = menu->addMenu(themed({"color-management", "preferences-desktop-color"}), QStringLiteral("Color"));
    for (const auto &preset : NotePalette::colors) {
        const QString hex = QString::fromLatin1(preset.hex);
        QAction *item = addItem(colors, QString::fromLatin1(preset.name),
            swatchIcon(NotePalette::displayHex(hex, darkMode)), [&controller, hex] { controller.setNoteColor(hex); });
        item->setData(hex);
        item->setCheckable(true);
        item->setChecked(hex.compare(meta.color, Qt::CaseInsensitive) == 0);
        item->setEnabled(!meta.isPrompt); // a prompt note is always white
    }
    colors->addSeparator();
    QAction *custom = addItem(colors, QStringLiteral("Custom…"),
        swatchIcon(NotePalette::displayHex(meta.color, darkMode)), [&controller] { controller.pickCustomColor(); });
    custom->setCheckable(true);
    custom->setChecked(!NotePalette::isPreset(meta.color));
    custom->setEnabled(!meta.isPrompt);
}

} // namespace

void addNoteItems(QMenu *menu, NoteWindowController &controller, const QString &revealTitle)
{
    const NoteMetadata &meta = controller.note().meta;

    addItem(menu, meta.rolledUp ? QStringLiteral("Unroll") : QStringLiteral("Roll Up"),
        themed({meta.rolledUp ? "go-down" : "go-up"}), [&controller] { controller.toggleRolled(); });
    QAction *floatItem = addItem(menu, QStringLiteral("Float on Top"), themed({"window-pin", "pin"}),
        [&controller] { controller.toggleFloat(); });
    floatItem->setCheckable(true);
    floatItem->setChecked(meta.floatOnTop);
    addItem(
        menu, QStringLiteral("Hide Note"), themed({"view-hidden", "hint"}), [&controller] { controller.hideNote(); });
    addPromptItems(menu, controller);
    if (controller.aiRequestInFlight())
        addItem(menu, QStringLiteral("Cancel AI Request"), themed({"process-stop"}),
            [&controller] { controller.cancelAiRequest(); });
    addColorItems(menu, controller);
    addItem(menu, QStringLiteral("Bigger Text"), themed({"zoom-in", "format-font-size-more"}),
        [&controller] { controller.biggerFont(); });
    addItem(menu, QStringLiteral("Smaller Text"), themed({"zoom-out", "format-font-size-less"}),
        [&controller] { controller.smallerFont(); });
    menu->addSeparator();
    addItem(menu, QStringLiteral("Rename…"), themed({"edit-rename", "document-edit"}),
        [&controller] { controller.renameNote(); });
    addItem(menu, revealTitle, themed({"system-file-manager", "folder-open"}),
        [&controller] { controller.revealInFileManager(); });
    addItem(menu, meta.adopt ? QStringLiteral("Close Note") : QStringLiteral("Delete Note…"),
        themed({meta.adopt ? "window-close" : "edit-delete"}), [&controller] { controller.deleteNote(); });
    addItem(
        menu, QStringLiteral("Duplicate Note"), themed({"edit-copy"}), [&controller] { controller.duplicateNote(); });
}

} // namespace NoteMenu
