#pragma once

#include <QIcon>

#include <initializer_list>

class QPalette;

// The note menu's icons. The desktop's icon theme gives them where it has them; otherwise a bundled symbolic icon
// (an outline in one colour) is drawn in the menu's own text colours, so that it reads on light and dark menus
// alike, turns with the text when its item is highlighted, and greys out with a disabled item.
namespace NoteMenuIcons {

// `bundled` names an icon of the bundle ("pin", "roll-up", …); `themeNames` are the theme's names to try first.
QIcon icon(const char *bundled, std::initializer_list<const char *> themeNames, const QPalette &menuPalette);
// The bundled icon alone, whatever the theme has.
QIcon bundledIcon(const char *bundled, const QPalette &menuPalette);

} // namespace NoteMenuIcons
