#pragma once

// The colours of a CxF3 document as they stream past the parser. A fandeck is almost all colours,
// and building them as an XML tree first cost more than everything else the load does (the tree's
// nodes, then freeing them all). So the parser's events for the colours are caught here and kept
// as read, while everything else (file information, colour specifications, custom resources) is
// built as a tree as usual. The colours cannot be finished as they stream past: CxF3 puts the
// colour specifications their spectra need after the objects.

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

#include <optional>
#include <variant>

class HBEntityBudget;
struct _xmlNode;
struct _xmlParserCtxt;

// Attributes are null when absent, and text is the element's whole text content, as the tree
// would give them.
struct HBCxfStreamedReflectance
{
    QString colorSpecification;
    QString startWavelength;
    QString increment;
    QString endWavelength;
    QList<double> values; // exactly sized
    bool numbersParsed = true; // false: a token was not a number
};

struct HBCxfStreamedPoint
{
    QString wavelength;
    QByteArray text;
};

struct HBCxfStreamedCustomSpectrum
{
    QString colorSpecification;
    QList<HBCxfStreamedPoint> points;
};

struct HBCxfStreamedLab
{
    QString colorSpecification;
    std::optional<QByteArray> L, A, B; // the first of each
};

using HBCxfStreamedValue = std::variant<HBCxfStreamedReflectance, HBCxfStreamedCustomSpectrum, HBCxfStreamedLab>;

struct HBCxfStreamedTag
{
    QString name; // never empty
    QString value;
};

// The object's children that mean something, in document order.
struct HBCxfStreamedCreationDate
{
    QByteArray text;
};
struct HBCxfStreamedColorValues
{
    QList<HBCxfStreamedValue> values;
};
struct HBCxfStreamedTagCollection
{
    QList<HBCxfStreamedTag> tags;
};
using HBCxfStreamedPart = std::variant<HBCxfStreamedCreationDate, HBCxfStreamedColorValues, HBCxfStreamedTagCollection>;

struct HBCxfStreamedObject
{
    QString id;
    QString name;
    QString guid;
    QString objectType;
    QList<HBCxfStreamedPart> parts;
};

// Takes over a fresh parser context's SAX handlers until it is destroyed. The objects caught are
// the children of the document's first ObjectCollection in its first Resources; any other Object
// goes into the tree like the rest. Entity references inside the objects are expanded against
// `budget`.
class HBCxfObjectStream
{
public:
    HBCxfObjectStream(_xmlParserCtxt *context, HBEntityBudget *budget);
    ~HBCxfObjectStream();
    HBCxfObjectStream(const HBCxfObjectStream &) = delete;
    HBCxfObjectStream &operator=(const HBCxfObjectStream &) = delete;

    const QList<HBCxfStreamedObject> &objects() const { return m_objects; }
    // Colour value elements of CxF3 the reader does not take, by local name.
    const QMap<QString, int> &skippedValueCounts() const { return m_skippedValueCounts; }

private:
    enum class Frame {
        Object,
        CreationDate,
        ColorValues,
        Reflectance,
        CustomSpectrum,
        SpectralPoint,
        Lab,
        LabL,
        LabA,
        LabB,
        TagCollection,
        Tag,
        Other,
    };

    static void startElement(void *context, const unsigned char *localName, const unsigned char *prefix,
                             const unsigned char *uri, int namespaceCount, const unsigned char **namespaces,
                             int attributeCount, int defaultedCount, const unsigned char **attributes);
    static void endElement(void *context, const unsigned char *localName, const unsigned char *prefix,
                           const unsigned char *uri);
    static void characters(void *context, const unsigned char *text, int length);
    static void ignorableWhitespace(void *context, const unsigned char *text, int length);
    static void cdataBlock(void *context, const unsigned char *text, int length);
    static void reference(void *context, const unsigned char *name);
    static void comment(void *context, const unsigned char *text);
    static void processingInstruction(void *context, const unsigned char *target, const unsigned char *data);

    // The stream when the event comes from its own context (not from an entity's replacement text
    // being parsed for the tree); inObject, when it is moreover inside one of its objects.
    static HBCxfObjectStream *ownerOf(void *context);
    static HBCxfObjectStream *inObject(void *context);
    bool startsObject(const unsigned char *localName, const unsigned char *uri);
    Frame frameFor(Frame parent, const char *localName, bool inCxfNamespace) const;
    void open(Frame frame, int attributeCount, const unsigned char **attributes);
    void close(Frame frame);
    QString attribute(int attributeCount, const unsigned char **attributes, const char *name) const;
    void collect(const char *text, int length);

    _xmlParserCtxt *m_context;
    HBEntityBudget *m_budget;
    const _xmlNode *m_collection = nullptr; // the ObjectCollection whose objects are caught
    QList<Frame> m_frames; // inside an object: the open elements, the Object first
    int m_collectingDepth = -1; // the open element whose text is collected, or -1
    QByteArray m_text;
    QList<double> m_numberScratch;
    HBCxfStreamedObject m_object;
    QList<HBCxfStreamedObject> m_objects;
    QMap<QString, int> m_skippedValueCounts;
};

// Whitespace-separated doubles; false at the first token that is not a number.
bool hbCxfParseNumberList(const char *text, QList<double> *values);
