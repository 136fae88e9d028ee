#include "VLAlertPresenter.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

void VLMessageBoxAlertPresenter::runModalAlert(const QString &title, const QString &text, const QString &button)
{
    QMessageBox alert(QMessageBox::Warning, title, text, QMessageBox::NoButton);
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
