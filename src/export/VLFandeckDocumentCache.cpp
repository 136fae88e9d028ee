#include "VLFandeckDocumentCache.h"

#include "HBColorDocument.h"

#include <QFile>
#include <QSet>
#include <QThread>

#include <sys/stat.h>

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

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
    std::lock_guard locker(m_lock);
    const auto held = m_documents.constFind(path);
    return held != m_documents.constEnd() && held->identity == identity ? held->document : nullptr;
}

void VLFandeckDocumentCache::prefetch(const QStringList &paths)
{
    stopPrefetch();
    // Parsed as a load parses them, so that the load reads exactly what it would have read; it only
    // no longer waits for the parse.
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    std::lock_guard locker(m_lock);
    m_prefetchCancelled = cancelled;
    m_prefetch = std::async(std::launch::async, [this, paths, cancelled] {
                     for (const QString &path : paths) {
                         if (*cancelled)
                             return;
                         const FileIdentity identity = identityOfFile(path);
                         if (current(path, identity))
                             continue;
                         const QSharedPointer<HBColorDocument> document =
                             HBColorDocument::initWithFile(path, nullptr, nullptr);
                         if (!document)
                             continue;
                         std::lock_guard parsed(m_lock);
                         m_documents.insert(path, {identity, document});
                     }
                 }).share();
}

void VLFandeckDocumentCache::stopPrefetch()
{
    std::shared_future<void> running;
    {
        std::lock_guard locker(m_lock);
        if (m_prefetchCancelled)
            *m_prefetchCancelled = true;
        m_prefetchCancelled.reset();
        running = std::exchange(m_prefetch, {});
    }
    if (running.valid())
        running.wait();
}

void VLFandeckDocumentCache::waitForPrefetch()
{
    std::shared_future<void> prefetching;
    {
        std::lock_guard locker(m_lock);
        prefetching = m_prefetch;
    }
    if (prefetching.valid())
        prefetching.wait();
}

QList<VLFandeckDocumentCache::Loaded> VLFandeckDocumentCache::load(const QStringList &paths,
                                                                   const std::atomic<bool> &stop)
{
    waitForPrefetch();

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
        std::lock_guard locker(m_lock);
        before = m_documents;
    }
    std::atomic<qsizetype> next{0};
    const auto open = [&] {
        for (qsizetype i = next++; i < openings.size() && !stop; i = next++) {
            Opening &opening = openings[i];
            if (opening.path.isEmpty())
                continue;
            opening.identity = identityOfFile(opening.path);
            opening.loaded.document = current(opening.path, opening.identity);
            if (!opening.loaded.document)
                opening.loaded.document = HBColorDocument::initWithFile(opening.path, nullptr, &opening.loaded.error);
        }
    };
    std::vector<std::thread> helpers;
    const qsizetype helperCount = std::min<qsizetype>(QThread::idealThreadCount(), openings.size()) - 1;
    for (qsizetype i = 0; i < helperCount; ++i)
        helpers.emplace_back(open);
    open();
    for (std::thread &helper : helpers)
        helper.join();

    // What this load answered becomes current; what it held before and no longer answers (a file
    // gone, changed into something unreadable, or no longer installed) is let go.
    QList<Loaded> loaded;
    loaded.reserve(openings.size());
    QSet<QString> answered;
    std::lock_guard locker(m_lock);
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
    std::lock_guard locker(m_lock);
    m_documents.clear();
}
