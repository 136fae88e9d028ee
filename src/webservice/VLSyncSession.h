#pragma once

#include "VLError.h"
#include "VLSyncFileInfo.h"
#include "VLSyncRequest.h"
#include "VLWeakDelegate.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QVariantMap>

class VLSyncSession;

// The kind of a queued request; carried in the request's tag.
enum VLSyncSessionRequestType : qint64 {
    VLSyncSessionRequestNone = 0,
    VLSyncSessionRequestOpenSession = 1,   // "OpenDeviceSession"
    VLSyncSessionRequestCloseSession = 2,  // "CloseDeviceSession"
    VLSyncSessionRequestAllFiles = 3,      // "GetAvailableFiles"
};

// Receives every outcome of a session, on the main thread. The delegate is held weakly.
class VLSyncSessionDelegate
{
public:
    virtual ~VLSyncSessionDelegate() = default;
    // The open request succeeded and the session is open.
    virtual void syncSessionDidOpenSession(VLSyncSession *session) = 0;
    // The open request failed, or succeeded without a "SessionId".
    virtual void syncSessionDidFailToOpenWithError(VLSyncSession *session, const VLError &error) = 0;
    // The close request finished, successfully or not; the key is already cleared.
    virtual void syncSessionDidCloseSession(VLSyncSession *session) = 0;
    // Any other request succeeded; also a files request when the delegate does not take the files.
    virtual void syncSessionDidFinishRequest(VLSyncSession *session, VLSyncSessionRequestType type) = 0;
    // A request failed because there is no network (code -1009); the queue has been dropped.
    virtual void networkConnectionError() = 0;
};

// Optional parts of the delegate: a delegate implements them by also deriving from them, and the
// session asks for each one before the call.
class VLSyncSessionDelegateDidBeginRequest
{
public:
    virtual ~VLSyncSessionDelegateDidBeginRequest() = default;
    virtual void syncSessionDidBeginRequest(VLSyncSession *session, VLSyncSessionRequestType type) = 0;
};

class VLSyncSessionDelegateDidReceiveAllFiles
{
public:
    virtual ~VLSyncSessionDelegateDidReceiveAllFiles() = default;
    virtual void syncSessionDidReceiveAllFiles(VLSyncSession *session, const VLSyncFileList &files) = 0;
};

class VLSyncSessionDelegateAllFilesRequestsDidFail
{
public:
    virtual ~VLSyncSessionDelegateAllFilesRequestsDidFail() = default;
    virtual void syncSessionAllFilesRequestsDidFailWithError(VLSyncSession *session, const VLError &error) = 0;
};

// The conversation with the sync web service for one device: opens a device session, asks for
// the files the service offers, closes the session. Requests run one at a time, oldest first.
// The delegate base is public so that a request can track the session as a QObject: a cancelled
// request reports once more later, and a session destroyed meanwhile must read as gone.
class VLSyncSession : public QObject, public VLSyncRequestDelegate
{
    Q_OBJECT
public:
    VLSyncSession();
    VLSyncSession(const QString &deviceSerialNumber, const QString &deviceSecurityKey);
    ~VLSyncSession() override;

    QString deviceSerialNumber() const { return m_deviceSerialNumber; }
    void setDeviceSerialNumber(const QString &serialNumber) { m_deviceSerialNumber = serialNumber; }
    QString deviceSecurityKey() const { return m_deviceSecurityKey; }
    void setDeviceSecurityKey(const QString &securityKey) { m_deviceSecurityKey = securityKey; }
    // The session id the service issued; null while no session is open.
    QString key() const { return m_key; }
    void setKey(const QString &key) { m_key = key; }
    QString language() const { return m_language; }
    void setLanguage(const QString &language) { m_language = language; }
    VLError lastError() const { return m_lastError; }
    VLSyncSessionDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(VLSyncSessionDelegate *delegate) { m_delegate = delegate; }

    bool openSession();
    bool closeSession();
    bool requestAllFiles();
    // Drops the queue and cancels the request in flight, which reports its failure before this
    // returns (and once more when the transfer's own cancellation arrives).
    void cancel();

    bool isSessionOpen() const;
    QString webServiceURLString() const;
    VLError sessionNotOpenError() const;

    // One blocking GET with the same URL building and cache policy as queued requests; waits
    // without time limit. Refused on the main thread. Turns a transport failure or an HTTP
    // status other than 200 into `error`; the dictionary it returns is always empty.
    QVariantMap dictionaryFromWebServiceRequestWithPathQueries(const QString &path, const VLSyncRequestQueries &queries,
                                                               VLError *error = nullptr);

    static QString fileTypeFromSyncSessionRequestType(qint64 type);
    // The file records of a decoded "GetAvailableFiles" reply: the dictionaries among the children
    // of the root's first child.
    static VLSyncFileList filesFromAllFilesReply(const QVariantMap &result);

    // Requests waiting (the next to run is the last) and the one in flight; for diagnostics.
    QList<VLSyncRequestPtr> requestQueue() const { return m_requestQueue; }
    VLSyncRequestPtr currentRequest() const { return m_currentRequest; }

private:
    void syncRequestDidBegin(VLSyncRequest *request) override;
    void syncRequestDidFinishWithResult(VLSyncRequest *request, const QVariantMap &result) override;
    void syncRequestDidFailWithError(VLSyncRequest *request, const VLError &error) override;

    bool _queueSimpleRequestWithType(qint64 type);
    void _queueRequest(const VLSyncRequestPtr &request);
    void _pingQueue();
    QString endpointURLString(const QString &endpoint) const;

    QString m_deviceSerialNumber;
    QString m_deviceSecurityKey;
    QString m_key;
    QString m_language = QStringLiteral("en");
    VLError m_lastError;
    VLWeakDelegate<VLSyncSessionDelegate> m_delegate;
    QList<VLSyncRequestPtr> m_requestQueue;
    VLSyncRequestPtr m_currentRequest;
};
