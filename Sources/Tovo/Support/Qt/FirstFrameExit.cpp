#include "Tovo/Support/Qt/FirstFrameExit.hpp"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>

#include <ctime>
#include <string>
#include <unistd.h>

namespace tovo {

namespace {

void reportFrameDone() {
    bool valid = false;
    const int fd = qEnvironmentVariableIntValue("TOVO_FIRST_FRAME_FD", &valid);
    if (!valid || fd < 0) {
        return;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::string line =
        std::to_string(static_cast<long long>(now.tv_sec) * 1'000'000'000LL + now.tv_nsec) + "\n";
    // Best effort: a measurement without a reader simply has no figure.
    [[maybe_unused]] const ssize_t written = ::write(fd, line.data(), line.size());
    ::close(fd);
}

} // namespace

void FirstFrameExit::installIfRequested() {
    if (qEnvironmentVariableIsEmpty("TOVO_EXIT_AFTER_FIRST_FRAME")) {
        return;
    }
    auto* probe = new FirstFrameExit;
    probe->setParent(QCoreApplication::instance());
    QCoreApplication::instance()->installEventFilter(probe);
}

bool FirstFrameExit::eventFilter(QObject* watched, QEvent* event) {
    if (!painted_ && event->type() == QEvent::Paint) {
        painted_ = true;
        // The whole frame is painted in this pass; it is done when the pass returns.
        QTimer::singleShot(0, QCoreApplication::instance(), [] {
            reportFrameDone();
            QCoreApplication::quit();
        });
    }
    return QObject::eventFilter(watched, event);
}

} // namespace tovo
