#pragma once

#include "KDCommand.h"
#include "KDMeasurement.h"
#include "VLError.h"

#include <QByteArray>
#include <QSharedPointer>

#include <functional>

// The one answer to one command: an error (null on success), payload bytes (null when the device
// sent none), the measurements ("GetMeasurements" only), and the command answered.
class KDCommandResponse
{
public:
    KDCommandResponse(KDCommandPtr command, VLError error, QByteArray data = {}, KDMeasurementList measurements = {});

    const VLError &error() const { return m_error; }
    const QByteArray &data() const { return m_data; }
    const KDMeasurementList &measurements() const { return m_measurements; }
    const KDCommandPtr &command() const { return m_command; }
    QString description() const;

private:
    KDCommandPtr m_command;
    VLError m_error;
    QByteArray m_data;
    KDMeasurementList m_measurements;
};

using KDCommandResponsePtr = QSharedPointer<KDCommandResponse>;
using KDCommandResponseHandler = std::function<void(const KDCommandResponsePtr &response)>;
