#pragma once

#include <QColor>
#include <QString>

#include <string>
#include <vector>

class QBoxLayout;
class QLabel;
class QWidget;

namespace tovo::SheetParts {

/// A wrapped label in the secondary text colour.
QLabel* secondaryText(const QString& text, QWidget* parent);
/// A symbol beside wrapped text, added to `layout`.
QLabel* symbolLine(QBoxLayout* layout, const std::string& symbol, const QColor& tint,
                   const QString& text, QWidget* parent);
/// Open files and other facts, one per line in the caption font, selectable so a
/// path can be copied.
QWidget* detailLines(const std::vector<std::string>& lines, QWidget* parent);

} // namespace tovo::SheetParts
