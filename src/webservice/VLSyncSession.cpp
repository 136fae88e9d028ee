#include "VLSyncSession.h"

#include "TSLogger.h"
#include "VLApplicationInfo.h"
#include "VLNetworkError.h"
#include "VLSyncReply.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>

#include <initializer_list>
#include <utility>

namespace {

const QString kOpenDeviceSession = QStringLiteral("OpenDeviceSession");
const QString kCloseDeviceSession = QStringLiteral("CloseDeviceSession");
const QString kGetAvailableFiles = QStringLiteral("GetAvailableFiles");
const QString kSessionIdKey = QStringLiteral("SessionId");
const QString kChildrenKey = QStringLiteral("children");

// Query items in order, up to the first missing value: a missing serial number sends no
// parameters at all. The service answers such calls with its own error status.
VLSyncRequestQueries queriesUpToFirstMissing(std::initializer_list<std::pair<QString, QString>> items)
{
    VLSyncRequestQueries queries;
    for (const auto &[name, value] : items) {
        if (value.isNull())
            break;
        queries.insert(name, value);
    }
    return queries;
}

} // namespace

VLSyncSession::VLSyncSession() = default;

VLSyncSession::VLSyncSession(const QString &deviceSerialNumber, const QString &deviceSecurityKey)
    : m_deviceSerialNumber(deviceSerialNumber)
    , m_deviceSecurityKey(deviceSecurityKey)
{
}

VLSyncSession::~VLSyncSession()
{
    m_delegate = nullptr;
    if (m_currentRequest) {
        m_currentRequest->setDelegate(nullptr);
        m_currentRequest->cancel();
    }
}

QString VLSyncSession::webServiceURLString() const
{
    return vlSyncProductionURL();
}

QString VLSyncSession::endpointURLString(const QString &endpoint) const
{
    return vlFormat(QStringLiteral("%@/%@"), webServiceURLString(), endpoint);
}

bool VLSyncSession::isSessionOpen() const
{
    return !m_deviceSerialNumber.isNull() && !m_key.isNull();
}

VLError VLSyncSession::sessionNotOpenError() const
{
    return VLError(webServiceURLString(), 10, tr("Session not open"));
}

QString VLSyncSession::fileTypeFromSyncSessionRequestType(qint64 type)
{
    return type == VLSyncSessionRequestAllFiles ? VLSyncSessionFileTypeAny : QStringLiteral("");
}

bool VLSyncSession::openSession()
{
    auto request = VLSyncRequest::create();
    request->setDelegate(this);
    request->setTag(VLSyncSessionRequestOpenSession);
    request->setPath(endpointURLString(kOpenDeviceSession));
    request->setQueries(queriesUpToFirstMissing({{QStringLiteral("deviceID"), m_deviceSerialNumber},
                                                 {QStringLiteral("securityKey"), m_deviceSecurityKey},
                                                 {QStringLiteral("securityType"), QStringLiteral("1")},
                                                 {QStringLiteral("language"), m_language}}));
    _queueRequest(request);
    return true;
}

bool VLSyncSession::closeSession()
{
    auto request = VLSyncRequest::create();
    request->setDelegate(this);
    request->setTag(VLSyncSessionRequestCloseSession);
    request->setPath(endpointURLString(kCloseDeviceSession));
    request->setQueries(queriesUpToFirstMissing({{kSessionIdKey, m_key}}));
    _queueRequest(request);
    return true;
}

bool VLSyncSession::requestAllFiles()
{
    return _queueSimpleRequestWithType(VLSyncSessionRequestAllFiles);
}

bool VLSyncSession::_queueSimpleRequestWithType(qint64 type)
{
    auto request = VLSyncRequest::create();
    request->setDelegate(this);
    request->setTag(type);
    request->setPath(endpointURLString(kGetAvailableFiles));
    request->setQueries(queriesUpToFirstMissing(
        {{kSessionIdKey, m_key}, {QStringLiteral("FileType"), fileTypeFromSyncSessionRequestType(type)}}));
    _queueRequest(request);
    return true;
}

void VLSyncSession::_queueRequest(const VLSyncRequestPtr &request)
{
    m_requestQueue.insert(0, request);
    _pingQueue();
}

void VLSyncSession::_pingQueue()
{
    if (m_currentRequest || m_requestQueue.isEmpty())
        return;
    m_currentRequest = m_requestQueue.last();
    switch (m_currentRequest->tag()) {
    case VLSyncSessionRequestNone:
        VL_LOG("\n>>>>> Request: VLSyncSessionRequestNone");
        break;
    case VLSyncSessionRequestOpenSession:
        VL_LOG("\n>>>>> Request: VLSyncSessionRequestOpenSession");
        break;
    case VLSyncSessionRequestCloseSession:
        VL_LOG("\n>>>>> Request: VLSyncSessionRequestCloseSession");
        break;
    case VLSyncSessionRequestAllFiles:
        VL_LOG("\n>>>>> Request: VLSyncSessionRequestAllFiles");
        break;
    default:
        break;
    }
    m_requestQueue.removeLast();
    const VLSyncRequestPtr request = m_currentRequest;
    request->start();
}

