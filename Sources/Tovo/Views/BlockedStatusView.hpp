#pragma once

#include "Tovo/Support/StatusPresentation.hpp"
#include "Tovo/Views/BlockingProcessRow.hpp"
#include "Tovo/Views/BusyCauseRow.hpp"

#include <QWidget>

#include <set>
#include <vector>

class QVBoxLayout;

namespace tovo {

/// The blocked phase: the warning, the count of blockers, one row per blocker and
/// one per other cause. Which rows are expanded is this view's own state and
/// survives redraws.
class BlockedStatusView final : public QWidget {
    Q_OBJECT

public:
    struct Inputs {
        std::vector<BlockingProcess> blockers;
        std::vector<ProcessReleasePlan> releasePlans;
        std::vector<ProcessStopPlan> stopPlans;
        std::vector<ReleaseAttempt> releaseAttempts;
        std::vector<BusyCause> busyCauses = {};
        std::vector<BusyCauseAttempt> causeAttempts = {};
        bool operator==(const Inputs&) const = default;
    };

    BlockedStatusView(const ProcessPresentation& presentation, const StatusContent& content,
                      BlockingProcessRow::Actions actions, QWidget* parent = nullptr);

    void setInputs(const StatusContent& content, Inputs inputs);
    const std::vector<BlockingProcessRow*>& rows() const { return rows_; }
    const std::vector<BusyCauseRow*>& causeRows() const { return causeRows_; }
    const std::set<std::int32_t>& expandedProcessIDs() const { return expanded_; }
    /// Its widgets that take the focus, top to bottom.
    std::vector<QWidget*> focusOrder() const;

private:
    void rebuildRows();

    const ProcessPresentation& presentation_;
    BlockingProcessRow::Actions actions_;
    StatusContent content_;
    Inputs inputs_;
    std::set<std::int32_t> expanded_;
    std::set<std::string> expandedCauses_;
    class QLabel* title_ = nullptr;
    class QLabel* message_ = nullptr;
    QVBoxLayout* rowsLayout_;
    std::vector<BlockingProcessRow*> rows_;
    std::vector<BusyCauseRow*> causeRows_;
};

} // namespace tovo
