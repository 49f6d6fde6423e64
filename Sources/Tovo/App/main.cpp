#include "Tovo/App/MainWindow.hpp"
#include "Tovo/App/TovoApp.hpp"
#include "Tovo/Support/Qt/FirstFrameExit.hpp"
#include "Tovo/Support/Qt/FontDatabaseWarmUp.hpp"

#include <QApplication>

int main(int argc, char** argv) {
    // The switches are read once, before Qt takes the arguments it knows.
    const tovo::LaunchOptions options = tovo::parseLaunchOptions(argc, argv);
    QApplication application(argc, argv);
    const tovo::FontDatabaseWarmUp fonts;
    tovo::TovoApp::prepareApplication(application, options);
    tovo::FirstFrameExit::installIfRequested();
    tovo::TovoApp app(options);
    app.show();
    return QApplication::exec();
}
