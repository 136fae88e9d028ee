#include "DevsimFandeck.h"

#include "DevsimErrors.h"
#include "HBColorDocument.h"

#include <QTextStream>

bool devsimIsFandeckDocument(const QString &path, VLError *error)
{
    VLError reason;
    if (HBColorDocument::initWithFile(path, nullptr, &reason))
        return true;
    *error = devsimError(DevsimErrorNotAFandeck,
                         QStringLiteral("The fandeck is not a usable CxF3 document: %1").arg(reason.localizedDescription()));
    return false;
}

std::optional<DevsimLab> devsimLabOfColor(const HBColorPtr &color)
{
    const QList<HBColorRepresentationPtr> spectra = color->representationsWithColorSpaceModel(HBColorSpaceModelSpectral);
    if (!spectra.isEmpty()) {
        VLError error;
        const QVariantMap info{{HBColorRepIlluminantAttributeKey, HBIlluminantD65},
                               {HBColorRepObserverTypeAttributeKey, HBObserverTypeCIE1964TenDegree}};
        if (HBColorRepresentationPtr lab = spectra.last()->colorUsingColorSpaceModel(HBColorSpaceModelCIELab, info, &error))
            return DevsimLab{lab->L(), lab->a(), lab->b()};
    }
    const QList<HBColorRepresentationPtr> labs = color->representationsWithColorSpaceModel(HBColorSpaceModelCIELab);
    if (!labs.isEmpty())
        return DevsimLab{labs.last()->L(), labs.last()->a(), labs.last()->b()};
    return std::nullopt;
}

QList<DevsimCandidate> devsimEnabledFandeckColors(const DevsimStore &store, const QVariantMap &state)
{
    QList<DevsimCandidate> candidates;
    const QVariantList files = state.value(DevsimKey::Files).toList();
    for (const QVariant &item : files) {
        const QVariantMap file = item.toMap();
        if (file.value(QStringLiteral("FileType")).toString() != QStringLiteral("Fandeck")
            || !file.value(DevsimKey::Enabled).toBool())
            continue;
        const QString deviceFileID = file.value(DevsimKey::DeviceFileID).toString();
        VLError error;
        const HBColorDocumentPtr document = HBColorDocument::initWithFile(store.filePayloadPath(deviceFileID), nullptr, &error);
        if (!document) {
            QTextStream(stderr) << "tintera-devsim: fandeck " << deviceFileID << " unreadable: " << error.description() << "\n";
            continue;
        }
        for (const HBColorPtr &color : document->colors()) {
            QString colorId = color->attributeForKey(HBColorNumberAttributeKey).toString();
            if (colorId.isEmpty())
                colorId = color->attributeForKey(HBColorNameAttributeKey).toString();
            const std::optional<DevsimLab> lab = devsimLabOfColor(color);
            if (!colorId.isEmpty() && lab)
                candidates.append(DevsimCandidate{colorId, deviceFileID, *lab});
        }
    }
    return candidates;
}

DevsimMatchSettings devsimMatchSettings(const QVariantMap &state)
{
    const QVariantMap deltaE = state.value(DevsimKey::DeltaE).toMap();
    DevsimMatchSettings settings;
    settings.kL = deltaE.value(QStringLiteral("DEWeightFactorL"), 1.0).toDouble();
    settings.kC = deltaE.value(QStringLiteral("DEWeightFactorC"), 1.0).toDouble();
    settings.kH = deltaE.value(QStringLiteral("DEWeightFactorH"), 1.0).toDouble();
    if (deltaE.contains(QStringLiteral("MatchPerformanceTolerance")))
        settings.tolerance = deltaE.value(QStringLiteral("MatchPerformanceTolerance")).toDouble();
    settings.priorityOffset = deltaE.value(QStringLiteral("PriorityFandeckOffset"), 0.0).toDouble();
    settings.priorityDeviceFileID = state.value(DevsimKey::PreferredFandeck).toString();
    return settings;
}
