#pragma once

#include "HBColor.h"
#include "HBCustomResource.h"

#include <VLError.h>

#include <QHash>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QVariantMap>

#include <memory>

class HBColorDocument;
using HBColorDocumentPtr = QSharedPointer<HBColorDocument>;

// Told about what a reader passed over in a file it could still read (unsupported colour values,
// irregular spectra, core elements among the custom resources). All operations are optional.
class HBColorDocumentDelegate
{
public:
    virtual ~HBColorDocumentDelegate() = default;
    virtual void colorDocumentDidSkipContent(HBColorDocument *document, const QString &reason)
    {
        Q_UNUSED(document);
        Q_UNUSED(reason);
    }
};

// A colour document: attributes, colours and custom resources, read from and written to CxF3.
// Not thread-safe: one thread at a time (a document loaded on a worker may be used on another
// thread afterwards).
class HBColorDocument : public QObject
{
    Q_OBJECT
public:
    explicit HBColorDocument(QObject *parent = nullptr);
    ~HBColorDocument() override;

    // Reads a CxF3 file, or a CGATS (IT8) measurement file through Little CMS. Returns null and
    // fills *error for unreadable, non-XML or non-CxF3 input and for inconsistent spectral data.
    static HBColorDocumentPtr initWithFile(const QString &path, HBColorDocumentDelegate *delegate, VLError *error);
    static HBColorDocumentPtr initWithData(const QByteArray &data, HBColorDocumentDelegate *delegate,
                                           VLError *error);

    const QVariantMap &attributes() const { return m_attributes; }
    QVariant attributeForKey(const QString &key) const { return m_attributes.value(key); }
    void setAttribute(const QVariant &value, const QString &key);

    const QList<HBColorPtr> &colors() const { return m_colors; }
    // The colours whose attributes hold every given key with an equal value, in document order.
    // Looked up through an index per key, built on first use.
    QList<HBColorPtr> colorsWithAttributes(const QVariantMap &attributes) const;
    void addColor(const HBColorPtr &color);

    // A CXF3FandeckCustomResource sets the fandeck identity attributes; other resources are kept
    // in order and written into CustomResources.
    const QList<HBCustomResourcePtr> &customResources() const { return m_customResources; }
    void addCustomResource(const HBCustomResourcePtr &resource);

    // CxF3 text of the document, valid against the CxF3 core schema.
    QByteArray dataRepresentation(VLError *error) const;
    // Writes the CxF3 text atomically.
    bool writeToFile(const QString &path, VLError *error) const;

    QString description() const;

private:
    using ValueIndex = QHash<QString, QList<qsizetype>>;
    const ValueIndex &indexForKey(const QString &key) const;

    QVariantMap m_attributes;
    QList<HBColorPtr> m_colors;
    QList<HBCustomResourcePtr> m_customResources;

    std::shared_ptr<quint64> m_revision = std::make_shared<quint64>(0);
    mutable quint64 m_indexedRevision = 0;
    mutable QHash<QString, ValueIndex> m_indexes;
};
