#include "HBCxfWriter.h"

#include "CXF3FandeckCustomResource.h"
#include "HBColorDocument.h"
#include "HBCxfNames.h"
#include "HBErrors.h"
#include "HBXml.h"

#include <libxml/xmlsave.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QHash>
#include <QSet>

#include <charconv>
#include <cmath>
#include <utility>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("HBCxfWriter", text);
}

// Shortest text that reads back as the same double.
void appendNumber(QByteArray *text, double value)
{
    char buffer[32];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    text->append(buffer, ec == std::errc() ? end - buffer : 0);
}

QByteArray numberText(double value)
{
    QByteArray text;
    appendNumber(&text, value);
    return text;
}

QString dateText(const QDateTime &date)
{
    const QDateTime utc = date.toUTC();
    return utc.toString(utc.time().msec() ? Qt::ISODateWithMs : Qt::ISODate);
}

// Scalar attribute values as tag text; lists and dictionaries have no tag form.
bool tagText(const QVariant &value, QString *text)
{
    switch (value.metaType().id()) {
    case QMetaType::QDateTime:
        *text = dateText(value.toDateTime());
        return true;
    case QMetaType::Bool:
        *text = value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
        return true;
    case QMetaType::Double:
    case QMetaType::Float:
        *text = QString::fromLatin1(numberText(value.toDouble()));
        return true;
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
        *text = value.toString();
        return true;
    default:
        return false;
    }
}

// What a ColorSpecification says; equal contents share one.
struct SpecificationContent {
    bool spectral = false;
    QString illuminant;
    int observerType = -1;
    QString method;
    QString configuration;
    QByteArray illuminationAngle;
    QByteArray measurementAngle;
    int measurementType = -1;
    int startWavelength = -1;
    int increment = -1;

    QByteArray key() const
    {
        return QStringLiteral("%1|%2|%3|%4|%5|%6|%7|%8|%9|%10")
            .arg(spectral)
            .arg(illuminant)
            .arg(observerType)
            .arg(method, configuration, QString::fromLatin1(illuminationAngle),
                 QString::fromLatin1(measurementAngle))
            .arg(measurementType)
            .arg(startWavelength)
            .arg(increment)
            .toUtf8();
    }
};

std::optional<double> numberAttribute(const QVariantMap &attributes, const QString &key)
{
    const QVariant value = attributes.value(key);
    bool ok = false;
    const double number = value.toDouble(&ok);
    return value.isValid() && ok && std::isfinite(number) ? std::optional<double>(number) : std::nullopt;
}

SpecificationContent contentFor(const HBColorRepresentation &representation, bool asListSpectrum)
{
    const QVariantMap &attributes = representation.attributes();
    SpecificationContent content;
    content.spectral = representation.colorSpaceModel() == HBColorSpaceModelSpectral;
    const QString illuminant = attributes.value(HBColorRepIlluminantAttributeKey).toString();
    bool observerOk = false;
    const int observerType = attributes.value(HBColorRepObserverTypeAttributeKey).toInt(&observerOk);
    if (!illuminant.isEmpty() && observerOk && hbCxfObserverForObserverType(observerType)) {
        content.illuminant = illuminant;
        content.observerType = observerType;
        content.method = attributes.value(HBColorRepTristimulusSpectralConvertionMethodAttributeKey).toString();
    }
    const QString configuration =
        attributes.value(HBColorRepGeometrySingleAngleConfigurationAttributeKey).toString();
    const auto illuminationAngle =
        numberAttribute(attributes, HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey);
    const auto measurementAngle = numberAttribute(attributes, HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey);
    if (hbIsCxfSingleAngleConfiguration(configuration) && illuminationAngle && measurementAngle) {
        content.configuration = configuration;
        content.illuminationAngle = numberText(*illuminationAngle);
        content.measurementAngle = numberText(*measurementAngle);
    }
    bool typeOk = false;
    const int measurementType = attributes.value(HBColorRepMeasurementTypeAttributeKey).toInt(&typeOk);
    if (typeOk && hbCxfIlluminationForMeasurementType(measurementType))
        content.measurementType = measurementType;
    if (asListSpectrum) {
        content.startWavelength = representation.startWavelength();
        content.increment = representation.wavelengthIncrement();
    }
    return content;
}

