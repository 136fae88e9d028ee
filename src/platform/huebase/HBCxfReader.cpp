#include "HBCxfReader.h"

#include "CXF3FandeckCustomResource.h"
#include "HBColorDocument.h"
#include "HBCxfNames.h"
#include "HBErrors.h"
#include "HBXml.h"
#include "TX350CustomResource.h"
#include "VLQuietXmlErrors.h"

#include <libxml/parser.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QHash>

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

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

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Whitespace-separated doubles; false at the first token that is not a number.
bool parseNumberList(const char *text, QList<double> *values)
{
    const char *p = text;
    const char *end = text + std::strlen(text);
    while (true) {
        while (p < end && isSpace(*p))
            ++p;
        if (p == end)
            return true;
        const char *tokenEnd = p;
        while (tokenEnd < end && !isSpace(*tokenEnd))
            ++tokenEnd;
        double value = 0;
        const char *start = (*p == '+') ? p + 1 : p;
        const auto [last, ec] = std::from_chars(start, tokenEnd, value);
        if (ec != std::errc() || last != tokenEnd || !std::isfinite(value))
            return false;
        values->append(value);
        p = tokenEnd;
    }
}

std::optional<double> parseNumber(const QByteArray &text)
{
    QList<double> values;
    if (!parseNumberList(text.constData(), &values) || values.size() != 1)
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
    Reader(HBColorDocument *document, HBColorDocumentDelegate *delegate, VLError *error)
        : m_document(document)
        , m_delegate(delegate)
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
            if (const xmlNode *objects = hbCxfChild(resources, "ObjectCollection")) {
                if (!readObjects(objects))
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

    bool readObjects(const xmlNode *collection)
    {
        for (const xmlNode *node = hbFirstChildElement(collection); node; node = hbNextElement(node)) {
            if (hbIsCxfElement(node, "Object") && !readObject(node))
                return false;
        }
        return true;
    }

    bool readObject(const xmlNode *object)
    {
        HBColorPtr color = HBColor::color();
        const QString id = hbAttribute(object, "Id");
        const QString name = hbAttribute(object, "Name");
        const QString guid = hbAttribute(object, "GUID");
        const QString type = hbAttribute(object, "ObjectType");
        if (!name.isNull())
            color->setAttribute(name, HBColorNameAttributeKey);
        if (!id.isNull())
            color->setAttribute(id, HBColorObjectIDAttributeKey);
        if (!guid.isNull())
            color->setAttribute(guid, HBColorUniqueIdentifierAttributeKey);
        if (!type.isNull())
            color->setAttribute(type, HBColorObjectTypeAttributeKey);
        const QString label = id.isEmpty() ? name : id;

        for (const xmlNode *child = hbFirstChildElement(object); child; child = hbNextElement(child)) {
            if (hbIsCxfElement(child, "CreationDate")) {
                color->setAttribute(dateOrText(QString::fromUtf8(hbTextContent(child))),
                                    HBColorCreationDateAttributeKey);
            } else if (hbIsCxfElement(child, "ColorValues")) {
                if (!readColorValues(label, child, color.data()))
                    return false;
            } else if (hbIsCxfElement(child, "TagCollection")) {
                for (const xmlNode *tag = hbFirstChildElement(child); tag; tag = hbNextElement(tag)) {
                    const QString tagName = hbIsCxfElement(tag, "Tag") ? hbAttribute(tag, "Name") : QString();
                    if (!tagName.isEmpty())
                        color->setAttribute(hbAttribute(tag, "Value"), hbAttributeKeyForTagName(tagName));
                }
            }
        }
        m_document->addColor(color);
        return true;
    }

    bool readColorValues(const QString &label, const xmlNode *values, HBColor *color)
    {
        for (const xmlNode *child = hbFirstChildElement(values); child; child = hbNextElement(child)) {
            if (hbIsCxfElement(child, "ReflectanceSpectrum")) {
                if (!readReflectanceSpectrum(label, child, color))
                    return false;
            } else if (hbIsCxfElement(child, "CustomSpectrum")) {
                if (!readCustomSpectrum(label, child, color))
                    return false;
            } else if (hbIsCxfElement(child, "ColorCIELab")) {
                if (!readLab(label, child, color))
                    return false;
            } else if (child->ns && xmlStrEqual(child->ns->href, hbXmlText(HBCxf3NamespaceURI))) {
                ++m_skippedValueCounts[QString::fromUtf8(hbXmlChars(child->name))];
            }
        }
        return true;
    }

    const ColourSpec *specificationFor(const xmlNode *value)
    {
        const auto it = m_specifications.constFind(hbAttribute(value, "ColorSpecification"));
        return it == m_specifications.cend() ? nullptr : &it.value();
    }

    bool readReflectanceSpectrum(const QString &label, const xmlNode *spectrum, HBColor *color)
    {
        const ColourSpec *colourSpec = specificationFor(spectrum);
        bool malformed = false;
        const std::optional<int> ownStart = parseWavelength(hbAttribute(spectrum, "StartWL"), &malformed);
        const std::optional<int> ownIncrement = parseWavelength(hbAttribute(spectrum, "Increment"), &malformed);
        const std::optional<int> ownEnd = parseWavelength(hbAttribute(spectrum, "EndWL"), &malformed);
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
                                                 .arg(hbAttribute(spectrum, "ColorSpecification")));
        }
        if (!hbIsCxfWavelengthIncrement(*increment))
            return inconsistent(label, tr("a spectral interval of %1 nm is not one of 1, 2, 5, 10 or 20 nm")
                                           .arg(*increment));
        const int gridStep = std::min(*increment, 10);
        if (*start % gridStep != 0)
            return inconsistent(label,
                                tr("the spectrum starts at %1 nm, off the %2 nm grid").arg(*start).arg(gridStep));

        // Parsed into one reused buffer, then kept at their exact size: a fandeck holds thousands
        // of spectra for as long as it stays loaded.
        QList<double> &scratch = m_spectrumScratch;
        scratch.clear();
        const xmlNode *text = spectrum->children;
        bool parsed = false;
        if (text && !text->next && text->type == XML_TEXT_NODE)
            parsed = parseNumberList(hbXmlChars(text->content), &scratch);
        else
            parsed = parseNumberList(hbTextContent(spectrum).constData(), &scratch);
        if (!parsed)
            return inconsistent(label, tr("the spectrum holds a value that is not a number"));
        QList<double> values(scratch.cbegin(), scratch.cend());
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
        HBColorRepresentationPtr representation =
            HBColorRepresentation::spectralRepresentation(*start, *increment, std::move(values));
        if (colourSpec)
            representation->setAttributes(colourSpec->attributes);
        color->addRepresentation(representation);
        return true;
    }

    // Irregular grids have no place in a spectral representation; regular ones are read as such.
    bool readCustomSpectrum(const QString &label, const xmlNode *spectrum, HBColor *color)
    {
        QList<double> wavelengths;
        QList<double> values;
        for (const xmlNode *point = hbFirstChildElement(spectrum); point; point = hbNextElement(point)) {
            if (!hbIsCxfElement(point, "SpectralPoint"))
                continue;
            const std::optional<double> value = parseNumber(hbTextContent(point));
            const std::optional<double> wavelength = parseNumber(hbAttribute(point, "WL").toUtf8());
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
        if (const ColourSpec *colourSpec = specificationFor(spectrum))
            representation->setAttributes(colourSpec->attributes);
        color->addRepresentation(representation);
        return true;
    }

    bool readLab(const QString &label, const xmlNode *lab, HBColor *color)
    {
        const xmlNode *l = hbCxfChild(lab, "L");
        const xmlNode *a = hbCxfChild(lab, "A");
        const xmlNode *b = hbCxfChild(lab, "B");
        const std::optional<double> L = l ? parseNumber(hbTextContent(l)) : std::nullopt;
        const std::optional<double> A = a ? parseNumber(hbTextContent(a)) : std::nullopt;
        const std::optional<double> B = b ? parseNumber(hbTextContent(b)) : std::nullopt;
        if (!L || !A || !B)
            return inconsistent(label, tr("the CIELAB value needs numbers L, A and B"));
        HBColorRepresentationPtr representation = HBColorRepresentation::labRepresentation(*L, *A, *B);
        if (const ColourSpec *colourSpec = specificationFor(lab))
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
        for (auto it = m_skippedValueCounts.cbegin(); it != m_skippedValueCounts.cend(); ++it)
            skip(tr("%1 colour values of type %2 were left out").arg(it.value()).arg(it.key()));
    }

private:
    HBColorDocument *m_document;
    HBColorDocumentDelegate *m_delegate;
    VLError *m_error;
    QHash<QString, ColourSpec> m_specifications;
    QList<double> m_spectrumScratch;
    QMap<QString, int> m_skippedValueCounts;
};

} // namespace

