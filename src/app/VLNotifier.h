#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <memory>

// A message on the desktop that the user can act on later (the end of a sync).
class VLNotifier
{
public:
    struct Action
    {
        QString key;
        QString label;
    };
    using ActionHandler = std::function<void(const QString &key)>;

    virtual ~VLNotifier() = default;
    // False when the desktop has no notification service: the caller then says it its own way.
    virtual bool notify(const QString &title, const QString &text, bool warning, const QList<Action> &actions,
                        ActionHandler onAction) = 0;
};

// The desktop's own notification service (VLNotifier_linux.cpp, VLNotifier_mac.cpp).
std::shared_ptr<VLNotifier> vlCreateSystemNotifier();
