#include "Tovo/Views/DetailText.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"

#include <QTextLayout>
#include <QTextOption>

#include <cmath>

namespace tovo {

DetailText::DetailText(const std::vector<std::string>& lines, QWidget* parent)
    : QPlainTextEdit(parent) {
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    // Clicked to select and copy; never a stop when tabbing through the window.
    setFocusPolicy(Qt::ClickFocus);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setContextMenuPolicy(Qt::DefaultContextMenu);
    document()->setDocumentMargin(0);
    viewport()->setAutoFillBackground(false);
    setFont(TovoTheme::captionFont(font()));
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    QString text;
    for (const std::string& line : lines) {
        text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + QString::fromStdString(line);
    }
    setPlainText(text);
    applyColours();
}

int DetailText::heightForWidth(int width) const {
    // Laid out as the editor lays out each line, wrapping anywhere when it must.
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    const QStringList lines = toPlainText().split(QLatin1Char('\n'));
    const QMargins margins = contentsMargins();
    const double available = std::max(1, width - margins.left() - margins.right());
    double height = 0;
    for (const QString& line : lines) {
        QTextLayout layout(line, font());
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine row = layout.createLine(); row.isValid(); row = layout.createLine()) {
            row.setLeadingIncluded(true);
            row.setLineWidth(available);
            height += row.height();
        }
        layout.endLayout();
    }
    // One pixel more: the editor counts a last line that ends on its bottom edge as
    // cut off, and would scroll.
    return static_cast<int>(std::ceil(height)) + 1 + margins.top() + margins.bottom();
}

QSize DetailText::sizeHint() const {
    const int width = this->width() > 0 ? this->width() : 300;
    return {width, heightForWidth(width)};
}

QSize DetailText::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * 8, fontMetrics().height()};
}

void DetailText::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    updateGeometry();
}

void DetailText::applyColours() {
    QPalette pal = palette();
    const QColor text = TovoTheme::textColor(
        TextColor::secondary, parentWidget() != nullptr ? parentWidget()->palette() : pal);
    pal.setColor(QPalette::Text, text);
    pal.setColor(QPalette::Base, Qt::transparent);
    setPalette(pal);
}

} // namespace tovo
