#include "Tovo/Views/BusyCauseRow.hpp"

#include "Tovo/Support/BlockerRowPresentation.hpp"
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

constexpr int iconSize = 30;
constexpr int statusSymbolSize = 14;

QLabel* wrappedLabel(const std::string& text, const QFont& font, TextColor color, QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFont(font);
    QtText::setWrappedText(label, QString::fromStdString(text));
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, TovoTheme::textColor(color, parent->palette()));
    label->setPalette(palette);
    return label;
}

} // namespace

BusyCauseRow::BusyCauseRow(BusyCauseRowContent content, bool isExpanded,
                           std::function<void(const std::string&, bool)> onExpandedChanged,
                           QWidget* parent)
    : QWidget(parent)
    , content_(std::move(content))
    , expanded_(isExpanded)
    , needsUser_(content_.statusSymbolColor != SymbolColor::green)
    , onExpandedChanged_(std::move(onExpandedChanged)) {
    setAccessibleName(QString::fromStdString(content_.title));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(10, 10, 10, 10);
    column->setSpacing(6);

    auto* top = new QHBoxLayout();
    top->setSpacing(10);
    auto* icon = new QLabel(this);
    icon->setFixedSize(iconSize, iconSize);
    icon->setPixmap(SymbolImage::pixmap(content_.symbol, iconSize,
                                        TovoTheme::textColor(TextColor::secondary, palette()),
                                        devicePixelRatioF()));
    top->addWidget(icon, 0, Qt::AlignTop);

    auto* texts = new QVBoxLayout();
    texts->setSpacing(2);
    auto* title = new QLabel(this);
    title->setFont(TovoTheme::headlineFont(font()));
    QtText::setWrappedText(title, QString::fromStdString(content_.title));
    texts->addWidget(title);
    sentence_ = wrappedLabel(content_.sentence, TovoTheme::subheadlineFont(font()),
                             TextColor::secondary, this);
    texts->addWidget(sentence_);
    auto* status = new QHBoxLayout();
    status->setSpacing(6);
    auto* symbol = new QLabel(this);
    symbol->setFixedSize(statusSymbolSize, statusSymbolSize);
    symbol->setPixmap(SymbolImage::pixmap(
        content_.statusSymbol, statusSymbolSize,
        TovoTheme::symbolColor(content_.statusSymbolColor, palette()), devicePixelRatioF()));
    status->addWidget(symbol, 0, Qt::AlignTop);
    message_ = wrappedLabel(content_.message, TovoTheme::subheadlineFont(font()),
                            TextColor::primary, this);
    status->addWidget(message_, 1);
    texts->addLayout(status);
    top->addLayout(texts, 1);

    disclosure_ = new DisclosureButton(showDetailsLabel(content_.title),
                                       hideDetailsLabel(content_.title), this);
    connect(disclosure_, &DisclosureButton::toggled, this, [this](bool on) {
        expanded_ = on;
        updateDisclosure();
        if (onExpandedChanged_) {
            onExpandedChanged_(content_.key, on);
        }
    });
    top->addWidget(disclosure_, 0, Qt::AlignTop);
    column->addLayout(top);

    details_ = SheetParts::detailLines(content_.detailLines, this);
    auto* indented = new QHBoxLayout();
    indented->setContentsMargins(iconSize + 10, 0, 0, 0);
    indented->addWidget(details_);
    column->addLayout(indented);
    updateDisclosure();
}

void BusyCauseRow::updateDisclosure() {
    {
        const QSignalBlocker quiet(disclosure_);
        disclosure_->setChecked(expanded_);
    }
    details_->setVisible(expanded_);
}

void BusyCauseRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 12, 12);
    painter.fillPath(path, needsUser_ ? TovoTheme::manualBackground(palette())
                                      : TovoTheme::primaryAt(palette(), 0.035));
}

} // namespace tovo
