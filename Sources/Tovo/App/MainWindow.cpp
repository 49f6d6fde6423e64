#include "Tovo/App/MainWindow.hpp"

#include "Tovo/Support/MenuPresentation.hpp"
#include "Tovo/Support/Qt/QtText.hpp"
#include "Tovo/Views/CloseQuestionBox.hpp"
#include "Tovo/Views/HeaderView.hpp"

#include <QAction>
#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>

namespace tovo {

MainWindow::MainWindow(ContentView::Environment environment, QWidget* parent)
    : QMainWindow(parent)
    , workflow_(environment.workflow)
    , content_(new ContentView(environment, this)) {
    setWindowTitle(QString::fromUtf8(MenuPresentation::windowTitle));
    setWindowIcon(QIcon(HeaderBadge::render(64)));
    setCentralWidget(content_);

    // No New Window: the menu holds only what works on the disk list.
    diskMenu_ = menuBar()->addMenu(QString::fromUtf8(MenuPresentation::menuMnemonicTitle));
    refreshAction_ = diskMenu_->addAction(QString::fromUtf8(MenuPresentation::refreshTitle));
    refreshAction_->setShortcut(QKeySequence(QString::fromUtf8(MenuPresentation::refreshShortcut)));
    refreshAction_->setShortcutContext(Qt::ApplicationShortcut);
    connect(refreshAction_, &QAction::triggered, content_, &ContentView::refresh);
    ejectAction_ = diskMenu_->addAction(QString());
    ejectAction_->setShortcut(QKeySequence(QString::fromUtf8(MenuPresentation::ejectShortcut)));
    ejectAction_->setShortcutContext(Qt::ApplicationShortcut);
    connect(ejectAction_, &QAction::triggered, content_, &ContentView::attemptEject);
    // Quitting needs no menu item of its own: the window's close asks first when
    // an eject is under way.
    quitAction_ = new QAction(this);
    quitAction_->setShortcut(QKeySequence(QString::fromUtf8(MenuPresentation::quitShortcut)));
    quitAction_->setShortcutContext(Qt::ApplicationShortcut);
    addAction(quitAction_);
    connect(quitAction_, &QAction::triggered, this, &QWidget::close);

    connect(content_, &ContentView::rendered, this, &MainWindow::updateMenu);
    updateMenu();
}

void MainWindow::resizeToDefault() {
    // Measured when shown, not when built: the menu bar's height needs the fonts.
    const int menu = menuBar()->sizeHint().height();
    setMinimumSize(420, 420 + menu);
    setMaximumSize(560, 720 + menu);
    resize(440, 500 + menu);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    const auto question = WriteOutPresentation::closeQuestion(
        workflow_.phase(), workflow_.selectedDisk(), content_->writeOutProgress());
    if (!question || closeConfirmed_) {
        QMainWindow::closeEvent(event);
        return;
    }
    // Quitting during an eject leaves the user without the answer: ask first.
    event->ignore();
    if (closeQuestion_ == nullptr) {
        closeQuestion_ = askBeforeClosing(this, *question, [this] {
            closeConfirmed_ = true;
            QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
        });
    }
}

void MainWindow::updateMenu() {
    const EjectionPhase& phase = workflow_.phase();
    const std::optional<ExternalDisk> disk = workflow_.selectedDisk();
    refreshAction_->setEnabled(MenuPresentation::isRefreshCommandEnabled(phase));
    ejectAction_->setText(QtText::literal(MenuPresentation::ejectCommandTitle(phase, disk)));
    ejectAction_->setEnabled(MenuPresentation::isEjectCommandEnabled(phase, disk));
}

} // namespace tovo
