#include "VLError.h"

#include <utility>

VLError::VLError(QString domain, qint64 code, QString localizedDescription, QVariantMap userInfo)
    : m_domain(std::move(domain))
    , m_code(code)
    , m_description(std::move(localizedDescription))
    , m_userInfo(std::move(userInfo))
{
}

QString VLError::description() const
{
    if (isNull())
        return QStringLiteral("(null)");
    return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"").arg(m_domain).arg(m_code).arg(m_description);
}
