#pragma once

#include <QScrollArea>

namespace tovo {

/// A scroll area that asks to be as tall as its content at the width it is given,
/// and tells its layout whenever the content's height changes (a row opened), so
/// the window around it can grow; only when the window cannot grow any more does
/// the content scroll.
class FittedScrollArea final : public QScrollArea {
    Q_OBJECT

public:
    explicit FittedScrollArea(QWidget* content, QWidget* parent = nullptr);

    /// The width the content will be laid out at.
    void setContentWidth(int width);
    /// The content's height at that width.
    int contentHeight() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    int contentWidth_ = 0;
};

} // namespace tovo
