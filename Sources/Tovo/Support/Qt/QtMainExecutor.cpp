#include "Tovo/Support/Qt/QtMainExecutor.hpp"

#include <QMetaObject>

namespace tovo {

QtMainExecutor::QtMainExecutor()
    : context_(std::make_unique<QObject>()) {}

QtMainExecutor::~QtMainExecutor() {
    // Queued calls die with their context object, so nothing runs on a dead executor.
    std::lock_guard lock(mutex_);
    context_.reset();
}

void QtMainExecutor::post(std::function<void()> work) {
    std::lock_guard lock(mutex_);
    if (!context_) {
        return;
    }
    QMetaObject::invokeMethod(
        context_.get(), [work = std::move(work)] { work(); }, Qt::QueuedConnection);
}

} // namespace tovo
