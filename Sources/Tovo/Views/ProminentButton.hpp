#pragma once

#include <QPushButton>

namespace tovo {

/// A push button that can carry the accent fill marking the recommended action.
/// It paints the fill itself rather than through a style sheet, which would
/// re-style the whole button (and parse its sheet) every time prominence changes.
class ProminentButton final : public QPushButton {
    Q_OBJECT

public:
    explicit ProminentButton(QWidget* parent = nullptr);
    ProminentButton(const QString& text, QWidget* parent = nullptr);

    bool isProminent() const { return prominent_; }
    void setProminent(bool prominent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool prominent_ = false;
};

} // namespace tovo
