#pragma once

#include "Tovo/Views/ContentView.hpp"

#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>

class QAction;
class QMenu;

namespace tovo {

/// The one window, titled "Tovo", with the "Disk" menu (Alt+D). Its content is
/// 420-560 by 420-720, 440 by 500 at first; a window manager that makes it larger
/// anyway gets the column centred on a background that fills it. Ctrl+Q quits.
class MainWindow final : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(ContentView::Environment environment, QWidget* parent = nullptr);

    ContentView* contentView() const { return content_; }
    QMenu* diskMenu() const { return diskMenu_; }
    QAction* refreshAction() const { return refreshAction_; }
    QAction* ejectAction() const { return ejectAction_; }
    QAction* quitAction() const { return quitAction_; }
    /// 440 by 500 points for the content, plus the menu bar.
    void resizeToDefault();
    /// The question asked because the window was closed during an eject, while open.
    QMessageBox* closeQuestion() const { return closeQuestion_; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void updateMenu();

    TovoWorkflow& workflow_;
    ContentView* content_;
    QMenu* diskMenu_;
    QAction* refreshAction_;
    QAction* ejectAction_;
    QAction* quitAction_;
    QPointer<QMessageBox> closeQuestion_;
    bool closeConfirmed_ = false;
};

} // namespace tovo
