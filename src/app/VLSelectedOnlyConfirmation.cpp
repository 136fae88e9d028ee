#include "VLSelectedOnlyConfirmation.h"

#include "VLAlertPresenter.h"
#include "VLSelectedOnlyWarning.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QPushButton>

QMessageBox *vlAskToTurnOnSelectedOnly(
    QWidget *parent, const VLSelectedOnlyWarning &warning, std::function<void()> turnOn)
{
    const auto tr = [](const char *text) { return QCoreApplication::translate("VLSelectedOnlyConfirmation", text); };
    auto *box = new QMessageBox(
        QMessageBox::Warning, vlApplicationTitle(), tr("Sync selected fandecks only?"), QMessageBox::NoButton, parent);
    box->setObjectName(QStringLiteral("selectedOnlyConfirmation"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setStyleSheet(vlAlertTextStyle());
    box->setInformativeText(warning.text() + QLatin1Char(' ')
        + tr("Tick the fandecks to keep once the option is on; the fandecks stay on this computer."));
    QPushButton *confirm
        = box->addButton(warning.noneSelected ? tr("Turn On and Remove") : tr("Turn On"), QMessageBox::DestructiveRole);
    QPushButton *cancel = box->addButton(QMessageBox::Cancel);
    // What cannot be undone is never the default.
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    QObject::connect(
        box, &QMessageBox::buttonClicked, box, [confirm, turnOn = std::move(turnOn)](QAbstractButton *button) {
            if (button == confirm && turnOn)
                turnOn();
        });
    box->open();
    return box;
}
