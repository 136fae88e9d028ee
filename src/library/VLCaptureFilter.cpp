#include "VLCaptureFilter.h"

#include <QDate>

bool VLCaptureFilter::matches(const VLCapture &capture) const
{
    if (since.isValid() && (!capture.capturedAt.isValid() || capture.capturedAt < since))
        return false;
    if (!fandeck.isEmpty() && fandeck.compare(capture.fandeck, Qt::CaseInsensitive) != 0
        && fandeck.compare(capture.deviceFileID, Qt::CaseInsensitive) != 0)
        return false;
    if (search.isEmpty())
        return true;
    for (const QString *field : {&capture.tag, &capture.colorName, &capture.colorNumber, &capture.fandeck}) {
        if (field->contains(search, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

QDateTime vlCaptureFilterDate(const QString &text)
{
    const QDate day = QDate::fromString(text, Qt::ISODate);
    if (day.isValid() && text.size() == 10)
        return day.startOfDay(Qt::UTC);
    QDateTime moment = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (moment.isValid() && moment.timeSpec() == Qt::LocalTime && !text.endsWith(QLatin1Char('Z')))
        moment.setTimeSpec(Qt::UTC);
    return moment.toUTC();
}
