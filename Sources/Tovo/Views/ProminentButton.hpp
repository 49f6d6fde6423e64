#pragma once

#include "Tovo/Support/ButtonRole.hpp"

#include <QPushButton>

namespace tovo {

/// Tovo's push button, one family in every role: the plain button, the accent-filled
/// suggested action and the red destructive one share height, corner radius and
/// padding. It paints itself rather than through a style sheet, which would re-style
/// the whole button (and parse its sheet) every time its role changes.
class ProminentButton final : public QPushButton {
    Q_OBJECT

public:
    explicit ProminentButton(QWidget* parent = nullptr);
    ProminentButton(const QString& text, QWidget* parent = nullptr);

    ButtonRole role() const { return role_; }
    void setRole(ButtonRole role);
    /// Filled: the suggested or the destructive role.
    bool isProminent() const { return role_ != ButtonRole::plain; }
    /// The suggested role, or the plain one.
    void setProminent(bool prominent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ButtonRole role_ = ButtonRole::plain;
};

} // namespace tovo