void VLSyncSession::cancel()
{
    VL_LOG("%s", vlQualifiedFunctionName(__PRETTY_FUNCTION__).constData());
    m_requestQueue.clear();
    if (const VLSyncRequestPtr request = m_currentRequest) {
        request->cancel();
        m_currentRequest.reset();
    }
}

void VLSyncSession::syncRequestDidBegin(VLSyncRequest *request)
{
    if (auto *optional = m_delegate.as<VLSyncSessionDelegateDidBeginRequest>())
        optional->syncSessionDidBeginRequest(this, VLSyncSessionRequestType(request->tag()));
}

VLSyncFileList VLSyncSession::filesFromAllFilesReply(const QVariantMap &result)
{
    const QVariantList top = result.value(kChildrenKey).toList();
    const QVariantList records = top.isEmpty() ? QVariantList() : top.first().toMap().value(kChildrenKey).toList();
    VLSyncFileList files;
    for (const QVariant &record : records) {
        if (record.typeId() == QMetaType::QVariantMap)
            files.append(VLSyncFileInfo::initWithDictionary(record.toMap()));
    }
    return files;
}

void VLSyncSession::syncRequestDidFinishWithResult(VLSyncRequest *request, const QVariantMap &result)
{
    // The delegate may drop this session from inside any callback.
    const QPointer<VLSyncSession> self(this);
    m_lastError = {};
    const qint64 type = request->tag();
    if (type == VLSyncSessionRequestAllFiles) {
        if (auto *receiver = m_delegate.as<VLSyncSessionDelegateDidReceiveAllFiles>()) {
            receiver->syncSessionDidReceiveAllFiles(this, filesFromAllFilesReply(result));
        } else if (m_lastError.isNull()) {
            if (auto *delegate = m_delegate.get())
                delegate->syncSessionDidFinishRequest(this, VLSyncSessionRequestAllFiles);
        }
    } else if (type == VLSyncSessionRequestCloseSession) {
        m_key = QString();
        if (auto *delegate = m_delegate.get())
            delegate->syncSessionDidCloseSession(this);
    } else if (type == VLSyncSessionRequestOpenSession) {
        const QVariant sessionId = result.value(kSessionIdKey);
        m_key = sessionId.typeId() == QMetaType::QString ? sessionId.toString() : QString();
        if (isSessionOpen()) {
            if (auto *delegate = m_delegate.get())
                delegate->syncSessionDidOpenSession(this);
        } else {
            m_lastError = VLError(webServiceURLString(), -1, tr("Cannot open session. Unknown error."));
            if (auto *delegate = m_delegate.get())
                delegate->syncSessionDidFailToOpenWithError(this, m_lastError);
        }
    } else if (m_lastError.isNull()) {
        if (auto *delegate = m_delegate.get())
            delegate->syncSessionDidFinishRequest(this, VLSyncSessionRequestType(type));
    }
    if (!self)
        return;
    m_currentRequest.reset();
    _pingQueue();
}

void VLSyncSession::syncRequestDidFailWithError(VLSyncRequest *request, const VLError &error)
{
    const QPointer<VLSyncSession> self(this);
    m_lastError = error;
    if (error.code() == VLURLErrorNotConnectedToInternet) {
        m_currentRequest.reset();
        m_requestQueue.clear();
        if (auto *delegate = m_delegate.get())
            delegate->networkConnectionError();
        return;
    }
    const qint64 type = request->tag();
    if (type == VLSyncSessionRequestAllFiles) {
        if (auto *optional = m_delegate.as<VLSyncSessionDelegateAllFilesRequestsDidFail>())
            optional->syncSessionAllFilesRequestsDidFailWithError(this, error);
    } else if (type == VLSyncSessionRequestCloseSession) {
        m_key = QString();
        if (auto *delegate = m_delegate.get())
            delegate->syncSessionDidCloseSession(this);
    } else if (type == VLSyncSessionRequestOpenSession) {
        if (auto *delegate = m_delegate.get())
            delegate->syncSessionDidFailToOpenWithError(this, error);
    }
    if (!self)
        return;
    m_currentRequest.reset();
    _pingQueue();
}

QVariantMap VLSyncSession::dictionaryFromWebServiceRequestWithPathQueries(const QString &path,
                                                                          const VLSyncRequestQueries &queries,
                                                                          VLError *error)
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application || QThread::currentThread() == application->thread()) {
        VL_LOG("refused on the main thread: it would block the event loop");
        if (error)
            *error = VLError(webServiceURLString(), -1, tr("Blocking requests are not allowed on the main thread."));
        return {};
    }

    // The transfer runs on this worker thread with a manager of its own, so the wait depends on
    // nothing the main thread does.
    QNetworkAccessManager manager;
    QNetworkReply *reply = manager.get(VLSyncRequest::URLRequest(VLSyncRequest::URLWithQueries(path, queries)));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (reply->isRunning())
        loop.exec();

    VLError failure = vlTransportErrorForReply(reply, false);
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (failure.isNull() && status.isValid() && status.toInt() != 200)
        failure = VLError(webServiceURLString(), status.toInt(),
                          vlFormat(tr("NSHTTPURLResponse, status code: %d"), status.toInt()));
    delete reply;
    if (error)
        *error = failure;
    // The reply body is never kept on this path, so there is never anything to decode.
    return {};
}
