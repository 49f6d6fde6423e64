#pragma once

#include "TovoCore/Workflow/TovoWorkflow.hpp"

#include <QObject>

namespace tovo {

/// Turns the workflow's "about to change" callbacks into one queued `changed()`
/// signal: by the time it is delivered every assignment of the burst has landed,
/// so the screens redraw once from settled state.
class WorkflowBridge final : public QObject {
    Q_OBJECT

public:
    explicit WorkflowBridge(TovoWorkflow& workflow, QObject* parent = nullptr);
    ~WorkflowBridge() override;

    TovoWorkflow& workflow() const { return workflow_; }
    /// Something else the screens show changed: one more queued `changed()`.
    void requestRedraw();

signals:
    void changed();

private:
    void deliver();

    TovoWorkflow& workflow_;
    std::size_t observerToken_ = 0;
    bool pending_ = false;
};

} // namespace tovo
