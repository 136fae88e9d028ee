#pragma once

#include "VLError.h"

#include <QString>

// Modal alerts and error presentation, behind an interface so that tests can answer them.
class VLAlertPresenter
{
public:
    virtual ~VLAlertPresenter() = default;
    // Runs a modal alert with one button; returns when it is dismissed.
    virtual void runModalAlert(const QString &title, const QString &text, const QString &button) = 0;
    // The application's standard presentation of an error (a modal alert with its description).
    virtual void presentError(const VLError &error) = 0;
};

// QMessageBox, application-modal.
class VLMessageBoxAlertPresenter : public VLAlertPresenter
{
public:
    void runModalAlert(const QString &title, const QString &text, const QString &button) override;
    void presentError(const VLError &error) override;
};
