#include "Tovo/Views/BlockingProcessRow.hpp"

#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace tovo {

namespace {

constexpr int iconSize = 30;
constexpr int statusSymbolSize = 14;

QLabel* secondaryLabel(const QString& text, const QFont& font, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(font);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText,
                     TovoTheme::textColor(TextColor::secondary, parent->palette()));
    label->setPalette(palette);
    return label;
}

} // namespace

BlockingProcessRow::BlockingProcessRow(const ProcessPresentation& presentation,
                                       BlockingProcess process,
                                       std::optional<ProcessReleasePlan> releasePlan,
                                       std::optional<ProcessStopPlan> stopPlan,
                                       std::optional<ReleaseAttempt> releaseAttempt,
                                       bool isExpanded, Actions actions, QWidget* parent)
    : QWidget(parent)
    , presentation_(presentation)
    , process_(std::move(process))
    , content_(blockerRowContent(presentation, process_, releasePlan, stopPlan, releaseAttempt))
    , actions_(std::move(actions))
    , expanded_(isExpanded)
    , needsUser_(content_.statusSymbolColor == SymbolColor::orange ||
                 content_.statusSymbolColor == SymbolColor::red) {
    const QString name = QString::fromStdString(content_.name);
    setAccessibleName(name);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(10, 10, 10, 10);
    column->setSpacing(6);

    auto* top = new QHBoxLayout();
    top->setSpacing(10);
    auto* icon = new QLabel(this);
    icon->setFixedSize(iconSize, iconSize);
    icon->setPixmap(processIcon());
    top->addWidget(icon, 0, Qt::AlignTop);

    auto* texts = new QVBoxLayout();
    texts->setSpacing(2);
    auto* title = new QLabel(name, this);
    title->setFont(TovoTheme::headlineFont(font()));
    texts->addWidget(title);
    texts->addWidget(secondaryLabel(QString::fromStdString(content_.activity),
                                    TovoTheme::subheadlineFont(font()), this));
    auto* status = new QHBoxLayout();
    status->setSpacing(6);
    auto* symbol = new QLabel(this);
    symbol->setFixedSize(statusSymbolSize, statusSymbolSize);
    symbol->setPixmap(SymbolImage::pixmap(
        content_.statusSymbol, statusSymbolSize,
        TovoTheme::symbolColor(content_.statusSymbolColor, palette()), devicePixelRatioF()));
    status->addWidget(symbol, 0, Qt::AlignTop);
    message_ = new QLabel(QString::fromStdString(content_.message.value_or(std::string())), this);
    message_->setFont(TovoTheme::subheadlineFont(font()));
    message_->setWordWrap(true);
    QPalette messagePalette = message_->palette();
    messagePalette.setColor(QPalette::WindowText,
                            TovoTheme::textColor(content_.messageColor, palette()));
    message_->setPalette(messagePalette);
    status->addWidget(message_, 1);
    texts->addLayout(status);
    top->addLayout(texts, 1);

    disclosure_ = new QToolButton(this);
    disclosure_->setAutoRaise(true);
    disclosure_->setCheckable(true);
    disclosure_->setFocusPolicy(Qt::StrongFocus);
    connect(disclosure_, &QToolButton::toggled, this, [this](bool on) {
        setExpanded(on);
        if (actions_.onExpandedChanged) {
            actions_.onExpandedChanged(process_.pid, on);
        }
    });
    top->addWidget(disclosure_, 0, Qt::AlignTop);
    column->addLayout(top);

    details_ = new QWidget(this);
    auto* lines = new QVBoxLayout(details_);
    lines->setContentsMargins(iconSize + 10, 0, 0, 0);
    lines->setSpacing(2);
    const QFont detailFont = TovoTheme::captionFont(font());
    for (const std::string& line : content_.detailLines) {
        auto* label = secondaryLabel(QString::fromStdString(line), detailFont, details_);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        lines->addWidget(label);
    }
    column->addWidget(details_);

    if (content_.showAction || content_.stopAction) {
        auto* buttons = new QHBoxLayout();
        buttons->setContentsMargins(iconSize + 10, 0, 0, 0);
        buttons->setSpacing(8);
        if (const auto& show = content_.showAction) {
            showButton_ = new QPushButton(QString::fromStdString(show->title), this);
            showButton_->setToolTip(QString::fromStdString(show->help));
            showButton_->setAccessibleName(QString::fromStdString(show->accessibilityLabel));
            connect(showButton_, &QPushButton::clicked, this, [this] {
                if (actions_.onShow) {
                    actions_.onShow(process_);
                }
            });
            buttons->addWidget(showButton_);
        }
        if (const auto& stop = content_.stopAction) {
            stopButton_ = new QPushButton(QString::fromStdString(stop->title), this);
            stopButton_->setToolTip(QString::fromStdString(stop->help));
            stopButton_->setAccessibleName(QString::fromStdString(stop->title) +
                                           QStringLiteral(" ") + name);
            stopButton_->setAccessibleDescription(QString::fromStdString(stop->accessibilityHint));
            connect(stopButton_, &QPushButton::clicked, this, [this] {
                if (actions_.onStop) {
                    actions_.onStop(process_);
                }
            });
            buttons->addWidget(stopButton_);
        }
        buttons->addStretch(1);
        column->addLayout(buttons);
    }
    updateDisclosure();
}

void BlockingProcessRow::setExpanded(bool expanded) {
    expanded_ = expanded;
    updateDisclosure();
}

void BlockingProcessRow::updateDisclosure() {
    const QSignalBlocker quiet(disclosure_);
    disclosure_->setChecked(expanded_);
    disclosure_->setArrowType(expanded_ ? Qt::DownArrow : Qt::RightArrow);
    const std::string& label = expanded_ ? content_.hideDetailsLabel : content_.showDetailsLabel;
    disclosure_->setAccessibleName(QString::fromStdString(label));
    disclosure_->setToolTip(QString::fromStdString(label));
    details_->setVisible(expanded_);
}

QPixmap BlockingProcessRow::processIcon() const {
    // A desktop application's id is its icon name in the theme.
    if (const auto application = presentation_.showableApplication(process_)) {
        if (application->bundleIdentifier) {
            const QIcon icon =
                QIcon::fromTheme(QString::fromStdString(*application->bundleIdentifier));
            if (!icon.isNull()) {
                return icon.pixmap(QSize(iconSize, iconSize), devicePixelRatioF());
            }
        }
    }
    return SymbolImage::pixmap(content_.fallbackSymbol, iconSize,
                               TovoTheme::textColor(TextColor::secondary, palette()),
                               devicePixelRatioF());
}

void BlockingProcessRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 12, 12);
    painter.fillPath(path, needsUser_ ? TovoTheme::manualBackground(palette())
                                      : TovoTheme::primaryAt(palette(), 0.035));
}

} // namespace tovo