class Writer
{
public:
    explicit Writer(VLError *error)
        : m_error(error)
    {
    }

    QByteArray write(const HBColorDocument &document)
    {
        m_xml.reset(xmlNewDoc(hbXmlText("1.0")));
        xmlNode *root = xmlNewNode(nullptr, hbXmlText("CxF"));
        m_ns = xmlNewNs(root, hbXmlText(HBCxf3NamespaceURI), hbXmlText("cc"));
        xmlSetNs(root, m_ns);
        xmlDocSetRootElement(m_xml.get(), root);

        const QVariant created = document.attributeForKey(HBDocumentCreationDateAttributeKey);
        m_creationDate = created.toDateTime().isValid() ? dateText(created.toDateTime())
                                                        : dateText(QDateTime::currentDateTimeUtc());
        writeFileInformation(root, document.attributes());
        if (!writeResources(root, document) || !writeCustomResources(root, document))
            return {};

        xmlChar *text = nullptr;
        int size = 0;
        xmlDocDumpFormatMemoryEnc(m_xml.get(), &text, &size, "UTF-8", 1);
        if (!text) {
            hbFail(m_error, HBErrorWriteFailed, tr("Could not serialise the colour document"));
            return {};
        }
        QByteArray result(hbXmlChars(text), size);
        xmlFree(text);
        return result;
    }

private:
    xmlNode *addText(xmlNode *parent, const char *name, const QString &text)
    {
        return hbAddTextChild(parent, m_ns, name, text);
    }

