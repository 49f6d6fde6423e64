// The yardstick for Tovo's start-up: the smallest Qt Widgets window, with the same
// first-frame probe as Tovo itself.
#include "Tovo/Support/Qt/FirstFrameExit.hpp"

#include <QApplication>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    tovo::FirstFrameExit::installIfRequested();
    QWidget window;
    window.setWindowTitle("Minimal");
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QLabel("Hello"));
    window.resize(440, 500);
    window.show();
    return QApplication::exec();
}
