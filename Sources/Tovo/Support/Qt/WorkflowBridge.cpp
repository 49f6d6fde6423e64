#include "Tovo/Support/Qt/WorkflowBridge.hpp"

#include <QMetaObject>

namespace tovo {

WorkflowBridge::WorkflowBridge(TovoWorkflow& workflow, QObject* parent)
    : QObject(parent)
    , workflow_(workflow) {
    observerToken_ = workflow_.addObserver([this](WorkflowProperty) { requestRedraw(); });
}

void WorkflowBridge::requestRedraw() {
    if (pending_) {
        return;
    }
    pending_ = true;
    QMetaObject::invokeMethod(this, &WorkflowBridge::deliver, Qt::QueuedConnection);
}

WorkflowBridge::~WorkflowBridge() {
    workflow_.removeObserver(observerToken_);
}

void WorkflowBridge::deliver() {
    pending_ = false;
    emit changed();
}

} // namespace tovo
