#include "Fabric.h"

#include "VLDataFolder.h"
#include "VLPrivateFolder.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QSet>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Everything the signal handler touches is preallocated here: it may not allocate or lock.
char g_ring[Crashlytics::kRingLines][Crashlytics::kLineBytes];
std::atomic<quint64> g_written{0};
char g_reportPath[4096];
std::atomic<bool> g_handlerInstalled{false};
QMutex g_ringMutex;

void writeAll(int fd, const char *bytes, size_t length)
{
    while (length > 0) {
        const ssize_t n = ::write(fd, bytes, length);
        if (n <= 0)
            return;
        bytes += n;
        length -= size_t(n);
    }
}

void writeNumber(int fd, long value)
{
    char digits[24];
    int i = sizeof digits;
    const bool negative = value < 0;
    unsigned long v = negative ? 0UL - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
    do {
        digits[--i] = char('0' + v % 10);
        v /= 10;
    } while (v && i > 1);
    if (negative)
        digits[--i] = '-';
    writeAll(fd, digits + i, sizeof digits - size_t(i));
}

extern "C" void fatalSignalHandler(int signal)
{
    const int fd = ::open(g_reportPath, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd >= 0) {
        static const char header[] = "Fatal signal ";
        writeAll(fd, header, sizeof header - 1);
        writeNumber(fd, signal);
        writeAll(fd, "\n", 1);
        const quint64 end = g_written.load();
        const quint64 begin = end > quint64(Crashlytics::kRingLines) ? end - Crashlytics::kRingLines : 0;
        for (quint64 i = begin; i < end; ++i) {
            const char *line = g_ring[i % Crashlytics::kRingLines];
            writeAll(fd, line, ::strnlen(line, Crashlytics::kLineBytes));
            writeAll(fd, "\n", 1);
        }
        ::close(fd);
    }
    // SA_RESETHAND restored the default action: dying of the same signal keeps the exit status honest.
    ::raise(signal);
}

bool mirrorToStandardError()
{
    static const bool mirror = !qEnvironmentVariableIsEmpty("TINTERA_LOG");
    return mirror;
}

} // namespace

void Fabric::with(const QList<FabricKit *> &kits)
{
    static QMutex mutex;
    static QSet<FabricKit *> started;
    QMutexLocker lock(&mutex);
    for (FabricKit *kit : kits) {
        if (kit && !started.contains(kit)) {
            started.insert(kit);
            kit->start();
        }
    }
}

Crashlytics *Crashlytics::sharedInstance()
{
    static Crashlytics instance;
    return &instance;
}

QString Crashlytics::crashReportPath() const
{
    return vlApplicationDataFolder() + QStringLiteral("/CrashReports/crash-%1.log").arg(::getpid());
}

void Crashlytics::start()
{
    if (g_handlerInstalled.exchange(true))
        return;
    const QString path = crashReportPath();
    vlPreparePrivateFolder(QFileInfo(path).absolutePath(), VLWiderPermissions::Tighten);
    const QByteArray encoded = QFile::encodeName(path);
    std::snprintf(g_reportPath, sizeof g_reportPath, "%s", encoded.constData());

    struct sigaction action {};
    action.sa_handler = fatalSignalHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    for (int sig : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL})
        sigaction(sig, &action, nullptr);
}

void Crashlytics::appendLogLine(const QString &line)
{
    const QByteArray utf8 = line.toUtf8();
    {
        QMutexLocker lock(&g_ringMutex);
        const quint64 slot = g_written.load() % kRingLines;
        const size_t n = std::min<size_t>(size_t(utf8.size()), kLineBytes - 1);
        std::memcpy(g_ring[slot], utf8.constData(), n);
        g_ring[slot][n] = '\0';
        g_written.fetch_add(1);
    }
    if (mirrorToStandardError()) {
        std::fwrite(utf8.constData(), 1, size_t(utf8.size()), stderr);
        std::fputc('\n', stderr);
    }
}

QStringList Crashlytics::recentLogLines() const
{
    QMutexLocker lock(&g_ringMutex);
    QStringList lines;
    const quint64 end = g_written.load();
    const quint64 begin = end > quint64(kRingLines) ? end - kRingLines : 0;
    for (quint64 i = begin; i < end; ++i)
        lines.append(QString::fromUtf8(g_ring[i % kRingLines]));
    return lines;
}

namespace {
std::atomic<bool> g_answersStarted{false};
QMutex g_eventsMutex;
} // namespace

Answers *Answers::sharedInstance()
{
    static Answers instance;
    return &instance;
}

void Answers::start()
{
    g_answersStarted = true;
}

bool Answers::isStarted() const
{
    return g_answersStarted;
}

QString Answers::eventsFilePath() const
{
    return vlApplicationDataFolder() + QStringLiteral("/Analytics/events.jsonl");
}

void Answers::logCustomEventWithName(const QString &name, const QVariantMap &customAttributes)
{
    sharedInstance()->append(QStringLiteral("custom"), QStringLiteral("name"), name, customAttributes);
}

void Answers::logSearchWithQuery(const QString &query, const QVariantMap &customAttributes)
{
    sharedInstance()->append(QStringLiteral("search"), QStringLiteral("query"), query, customAttributes);
}

void Answers::append(const QString &type, const QString &nameKey, const QString &name, const QVariantMap &attributes)
{
    if (!isStarted())
        return; // like the real kit, events before start are dropped
    QJsonObject event;
    event.insert(QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs));
    event.insert(QStringLiteral("type"), type);
    event.insert(nameKey, name);
    event.insert(QStringLiteral("attributes"), QJsonObject::fromVariantMap(attributes));
    const QByteArray line = QJsonDocument(event).toJson(QJsonDocument::Compact) + '\n';

    QMutexLocker lock(&g_eventsMutex);
    const QString path = eventsFilePath();
    vlPreparePrivateFolder(QFileInfo(path).absolutePath(), VLWiderPermissions::Tighten);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append) && file.setPermissions(kVLPrivateFilePermissions))
        file.write(line);
}
