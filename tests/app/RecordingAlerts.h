#pragma once

#include "VLAlertPresenter.h"

#include <QDialog>
#include <QList>
#include <QPointer>
#include <QStringList>

#include <functional>

// Answers every alert at once and remembers it; whileShown runs inside the alert, as events that
// arrive while a modal alert is up would. Modal windows are shown, recorded and closed at once.
class RecordingAlerts : public VLAlertPresenter
{
public:
    struct Alert
    {
        QString title;
        QString text;
        QString button;
        Style style = Style::Warning;
        QString details;
        QString detailsButton;
    };

    void runModalAlert(const QString &title, const QString &text, const QString &button, Style style) override
    {
        alerts.append({title, text, button, style, {}, {}});
        runWhileShown();
    }
    bool runModalAlertWithDetails(const QString &title, const QString &text, const QString &details,
                                  const QString &button, const QString &detailsButton) override
    {
        alerts.append({title, text, button, Style::Warning, details, detailsButton});
        runWhileShown();
        return chooseDetails;
    }
    void presentError(const VLError &error) override { presentedErrors.append(error); }
    int runModalWindow(QDialog *window) override
    {
        modalWindows.append(window);
        window->show();
        if (whileWindowShown)
            whileWindowShown(window);
        window->hide();
        return 1;
    }

    QList<Alert> alerts;
    QList<VLError> presentedErrors;
    QList<QPointer<QDialog>> modalWindows;
    std::function<void()> whileShown;
    std::function<void(QDialog *)> whileWindowShown;
    // What the user answers to an alert that offers details.
    bool chooseDetails = false;

private:
    void runWhileShown()
    {
        if (whileShown) {
            auto once = std::move(whileShown);
            whileShown = nullptr;
            once();
        }
    }
};
