#pragma once

#include <QString>
#include <QVariantMap>
#include <QtGlobal>

// A failure as it travels through the system: a domain, a signed code, a localised text and extra
// information. A default-constructed error is "no error"; callers test it with isNull().
class VLError
{
public:
    VLError() = default;
    VLError(QString domain, qint64 code, QString localizedDescription, QVariantMap userInfo = {});

    bool isNull() const { return m_domain.isEmpty() && m_code == 0 && m_description.isEmpty(); }
    explicit operator bool() const { return !isNull(); }

    const QString &domain() const { return m_domain; }
    qint64 code() const { return m_code; }
    const QString &localizedDescription() const { return m_description; }
    const QVariantMap &userInfo() const { return m_userInfo; }

    // "Error Domain=<domain> Code=<code> "<description>"", the shape diagnostics print.
    QString description() const;

    bool operator==(const VLError &other) const = default;

private:
    QString m_domain;
    qint64 m_code = 0;
    QString m_description;
    QVariantMap m_userInfo;
};

Q_DECLARE_METATYPE(VLError)
