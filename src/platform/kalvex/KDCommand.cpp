#include "KDCommand.h"

#include "KDError.h"
#include "KDType.h"
#include "KXObject.h"

#include <QStringList>

KDCommandPtr KDCommand::initWithName(const QString &name)
{
    return KDCommandPtr::create(name);
}

KDCommandPtr KDCommand::initWithNameData(const QString &name, const QByteArray &data)
{
    KDCommandPtr command = initWithName(name);
    if (data.isNull())
        return command;
    KXDataRef bytes = kxDataCreateWithByteArray(data); // shares the bytes, whatever their size
    KXDeviceCommandSetData(command->KXType(), bytes);
    KXRelease(bytes);
    return command;
}

KDCommandPtr KDCommand::initWithNameArguments(const QString &name, const QVariantMap &arguments)
{
    KDCommandPtr command = initWithName(name);
    for (auto it = arguments.constBegin(); it != arguments.constEnd(); ++it)
        KXDeviceCommandSetArgument(command->KXType(), KD_KXString(it.key()), KD_KXString(it.value().toString()));
    return command;
}

KDCommandPtr KDCommand::initWithNameArgumentsDataURL(const QString &name, const QVariantMap &arguments,
                                                     const QUrl &dataURL)
{
    KDCommandPtr command = initWithNameArguments(name, arguments);
    command->m_dataURL = dataURL;
    const QString path = dataURL.isLocalFile() ? dataURL.toLocalFile() : QString();
    KXDataRef data = path.isEmpty() ? nullptr : KXDataWithMappedFileAtPath(path);
    if (!data) {
        command->m_payloadError = kdError(KDErrorPayloadUnreadable, dataURL.toString());
        return command;
    }
    KXDeviceCommandSetData(command->KXType(), data);
    return command;
}

KDCommand::KDCommand(const QString &name)
{
    KXStringRef text = KXStringCreateWithText(name);
    m_handle = KXDeviceCommandCreate(text);
    KXRelease(text);
}

KDCommand::~KDCommand()
{
    KXRelease(m_handle);
}

QString KDCommand::name() const
{
    return KXStringGetText(KXDeviceCommandGetName(m_handle));
}

QVariantMap KDCommand::arguments() const
{
    KXDictionaryRef arguments = KXDeviceCommandCopyArguments(m_handle);
    const QVariantMap map = KDType::objectForKXType(arguments).toMap();
    KXRelease(arguments);
    return map;
}

bool KDCommand::hasData() const
{
    return KXDeviceCommandGetData(m_handle) != nullptr;
}

qint64 KDCommand::dataLength() const
{
    return KXDataGetLength(KXDeviceCommandGetData(m_handle));
}

QByteArray KDCommand::data() const
{
    KXDataRef data = KXDeviceCommandGetData(m_handle);
    if (!data)
        return {};
    return QByteArray(reinterpret_cast<const char *>(KXDataGetBytePtr(data)), qsizetype(KXDataGetLength(data)));
}

QString KDCommand::description() const
{
    QStringList parts;
    const QVariantMap args = arguments();
    for (auto it = args.constBegin(); it != args.constEnd(); ++it)
        parts << QStringLiteral("%1=%2").arg(it.key(), it.value().toString());
    QString text = QStringLiteral("<KDCommand %1").arg(name());
    if (!parts.isEmpty())
        text += QStringLiteral(" {") + parts.join(QStringLiteral(", ")) + QLatin1Char('}');
    if (hasData())
        text += QStringLiteral(" data: %1 bytes").arg(dataLength());
    return text + QLatin1Char('>');
}
