#pragma once

#include "Tovo/Support/WriteOutPresentation.hpp"

#include <QWidget>

class QLabel;

namespace tovo {

/// Under the ejecting card: how much is still to be written to the disk, how fast, and
/// that it must stay plugged in. Its texts come from `WriteOutPresentation`.
class WriteOutStatusView final : public QWidget {
    Q_OBJECT

public:
    explicit WriteOutStatusView(QWidget* parent = nullptr);

    void setNotice(const WriteOutNotice& notice);

    QLabel* titleLabel() const { return title_; }
    QLabel* detailLabel() const { return detail_; }
    QLabel* warningLabel() const { return warning_; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateColors();

    QLabel* title_;
    QLabel* detail_;
    QLabel* warning_;
};

} // namespace tovo
