#pragma once

#include <QProgressBar>
#include <QTimer>

namespace tovo {

/// An indeterminate progress indicator drawn as a small spinning arc. It stays a
/// progress bar for assistive technology.
class ActivityIndicator final : public QProgressBar {
    Q_OBJECT

public:
    explicit ActivityIndicator(QWidget* parent = nullptr);
    QSize sizeHint() const override { return {22, 22}; }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QTimer timer_;
    int angle_ = 0;
};

} // namespace tovo
