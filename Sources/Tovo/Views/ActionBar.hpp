#pragma once

#include "Tovo/Support/ActionBarPresentation.hpp"
#include "Tovo/Views/ProminentButton.hpp"

#include <QWidget>

#include <functional>
#include <optional>

class QShortcut;

namespace tovo {

/// The one primary action that fits the phase, and in the blocked phase the safe
/// action that opens the release review.
class ActionBar final : public QWidget {
    Q_OBJECT

public:
    struct Actions {
        std::function<void()> onEject;
        std::function<void()> onTovo;
        std::function<void()> onRefresh;
        std::function<void()> onReset;
    };

    explicit ActionBar(Actions actions, QWidget* parent = nullptr);

    /// `causeActions`: Tovo may release a cause besides the processes, so the review
    /// leads as it does when an app can be asked to quit.
    void setState(const EjectionPhase& phase, const std::optional<ExternalDisk>& disk,
                  const std::vector<ProcessReleasePlan>& releasePlans, bool causeActions = false);

    ProminentButton* primaryButton() const { return primary_; }
    /// The "Safely eject …" button; hidden outside the blocked phase.
    ProminentButton* safeButton() const { return safe_; }
    /// The button the focus belongs on: the one that leads, when it can be pressed;
    /// null when neither can.
    QWidget* focusTarget() const;
    const std::optional<ActionBarContent>& content() const { return content_; }

private:
    void triggerPrimary();
    void applyProminence();

    Actions actions_;
    ProminentButton* primary_;
    ProminentButton* safe_;
    QShortcut* returnKey_;
    QShortcut* enterKey_;
    std::optional<ActionBarContent> content_;
    bool safeLeads_ = false;
};

} // namespace tovo
