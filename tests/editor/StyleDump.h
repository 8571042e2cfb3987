#pragma once

#include "editor/MarkdownStyler.h"

#include <QString>

// A readable dump of the styler's results for golden files: one paragraph after another, each with its paragraph
// style, its runs (range, text, roles) as styled with the caret elsewhere and, when they differ, with the caret on
// it, then its links and checkboxes.
namespace StyleDump {

QString dump(const QString &markdown);

} // namespace StyleDump
