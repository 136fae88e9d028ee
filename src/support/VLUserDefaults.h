#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <QVariantMap>

// The application's user defaults, searched in this order: launch arguments ("-Key value"),
// the application's stored values (QSettings), then the registered fallback values.
class VLUserDefaults : public QObject
{
    Q_OBJECT
public:
    static VLUserDefaults *standardUserDefaults();

    void registerDefaults(const QVariantMap &fallbacks);
    QVariant objectForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    void setObjectForKey(const QVariant &value, const QString &key);
    void setBoolForKey(bool value, const QString &key);
    void removeObjectForKey(const QString &key);
    bool synchronize();

    // Re-reads "-Key value" pairs; done once from QCoreApplication::arguments() on first use.
    void setArguments(const QStringList &arguments);

private:
    VLUserDefaults();
    static QVariant parsedArgument(const QString &text);

    QSettings m_settings;
    QVariantMap m_argumentDomain;
    QVariantMap m_registrationDomain;
};
