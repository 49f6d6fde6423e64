#include "Tovo/Views/SheetParts.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"

#include <QBoxLayout>
#include <QLabel>
#include <QToolButton>

namespace tovo::SheetParts {

QLabel* secondaryText(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
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
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    row->addWidget(label, 1);
    layout->addLayout(row);
    return label;
}

QToolButton* disclosure(QBoxLayout* layout, const std::string& showLabel,
                        const std::string& hideLabel, const std::vector<std::string>& lines,
                        QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setAutoRaise(true);
    button->setCheckable(true);
    button->setArrowType(Qt::RightArrow);
    button->setAccessibleName(QString::fromStdString(showLabel));
    button->setToolTip(QString::fromStdString(showLabel));
    auto* details = new QWidget(parent);
    auto* column = new QVBoxLayout(details);
    column->setContentsMargins(24, 0, 0, 0);
    column->setSpacing(2);
    const QFont caption = TovoTheme::captionFont(parent->font());
    for (const std::string& line : lines) {
        auto* label = secondaryText(QString::fromStdString(line), details);
        label->setFont(caption);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        column->addWidget(label);
    }
    details->hide();
    QObject::connect(button, &QToolButton::toggled, details,
                     [button, details, showLabel, hideLabel](bool on) {
                         const QString label = QString::fromStdString(on ? hideLabel : showLabel);
                         button->setArrowType(on ? Qt::DownArrow : Qt::RightArrow);
                         button->setAccessibleName(label);
                         button->setToolTip(label);
                         details->setVisible(on);
                     });
    layout->addWidget(details);
    return button;
}

} // namespace tovo::SheetParts
