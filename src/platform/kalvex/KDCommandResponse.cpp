#include "KDCommandResponse.h"

#include <utility>

KDCommandResponse::KDCommandResponse(KDCommandPtr command, VLError error, QByteArray data,
                                     KDMeasurementList measurements)
    : m_command(std::move(command))
    , m_error(std::move(error))
    , m_data(std::move(data))
    , m_measurements(std::move(measurements))
{
}

QString KDCommandResponse::description() const
{
    QString text = QStringLiteral("<KDCommandResponse %1").arg(m_command ? m_command->name() : QStringLiteral("?"));
    if (!m_error.isNull())
        text += QStringLiteral(" error: ") + m_error.description();
    if (!m_data.isNull())
        text += QStringLiteral(" data: %1 bytes").arg(m_data.size());
    if (!m_measurements.isEmpty())
        text += QStringLiteral(" measurements: %1").arg(m_measurements.size());
    return text + QLatin1Char('>');
}
