#pragma once

#include "VLError.h"
#include "VLWeakDelegate.h"

#include <QByteArray>
#include <QEnableSharedFromThis>
#include <QMap>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QVariantMap>

class QNetworkReply;
class VLSyncRequest;

// Receives the outcome of one request, always on the main thread.
class VLSyncRequestDelegate
{
public:
    virtual ~VLSyncRequestDelegate() = default;
    virtual void syncRequestDidBegin(VLSyncRequest *request) = 0;
    virtual void syncRequestDidFinishWithResult(VLSyncRequest *request, const QVariantMap &result) = 0;
    virtual void syncRequestDidFailWithError(VLSyncRequest *request, const VLError &error) = 0;
};

using VLSyncRequestQueries = QMap<QString, QString>;

// One GET to the sync web service: builds the URL from `path` and `queries`, decodes the XML
// reply and turns the HTTP status and the service's own status fields into an error where needed.
//
// Create requests with QSharedPointer (see create()): a running transfer keeps its request alive
// until it has reported, as the service's replies may arrive after the owner has let go.
class VLSyncRequest : public QObject, public QEnableSharedFromThis<VLSyncRequest>
{
    Q_OBJECT
public:
    static QSharedPointer<VLSyncRequest> create();
    VLSyncRequest();
    ~VLSyncRequest() override;

    QString path() const { return m_path; }
    void setPath(const QString &path) { m_path = path; }
    VLSyncRequestQueries queries() const { return m_queries; }
    void setQueries(const VLSyncRequestQueries &queries) { m_queries = queries; }
    qint64 tag() const { return m_tag; }
    void setTag(qint64 tag) { m_tag = tag; }
    VLError error() const { return m_error; }
    VLSyncRequestDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(VLSyncRequestDelegate *delegate) { m_delegate = delegate; }
    QSharedPointer<QObject> userData() const { return m_userData; }
    void setUserData(const QSharedPointer<QObject> &userData) { m_userData = userData; }
    qint64 statusCode() const { return m_statusCode; }
    QString statusMessage() const { return m_statusMessage; }
    // The running transfer; stays set after it finished, so a request runs at most once.
    bool hasDataTask() const { return m_hasDataTask; }

    // Begins the transfer and tells the delegate syncRequestDidBegin. False, and nothing done,
    // when the request already has a transfer or has no path.
    bool start();
    // Cancels the transfer and reports at once (as a reply that is not XML). The transfer's own
    // cancellation still reports later, unless the delegate has been cleared by then.
    void cancel();
    // The body as ASCII text up to the first NUL; nothing when there is no body.
    QString requestStringResult() const;

    // The endpoint URL with one percent-encoded query item per entry.
    static QUrl URLWithQueries(const QString &path, const VLSyncRequestQueries &queries);
    // A GET for the URL that bypasses every cache.
    static QNetworkRequest URLRequest(const QUrl &url);

    // Bodies larger than this are refused: no reply of the service comes near it.
    static constexpr qint64 kMaximumBodyLength = 64 * 1024 * 1024;

private:
    struct Response
    {
        int statusCode = 0;
        QString description;
    };
    void completionHandler(const QByteArray &body, const Response &response, const VLError &error);
    void _finishedRetrieval();

    QString m_path;
    VLSyncRequestQueries m_queries;
    qint64 m_tag = 0;
    VLError m_error;
    VLWeakDelegate<VLSyncRequestDelegate> m_delegate;
    QSharedPointer<QObject> m_userData;
    qint64 m_statusCode = 0;
    QString m_statusMessage = QStringLiteral("");
    QPointer<QNetworkReply> m_dataTask;
    bool m_hasDataTask = false;
    Response m_response;
    QByteArray m_data;
};

using VLSyncRequestPtr = QSharedPointer<VLSyncRequest>;
