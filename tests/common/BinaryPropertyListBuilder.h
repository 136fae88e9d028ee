#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtEndian>

#include <cstring>
#include <utility>

// Writes binary property lists ("bplist00") object by object, so that tests can make lists no
// encoder would: keys holding NUL characters, containers shared many times or containing
// themselves, dates no calendar holds. Each call returns the new object's index.
class BinaryPropertyListBuilder
{
public:
    int nextIndex() const { return int(m_objects.size()); }

    int ascii(const QByteArray &text) { return add(marker(0x5, text.size()) + text); }
    int utf16(const QString &text)
    {
        QByteArray units;
        for (QChar c : text)
            units.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xFF));
        return add(marker(0x6, text.size()) + units);
    }
    int integer(qint64 value)
    {
        QByteArray bytes(1 + 8, Qt::Uninitialized);
        bytes[0] = char(0x13);
        qToBigEndian<qint64>(value, bytes.data() + 1);
        return add(bytes);
    }
    int date(double secondsSince2001) { return add(QByteArray(1, char(0x33)) + bigEndianDouble(secondsSince2001)); }
    int array(const QList<int> &items) { return add(marker(0xA, items.size()) + references(items)); }
    int dictionary(const QList<std::pair<int, int>> &entries)
    {
        QList<int> keys, values;
        for (const auto &[key, value] : entries) {
            keys << key;
            values << value;
        }
        return add(marker(0xD, entries.size()) + references(keys) + references(values));
    }

    QByteArray build(int root) const
    {
        QByteArray out("bplist00");
        QList<quint32> offsets;
        for (const QByteArray &object : m_objects) {
            offsets << quint32(out.size());
            out += object;
        }
        const quint64 table = quint64(out.size());
        for (quint32 offset : offsets)
            appendBigEndian<quint32>(&out, offset);
        out += QByteArray(6, '\0');
        out += char(4); // offset size
        out += char(2); // reference size
        appendBigEndian<quint64>(&out, quint64(m_objects.size()));
        appendBigEndian<quint64>(&out, quint64(root));
        appendBigEndian<quint64>(&out, table);
        return out;
    }

    // A dictionary with one entry whose key is the given text (UTF-16), holding a string.
    static QByteArray dictionaryWithKey(const QString &key)
    {
        BinaryPropertyListBuilder builder;
        const int root = builder.nextIndex();
        builder.m_objects.append(QByteArray()); // filled below, once its members exist
        const int k = builder.utf16(key);
        const int v = builder.ascii("x");
        builder.m_objects[root] = marker(0xD, 1) + references({k}) + references({v});
        return builder.build(root);
    }

private:
    int add(const QByteArray &object)
    {
        m_objects.append(object);
        return int(m_objects.size()) - 1;
    }
    template <typename T>
    static void appendBigEndian(QByteArray *out, T value)
    {
        char bytes[sizeof(T)];
        qToBigEndian<T>(value, bytes);
        out->append(bytes, sizeof(T));
    }
    static QByteArray bigEndianDouble(double value)
    {
        quint64 raw = 0;
        std::memcpy(&raw, &value, sizeof raw);
        QByteArray bytes;
        appendBigEndian<quint64>(&bytes, raw);
        return bytes;
    }
    static QByteArray marker(int type, qsizetype count)
    {
        if (count < 15)
            return QByteArray(1, char((type << 4) | int(count)));
        QByteArray bytes(1, char((type << 4) | 0xF));
        bytes += char(0x11);
        appendBigEndian<quint16>(&bytes, quint16(count));
        return bytes;
    }
    static QByteArray references(const QList<int> &indexes)
    {
        QByteArray bytes;
        for (int index : indexes)
            appendBigEndian<quint16>(&bytes, quint16(index));
        return bytes;
    }

    QList<QByteArray> m_objects;
};
