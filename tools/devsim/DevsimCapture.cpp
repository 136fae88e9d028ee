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

namespace {

// What every capture of one batch is matched with: the device's state, read once.
struct CaptureContext
{
    QVariantMap state;
    QList<DevsimCandidate> candidates;
    DevsimMatchSettings settings;
};

QVariantMap captureRecord(const DevsimStore &store, const CaptureContext &context, const DevsimCaptureRequest &request,
                          QString *audioTarget, VLError *error)
{
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

    if (const std::optional<DevsimMatch> match = devsimBestMatch(*lab, context.candidates, context.settings)) {
        measured->setAttribute(match->candidate.colorId, KDMeasurementColorIdKey);
        measured->setAttribute(match->candidate.deviceFileID, KDMeasurementDeviceFileIDKey);
    }
    const double now = double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    measured->setAttribute(request.dateSince1970.value_or(now + context.state.value(DevsimKey::ClockOffset).toDouble()),
                           KDMeasurementDateSince1970Key);
    if (!request.textTag.isEmpty())
        measured->setAttribute(request.textTag, KDMeasurementTextTagKey);

    if (!request.audioFile.isEmpty()) {
        QFile audio(request.audioFile);
        if (!audio.open(QIODevice::ReadOnly) || !devsimIsWave(audio.peek(12))) {
            *error = devsimError(DevsimErrorBadArgument, QStringLiteral("%1 is not a WAV file.").arg(request.audioFile));
            return {};
        }
        const QString name = nextAudioName(store);
        *audioTarget = QDir(store.audioFolder()).filePath(name);
        QDir().mkpath(store.audioFolder());
        if (!QFile::copy(request.audioFile, *audioTarget)) {
            *error = devsimError(DevsimErrorStorageFailed, QStringLiteral("The audio note cannot be stored."));
            return {};
        }
        measured->setAttribute(name, KDMeasurementAudioFileNameKey);
    }
    return {{KDMeasurementColorSpaceColorInfo, measured->propertyList()}};
}

} // namespace

QList<QVariantMap> devsimCaptureMany(const DevsimStore &store, const QList<DevsimCaptureRequest> &requests, VLError *error)
{
    CaptureContext context;
    context.state = store.load(error);
    if (context.state.isEmpty())
        return {};
    context.candidates = devsimEnabledFandeckColors(store, context.state);
    context.settings = devsimMatchSettings(context.state);
    QList<QVariantMap> records;
    QStringList audioTargets;
    for (const DevsimCaptureRequest &request : requests) {
        QString audioTarget;
        records.append(captureRecord(store, context, request, &audioTarget, error));
        if (!audioTarget.isEmpty())
            audioTargets << audioTarget;
        if (records.last().isEmpty())
            break;
    }
    if (records.isEmpty() || records.last().isEmpty() || store.addMeasurementRecords(records, error).isEmpty()) {
        for (const QString &target : std::as_const(audioTargets))
            QFile::remove(target);
        return {};
    }
    return records;
}

QVariantMap devsimCapture(const DevsimStore &store, const DevsimCaptureRequest &request, VLError *error)
{
    const QList<QVariantMap> records = devsimCaptureMany(store, {request}, error);
    return records.isEmpty() ? QVariantMap() : records.first();
}
