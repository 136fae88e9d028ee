#include "HBColorDocument.h"

#include "CXF3FandeckCustomResource.h"
#include "HBCgatsReader.h"
#include "HBCxfReader.h"
#include "HBCxfWriter.h"
#include "HBErrors.h"

#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>

namespace {

QString indexText(const QVariant &value)
{
    return value.toString();
}

} // namespace

HBColorDocument::HBColorDocument(QObject *parent)
    : QObject(parent)
{
}

HBColorDocument::~HBColorDocument() = default;

HBColorDocumentPtr HBColorDocument::initWithFile(const QString &path, HBColorDocumentDelegate *delegate,
                                                 VLError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        hbFail(error, HBErrorFileUnreadable, tr("Could not open %1: %2").arg(path, file.errorString()));
        return {};
    }
    const QByteArray data = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        hbFail(error, HBErrorFileUnreadable, tr("Could not read %1: %2").arg(path, file.errorString()));
        return {};
    }
    VLError readError;
    HBColorDocumentPtr document = initWithData(data, delegate, &readError);
    if (!document && error)
        *error = VLError(readError.domain(), readError.code(),
                         tr("%1: %2").arg(path, readError.localizedDescription()));
    return document;
}

HBColorDocumentPtr HBColorDocument::initWithData(const QByteArray &data, HBColorDocumentDelegate *delegate,
                                                 VLError *error)
{
    HBColorDocumentPtr document(new HBColorDocument);
    if (hbLooksLikeCgats(data)) {
        if (!hbReadCgats(data, document.data(), delegate, error))
            return {};
        return document;
    }
    if (!hbReadCxf3(data, document.data(), delegate, error))
        return {};
    return document;
}

void HBColorDocument::setAttribute(const QVariant &value, const QString &key)
{
    if (value.isValid())
        m_attributes.insert(key, value);
    else
        m_attributes.remove(key);
}

void HBColorDocument::addColor(const HBColorPtr &color)
{
    if (!color)
        return;
    color->addOwnerRevision(m_revision);
    m_colors << color;
    if (m_indexedRevision != *m_revision)
        return;
    // Built indexes stay current by taking the new colour in.
    const qsizetype position = m_colors.size() - 1;
    for (auto it = m_indexes.begin(); it != m_indexes.end(); ++it) {
        const QVariant value = color->attributeForKey(it.key());
        if (value.isValid())
            it.value()[indexText(value)] << position;
    }
}

const HBColorDocument::ValueIndex &HBColorDocument::indexForKey(const QString &key) const
{
    if (m_indexedRevision != *m_revision) {
        m_indexes.clear();
        m_indexedRevision = *m_revision;
    }
    auto it = m_indexes.find(key);
    if (it == m_indexes.end()) {
        ValueIndex index;
        index.reserve(m_colors.size());
        for (qsizetype position = 0; position < m_colors.size(); ++position) {
            const QVariant value = m_colors[position]->attributeForKey(key);
            if (value.isValid())
                index[indexText(value)] << position;
        }
        it = m_indexes.insert(key, std::move(index));
    }
    return it.value();
}

QList<HBColorPtr> HBColorDocument::colorsWithAttributes(const QVariantMap &attributes) const
{
    if (attributes.isEmpty())
        return m_colors;
    const auto first = attributes.cbegin();
    const QList<qsizetype> candidates = indexForKey(first.key()).value(indexText(first.value()));
    QList<HBColorPtr> found;
    for (qsizetype position : candidates) {
        const HBColorPtr &color = m_colors[position];
        bool matches = true;
        for (auto it = attributes.cbegin(); matches && it != attributes.cend(); ++it)
            matches = color->attributeForKey(it.key()) == it.value();
        if (matches)
            found << color;
    }
    return found;
}

void HBColorDocument::addCustomResource(const HBCustomResourcePtr &resource)
{
    if (!resource)
        return;
    if (const auto fandeck = resource.dynamicCast<CXF3FandeckCustomResource>()) {
        for (auto it = fandeck->attributes().cbegin(); it != fandeck->attributes().cend(); ++it)
            m_attributes.insert(it.key(), it.value());
        return;
    }
    m_customResources << resource;
}

QByteArray HBColorDocument::dataRepresentation(VLError *error) const
{
    return hbWriteCxf3(*this, error);
}

bool HBColorDocument::writeToFile(const QString &path, VLError *error) const
{
    const QByteArray data = dataRepresentation(error);
    if (data.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        return hbFail(error, HBErrorWriteFailed, tr("Could not write %1: %2").arg(path, file.errorString()));
    }
    return true;
}

QString HBColorDocument::description() const
{
    return QStringLiteral("<HBColorDocument %1 colours, %2 custom resources, attributes %3>")
        .arg(m_colors.size())
        .arg(m_customResources.size())
        .arg(QStringList(m_attributes.keys()).join(QStringLiteral(", ")));
}
