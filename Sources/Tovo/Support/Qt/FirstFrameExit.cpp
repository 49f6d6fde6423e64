#include "Tovo/Support/Qt/FirstFrameExit.hpp"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>

namespace tovo {

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
        // The whole frame is painted in this pass; quit when it is done.
        QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
    }
    return QObject::eventFilter(watched, event);
}

} // namespace tovo
