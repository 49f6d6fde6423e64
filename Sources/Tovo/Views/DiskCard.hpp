#pragma once

#include "TovoCore/Models/ExternalDisk.hpp"

#include <QAbstractButton>
#include <QPixmap>

class QVariantAnimation;

namespace tovo {

/// One disk in the selector: icon, name, size and format, and the selection mark.
/// The whole card is one button. Selecting it fades the accent in over 0.18 s unless
/// motion is reduced.
class DiskCard final : public QAbstractButton {
    Q_OBJECT

public:
    DiskCard(ExternalDisk disk, bool reduceMotion, QWidget* parent = nullptr);

    const ExternalDisk& disk() const { return disk_; }
    void setSelected(bool selected, bool animated);
    bool isSelected() const { return selected_; }
    /// 0 when resting, 1 when fully selected; in between while animating.
    double selectionProgress() const { return progress_; }
    bool isAnimating() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    // Pressing selects; the selector decides, so a click never unchecks the card.
    void nextCheckState() override {}

private:
    void updateAccessibility();
    QPixmap diskIcon() const;
    /// The widths the name and detail get in the card.
    int textWidth() const;
    bool nameIsElided() const;

    ExternalDisk disk_;
    QString detail_;
    bool reduceMotion_;
    bool selected_ = false;
    bool hovered_ = false;
    double progress_ = 0;
    QVariantAnimation* animation_;
};

} // namespace tovo
