#include "VLUserDefaults.h"

#include <QCoreApplication>

VLUserDefaults *VLUserDefaults::standardUserDefaults()
{
    static VLUserDefaults *defaults = new VLUserDefaults;
    return defaults;
}

VLUserDefaults::VLUserDefaults()
    : m_settings(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Kalvex"), QStringLiteral("VelmoraSync"))
{
    if (QCoreApplication::instance())
        setArguments(QCoreApplication::arguments());
}

void VLUserDefaults::setArguments(const QStringList &arguments)
{
    m_argumentDomain.clear();
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        const QString &flag = arguments.at(i);
        if (flag.size() > 1 && flag.startsWith(QLatin1Char('-')) && !flag.startsWith(QLatin1String("--"))) {
            m_argumentDomain.insert(flag.mid(1), parsedArgument(arguments.at(i + 1)));
            ++i;
        }
    }
}

// Launch-argument values arrive as text; YES/NO and true/false are the booleans people type.
QVariant VLUserDefaults::parsedArgument(const QString &text)
{
    const QString lower = text.toLower();
    if (lower == QLatin1String("yes") || lower == QLatin1String("true"))
        return true;
    if (lower == QLatin1String("no") || lower == QLatin1String("false"))
        return false;
    return text;
}

void VLUserDefaults::registerDefaults(const QVariantMap &fallbacks)
{
    for (auto it = fallbacks.constBegin(); it != fallbacks.constEnd(); ++it)
        m_registrationDomain.insert(it.key(), it.value());
}

QVariant VLUserDefaults::objectForKey(const QString &key) const
{
    if (m_argumentDomain.contains(key))
        return m_argumentDomain.value(key);
    const QVariant stored = m_settings.value(key);
    if (stored.isValid())
        return stored;
    return m_registrationDomain.value(key);
}

bool VLUserDefaults::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString)
        return parsedArgument(value.toString()).toBool();
    return value.toBool();
}

void VLUserDefaults::setObjectForKey(const QVariant &value, const QString &key)
{
    m_settings.setValue(key, value);
}

void VLUserDefaults::setBoolForKey(bool value, const QString &key)
{
    m_settings.setValue(key, value);
}

void VLUserDefaults::removeObjectForKey(const QString &key)
{
    m_settings.remove(key);
}

bool VLUserDefaults::synchronize()
{
    m_settings.sync();
    return m_settings.status() == QSettings::NoError;
}
