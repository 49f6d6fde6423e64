#include "Tovo/Views/StatusChildViews.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/ActivityIndicator.hpp"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace tovo {

namespace {

constexpr int statusSymbolSize = 28;

} // namespace

QWidget* makeStatusTexts(const StatusContent& content, QLabel*& title, QLabel*& message,
                         QWidget* parent) {
    auto* texts = new QWidget(parent);
    auto* column = new QVBoxLayout(texts);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    title = new QLabel(texts);
    title->setFont(TovoTheme::headlineFont(parent->font()));
    QtText::setWrappedText(title, QString::fromStdString(content.title));
    message = new QLabel(texts);
    message->setFont(TovoTheme::subheadlineFont(parent->font()));
    QtText::setWrappedText(message, QString::fromStdString(content.message));
    message->setVisible(!content.message.empty());
    // Only a failure's reason is worth copying; a selectable label lays out through a
    // whole text document, several times slower.
    if (content.kind == StatusViewKind::failure) {
        message->setTextInteractionFlags(Qt::TextSelectableByMouse);
    }
    QPalette secondary = message->palette();
    secondary.setColor(QPalette::WindowText,
                       TovoTheme::textColor(TextColor::secondary, parent->palette()));
    message->setPalette(secondary);
    column->addWidget(title);
    column->addWidget(message);
    return texts;
}

SymbolStatusView::SymbolStatusView(const StatusContent& content, QWidget* parent)
    : QWidget(parent)
    , content_(content)
    , symbol_(new QLabel(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    symbol_->setFixedSize(statusSymbolSize, statusSymbolSize);
    row->addWidget(symbol_, 0, Qt::AlignTop);
    row->addWidget(makeStatusTexts(content, title_, message_, this), 1);
    updateSymbol();
}

void SymbolStatusView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        updateSymbol();
    }
    QWidget::changeEvent(event);
}

void SymbolStatusView::updateSymbol() {
    if (!content_.symbol) {
        symbol_->clear();
        return;
    }
    const QColor tint = content_.symbolColor
                            ? TovoTheme::symbolColor(*content_.symbolColor, palette())
                            : TovoTheme::accent();
    symbol_->setPixmap(
        SymbolImage::pixmap(*content_.symbol, statusSymbolSize, tint, devicePixelRatioF()));
}

BusyStatusView::BusyStatusView(const StatusContent& content, QWidget* parent)
    : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(12);
    auto* indicator = new ActivityIndicator(this);
    indicator->setAccessibleName(QString::fromUtf8(StatusPresentation::busyAccessibilityLabel));
    row->addWidget(indicator, 0, Qt::AlignTop);
    QLabel* message = nullptr;
    row->addWidget(makeStatusTexts(content, title_, message, this), 1);
}

} // namespace tovo
