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
    // A person means their own day and clock: a day starts at local midnight (or the first local
    // time there is, where a clock change skips midnight), and a time without a zone is local.
    const QDate day = QDate::fromString(text, Qt::ISODate);
    if (day.isValid() && text.size() == 10)
        return day.startOfDay().toUTC();
    return QDateTime::fromString(text, Qt::ISODateWithMs).toUTC();
}
