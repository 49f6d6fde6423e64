#pragma once

#include "TovoCore/Services/Logger.hpp"

#include <QObject>
#include <QPointer>
#include <QWidget>

#include <string>

namespace tovo {

/// Speaks a sentence to assistive technology. Qt 6.4 has no announcement call, so
/// the sentence becomes the status area's accessible description and an alert is
/// raised on it, which screen readers read out; the journal gets it at debug level.
class PhaseAnnouncer final : public QObject {
    Q_OBJECT

public:
    PhaseAnnouncer(QWidget* statusArea, Logger& logger, QObject* parent = nullptr)
        : QObject(parent)
        , statusArea_(statusArea)
        , logger_(logger) {}

    void announce(const std::string& sentence);

signals:
    /// After the alert was raised; what was said.
    void announced(const QString& sentence);

private:
    QPointer<QWidget> statusArea_;
    Logger& logger_;
};

} // namespace tovo
