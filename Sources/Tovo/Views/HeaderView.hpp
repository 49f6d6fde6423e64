#pragma once

#include <QWidget>

#include <functional>

class QLabel;
class QToolButton;

namespace tovo {

/// The badge, the name and tagline, and the refresh button; in demo mode a "Demo"
/// badge beside the name, so the sample disk is never taken for a real one.
class HeaderView final : public QWidget {
    Q_OBJECT

public:
    HeaderView(std::function<void()> onRefresh, bool isDemo, QWidget* parent = nullptr);

    void setRefreshEnabled(bool enabled);
    QToolButton* refreshButton() const { return refreshButton_; }
    /// Null outside demo mode.
    QLabel* demoBadge() const { return demoBadge_; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateIcons();

    std::function<void()> onRefresh_;
    QToolButton* refreshButton_;
    QLabel* tagline_ = nullptr;
    QLabel* demoBadge_ = nullptr;
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
