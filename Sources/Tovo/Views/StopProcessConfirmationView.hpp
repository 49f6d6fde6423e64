#pragma once

#include "Tovo/Support/StopConfirmationPresentation.hpp"
#include "Tovo/Views/ProminentButton.hpp"
#include "Tovo/Views/SheetFrame.hpp"

#include <functional>

class QLabel;

namespace tovo {

/// The review before one stop request. Nothing is stopped unless the user confirms
/// here: Cancel is the default button and has the focus, and the stop button is
/// marked destructive; the sheet says in words what confirming does. Without a usable
/// plan it only explains and closes. Window-modal.
class StopProcessConfirmationView final : public SheetFrame {
    Q_OBJECT

public:
    StopProcessConfirmationView(const ProcessPresentation& presentation,
                                const BlockingProcess& process,
                                const std::optional<ProcessStopPlan>& plan,
                                const std::optional<ProcessReleasePlan>& releasePlan,
                                std::function<void()> onCancel, std::function<void()> onConfirm,
                                QWidget* parent = nullptr);

    const StopConfirmationContent& content() const { return content_; }
    ProminentButton* confirmButton() const { return confirm_; }
    QPushButton* cancelButton() const { return cancel_; }
    /// The sentence that says what confirming does; absent without a usable plan.
    QLabel* consequenceLabel() const { return consequence_; }

    void done(int result) override;

private:
    StopConfirmationContent content_;
    std::function<void()> onCancel_;
    std::function<void()> onConfirm_;
    ProminentButton* confirm_ = nullptr;
    ProminentButton* cancel_ = nullptr;
    QLabel* consequence_ = nullptr;
    bool finished_ = false;
};

} // namespace tovo
