#include "HBCxfReader.h"

#include "CXF3FandeckCustomResource.h"
#include "HBColorDocument.h"
#include "HBCxfNames.h"
#include "HBCxfObjectStream.h"
#include "HBErrors.h"
#include "HBXml.h"
#include "TX350CustomResource.h"
#include "VLQuietXmlErrors.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QHash>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <type_traits>
#include <variant>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("HBCxfReader", text);
}

// Measurement conditions and wavelength range of one ColorSpecification.
struct ColourSpec {
    QVariantMap attributes;
    std::optional<int> startWavelength;
    std::optional<int> increment;
    std::optional<int> endWavelength; // not CxF3, but some writers add it
};

std::optional<double> parseNumber(const QByteArray &text)
{
    QList<double> values;
    if (!hbCxfParseNumberList(text.constData(), &values) || values.size() != 1)
        return std::nullopt;
    return values.first();
}

std::optional<int> parseWavelength(const QString &text, bool *malformed)
{
    if (text.isNull())
        return std::nullopt;
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || value != std::floor(value) || value < 0 || value > 100000) {
        *malformed = true;
        return std::nullopt;
    }
    return int(value);
}

QVariant numberVariant(double value)
{
    if (value == std::floor(value) && std::abs(value) < 1e9)
        return int(value);
    return value;
}

QVariant dateOrText(const QString &text)
{
    const QDateTime date = QDateTime::fromString(text.trimmed(), Qt::ISODateWithMs);
    return date.isValid() ? QVariant(date) : QVariant(text);
}

class Reader
{
public:
    Reader(HBColorDocument *document, HBColorDocumentDelegate *delegate, const HBCxfObjectStream &objects,
           VLError *error)
        : m_document(document)
        , m_delegate(delegate)
        , m_objects(objects)
        , m_error(error)
    {
    }

    bool read(const xmlNode *root)
    {
        if (!hbIsCxfElement(root, "CxF")) {
            return hbFail(m_error, HBErrorNotCxF3,
                          tr("Not a CxF3 document: the root element is {%1}%2")
                              .arg(hbNamespaceOf(root), QString::fromUtf8(hbXmlChars(root->name))));
        }
        if (const xmlNode *information = hbCxfChild(root, "FileInformation"))
            readFileInformation(information);
        if (const xmlNode *resources = hbCxfChild(root, "Resources")) {
            if (const xmlNode *specifications = hbCxfChild(resources, "ColorSpecificationCollection")) {
                if (!readSpecifications(specifications))
                    return false;
            }
            // Its objects went past the parser into the stream rather than into the tree.
            if (hbCxfChild(resources, "ObjectCollection")) {
                if (!readObjects())
                    return false;
            }
        }
        if (const xmlNode *custom = hbCxfChild(root, "CustomResources"))
            readCustomResources(custom);
        return true;
    }

private:
    void skip(const QString &reason)
    {
        if (m_delegate)
            m_delegate->colorDocumentDidSkipContent(m_document, reason);
    }

    bool inconsistent(const QString &objectId, const QString &problem)
    {
        return hbFail(m_error, HBErrorInconsistentData, tr("Colour \"%1\": %2").arg(objectId, problem));
    }

    void readFileInformation(const xmlNode *information)
    {
        for (const xmlNode *child = hbFirstChildElement(information); child; child = hbNextElement(child)) {
            if (hbIsCxfElement(child, "Creator"))
                m_document->setAttribute(QString::fromUtf8(hbTextContent(child)), HBDocumentCreatorAttributeKey);
            else if (hbIsCxfElement(child, "CreationDate"))
                m_document->setAttribute(dateOrText(QString::fromUtf8(hbTextContent(child))),
                                         HBDocumentCreationDateAttributeKey);
            else if (hbIsCxfElement(child, "Description"))
                m_document->setAttribute(QString::fromUtf8(hbTextContent(child)), HBDocumentDescriptionAttributeKey);
            else if (hbIsCxfElement(child, "Comment"))
                m_document->setAttribute(QString::fromUtf8(hbTextContent(child)), HBDocumentCommentAttributeKey);
            else if (hbIsCxfElement(child, "Tag")) {
                const QString name = hbAttribute(child, "Name");
                if (!name.isEmpty())
                    m_document->setAttribute(hbAttribute(child, "Value"), hbAttributeKeyForTagName(name));
            }
        }
    }

