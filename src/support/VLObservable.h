#pragma once

#include <QObject>
#include <QString>

// Key-value observation: an object announces, per key, that a value will change and that it did.
// Widgets and tests connect to the two signals; the order of announcements is the caller's.
class VLObservable : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

signals:
    void valueWillChange(const QString &key);
    void valueDidChange(const QString &key);

protected:
    void willChangeValueForKey(const QString &key) { emit valueWillChange(key); }
    void didChangeValueForKey(const QString &key) { emit valueDidChange(key); }
};
