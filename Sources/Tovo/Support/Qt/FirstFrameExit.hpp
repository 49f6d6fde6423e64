#pragma once

#include <QObject>

namespace tovo {

/// Quits the application once its first frame has been painted. Start-up
/// measurements set TOVO_EXIT_AFTER_FIRST_FRAME to time a cold start to the
/// first picture on screen.
class FirstFrameExit final : public QObject {
public:
    /// Installs itself on the application when the variable is set.
    static void installIfRequested();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool painted_ = false;
};

} // namespace tovo