    bool readSpecifications(const xmlNode *collection)
    {
        for (const xmlNode *node = hbFirstChildElement(collection); node; node = hbNextElement(node)) {
            if (!hbIsCxfElement(node, "ColorSpecification"))
                continue;
            const QString id = hbAttribute(node, "Id");
            ColourSpec colourSpec;
            if (const xmlNode *tristimulus = hbCxfChild(node, "TristimulusSpec"))
                readTristimulus(tristimulus, &colourSpec);
            if (const xmlNode *measurement = hbCxfChild(node, "MeasurementSpec")) {
                if (!readMeasurement(id, measurement, &colourSpec))
                    return false;
            }
            m_specifications.insert(id, colourSpec);
        }
        return true;
    }

    void readTristimulus(const xmlNode *tristimulus, ColourSpec *colourSpec)
    {
        if (const xmlNode *illuminant = hbCxfChild(tristimulus, "Illuminant")) {
            const QString name = QString::fromUtf8(hbTextContent(illuminant)).trimmed();
            if (!name.isEmpty())
                colourSpec->attributes.insert(HBColorRepIlluminantAttributeKey, name);
        }
        if (const xmlNode *observer = hbCxfChild(tristimulus, "Observer")) {
            const int type = hbObserverTypeForCxfObserver(hbTextContent(observer).trimmed());
            if (type >= 0)
                colourSpec->attributes.insert(HBColorRepObserverTypeAttributeKey, type);
        }
        if (const xmlNode *method = hbCxfChild(tristimulus, "Method")) {
            const QString name = QString::fromUtf8(hbTextContent(method)).trimmed();
            if (!name.isEmpty() && name != QLatin1String("unknown"))
                colourSpec->attributes.insert(HBColorRepTristimulusSpectralConvertionMethodAttributeKey, name);
        }
    }

    bool readMeasurement(const QString &id, const xmlNode *measurement, ColourSpec *colourSpec)
    {
        if (const xmlNode *geometry = hbCxfChild(measurement, "GeometryChoice")) {
            if (const xmlNode *single = hbCxfChild(geometry, "SingleAngle"))
                readSingleAngle(single, colourSpec);
        }
        if (const xmlNode *range = hbCxfChild(measurement, "WavelengthRange")) {
            bool malformed = false;
            colourSpec->startWavelength = parseWavelength(hbAttribute(range, "StartWL"), &malformed);
            colourSpec->increment = parseWavelength(hbAttribute(range, "Increment"), &malformed);
            colourSpec->endWavelength = parseWavelength(hbAttribute(range, "EndWL"), &malformed);
            if (malformed) {
                return hbFail(m_error, HBErrorInconsistentData,
                              tr("ColorSpecification \"%1\": the wavelength range is not in whole nanometres")
                                  .arg(id));
            }
        }
        if (const xmlNode *device = hbCxfChild(measurement, "Device")) {
            if (const xmlNode *illumination = hbCxfChild(device, "DeviceIllumination")) {
                const int type = hbMeasurementTypeForCxfIllumination(hbTextContent(illumination).trimmed());
                if (type >= 0)
                    colourSpec->attributes.insert(HBColorRepMeasurementTypeAttributeKey, type);
            }
        }
        return true;
    }

    static void readSingleAngle(const xmlNode *single, ColourSpec *colourSpec)
    {
        const xmlNode *configuration = hbCxfChild(single, "SingleAngleConfiguration");
        const xmlNode *illumination = hbCxfChild(single, "IlluminationAngle");
        const xmlNode *measurement = hbCxfChild(single, "MeasurementAngle");
        if (configuration) {
            colourSpec->attributes.insert(HBColorRepGeometrySingleAngleConfigurationAttributeKey,
                                             QString::fromUtf8(hbTextContent(configuration)).trimmed());
        }
        if (illumination) {
            if (const std::optional<double> angle = parseNumber(hbTextContent(illumination)))
                colourSpec->attributes.insert(HBColorRepGeometrySingleAngleIlluminationAngleAttributeKey,
                                                 numberVariant(*angle));
        }
        if (measurement) {
            if (const std::optional<double> angle = parseNumber(hbTextContent(measurement)))
                colourSpec->attributes.insert(HBColorRepGeometrySingleAngleMeasurementAngleAttributeKey,
                                                 numberVariant(*angle));
        }
    }

