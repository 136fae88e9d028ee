#include "VLAlertPresenter.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

void VLMessageBoxAlertPresenter::runModalAlert(const QString &title, const QString &text, const QString &button)
{
    // As a platform alert shows them: the title in bold as the message, the text below it.
    QMessageBox alert(QMessageBox::Warning, title, title, QMessageBox::NoButton);
    alert.setInformativeText(text);
    alert.addButton(button, QMessageBox::AcceptRole);
    alert.setWindowModality(Qt::ApplicationModal);
    alert.exec();
}

void VLMessageBoxAlertPresenter::presentError(const VLError &error)
{
    QMessageBox alert(QMessageBox::Critical, QCoreApplication::applicationName(), error.localizedDescription(),
                      QMessageBox::Ok);
    alert.setWindowModality(Qt::ApplicationModal);
    alert.exec();
}
