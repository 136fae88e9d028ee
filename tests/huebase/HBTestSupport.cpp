#include "HBTestSupport.h"

#include <CXF3FandeckCustomResource.h>
#include <TX350CustomResource.h>

#include <TestSupport.h>

#include <QDateTime>
#include <QTemporaryFile>

#include <cmath>

::testing::AssertionResult isValidCxf3(const QByteArray &document)
{
    QTemporaryFile file;
    if (!file.open() || file.write(document) != document.size() || !file.flush())
        return ::testing::AssertionFailure() << "could not write the document to check";
    const QString verdict = xmllintVerdict(file.fileName());
    if (verdict == QLatin1String("valid") || verdict == QLatin1String("skipped"))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << verdict.toStdString();
}

QList<double> sampleSpectrum(double phase)
{
    QList<double> values;
    for (int i = 0; i < 31; ++i)
        values << 0.45 + 0.3 * std::sin(phase + i * 0.2) + 0.001 * i;
    return values;
}

HBColorDocumentPtr sampleDocument()
{
    HBColorDocumentPtr document(new HBColorDocument);
    document->setAttribute(QStringLiteral("Test maker"), HBDocumentCreatorAttributeKey);
    document->setAttribute(QDateTime(QDate(2025, 3, 14), QTime(9, 30), Qt::UTC),
                           HBDocumentCreationDateAttributeKey);
    document->setAttribute(QStringLiteral("Sample fandeck & <friends>"), HBDocumentDescriptionAttributeKey);
    document->setAttribute(QStringLiteral("North"), QStringLiteral("Region"));
    document->addCustomResource(CXF3FandeckCustomResource::resourceWithAttributes({
        {CXF3FandeckCustomResourceGUIDKey, QStringLiteral("9b7f0a4e-1d2c-4c6a-8a51-0d6f3f1c2b01")},
        {CXF3FandeckCustomResourceNameKey, QStringLiteral("Sample Interiors")},
        {CXF3FandeckCustomResourceEditionKey, QStringLiteral("2025-1")},
        {CXF3FandeckCustomResourceSupplierKey, QStringLiteral("Velmora Paints")},
        {CXF3FandeckCustomResourceVersionKey, QStringLiteral("1.2")},
    }));

    for (int i = 0; i < 3; ++i) {
        HBColorPtr color = HBColor::color();
        color->setAttribute(QStringLiteral("Harbour Mist %1").arg(i), HBColorNameAttributeKey);
        color->setAttribute(QStringLiteral("VI %1").arg(1000 + i), HBColorNumberAttributeKey);
        color->setAttribute(QStringLiteral("00000000-0000-4000-8000-00000000000%1").arg(i),
                            HBColorUniqueIdentifierAttributeKey);
        color->addRepresentation(HBColorRepresentation::spectralRepresentation(400, 10, sampleSpectrum(i)));
        HBColorRepresentationPtr lab = HBColorRepresentation::labRepresentation(50 + i, -3.25, 12.5);
        lab->setAttribute(HBIlluminantD65, HBColorRepIlluminantAttributeKey);
        lab->setAttribute(1, HBColorRepObserverTypeAttributeKey);
        color->addRepresentation(lab);
        document->addColor(color);
    }

    HBColorPtr labOnly = HBColor::color();
    labOnly->setAttribute(QStringLiteral("Quiet Clay"), HBColorNameAttributeKey);
    labOnly->setAttribute(QStringLiteral("VI 2000"), HBColorNumberAttributeKey);
    labOnly->setAttribute(QStringLiteral("kept as a tag"), QStringLiteral("Finish"));
    HBColorRepresentationPtr measured = HBColorRepresentation::labRepresentation(61.5, 4.75, -8.0);
    measured->setAttribute(HBIlluminantD65, HBColorRepIlluminantAttributeKey);
    measured->setAttribute(1, HBColorRepObserverTypeAttributeKey);
    measured->setAttribute(QStringLiteral("Annular"), HBColorRepGeometrySingleAngleConfigurationAttributeKey);
    measured->setAttribute(45, HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey);
    measured->setAttribute(0, HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey);
    measured->setAttribute(2, HBColorRepMeasurementTypeAttributeKey);
    measured->setAttribute(HBTristimulusConvertionMethodE308Table6,
                           HBColorRepTristimulusSpectralConvertionMethodAttributeKey);
    labOnly->addRepresentation(measured);
    document->addColor(labOnly);

    QSharedPointer<TX350CustomResource> tx350 = TX350CustomResource::resource();
    tx350->addFandeck({{TX350CustomResourceFandeckIDKey, QStringLiteral("fd0")},
                       {TX350CustomResourceFandeckNameKey, QStringLiteral("Sample Interiors")}});
    tx350->addMatch({{TX350CustomResourceMatchColorFandeckIDKey, QStringLiteral("fd0")},
                     {TX350CustomResourceMatchColorObjectIDKey, QStringLiteral("00000000-0000-4000-8000-000000000001")},
                     {TX350CustomResourceMatchDateKey,
                      QDateTime(QDate(2026, 3, 7), QTime(9, 5, 0, 250), Qt::UTC)},
                     {TX350CustomResourceMatchAudioSourceURIKey, QStringLiteral("Audio/note 1.wav")},
                     {TX350CustomResourceMatchTextKey, QStringLiteral("kitchen \"north\" wall")},
                     {TX350CustomResourceMatchDeviceManufacturerKey, QStringLiteral("Kalvex")},
                     {TX350CustomResourceMatchDeviceModelKey, QStringLiteral("TX350")},
                     {QStringLiteral("extra key with spaces"), QStringLiteral("kept")}});
    document->addCustomResource(tx350);
    return document;
}