    bool readObjects()
    {
        for (const HBCxfStreamedObject &object : m_objects.objects()) {
            if (!readObject(object))
                return false;
        }
        return true;
    }

    bool readObject(const HBCxfStreamedObject &object)
    {
        HBColorPtr color = HBColor::color();
        if (!object.name.isNull())
            color->setAttribute(object.name, HBColorNameAttributeKey);
        if (!object.id.isNull())
            color->setAttribute(object.id, HBColorObjectIDAttributeKey);
        if (!object.guid.isNull())
            color->setAttribute(object.guid, HBColorUniqueIdentifierAttributeKey);
        if (!object.objectType.isNull())
            color->setAttribute(object.objectType, HBColorObjectTypeAttributeKey);
        const QString label = object.id.isEmpty() ? object.name : object.id;

        for (const HBCxfStreamedPart &part : object.parts) {
            if (const auto *date = std::get_if<HBCxfStreamedCreationDate>(&part)) {
                color->setAttribute(dateOrText(QString::fromUtf8(date->text)), HBColorCreationDateAttributeKey);
            } else if (const auto *values = std::get_if<HBCxfStreamedColorValues>(&part)) {
                if (!readColorValues(label, *values, color.data()))
                    return false;
            } else if (const auto *tags = std::get_if<HBCxfStreamedTagCollection>(&part)) {
                for (const HBCxfStreamedTag &tag : tags->tags)
                    color->setAttribute(tag.value, hbAttributeKeyForTagName(tag.name));
            }
        }
        m_document->addColor(color);
        return true;
    }

    bool readColorValues(const QString &label, const HBCxfStreamedColorValues &values, HBColor *color)
    {
        for (const HBCxfStreamedValue &value : values.values) {
            const bool read = std::visit(
                [&](const auto &streamed) {
                    using T = std::decay_t<decltype(streamed)>;
                    if constexpr (std::is_same_v<T, HBCxfStreamedReflectance>)
                        return readReflectanceSpectrum(label, streamed, color);
                    else if constexpr (std::is_same_v<T, HBCxfStreamedCustomSpectrum>)
                        return readCustomSpectrum(label, streamed, color);
                    else
                        return readLab(label, streamed, color);
                },
                value);
            if (!read)
                return false;
        }
        return true;
    }

    const ColourSpec *specificationFor(const QString &colorSpecification) const
    {
        const auto it = m_specifications.constFind(colorSpecification);
        return it == m_specifications.cend() ? nullptr : &it.value();
    }

