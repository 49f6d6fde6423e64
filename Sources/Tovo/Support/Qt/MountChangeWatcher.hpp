#pragma once

#include "TovoSystem/Linux/MountChangeMonitor.hpp"

#include <QObject>
#include <QTimer>

#include <memory>
#include <vector>

class QSocketNotifier;

namespace tovo {

/// Watches the mount table and udev's block devices from the Qt event loop and
/// emits `changed()` once per burst: one plugged disk brings several udev events and
/// a mount or two, and one refresh covers them all.
class MountChangeWatcher final : public QObject {
    Q_OBJECT

public:
    explicit MountChangeWatcher(QObject* parent = nullptr, int quietMilliseconds = 200);
    ~MountChangeWatcher() override;

    bool isWatching() const;

signals:
    void changed();

private:
    void onReady(int fd, short revents);

    MountChangeMonitor monitor_;
    std::vector<QSocketNotifier*> notifiers_;
    QTimer quiet_;
};

} // namespace tovo
