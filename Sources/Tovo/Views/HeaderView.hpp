#pragma once

#include <QWidget>

#include <functional>

class QToolButton;

namespace tovo {

/// The badge, the name and tagline, and the refresh button.
class HeaderView final : public QWidget {
    Q_OBJECT

public:
    explicit HeaderView(std::function<void()> onRefresh, QWidget* parent = nullptr);

    void setRefreshEnabled(bool enabled);
    QToolButton* refreshButton() const { return refreshButton_; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateIcons();

    std::function<void()> onRefresh_;
    QToolButton* refreshButton_;
};

/// The accent badge with the drive symbol; decoration only.
class HeaderBadge final : public QWidget {
    Q_OBJECT

public:
    explicit HeaderBadge(QWidget* parent = nullptr);
    /// The badge drawn at `size` pixels: also the window's icon.
    static QPixmap render(int size, qreal scale = 1.0);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace tovo