    bool readReflectanceSpectrum(const QString &label, const HBCxfStreamedReflectance &spectrum, HBColor *color)
    {
        const ColourSpec *colourSpec = specificationFor(spectrum.colorSpecification);
        bool malformed = false;
        const std::optional<int> ownStart = parseWavelength(spectrum.startWavelength, &malformed);
        const std::optional<int> ownIncrement = parseWavelength(spectrum.increment, &malformed);
        const std::optional<int> ownEnd = parseWavelength(spectrum.endWavelength, &malformed);
        if (malformed)
            return inconsistent(label, tr("the spectrum's wavelengths are not in whole nanometres"));

        const std::optional<int> rangeStart = colourSpec ? colourSpec->startWavelength : std::nullopt;
        const std::optional<int> rangeIncrement = colourSpec ? colourSpec->increment : std::nullopt;
        if (ownStart && rangeStart && *ownStart != *rangeStart) {
            return inconsistent(label, tr("the spectrum starts at %1 nm but its ColorSpecification at %2 nm")
                                           .arg(*ownStart)
                                           .arg(*rangeStart));
        }
        if (ownIncrement && rangeIncrement && *ownIncrement != *rangeIncrement) {
            return inconsistent(label, tr("the spectrum's interval %1 nm differs from its ColorSpecification's %2 nm")
                                           .arg(*ownIncrement)
                                           .arg(*rangeIncrement));
        }
        const std::optional<int> start = ownStart ? ownStart : rangeStart;
        const std::optional<int> increment = ownIncrement ? ownIncrement : rangeIncrement;
        if (!start || !increment) {
            return inconsistent(label, colourSpec
                                           ? tr("the spectrum has no wavelength range")
                                           : tr("the spectrum refers to the unknown ColorSpecification \"%1\"")
                                                 .arg(spectrum.colorSpecification));
        }
        if (!hbIsCxfWavelengthIncrement(*increment))
            return inconsistent(label, tr("a spectral interval of %1 nm is not one of 1, 2, 5, 10 or 20 nm")
                                           .arg(*increment));
        const int gridStep = std::min(*increment, 10);
        if (*start % gridStep != 0)
            return inconsistent(label,
                                tr("the spectrum starts at %1 nm, off the %2 nm grid").arg(*start).arg(gridStep));

        if (!spectrum.numbersParsed)
            return inconsistent(label, tr("the spectrum holds a value that is not a number"));
        const QList<double> &values = spectrum.values;
        if (values.isEmpty()) {
            skip(tr("Colour \"%1\": an empty spectrum was left out").arg(label));
            return true;
        }
        const int end = *start + int(values.size() - 1) * *increment;
        if (end > HBCxfMaximumEndWavelength) {
            return inconsistent(label, tr("%1 values from %2 nm in %3 nm steps run to %4 nm, past %5 nm")
                                           .arg(values.size())
                                           .arg(*start)
                                           .arg(*increment)
                                           .arg(end)
                                           .arg(HBCxfMaximumEndWavelength));
        }
        const std::optional<int> declaredEnd = ownEnd ? ownEnd : (colourSpec ? colourSpec->endWavelength : ownEnd);
        if (declaredEnd && *declaredEnd != end) {
            return inconsistent(label, tr("%1 values from %2 nm in %3 nm steps end at %4 nm, not at the declared %5 nm")
                                           .arg(values.size())
                                           .arg(*start)
                                           .arg(*increment)
                                           .arg(end)
                                           .arg(*declaredEnd));
        }
        for (double value : values) {
            if (value <= -0.1 || value >= 3.0) {
                return inconsistent(label, tr("the reflectance %1 is not a factor between -0.1 and 3 (1.0 = 100 %)")
                                               .arg(value));
            }
        }
        HBColorRepresentationPtr representation = HBColorRepresentation::spectralRepresentation(*start, *increment, values);
        if (colourSpec)
            representation->setAttributes(colourSpec->attributes);
        color->addRepresentation(representation);
        return true;
    }

    // Irregular grids have no place in a spectral representation; regular ones are read as such.
    bool readCustomSpectrum(const QString &label, const HBCxfStreamedCustomSpectrum &spectrum, HBColor *color)
    {
        QList<double> wavelengths;
        QList<double> values;
        for (const HBCxfStreamedPoint &point : spectrum.points) {
            const std::optional<double> value = parseNumber(point.text);
            const std::optional<double> wavelength = parseNumber(point.wavelength.toUtf8());
            if (!value || !wavelength)
                return inconsistent(label, tr("a spectral point is not a number"));
            wavelengths << *wavelength;
            values << *value;
        }
        bool regular = wavelengths.size() >= 2;
        const double step = regular ? wavelengths[1] - wavelengths[0] : 0;
        for (qsizetype i = 0; regular && i < wavelengths.size(); ++i) {
            regular = wavelengths[i] == std::floor(wavelengths[i]) &&
                      wavelengths[i] == wavelengths[0] + double(i) * step;
        }
        if (!regular || !hbIsCxfWavelengthIncrement(int(step)) || step != std::floor(step) ||
            wavelengths.last() > HBCxfMaximumEndWavelength) {
            skip(tr("Colour \"%1\": a spectrum on an irregular wavelength grid was left out").arg(label));
            return true;
        }
        HBColorRepresentationPtr representation =
            HBColorRepresentation::spectralRepresentation(int(wavelengths[0]), int(step), std::move(values));
        if (const ColourSpec *colourSpec = specificationFor(spectrum.colorSpecification))
            representation->setAttributes(colourSpec->attributes);
        color->addRepresentation(representation);
        return true;
    }

