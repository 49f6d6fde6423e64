#pragma once

#include "Tovo/Support/ReleaseReviewPresentation.hpp"
#include "Tovo/Views/ProminentButton.hpp"
#include "Tovo/Views/SheetFrame.hpp"

#include <functional>
#include <vector>

namespace tovo {

class SheetEntry;

/// The release review: what Tovo will ask to quit, what it will ask the system to
/// release, and what stays with the user, as a list. Nothing is asked to quit and
/// nothing is released unless the user confirms here. It opens with the focus on its
/// main button. Window-modal.
class SafeTovoConfirmationView final : public SheetFrame {
    Q_OBJECT

public:
    SafeTovoConfirmationView(const ProcessPresentation& presentation, const ExternalDisk& disk,
                             const std::vector<BlockingProcess>& blockers,
                             const std::vector<ProcessReleasePlan>& releasePlans,
                             const std::vector<BusyCause>& causes, std::function<void()> onCancel,
                             std::function<void()> onConfirm, QWidget* parent = nullptr);

    const ReleaseReviewContent& content() const { return content_; }
    /// Confirms with eligible plans; otherwise the only button, which just closes.
    ProminentButton* confirmButton() const { return confirm_; }
    /// Absent without eligible plans.
    QPushButton* cancelButton() const { return cancel_; }
    /// One per blocker, then one per other cause.
    const std::vector<SheetEntry*>& entries() const { return entries_; }

    /// Accepted confirms (when there is something to confirm); any other ending cancels.
    void done(int result) override;

private:
    ReleaseReviewContent content_;
    std::function<void()> onCancel_;
    std::function<void()> onConfirm_;
    ProminentButton* confirm_ = nullptr;
    ProminentButton* cancel_ = nullptr;
    std::vector<SheetEntry*> entries_;
    bool finished_ = false;
};

} // namespace tovo
