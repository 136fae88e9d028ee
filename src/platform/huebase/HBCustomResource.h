#pragma once

#include <VLError.h>

#include <QSharedPointer>
#include <QString>

struct _xmlNode;
struct _xmlDoc;

class HBCustomResource;
using HBCustomResourcePtr = QSharedPointer<HBCustomResource>;

// Vendor data carried in a CxF3 document's CustomResources section: one XML element in a namespace
// other than CxF3's.
class HBCustomResource
{
public:
    virtual ~HBCustomResource();

    virtual QString namespaceURI() const = 0;
    virtual QString localName() const = 0;
    virtual QString description() const = 0;

    // Serialisation hook of the CxF3 writer: appends this resource's element to `customResources`.
    virtual bool appendToCustomResources(_xmlNode *customResources, VLError *error) const = 0;
};

// A custom resource this library does not understand, kept verbatim so that a document read and
// written again carries it unchanged.
class HBForeignCustomResource : public HBCustomResource
{
public:
    // Copies the element (with its subtree and the namespace declarations it relies on).
    static HBCustomResourcePtr resourceWithElement(const _xmlNode *element);
    ~HBForeignCustomResource() override;
    HBForeignCustomResource(const HBForeignCustomResource &) = delete;
    HBForeignCustomResource &operator=(const HBForeignCustomResource &) = delete;

    QString namespaceURI() const override { return m_namespaceURI; }
    QString localName() const override { return m_localName; }
    QString description() const override;
    bool appendToCustomResources(_xmlNode *customResources, VLError *error) const override;

    // The element as XML text.
    QByteArray xmlText() const;

private:
    HBForeignCustomResource() = default;
    _xmlDoc *m_document = nullptr;
    QString m_namespaceURI;
    QString m_localName;
};
