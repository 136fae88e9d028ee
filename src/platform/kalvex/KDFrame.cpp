#include "KDFrame.h"

#include "KXObject.h"

#include <utility>

KDPayload::KDPayload(const QByteArray &bytes)
    : m_data(kxDataCreateWithByteArray(bytes))
    , m_bytes(bytes)
{
}

KDPayload::KDPayload(KXDataRef data)
    : m_data(static_cast<KXDataRef>(KXRetain(KXGetTypeID(data) == KXDataTypeID ? data : nullptr)))
{
}

KDPayload::KDPayload(const KDPayload &other)
    : m_data(static_cast<KXDataRef>(KXRetain(other.m_data)))
    , m_bytes(other.m_bytes)
{
}

KDPayload &KDPayload::operator=(const KDPayload &other)
{
    if (this != &other) {
        KXRetain(other.m_data);
        KXRelease(m_data);
        m_data = other.m_data;
        m_bytes = other.m_bytes;
    }
    return *this;
}

KDPayload::KDPayload(KDPayload &&other) noexcept
    : m_data(std::exchange(other.m_data, nullptr))
    , m_bytes(std::move(other.m_bytes))
{
}

KDPayload &KDPayload::operator=(KDPayload &&other) noexcept
{
    if (this != &other) {
        KXRelease(m_data);
        m_data = std::exchange(other.m_data, nullptr);
        m_bytes = std::move(other.m_bytes);
    }
    return *this;
}

KDPayload::~KDPayload()
{
    KXRelease(m_data);
}

qint64 KDPayload::size() const
{
    return KXDataGetLength(m_data);
}

const char *KDPayload::constData() const
{
    return reinterpret_cast<const char *>(KXDataGetBytePtr(m_data));
}

QByteArray KDPayload::toByteArray() const
{
    if (!m_data)
        return {};
    if (!m_bytes.isNull())
        return m_bytes;
    return QByteArray(constData(), qsizetype(size()));
}
