#include "Tovo/Views/FittedScrollArea.hpp"

#include <QEvent>

#include <algorithm>

namespace tovo {

FittedScrollArea::FittedScrollArea(QWidget* content, QWidget* parent)
    : QScrollArea(parent) {
    setWidget(content);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    // The rows inside take the focus; the area itself is no stop of its own.
    setFocusPolicy(Qt::NoFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    viewport()->setAutoFillBackground(false);
    content->setAutoFillBackground(false);
    content->installEventFilter(this);
}

void FittedScrollArea::setContentWidth(int width) {
    if (width != contentWidth_) {
        contentWidth_ = width;
        updateGeometry();
    }
}

int FittedScrollArea::contentHeight() const {
    const QWidget* content = widget();
    const int width = contentWidth_ > 0 ? contentWidth_ : content->sizeHint().width();
    return content->hasHeightForWidth() ? content->heightForWidth(width)
                                        : content->sizeHint().height();
}

QSize FittedScrollArea::sizeHint() const {
    const int frame = 2 * frameWidth();
    return {contentWidth_ + frame, contentHeight() + frame};
}

QSize FittedScrollArea::minimumSizeHint() const {
    // Squeezed, it still shows a few lines; the rest scrolls.
    return {0, std::min(contentHeight(), 4 * fontMetrics().height()) + 2 * frameWidth()};
}

bool FittedScrollArea::eventFilter(QObject* watched, QEvent* event) {
    if (watched == widget() && event->type() == QEvent::LayoutRequest) {
        updateGeometry();
    }
    return QScrollArea::eventFilter(watched, event);
}

} // namespace tovo
