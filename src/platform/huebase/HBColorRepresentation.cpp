#include "HBColorRepresentation.h"

#include "HBColorimetry.h"
#include "HBErrors.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("HBColorRepresentation", text);
}

// Reads an observer type from a conversion's info; absent means 10 degree.
bool observerTypeFromInfo(const QVariantMap &info, int *observerType, VLError *error)
{
    const QVariant value = info.value(HBColorRepObserverTypeAttributeKey);
    if (!value.isValid()) {
        *observerType = HBObserverTypeCIE1964TenDegree;
        return true;
    }
    bool ok = false;
    const int type = value.toInt(&ok);
    if (!ok || !hbIsSupportedObserverType(type))
        return hbFail(error, HBErrorUnsupportedConversion, tr("Unsupported observer type %1").arg(value.toString()));
    *observerType = type;
    return true;
}

bool illuminantFromInfo(const QVariantMap &info, VLError *error)
{
    const QVariant value = info.value(HBColorRepIlluminantAttributeKey);
    if (!value.isValid() || value.toString() == HBIlluminantD65)
        return true;
    return hbFail(error, HBErrorUnsupportedConversion,
                  tr("Unsupported illuminant %1: only D65 weights are available").arg(value.toString()));
}

QString modelName(HBColorSpaceModel model)
{
    switch (model) {
    case HBColorSpaceModelCIELab:
        return QStringLiteral("CIELab");
    case HBColorSpaceModelSpectral:
        return QStringLiteral("Spectral");
    case HBColorSpaceModelUnknown:
        break;
    }
    return QStringLiteral("model %1").arg(int(model));
}

} // namespace

HBColorRepresentation::HBColorRepresentation(HBColorSpaceModel model, QList<double> values)
    : m_model(model)
    , m_values(std::move(values))
{
}

HBColorRepresentationPtr HBColorRepresentation::spectralRepresentation(int startWavelength, int wavelengthIncrement,
                                                                       QList<double> reflectances)
{
    HBColorRepresentationPtr representation(
        new HBColorRepresentation(HBColorSpaceModelSpectral, std::move(reflectances)));
    representation->m_startWavelength = startWavelength;
    representation->m_increment = wavelengthIncrement;
    return representation;
}

HBColorRepresentationPtr HBColorRepresentation::labRepresentation(double L, double a, double b)
{
    return HBColorRepresentationPtr(new HBColorRepresentation(HBColorSpaceModelCIELab, {L, a, b}));
}

int HBColorRepresentation::endWavelength() const
{
    if (m_values.isEmpty())
        return m_startWavelength;
    return m_startWavelength + int(m_values.size() - 1) * m_increment;
}

void HBColorRepresentation::setAttribute(const QVariant &value, const QString &key)
{
    if (value.isValid())
        m_attributes.insert(key, value);
    else
        m_attributes.remove(key);
}

HBColorRepresentationPtr HBColorRepresentation::colorUsingColorSpaceModel(HBColorSpaceModel model,
                                                                          const QVariantMap &info,
                                                                          VLError *error) const
{
    if (model == m_model && model == HBColorSpaceModelSpectral)
        return HBColorRepresentationPtr(new HBColorRepresentation(*this));

    if (model == HBColorSpaceModelCIELab && m_model == HBColorSpaceModelCIELab) {
        for (const QString &key : {HBColorRepIlluminantAttributeKey, HBColorRepObserverTypeAttributeKey}) {
            const QVariant wanted = info.value(key);
            const QVariant held = m_attributes.value(key);
            if (wanted.isValid() && held.isValid() && wanted != held) {
                hbFail(error, HBErrorUnsupportedConversion,
                       tr("CIELAB values cannot be moved to other conditions without a spectrum"));
                return {};
            }
        }
        return HBColorRepresentationPtr(new HBColorRepresentation(*this));
    }

    if (model == HBColorSpaceModelCIELab && m_model == HBColorSpaceModelSpectral) {
        int observerType = HBObserverTypeCIE1964TenDegree;
        if (!illuminantFromInfo(info, error) || !observerTypeFromInfo(info, &observerType, error))
            return {};
        HBXYZ xyz;
        QString reason;
        if (!hbSpectrumToXYZ(m_startWavelength, m_increment, m_values, observerType, &xyz, &reason)) {
            hbFail(error, HBErrorUnsupportedConversion, reason);
            return {};
        }
        const HBLab lab = hbXYZToLab(xyz, hbD65WhitePoint(observerType));
        HBColorRepresentationPtr result = labRepresentation(lab.L, lab.a, lab.b);
        result->m_attributes = m_attributes;
        result->m_attributes.insert(HBColorRepIlluminantAttributeKey, HBIlluminantD65);
        result->m_attributes.insert(HBColorRepObserverTypeAttributeKey, observerType);
        result->m_attributes.insert(HBColorRepTristimulusSpectralConvertionMethodAttributeKey,
                                    HBTristimulusConvertionMethodE308Table6);
        return result;
    }

    hbFail(error, HBErrorUnsupportedConversion,
           tr("Cannot convert %1 to %2").arg(modelName(m_model), modelName(model)));
    return {};
}

