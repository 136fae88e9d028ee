#pragma once

#include "KXTypes.h"

#include <QByteArray>
#include <QMetaType>
#include <QVariantMap>

// Payload bytes of a frame: nothing, bytes in memory, or a mapped file, held by reference so that a
// large payload is never copied on its way to the stream.
class KDPayload
{
public:
    KDPayload() = default;
    explicit KDPayload(const QByteArray &bytes);
    // Takes its own reference to the data; null data gives an empty payload.
    explicit KDPayload(KXDataRef data);
    KDPayload(const KDPayload &other);
    KDPayload &operator=(const KDPayload &other);
    KDPayload(KDPayload &&other) noexcept;
    KDPayload &operator=(KDPayload &&other) noexcept;
    ~KDPayload();

    bool isNull() const { return m_data == nullptr; }
    qint64 size() const;
    const char *constData() const;
    KXDataRef kxData() const { return m_data; }
    // A copy in memory (the shared bytes themselves when the payload came from memory).
    QByteArray toByteArray() const;

private:
    KXDataRef m_data = nullptr;
    QByteArray m_bytes; // keeps in-memory bytes shared rather than copied
};

struct KDFrame
{
    QVariantMap header;
    KDPayload payload;
};

Q_DECLARE_METATYPE(KDFrame)
