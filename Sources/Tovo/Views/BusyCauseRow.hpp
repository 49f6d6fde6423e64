#pragma once

#include "Tovo/Support/BusyCausePresentation.hpp"

#include <QWidget>

#include <functional>

class QLabel;

namespace tovo {

class DisclosureButton;

/// One cause besides the processes: what keeps the disk busy, what Tovo will do
/// about it or what the user must do, and the facts behind a disclosure.
class BusyCauseRow final : public QWidget {
    Q_OBJECT

public:
    BusyCauseRow(BusyCauseRowContent content, bool isExpanded,
                 std::function<void(const std::string& key, bool expanded)> onExpandedChanged,
                 QWidget* parent = nullptr);

    const BusyCauseRowContent& content() const { return content_; }
    bool isExpanded() const { return expanded_; }
    DisclosureButton* disclosureButton() const { return disclosure_; }
    QLabel* sentenceLabel() const { return sentence_; }
    QLabel* messageLabel() const { return message_; }
    QWidget* details() const { return details_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void updateDisclosure();

    BusyCauseRowContent content_;
    bool expanded_;
    bool needsUser_;
    std::function<void(const std::string&, bool)> onExpandedChanged_;
    DisclosureButton* disclosure_ = nullptr;
    QLabel* sentence_ = nullptr;
    QLabel* message_ = nullptr;
    QWidget* details_ = nullptr;
};

} // namespace tovo
