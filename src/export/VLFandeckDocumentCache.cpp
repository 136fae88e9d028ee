#include "VLFandeckDocumentCache.h"

#include "HBColorDocument.h"

#include <QFile>
#include <QMutexLocker>
#include <QPromise>
#include <QSet>
#include <QtConcurrentMap>
#include <QtConcurrentRun>

#include <sys/stat.h>

#include <utility>

VLFandeckDocumentCache::FileIdentity VLFandeckDocumentCache::identityOfFile(const QString &path)
{
    struct stat status{};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return {};
    return {qint64(status.st_size), qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec,
            quint64(status.st_ino)};
}

VLFandeckDocumentCache::~VLFandeckDocumentCache()
{
    stopPrefetch();
}

QSharedPointer<HBColorDocument> VLFandeckDocumentCache::current(const QString &path, const FileIdentity &identity)
{
    if (identity.size < 0)
        return {};
    QMutexLocker locker(&m_lock);
    const auto held = m_documents.constFind(path);
    return held != m_documents.constEnd() && held->identity == identity ? held->document : nullptr;
}

void VLFandeckDocumentCache::prefetch(const QStringList &paths)
{
    stopPrefetch();
    // Parsed as a load parses them, so that the load reads exactly what it would have read; it only
    // no longer waits for the parse.
    const auto parse = [this, paths](QPromise<void> &promise) {
        for (const QString &path : paths) {
            if (promise.isCanceled())
                return;
            const FileIdentity identity = identityOfFile(path);
            if (current(path, identity))
                continue;
            const QSharedPointer<HBColorDocument> document = HBColorDocument::initWithFile(path, nullptr, nullptr);
            if (!document)
                continue;
            QMutexLocker locker(&m_lock);
            m_documents.insert(path, {identity, document});
        }
    };
    QMutexLocker locker(&m_lock);
    m_prefetch = QtConcurrent::run(parse);
}

void VLFandeckDocumentCache::stopPrefetch()
{
    QFuture<void> running;
    {
        QMutexLocker locker(&m_lock);
        running = std::exchange(m_prefetch, QFuture<void>());
    }
    running.cancel();
    running.waitForFinished();
}

QList<VLFandeckDocumentCache::Loaded> VLFandeckDocumentCache::load(const QStringList &paths,
                                                                   const std::atomic<bool> &stop)
{
    QFuture<void> prefetching;
    {
        QMutexLocker locker(&m_lock);
        prefetching = m_prefetch;
    }
    prefetching.waitForFinished();

    struct Opening
    {
        QString path;
        FileIdentity identity;
        Loaded loaded;
    };
    QList<Opening> openings(paths.size());
    for (qsizetype i = 0; i < paths.size(); ++i)
        openings[i].path = paths.at(i);
    QHash<QString, Entry> before;
    {
        QMutexLocker locker(&m_lock);
        before = m_documents;
    }
    QtConcurrent::blockingMap(openings, [this, &stop](Opening &opening) {
        if (opening.path.isEmpty() || stop)
            return;
        opening.identity = identityOfFile(opening.path);
        opening.loaded.document = current(opening.path, opening.identity);
        if (!opening.loaded.document)
            opening.loaded.document = HBColorDocument::initWithFile(opening.path, nullptr, &opening.loaded.error);
    });

    // What this load answered becomes current; what it held before and no longer answers (a file
    // gone, changed into something unreadable, or no longer installed) is let go.
    QList<Loaded> loaded;
    loaded.reserve(openings.size());
    QSet<QString> answered;
    QMutexLocker locker(&m_lock);
    for (const Opening &opening : std::as_const(openings)) {
        if (opening.loaded.document) {
            m_documents.insert(opening.path, {opening.identity, opening.loaded.document});
            answered.insert(opening.path);
        }
        loaded << opening.loaded;
    }
    for (auto held = before.constBegin(); held != before.constEnd(); ++held) {
        if (!answered.contains(held.key()) && m_documents.value(held.key()).document == held->document)
            m_documents.remove(held.key());
    }
    return loaded;
}

void VLFandeckDocumentCache::clear()
{
    QMutexLocker locker(&m_lock);
    m_documents.clear();
}
