#include "KXObject.h"

#include "KDType.h"
#include "VLPropertyList.h"

#include <QAbstractEventDispatcher>
#include <QThread>
#include <QTimer>

#include <vector>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace {

const KXData *asData(KXTypeRef ref) { return kxCast<KXData, KXDataTypeID>(ref); }
const KXString *asString(KXTypeRef ref) { return kxCast<KXString, KXStringTypeID>(ref); }
const KXArray *asArray(KXTypeRef ref) { return kxCast<KXArray, KXArrayTypeID>(ref); }
const KXDictionary *asDictionary(KXTypeRef ref) { return kxCast<KXDictionary, KXDictionaryTypeID>(ref); }

KXDeviceCommand *asCommand(KXDeviceCommandRef ref)
{
    return kxCast<KXDeviceCommand, KXDeviceCommandTypeID>(ref) ? ref : nullptr;
}

// Autoreleased values of one thread, released when its event loop next runs or when it ends.
class AutoreleasePool
{
public:
    ~AutoreleasePool() { drain(); }

    void add(KXTypeRef value)
    {
        m_values.push_back(value);
        if (m_drainScheduled || !QAbstractEventDispatcher::instance(QThread::currentThread()))
            return;
        m_drainScheduled = true;
        QTimer::singleShot(0, [this] { drain(); });
    }

private:
    void drain()
    {
        m_drainScheduled = false;
        std::vector<KXTypeRef> values;
        values.swap(m_values);
        for (KXTypeRef value : values)
            KXRelease(value);
    }

    std::vector<KXTypeRef> m_values;
    bool m_drainScheduled = false;
};

thread_local AutoreleasePool t_autoreleasePool;

} // namespace

KXData::~KXData()
{
    if (file && mapped)
        file->unmap(mapped);
}

const uint8_t *KXData::bytePtr() const
{
    return mapped ? mapped : reinterpret_cast<const uint8_t *>(bytes.constData());
}

KXIndex KXData::length() const
{
    return mapped ? KXIndex(mappedLength) : KXIndex(bytes.size());
}

KXArray::~KXArray()
{
    for (KXTypeRef value : values)
        KXRelease(value);
}

KXDictionary::~KXDictionary()
{
    for (const auto &[key, value] : entries) {
        KXRelease(key);
        KXRelease(value);
    }
}

KXDeviceCommand::~KXDeviceCommand()
{
    KXRelease(name);
    KXRelease(static_cast<KXTypeRef>(arguments));
    KXRelease(data);
}

void kxDictionarySetValue(KXDictionary *dictionary, const QString &key, KXTypeRef ownedValue)
{
    for (auto &entry : dictionary->entries) {
        if (entry.first->text == key) {
            KXRelease(entry.second);
            entry.second = ownedValue;
            return;
        }
    }
    dictionary->entries.append({new KXString(key), ownedValue});
}

KXDataRef kxDataCreateWithByteArray(const QByteArray &bytes)
{
    auto *data = new KXData;
    data->bytes = bytes;
    if (data->bytes.isNull())
        data->bytes = QByteArray("");
    return data;
}

void kxDataReleaseResidentPages(KXDataRef ref, qint64 offset, qint64 length)
{
#ifdef Q_OS_LINUX
    const KXData *data = asData(ref);
    if (!data || !data->mapped || offset < 0 || length <= 0 || offset + length > data->mappedLength)
        return;
    const qint64 page = sysconf(_SC_PAGESIZE);
    // Whole pages inside the range only: a page shared with bytes still to be sent stays.
    const qint64 first = (offset + page - 1) / page * page;
    const qint64 end = (offset + length) / page * page;
    const auto base = reinterpret_cast<quintptr>(data->mapped);
    if (base % quintptr(page) != 0 || end <= first)
        return;
    madvise(reinterpret_cast<void *>(base + quintptr(first)), size_t(end - first), MADV_DONTNEED);
#else
    Q_UNUSED(ref);
    Q_UNUSED(offset);
    Q_UNUSED(length);
#endif
}

int kxDataFileDescriptor(KXDataRef ref)
{
    const KXData *data = asData(ref);
    return data && data->mapped && data->file ? data->file->handle() : -1;
}

KXTypeID KXGetTypeID(KXTypeRef value)
{
    return value ? static_cast<const KXObject *>(value)->typeID : KXInvalidTypeID;
}

KXTypeRef KXRetain(KXTypeRef value)
{
    if (value)
        static_cast<const KXObject *>(value)->retainCount.fetch_add(1, std::memory_order_relaxed);
    return value;
}

