#pragma once

#include "Tovo/Support/Qt/AtSpiLiveRegion.hpp"
#include "TovoCore/Services/Logger.hpp"

#include <QObject>
#include <QWidget>

#include <string>

namespace tovo {

/// Speaks a sentence to assistive technology: Qt 6.4 has no announcement call and its
/// AT-SPI bridge drops alerts, so the sentence goes into a polite live region beside
/// the status area, which screen readers read out; the journal gets it at debug level.
class PhaseAnnouncer final : public QObject {
    Q_OBJECT

public:
    PhaseAnnouncer(QWidget* statusArea, Logger& logger, QObject* parent = nullptr)
        : QObject(parent)
        , region_(statusArea)
        , logger_(logger) {}

    void announce(const std::string& sentence);
    const AtSpiLiveRegion& liveRegion() const { return region_; }

signals:
    /// After the sentence reached the live region; what was said.
    void announced(const QString& sentence);

private:
    AtSpiLiveRegion region_;
    Logger& logger_;
};

} // namespace tovo
