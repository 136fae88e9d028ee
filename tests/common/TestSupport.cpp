#include "TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <sys/stat.h>

ScopedDataFolder::ScopedDataFolder()
    : m_previous(qgetenv("TINTERA_DATA_DIR"))
    , m_hadPrevious(qEnvironmentVariableIsSet("TINTERA_DATA_DIR"))
{
    qputenv("TINTERA_DATA_DIR", m_dir.path().toUtf8());
}

ScopedDataFolder::~ScopedDataFolder()
{
    if (m_hadPrevious)
        qputenv("TINTERA_DATA_DIR", m_previous);
    else
        qunsetenv("TINTERA_DATA_DIR");
}

unsigned fileMode(const QString &path)
{
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return ~0u;
    return unsigned(info.st_mode & 07777);
}

QString tinteraBuiltProgram(const QString &relativePath)
{
#ifdef TINTERA_BINARY_DIR
    return QStringLiteral(TINTERA_BINARY_DIR "/") + relativePath;
#else
    return relativePath;
#endif
}

QString cxf3SchemaPath()
{
#ifdef CXF3_SCHEMA_PATH
    const QString path = QStringLiteral(CXF3_SCHEMA_PATH);
    return QFileInfo::exists(path) ? path : QString();
#else
    return {};
#endif
}

QString argyllProgram(const QString &name)
{
    return QStandardPaths::findExecutable(name);
}
