#pragma once

#include <QAbstractButton>

#include <string>

namespace tovo {

/// The arrow that shows or hides a row's details: a chevron pointing right, or down
/// while open, with no frame (a framed arrow reads as a drop-down list). Its name
/// for assistive technology says what pressing it does.
class DisclosureButton final : public QAbstractButton {
    Q_OBJECT

public:
    DisclosureButton(std::string showLabel, std::string hideLabel, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    // Both ways the state changes, signals blocked or not.
    void checkStateSet() override;
    void nextCheckState() override;

private:
    void updateLabel();

    std::string showLabel_;
    std::string hideLabel_;
};

} // namespace tovo
