#include "Tovo/Views/WriteOutStatusView.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"

#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

namespace tovo {

WriteOutStatusView::WriteOutStatusView(QWidget* parent)
    : QWidget(parent)
    , title_(new QLabel(this))
    , detail_(new QLabel(this))
    , warning_(new QLabel(this)) {
    auto* column = new QVBoxLayout(this);
    // In line with the busy card's texts: its indicator is 22 wide, then 12 of space.
    column->setContentsMargins(34, 10, 0, 0);
    column->setSpacing(3);
    title_->setFont(TovoTheme::headlineFont(font()));
    detail_->setFont(TovoTheme::subheadlineFont(font()));
    warning_->setFont(TovoTheme::headlineFont(font()));
    for (auto* label : {title_, detail_, warning_}) {
        label->setWordWrap(true);
        column->addWidget(label);
    }
    setAccessibleName(QStringLiteral("Writing progress"));
    updateColors();
}

void WriteOutStatusView::setNotice(const WriteOutNotice& notice) {
    QtText::setWrappedText(title_, QString::fromStdString(notice.title));
    QtText::setWrappedText(detail_, QString::fromStdString(notice.detail));
    QtText::setWrappedText(warning_, QString::fromStdString(notice.warning));
    setAccessibleDescription(QString::fromStdString(notice.detail + " " + notice.warning));
}

void WriteOutStatusView::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange) {
        updateColors();
    }
    QWidget::changeEvent(event);
}

void WriteOutStatusView::updateColors() {
    QPalette secondary = detail_->palette();
    secondary.setColor(QPalette::WindowText, TovoTheme::textColor(TextColor::secondary, palette()));
    detail_->setPalette(secondary);
    QPalette caution = warning_->palette();
    caution.setColor(QPalette::WindowText, TovoTheme::textColor(TextColor::caution, palette()));
    warning_->setPalette(caution);
}

} // namespace tovo