    bool readLab(const QString &label, const HBCxfStreamedLab &lab, HBColor *color)
    {
        const std::optional<double> L = lab.L ? parseNumber(*lab.L) : std::nullopt;
        const std::optional<double> A = lab.A ? parseNumber(*lab.A) : std::nullopt;
        const std::optional<double> B = lab.B ? parseNumber(*lab.B) : std::nullopt;
        if (!L || !A || !B)
            return inconsistent(label, tr("the CIELAB value needs numbers L, A and B"));
        HBColorRepresentationPtr representation = HBColorRepresentation::labRepresentation(*L, *A, *B);
        if (const ColourSpec *colourSpec = specificationFor(lab.colorSpecification))
            representation->setAttributes(colourSpec->attributes);
        color->addRepresentation(representation);
        return true;
    }

    void readCustomResources(const xmlNode *custom)
    {
        for (const xmlNode *child = hbFirstChildElement(custom); child; child = hbNextElement(child)) {
            if (CXF3FandeckCustomResource::isElement(child)) {
                m_document->addCustomResource(CXF3FandeckCustomResource::resourceWithElement(child));
            } else if (TX350CustomResource::isElement(child)) {
                m_document->addCustomResource(TX350CustomResource::resourceWithElement(child));
            } else if (child->ns && child->ns->href && !xmlStrEqual(child->ns->href, hbXmlText(HBCxf3NamespaceURI))) {
                if (HBCustomResourcePtr resource = HBForeignCustomResource::resourceWithElement(child))
                    m_document->addCustomResource(resource);
            } else {
                skip(tr("The custom resource %1 is in no namespace or in CxF3's own and was left out")
                         .arg(QString::fromUtf8(hbXmlChars(child->name))));
            }
        }
    }

public:
    void reportSkippedValues()
    {
        const QMap<QString, int> &counts = m_objects.skippedValueCounts();
        for (auto it = counts.cbegin(); it != counts.cend(); ++it)
            skip(tr("%1 colour values of type %2 were left out").arg(it.value()).arg(it.key()));
    }

private:
    HBColorDocument *m_document;
    HBColorDocumentDelegate *m_delegate;
    const HBCxfObjectStream &m_objects;
    VLError *m_error;
    QHash<QString, ColourSpec> m_specifications;
};

} // namespace

bool hbReadCxf3(const QByteArray &data, HBColorDocument *document, HBColorDocumentDelegate *delegate, VLError *error)
{
    hbEnsureXmlInitialized();
    if (data.isEmpty())
        return hbFail(error, HBErrorNotXML, tr("The file is empty"));
    if (data.size() > std::numeric_limits<int>::max())
        return hbFail(error, HBErrorNotXML, tr("The file is too large for a colour document"));
    struct ContextFree {
        void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
    };
    // Declared before the stream that installs itself in it, so that it outlives the stream.
    const std::unique_ptr<xmlParserCtxt, ContextFree> context(xmlCreateMemoryParserCtxt(data.constData(), int(data.size())));
    if (!context)
        return hbFail(error, HBErrorNotXML, tr("Out of memory"));
    const VLQuietXmlErrors quiet;
    xmlCtxtUseOptions(context.get(), XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS);
    HBEntityBudget budget(data.size());
    const HBCxfObjectStream objects(context.get(), &budget);
    xmlParseDocument(context.get());
    const HBXmlDocPtr parsed(context->myDoc);
    context->myDoc = nullptr;
    const auto expandedTooFar = [&] {
        return hbFail(error, HBErrorEntityExpansion,
                      tr("The document's entity references expand to more than %1 bytes (for a file of %2 bytes): "
                         "refused as a document built to exhaust memory")
                          .arg(budget.limit())
                          .arg(data.size()));
    };
    if (budget.exceeded())
        return expandedTooFar();
    if (!context->wellFormed || !parsed) {
        const xmlError *problem = xmlCtxtGetLastError(context.get());
        const QString detail = problem && problem->message
                                   ? tr("line %1: %2").arg(problem->line).arg(QString::fromUtf8(problem->message).trimmed())
                                   : tr("unknown parse error");
        return hbFail(error, HBErrorNotXML, tr("Not a well-formed XML document (%1)").arg(detail));
    }
    const xmlNode *root = xmlDocGetRootElement(parsed.get());
    if (!root)
        return hbFail(error, HBErrorNotCxF3, tr("The XML document has no root element"));
    parsed->_private = &budget; // every text taken from the tree draws on it
    Reader reader(document, delegate, objects, error);
    const bool read = reader.read(root);
    if (budget.exceeded())
        return expandedTooFar();
    if (!read)
        return false;
    reader.reportSkippedValues();
    return true;
}
