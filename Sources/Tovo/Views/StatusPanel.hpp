#pragma once

#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Support/WriteOutPresentation.hpp"
#include "Tovo/Views/BlockedStatusView.hpp"

#include <QWidget>

#include <optional>

class QVBoxLayout;

namespace tovo {

class WriteOutStatusView;

/// The card in the middle of the window that says what is happening: one child
/// view per kind of phase (ready, no disks, busy, blocked, success, failure). Its
/// accessible description is what the card says. It is no stop when tabbing, but
/// holds the focus while Tovo works and the buttons have nothing to offer.
class StatusPanel final : public QWidget {
    Q_OBJECT

public:
    struct Inputs {
        EjectionPhase phase;
        std::optional<ExternalDisk> disk;
        std::vector<BlockingProcess> blockers;
        std::vector<ProcessReleasePlan> releasePlans;
        std::vector<ProcessStopPlan> stopPlans;
        std::vector<ReleaseAttempt> releaseAttempts;
        std::vector<BusyCause> busyCauses = {};
        std::vector<BusyCauseAttempt> causeAttempts = {};
        /// False until the first listing of disks has answered.
        bool hasListedDisks = true;
    };

    StatusPanel(const ProcessPresentation& presentation, BlockingProcessRow::Actions actions,
                QWidget* parent = nullptr);

    void setState(const Inputs& inputs);

    const std::optional<StatusContent>& content() const { return content_; }
    QWidget* currentView() const { return view_; }
    /// The blocked view while the phase is blocked, else null.
    BlockedStatusView* blockedView() const;
    /// Its widgets that take the focus, top to bottom.
    std::vector<QWidget*> focusOrder() const;
    /// What is still being written, under the card; hidden without a notice.
    void setWriteOut(const std::optional<WriteOutNotice>& notice);
    WriteOutStatusView* writeOutView() const { return writeOut_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    QWidget* makeView(const StatusContent& content, const Inputs& inputs);

    const ProcessPresentation& presentation_;
    BlockingProcessRow::Actions actions_;
    QVBoxLayout* layout_;
    QWidget* view_ = nullptr;
    std::optional<StatusContent> content_;
    WriteOutStatusView* writeOut_ = nullptr;
};

} // namespace tovo
