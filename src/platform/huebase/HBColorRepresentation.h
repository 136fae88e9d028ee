#pragma once

#include "HBConstants.h"

#include <VLError.h>

#include <QList>
#include <QSharedPointer>
#include <QVariantMap>

class HBColorRepresentation;
using HBColorRepresentationPtr = QSharedPointer<HBColorRepresentation>;

// One description of a colour in one colour-space model, with the conditions it was measured or
// computed under (the HBColorRep...AttributeKey attributes).
//   Spectral (model 12): reflectance factors (1.0 = 100 %) from startWavelength() in steps of
//                        wavelengthIncrement() nm.
//   CIELAB (model 1):    the three values L*, a*, b*.
class HBColorRepresentation
{
public:
    static HBColorRepresentationPtr spectralRepresentation(int startWavelength, int wavelengthIncrement,
                                                           QList<double> reflectances);
    static HBColorRepresentationPtr labRepresentation(double L, double a, double b);

    HBColorSpaceModel colorSpaceModel() const { return m_model; }
    const QList<double> &values() const { return m_values; }

    int startWavelength() const { return m_startWavelength; }
    int wavelengthIncrement() const { return m_increment; }
    int endWavelength() const;

    double L() const { return valueAt(0); }
    double a() const { return valueAt(1); }
    double b() const { return valueAt(2); }

    const QVariantMap &attributes() const { return m_attributes; }
    QVariant attributeForKey(const QString &key) const { return m_attributes.value(key); }
    void setAttribute(const QVariant &value, const QString &key);
    void setAttributes(const QVariantMap &attributes) { m_attributes = attributes; }

    // A new representation in the given model. Spectral to CIELAB weights the spectrum with ASTM
    // E308 Table 6; `info` chooses the illuminant (HBColorRepIlluminantAttributeKey, D65 only) and
    // the observer (HBColorRepObserverTypeAttributeKey, 0 or 1; 1 when absent). The result keeps
    // this representation's measurement conditions and records illuminant, observer and method.
    // CIELAB to CIELAB gives a copy when the conditions agree. Anything else fails with *error.
    HBColorRepresentationPtr colorUsingColorSpaceModel(HBColorSpaceModel model, const QVariantMap &info,
                                                       VLError *error) const;

    QString description() const;

    // Plain property-list form (for passing a representation through a wire coding) and back.
    QVariantMap propertyList() const;
    static HBColorRepresentationPtr representationWithPropertyList(const QVariantMap &plist, VLError *error);

private:
    HBColorRepresentation(HBColorSpaceModel model, QList<double> values);
    double valueAt(qsizetype index) const { return index < m_values.size() ? m_values[index] : 0.0; }

    HBColorSpaceModel m_model = HBColorSpaceModelUnknown;
    QList<double> m_values;
    int m_startWavelength = 0;
    int m_increment = 0;
    QVariantMap m_attributes;
};
