#include "KDCommandArgumentForKey.h"

#include "KXTypes.h"

namespace KDCommandArgumentForKey {

QString argumentForKey(const KDCommandPtr &command, const QString &key)
{
    if (!command)
        return {};
    const QVariant value = command->arguments().value(key);
    return value.isValid() ? value.toString() : QString();
}

void setArgumentForKey(const KDCommandPtr &command, const QString &value, const QString &key)
{
    if (command)
        KXDeviceCommandSetArgument(command->KXType(), KD_KXString(key), KD_KXString(value));
}

void setDataFromFilename(const KDCommandPtr &command, const QString &path)
{
    if (command)
        KXDeviceCommandSetData(command->KXType(), KXDataWithMappedFileAtPath(path));
}

} // namespace KDCommandArgumentForKey
