#include "Tovo/Support/Qt/MountChangeWatcher.hpp"

#include <QSocketNotifier>

#include <poll.h>

namespace tovo {

MountChangeWatcher::MountChangeWatcher(QObject* parent, int quietMilliseconds)
    : QObject(parent) {
    quiet_.setSingleShot(true);
    quiet_.setInterval(quietMilliseconds);
    connect(&quiet_, &QTimer::timeout, this, &MountChangeWatcher::changed);
    for (const MountChangeMonitor::Watched& watched : monitor_.descriptors()) {
        // The mount table is always readable; only its priority mark means a change.
        const bool priority = (watched.events & POLLPRI) != 0;
        auto* notifier = new QSocketNotifier(
            watched.fd, priority ? QSocketNotifier::Exception : QSocketNotifier::Read, this);
        const short revents = priority ? POLLPRI : POLLIN;
        connect(notifier, &QSocketNotifier::activated, this,
                [this, fd = watched.fd, revents] { onReady(fd, revents); });
        notifiers_.push_back(notifier);
    }
}

MountChangeWatcher::~MountChangeWatcher() {
    // The notifiers must go before the monitor closes their descriptors.
    for (QSocketNotifier* notifier : notifiers_) {
        delete notifier;
    }
}

bool MountChangeWatcher::isWatching() const {
    return !notifiers_.empty();
}

void MountChangeWatcher::onReady(int fd, short revents) {
    if (monitor_.drain(fd, revents)) {
        quiet_.start();
    }
}

} // namespace tovo
