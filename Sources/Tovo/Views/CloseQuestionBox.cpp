#include "Tovo/Views/CloseQuestionBox.hpp"

#include <QMessageBox>
#include <QPushButton>

namespace tovo {

QMessageBox* askBeforeClosing(QWidget* parent, const CloseQuestion& question,
                              std::function<void()> quit) {
    auto* box = new QMessageBox(parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(QString::fromStdString(question.title));
    box->setText(QString::fromStdString(question.text));
    box->setInformativeText(QString::fromStdString(question.informativeText));
    auto* quitButton =
        box->addButton(QString::fromStdString(question.quitTitle), QMessageBox::DestructiveRole);
    auto* stayButton =
        box->addButton(QString::fromStdString(question.stayTitle), QMessageBox::RejectRole);
    box->setDefaultButton(stayButton);
    box->setEscapeButton(stayButton);
    QObject::connect(box, &QMessageBox::buttonClicked,
                     [quitButton, quit = std::move(quit)](QAbstractButton* clicked) {
                         if (clicked == quitButton && quit) {
                             quit();
                         }
                     });
    box->setWindowModality(Qt::WindowModal);
    box->open();
    return box;
}

} // namespace tovo