bool hbReadCxf3(const QByteArray &data, HBColorDocument *document, HBColorDocumentDelegate *delegate, VLError *error)
{
    hbEnsureXmlInitialized();
    if (data.isEmpty())
        return hbFail(error, HBErrorNotXML, tr("The file is empty"));
    if (data.size() > std::numeric_limits<int>::max())
        return hbFail(error, HBErrorNotXML, tr("The file is too large for a colour document"));
    xmlParserCtxt *context = xmlNewParserCtxt();
    if (!context)
        return hbFail(error, HBErrorNotXML, tr("Out of memory"));
    const VLQuietXmlErrors quiet;
    const HBXmlDocPtr parsed(xmlCtxtReadMemory(context, data.constData(), int(data.size()), nullptr, nullptr,
                                               XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                                                   XML_PARSE_NOBLANKS));
    if (!parsed) {
        const xmlError *problem = xmlCtxtGetLastError(context);
        const QString detail = problem && problem->message
                                   ? tr("line %1: %2").arg(problem->line).arg(QString::fromUtf8(problem->message).trimmed())
                                   : tr("unknown parse error");
        xmlFreeParserCtxt(context);
        return hbFail(error, HBErrorNotXML, tr("Not a well-formed XML document (%1)").arg(detail));
    }
    xmlFreeParserCtxt(context);
    const xmlNode *root = xmlDocGetRootElement(parsed.get());
    if (!root)
        return hbFail(error, HBErrorNotCxF3, tr("The XML document has no root element"));
    Reader reader(document, delegate, error);
    if (!reader.read(root))
        return false;
    reader.reportSkippedValues();
    return true;
}
