#pragma once

#include "VLError.h"

#include <QHash>
#include <QList>
#include <QSharedPointer>
#include <QStringList>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>

class HBColorDocument;

// The fandeck documents parsed from the installed payloads, by path, each with the identity of the
// file it was read from. Parsing is nearly all of an export's time, so a document is handed out
// again for as long as its file keeps that identity, whoever parsed it: the prefetch during a sync
// or an earlier load. Every member may be called from any thread. The threads are the standard
// library's, not Qt's pool and futures: a program may end while an export still loads (the command
// line does not wait for it), and Qt's pool and futures cannot be used once the program's exit
// handlers have run, where plain threads and locks can.
class VLFandeckDocumentCache
{
public:
    // What tells one version of a file from another without reading it: size, modification time to
    // the nanosecond, and the inode (a file replaced by a rename is another file).
    struct FileIdentity
    {
        qint64 size = -1; // -1: the file cannot be examined
        qint64 modified = 0;
        quint64 inode = 0;
        bool operator==(const FileIdentity &) const = default;
    };
    static FileIdentity identityOfFile(const QString &path);

    struct Loaded
    {
        QSharedPointer<HBColorDocument> document; // null when the file could not be opened
        VLError error;
    };

    VLFandeckDocumentCache() = default;
    VLFandeckDocumentCache(const VLFandeckDocumentCache &) = delete;
    ~VLFandeckDocumentCache();

    // Starts parsing, in the background, those of `paths` not held as their files are now, for a
    // load that is expected soon. Replaces a prefetch still running.
    void prefetch(const QStringList &paths);
    // Stops the prefetch at its next document and waits for it; what it parsed stays.
    void stopPrefetch();
    // Returns once the prefetch, if any, has parsed every file.
    void waitForPrefetch();
    // The document of every path, in order, the files parsed side by side; an empty path is left
    // out (a null document without error). A running prefetch is waited for first: parsing the same
    // file twice would be slower. Once `stop` is set, the files not yet begun are not parsed.
    // Afterwards the cache holds what this load answered and what a prefetch added meanwhile.
    QList<Loaded> load(const QStringList &paths, const std::atomic<bool> &stop);
    // Lets go of every document held.
    void clear();

private:
    struct Entry
    {
        FileIdentity identity;
        QSharedPointer<HBColorDocument> document;
    };
    // The held document of `path` if its file is still `identity`.
    QSharedPointer<HBColorDocument> current(const QString &path, const FileIdentity &identity);

    std::mutex m_lock; // guards the three below
    QHash<QString, Entry> m_documents;
    std::shared_future<void> m_prefetch; // ready once the prefetch has ended
    std::shared_ptr<std::atomic<bool>> m_prefetchCancelled;
};
