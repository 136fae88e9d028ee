#pragma once

#include "VLAlertPresenter.h"

#include <QList>
#include <QStringList>

#include <functional>

// Answers every alert at once and remembers it; whileShown runs inside the alert, as events that
// arrive while a modal alert is up would.
class RecordingAlerts : public VLAlertPresenter
{
public:
    struct Alert
    {
        QString title;
        QString text;
        QString button;
    };

    void runModalAlert(const QString &title, const QString &text, const QString &button) override
    {
        alerts.append({title, text, button});
        if (whileShown) {
            auto once = std::move(whileShown);
            whileShown = nullptr;
            once();
        }
    }
    void presentError(const VLError &error) override { presentedErrors.append(error); }

    QList<Alert> alerts;
    QList<VLError> presentedErrors;
    std::function<void()> whileShown;
};
