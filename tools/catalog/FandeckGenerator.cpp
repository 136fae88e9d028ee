#include "FandeckGenerator.h"

#include "CatalogRandom.h"
#include "ColorNames.h"

#include <CXF3FandeckCustomResource.h>

#include <QUuid>

#include <cmath>

namespace {

constexpr int kStartWavelength = 400;
constexpr int kIncrement = 10;
constexpr int kBands = 31;

struct PaletteShape {
    double baseLow, baseHigh;     // overall reflectance level
    double bumpLow, bumpHigh;     // height of the hue bumps (negative = absorption)
    int maxBumps;
};

PaletteShape shapeOf(FandeckRecipe::Palette palette)
{
    switch (palette) {
    case FandeckRecipe::Palette::Interior:
        return {0.25, 0.75, -0.25, 0.3, 2};
    case FandeckRecipe::Palette::Exterior:
        return {0.08, 0.55, -0.2, 0.35, 2};
    case FandeckRecipe::Palette::Heritage:
        return {0.1, 0.5, -0.15, 0.25, 3};
    case FandeckRecipe::Palette::Bright:
        return {0.04, 0.2, 0.3, 0.75, 2};
    case FandeckRecipe::Palette::White:
        return {0.78, 0.88, -0.06, 0.05, 1};
    }
    return {0.2, 0.6, -0.2, 0.3, 2};
}

double round4(double value)
{
    return std::round(value * 10000.0) / 10000.0;
}

double round2(double value)
{
    return std::round(value * 100.0) / 100.0;
}

// A smooth reflectance curve: a level, a gentle tilt, and a few broad bumps or dips, folded
// softly into the range real paints reach.
QList<double> makeSpectrum(CatalogRandom &random, const PaletteShape &shape)
{
    const double base = random.uniform(shape.baseLow, shape.baseHigh);
    const double tilt = random.uniform(-0.15, 0.15);
    const int bumps = 1 + int(random.below(quint64(shape.maxBumps)));
    double centre[3], width[3], height[3];
    for (int k = 0; k < bumps; ++k) {
        centre[k] = random.uniform(420, 690);
        width[k] = random.uniform(35, 90);
        height[k] = random.uniform(shape.bumpLow, shape.bumpHigh);
    }
    QList<double> values;
    values.reserve(kBands);
    for (int i = 0; i < kBands; ++i) {
        const double wavelength = kStartWavelength + i * kIncrement;
        double raw = base + tilt * (wavelength - 550) / 150.0;
        for (int k = 0; k < bumps; ++k)
            raw += height[k] * std::exp(-std::pow((wavelength - centre[k]) / width[k], 2));
        const double folded = 0.02 + 0.92 / (1.0 + std::exp(-6.0 * (raw - 0.5)));
        values << round4(folded);
    }
    return values;
}

void setMeasurementConditions(HBColorRepresentation &representation)
{
    representation.setAttribute(QStringLiteral("Annular"), HBColorRepGeometrySingleAngleConfigurationAttributeKey);
    representation.setAttribute(45, HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey);
    representation.setAttribute(0, HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey);
    representation.setAttribute(2, HBColorRepMeasurementTypeAttributeKey);
}

} // namespace

QString catalogGuid(const QString &name)
{
    static const QUuid catalogNamespace(QStringLiteral("{6f1c8a52-3b0e-4d7a-9c21-5e8b7a4d2f10}"));
    return QUuid::createUuidV5(catalogNamespace, name).toString(QUuid::WithoutBraces);
}

HBColorDocumentPtr makeFandeck(const FandeckRecipe &recipe)
{
    HBColorDocumentPtr document(new HBColorDocument);
    document->setAttribute(QStringLiteral("tintera-catalog"), HBDocumentCreatorAttributeKey);
    document->setAttribute(recipe.creationDate, HBDocumentCreationDateAttributeKey);
    document->setAttribute(QStringLiteral("%1 (%2)").arg(recipe.name, recipe.edition), HBDocumentDescriptionAttributeKey);
    document->addCustomResource(CXF3FandeckCustomResource::resourceWithAttributes({
        {CXF3FandeckCustomResourceGUIDKey, recipe.guid},
        {CXF3FandeckCustomResourceNameKey, recipe.name},
        {CXF3FandeckCustomResourceEditionKey, recipe.edition},
        {CXF3FandeckCustomResourceSupplierKey, recipe.supplier},
        {CXF3FandeckCustomResourceVersionKey, recipe.version},
    }));

    const quint64 seed = catalogSeed(recipe.name.toUtf8());
    const PaletteShape shape = shapeOf(recipe.palette);
    const int digits = recipe.colorCount >= 1000 ? 4 : 3;
    for (int i = 0; i < recipe.colorCount; ++i) {
        CatalogRandom random = CatalogRandom::forItem(seed, quint64(i));
        const QList<double> spectrum = makeSpectrum(random, shape);
        const bool labOnly = random.uniform() < recipe.labOnlyShare;

        const QString number =
            QStringLiteral("%1 %2").arg(recipe.numberPrefix).arg(i + 1, digits, 10, QLatin1Char('0'));
        HBColorPtr color = HBColor::color();
        color->setAttribute(colorName(seed, i), HBColorNameAttributeKey);
        color->setAttribute(number, HBColorNumberAttributeKey);
        color->setAttribute(QString(number).remove(QLatin1Char(' ')), HBColorObjectIDAttributeKey);
        color->setAttribute(catalogGuid(recipe.guid + QLatin1Char('/') + number), HBColorUniqueIdentifierAttributeKey);

        HBColorRepresentationPtr spectral =
            HBColorRepresentation::spectralRepresentation(kStartWavelength, kIncrement, spectrum);
        setMeasurementConditions(*spectral);
        HBColorRepresentationPtr computed = spectral->colorUsingColorSpaceModel(
            HBColorSpaceModelCIELab,
            {{HBColorRepIlluminantAttributeKey, HBIlluminantD65},
             {HBColorRepObserverTypeAttributeKey, HBObserverTypeCIE1964TenDegree}},
            nullptr);
        HBColorRepresentationPtr lab =
            HBColorRepresentation::labRepresentation(round2(computed->L()), round2(computed->a()), round2(computed->b()));
        lab->setAttributes(computed->attributes());
        if (!labOnly)
            color->addRepresentation(spectral);
        color->addRepresentation(lab);
        document->addColor(color);
    }
    return document;
}
