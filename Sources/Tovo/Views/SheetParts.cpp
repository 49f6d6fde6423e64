#include "Tovo/Views/SheetParts.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/DetailText.hpp"

#include <QBoxLayout>
#include <QLabel>

namespace tovo::SheetParts {

QLabel* secondaryText(const QString& text, QWidget* parent) {
    auto* label = new QLabel(parent);
    QtText::setWrappedText(label, text);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText,
                     TovoTheme::textColor(TextColor::secondary, parent->palette()));
    label->setPalette(palette);
    return label;
}

QLabel* symbolLine(QBoxLayout* layout, const std::string& symbol, const QColor& tint,
                   const QString& text, QWidget* parent) {
    auto* row = new QHBoxLayout();
    row->setSpacing(8);
    auto* icon = new QLabel(parent);
    icon->setFixedSize(16, 16);
    icon->setPixmap(SymbolImage::pixmap(symbol, 16, tint, parent->devicePixelRatioF()));
    row->addWidget(icon, 0, Qt::AlignTop);
    auto* label = new QLabel(parent);
    QtText::setWrappedText(label, text);
    row->addWidget(label, 1);
    layout->addLayout(row);
    return label;
}

QWidget* detailLines(const std::vector<std::string>& lines, QWidget* parent) {
    return new DetailText(lines, parent);
}

} // namespace tovo::SheetParts
