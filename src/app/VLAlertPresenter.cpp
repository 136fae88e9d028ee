#include "VLAlertPresenter.h"

#include <QCoreApplication>
#include <QDialog>
#include <QMessageBox>
#include <QPushButton>

QString vlApplicationTitle()
{
    return QCoreApplication::translate("VelmoraSyncAppDelegate", "TINTERA Sync");
}

QString vlAlertTextStyle()
{
    return QStringLiteral("QLabel#qt_msgbox_label, QLabel#qt_msgbox_informativelabel { min-width: 340px; }");
}

void VLMessageBoxAlertPresenter::runModalAlert(const QString &title, const QString &text, const QString &button,
                                               Style style)
{
    // As a platform alert shows them: the title in bold as the message, the text below it.
    QMessageBox alert(style == Style::Information ? QMessageBox::Information : QMessageBox::Warning,
                      vlApplicationTitle(), title, QMessageBox::NoButton);
    alert.setInformativeText(text);
    alert.setStyleSheet(vlAlertTextStyle());
    alert.addButton(button, QMessageBox::AcceptRole);
    alert.setWindowModality(Qt::ApplicationModal);
    alert.exec();
}

bool VLMessageBoxAlertPresenter::runModalAlertWithDetails(const QString &title, const QString &text,
                                                          const QString &details, const QString &button,
                                                          const QString &detailsButton)
{
    QMessageBox alert(QMessageBox::Warning, vlApplicationTitle(), title, QMessageBox::NoButton);
    alert.setInformativeText(details.isEmpty() ? text : text + QStringLiteral("\n\n") + details);
    alert.setStyleSheet(vlAlertTextStyle());
    QPushButton *ok = alert.addButton(button, QMessageBox::AcceptRole);
    QPushButton *more = alert.addButton(detailsButton, QMessageBox::HelpRole);
    alert.setDefaultButton(ok);
    alert.setWindowModality(Qt::ApplicationModal);
    alert.exec();
    return alert.clickedButton() == more;
}

void VLMessageBoxAlertPresenter::presentError(const VLError &error)
{
    QMessageBox alert(QMessageBox::Critical, vlApplicationTitle(), error.localizedDescription(), QMessageBox::Ok);
    alert.setWindowModality(Qt::ApplicationModal);
    alert.exec();
}

int VLMessageBoxAlertPresenter::runModalWindow(QDialog *window)
{
    window->setWindowModality(Qt::ApplicationModal);
    return window->exec();
}
