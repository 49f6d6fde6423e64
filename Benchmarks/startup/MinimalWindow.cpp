// The yardstick for Tovo's start-up: the smallest Qt Widgets window, quitting after
// its first painted frame exactly as Tovo does under TOVO_EXIT_AFTER_FIRST_FRAME.
#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>

namespace {

class FirstFrameExit final : public QObject {
protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (!painted_ && event->type() == QEvent::Paint) {
            painted_ = true;
            QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool painted_ = false;
};

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    FirstFrameExit probe;
    application.installEventFilter(&probe);
    QWidget window;
    window.setWindowTitle("Minimal");
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QLabel("Hello"));
    window.resize(440, 500);
    window.show();
    return QApplication::exec();
}
