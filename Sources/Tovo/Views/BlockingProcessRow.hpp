#pragma once

#include "Tovo/Support/BlockerRowPresentation.hpp"

#include <QWidget>

#include <functional>

class QLabel;
class QPushButton;

namespace tovo {

class DisclosureButton;

/// One blocker: who holds the disk and what, what Tovo plans or did about it, the
/// open files behind a disclosure, and the show and stop actions.
class BlockingProcessRow final : public QWidget {
    Q_OBJECT

public:
    struct Actions {
        std::function<void(const BlockingProcess&)> onShow;
        std::function<void(const BlockingProcess&)> onStop;
        std::function<void(std::int32_t pid, bool expanded)> onExpandedChanged;
    };

    BlockingProcessRow(const ProcessPresentation& presentation, BlockingProcess process,
                       std::optional<ProcessReleasePlan> releasePlan,
                       std::optional<ProcessStopPlan> stopPlan,
                       std::optional<ReleaseAttempt> releaseAttempt, bool isExpanded,
                       Actions actions, QWidget* parent = nullptr);

    const BlockingProcess& process() const { return process_; }
    bool isExpanded() const { return expanded_; }
    void setExpanded(bool expanded);

    DisclosureButton* disclosureButton() const { return disclosure_; }
    QPushButton* showButton() const { return showButton_; }
    QPushButton* stopButton() const { return stopButton_; }
    QWidget* details() const { return details_; }
    QLabel* messageLabel() const { return message_; }
    /// Its widgets that take the focus, top to bottom.
    std::vector<QWidget*> focusOrder() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPixmap processIcon() const;
    void updateDisclosure();

    const ProcessPresentation& presentation_;
    BlockingProcess process_;
    BlockerRowContent content_;
    Actions actions_;
    bool expanded_;
    bool needsUser_;
    DisclosureButton* disclosure_ = nullptr;
    QWidget* details_ = nullptr;
    QLabel* message_ = nullptr;
    QPushButton* showButton_ = nullptr;
    QPushButton* stopButton_ = nullptr;
};

} // namespace tovo
