#include "Tovo/Support/Qt/PhaseAnnouncer.hpp"

namespace tovo {

void PhaseAnnouncer::announce(const std::string& sentence) {
    logger_.debug("Announced: " + sentence);
    const QString text = QString::fromStdString(sentence);
    region_.say(text);
    emit announced(text);
}

} // namespace tovo
