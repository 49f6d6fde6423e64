#pragma once

#include <QObject>

namespace tovo {

/// Quits the application once its first frame has been painted. Start-up
/// measurements set TOVO_EXIT_AFTER_FIRST_FRAME to time a cold start to the
/// first picture on screen; with TOVO_FIRST_FRAME_FD also set, the moment the
/// frame was done (CLOCK_MONOTONIC, in nanoseconds) is written to that descriptor,
/// so the process's teardown stays out of the figure.
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
