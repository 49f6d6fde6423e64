#pragma once

#include "Tovo/Support/StopConfirmationPresentation.hpp"
#include "Tovo/Views/ProminentButton.hpp"

#include <QDialog>

#include <functional>

class QPushButton;

namespace tovo {

/// The review before one stop request. Nothing is stopped unless the user confirms
/// here; without a usable plan it only explains and closes. Window-modal.
class StopProcessConfirmationView final : public QDialog {
    Q_OBJECT

public:
    StopProcessConfirmationView(const ProcessPresentation& presentation,
                                const BlockingProcess& process,
                                const std::optional<ProcessStopPlan>& plan,
                                std::function<void()> onCancel, std::function<void()> onConfirm,
                                QWidget* parent = nullptr);

    const StopConfirmationContent& content() const { return content_; }
    ProminentButton* confirmButton() const { return confirm_; }
    QPushButton* cancelButton() const { return cancel_; }

    void done(int result) override;

private:
    StopConfirmationContent content_;
    std::function<void()> onCancel_;
    std::function<void()> onConfirm_;
    ProminentButton* confirm_ = nullptr;
    QPushButton* cancel_ = nullptr;
    bool finished_ = false;
};

} // namespace tovo
