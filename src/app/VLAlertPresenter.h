#pragma once

#include "VLError.h"

#include <QString>

class QDialog;

// Modal alerts and error presentation, behind an interface so that tests can answer them. Every
// window they open is titled "TINTERA Sync"; an alert's own title is its bold first line.
class VLAlertPresenter
{
public:
    enum class Style { Warning, Information };

    virtual ~VLAlertPresenter() = default;
    // Runs a modal alert with one button; returns when it is dismissed.
    virtual void runModalAlert(const QString &title, const QString &text, const QString &button,
                               Style style = Style::Warning) = 0;
    // The same with a second button that asks for more; answers whether that one was chosen.
    virtual bool runModalAlertWithDetails(const QString &title, const QString &text, const QString &details,
                                          const QString &button, const QString &detailsButton) = 0;
    // The application's standard presentation of an error (a modal alert with its description).
    virtual void presentError(const VLError &error) = 0;
    // Runs a window of the application as a modal session; returns its result code.
    virtual int runModalWindow(QDialog *window) = 0;
};

// QMessageBox, application-modal.
class VLMessageBoxAlertPresenter : public VLAlertPresenter
{
public:
    void runModalAlert(const QString &title, const QString &text, const QString &button, Style style) override;
    bool runModalAlertWithDetails(const QString &title, const QString &text, const QString &details,
                                  const QString &button, const QString &detailsButton) override;
    void presentError(const VLError &error) override;
    int runModalWindow(QDialog *window) override;
};

// The title of every window and alert of the application.
QString vlApplicationTitle();
// Room for an alert's texts, so that a path or a cause is not broken at every word.
QString vlAlertTextStyle();
