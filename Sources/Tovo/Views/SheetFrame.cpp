#include "Tovo/Views/SheetFrame.hpp"

#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Views/FittedScrollArea.hpp"
#include "Tovo/Views/ProminentButton.hpp"

#include <QEvent>
#include <QHBoxLayout>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace tovo {

namespace {

constexpr int sheetWidth = 440;
constexpr int margin = 22;
// Room for the title bar and a little of the window behind.
constexpr int windowFrameAllowance = 72;

} // namespace

SheetFrame::SheetFrame(QWidget* parent)
    : QDialog(parent)
    , header_(new QVBoxLayout())
    , listLayout_(new QVBoxLayout())
    , list_(nullptr)
    , buttons_(new QHBoxLayout()) {
    setWindowModality(Qt::WindowModal);
    // A sheet has a title and a close button, never a maximise button.
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowCloseButtonHint);
    setSizeGripEnabled(false);
    setFixedWidth(sheetWidth);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(margin, margin, margin, 18);
    column->setSpacing(14);
    header_->setSpacing(8);
    column->addLayout(header_);

    auto* rows = new QWidget();
    rows->setLayout(listLayout_);
    listLayout_->setContentsMargins(0, 0, 0, 0);
    listLayout_->setSpacing(8);
    list_ = new FittedScrollArea(rows, this);
    list_->setContentWidth(sheetWidth - 2 * margin);
    column->addWidget(list_, 1);

    buttons_->setSpacing(10);
    buttons_->addStretch(1);
    column->addLayout(buttons_);
}

ProminentButton* SheetFrame::addButton(const std::string& title, ButtonRole role) {
    auto* button = new ProminentButton(QtText::literal(title), this);
    button->setRole(role);
    buttons_->addWidget(button);
    return button;
}

void SheetFrame::setDefaultAndFocus(ProminentButton* button, QWidget* focus) {
    button->setDefault(true);
    initialFocus_ = focus;
    focus->setFocus(Qt::OtherFocusReason);
}

int SheetFrame::heightLimit() const {
    const QScreen* screen = this->screen();
    if (parentWidget() != nullptr && parentWidget()->screen() != nullptr) {
        screen = parentWidget()->screen();
    }
    const int available = screen != nullptr ? screen->availableGeometry().height() : 720;
    return std::max(240, available - windowFrameAllowance);
}

void SheetFrame::fitToContent() {
    if (fitting_) {
        return;
    }
    fitting_ = true;
    // The whole list at the sheet's width; capped, the list gives way and scrolls.
    const int wanted = layout()->totalHeightForWidth(width());
    const int height = std::min(wanted, heightLimit());
    if (minimumHeight() != height || maximumHeight() != height) {
        setFixedHeight(height);
    }
    fitting_ = false;
}

bool SheetFrame::event(QEvent* event) {
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::LayoutRequest) {
        fitToContent();
    }
    return handled;
}

void SheetFrame::showEvent(QShowEvent* event) {
    fitToContent();
    QDialog::showEvent(event);
    if (initialFocus_ != nullptr) {
        initialFocus_->setFocus(Qt::OtherFocusReason);
    }
}

} // namespace tovo