void KXRelease(KXTypeRef value)
{
    if (!value)
        return;
    const auto *object = static_cast<const KXObject *>(value);
    if (object->retainCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete object;
}

KXTypeRef KXAutorelease(KXTypeRef value)
{
    if (value)
        t_autoreleasePool.add(value);
    return value;
}

KXIndex KXGetRetainCount(KXTypeRef value)
{
    return value ? static_cast<const KXObject *>(value)->retainCount.load() : 0;
}

KXDataRef KXDataCreateWithBytes(const void *bytes, uint32_t length)
{
    if (!bytes && length > 0)
        return nullptr;
    return kxDataCreateWithByteArray(QByteArray(static_cast<const char *>(bytes), qsizetype(length)));
}

KXDataRef KXDataWithMappedFileAtPath(const QString &path)
{
    auto file = std::make_unique<QFile>(path);
    if (path.isEmpty() || !file->open(QIODevice::ReadOnly))
        return nullptr;
    auto *data = new KXData;
    const qint64 size = file->size();
    if (size > 0) {
        data->mapped = file->map(0, size);
        if (!data->mapped) {
            delete data;
            return nullptr;
        }
        data->mappedLength = size;
        data->file = std::move(file);
    } else {
        data->bytes = QByteArray("");
    }
    return static_cast<KXDataRef>(KXAutorelease(data));
}

KXDataRef KXDataWithMappedFileAtPath(KXStringRef path)
{
    const KXString *string = asString(path);
    return string ? KXDataWithMappedFileAtPath(string->text) : nullptr;
}

const uint8_t *KXDataGetBytePtr(KXDataRef data)
{
    const KXData *object = asData(data);
    return object ? object->bytePtr() : nullptr;
}

KXIndex KXDataGetLength(KXDataRef data)
{
    const KXData *object = asData(data);
    return object ? object->length() : 0;
}

KXStringRef KD_KXString(const QString &text)
{
    return static_cast<KXStringRef>(KXAutorelease(KXStringCreateWithText(text)));
}

KXStringRef KXStringCreateWithText(const QString &text)
{
    return new KXString(text);
}

QString KXStringGetText(KXStringRef string)
{
    const KXString *object = asString(string);
    return object ? object->text : QString();
}

KXIndex KXArrayGetCount(KXArrayRef array)
{
    const KXArray *object = asArray(array);
    return object ? KXIndex(object->values.size()) : 0;
}

KXTypeRef KXArrayGetValueAtIndex(KXArrayRef array, KXIndex index)
{
    const KXArray *object = asArray(array);
    if (!object || index < 0 || index >= KXIndex(object->values.size()))
        return nullptr;
    return object->values.at(qsizetype(index));
}

KXIndex KXDictionaryGetCount(KXDictionaryRef dictionary)
{
    const KXDictionary *object = asDictionary(dictionary);
    return object ? KXIndex(object->entries.size()) : 0;
}

KXArrayRef KXDictionaryCopyAllKeys(KXDictionaryRef dictionary)
{
    const KXDictionary *object = asDictionary(dictionary);
    if (!object)
        return nullptr;
    auto *keys = new KXArray;
    keys->values.reserve(object->entries.size());
    for (const auto &entry : object->entries)
        keys->values.append(KXRetain(entry.first));
    return keys;
}

KXTypeRef KXDictionaryGetObjectForKey(KXDictionaryRef dictionary, KXTypeRef key)
{
    const KXDictionary *object = asDictionary(dictionary);
    const KXString *name = asString(key);
    if (!object || !name)
        return nullptr;
    for (const auto &entry : object->entries) {
        if (entry.first->text == name->text)
            return entry.second;
    }
    return nullptr;
}

KXTypeRef KXCoderCopyDecodedObjectFromData(KXDataRef data)
{
    const KXData *object = asData(data);
    if (!object || object->length() == 0)
        return nullptr;
    const QByteArray view = QByteArray::fromRawData(reinterpret_cast<const char *>(object->bytePtr()),
                                                    qsizetype(object->length()));
    VLError error;
    const QVariant decoded = VLPropertyList::fromData(view, &error);
    if (!error.isNull() || !decoded.isValid())
        return nullptr;
    return KDType::KXTypeCreateWithObject(decoded);
}

KXDataRef KXCoderCopyEncodedDataFromObject(KXTypeRef value)
{
    if (!value)
        return nullptr;
    VLError error;
    const QByteArray encoded = VLPropertyList::toBinary(KDType::objectForKXType(value), &error);
    if (!error.isNull())
        return nullptr;
    return kxDataCreateWithByteArray(encoded);
}

KXDeviceCommandRef KXDeviceCommandCreate(KXStringRef name)
{
    const KXString *string = asString(name);
    if (!string)
        return nullptr;
    auto *command = new KXDeviceCommand;
    command->name = static_cast<KXStringRef>(KXRetain(string));
    command->arguments = new KXDictionary;
    return command;
}

void KXDeviceCommandSetArgument(KXDeviceCommandRef command, KXStringRef key, KXStringRef value)
{
    KXDeviceCommand *object = asCommand(command);
    const KXString *keyString = asString(key);
    const KXString *valueString = asString(value);
    if (!object || !keyString)
        return;
    if (!valueString) {
        // Setting no value removes the argument, as it does for the payload.
        auto &entries = object->arguments->entries;
        for (qsizetype i = 0; i < entries.size(); ++i) {
            if (entries.at(i).first->text == keyString->text) {
                KXRelease(entries.at(i).first);
                KXRelease(entries.at(i).second);
                entries.removeAt(i);
                break;
            }
        }
        return;
    }
    kxDictionarySetValue(object->arguments, keyString->text, KXRetain(valueString));
}

void KXDeviceCommandSetData(KXDeviceCommandRef command, KXDataRef data)
{
    KXDeviceCommand *object = asCommand(command);
    if (!object)
        return;
    const KXDataRef previous = object->data;
    object->data = asData(data) ? static_cast<KXDataRef>(KXRetain(data)) : nullptr;
    KXRelease(previous);
}

KXStringRef KXDeviceCommandGetName(KXDeviceCommandRef command)
{
    KXDeviceCommand *object = asCommand(command);
    return object ? object->name : nullptr;
}

KXDictionaryRef KXDeviceCommandCopyArguments(KXDeviceCommandRef command)
{
    KXDeviceCommand *object = asCommand(command);
    if (!object)
        return nullptr;
    auto *copy = new KXDictionary;
    for (const auto &[key, value] : object->arguments->entries)
        copy->entries.append({static_cast<KXStringRef>(KXRetain(key)), KXRetain(value)});
    return copy;
}

KXDataRef KXDeviceCommandGetData(KXDeviceCommandRef command)
{
    KXDeviceCommand *object = asCommand(command);
    return object ? object->data : nullptr;
}