    void writeFileInformation(xmlNode *root, const QVariantMap &attributes)
    {
        xmlNode *information = xmlNewChild(root, m_ns, hbXmlText("FileInformation"), nullptr);
        const QString creator = attributes.value(HBDocumentCreatorAttributeKey).toString();
        addText(information, "Creator", creator.isEmpty() ? QStringLiteral("TINTERA Sync") : creator);
        addText(information, "CreationDate", m_creationDate);
        for (const auto &[key, element] : {std::pair{HBDocumentDescriptionAttributeKey, "Description"},
                                           std::pair{HBDocumentCommentAttributeKey, "Comment"}}) {
            const QString text = attributes.value(key).toString();
            if (!text.isEmpty())
                addText(information, element, text);
        }
        static const QSet<QString> headerKeys = {HBDocumentCreatorAttributeKey, HBDocumentCreationDateAttributeKey,
                                                 HBDocumentDescriptionAttributeKey, HBDocumentCommentAttributeKey};
        for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
            QString value;
            if (headerKeys.contains(it.key()) || CXF3FandeckCustomResource::keys().contains(it.key()) ||
                !tagText(it.value(), &value))
                continue;
            xmlNode *tag = xmlNewChild(information, m_ns, hbXmlText("Tag"), nullptr);
            hbSetAttribute(tag, "Name", hbTagNameForAttributeKey(it.key()));
            hbSetAttribute(tag, "Value", value);
        }
    }

    bool writeResources(xmlNode *root, const HBColorDocument &document)
    {
        const QList<HBColorPtr> &colors = document.colors();
        if (colors.isEmpty())
            return true;
        xmlNode *resources = xmlNewChild(root, m_ns, hbXmlText("Resources"), nullptr);
        xmlNode *objects = xmlNewChild(resources, m_ns, hbXmlText("ObjectCollection"), nullptr);
        const QStringList ids = objectIds(colors);
        for (qsizetype i = 0; i < colors.size(); ++i) {
            if (!writeObject(objects, *colors[i], ids[i]))
                return false;
        }
        // Readers that take one wavelength range for the whole document (ArgyllCMS's cxf2ti3 reads
        // the first ColorSpecification's) find it in every ColorSpecification: the CIELAB ones get the
        // range of the document's first listed spectra, which is what their values were computed
        // over when they came from a spectrum.
        for (const SpecificationContent &content : std::as_const(m_specificationOrder)) {
            if (content.startWavelength >= 0) {
                m_documentRange = {content.startWavelength, content.increment};
                break;
            }
        }
        if (!m_specifications.isEmpty()) {
            xmlNode *collection = xmlNewChild(resources, m_ns, hbXmlText("ColorSpecificationCollection"), nullptr);
            for (const SpecificationContent &content : m_specificationOrder)
                writeSpecification(collection, content);
        }
        return true;
    }

    // Identifiers a colour brings along are kept when they are valid and unique; the others get
    // fresh ones that cannot collide with them.
    static QStringList objectIds(const QList<HBColorPtr> &colors)
    {
        QStringList ids(colors.size());
        QSet<QString> used;
        for (qsizetype i = 0; i < colors.size(); ++i) {
            const QString id = colors[i]->attributeForKey(HBColorObjectIDAttributeKey).toString();
            if (hbIsNCName(id) && !used.contains(id)) {
                ids[i] = id;
                used.insert(id);
            }
        }
        qsizetype next = 1;
        for (QString &id : ids) {
            while (id.isEmpty()) {
                const QString candidate = QStringLiteral("Color%1").arg(next++);
                if (!used.contains(candidate)) {
                    id = candidate;
                    used.insert(id);
                }
            }
        }
        return ids;
    }

    bool writeObject(xmlNode *objects, const HBColor &color, const QString &id)
    {
        const QVariantMap &attributes = color.attributes();
        xmlNode *object = xmlNewChild(objects, m_ns, hbXmlText("Object"), nullptr);
        const QString type = attributes.value(HBColorObjectTypeAttributeKey).toString();
        hbSetAttribute(object, "ObjectType", type.isEmpty() ? QStringLiteral("Standard") : type);
        hbSetAttribute(object, "Name", attributes.value(HBColorNameAttributeKey).toString());
        hbSetAttribute(object, "Id", id);
        const QString guid = attributes.value(HBColorUniqueIdentifierAttributeKey).toString();
        if (!guid.isEmpty())
            hbSetAttribute(object, "GUID", guid);

        const QVariant created = attributes.value(HBColorCreationDateAttributeKey);
        QDateTime date = created.toDateTime();
        if (!date.isValid() && created.metaType().id() == QMetaType::QString)
            date = QDateTime::fromString(created.toString(), Qt::ISODateWithMs);
        addText(object, "CreationDate", date.isValid() ? dateText(date) : m_creationDate);

        if (!color.representations().isEmpty()) {
            xmlNode *values = xmlNewChild(object, m_ns, hbXmlText("ColorValues"), nullptr);
            for (const HBColorRepresentationPtr &representation : color.representations()) {
                if (!writeRepresentation(values, *representation, id))
                    return false;
            }
        }
        writeTags(object, attributes);
        return true;
    }

    void writeTags(xmlNode *object, const QVariantMap &attributes)
    {
        static const QSet<QString> objectKeys = {HBColorNameAttributeKey, HBColorObjectIDAttributeKey,
                                                 HBColorUniqueIdentifierAttributeKey, HBColorObjectTypeAttributeKey,
                                                 HBColorCreationDateAttributeKey};
        xmlNode *collection = nullptr;
        for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
            QString value;
            if (objectKeys.contains(it.key()) || !tagText(it.value(), &value))
                continue;
            if (!collection) {
                collection = xmlNewChild(object, m_ns, hbXmlText("TagCollection"), nullptr);
                hbSetAttribute(collection, "Name", QString::fromLatin1(HBCxfColorTagCollectionName));
            }
            xmlNode *tag = xmlNewChild(collection, m_ns, hbXmlText("Tag"), nullptr);
            hbSetAttribute(tag, "Name", hbTagNameForAttributeKey(it.key()));
            hbSetAttribute(tag, "Value", value);
        }
    }

    bool writeRepresentation(xmlNode *values, const HBColorRepresentation &representation, const QString &id)
    {
        switch (representation.colorSpaceModel()) {
        case HBColorSpaceModelSpectral:
            return writeSpectrum(values, representation, id);
        case HBColorSpaceModelCIELab:
            return writeLab(values, representation, id);
        case HBColorSpaceModelUnknown:
            break;
        }
        return hbFail(m_error, HBErrorWriteFailed, tr("Colour \"%1\": a representation has no colour-space model").arg(id));
    }

    bool writeSpectrum(xmlNode *values, const HBColorRepresentation &spectrum, const QString &id)
    {
        const int start = spectrum.startWavelength();
        const int increment = spectrum.wavelengthIncrement();
        if (spectrum.values().isEmpty() || increment <= 0)
            return hbFail(m_error, HBErrorWriteFailed, tr("Colour \"%1\": the spectrum is empty").arg(id));
        for (double value : spectrum.values()) {
            if (!std::isfinite(value) || value <= -0.1 || value >= 3.0) {
                return hbFail(m_error, HBErrorWriteFailed,
                              tr("Colour \"%1\": the reflectance %2 is outside -0.1 to 3 (1.0 = 100 %)")
                                  .arg(id)
                                  .arg(value));
            }
        }
        // The list form needs a schema interval and a start of 360-400 nm; any other grid goes
        // out point by point.
        const bool listForm = hbIsCxfWavelengthIncrement(increment) && start >= HBCxfMinimumStartWavelength &&
                              start <= HBCxfMaximumStartWavelength;
        const QString colourSpec = specificationId(contentFor(spectrum, listForm));
        if (listForm) {
            QByteArray text;
            text.reserve(spectrum.values().size() * 8);
            for (double value : spectrum.values()) {
                if (!text.isEmpty())
                    text.append(' ');
                appendNumber(&text, value);
            }
            xmlNode *element = hbAddTextChild(values, m_ns, "ReflectanceSpectrum", text);
            hbSetAttribute(element, "ColorSpecification", colourSpec);
            hbSetAttribute(element, "StartWL", QString::number(start));
        } else {
            xmlNode *element = xmlNewChild(values, m_ns, hbXmlText("CustomSpectrum"), nullptr);
            hbSetAttribute(element, "ColorSpecification", colourSpec);
            for (qsizetype i = 0; i < spectrum.values().size(); ++i) {
                xmlNode *point = hbAddTextChild(element, m_ns, "SpectralPoint", numberText(spectrum.values()[i]));
                hbSetAttribute(point, "WL", QString::number(start + i * increment));
            }
        }
        return true;
    }

    bool writeLab(xmlNode *values, const HBColorRepresentation &lab, const QString &id)
    {
        if (lab.values().size() != 3 || !std::isfinite(lab.L()) || !std::isfinite(lab.a()) ||
            !std::isfinite(lab.b()) || lab.L() < 0) {
            return hbFail(m_error, HBErrorWriteFailed, tr("Colour \"%1\": the CIELAB value is not valid").arg(id));
        }
        xmlNode *element = xmlNewChild(values, m_ns, hbXmlText("ColorCIELab"), nullptr);
        hbSetAttribute(element, "ColorSpecification", specificationId(contentFor(lab, false)));
        hbAddTextChild(element, m_ns, "L", numberText(lab.L()));
        hbAddTextChild(element, m_ns, "A", numberText(lab.a()));
        hbAddTextChild(element, m_ns, "B", numberText(lab.b()));
        return true;
    }

    QString specificationId(const SpecificationContent &content)
    {
        const QByteArray key = content.key();
        const auto it = m_specifications.constFind(key);
        if (it != m_specifications.cend())
            return it.value();
        const QString id = QStringLiteral("Spec%1").arg(m_specifications.size() + 1);
        m_specifications.insert(key, id);
        m_specificationOrder << content;
        return id;
    }

    void writeSpecification(xmlNode *collection, const SpecificationContent &content)
    {
        xmlNode *colourSpec = xmlNewChild(collection, m_ns, hbXmlText("ColorSpecification"), nullptr);
        hbSetAttribute(colourSpec, "Id", m_specifications.value(content.key()));
        if (!content.illuminant.isEmpty()) {
            xmlNode *tristimulus = xmlNewChild(colourSpec, m_ns, hbXmlText("TristimulusSpec"), nullptr);
            if (hbIsCxfIlluminant(content.illuminant)) {
                addText(tristimulus, "Illuminant", content.illuminant);
            } else {
                xmlNode *illuminant = addText(tristimulus, "Illuminant", QStringLiteral("Custom"));
                hbSetAttribute(illuminant, "Name", content.illuminant);
            }
            addText(tristimulus, "Observer", QString::fromLatin1(hbCxfObserverForObserverType(content.observerType)));
            addText(tristimulus, "Method", hbIsCxfMethod(content.method) ? content.method : QStringLiteral("unknown"));
        }
        xmlNode *measurement = xmlNewChild(colourSpec, m_ns, hbXmlText("MeasurementSpec"), nullptr);
        addText(measurement, "MeasurementType",
                content.spectral ? QStringLiteral("Spectrum_Reflectance") : QStringLiteral("Colorimetric_Reflectance"));
        xmlNode *geometry = xmlNewChild(measurement, m_ns, hbXmlText("GeometryChoice"), nullptr);
        if (!content.configuration.isEmpty()) {
            xmlNode *single = xmlNewChild(geometry, m_ns, hbXmlText("SingleAngle"), nullptr);
            addText(single, "SingleAngleConfiguration", content.configuration);
            hbAddTextChild(single, m_ns, "IlluminationAngle", content.illuminationAngle);
            hbAddTextChild(single, m_ns, "MeasurementAngle", content.measurementAngle);
        } else {
            addText(geometry, "UnknownGeometry", QStringLiteral("Unknown"));
        }
        const std::pair<int, int> range =
            content.startWavelength >= 0 ? std::pair{content.startWavelength, content.increment} : m_documentRange;
        if (range.first >= 0) {
            xmlNode *element = xmlNewChild(measurement, m_ns, hbXmlText("WavelengthRange"), nullptr);
            hbSetAttribute(element, "StartWL", QString::number(range.first));
            hbSetAttribute(element, "Increment", QString::number(range.second));
        }
        if (const char *illumination = hbCxfIlluminationForMeasurementType(content.measurementType)) {
            xmlNode *device = xmlNewChild(measurement, m_ns, hbXmlText("Device"), nullptr);
            addText(device, "DeviceIllumination", QString::fromLatin1(illumination));
        }
    }

    bool writeCustomResources(xmlNode *root, const HBColorDocument &document)
    {
        const QSharedPointer<CXF3FandeckCustomResource> fandeck =
            CXF3FandeckCustomResource::resourceWithAttributes(document.attributes());
        if (fandeck->attributes().isEmpty() && document.customResources().isEmpty())
            return true;
        xmlNode *custom = xmlNewChild(root, m_ns, hbXmlText("CustomResources"), nullptr);
        if (!fandeck->attributes().isEmpty() && !fandeck->appendToCustomResources(custom, m_error))
            return false;
        for (const HBCustomResourcePtr &resource : document.customResources()) {
            if (!resource->appendToCustomResources(custom, m_error))
                return false;
        }
        return true;
    }

    VLError *m_error;
    HBXmlDocPtr m_xml;
    xmlNs *m_ns = nullptr;
    QString m_creationDate;
    QHash<QByteArray, QString> m_specifications;
    QList<SpecificationContent> m_specificationOrder;
    std::pair<int, int> m_documentRange{-1, -1}; // start and increment of the first listed spectra
};

} // namespace

QByteArray hbWriteCxf3(const HBColorDocument &document, VLError *error)
{
    hbEnsureXmlInitialized();
    Writer writer(error);
    return writer.write(document);
}
