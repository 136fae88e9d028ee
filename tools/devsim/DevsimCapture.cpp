#include "DevsimCapture.h"

#include "DevsimErrors.h"
#include "DevsimFandeck.h"
#include "DevsimMedia.h"
#include "HBColor.h"
#include "KDMeasurement.h"

#include <QDateTime>
#include <QDir>
#include <QFile>

namespace {

// Audio notes are named by the device, one after the other.
QString nextAudioName(const DevsimStore &store)
{
    const QDir folder(store.audioFolder());
    for (int n = 1;; ++n) {
        const QString name = QStringLiteral("note-%1.wav").arg(n, 4, 10, QLatin1Char('0'));
        if (!folder.exists(name))
            return name;
    }
}

} // namespace

QVariantMap devsimCapture(const DevsimStore &store, const DevsimCaptureRequest &request, VLError *error)
{
    const QVariantMap state = store.load(error);
    if (state.isEmpty())
        return {};

    HBColorPtr measured = HBColor::color();
    if (!request.spectrum.isEmpty()) {
        measured->addRepresentation(
            HBColorRepresentation::spectralRepresentation(request.spectrumStart, request.spectrumIncrement, request.spectrum));
    } else if (request.lab) {
        const DevsimLab &lab = *request.lab;
        measured->addRepresentation(HBColorRepresentation::labRepresentation(lab[0], lab[1], lab[2]));
    }
    const std::optional<DevsimLab> lab = devsimLabOfColor(measured);
    if (!lab) {
        *error = devsimError(DevsimErrorBadArgument, QStringLiteral("The captured colour has no usable CIELAB or spectral values."));
        return {};
    }
    if (!request.spectrum.isEmpty())
        measured->addRepresentation(HBColorRepresentation::labRepresentation((*lab)[0], (*lab)[1], (*lab)[2]));

    if (const std::optional<DevsimMatch> match =
            devsimBestMatch(*lab, devsimEnabledFandeckColors(store, state), devsimMatchSettings(state))) {
        measured->setAttribute(match->candidate.colorId, KDMeasurementColorIdKey);
        measured->setAttribute(match->candidate.deviceFileID, KDMeasurementDeviceFileIDKey);
    }
    const double now = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    measured->setAttribute(request.dateSince1970.value_or(now + state.value(DevsimKey::ClockOffset).toDouble()),
                           KDMeasurementDateSince1970Key);
    if (!request.textTag.isEmpty())
        measured->setAttribute(request.textTag, KDMeasurementTextTagKey);

    QString audioTarget;
    if (!request.audioFile.isEmpty()) {
        QFile audio(request.audioFile);
        if (!audio.open(QIODevice::ReadOnly) || !devsimIsWave(audio.peek(12))) {
            *error = devsimError(DevsimErrorBadArgument, QStringLiteral("%1 is not a WAV file.").arg(request.audioFile));
            return {};
        }
        const QString name = nextAudioName(store);
        audioTarget = QDir(store.audioFolder()).filePath(name);
        QDir().mkpath(store.audioFolder());
        if (!QFile::copy(request.audioFile, audioTarget)) {
            *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("The audio note cannot be stored."));
            return {};
        }
        measured->setAttribute(name, KDMeasurementAudioFileNameKey);
    }

    const QVariantMap record{{KDMeasurementColorSpaceColorInfo, measured->propertyList()}};
    if (store.addMeasurementRecord(record, error).isEmpty()) {
        if (!audioTarget.isEmpty())
            QFile::remove(audioTarget);
        return {};
    }
    return record;
}