QString HBColorRepresentation::description() const
{
    QStringList numbers;
    for (double value : m_values)
        numbers << QString::number(value, 'g', 6);
    QString text = QStringLiteral("<%1").arg(modelName(m_model));
    if (m_model == HBColorSpaceModelSpectral)
        text += QStringLiteral(" %1-%2/%3nm").arg(m_startWavelength).arg(endWavelength()).arg(m_increment);
    return text + QStringLiteral(" [%1]>").arg(numbers.join(QLatin1Char(' ')));
}

QVariantMap HBColorRepresentation::propertyList() const
{
    QVariantList values;
    values.reserve(m_values.size());
    for (double value : m_values)
        values << value;
    QVariantMap plist{{QStringLiteral("Model"), qint64(m_model)},
                      {QStringLiteral("Values"), values},
                      {QStringLiteral("Attributes"), m_attributes}};
    if (m_model == HBColorSpaceModelSpectral) {
        plist.insert(QStringLiteral("StartWavelength"), qint64(m_startWavelength));
        plist.insert(QStringLiteral("WavelengthIncrement"), qint64(m_increment));
    }
    return plist;
}

HBColorRepresentationPtr HBColorRepresentation::representationWithPropertyList(const QVariantMap &plist,
                                                                               VLError *error)
{
    bool ok = false;
    const int model = plist.value(QStringLiteral("Model")).toInt(&ok);
    if (!ok || (model != HBColorSpaceModelCIELab && model != HBColorSpaceModelSpectral)) {
        hbFail(error, HBErrorInvalidValue, tr("Unknown colour-space model in a representation"));
        return {};
    }
    QList<double> values;
    for (const QVariant &item : plist.value(QStringLiteral("Values")).toList()) {
        const double value = item.toDouble(&ok);
        if (!ok) {
            hbFail(error, HBErrorInvalidValue, tr("A representation value is not a number"));
            return {};
        }
        values << value;
    }
    HBColorRepresentationPtr representation;
    if (model == HBColorSpaceModelCIELab) {
        if (values.size() != 3) {
            hbFail(error, HBErrorInvalidValue, tr("CIELAB values need exactly three numbers"));
            return {};
        }
        representation = labRepresentation(values[0], values[1], values[2]);
    } else {
        bool startOk = false;
        bool incrementOk = false;
        const int start = plist.value(QStringLiteral("StartWavelength")).toInt(&startOk);
        const int increment = plist.value(QStringLiteral("WavelengthIncrement")).toInt(&incrementOk);
        if (!startOk || !incrementOk || increment <= 0 || values.isEmpty()) {
            hbFail(error, HBErrorInvalidValue, tr("A spectrum needs a start, a positive interval and values"));
            return {};
        }
        representation = spectralRepresentation(start, increment, std::move(values));
    }
    representation->m_attributes = plist.value(QStringLiteral("Attributes")).toMap();
    return representation;
}
