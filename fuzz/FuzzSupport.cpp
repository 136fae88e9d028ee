#include "FuzzSupport.h"

#include "TinteraFuzzTargets.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int g_argc = 1;
char g_programName[] = "tintera-fuzz";
char *g_argv[] = {g_programName, nullptr};

} // namespace

void tinteraFuzzSetUp()
{
    static const bool ready = [] {
        const QString data = QDir::temp().filePath(QStringLiteral("tintera-fuzz-%1").arg(QCoreApplication::applicationPid()));
        qputenv("TINTERA_DATA_DIR", QFile::encodeName(data));
        if (!QCoreApplication::instance())
            new QCoreApplication(g_argc, g_argv);
        return true;
    }();
    (void)ready;
}

void tinteraFuzzDrainEvents()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

QByteArray tinteraFuzzBytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), qsizetype(size));
}

void tinteraFuzzFail(const char *what)
{
    std::fprintf(stderr, "tintera-fuzz: invariant broken: %s\n", what);
    std::fflush(stderr);
    std::abort();
}

const TinteraFuzzTarget *tinteraFuzzTargets()
{
    static const TinteraFuzzTarget targets[] = {
#define TINTERA_FUZZ_TARGET(name, function) {name, function},
#include "TinteraFuzzTargetList.h"
#undef TINTERA_FUZZ_TARGET
        {nullptr, nullptr},
    };
    return targets;
}

const TinteraFuzzTarget *tinteraFuzzTargetNamed(const char *name)
{
    for (const TinteraFuzzTarget *target = tinteraFuzzTargets(); target->name; ++target) {
        if (name && std::strcmp(target->name, name) == 0)
            return target;
    }
    return nullptr;
}
