#pragma once

#include <QColor>
#include <QString>

#include <string>
#include <vector>

class QBoxLayout;
class QLabel;
class QToolButton;
class QWidget;

namespace tovo::SheetParts {

/// A wrapped label in the secondary text colour.
QLabel* secondaryText(const QString& text, QWidget* parent);
/// A symbol beside wrapped text, added to `layout`.
QLabel* symbolLine(QBoxLayout* layout, const std::string& symbol, const QColor& tint,
                   const QString& text, QWidget* parent);
/// A disclosure arrow that shows `lines` under it, its name switching between the
/// show and hide labels.
QToolButton* disclosure(QBoxLayout* layout, const std::string& showLabel,
                        const std::string& hideLabel, const std::vector<std::string>& lines,
                        QWidget* parent);

} // namespace tovo::SheetParts
