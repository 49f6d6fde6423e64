#include "Tovo/Support/Qt/PhaseAnnouncer.hpp"

#include <QAccessible>
#include <QAccessibleEvent>

namespace tovo {

void PhaseAnnouncer::announce(const std::string& sentence) {
    logger_.debug("Announced: " + sentence);
    const QString text = QString::fromStdString(sentence);
    if (statusArea_ != nullptr) {
        statusArea_->setAccessibleDescription(text);
        QAccessibleEvent alert(statusArea_.data(), QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
    emit announced(text);
}

} // namespace tovo
