#include "Tovo/Views/BlockingProcessRow.hpp"

#include "Tovo/Support/Qt/ApplicationIcon.hpp"
#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Support/Qt/QtTheme.hpp"
#include "Tovo/Support/Qt/SymbolImage.hpp"
#include "Tovo/Views/DisclosureButton.hpp"
#include "Tovo/Views/ProminentButton.hpp"
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

QLabel* secondaryLabel(const QString& text, const QFont& font, QWidget* parent) {
    QLabel* label = SheetParts::secondaryText(text, parent);
    label->setFont(font);
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
    auto* title = new QLabel(this);
    title->setFont(TovoTheme::headlineFont(font()));
    QtText::setWrappedText(title, name);
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
    message_ = new QLabel(this);
    message_->setFont(TovoTheme::subheadlineFont(font()));
    QtText::setWrappedText(message_,
                           QString::fromStdString(content_.message.value_or(std::string())));
    QPalette messagePalette = message_->palette();
    messagePalette.setColor(QPalette::WindowText,
                            TovoTheme::textColor(content_.messageColor, palette()));
    message_->setPalette(messagePalette);
    status->addWidget(message_, 1);
    texts->addLayout(status);
    top->addLayout(texts, 1);

    disclosure_ = new DisclosureButton(content_.showDetailsLabel, content_.hideDetailsLabel, this);
    connect(disclosure_, &DisclosureButton::toggled, this, [this](bool on) {
        setExpanded(on);
        if (actions_.onExpandedChanged) {
            actions_.onExpandedChanged(process_.pid, on);
        }
    });
    top->addWidget(disclosure_, 0, Qt::AlignTop);
    column->addLayout(top);

    details_ = SheetParts::detailLines(content_.detailLines, this);
    auto* indented = new QHBoxLayout();
    indented->setContentsMargins(iconSize + 10, 0, 0, 0);
    indented->addWidget(details_);
    column->addLayout(indented);

    if (content_.showAction || content_.stopAction) {
        auto* buttons = new QHBoxLayout();
        buttons->setContentsMargins(iconSize + 10, 0, 0, 0);
        buttons->setSpacing(8);
        if (const auto& show = content_.showAction) {
            showButton_ = new ProminentButton(QtText::literal(show->title), this);
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
            stopButton_ = new ProminentButton(QtText::literal(stop->title), this);
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
    {
        const QSignalBlocker quiet(disclosure_);
        disclosure_->setChecked(expanded_);
    }
    details_->setVisible(expanded_);
}

std::vector<QWidget*> BlockingProcessRow::focusOrder() const {
    std::vector<QWidget*> order{disclosure_};
    for (QWidget* button :
         {static_cast<QWidget*>(showButton_), static_cast<QWidget*>(stopButton_)}) {
        if (button != nullptr) {
            order.push_back(button);
        }
    }
    return order;
}

QPixmap BlockingProcessRow::processIcon() const {
    // An application shows the icon of its desktop entry.
    if (const auto id = presentation_.applicationIconName(process_)) {
        const QIcon icon = ApplicationIcon::forApplication(*id);
        if (!icon.isNull()) {
            return icon.pixmap(QSize(iconSize, iconSize), devicePixelRatioF());
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
