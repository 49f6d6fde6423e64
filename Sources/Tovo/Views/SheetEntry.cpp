#include "Tovo/Views/SheetEntry.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/DisclosureButton.hpp"
#include "Tovo/Views/SheetParts.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace tovo {

namespace {

constexpr int symbolSize = 16;

} // namespace

SheetEntry::SheetEntry(Content content, QWidget* parent)
    : QWidget(parent)
    , needsUser_(content.needsUser) {
    setAccessibleName(QString::fromStdString(content.name));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(10, 8, 6, 8);
    column->setSpacing(4);

    auto* top = new QHBoxLayout();
    top->setSpacing(8);
    auto* mark = new QLabel(this);
    mark->setFixedSize(symbolSize, symbolSize);
    mark->setPixmap(SymbolImage::pixmap(content.symbol, symbolSize,
                                        TovoTheme::symbolColor(content.symbolColor, palette()),
                                        devicePixelRatioF()));
    top->addWidget(mark, 0, Qt::AlignTop);
    auto* texts = new QVBoxLayout();
    texts->setSpacing(1);
    auto* name = new QLabel(this);
    name->setFont(TovoTheme::headlineFont(font()));
    QtText::setWrappedText(name, QString::fromStdString(content.name));
    texts->addWidget(name);
    for (const std::string& line : content.lines) {
        texts->addWidget(SheetParts::secondaryText(QString::fromStdString(line), this));
    }
    top->addLayout(texts, 1);
    column->addLayout(top);

    if (!content.detailLines.empty()) {
        disclosure_ =
            new DisclosureButton(content.showDetailsLabel, content.hideDetailsLabel, this);
        top->addWidget(disclosure_, 0, Qt::AlignTop);
        details_ = SheetParts::detailLines(content.detailLines, this);
        details_->hide();
        auto* indented = new QHBoxLayout();
        indented->setContentsMargins(symbolSize + 8, 0, 0, 0);
        indented->addWidget(details_);
        column->addLayout(indented);
        connect(disclosure_, &DisclosureButton::toggled, details_, &QWidget::setVisible);
    }
}

void SheetEntry::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
    painter.fillPath(path, needsUser_ ? TovoTheme::manualBackground(palette())
                                      : TovoTheme::neutralRowFill(palette()));
}

} // namespace tovo
